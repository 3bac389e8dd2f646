// The validation suite on simulated cameras: each test's pass, fail and skip paths, the runner's rules.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "sim_stream_util.h"
#include "support/test_paths.h"
#include "validation/validation_suite.h"

namespace {

constexpr uint32_t kShutterControl = 0x81C;
constexpr uint32_t kGainControl = 0x820;

// A suite on camera 0 of a simulated bus that collects every posted line.
struct SuiteRig {
  SuiteRig(const std::string& profile, const std::string& format) : rig({profile}) {
    vxValidationTarget target;
    target.module = &rig.module();
    target.camera = &rig.camera();
    target.cameraDescription = "Test camera";
    target.formatText = format;
    target.programVersion = "1.2.3.4";
    suite = std::make_unique<vxValidationSuite>(target, [this](std::string line) { lines.push_back(line); });
    suite->followTimeScale(0.0);
  }
  int run(const std::string& key) { return suite->runTest(key); }
  bool has(const std::string& line) const {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }
  int count(const std::string& prefix) const {
    return static_cast<int>(std::count_if(lines.begin(), lines.end(),
                                          [&](const std::string& l) { return l.rfind(prefix, 0) == 0; }));
  }
  SimModule rig;
  std::vector<std::string> lines;
  std::unique_ptr<vxValidationSuite> suite;
};

const char* kMono = "640x480 Mono 3.75 FPS";

}  // namespace

TEST(ValidationRunner, RunsEveryKeyInOrderWithStampedBlocksAndPasses) {
  SuiteRig s("korvane-kv640m", kMono);
  s.suite->run(false, "reportInfo");
  const std::regex running(R"(---- \d\d:\d\d:\d\d Running Test (\w+) -------)");
  std::vector<std::string> ran;
  for (size_t i = 0; i < s.lines.size(); ++i) {
    std::smatch m;
    if (std::regex_match(s.lines[i], m, running)) {
      ran.push_back(m[1]);
      ASSERT_LT(i + 1, s.lines.size());
      EXPECT_EQ(s.lines[i + 1], "\r\n");
    }
  }
  EXPECT_EQ(ran, vxValidationSuite::keys());
  EXPECT_EQ(s.count("---- "), 16);
  EXPECT_TRUE(s.has("Using 1394DCAM board Test camera"));
  EXPECT_TRUE(s.has("Using DCAM Pralix version 1.2.3.4"));
  EXPECT_TRUE(s.has("Using qrvnvdcam version " + s.rig.module().version()));
  EXPECT_TRUE(s.has(std::string("Using video format: ") + kMono));
  EXPECT_TRUE(s.has("Fifo does not support Absolute Control of Exposure\r\n"));
  // Standard format: the region test skips, which counts as passed.
  const auto& outcomes = s.suite->outcomes();
  ASSERT_EQ(outcomes.size(), 8u);
  EXPECT_TRUE(outcomes[3].skipped);
  EXPECT_TRUE(outcomes[3].passed);
  EXPECT_FALSE(outcomes[1].skipped);
  // Rates of an unpaced camera mean nothing, so the bandwidth verdict is
  // left out here; every other test passes on a healthy camera.
  for (const auto& outcome : outcomes) {
    if (outcome.key != "cameraBWAdjust") {
      EXPECT_TRUE(outcome.passed) << outcome.key;
    }
  }
}

TEST(ValidationRunner, SpecifyTestRunsOnlyTheSelectedKey) {
  SuiteRig s("korvane-kv640m", kMono);
  EXPECT_TRUE(s.suite->run(true, "roiMetrics"));
  EXPECT_EQ(s.count("---- "), 2);
  EXPECT_TRUE(s.has("Format is not format7. Skipping test.\r\n"));
  EXPECT_EQ(s.lines.at(s.lines.size() - 2).find("Test roiMetrics Passed"), 14u);
  for (const auto& outcome : s.suite->outcomes()) EXPECT_EQ(outcome.ran, outcome.key == "roiMetrics");
}

TEST(ValidationRunner, StopIsReadBetweenTests) {
  SimModule rig({"korvane-kv640m"});
  vxValidationTarget target{&rig.module(), &rig.camera(), "cam", kMono, "1.0.0.0"};
  std::unique_ptr<vxValidationSuite> suite;
  suite = std::make_unique<vxValidationSuite>(target, [&](std::string line) {
    // Asked while basicAcq runs: that test finishes, none after it starts.
    if (line.find("Running Basic Queued") == 0) suite->requestStop();
  });
  suite->followTimeScale(0.0);
  suite->run(false, "");
  const auto& outcomes = suite->outcomes();
  EXPECT_TRUE(outcomes[0].ran);
  EXPECT_TRUE(outcomes[1].ran);
  EXPECT_TRUE(outcomes[1].passed);
  for (size_t i = 2; i < outcomes.size(); ++i) EXPECT_FALSE(outcomes[i].ran) << outcomes[i].key;
}

TEST(ValidationRunner, WithoutCameraTheHeaderIsSilentAndAcquisitionTestsFail) {
  std::vector<std::string> lines;
  vxValidationSuite suite(vxValidationTarget{}, [&](std::string line) { lines.push_back(line); });
  EXPECT_FALSE(suite.run(false, ""));
  for (const auto& outcome : suite.outcomes()) {
    EXPECT_EQ(outcome.passed, outcome.key == "reportInfo") << outcome.key;
    EXPECT_TRUE(outcome.lines.empty()) << outcome.key;
  }
}

TEST(ValidationTests, UnknownFormatAndFormatTheCameraLacks) {
  SuiteRig unknown("korvane-kv640m", "no such format");
  EXPECT_EQ(unknown.run("basicAcq"), 1);
  EXPECT_TRUE(unknown.has("Error: Exception when getting video format.\r\n"));
  SuiteRig lacking("korvane-kv640m", "Format7 Mode 0 Mono");
  EXPECT_EQ(lacking.run("basicAcq"), 1);
  EXPECT_TRUE(lacking.has("Board does not support format.\r\n"));
}

TEST(ValidationTests, BasicAcquisitionFailsOnSpoiledFrames) {
  SuiteRig s("korvane-kv640m", kMono);
  s.rig.sim().setIncompleteRatio(0, 1.0);
  EXPECT_EQ(s.run("basicAcq"), 1);
  EXPECT_TRUE(s.has("Non Queued Acquire Failed.\r\n"));
  EXPECT_FALSE(s.has("Running Basic Queued Acquisition Test."));
}

TEST(ValidationTests, ExposureVerifiedOnAbsoluteAndRawCameras) {
  SuiteRig absolute("orbel-ux1600b", "320x240 YUV(4:2:2) 7.5 FPS");
  EXPECT_EQ(absolute.run("exposureTest"), 0);
  EXPECT_TRUE(absolute.has("Fifo supports Absolute Control of Exposure\r\n"));
  EXPECT_EQ(absolute.count("Actual Exposure Value "), 2);

  SuiteRig ignoring("korvane-kv640m", kMono);
  ignoring.rig.sim().setWriteFault(0, kDefaultCommandRegsBase + kShutterControl, true);
  EXPECT_EQ(ignoring.run("exposureTest"), 1);
}

TEST(ValidationTests, ContrastFailsWhenTheGainRegisterRefusesWrites) {
  SuiteRig s("korvane-kv640m", kMono);
  EXPECT_EQ(s.run("contrastChange"), 0);
  EXPECT_EQ(s.count("Using Contrast : "), 11);
  EXPECT_TRUE(s.has("Using Contrast : 1.000000\r\n"));
  s.lines.clear();
  s.rig.sim().setWriteFault(0, kDefaultCommandRegsBase + kGainControl, true);
  EXPECT_EQ(s.run("contrastChange"), 1);
  s.rig.sim().clearFaults(0);
  EXPECT_EQ(s.run("brightnessChange"), 0);
}

TEST(ValidationTests, RegionPassesOnFormat7) {
  SuiteRig s("tessaly-f7flex", "Format7 Mode 0 Mono");
  // Fewer frames than a station run times keep the rehearsal short.
  s.suite->setRoiFrameCounts(20, 20);
  EXPECT_EQ(s.run("roiMetrics"), 0);
  EXPECT_EQ(s.count("Testing full ROI      : x=0, y=0, "), 1);
  EXPECT_GE(s.count("Testing partial ROI : "), 5);
  EXPECT_EQ(s.count("Acq frame rate is    : "), s.count("Testing "));
}

TEST(ValidationTests, TriggerTestFailsWhenTriggersArriveByThemselves) {
  SuiteRig quiet("korvane-kv640m", kMono);
  EXPECT_EQ(quiet.run("trigAuto"), 0);
  EXPECT_EQ(quiet.count("This test will fail if you have an external trigger"), 2);

  SuiteRig wired("korvane-kv640m", kMono);
  wired.suite->setTriggerTimeout(5.0);
  std::atomic<bool> done{false};
  std::thread line([&] {
    while (!done) {
      wired.rig.sim().fireTrigger(0);
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  });
  EXPECT_EQ(wired.run("trigAuto"), 1);
  done = true;
  line.join();
  EXPECT_TRUE(wired.has("Got Unexpected HW trigger for acquire 1.\r\n"));
}

// Each fault a camera profile can carry makes its test fail with the line
// a station engineer would see from such a camera.
TEST(ValidationFaults, ProfileFaultsFailTheirTestWithItsLine) {
  struct Case {
    const char* profile;
    const char* key;
    const char* line;
  };
  const Case cases[] = {
      {"kv640m-trigger-line", "trigAuto", "Got Unexpected HW trigger for acquire 1.\r\n"},
      {"kv640m-gain-ceiling", "contrastChange",
       "Contrast (gain) register value different from expected value.\r\n"},
      {"kv640m-ignores-shutter", "exposureTest", "Exposure Setting Failed!\r\n"},
      {"kv640m-drops-frames", "basicAcq", "FreeRun Trigger Model Acquire Failed.\r\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.profile);
    SuiteRig s(pralix_test::testDataDir() + "/profiles/" + c.profile + ".json", "640x480 Mono 30 FPS");
    s.suite->setTriggerTimeout(2.0);
    EXPECT_EQ(s.run(c.key), 1);
    EXPECT_TRUE(s.has(c.line));
    // The other tests of the faulty camera are not disturbed by its fault.
    for (const char* other : {"basicAcq", "exposureTest", "contrastChange", "brightnessChange"}) {
      if (std::string(other) == c.key) continue;
      EXPECT_EQ(s.run(other), 0) << other;
    }
  }
}

TEST(ValidationFaults, FaultControlsComeAndGo) {
  SuiteRig s("korvane-kv640m", "640x480 Mono 30 FPS");
  s.suite->setTriggerTimeout(2.0);
  vx_SimBusControl& sim = s.rig.sim();
  sim.setTriggerLine(0, true);
  EXPECT_EQ(s.run("trigAuto"), 1);
  sim.setTriggerLine(0, false);
  s.suite->setTriggerTimeout(0.05);
  EXPECT_EQ(s.run("trigAuto"), 0);

  // A ceiling inside the range fails only the settings above it: contrast
  // 0.0 passes, and the first step that asks for more than 200 fails.
  sim.setValueCeiling(0, kDefaultCommandRegsBase + kGainControl, 200);
  s.lines.clear();
  EXPECT_EQ(s.run("contrastChange"), 1);
  EXPECT_EQ(s.count("Using Contrast : "), 4);  // 0.0 .. 0.3 of 0..680: 204 > 200
  sim.clearFaults(0);
  EXPECT_EQ(s.run("contrastChange"), 0);

  sim.setIgnoredWrite(0, kDefaultCommandRegsBase + kShutterControl, true);
  EXPECT_EQ(s.run("exposureTest"), 1);
  EXPECT_TRUE(s.has("Exposure Setting Failed!\r\n"));
  sim.setIgnoredWrite(0, kDefaultCommandRegsBase + kShutterControl, false);
  EXPECT_EQ(s.run("exposureTest"), 0);
}

TEST(ValidationRules, GainExposureAndBandwidthArithmetic) {
  EXPECT_EQ(vxValidationSuite::expectedRaw(0, 1000, 0.3), 300u);
  EXPECT_EQ(vxValidationSuite::expectedRaw(16, 1023, 1.0), 1023u);
  EXPECT_EQ(vxValidationSuite::expectedRaw(16, 1023, 0.0), 16u);
  EXPECT_FALSE(vxValidationSuite::rateRoseTooMuch(10.0, 12.0));
  EXPECT_TRUE(vxValidationSuite::rateRoseTooMuch(10.0, 12.01));
  EXPECT_TRUE(vxValidationSuite::exposureMatches(0.01, 0.01009));
  EXPECT_FALSE(vxValidationSuite::exposureMatches(0.01, 0.0102));
  EXPECT_TRUE(vxValidationSuite::exposureMatches(0.0005, 0.0005009));
  EXPECT_FALSE(vxValidationSuite::exposureMatches(0.0005, 0.000502));
  EXPECT_EQ(vxValidationVersionText("0.1.0"), "0.1.0.0");
  EXPECT_EQ(vxValidationLineText("a\r\n"), "a");
}
