// Video format names, lookup and the formats a camera offers.
#include <gtest/gtest.h>

#include <string>

#include "acquisition/video_format.h"
#include "support/fake_camera.h"

namespace {
std::string orNull(const char* name) {
  return name ? name : "(null)";
}
}  // namespace

TEST(VideoFormatNames, DcamTablesAsTheCapabilityReportPrintsThem) {
  // The edges of each table: Format_0 has seven modes, Format_3 none.
  const struct { uint32_t format, mode; const char* name; } modes[] = {
      {0, 0, "160x120 YUV(4:4:4)"}, {0, 6, "640x480 Mono16"}, {0, 7, nullptr},
      {1, 7, "1024x768 Mono16"},    {2, 4, "1600x1200 24bit RGB"}, {3, 0, nullptr}};
  for (const auto& m : modes) EXPECT_EQ(orNull(vxVideoFormat::modeName(m.format, m.mode)), orNull(m.name));
  EXPECT_EQ(orNull(vxVideoFormat::rateName(0)), "1.875 FPS");
  EXPECT_EQ(orNull(vxVideoFormat::rateName(7)), "240 FPS");
  EXPECT_EQ(vxVideoFormat::rateName(8), nullptr);
  // Format_7 codings are spelt with a blank before the bracket, standard modes without.
  EXPECT_EQ(orNull(vxVideoFormat::colorCodingName(1)), "YUV (4:1:1)");
  EXPECT_EQ(orNull(vxVideoFormat::colorCodingName(10)), "Bayer RAW16");
  EXPECT_EQ(vxVideoFormat::colorCodingName(11), nullptr);
}

TEST(VideoFormatLookup, NamesRoundTripAndPickTheVariant) {
  auto mono = vxVideoFormat::find("640x480 Mono 30 FPS");
  EXPECT_EQ(mono->format() * 100 + mono->mode() * 10 + mono->rate(), 54u);
  EXPECT_EQ(mono->width(), 640u);
  EXPECT_EQ(mono->coding(), vxPixelCoding::Mono8);
  EXPECT_DOUBLE_EQ(mono->framesPerSecond(), 30.0);
  EXPECT_NE(dynamic_cast<vxStdGreyVideoFormat*>(mono.get()), nullptr);

  auto rgb = vxVideoFormat::find("1280x960 24bit RGB 7.5 FPS");
  EXPECT_EQ(rgb->format() * 10 + rgb->mode(), 21u);
  EXPECT_TRUE(rgb->isStandard());
  EXPECT_FALSE(rgb->isGrey());
  EXPECT_NE(dynamic_cast<vxStdVideoFormat*>(rgb.get()), nullptr);

  auto raw = vxVideoFormat::find("Format7 Mode 3 Bayer RAW8");
  EXPECT_TRUE(raw->isFormat7());
  EXPECT_EQ(raw->mode(), 3u);
  EXPECT_EQ(raw->coding(), vxPixelCoding::Raw8);
  EXPECT_EQ(raw->width(), 0u);  // no camera, no size
  EXPECT_NE(dynamic_cast<vxGreyVideoFormat*>(raw.get()), nullptr);
  EXPECT_FALSE(vxVideoFormat::find("Format7 Mode 0 YUV (4:2:2)")->isGrey());

  for (const char* bad : {"", "640x480 Mono", "640x480 Mono 31 FPS", "640x480 mono 30 FPS",
                          "Format7 Mode 8 Mono", "Format7 Mode 0 Bayer RAW32"})
    EXPECT_THROW(vxVideoFormat::find(bad), vxVideoFormat::NotFound) << bad;
  EXPECT_THROW(vxVideoFormat::make(0, 7, 0), vxVideoFormat::NotFound);
  EXPECT_THROW(vxVideoFormat::make(7, 0, 11), vxVideoFormat::NotFound);
}

TEST(VideoFormatCamera, ListsAndLooksUpWhatTheCameraOffers) {
  FakeIidcCamera camera;
  const std::vector<std::string> expected = {"640x480 24bit RGB 15 FPS", "640x480 Mono 7.5 FPS",
                                             "640x480 Mono 15 FPS",      "640x480 Mono 30 FPS",
                                             "Format7 Mode 0 Mono",      "Format7 Mode 0 Mono16",
                                             "Format7 Mode 0 Bayer RAW8"};
  EXPECT_EQ(vxVideoFormat::supportedNames(camera), expected);
  auto f7 = vxVideoFormat::find(camera, "Format7 Mode 0 Mono16");
  EXPECT_EQ(f7->width() * 10000 + f7->height(), 1280u * 10000 + 960u);
  for (const char* missing : {"640x480 Mono 60 FPS", "Format7 Mode 0 24bit RGB", "Format7 Mode 1 Mono"})
    EXPECT_THROW(vxVideoFormat::find(camera, missing), vxVideoFormat::NotSupported) << missing;
  EXPECT_THROW(vxVideoFormat::find(camera, "nonsense"), vxVideoFormat::NotFound);

  // A camera that stops answering supports nothing.
  camera.setPlugged(false);
  EXPECT_TRUE(vxVideoFormat::supportedNames(camera).empty());
}
