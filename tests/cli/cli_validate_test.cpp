// pralix validate as a station's CI runs it: every shipped profile, faulty cameras, the JUnit file.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "run_pralix.h"
#include "support/test_paths.h"

namespace {

const char* kShipped[] = {"korvane-kv640m", "mirelle-mo320c", "orbel-ux1600b", "tessaly-f7flex"};
// Unpaced cameras deliver as fast as they can be taken, so the whole suite
// runs in seconds; their frame rates mean nothing, which only the bandwidth
// test judges (its rule is checked against the camera's clock elsewhere).
const char* kUnpaced = "PRALIX_SIM_TIMESCALE=0";

std::string faultProfile(const char* name) {
  return pralix_test::testDataDir() + "/profiles/" + name + ".json";
}

}  // namespace

TEST(CliValidate, EveryShippedProfilePassesEveryTest) {
  for (const char* profile : kShipped) {
    SCOPED_TRACE(profile);
    const Result r = pralix(std::string("--simulate=") + profile + " validate --json", kUnpaced, 600);
    ASSERT_TRUE(r.status == 0 || r.status == 1) << r.err;
    const auto doc = nlohmann::json::parse(r.out, nullptr, false);
    ASSERT_FALSE(doc.is_discarded()) << r.out;
    ASSERT_EQ(doc["tests"].size(), 8u);
    for (const auto& test : doc["tests"]) {
      if (test["key"] == "cameraBWAdjust") continue;
      EXPECT_TRUE(test["passed"].get<bool>()) << test["key"] << "\n" << test["lines"].dump(1);
    }
  }
}

TEST(CliValidate, FaultyCamerasFailTheRightTestWithStatusOne) {
  struct Case {
    const char* profile;
    const char* key;
    const char* line;
  };
  const Case cases[] = {
      {"kv640m-trigger-line", "trigAuto", "Got Unexpected HW trigger for acquire 1."},
      {"kv640m-gain-ceiling", "contrastChange", "Contrast (gain) register value different from expected value."},
      {"kv640m-ignores-shutter", "exposureTest", "Exposure Setting Failed!"},
      {"kv640m-drops-frames", "basicAcq", "FreeRun Trigger Model Acquire Failed."},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.profile);
    const std::string junit = tempPath(std::string(c.profile) + ".xml");
    // The connected trigger line pulses once a frame period: at real time the
    // test waits its full 2 s for the first image, which then surely comes.
    const bool triggerLine = std::string(c.key) == "trigAuto";
    const Result r = pralix("--simulate=" + faultProfile(c.profile) + " validate --format '640x480 Mono 30 FPS' --test " +
                                c.key + " --junit " + junit,
                            triggerLine ? "PRALIX_SIM_TIMESCALE=1" : kUnpaced);
    EXPECT_EQ(r.status, 1) << r.err;
    EXPECT_NE(r.out.find(std::string("\n") + c.line + "\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find(std::string(" Test ") + c.key + " Failed -------"), std::string::npos) << r.out;
    // Only the selected test ran.
    EXPECT_EQ(r.out.find("Running Test reportInfo"), std::string::npos);
    const std::string xml = readFile(junit);
    EXPECT_NE(xml.find("<failure"), std::string::npos) << xml;
    EXPECT_NE(xml.find(c.line), std::string::npos) << xml;
  }
  // The same tests pass on the healthy camera, so it is the fault that fails them.
  for (const char* key : {"trigAuto", "contrastChange", "exposureTest", "basicAcq"}) {
    const Result r = pralix(std::string("--simulate=korvane-kv640m validate --format '640x480 Mono 30 FPS' --test ") + key,
                            kUnpaced);
    EXPECT_EQ(r.status, 0) << key << "\n" << r.out << r.err;
  }
}

TEST(CliValidate, RefusesWhatItCannotRun) {
  Result r = pralix("--simulate=korvane-kv640m validate --test noSuchTest", kUnpaced);
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.err.find("noSuchTest"), std::string::npos) << r.err;

  r = pralix("--simulate=korvane-kv640m validate --camera 5", kUnpaced);
  EXPECT_NE(r.status, 0);
  EXPECT_FALSE(r.err.empty());

  // A format the camera does not have fails every acquisition test with the suite's line.
  r = pralix("--simulate=korvane-kv640m validate --format 'Format7 Mode 0 Mono' --test basicAcq", kUnpaced);
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.out.find("Board does not support format."), std::string::npos) << r.out;

  r = pralix("--simulate=korvane-kv640m validate --test reportInfo --junit /no/such/folder/out.xml", kUnpaced);
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.err.find("/no/such/folder/out.xml"), std::string::npos) << r.err;
}
