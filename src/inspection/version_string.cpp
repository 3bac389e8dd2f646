// Version strings in the file and product forms.
#include "inspection/version_string.h"

#include "base/format.h"

namespace {

// The build number of the operating-system release whose 1394 bus driver
// builds are told apart by their last part.
constexpr int kXpBuild = 2600;

const char* servicePackSuffix(int build) {
  switch (build) {
    case 1106: return " (XP SP1)";
    case 2180: return " (XP SP2)";
    case 2549: return " (XP SP2 + hotfix KB885222)";
    default: return "";
  }
}

}  // namespace

std::optional<vxVersionQuad> vxParseVersionQuad(std::string_view text) {
  vxVersionQuad version;
  std::size_t pos = 0;
  for (int part = 0; part < 4; ++part) {
    if (pos >= text.size() || text[pos] < '0' || text[pos] > '9') {
      if (part == 0) return std::nullopt;
      break;
    }
    uint32_t value = 0;
    while (pos < text.size() && text[pos] >= '0' && text[pos] <= '9') {
      value = value * 10 + static_cast<uint32_t>(text[pos] - '0');
      if (value > 0xFFFF) return std::nullopt;
      ++pos;
    }
    version.part[part] = static_cast<uint16_t>(value);
    if (pos < text.size() && (text[pos] == '.' || text[pos] == '-')) {
      ++pos;
    } else {
      break;
    }
  }
  return version;
}

std::string GetVersionString(const std::optional<vxVersionQuad>& version, bool productForm) {
  if (!version) return std::string();
  const int p1 = version->part[0], p2 = version->part[1], p3 = version->part[2], p4 = version->part[3];
  if (productForm) {
    if (p3 != 0) return vxFormat("%d.%d CR%d", p1, p2, p3);
    return vxFormat("%d.%d.%d.%d", p1, p2, 0, p4);
  }
  std::string text = vxFormat("%d.%d.%d.%d", p1, p2, p3, p4);
  if (p3 == kXpBuild) text += servicePackSuffix(p4);
  return text;
}

std::string GetOwnVersionString(bool productForm) {
  return GetVersionString(vxParseVersionQuad(PRALIX_VERSION), productForm);
}

std::optional<vxVersionQuad> vxVersionFromLibraryFile(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  if (slash != std::string_view::npos) path.remove_prefix(slash + 1);
  const std::size_t so = path.find(".so.");
  if (so == std::string_view::npos) return std::nullopt;
  return vxParseVersionQuad(path.substr(so + 4));
}
