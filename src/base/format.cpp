// printf-style formatting into std::string.
#include "format.h"

#include <cctype>
#include <cstdio>
#include <vector>

std::string vxFormatV(const char* format, va_list args) {
  char small[256];
  va_list copy;
  va_copy(copy, args);
  const int needed = std::vsnprintf(small, sizeof small, format, copy);
  va_end(copy);
  if (needed < 0) return {};
  if (static_cast<size_t>(needed) < sizeof small) return std::string(small, static_cast<size_t>(needed));
  std::vector<char> big(static_cast<size_t>(needed) + 1);
  std::vsnprintf(big.data(), big.size(), format, args);
  return std::string(big.data(), static_cast<size_t>(needed));
}

std::string vxFormat(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string text = vxFormatV(format, args);
  va_end(args);
  return text;
}

void vxAppendFormat(std::string& out, const char* format, ...) {
  va_list args;
  va_start(args, format);
  out += vxFormatV(format, args);
  va_end(args);
}

bool vxParseHex(const std::string& text, unsigned long long& value) {
  size_t i = 0;
  while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) ++i;
  if (i + 1 < text.size() && text[i] == '0' && (text[i + 1] == 'x' || text[i + 1] == 'X') &&
      i + 2 < text.size() && std::isxdigit(static_cast<unsigned char>(text[i + 2])))
    i += 2;
  unsigned long long result = 0;
  size_t digits = 0;
  for (; i < text.size() && std::isxdigit(static_cast<unsigned char>(text[i])); ++i, ++digits) {
    if (result >> 60) return false;
    const char c = static_cast<char>(std::tolower(static_cast<unsigned char>(text[i])));
    result = (result << 4) | static_cast<unsigned>(c <= '9' ? c - '0' : c - 'a' + 10);
  }
  if (digits == 0) return false;
  value = result;
  return true;
}
