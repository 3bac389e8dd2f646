// Histogram bins, statistics and the statistics line for small hand-made images.
#include "imaging/histogram.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "imaging/grey_convert.h"

namespace {

vxImageView view(const std::vector<uint8_t>& bytes, uint32_t width, uint32_t height,
                 vxPixelCoding coding, size_t stride = 0) {
  vxImageView v;
  v.data = bytes.data();
  v.width = width;
  v.height = height;
  v.coding = coding;
  v.stride = stride ? stride : bytes.size() / (height ? height : 1);
  return v;
}

// Levels counted for a one-row image, in pixel order.
std::vector<int> levelsOf(const std::vector<uint8_t>& row, uint32_t width, vxPixelCoding coding) {
  const vxHistogram h = vxHistogram::fromImage(view(row, width, 1, coding));
  EXPECT_EQ(h.total(), width);
  const std::vector<uint8_t> grey = vxGreyConverter::toGrey8(view(row, width, 1, coding));
  std::vector<int> levels(grey.begin(), grey.end());
  // The histogram must count exactly what the grey conversion yields.
  vxHistogram::Bins expected{};
  for (int l : levels) ++expected[static_cast<size_t>(l)];
  EXPECT_EQ(h.bins(), expected);
  return levels;
}

}  // namespace

TEST(Histogram, AllBlackImageIsOneBinAtZero) {
  const std::vector<uint8_t> black(640 * 480, 0);
  const vxHistogram h = vxHistogram::fromImage(view(black, 640, 480, vxPixelCoding::Mono8));
  EXPECT_EQ(h.count(0), 640u * 480u);
  EXPECT_EQ(h.largestCount(), 640u * 480u);
  const vxImageStats s = h.stats();
  EXPECT_EQ(s.minLevel, 0);
  EXPECT_EQ(s.maxLevel, 0);
  EXPECT_EQ(s.mode, 0);
  EXPECT_EQ(s.stdDev, 0.0);
  EXPECT_EQ(vxStatisticsLine(h, false),
            "Mean: 0.00   Min:   0   Max:   0   Mode: 0   StdDev: 0.00");
  // An empty histogram (a 0 x 0 image) reads the same, without dividing by zero.
  EXPECT_EQ(vxStatisticsText(vxHistogram().stats()), vxStatisticsLine(h, false));
}

TEST(Histogram, StatisticsOfKnownLevelsSkipRowPadding) {
  // Two rows of three pixels, each row padded with a byte that must not count.
  const std::vector<uint8_t> bytes = {10, 30, 10, 0xEE, 30, 10, 30, 0xEE};
  const vxHistogram h = vxHistogram::fromImage(view(bytes, 3, 2, vxPixelCoding::Mono8, 4));
  EXPECT_EQ(h.total(), 6u);
  EXPECT_EQ(h.count(10), 3u);
  EXPECT_EQ(h.count(30), 3u);
  EXPECT_EQ(h.count(0xEE), 0u);
  const vxImageStats s = h.stats();
  EXPECT_DOUBLE_EQ(s.mean, 20.0);
  EXPECT_DOUBLE_EQ(s.stdDev, 10.0);
  EXPECT_EQ(s.minLevel, 10);
  EXPECT_EQ(s.maxLevel, 30);
  EXPECT_EQ(s.mode, 10);  // a tie goes to the lower level
  EXPECT_EQ(s.pixels, 6u);
}

TEST(Histogram, StatisticsLineAndMarkers) {
  vxHistogram::Bins bins{};
  bins[3] = 1;
  bins[64] = 5;
  bins[192] = 2;
  bins[250] = 2;
  const vxHistogram h(bins);
  const vxImageStats s = h.stats();
  // (3 + 320 + 384 + 500) / 10
  EXPECT_DOUBLE_EQ(s.mean, 120.7);
  EXPECT_EQ(s.mode, 64);
  EXPECT_EQ(vxStatisticsText(s), "Mean: 120.70   Min:   3   Max: 250   Mode: 64   StdDev: 85.75");
  EXPECT_EQ(vxStatisticsLine(h, true), vxStatisticsText(s) + "   Red: 64 - 5   Blue: 192 - 2");
  EXPECT_EQ(vxMarkerText(h, 250, 3), "   Red: 250 - 2   Blue: 3 - 1");
  // A marker off the scale reads as an empty bin instead of reading past the bins.
  EXPECT_EQ(vxMarkerText(h, -1, 256), "   Red: -1 - 0   Blue: 256 - 0");

  vxImageStats wide;
  wide.mean = 1234.5;
  wide.minLevel = 7;
  wide.maxLevel = 1000;
  wide.mode = 12;
  wide.stdDev = 3.14159;
  EXPECT_EQ(vxStatisticsText(wide),
            "Mean: 1234.50   Min:   7   Max: 1000   Mode: 12   StdDev: 3.14");
}

TEST(Histogram, SixteenBitCodingsCountTheirTopEightBits) {
  const std::vector<uint8_t> row = {0x12, 0x34, 0xFF, 0x01, 0x00, 0xFF};
  EXPECT_EQ(levelsOf(row, 3, vxPixelCoding::Mono16), (std::vector<int>{0x12, 0xFF, 0x00}));
  EXPECT_EQ(levelsOf(row, 3, vxPixelCoding::Raw16), (std::vector<int>{0x12, 0xFF, 0x00}));
}

TEST(Histogram, SignedSamplesAreOffsetToKeepTheirOrder) {
  // -32768, -256, 0, 32767
  const std::vector<uint8_t> row = {0x80, 0x00, 0xFF, 0x00, 0x00, 0x00, 0x7F, 0xFF};
  EXPECT_EQ(levelsOf(row, 4, vxPixelCoding::SignedMono16), (std::vector<int>{0, 127, 128, 255}));
  // Signed RGB: all components -32768 is black, all 32767 is white.
  const std::vector<uint8_t> rgb = {0x80, 0, 0x80, 0, 0x80, 0, 0x7F, 0xFF, 0x7F, 0xFF, 0x7F, 0xFF};
  EXPECT_EQ(levelsOf(rgb, 2, vxPixelCoding::SignedRGB16), (std::vector<int>{0, 255}));
}

TEST(Histogram, YuvCodingsCountTheirLumaSamples) {
  EXPECT_EQ(levelsOf({200, 1, 2, 50, 3, 4}, 4, vxPixelCoding::YUV411),
            (std::vector<int>{1, 2, 3, 4}));
  EXPECT_EQ(levelsOf({200, 5, 50, 6}, 2, vxPixelCoding::YUV422), (std::vector<int>{5, 6}));
  EXPECT_EQ(levelsOf({200, 7, 50, 201, 8, 51}, 2, vxPixelCoding::YUV444), (std::vector<int>{7, 8}));
}

TEST(Histogram, RgbCodingsCountRec601Luma) {
  // red, green, blue, white, (10, 20, 30): 299*255/1000 = 76.2, 587*255/1000 = 149.7,
  // 114*255/1000 = 29.1, (2990 + 11740 + 3420)/1000 = 18.15
  const std::vector<uint8_t> rgb8 = {255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255, 10, 20, 30};
  EXPECT_EQ(levelsOf(rgb8, 5, vxPixelCoding::RGB8), (std::vector<int>{76, 149, 29, 255, 18}));
  // RGB16 takes each component's top byte first, so low bytes change nothing.
  const std::vector<uint8_t> rgb16 = {0xFF, 0x99, 0, 0x99, 0, 0x99, 10, 0xFF, 20, 0xFF, 30, 0xFF};
  EXPECT_EQ(levelsOf(rgb16, 2, vxPixelCoding::RGB16), (std::vector<int>{76, 18}));
}

TEST(Histogram, RawMosaicsAreGreySamples) {
  EXPECT_EQ(levelsOf({9, 200, 9, 1}, 4, vxPixelCoding::Raw8), (std::vector<int>{9, 200, 9, 1}));
}

TEST(Histogram, RefusesImagesItCannotRead) {
  vxImageView none;
  none.width = 4;
  none.height = 4;
  none.stride = 4;
  EXPECT_THROW(vxHistogram::fromImage(none), vxHistogram::BadPointer);

  const std::vector<uint8_t> bytes(64, 0);
  // Rows shorter than the coding needs, and a width 4:1:1 cannot pack.
  EXPECT_THROW(vxHistogram::fromImage(view(bytes, 4, 4, vxPixelCoding::RGB8, 4)),
               vxGreyConverter::BadImage);
  EXPECT_THROW(vxHistogram::fromImage(view(bytes, 6, 2, vxPixelCoding::YUV411, 9)),
               vxGreyConverter::BadImage);
  EXPECT_THROW(vxHistogram::fromImage(view(bytes, 3, 2, vxPixelCoding::YUV422, 8)),
               vxGreyConverter::BadImage);
}

TEST(Histogram, LargeImagesCountEveryPixelOnce) {
  // Long runs of one level and a tail that is not a multiple of the unrolling.
  std::vector<uint8_t> bytes(1601 * 3, 77);
  for (size_t i = 0; i < bytes.size(); i += 7) bytes[i] = 200;
  const vxHistogram h = vxHistogram::fromImage(view(bytes, 1601, 3, vxPixelCoding::Mono8));
  const uint32_t twoHundreds = static_cast<uint32_t>((bytes.size() + 6) / 7);
  EXPECT_EQ(h.count(200), twoHundreds);
  EXPECT_EQ(h.count(77), bytes.size() - twoHundreds);
}
