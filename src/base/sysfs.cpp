// Reading sysfs below a root folder, and the parsers of its attribute texts.
#include "base/sysfs.h"

#include <cerrno>
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "base/format.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kMaxAttributeSize = 64 * 1024;

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\0'; }

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Exactly `digits` hexadecimal digits at the front of text, consumed.
std::optional<uint32_t> takeHex(std::string_view& text, std::size_t digits) {
  if (text.size() < digits) return std::nullopt;
  uint32_t value = 0;
  for (std::size_t i = 0; i < digits; ++i) {
    const int d = hexDigit(text[i]);
    if (d < 0) return std::nullopt;
    value = (value << 4) | static_cast<uint32_t>(d);
  }
  text.remove_prefix(digits);
  return value;
}

bool takePrefix(std::string_view& text, std::string_view prefix) {
  if (text.substr(0, prefix.size()) != prefix) return false;
  text.remove_prefix(prefix.size());
  return true;
}

}  // namespace

vxSysfs::vxSysfs(std::string root) : m_root(std::move(root)) {
  while (m_root.size() > 1 && m_root.back() == '/') m_root.pop_back();
}

std::string vxSysfs::path(const std::string& relative) const {
  if (relative.empty()) return m_root;
  return m_root + "/" + relative;
}

bool vxSysfs::exists(const std::string& relative) const {
  std::error_code ec;
  return fs::exists(path(relative), ec);
}

bool vxSysfs::isDirectory(const std::string& relative) const {
  std::error_code ec;
  return fs::is_directory(path(relative), ec);
}

std::optional<std::string> vxSysfs::read(const std::string& relative) const {
  const std::string file = path(relative);
  std::error_code ec;
  const fs::file_status status = fs::status(file, ec);
  if (status.type() == fs::file_type::not_found) return std::nullopt;
  if (ec) throw Error(vxFormat("Cannot read %s: %s", file.c_str(), ec.message().c_str()), ec.value());
  if (status.type() == fs::file_type::directory)
    throw Error(vxFormat("Cannot read %s: it is a folder, not an attribute", file.c_str()), EISDIR);
  std::ifstream in(file, std::ios::binary);
  if (!in) throw Error(vxFormat("Cannot read %s: %s", file.c_str(), std::strerror(errno)), errno);
  std::string contents(kMaxAttributeSize, '\0');
  in.read(contents.data(), static_cast<std::streamsize>(contents.size()));
  if (in.bad()) throw Error(vxFormat("Cannot read %s: %s", file.c_str(), std::strerror(errno)), errno);
  contents.resize(static_cast<std::size_t>(in.gcount()));
  return contents;
}

std::optional<std::string> vxSysfs::readText(const std::string& relative) const {
  auto contents = read(relative);
  if (!contents) return std::nullopt;
  return vxSysfsTrim(*contents);
}

std::optional<uint64_t> vxSysfs::readHex(const std::string& relative) const {
  auto contents = read(relative);
  if (!contents) return std::nullopt;
  auto value = vxSysfsParseHex(*contents);
  if (!value)
    throw Error(vxFormat("Unexpected contents in %s: \"%s\" is not a hexadecimal number",
                         path(relative).c_str(), vxSysfsCleanName(contents->substr(0, 40)).c_str()));
  return value;
}

std::vector<std::string> vxSysfs::list(const std::string& relative) const {
  std::vector<std::string> names;
  const std::string folder = path(relative);
  std::error_code ec;
  if (!fs::exists(folder, ec)) return names;
  fs::directory_iterator it(folder, ec);
  if (ec) throw Error(vxFormat("Cannot list %s: %s", folder.c_str(), ec.message().c_str()), ec.value());
  for (; it != fs::directory_iterator(); it.increment(ec)) {
    if (ec) throw Error(vxFormat("Cannot list %s: %s", folder.c_str(), ec.message().c_str()), ec.value());
    names.push_back(it->path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::optional<std::string> vxSysfs::linkName(const std::string& relative) const {
  std::error_code ec;
  const fs::path link = path(relative);
  if (!fs::is_symlink(link, ec)) return std::nullopt;
  const fs::path target = fs::read_symlink(link, ec);
  if (ec) return std::nullopt;
  return target.filename().string();
}

std::optional<std::string> vxSysfs::resolve(const std::string& relative) const {
  std::error_code ec;
  const fs::path root = fs::canonical(m_root, ec);
  if (ec) return std::nullopt;
  const fs::path real = fs::canonical(path(relative), ec);
  if (ec) return std::nullopt;
  const std::string rootText = root.string();
  const std::string realText = real.string();
  if (realText == rootText) return std::string();
  if (realText.compare(0, rootText.size(), rootText) != 0 || realText[rootText.size()] != '/')
    return std::nullopt;
  return realText.substr(rootText.size() + 1);
}

std::string vxSysfsTrim(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return std::string(text);
}

std::optional<uint64_t> vxSysfsParseHex(std::string_view text) {
  const std::string trimmed = vxSysfsTrim(text);
  std::string_view digits = trimmed;
  if (!takePrefix(digits, "0x")) takePrefix(digits, "0X");
  if (digits.empty() || digits.size() > 16) return std::nullopt;
  uint64_t value = 0;
  for (char c : digits) {
    const int d = hexDigit(c);
    if (d < 0) return std::nullopt;
    value = (value << 4) | static_cast<uint64_t>(d);
  }
  return value;
}

std::string vxSysfsCleanName(std::string_view text) {
  std::string name = vxSysfsTrim(text);
  for (char& c : name) {
    const auto u = static_cast<unsigned char>(c);
    if (u < 0x20 || u > 0x7E) c = '?';
  }
  return name;
}

std::optional<vxFwModalias> vxParseFwModalias(std::string_view text) {
  const std::string trimmed = vxSysfsTrim(text);
  std::string_view rest = trimmed;
  vxFwModalias alias;
  if (!takePrefix(rest, "ieee1394:ven")) return std::nullopt;
  auto vendor = takeHex(rest, 8);
  if (!vendor || !takePrefix(rest, "mo")) return std::nullopt;
  auto model = takeHex(rest, 8);
  if (!model || !takePrefix(rest, "sp")) return std::nullopt;
  auto specifier = takeHex(rest, 8);
  if (!specifier || !takePrefix(rest, "ver")) return std::nullopt;
  auto version = takeHex(rest, 8);
  if (!version || !rest.empty()) return std::nullopt;
  alias.vendor = *vendor;
  alias.model = *model;
  alias.specifier = *specifier;
  alias.version = *version;
  return alias;
}

std::optional<vxPciAddress> vxParsePciAddress(std::string_view text) {
  vxPciAddress address;
  auto domain = takeHex(text, 4);
  if (!domain || !takePrefix(text, ":")) return std::nullopt;
  auto bus = takeHex(text, 2);
  if (!bus || !takePrefix(text, ":")) return std::nullopt;
  auto device = takeHex(text, 2);
  if (!device || !takePrefix(text, ".")) return std::nullopt;
  auto function = takeHex(text, 1);
  if (!function || !text.empty() || *device > 0x1F || *function > 7) return std::nullopt;
  address.domain = *domain;
  address.bus = *bus;
  address.device = *device;
  address.function = *function;
  return address;
}
