// The reports and the feature records on the simulated camera of each shipped profile.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "acquisition/dcam_registers.h"
#include "acquisition/sim_control.h"
#include "base/format.h"
#include "modules/qrvnvdcam/module.h"
#include "regmodel/register_accessor.h"
#include "support/report_text.h"
#include "support/test_paths.h"
#include "utilities/capabilities_report.h"
#include "utilities/feature_props.h"
#include "utilities/register_dump.h"

namespace {

std::string profileDir() {
  return pralix_test::profilesDir();
}

std::unique_ptr<vx_DcamModule> simulate(const std::string& profile) {
  vx_ModuleOptions options;
  options.simulate = true;
  options.realBus = false;
  options.simulatedProfiles = {profile};
  options.profileDirs = {profileDir()};
  return std::make_unique<vx_QrvnvDcamModule>(options);
}

nlohmann::json loadProfile(const std::string& profile) {
  std::ifstream in(profile.ends_with(".json") ? profile : profileDir() + "/" + profile + ".json");
  return nlohmann::json::parse(in);
}

// The VGA profile changed into a camera without a trigger whose brightness
// can only be driven automatically and not read out.
std::string reducedProfile() {
  nlohmann::json profile = loadProfile("korvane-kv640m");
  profile.erase("trigger");
  profile["features"]["brightness"]["capabilities"] = {"auto", "onOff"};
  const std::string path = ::testing::TempDir() + "/pralix-reduced-vga.json";
  std::ofstream(path) << profile.dump(2);
  return path;
}

std::vector<std::string> bannersOf(const std::string& text) {
  std::vector<std::string> banners;
  for (size_t at = text.find("*********"); at != std::string::npos;) {
    const size_t end = text.find("\r\n", at);
    banners.push_back(text.substr(at, end - at));
    at = text.find("*********", end);
  }
  return banners;
}

struct ProfileCase {
  const char* name;
  bool format7;
  const char* strobeLines;  // the strobe section of the capabilities report
  bool valueSetting;        // IIDC 1.30 and later: the dump asks about VALUE_SETTING
};

class ProfileReportTest : public ::testing::TestWithParam<ProfileCase> {
 protected:
  void SetUp() override {
    module = simulate(GetParam().name);
    ASSERT_EQ(module->cameraCount(), 1);
  }
  std::unique_ptr<vx_DcamModule> module;
};

TEST_P(ProfileReportTest, DumpHasEverySectionInOrder) {
  const std::string text = vxRegisterDumpBuilder::build(0, *module, {});
  const std::vector<std::string> expected = {
      "********* QORVEL DCAM MODULE INFO ********** ",
      "************* GENERAL FEATURES ************* ",
      "************* SUPPORTED FORMATS ************* ",
      "************* PROPERTIES *************",
      "************* FORMAT 7 INFORMATION ************",
      "************* IO SECTION ************",
      "************* CONFIGURATION ROM SECTION ************",
      "************* DUMPING RAW REGISTERS ************",
      "************* FORMAT 7 RAW REGISTER DUMP ************"};
  EXPECT_EQ(bannersOf(text), expected);
  EXPECT_EQ(count(text, "\r\nRunning qrvnvdcam version " + module->version() + "\r\n"), 1u);

  const std::string raw = between(text, "DUMPING RAW REGISTERS ************\r\n", "\r\n*****");
  EXPECT_EQ(count(raw, "\r\nReading : "), 448u);

  // The ROM walk prints as many entry lines as its header announces.
  const std::string rom = between(text, "Number of Unit Dependent Directory Entries: ", "\r\n");
  EXPECT_EQ(count(text, "Reading Unit Dependent Directory Entry # "), size_t(std::stoi(rom)));

  // The properties: every feature block ends in its value lines; the trigger is present.
  EXPECT_EQ(count(text, "\r\nTRIGGER PROPERTY\r\nFeature is Present\r\n"), 1u);
  EXPECT_EQ(count(text, "Value Setting"), GetParam().valueSetting ? count(text, "\r\nFormat 7 Mode ") / 2 : 0u);
}

TEST_P(ProfileReportTest, DumpFormat7SectionsFollowTheProfile) {
  const std::string text = vxRegisterDumpBuilder::build(0, *module, {});
  const std::string info =
      between(text, "FORMAT 7 INFORMATION ************\r\n", "\r\n************* IO SECTION");
  const std::string raw = text.substr(text.find("FORMAT 7 RAW REGISTER DUMP ************\r\n"));
  if (!GetParam().format7) {
    EXPECT_EQ(info, "");
    EXPECT_EQ(raw, "FORMAT 7 RAW REGISTER DUMP ************\r\n");
    return;
  }
  const size_t modes = count(info, "\r\nFormat 7 Mode ");
  EXPECT_GE(modes, 2u);
  EXPECT_EQ(count(raw, "\r\nFormat 7 Mode "), modes);
  EXPECT_EQ(count(info, "\r\nColor coding 9 is "), modes);
  // Every mode is left at its full area, at the origin.
  EXPECT_EQ(count(info, "\r\nTop X : 0\r\nTop Y : 0\r\n"), modes);
  // At most 31 quadlets per mode; unanswered ones are left out.
  EXPECT_LE(count(raw, "\r\nReading : "), 31 * modes);
  EXPECT_GE(count(raw, "\r\nReading : "), modes);
}

// Every Format_7 mode is left with a colour coding it offers, so the camera
// is usable after a dump: no VALUE_SETTING error, the report's coding line
// names an offered coding.
TEST_P(ProfileReportTest, DumpLeavesEachFormat7ModeWithACodingItOffers) {
  if (!GetParam().format7) GTEST_SKIP() << "no Format_7";
  const std::string text = vxRegisterDumpBuilder::build(0, *module, {});
  vx1394DCAM& camera = module->camera(0);
  vxDcamSupportTable support(camera);
  for (uint32_t n = 0; n < 7; ++n) {
    const std::optional<vxDcamFormat7Mode> mode = vxDcamReadFormat7Mode(support, n);
    if (!support.isSupported(7, n, 0) || !mode) continue;
    SCOPED_TRACE(n);
    EXPECT_TRUE(mode->supportsColorCoding(mode->colorCodingId)) << mode->colorCodingId;
    if (mode->hasValueSetting()) {
      EXPECT_EQ(mode->valueSetting & vxDcamReg::kValueSettingError1, 0u);
    }
    const std::string block = between(text, vxFormat("\r\nFormat 7 Mode %u\r\n", n), "\r\nTop X");
    EXPECT_EQ(count(block, vxFormat("\r\nColor Coding : %u", mode->colorCodingId)), 1u) << block;
  }
}

TEST_P(ProfileReportTest, CapabilitiesHaveTheirSectionsAndUsualFigures) {
  const std::string text = vxCapabilitiesReportBuilder::build(0, *module, {});
  const auto banners = bannersOf(text);
  ASSERT_EQ(banners.size(), 6u);
  EXPECT_EQ(banners[1], "********* QORVEL DCAM MODULE INFO ********** ");
  EXPECT_EQ(banners[2], "************* FORMATS AVAILABLE ************* ");
  EXPECT_EQ(banners[3], "************* THINGS TO KNOW ************* ");
  EXPECT_EQ(banners[4], "************* DCAM STROBE SUPPORT ************* ");
  EXPECT_EQ(banners[5], "************* REGISTER ACCESS SPEED MEASUREMENT ************* ");
  EXPECT_EQ(count(text, "\r\nUsual average time to read register (us) : 100 us\r\n"), 1u);
  EXPECT_TRUE(text.ends_with("\r\nUsual average time to write register (us) : 400 us"));
  EXPECT_EQ(between(text, "DCAM STROBE SUPPORT ************* \r\n", "*************"),
            GetParam().strobeLines);
  const std::string format7 = between(text, "\r\nFORMAT : 7", "\r\n*****");
  EXPECT_EQ(format7.empty(), !GetParam().format7) << format7;
}

INSTANTIATE_TEST_SUITE_P(
    Shipped, ProfileReportTest,
    ::testing::Values(
        ProfileCase{"korvane-kv640m", false, "\r\nDCAM Standard Strobe support is unavailable. \r\n",
                    false},
        ProfileCase{"tessaly-f7flex", true,
                    "\r\nStrobe Line 0 is available for output. \r\n"
                    "\r\nStrobe Line 2 is available for output. \r\n",
                    true},
        ProfileCase{"orbel-ux1600b", true,
                    "\r\nStrobe Line 0 is available for output. \r\n"
                    "\r\nStrobe Line 1 is available for output. \r\n"
                    "\r\nStrobe Line 2 is available for output. \r\n"
                    "\r\nStrobe Line 3 is available for output. \r\n",
                    true}),
    [](const auto& param) {
      std::string name = param.param.name;
      for (char& ch : name)
        if (ch == '-') ch = '_';
      return name;
    });

TEST(ProfileReports, CameraWithoutTriggerPrintsOnlyTheTriggerHeader) {
  auto module = simulate(reducedProfile());
  const std::string text = vxRegisterDumpBuilder::build(0, *module, {});
  EXPECT_EQ(count(text, "\r\nTRIGGER PROPERTY\r\n************* FORMAT 7 INFORMATION"), 1u);
  EXPECT_EQ(count(text, "\r\nBRIGHTNESS PROPERTY\r\n \r\nFeature is Present\r\nProperty is On"
                        "\r\nAutoControl is Possible\r\nOne Push is not Possible"
                        "\r\nReading is Not Possible\r\nManual control is not possible"
                        "\r\nONOFF is Possible\r\n"),
            1u);
}

TEST(ProfileReports, VgaProfileListsItsModesAndRawExposureRange) {
  auto module = simulate("korvane-kv640m");
  const std::string text = vxCapabilitiesReportBuilder::build(0, *module, {});
  EXPECT_EQ(count(text, "\r\nSUPPORTED GENERIC FORMATS\r\nFORMAT : 0\r\n"
                        "640x480 Mono Fps : 3.75 FPS\r\n640x480 Mono Fps : 7.5 FPS\r\n"
                        "640x480 Mono Fps : 15 FPS\r\n640x480 Mono Fps : 30 FPS\r\n"
                        "640x480 Mono Fps : 60 FPS\r\n\r\n640x480 Mono16 Fps : 3.75 FPS\r\n"),
            1u)
      << text;
  EXPECT_EQ(count(text, "\r\nFORMAT : 7\r\n*****"), 1u);
  EXPECT_EQ(count(text, "\r\nRegister range is from 1 to 2047."), 1u);
  EXPECT_TRUE(text.starts_with("********* Korvane Imaging KV-640M ********** \r\n\r\n"));
}

// The feature records' capability bits against what each profile declares.
TEST(ProfileFeatures, CapabilityBitsMatchEveryProfile) {
  const char* const names[20] = {
      "brightness", "auto_exposure", "sharpness", "white_balance", "hue",       "saturation",
      "gamma",      "shutter",       "gain",      "iris",          "focus",     "temperature",
      "trigger",    "trigger_delay", "white_shading", "frame_rate", "zoom", "pan", "tilt",
      "optical_filter"};
  std::map<std::string, int> seen;  // capability -> profiles with / without it, as bits 1 / 2
  for (const std::string& profile :
       {std::string("korvane-kv640m"), std::string("tessaly-f7flex"),
        std::string("orbel-ux1600b"), reducedProfile()}) {
    auto module = simulate(profile);
    const nlohmann::json features = loadProfile(profile)["features"];
    vx_DCAMRegisterAccessorPralix accessor(0, module.get());
    DcamFeatureSet set(accessor);
    for (size_t i = 0; i < set.size(); ++i) {
      DcamFeature& f = set.feature(i);
      const DcamFeatureRegisters& r = f.registers();
      const std::string name = names[r.presenceRegister == kFeatureHiInq ? r.bitIndex : 16 + r.bitIndex];
      const bool present = features.contains(name);
      SCOPED_TRACE(profile + " " + name);
      EXPECT_EQ(f.present(), present);
      if (!present) continue;
      const nlohmann::json& p = features[name];
      auto has = [&](const char* capability) {
        for (const auto& c : p.value("capabilities", nlohmann::json::array()))
          if (c == capability) return true;
        return false;
      };
      const struct {
        const char* capability;
        bool declared;
        bool read;
      } bits[] = {{"manual", has("manual"), f.manualInquiry()},
                  {"auto", has("auto"), f.autoInquiry()},
                  {"onOff", has("onOff"), f.onOffInquiry()},
                  {"onePush", has("onePush"), f.onePushInquiry()},
                  {"readout", has("readout"), f.readOutInquiry()},
                  {"absolute", p.contains("absolute"), f.absInquiry()}};
      for (const auto& b : bits) {
        EXPECT_EQ(b.read, b.declared) << b.capability;
        seen[b.capability] |= b.declared ? 1 : 2;
      }
      EXPECT_EQ(f.minValue(), p["min"].get<uint32_t>());
      EXPECT_EQ(f.maxValue(), p["max"].get<uint32_t>());
    }
  }
  // Every capability was seen both present and absent across the profiles.
  for (const char* capability : {"manual", "auto", "onOff", "onePush", "readout", "absolute"})
    EXPECT_EQ(seen[capability], 3) << capability;
}

TEST(ProfileFeatures, AbsoluteValuesFollowTheCameraAndWritesReadBack) {
  auto module = simulate("tessaly-f7flex");
  vx_DCAMRegisterAccessorPralix accessor(0, module.get());
  DcamFeature shutter(DcamFeatureRegisters::high(kFeatureShutter), accessor);
  EXPECT_FLOAT_EQ(shutter.absMin(), 2e-05f);
  EXPECT_FLOAT_EQ(shutter.absMax(), 0.5f);
  shutter.setOn(true);
  shutter.setAuto(false);
  shutter.setAbsControl(true);
  shutter.setAbsValue(0.01f);
  EXPECT_NEAR(shutter.absValue(), 0.01f, 0.001f);
  EXPECT_TRUE(shutter.absControl());

  // A failing control register names the operation in the error.
  module->simControl()->setWriteFault(0, 0xF0F0081C, true);
  try {
    shutter.setOn(false);
    FAIL() << "no error";
  } catch (const vx_DcamModule::Error& e) {
    EXPECT_TRUE(std::string(e.what()).starts_with("Property ON:")) << e.what();
  }
}

}  // namespace
