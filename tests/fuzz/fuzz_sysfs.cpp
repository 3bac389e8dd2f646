// Fuzzes the parsers of sysfs attribute texts and of the PCI identifier text of host adapters.
#include <cstddef>
#include <cstdint>
#include <string>

#include "base/format.h"
#include "base/sysfs.h"
#include "inspection/version_string.h"
#include "topology/host_adapter.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const auto hex = vxSysfsParseHex(text);
  // A value that parsed reads back the same from the kernel's own spelling.
  if (hex && vxSysfsParseHex(vxFormat("0x%llx\n", static_cast<unsigned long long>(*hex))) != hex)
    __builtin_trap();
  const std::string name = vxSysfsCleanName(text);
  for (char c : name)
    if (c < 0x20 || c > 0x7E) __builtin_trap();
  if (const auto alias = vxParseFwModalias(text)) {
    (void)alias->specifier;
  }
  (void)vxParsePciAddress(text);
  (void)GetVersionString(vxParseVersionQuad(text), false);
  (void)GetVersionString(vxVersionFromLibraryFile(text), true);
  HostAdapterInfo adapter;
  adapter.ParseDeviceId(text);
  adapter.LookUpDevice();
  (void)adapter.VendorName(adapter.subsystemVendorId);
  (void)adapter.DeviceName(adapter.deviceId);
  return 0;
}
