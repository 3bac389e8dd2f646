// Reading the kernel's device registry (sysfs) below a root folder that tests point at a fixture tree.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/exception.h"

// Paths given to the reader are relative to its root ("bus/firewire/devices").
// A missing attribute is an ordinary answer (nullopt); an attribute that is
// there but cannot be read throws Error with a message naming the file.
class vxSysfs {
 public:
  class Error : public vxException {
   public:
    explicit Error(const std::string& message, int code = 0) : vxException(message), m_code(code) {}
    // The errno value of the failure, 0 when the contents were at fault.
    int code() const { return m_code; }

   private:
    int m_code;
  };

  explicit vxSysfs(std::string root = "/sys");

  const std::string& root() const { return m_root; }
  std::string path(const std::string& relative) const;
  bool exists(const std::string& relative) const;
  bool isDirectory(const std::string& relative) const;

  // The contents of an attribute file, at most 64 KiB.
  std::optional<std::string> read(const std::string& relative) const;
  // An attribute read and trimmed; nullopt when missing.
  std::optional<std::string> readText(const std::string& relative) const;
  // A hexadecimal attribute ("0x00a02d"); throws Error on contents that are
  // not one.
  std::optional<uint64_t> readHex(const std::string& relative) const;

  // The names in a folder, sorted; empty when the folder is missing. Throws
  // Error when it exists but cannot be listed.
  std::vector<std::string> list(const std::string& relative) const;
  // The last component of a symbolic link's target ("firewire_ohci" for a
  // driver link); nullopt when there is no link.
  std::optional<std::string> linkName(const std::string& relative) const;
  // Where a path really is below the root, symbolic links resolved
  // ("devices/pci0000:00/0000:00:1e.0/0000:05:00.0"); nullopt when it does
  // not exist or leads outside the root.
  std::optional<std::string> resolve(const std::string& relative) const;

 private:
  std::string m_root;
};

// Attribute parsers, on the text as the kernel (or a broken tree) gives it.

// Without trailing and leading blanks and line ends.
std::string vxSysfsTrim(std::string_view text);
// "0x00a02d\n", "00A02D" or "a02d": a hexadecimal number that fits in 64
// bits, nothing else on the line. nullopt for anything else.
std::optional<uint64_t> vxSysfsParseHex(std::string_view text);
// A name from a configuration ROM leaf (vendor_name, model_name): trimmed,
// with bytes that are not printable ASCII replaced by '?'.
std::string vxSysfsCleanName(std::string_view text);

// The identifiers of a firewire unit's modalias,
// "ieee1394:ven00A0B9mo00000001sp0000A02Dver00000102".
struct vxFwModalias {
  uint32_t vendor = 0;
  uint32_t model = 0;
  uint32_t specifier = 0;
  uint32_t version = 0;
};
std::optional<vxFwModalias> vxParseFwModalias(std::string_view text);

// A PCI address "0000:05:00.0" as domain, bus, device and function.
struct vxPciAddress {
  uint32_t domain = 0;
  uint32_t bus = 0;
  uint32_t device = 0;
  uint32_t function = 0;
};
std::optional<vxPciAddress> vxParsePciAddress(std::string_view text);
