// Reduction of every IIDC pixel coding to 8-bit grey, and to 8-bit RGB for display.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/exception.h"
#include "base/pixel_coding.h"

// One grey rule serves the histogram and the display, so both show the same
// levels for the same image:
// - Mono8 and Bayer Raw8: the byte itself (raw mosaics are treated as grey
//   samples; the filter order is not part of the coding).
// - Mono16 and Raw16: the top 8 bits of the big-endian sample.
// - Signed Mono16: the sample offset by 32768 before its top 8 bits are taken
//   (offset binary), so -32768 is black, 0 is mid-grey 128 and 32767 is white;
//   this keeps the order of the values, which a clamp at zero would not.
// - YUV 4:1:1, 4:2:2 and 4:4:4: the Y samples as they stand.
// - RGB8: Rec. 601 luma, Y = (299 R + 587 G + 114 B) / 1000, truncated.
// - RGB16 and signed RGB16: each component reduced to 8 bits as for the mono
//   codings of the same signedness, then the luma of RGB8.
//
// The RGB conversion for display replicates the grey of mono and raw codings,
// takes the top 8 bits of 16-bit components and turns YUV into RGB with the
// Rec. 601 equations (full-range Y, U and V centred on 128).
class vxGreyConverter {
 public:
  // The image has no pixel buffer.
  class BadPointer : public vxException {
   public:
    using vxException::vxException;
  };
  // The geometry does not fit the coding: rows shorter than the coding needs,
  // or a width that YUV 4:1:1 (multiple of 4) or 4:2:2 (multiple of 2) cannot pack.
  class BadImage : public vxException {
   public:
    using vxException::vxException;
  };

  // Bytes one packed row of width pixels takes; throws BadImage for a width
  // the coding cannot pack.
  static size_t rowBytes(uint32_t width, vxPixelCoding coding);
  // Throws BadPointer or BadImage when the view cannot be read as it claims.
  static void check(const vxImageView& image);
  // True for the codings that carry colour (YUV and RGB); raw mosaics are not.
  static bool isColour(vxPixelCoding coding);

  // One row of width pixels in the coding's byte order to width grey bytes.
  static void greyRow(const uint8_t* src, uint32_t width, vxPixelCoding coding, uint8_t* dst);
  // One row to width R, G, B byte triples.
  static void rgbRow(const uint8_t* src, uint32_t width, vxPixelCoding coding, uint8_t* dst);

  // Whole images into a caller buffer of height rows of dstStride bytes.
  static void toGrey8(const vxImageView& image, uint8_t* dst, size_t dstStride);
  static void toRgb8(const vxImageView& image, uint8_t* dst, size_t dstStride);
  // Whole images into packed buffers (width, respectively 3 x width, bytes per row).
  static std::vector<uint8_t> toGrey8(const vxImageView& image);
  static std::vector<uint8_t> toRgb8(const vxImageView& image);
};
