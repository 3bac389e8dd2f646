// Fuzzes the hexadecimal address and value text typed on the register page and to pralix.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "app/register_text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const auto value = vxScanRegisterText(text);
  // Whatever is accepted must read back the same when written out again.
  if (value) {
    char again[16];
    std::snprintf(again, sizeof again, "%X", *value);
    if (vxScanRegisterText(again) != value) __builtin_trap();
  }
  return 0;
}
