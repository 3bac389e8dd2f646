// Turning the text of a register page's address or value box into a number.
#include "app/register_text.h"

#include "base/format.h"

std::optional<uint32_t> vxScanRegisterText(const std::string& text) {
  unsigned long long value = 0;
  if (!vxParseHex(text, value)) return std::nullopt;
  return static_cast<uint32_t>(value);
}
