// Pictures for the live display: any IIDC coding to RGB at the display's size.
#include "imaging/display_picture.h"

#include <algorithm>
#include <vector>

#include "imaging/grey_convert.h"

void vxFitDisplaySize(uint32_t width, uint32_t height, uint32_t maxWidth, uint32_t maxHeight,
                      uint32_t& fitWidth, uint32_t& fitHeight) {
  if (width == 0 || height == 0 || maxWidth == 0 || maxHeight == 0) {
    fitWidth = fitHeight = 1;
    return;
  }
  if (uint64_t{maxWidth} * height <= uint64_t{maxHeight} * width) {
    fitWidth = maxWidth;
    fitHeight = static_cast<uint32_t>(uint64_t{height} * maxWidth / width);
  } else {
    fitHeight = maxHeight;
    fitWidth = static_cast<uint32_t>(uint64_t{width} * maxHeight / height);
  }
  fitWidth = std::max(fitWidth, 1u);
  fitHeight = std::max(fitHeight, 1u);
}

void vxDrawDisplayPicture(const vxImageView& image, uint32_t dstWidth, uint32_t dstHeight,
                          uint8_t* dst, size_t dstStride) {
  vxGreyConverter::check(image);
  if (dstWidth == 0 || dstHeight == 0 || image.width == 0 || image.height == 0) return;
  const bool bayer = image.coding == vxPixelCoding::Raw8 || image.coding == vxPixelCoding::Raw16;
  std::vector<uint32_t> columns(dstWidth);
  for (uint32_t x = 0; x < dstWidth; ++x)
    columns[x] = static_cast<uint32_t>(uint64_t{x} * image.width / dstWidth);

  if (bayer) {
    // Two grey rows of the tile; the last odd row or column repeats its
    // neighbour.
    std::vector<uint8_t> even(image.width), odd(image.width);
    for (uint32_t y = 0; y < dstHeight; ++y) {
      const uint32_t sy = static_cast<uint32_t>(uint64_t{y} * image.height / dstHeight) & ~1u;
      const uint32_t sy1 = std::min(sy + 1, image.height - 1);
      vxGreyConverter::greyRow(image.data + sy * image.stride, image.width, image.coding,
                               even.data());
      vxGreyConverter::greyRow(image.data + sy1 * image.stride, image.width, image.coding,
                               odd.data());
      uint8_t* out = dst + y * dstStride;
      for (uint32_t x = 0; x < dstWidth; ++x, out += 3) {
        const uint32_t sx = columns[x] & ~1u;
        const uint32_t sx1 = std::min(sx + 1, image.width - 1);
        out[0] = even[sx];
        out[1] = static_cast<uint8_t>((even[sx1] + odd[sx]) / 2);
        out[2] = odd[sx1];
      }
    }
    return;
  }

  std::vector<uint8_t> rgb(size_t{image.width} * 3);
  for (uint32_t y = 0; y < dstHeight; ++y) {
    const uint32_t sy = static_cast<uint32_t>(uint64_t{y} * image.height / dstHeight);
    vxGreyConverter::rgbRow(image.data + sy * image.stride, image.width, image.coding, rgb.data());
    uint8_t* out = dst + y * dstStride;
    for (uint32_t x = 0; x < dstWidth; ++x, out += 3) {
      const uint8_t* p = rgb.data() + size_t{columns[x]} * 3;
      out[0] = p[0];
      out[1] = p[1];
      out[2] = p[2];
    }
  }
}
