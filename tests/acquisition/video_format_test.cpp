// Video format names, lookup and the formats a camera offers.
#include <gtest/gtest.h>

#include "acquisition/video_format.h"
#include "fake_camera.h"

TEST(VideoFormatNames, DcamTablesAsTheCapabilityReportPrintsThem) {
  EXPECT_STREQ(vxVideoFormat::modeName(0, 0), "160x120 YUV(4:4:4)");
  EXPECT_STREQ(vxVideoFormat::modeName(0, 2), "640x480 YUV(4:1:1)");
  EXPECT_STREQ(vxVideoFormat::modeName(0, 6), "640x480 Mono16");
  EXPECT_EQ(vxVideoFormat::modeName(0, 7), nullptr);  // Format_0 has seven modes
  EXPECT_STREQ(vxVideoFormat::modeName(1, 6), "800x600 Mono16");
  EXPECT_STREQ(vxVideoFormat::modeName(1, 7), "1024x768 Mono16");
  EXPECT_STREQ(vxVideoFormat::modeName(2, 4), "1600x1200 24bit RGB");
  EXPECT_EQ(vxVideoFormat::modeName(3, 0), nullptr);
  EXPECT_STREQ(vxVideoFormat::rateName(0), "1.875 FPS");
  EXPECT_STREQ(vxVideoFormat::rateName(2), "7.5 FPS");
  EXPECT_STREQ(vxVideoFormat::rateName(7), "240 FPS");
  EXPECT_EQ(vxVideoFormat::rateName(8), nullptr);
  // Format_7 codings are spelt with a blank before the bracket, standard modes without.
  EXPECT_STREQ(vxVideoFormat::colorCodingName(1), "YUV (4:1:1)");
  EXPECT_STREQ(vxVideoFormat::colorCodingName(6), "48bit RGB");
  EXPECT_STREQ(vxVideoFormat::colorCodingName(8), "Signed RGB16");
  EXPECT_STREQ(vxVideoFormat::colorCodingName(10), "Bayer RAW16");
  EXPECT_EQ(vxVideoFormat::colorCodingName(11), nullptr);
}

TEST(VideoFormatLookup, NamesRoundTripAndPickTheVariant) {
  auto mono = vxVideoFormat::find("640x480 Mono 30 FPS");
  EXPECT_EQ(mono->format(), 0u);
  EXPECT_EQ(mono->mode(), 5u);
  EXPECT_EQ(mono->rate(), 4u);
  EXPECT_EQ(mono->width(), 640u);
  EXPECT_EQ(mono->coding(), vxPixelCoding::Mono8);
  EXPECT_DOUBLE_EQ(mono->framesPerSecond(), 30.0);
  EXPECT_NE(dynamic_cast<vxStdGreyVideoFormat*>(mono.get()), nullptr);

  auto rgb = vxVideoFormat::find("1280x960 24bit RGB 7.5 FPS");
  EXPECT_EQ(rgb->format(), 2u);
  EXPECT_EQ(rgb->mode(), 1u);
  EXPECT_TRUE(rgb->isStandard());
  EXPECT_FALSE(rgb->isGrey());
  EXPECT_NE(dynamic_cast<vxStdVideoFormat*>(rgb.get()), nullptr);

  auto raw = vxVideoFormat::find("Format7 Mode 3 Bayer RAW8");
  EXPECT_TRUE(raw->isFormat7());
  EXPECT_EQ(raw->mode(), 3u);
  EXPECT_EQ(raw->coding(), vxPixelCoding::Raw8);
  EXPECT_EQ(raw->width(), 0u);  // no camera, no size
  EXPECT_NE(dynamic_cast<vxGreyVideoFormat*>(raw.get()), nullptr);
  auto yuv = vxVideoFormat::find("Format7 Mode 0 YUV (4:2:2)");
  EXPECT_FALSE(yuv->isGrey());
  EXPECT_FALSE(yuv->isStandard());

  for (const char* bad : {"", "640x480 Mono", "640x480 Mono 31 FPS", "640x480 mono 30 FPS",
                          "Format7 Mode 8 Mono", "Format7 Mode 0 Bayer RAW32"})
    EXPECT_THROW(vxVideoFormat::find(bad), vxVideoFormat::NotFound) << bad;
  EXPECT_THROW(vxVideoFormat::make(0, 7, 0), vxVideoFormat::NotFound);
  EXPECT_THROW(vxVideoFormat::make(7, 0, 11), vxVideoFormat::NotFound);
}

TEST(VideoFormatCamera, ListsStandardModesAtEachRateThenFormat7Codings) {
  FakeCamera camera;
  const std::vector<std::string> expected = {"640x480 24bit RGB 15 FPS", "640x480 Mono 7.5 FPS",
                                             "640x480 Mono 15 FPS",      "640x480 Mono 30 FPS",
                                             "Format7 Mode 0 Mono",      "Format7 Mode 0 Mono16",
                                             "Format7 Mode 0 Bayer RAW8"};
  EXPECT_EQ(vxVideoFormat::supportedNames(camera), expected);
  for (const auto& format : vxVideoFormat::supportedFormats(camera)) {
    if (format->isFormat7()) {
      EXPECT_EQ(format->width(), 1280u);
      EXPECT_EQ(format->height(), 960u);
    }
  }
}

TEST(VideoFormatCamera, LookupOnACameraChecksSupportAndSizesFormat7) {
  FakeCamera camera;
  auto f7 = vxVideoFormat::find(camera, "Format7 Mode 0 Mono16");
  EXPECT_EQ(f7->width(), 1280u);
  EXPECT_EQ(f7->height(), 960u);
  EXPECT_THROW(vxVideoFormat::find(camera, "640x480 Mono 60 FPS"), vxVideoFormat::NotSupported);
  EXPECT_THROW(vxVideoFormat::find(camera, "Format7 Mode 0 24bit RGB"),
               vxVideoFormat::NotSupported);
  EXPECT_THROW(vxVideoFormat::find(camera, "Format7 Mode 1 Mono"), vxVideoFormat::NotSupported);
  EXPECT_THROW(vxVideoFormat::find(camera, "nonsense"), vxVideoFormat::NotFound);

  // A camera that stops answering supports nothing.
  camera.unplug();
  EXPECT_TRUE(vxVideoFormat::supportedNames(camera).empty());
}
