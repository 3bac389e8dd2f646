// Reduction of every IIDC pixel coding to 8-bit grey and to 8-bit RGB.
#include "imaging/grey_convert.h"

#include <array>

#include "base/format.h"

namespace {

// Rec. 601 luma weights as tables, so a pixel costs three loads and one
// division by a constant (which the compiler turns into a multiplication).
struct LumaTables {
  std::array<uint32_t, 256> r{}, g{}, b{};
  constexpr LumaTables() {
    for (uint32_t i = 0; i < 256; ++i) {
      r[i] = 299 * i;
      g[i] = 587 * i;
      b[i] = 114 * i;
    }
  }
};
constexpr LumaTables kLuma;

inline uint8_t luma(uint8_t r, uint8_t g, uint8_t b) {
  return static_cast<uint8_t>((kLuma.r[r] + kLuma.g[g] + kLuma.b[b]) / 1000);
}

// Top byte of a big-endian sample; flipping the sign bit turns two's
// complement into offset binary.
template <bool kSigned>
inline uint8_t top8(const uint8_t* sample) {
  return kSigned ? static_cast<uint8_t>(sample[0] ^ 0x80) : sample[0];
}

template <bool kSigned>
void rgb16GreyRow(const uint8_t* src, uint32_t width, uint8_t* dst) {
  for (uint32_t x = 0; x < width; ++x, src += 6)
    dst[x] = luma(top8<kSigned>(src), top8<kSigned>(src + 2), top8<kSigned>(src + 4));
}

template <bool kSigned>
void rgb16RgbRow(const uint8_t* src, uint32_t width, uint8_t* dst) {
  for (uint32_t x = 0; x < width; ++x, src += 6, dst += 3) {
    dst[0] = top8<kSigned>(src);
    dst[1] = top8<kSigned>(src + 2);
    dst[2] = top8<kSigned>(src + 4);
  }
}

inline uint8_t clamp8(int v) {
  return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
}

// Rec. 601 YUV to RGB in 16-bit fixed point.
inline void yuvToRgb(int y, int u, int v, uint8_t* dst) {
  u -= 128;
  v -= 128;
  dst[0] = clamp8(y + ((91881 * v + 32768) >> 16));
  dst[1] = clamp8(y - ((22554 * u + 46802 * v + 32768) >> 16));
  dst[2] = clamp8(y + ((116130 * u + 32768) >> 16));
}

void replicate(const uint8_t* grey, uint32_t width, uint8_t* dst) {
  for (uint32_t x = 0; x < width; ++x, dst += 3) dst[0] = dst[1] = dst[2] = grey[x];
}

}  // namespace

size_t vxGreyConverter::rowBytes(uint32_t width, vxPixelCoding coding) {
  if (coding == vxPixelCoding::YUV411 && width % 4 != 0)
    throw BadImage(vxFormat("YUV 4:1:1 needs a width that is a multiple of 4, not %u", width));
  if (coding == vxPixelCoding::YUV422 && width % 2 != 0)
    throw BadImage(vxFormat("YUV 4:2:2 needs an even width, not %u", width));
  return static_cast<size_t>(width) * vxBitsPerPixel(coding) / 8;
}

void vxGreyConverter::check(const vxImageView& image) {
  if (image.data == nullptr) throw BadPointer("The image has no pixel buffer");
  const size_t need = rowBytes(image.width, image.coding);
  if (image.height > 1 && image.stride < need)
    throw BadImage(
        vxFormat("Row stride %zu is shorter than the %zu bytes a row needs", image.stride, need));
}

bool vxGreyConverter::isColour(vxPixelCoding coding) {
  switch (coding) {
    case vxPixelCoding::YUV411:
    case vxPixelCoding::YUV422:
    case vxPixelCoding::YUV444:
    case vxPixelCoding::RGB8:
    case vxPixelCoding::RGB16:
    case vxPixelCoding::SignedRGB16:
      return true;
    default:
      return false;
  }
}

void vxGreyConverter::greyRow(const uint8_t* src, uint32_t width, vxPixelCoding coding,
                              uint8_t* dst) {
  switch (coding) {
    case vxPixelCoding::Mono8:
    case vxPixelCoding::Raw8:
      for (uint32_t x = 0; x < width; ++x) dst[x] = src[x];
      return;
    case vxPixelCoding::Mono16:
    case vxPixelCoding::Raw16:
      for (uint32_t x = 0; x < width; ++x) dst[x] = src[2 * x];
      return;
    case vxPixelCoding::SignedMono16:
      for (uint32_t x = 0; x < width; ++x) dst[x] = static_cast<uint8_t>(src[2 * x] ^ 0x80);
      return;
    case vxPixelCoding::YUV411:  // U Y Y V Y Y for four pixels
      for (uint32_t x = 0; x < width; x += 4, src += 6) {
        dst[x] = src[1];
        dst[x + 1] = src[2];
        dst[x + 2] = src[4];
        dst[x + 3] = src[5];
      }
      return;
    case vxPixelCoding::YUV422:  // U Y V Y for two pixels
      for (uint32_t x = 0; x < width; ++x) dst[x] = src[2 * x + 1];
      return;
    case vxPixelCoding::YUV444:  // U Y V
      for (uint32_t x = 0; x < width; ++x) dst[x] = src[3 * x + 1];
      return;
    case vxPixelCoding::RGB8:
      for (uint32_t x = 0; x < width; ++x, src += 3) dst[x] = luma(src[0], src[1], src[2]);
      return;
    case vxPixelCoding::RGB16:
      rgb16GreyRow<false>(src, width, dst);
      return;
    case vxPixelCoding::SignedRGB16:
      rgb16GreyRow<true>(src, width, dst);
      return;
  }
}

void vxGreyConverter::rgbRow(const uint8_t* src, uint32_t width, vxPixelCoding coding,
                             uint8_t* dst) {
  switch (coding) {
    case vxPixelCoding::Mono8:
    case vxPixelCoding::Raw8:
      replicate(src, width, dst);
      return;
    case vxPixelCoding::Mono16:
    case vxPixelCoding::Raw16:
    case vxPixelCoding::SignedMono16:
      for (uint32_t x = 0; x < width; ++x, dst += 3) {
        const uint8_t g = coding == vxPixelCoding::SignedMono16
                              ? static_cast<uint8_t>(src[2 * x] ^ 0x80)
                              : src[2 * x];
        dst[0] = dst[1] = dst[2] = g;
      }
      return;
    case vxPixelCoding::YUV411:
      for (uint32_t x = 0; x < width; x += 4, src += 6, dst += 12) {
        yuvToRgb(src[1], src[0], src[3], dst);
        yuvToRgb(src[2], src[0], src[3], dst + 3);
        yuvToRgb(src[4], src[0], src[3], dst + 6);
        yuvToRgb(src[5], src[0], src[3], dst + 9);
      }
      return;
    case vxPixelCoding::YUV422:
      for (uint32_t x = 0; x < width; x += 2, src += 4, dst += 6) {
        yuvToRgb(src[1], src[0], src[2], dst);
        yuvToRgb(src[3], src[0], src[2], dst + 3);
      }
      return;
    case vxPixelCoding::YUV444:
      for (uint32_t x = 0; x < width; ++x, src += 3, dst += 3)
        yuvToRgb(src[1], src[0], src[2], dst);
      return;
    case vxPixelCoding::RGB8:
      for (size_t i = 0; i < size_t{width} * 3; ++i) dst[i] = src[i];
      return;
    case vxPixelCoding::RGB16:
      rgb16RgbRow<false>(src, width, dst);
      return;
    case vxPixelCoding::SignedRGB16:
      rgb16RgbRow<true>(src, width, dst);
      return;
  }
}

void vxGreyConverter::toGrey8(const vxImageView& image, uint8_t* dst, size_t dstStride) {
  check(image);
  for (uint32_t y = 0; y < image.height; ++y)
    greyRow(image.data + y * image.stride, image.width, image.coding, dst + y * dstStride);
}

void vxGreyConverter::toRgb8(const vxImageView& image, uint8_t* dst, size_t dstStride) {
  check(image);
  for (uint32_t y = 0; y < image.height; ++y)
    rgbRow(image.data + y * image.stride, image.width, image.coding, dst + y * dstStride);
}

std::vector<uint8_t> vxGreyConverter::toGrey8(const vxImageView& image) {
  check(image);
  std::vector<uint8_t> out(size_t{image.width} * image.height);
  toGrey8(image, out.data(), image.width);
  return out;
}

std::vector<uint8_t> vxGreyConverter::toRgb8(const vxImageView& image) {
  check(image);
  std::vector<uint8_t> out(size_t{image.width} * image.height * 3);
  toRgb8(image, out.data(), size_t{image.width} * 3);
  return out;
}
