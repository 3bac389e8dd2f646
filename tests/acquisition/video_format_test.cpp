// Video format names, lookup and the formats a camera offers.
#include <gtest/gtest.h>

#include <string>

#include "acquisition/format_choice.h"
#include "acquisition/video_format.h"
#include "support/fake_camera.h"

namespace {
std::string orNull(const char* name) {
  return name ? name : "(null)";
}
}  // namespace

// Every name of the three tables, each at its own number: a shifted or
// misspelt entry anywhere shows.
const char* const kModeNames[3][8] = {
    {"160x120 YUV(4:4:4)", "320x240 YUV(4:2:2)", "640x480 YUV(4:1:1)", "640x480 YUV(4:2:2)",
     "640x480 24bit RGB", "640x480 Mono", "640x480 Mono16", nullptr},
    {"800x600 YUV(4:2:2)", "800x600 24bit RGB", "800x600 Mono", "1024x768 YUV(4:2:2)",
     "1024x768 24bit RGB", "1024x768 Mono", "800x600 Mono16", "1024x768 Mono16"},
    {"1280x960 YUV(4:2:2)", "1280x960 24bit RGB", "1280x960 Mono", "1600x1200 YUV(4:2:2)",
     "1600x1200 24bit RGB", "1600x1200 Mono", "1280x960 Mono16", "1600x1200 Mono16"}};
const char* const kRateNames[8] = {"1.875 FPS", "3.75 FPS", "7.5 FPS", "15 FPS",
                                   "30 FPS",    "60 FPS",   "120 FPS", "240 FPS"};
// Format_7 codings are spelt with a blank before the bracket, standard modes without.
const char* const kCodingNames[11] = {"Mono",         "YUV (4:1:1)", "YUV (4:2:2)", "YUV (4:4:4)",
                                      "24bit RGB",    "Mono16",      "48bit RGB",   "Signed Mono16",
                                      "Signed RGB16", "Bayer RAW8",  "Bayer RAW16"};

TEST(VideoFormatNames, EveryNameOfTheFormatRateAndCodingTables) {
  int modes = 0;
  for (uint32_t format = 0; format < 3; ++format)
    for (uint32_t mode = 0; mode < 8; ++mode) {
      modes += kModeNames[format][mode] != nullptr;
      EXPECT_EQ(orNull(vxVideoFormat::modeName(format, mode)), orNull(kModeNames[format][mode]))
          << format << "/" << mode;
    }
  EXPECT_EQ(modes, 23);
  for (uint32_t format : {3u, 6u, 7u}) EXPECT_EQ(vxVideoFormat::modeName(format, 0), nullptr);
  for (uint32_t rate = 0; rate < 8; ++rate)
    EXPECT_EQ(orNull(vxVideoFormat::rateName(rate)), kRateNames[rate]);
  EXPECT_EQ(vxVideoFormat::rateName(8), nullptr);
  for (uint32_t id = 0; id < 11; ++id)
    EXPECT_EQ(orNull(vxVideoFormat::colorCodingName(id)), kCodingNames[id]);
  EXPECT_EQ(vxVideoFormat::colorCodingName(11), nullptr);
  // Every standard name is found again, at its own numbers.
  for (uint32_t format = 0; format < 3; ++format)
    for (uint32_t mode = 0; mode < 8; ++mode)
      if (kModeNames[format][mode])
        for (uint32_t rate = 0; rate < 8; ++rate) {
          const std::string name = std::string(kModeNames[format][mode]) + " " + kRateNames[rate];
          const auto found = vxVideoFormat::find(name);
          EXPECT_EQ(found->format() * 100 + found->mode() * 10 + found->rate(),
                    format * 100 + mode * 10 + rate)
              << name;
        }
}

// A camera with Format_0 mode 4 (RGB) at 15 FPS, mode 5 (Mono) at 7.5, 15
// and 30 FPS, and Format_7 mode 0.
TEST(VideoFormatChoice, NamesAreTakenInAnyCaseAndAModeWithoutItsRateTakesTheFastestThatFits) {
  FakeIidcCamera camera;
  vxVideoFormatChoice choice = vxChooseVideoFormat(camera, "640X480 mono 15 fps");
  EXPECT_EQ(choice.format->name(), "640x480 Mono 15 FPS");
  EXPECT_EQ(choice.note, "");
  choice = vxChooseVideoFormat(camera, "format7 mode 0 bayer raw8");
  EXPECT_EQ(choice.format->name(), "Format7 Mode 0 Bayer RAW8");

  choice = vxChooseVideoFormat(camera, "640x480 Mono");
  EXPECT_EQ(choice.format->name(), "640x480 Mono 30 FPS");
  EXPECT_NE(choice.note.find(
                "30 FPS is the fastest rate of the mode whose stream fits the bus (1151 of 4096"),
            std::string::npos)
      << choice.note;
  // A narrower bus: 30 FPS (1151 bytes a cycle) no longer fits, 15 FPS (577) does.
  EXPECT_EQ(vxChooseVideoFormat(camera, "640x480 Mono", 1000).format->name(),
            "640x480 Mono 15 FPS");
  choice = vxChooseVideoFormat(camera, "640x480 Mono", 100);
  EXPECT_EQ(choice.format->name(), "640x480 Mono 7.5 FPS");
  EXPECT_NE(choice.note.find("no rate of the mode fits the bus"), std::string::npos) << choice.note;
}

TEST(VideoFormatChoice, ANameTheCameraLacksIsNotSupportedAndAnUnknownOneNotFound) {
  FakeIidcCamera camera;
  for (const char* lacking :
       {"800x600 Mono", "640x480 Mono 60 FPS", "640x480 mono16", "Format7 Mode 1 Mono"}) {
    try {
      vxChooseVideoFormat(camera, lacking);
      ADD_FAILURE() << lacking;
    } catch (const vxVideoFormat::NotSupported& e) {
      EXPECT_NE(std::string(e.what()).find("not offered by this camera"), std::string::npos)
          << e.what();
    }
  }
  for (const char* unknown : {"800x601 Mono", "640x480 Mono 45 FPS", "", "Format7 Mode 8 Mono"})
    EXPECT_THROW(vxChooseVideoFormat(camera, unknown), vxVideoFormat::NotFound) << unknown;
}

TEST(VideoFormatChoice, BusShareOfAStandardFormat) {
  // A frame spread over the cycles of a frame period: 640x480 RGB at 60 FPS
  // needs more than an S400 cycle carries, at 30 FPS it fits.
  EXPECT_EQ(vxIsoBytesPerCycle(*vxVideoFormat::find("640x480 24bit RGB 60 FPS")), 6930u);
  EXPECT_EQ(vxIsoBytesPerCycle(*vxVideoFormat::find("640x480 24bit RGB 30 FPS")), 3452u);
  EXPECT_EQ(vxIsoBytesPerCycle(*vxVideoFormat::find("160x120 YUV(4:4:4) 1.875 FPS")), 14u);
  EXPECT_EQ(vxIsoBytesPerCycle(*vxVideoFormat::find("Format7 Mode 0 Mono")), 0u);
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
