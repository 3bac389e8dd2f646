// The register dump and capabilities reports on an in-memory camera whose every register the test sets.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "acquisition/video_format.h"
#include "base/format.h"
#include "support/fake_camera.h"
#include "support/report_text.h"
#include "support/test_paths.h"
#include "utilities/capabilities_report.h"
#include "utilities/register_dump.h"

namespace {

constexpr uint32_t kF7Block = 0xF0F08000u;
constexpr uint32_t kStrobeBlock = 0xF0F09000u;

void expectInOrder(const std::string& text, const std::vector<std::string>& parts) {
  size_t at = 0;
  for (const std::string& part : parts) {
    const size_t found = text.find(part, at);
    ASSERT_NE(found, std::string::npos) << "missing or out of order: " << part;
    at = found + part.size();
  }
}

// A VGA camera with Format_0 mode 5 at rates 3 and 4 and one Format_7 mode;
// brightness (automatic, off) and shutter (raw only) present.
class ReportTest : public ::testing::Test {
 protected:
  ReportTest() {
    FakeCamera& c = cam;
    c.set(0x100, (1u << 31) | (1u << 24));
    c.set(0x180, 1u << (31 - 5));
    c.set(0x214, (1u << 28) | (1u << 27));
    c.set(0x19C, 1u << 31);
    c.set(0x2E0, (kF7Block - 0xF0000000u) / 4);
    c.set(kF7Block + 0x00, (640u << 16) | 480);
    c.set(kF7Block + 0x04, (8u << 16) | 2);
    c.set(kF7Block + 0x08, (16u << 16) | 8);
    c.set(kF7Block + 0x0C, (320u << 16) | 240);
    c.set(kF7Block + 0x10, 5u << 24);
    c.set(kF7Block + 0x14, (1u << 31) | (1u << 26));
    c.set(kF7Block + 0x34, 76800);
    c.set(kF7Block + 0x40, (4u << 16) | 4096);
    c.set(kF7Block + 0x44, (1024u << 16) | 2048);
    c.set(kF7Block + 0x48, 75);
    c.set(0x400, (1u << 31) | (1u << 12));
    c.set(0x404, (1u << 31) | (1u << (31 - 7)));
    c.set(0x500, (1u << 31) | (1u << 26) | (1u << 25) | (1u << 24) | 255);
    c.set(0x800, 0x81000080u);
    c.set(0x51C, (1u << 31) | (1u << 24) | (1u << 12) | 4095);
    c.set(0x81C, 0x80000010u);
    c.set(0xF0000424, 0x0000000C);
    c.set(0xF0000460, 0x00000002);
    c.set(0xF0000468, 0x00030000);
    c.set(0xF000046C, 0x40F00000);
    c.set(0xF0000470, 0x81000002);
    c.set(0xF0000474, 0x82000006);
  }
  void addStrobes(uint32_t control) {
    FakeCamera& c = cam;
    c.set(0x40C, (1u << 30) | (1u << 28));
    c.set(0x48C, (kStrobeBlock - 0xF0000000u) / 4);
    c.set(kStrobeBlock, control);
    for (uint32_t n = 0; n < 4; ++n) {
      c.set(kStrobeBlock + 0x100 + 4 * n, (1u << 31) | (1u << 27) | (1u << 25) | (2u << 12) | 40);
      c.set(kStrobeBlock + 0x200 + 4 * n, (1u << 31) | (1u << 25) | (7u << 12) | 9);
    }
  }
  std::string dump() { return vxRegisterDumpBuilder::build(0, module, {}); }
  std::string capabilities(const std::string& vendor = {}) {
    return vxCapabilitiesReportBuilder(0, module, {}, vendor).build();
  }

  FakeModule module{1, false, false};  // unset registers read 0
  FakeCamera& cam = module.fake(0);
};

TEST_F(ReportTest, DumpOpensWithTheModuleAndTheGeneralFeatures) {
  const std::string text = dump();
  EXPECT_EQ(text.rfind("********* QORVEL DCAM MODULE INFO ********** \r\n\r\nRunning Fake DCAM module version 9.9\r\n"
                       "************* GENERAL FEATURES ************* \r\n",
                       0),
            0u);
  EXPECT_EQ(between(text, "GENERAL FEATURES ************* \r\n", "\r\n*****"),
            "\r\nAdvance Features are Possible\r\nVideoError Status is Not Possible"
            "\r\nFeature Error Status is Not Possible\r\nCamera Power control is Not Possible"
            "\r\nOne Shot Possible\r\nMultiShot Not Possible\r\n1394b mode Not Possible");
}

TEST_F(ReportTest, DumpListsAndSetsEverySupportedMode) {
  const std::string text = dump();
  EXPECT_EQ(between(text, "SUPPORTED FORMATS ************* \r\n", "************* PROPERTIES"),
            "\r\nFORMAT : 0\r\nFormat : 0, Mode : 5, Fps : 3\r\nFormat : 0, Mode : 5, Fps : 4\r\n"
            "\r\nFORMAT : 1\r\nFORMAT : 2\r\nFORMAT : 7\r\nFormat : 7, Mode : 0, Fps : 0\r\n");
  std::vector<std::pair<uint32_t, uint32_t>> modeWrites;
  for (const auto& w : cam.writes())
    if (w.first >= 0xF0F00600 && w.first <= 0xF0F00608) modeWrites.push_back(w);
  // Format 0 mode 5 at rate 3, then rate 4, then Format_7 mode 0 for its section.
  const std::vector<std::pair<uint32_t, uint32_t>> expected = {
      {0xF0F00608, 0}, {0xF0F00604, 5u << 29}, {0xF0F00600, 3u << 29},
      {0xF0F00608, 0}, {0xF0F00604, 5u << 29}, {0xF0F00600, 4u << 29},
      {0xF0F00608, 7u << 29}, {0xF0F00604, 0}};
  EXPECT_EQ(modeWrites, expected);

  cam.failWrites(0xF0F00600);
  EXPECT_EQ(count(dump(), "Fps : 3\r\nSetting this format failed!\r\nFormat : 0, Mode : 5, Fps : 4"
                          "\r\nSetting this format failed!"),
            1u);
}

TEST_F(ReportTest, DumpPropertiesSwitchFeaturesOnAndOutOfAutomaticMode) {
  const std::string text = dump();
  EXPECT_EQ(between(text, "PROPERTIES *************\r\n", "\r\nSHUTTER PROPERTY"),
            "\r\nBRIGHTNESS PROPERTY\r\n \r\nFeature is Present\r\nProperty is On"
            "\r\nAutoControl is Possible\r\nOne Push is not Possible\r\nReading is Not Possible"
            "\r\nManual Control is Possible\r\nONOFF is Possible\r\nAuto Mode is on"
            "\r\nAuto Mode is off\r\nAbsolute Control is Impossible\r\n\r\nValue Min : 0"
            "\r\nValue Max : 255\r\nValue (default) : 128\r\nGAIN PROPERTY\r\n ");
  EXPECT_EQ(cam.get(0x800), 0x82000080u);
  EXPECT_EQ(cam.get(0x81C), 0x82000010u);
  // No trigger feature: its header, the blank, and the next section.
  EXPECT_EQ(count(text, "Value (default) : 16\r\nTRIGGER PROPERTY\r\n"
                        "************* FORMAT 7 INFORMATION"),
            1u);
}

TEST_F(ReportTest, DumpShowsAbsoluteRangesAndTheTriggerBlock) {
  FakeCamera& c = cam;
  c.set(0x51C, c.get(0x51C) | (1u << 30));
  c.set(0x71C, 0x003C2400);  // 0xF0F09000
  c.setFloat(0xF0F09000, 0.5f);
  c.setFloat(0xF0F09004, 2.0f);
  c.setFloat(0xF0F09008, 1.25f);
  c.set(0x404, c.get(0x404) | (1u << (31 - 12)));
  c.set(0x530, (1u << 31) | (1u << 26) | (1u << 15) | (1u << 12));
  c.set(0x830, 0x82030000u);
  const std::string text = dump();
  EXPECT_EQ(count(text, "\r\nAbsolute Control is Possible\r\n\r\nAbsolute value Min : 0.500000"
                        "\r\nAbsolute value Max : 2.000000\r\nAbsolute value (Default) : 1.250000"
                        "\r\nValue Min : 1"),
            1u);
  EXPECT_EQ(c.get(0x81C) & (1u << 30), 0u) << "absolute mode is switched off again";
  EXPECT_EQ(between(text, "\r\nTRIGGER PROPERTY", "\r\n************* FORMAT 7"),
            "\r\nFeature is Present\r\nAbsolute Control is Impossible\r\nOne Push is not Possible"
            "\r\nReading is Not Possible\r\nONOFF is Possible\r\nTrigger Mode : 3\r\nProperty is On"
            "\r\nTrigger mode 0 is Possible\r\nTrigger mode 1 is Not Possible"
            "\r\nTrigger mode 2 is Not Possible\r\nTrigger mode 3 is Possible"
            "\r\nTrigger polarity is not Possible");
}

TEST_F(ReportTest, DumpProgramsEachFormat7ModeToItsFullArea) {
  std::string text = dump();
  EXPECT_EQ(cam.get(kF7Block + 0x0C), (624u << 16) | 472u);
  EXPECT_EQ(cam.get(kF7Block + 0x08), 0u);
  EXPECT_EQ(cam.get(kF7Block + 0x10), 0u);
  EXPECT_EQ(between(text, "FORMAT 7 INFORMATION ************\r\n", "\r\n\r\n*****"),
            "\r\nFormat 7 Mode 0\r\n\r\nQuadlet Offset Address : 0x3C2000"
            "\r\nAbsolute Address : 0xF0F08000\r\n\r\nMaximum Horizontal Pixels : 640"
            "\r\nMaximum Vertical Pixels : 480\r\n\r\nHUNIT Position size : 8"
            "\r\nVUNIT Position size : 2\r\nColor Coding : 0\r\nTop X : 0\r\nTop Y : 0"
            "\r\nHUNIT Size : 8\r\nVUNIT Size : 2\r\nTotal Pixels : 76800"
            "\r\nMaximum BytesPerPacket : 4096\r\nRec BytesPerPacket : 2048"
            "\r\nPackets Per Frame : 75\r\nUnitBytesPerPacket: 4\r\nCurrent BytesPerPacket : 1024"
            "\r\nCurrent Width : 624\r\nCurrent Height : 472\r\n\r\nColor coding 0 is possible"
            "\r\nColor coding 1 is not possible\r\nColor coding 2 is not possible"
            "\r\nColor coding 3 is not possible\r\nColor coding 4 is not possible"
            "\r\nColor coding 5 is possible\r\nColor coding 6 is not possible"
            "\r\nColor coding 7 is not possible\r\nColor coding 8 is not possible"
            "\r\nColor coding 9 is not possible");
  EXPECT_EQ(count(text, "Value Setting"), 0u) << "asked only of IIDC 1.32 cameras";
  cam.unitSwVersion = 0x102;
  text = dump();
  EXPECT_EQ(count(text, "Maximum Vertical Pixels : 480\r\n\r\nValue Setting is Absent\r\nHUNIT"), 1u);
}

TEST_F(ReportTest, DumpWalksTheConfigurationRomFromItsOwnBase) {
  std::string text = dump();
  EXPECT_EQ(between(text, "CONFIGURATION ROM SECTION ************\r\n", "\r\n*****"),
            "\r\nConfig ROM Base Address is : 0xF0000400"
            "\r\nReading Unit Directory Offset: F0000424 Value : C"
            "\r\nReading Unit Dependent Directory Offset: F0000460 Value : 2"
            "\r\nReading Unit Dependent Directory Root: F0000468 Value : 30000"
            "\r\nNumber of Unit Dependent Directory Entries: 3"
            "\r\nReading Unit Dependent Directory Entry # 0 : F000046C Value : 40F00000"
            "\r\nReading Unit Dependent Directory Entry # 1 : F0000470 Value : 81000002"
            "\r\nReading Unit Dependent Directory Entry # 2 : F0000474 Value : 82000006");
  cam.set(0xF0000468, 0);
  text = dump();
  EXPECT_EQ(count(text, "Entries: 0\r\n****"), 1u);
  EXPECT_EQ(count(text, "Directory Entry #"), 0u);
  // A failed read counts as 0 for the following addresses.
  cam.failReads(0xF0000424);
  text = dump();
  EXPECT_EQ(count(text, "Offset: F0000424 Value : 0\r\nReading Unit Dependent Directory Offset: "
                        "F0000430 Value : 0\r\nReading Unit Dependent Directory Root: F0000430"),
            1u);
}

TEST_F(ReportTest, RawDumpAlwaysHas448LinesButFormat7RawLeavesOutFailedReads) {
  cam.failReads(0xF0F0051C);
  cam.failReads(kF7Block + 0x20);
  const std::string text = dump();
  const std::string raw = between(text, "DUMPING RAW REGISTERS ************\r\n", "\r\n****");
  EXPECT_EQ(count(raw, "\r\nReading : "), 448u);
  EXPECT_EQ(raw.rfind("\r\nReading : 100 Value : 81000000\r\nReading : 104", 0), 0u);
  EXPECT_EQ(count(raw, "\r\nReading : 51C Value : 0\r\n"), 1u);
  EXPECT_TRUE(raw.ends_with("\r\nReading : 7FC Value : 0")) << raw.substr(raw.size() - 40);

  const std::string f7 = text.substr(text.find("FORMAT 7 RAW REGISTER DUMP ************\r\n"));
  EXPECT_EQ(count(f7, "\r\nFormat 7 Mode 0\r\n\r\nAbsolute Address : 0xF0F08000\r\n\r\nReading : F0F08000 "
                      "Value : 28001E0\r\n"),
            1u);
  EXPECT_EQ(count(f7, "\r\nReading : "), 30u);
  EXPECT_EQ(count(f7, "F0F08020"), 0u);
  EXPECT_EQ(count(f7, "Reading : F0F08078 Value : 0"), 1u);
}

TEST_F(ReportTest, CameraWithoutFormat7PrintsEmptyFormat7Sections) {
  cam.set(0x100, 1u << 31);
  const std::string text = dump();
  EXPECT_EQ(count(text, "FORMAT 7 INFORMATION ************\r\n\r\n************* IO SECTION"), 1u);
  const std::string tail = "\r\n************* FORMAT 7 RAW REGISTER DUMP ************\r\n";
  EXPECT_EQ(text.substr(text.size() - tail.size()), tail);
}

TEST_F(ReportTest, DumpIoSectionListsOnlyPresentStrobeLines) {
  addStrobes(0xA0000000u);
  // Lines 0 and 2 are set up alike.
  auto line = [](int n) {
    return "\r\n\r\nStrobe Line " + std::to_string(n) +
           " is available for output.\r\nReading is possible"
           "\r\nON OFF is impossible\r\nPolarity change is possible\r\nStrobe is ON"
           "\r\nCurrent strobe signal polarity is high to low\r\nMin Strobe Value 2"
           "\r\nMax Strobe Value 40\r\nCurrent Strobe Duration 9\r\nCurrent Strobe Delay 7";
  };
  const std::string text = dump();
  EXPECT_EQ(between(text, "IO SECTION ************\r\n", "\r\n************* CONFIG"),
            "\r\nOptional Programmable IO is possible\r\nOptional Strobe Output is possible" + line(0) + line(2));
}

TEST_F(ReportTest, DumpReportsProgressFromZeroToOneWithoutGoingBack) {
  std::vector<double> seen;
  vxRegisterDumpBuilder::build(0, module, [&](double f) { seen.push_back(f); });
  ASSERT_GE(seen.size(), 3u);
  EXPECT_EQ(seen.front(), 0.0);
  EXPECT_EQ(seen.back(), 1.0);
  for (size_t i = 1; i < seen.size(); ++i) EXPECT_GE(seen[i], seen[i - 1]);
}

TEST_F(ReportTest, UnknownCameraNumberRaisesTheModulesError) {
  EXPECT_THROW(vxRegisterDumpBuilder::build(3, module, {}), vx_DcamModule::Error);
  EXPECT_THROW(vxCapabilitiesReportBuilder::build(3, module, {}), vx_DcamModule::Error);
}

TEST_F(ReportTest, CapabilitiesHaveTheirSectionsAndChangeNothingButOneRegisterValue) {
  cam.clearWrites();
  const std::string text = capabilities();
  EXPECT_EQ(text.rfind("********* Acme Cam0 ********** \r\n\r\n"
                       "********* QORVEL DCAM MODULE INFO ********** \r\n\r\nRunning Fake DCAM module version 9.9\r\n"
                       "\r\n************* FORMATS AVAILABLE ************* \r\n\r\nSUPPORTED GENERIC FORMATS"
                       "\r\nFORMAT : 0\r\n640x480 Mono Fps : 15 FPS\r\n640x480 Mono Fps : 30 FPS\r\n"
                       "\r\nFORMAT : 1\r\nFORMAT : 2\r\n\r\nSUPPORTED FORMAT7 or VENDOR SPECIFIC FORMATS"
                       "\r\nFORMAT : 7\r\nMode 0, 640x480 Color Mono\r\nMode 0, 640x480 Color Mono16\r\n"
                       "\r\n************* THINGS TO KNOW ************* \r\n",
                       0),
            0u)
      << text;
  expectInOrder(text, {"THINGS TO KNOW", "\r\n************* DCAM STROBE SUPPORT ************* \r\n",
                       "************* REGISTER ACCESS SPEED MEASUREMENT ************* \r\n"
                       "\r\nReading Register for selected camera took (us) : ",
                       "\r\nUsual average time to read register (us) : 100 us"
                       "\r\nWriting Register for selected camera took (us) : ",
                       "\r\nUsual average time to write register (us) : 400 us"});
  // The speed measurement writes BRIGHTNESS's own value back, 101 times.
  ASSERT_EQ(cam.writes().size(), 101u);
  for (const auto& w : cam.writes()) EXPECT_EQ(w, std::make_pair(0xF0F00800u, 0x81000080u));
}

TEST_F(ReportTest, CapabilitiesNeverExamineMode7AndPrintFormat7OnlyCameras) {
  cam.set(0x100, (1u << 30) | (1u << 24));
  cam.set(0x184, (1u << 24) | (1u << 25));       // format 1, modes 6 and 7
  cam.set(0x220 + 4 * 6, 1u << 27);             // 800x600 Mono16 at 30 FPS
  cam.set(0x220 + 4 * 7, 1u << 27);
  std::string text = capabilities();
  EXPECT_EQ(count(text, "\r\nFORMAT : 1\r\n800x600 Mono16 Fps : 30 FPS\r\n\r\nFORMAT : 2"), 1u);
  EXPECT_EQ(count(text, "1024x768 Mono16"), 0u);

  cam.set(0x100, 1u << 24);
  text = capabilities();
  EXPECT_EQ(count(text, "GENERIC FORMATS\r\nFORMAT : 0\r\nFORMAT : 1\r\nFORMAT : 2\r\n\r\nSUPPORTED "
                        "FORMAT7 or VENDOR SPECIFIC FORMATS\r\nFORMAT : 7\r\nMode 0, 640x480"),
            1u);
}

TEST_F(ReportTest, ExposureNotesFollowTheShutterAndTheVendorName) {
  const std::string head = "THINGS TO KNOW ************* \r\n";
  const std::string tail = "\r\n************* DCAM STROBE";
  const std::string raw =
      "\r\nAbsolute control of Exposure is not supported.\r\nExposure has to be set using register "
      "values that map into actual real world units.";
  const std::string rest =
      "\r\nRefer to the camera manual on the mapping between registers to actual exposure "
      "values.\r\n\r\nTo set exposure, pass in the register value in the argument to the exposure "
      "API.\r\nRegister range is from 1 to 4095.";
  const std::string basler =
      "\r\nNote: Since this is a Basler camera, absolute exposure control might be available when "
      "using a Qorvel supplied basler specific CCF.\r\n";
  const std::string avt =
      "\r\nNote: Since this is a AVT camera, absolute exposure control might be available when "
      "using a Qorvel supplied AVT specific CCF. \r\n";

  EXPECT_EQ(between(capabilities("Fake Vendor"), head, tail), raw + rest);
  EXPECT_EQ(between(capabilities("Basler AG"), head, tail), raw + basler + rest);
  EXPECT_EQ(between(capabilities("AVT GmbH"), head, tail), raw + avt + rest);
  EXPECT_EQ(between(capabilities("AVT (a Basler company)"), head, tail), raw + basler + rest);
  EXPECT_EQ(between(capabilities("basler avt"), head, tail), raw + rest) << "case matters";

  cam.set(0x51C, cam.get(0x51C) | (1u << 30));
  EXPECT_EQ(between(capabilities("Basler"), head, tail),
            "\r\nAbsolute control of Exposure is supported. Set the exposure directly using real "
            "world units.");
  cam.set(0x404, 1u << 31);
  EXPECT_EQ(between(capabilities(), head, tail), "\r\nExposure control is not supported.");
}

TEST_F(ReportTest, CapabilitiesStrobeSectionNamesPresentLines) {
  const std::string head = "DCAM STROBE SUPPORT ************* \r\n";
  const std::string tail = "************* REGISTER ACCESS";
  EXPECT_EQ(between(capabilities(), head, tail),
            "\r\nDCAM Standard Strobe support is unavailable. \r\n");
  addStrobes(0xA0000000u);
  EXPECT_EQ(between(capabilities(), head, tail),
            "\r\nStrobe Line 0 is available for output. \r\n"
            "\r\nStrobe Line 2 is available for output. \r\n");
  addStrobes(0);
  EXPECT_EQ(between(capabilities(), head, tail), "");
}

// Every capability line tested set as well as clear: a wrong bit number
// shows as a wrong line in one of the two.
TEST_F(ReportTest, DumpCapabilityLinesFollowTheirOwnBitsWhenSet) {
  cam.set(0x400,
          (1u << 31) | (1u << 30) | (1u << 29) | (1u << 23) | (1u << 15) | (1u << 12) | (1u << 11));
  std::string text = dump();
  EXPECT_EQ(between(text, "GENERAL FEATURES ************* \r\n", "\r\n*****"),
            "\r\nAdvance Features are Possible\r\nVideoError Status is Possible"
            "\r\nFeature Error Status is Possible\r\nCamera Power control is Possible"
            "\r\nOne Shot Possible\r\nMultiShot Possible\r\n1394b mode Possible");
  // Each bit alone turns on its own line only.
  const struct {
    int bit;
    const char* line;
  } bits[] = {{30, "VideoError Status is Possible"},
              {29, "Feature Error Status is Possible"},
              {15, "Camera Power control is Possible"},
              {11, "MultiShot Possible"},
              {23, "1394b mode Possible"}};
  for (const auto& b : bits) {
    cam.set(0x400, 1u << b.bit);
    text = between(dump(), "GENERAL FEATURES ************* \r\n", "\r\n*****");
    EXPECT_EQ(count(text, "Not Possible"), 6u) << b.line;
    EXPECT_EQ(count(text, b.line), 1u) << b.line;
  }

  cam.set(0x40C, 1u << 29);
  EXPECT_EQ(between(dump(), "IO SECTION ************\r\n", "\r\n************* CONFIG"),
            "\r\nOptional Serial IO is possible");

  // Brightness with one-push and read-out possible.
  cam.set(0x500, cam.get(0x500) | (1u << 28) | (1u << 27));
  EXPECT_EQ(count(dump(),
                  "\r\nAutoControl is Possible\r\nOne Push is Possible\r\nReading is Possible"
                  "\r\nManual Control is Possible"),
            1u);
}

TEST_F(ReportTest, DumpSetsTheFirstColourCodingTheFormat7ModeOffers) {
  cam.set(kF7Block + 0x14, (1u << (31 - 5)) | (1u << (31 - 9)));  // Mono16 and Bayer RAW8 only
  cam.set(kF7Block + 0x10, 9u << 24);
  const std::string text = dump();
  EXPECT_EQ(cam.get(kF7Block + 0x10), 5u << 24);
  EXPECT_EQ(count(text, "\r\nColor Coding : 5\r\n"), 1u);
}

TEST_F(ReportTest, FailedReadsAreListedBesideTheReportWithTheirReasons) {
  cam.failReads(0x800);
  cam.failReads(0xF0000424);
  cam.failReads(0x51C);  // a raw-sweep address too: that one counts only there
  vxRegisterDumpBuilder builder(0, module);
  const std::string text = builder.build();
  // Inside the report the failed reads read as 0 and the report goes on.
  EXPECT_EQ(count(text, "BRIGHTNESS PROPERTY\r\n \r\nFeature is Present\r\nProperty is Off"), 1u);
  EXPECT_EQ(count(text, "\r\nReading : 7FC Value : 0"), 1u);
  const std::vector<std::string>& lines = builder.failures().lines();
  EXPECT_EQ(count(text, "Reading : 51C Value : 0"), 1u);
  ASSERT_FALSE(lines.empty());
  bool brightness = false, rom = false;
  for (const std::string& line : lines) {
    brightness = brightness || line.starts_with("Reading register 0x800 failed");
    rom = rom || line.starts_with("Reading register 0xF0000424 failed");
  }
  EXPECT_TRUE(brightness);
  EXPECT_TRUE(rom);
  EXPECT_EQ(std::set<std::string>(lines.begin(), lines.end()).size(), lines.size()) << "each once";

  cam.heal();
  EXPECT_TRUE((builder.build(), builder.failures().empty()));
}

TEST_F(ReportTest, CapabilitiesDoNotWriteARegisterTheyCouldNotRead) {
  cam.failReads(0x800);
  cam.clearWrites();
  vxCapabilitiesReportBuilder builder(0, module);
  const std::string text = builder.build();
  EXPECT_TRUE(cam.writes().empty()) << "a write of 0 would switch BRIGHTNESS off";
  EXPECT_EQ(cam.get(0x800), 0x81000080u);
  expectInOrder(text, {"\r\nReading Register for selected camera took (us) : ",
                       "\r\nUsual average time to read register (us) : 100 us",
                       "\r\nWriting Register for selected camera was not timed: the register could "
                       "not be read, and writing it without its value would change the camera.",
                       "\r\nUsual average time to write register (us) : 400 us"});
  ASSERT_EQ(builder.failures().lines().size(), 1u);
  EXPECT_TRUE(builder.failures().lines()[0].starts_with("Reading register 0x800 failed"))
      << builder.failures().lines()[0];
}

// The capabilities report keeps name tables of its own; they name every
// mode, rate and coding as the acquisition layer does (whose tables are
// checked name by name with the video formats).
TEST(CapabilitiesNames, EveryEntryAgreesWithTheAcquisitionLayersTables) {
  auto text = [](const char* name) { return std::string(name ? name : "(null)"); };
  int modes = 0;
  for (int format = 0; format < 3; ++format)
    for (int mode = 0; mode < 8; ++mode) {
      modes += vxCapabilitiesReportBuilder::modeName(format, mode) != nullptr;
      EXPECT_EQ(text(vxCapabilitiesReportBuilder::modeName(format, mode)),
                text(vxVideoFormat::modeName(uint32_t(format), uint32_t(mode))));
    }
  EXPECT_EQ(modes, 23);
  for (int rate = 0; rate <= 8; ++rate)
    EXPECT_EQ(text(vxCapabilitiesReportBuilder::rateName(rate)),
              text(vxVideoFormat::rateName(uint32_t(rate))));
  for (int id = 0; id <= 11; ++id)
    EXPECT_EQ(text(vxCapabilitiesReportBuilder::colorCodingName(id)),
              text(vxVideoFormat::colorCodingName(uint32_t(id))));
}

// The dump's own configuration ROM walk over the ROMs of nine real cameras:
// every value it prints is the quadlet the ROM holds at the address it names
// (0 outside the ROM), the directory addresses follow from those values, and
// the entry lines are as many as the header it lands on counts.
TEST(RealConfigRoms, DumpWalkReadsWhatTheRomHolds) {
  size_t roms = 0;
  for (const auto& file :
       std::filesystem::directory_iterator(pralix_test::testDataDir() + "/config-roms")) {
    if (file.path().extension() != ".txt") continue;
    SCOPED_TRACE(file.path().filename().string());
    ++roms;
    FakeModule module{1, false, false};
    FakeCamera& cam = module.fake(0);
    std::map<uint32_t, uint32_t> rom;
    std::ifstream in(file.path());
    for (std::string line; std::getline(in, line);) {
      if (line.empty() || line[0] == '#') continue;
      std::istringstream fields(line);
      uint32_t address = 0, value = 0;
      fields >> std::hex >> address >> value;
      rom[address] = value;
      cam.set(address, value);
    }
    ASSERT_GT(rom.size(), 16u);
    auto at = [&](uint32_t address) { return rom.count(address) ? rom[address] : 0u; };

    const std::string text = vxRegisterDumpBuilder::build(0, module, {});
    const std::string walk =
        between(text, "CONFIGURATION ROM SECTION ************\r\n", "\r\n*****");
    const uint32_t v1 = at(0xF0000424);
    const uint32_t unitDir = 0xF0000430u + 4u * (v1 & 0xFFFFFFu);
    const uint32_t v2 = at(unitDir);
    const uint32_t dependentDir = unitDir + 4u * (v2 & 0xFFFFFFu);
    const uint32_t v3 = at(dependentDir);
    std::string expected = vxFormat(
        "\r\nConfig ROM Base Address is : 0xF0000400\r\nReading Unit Directory Offset: F0000424 "
        "Value : %X"
        "\r\nReading Unit Dependent Directory Offset: %X Value : %X"
        "\r\nReading Unit Dependent Directory Root: %X Value : %X"
        "\r\nNumber of Unit Dependent Directory Entries: %d",
        v1, unitDir, v2, dependentDir, v3, int(v3 >> 16));
    ASSERT_EQ(walk.substr(0, expected.size()), expected);
    const std::regex entry(
        "\r\nReading Unit Dependent Directory Entry # (\\d+) : ([0-9A-F]+) Value : ([0-9A-F]+)");
    uint32_t n = 0;
    for (auto it = std::sregex_iterator(walk.begin(), walk.end(), entry);
         it != std::sregex_iterator(); ++it, ++n) {
      EXPECT_EQ(std::stoul((*it)[1]), n);
      const uint32_t address = uint32_t(std::stoul((*it)[2], nullptr, 16));
      EXPECT_EQ(address, dependentDir + 4u + 4u * n);
      EXPECT_EQ(uint32_t(std::stoul((*it)[3], nullptr, 16)), at(address)) << std::hex << address;
    }
    EXPECT_EQ(n, v3 >> 16);
  }
  EXPECT_EQ(roms, 9u);
}

}  // namespace
