// Pixel codings of IIDC images and a plain view of an image buffer.
#pragma once

#include <cstddef>
#include <cstdint>

// The IIDC colour codings, numbered as COLOR_CODING_ID numbers them (Format_7
// colour coding 0 to 10). Standard Format_0..2 modes map onto the same set.
enum class vxPixelCoding : uint8_t {
  Mono8 = 0,
  YUV411 = 1,
  YUV422 = 2,
  YUV444 = 3,
  RGB8 = 4,
  Mono16 = 5,
  RGB16 = 6,
  SignedMono16 = 7,
  SignedRGB16 = 8,
  Raw8 = 9,
  Raw16 = 10,
};
constexpr int kPixelCodingCount = 11;

// Bits per pixel on the wire, as IIDC packs each coding (YUV 4:1:1 is 12,
// 4:2:2 is 16, 4:4:4 and RGB8 are 24, the 16-bit codings 16 or 48).
constexpr unsigned vxBitsPerPixel(vxPixelCoding coding) {
  switch (coding) {
    case vxPixelCoding::Mono8:
    case vxPixelCoding::Raw8:
      return 8;
    case vxPixelCoding::YUV411:
      return 12;
    case vxPixelCoding::YUV422:
    case vxPixelCoding::Mono16:
    case vxPixelCoding::SignedMono16:
    case vxPixelCoding::Raw16:
      return 16;
    case vxPixelCoding::YUV444:
    case vxPixelCoding::RGB8:
      return 24;
    case vxPixelCoding::RGB16:
    case vxPixelCoding::SignedRGB16:
      return 48;
  }
  return 8;
}

// A borrowed image: rows of stride bytes, packed in the coding's IIDC byte
// order (16-bit samples big-endian, YUV as UYYVYY / UYVY / UYV).
struct vxImageView {
  const uint8_t* data = nullptr;
  uint32_t width = 0;
  uint32_t height = 0;
  size_t stride = 0;  // bytes per row
  vxPixelCoding coding = vxPixelCoding::Mono8;
};
