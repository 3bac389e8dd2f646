// Version strings of the program and of the pieces under it, in the file and product forms.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// A four-part version V1.V2.V3.V4, each part 16 bits, as a version resource
// holds it.
struct vxVersionQuad {
  uint16_t part[4] = {0, 0, 0, 0};
};

// The leading numbers of a version text, separated by '.' or '-', up to
// four: "5.1.2600.2180", "6.1.0-13-amd64" (6.1.0.13), "2.2.6". nullopt when
// the text does not begin with a number or a part exceeds 16 bits.
std::optional<vxVersionQuad> vxParseVersionQuad(std::string_view text);

// Product form: "%d.%d CR%d" with P1, P2, P3 when P3 is not 0, else
// "%d.%d.%d.%d" with P1, P2, 0, P4. File form: "%d.%d.%d.%d", and for build
// 2600 a suffix naming the service level of F4 (1106, 2180, 2549). Empty
// when there is no version.
std::string GetVersionString(const std::optional<vxVersionQuad>& version, bool productForm);

// The program's own version: its file version is the tool's, its product
// version the release of the library it is built on.
std::string GetOwnVersionString(bool productForm);

// The version in a shared library's file name: "libdc1394.so.25.0.0" gives
// 25.0.0.0; nullopt when the name carries none.
std::optional<vxVersionQuad> vxVersionFromLibraryFile(std::string_view path);
