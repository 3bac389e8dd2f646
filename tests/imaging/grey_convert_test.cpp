// Conversion of the pixel codings to 8-bit grey and RGB for display.
#include "imaging/grey_convert.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

vxImageView rowView(const std::vector<uint8_t>& bytes, uint32_t width, vxPixelCoding coding) {
  vxImageView v;
  v.data = bytes.data();
  v.width = width;
  v.height = 1;
  v.stride = bytes.size();
  v.coding = coding;
  return v;
}

void expectNear(const std::vector<uint8_t>& got, const std::vector<int>& want, int tolerance) {
  ASSERT_EQ(got.size(), want.size());
  for (size_t i = 0; i < got.size(); ++i)
    EXPECT_LE(std::abs(got[i] - want[i]), tolerance) << "byte " << i;
}

}  // namespace

TEST(GreyConvert, RowBytesFollowTheCodingsPacking) {
  EXPECT_EQ(vxGreyConverter::rowBytes(640, vxPixelCoding::YUV411), 960u);
  EXPECT_EQ(vxGreyConverter::rowBytes(640, vxPixelCoding::SignedRGB16), 3840u);
  EXPECT_THROW(vxGreyConverter::rowBytes(642, vxPixelCoding::YUV411), vxGreyConverter::BadImage);
  EXPECT_THROW(vxGreyConverter::rowBytes(641, vxPixelCoding::YUV422), vxGreyConverter::BadImage);
}

TEST(GreyConvert, MonoCodingsBecomeGreyTriples) {
  const std::vector<uint8_t> mono16 = {0xAB, 0xCD, 0x01, 0xFF};
  expectNear(vxGreyConverter::toRgb8(rowView(mono16, 2, vxPixelCoding::Mono16)),
             {0xAB, 0xAB, 0xAB, 0x01, 0x01, 0x01}, 0);
  const std::vector<uint8_t> signed16 = {0x80, 0x00, 0x7F, 0xFF};
  expectNear(vxGreyConverter::toRgb8(rowView(signed16, 2, vxPixelCoding::SignedMono16)),
             {0, 0, 0, 255, 255, 255}, 0);
  const std::vector<uint8_t> raw = {3, 250};
  expectNear(vxGreyConverter::toRgb8(rowView(raw, 2, vxPixelCoding::Raw8)),
             {3, 3, 3, 250, 250, 250}, 0);
}

TEST(GreyConvert, RgbCodingsKeepTheirComponents) {
  const std::vector<uint8_t> rgb16 = {0x12, 0xFF, 0x34, 0x00, 0x56, 0x77};
  expectNear(vxGreyConverter::toRgb8(rowView(rgb16, 1, vxPixelCoding::RGB16)), {0x12, 0x34, 0x56},
             0);
  const std::vector<uint8_t> signedRgb = {0x80, 0x00, 0x00, 0x00, 0x7F, 0xFF};
  expectNear(vxGreyConverter::toRgb8(rowView(signedRgb, 1, vxPixelCoding::SignedRGB16)),
             {0, 128, 255}, 0);
}

TEST(GreyConvert, YuvBecomesRgbByRec601) {
  // Neutral chroma gives grey; Rec. 601 red (Y 76, U 85, V 255) gives back red;
  // blue (Y 29, U 255, V 107) gives back blue.
  const std::vector<uint8_t> yuv444 = {128, 100, 128, 85, 76, 255, 255, 29, 107};
  expectNear(vxGreyConverter::toRgb8(rowView(yuv444, 3, vxPixelCoding::YUV444)),
             {100, 100, 100, 255, 0, 0, 0, 0, 255}, 2);
  // The shared U and V of 4:2:2 and 4:1:1 apply to every pixel of their group.
  const std::vector<uint8_t> yuv422 = {128, 10, 128, 200};
  expectNear(vxGreyConverter::toRgb8(rowView(yuv422, 2, vxPixelCoding::YUV422)),
             {10, 10, 10, 200, 200, 200}, 0);
  const std::vector<uint8_t> yuv411 = {85, 76, 76, 255, 76, 76};
  const std::vector<uint8_t> rgb =
      vxGreyConverter::toRgb8(rowView(yuv411, 4, vxPixelCoding::YUV411));
  expectNear(rgb, {255, 0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0}, 2);
}

TEST(GreyConvert, WholeImagesHonourBothStrides) {
  // Two rows of two RGB8 pixels with two padding bytes; output rows padded to 4.
  const std::vector<uint8_t> src = {255, 255, 255, 0, 0, 0, 9, 9, 10, 20, 30, 255, 0, 0, 9, 9};
  vxImageView v;
  v.data = src.data();
  v.width = 2;
  v.height = 2;
  v.stride = 8;
  v.coding = vxPixelCoding::RGB8;
  std::vector<uint8_t> grey(8, 0xEE);
  vxGreyConverter::toGrey8(v, grey.data(), 4);
  EXPECT_EQ(grey, (std::vector<uint8_t>{255, 0, 0xEE, 0xEE, 18, 76, 0xEE, 0xEE}));
  EXPECT_EQ(vxGreyConverter::toGrey8(v), (std::vector<uint8_t>{255, 0, 18, 76}));

  vxImageView none = v;
  none.data = nullptr;
  EXPECT_THROW(vxGreyConverter::toGrey8(none), vxGreyConverter::BadPointer);
  EXPECT_THROW(vxGreyConverter::toRgb8(none), vxGreyConverter::BadPointer);
}
