// Turning the text of a register page's address or value box into a number.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

// The register pages look at no more than this many characters of a box.
constexpr size_t kRegisterTextLimit = 16;

// Scans hexadecimal digits as "%LX" does (leading blanks and an optional 0x
// skipped, stopping at the first non-digit) and keeps the low 32 bits, as
// the scan into a 32-bit register does. nullopt when the text holds no
// hexadecimal number at all: the caller reports that instead of using a
// value that was never scanned. The caller cuts the text to
// kRegisterTextLimit characters first.
std::optional<uint32_t> vxScanRegisterText(const std::string& text);
