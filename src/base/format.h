// printf-style formatting into std::string, checked by the compiler.
#pragma once

#include <cstdarg>
#include <string>

// Formats like snprintf into a string of any length. The program's fixed
// formats are used as they stand, with "%s" for text arguments.
std::string vxFormat(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string vxFormatV(const char* format, va_list args) __attribute__((format(printf, 1, 0)));

// Appends a formatted piece to out; reports grow by many small pieces.
void vxAppendFormat(std::string& out, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

// Parses hexadecimal text the way the register pages accept it: optional
// blanks, an optional 0x or 0X, then hexadecimal digits. Stops at the first
// character that is not a digit, as sscanf("%X") does. Returns false when no
// digit was found or the value does not fit in 64 bits.
bool vxParseHex(const std::string& text, unsigned long long& value);
