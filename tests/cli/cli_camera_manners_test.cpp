// pralix on a camera with its own command register base, failures with their reasons, and the
// command line's manners.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include <nlohmann/json.hpp>

#include "run_pralix.h"

namespace {

// The Mirelle camera's command registers sit at 0xF0010000.
const std::string kMirelle = "--simulate=mirelle-mo320c ";
const std::string kKorvane = "--simulate=korvane-kv640m ";

// The lines of standard error.
std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> out;
  std::string line;
  for (char c : text) {
    if (c == '\n') {
      out.push_back(line);
      line.clear();
    } else {
      line += c;
    }
  }
  if (!line.empty()) out.push_back(line);
  return out;
}

}  // namespace

TEST(PralixCommandBase, NamesOffsetsAndAbsoluteAddressesOnACameraWithItsOwnBase) {
  // A name reaches the camera's own CURRENT_VIDEO_MODE, and --json says where that is.
  Result r = pralix(kMirelle + "read CURRENT_VIDEO_MODE --json");
  ASSERT_EQ(r.status, 0) << r.err;
  const nlohmann::json j = nlohmann::json::parse(r.out, nullptr, false);
  ASSERT_TRUE(j.is_object()) << r.out;
  EXPECT_EQ(j["input"], "CURRENT_VIDEO_MODE");
  EXPECT_EQ(j["address"], "F0010604");
  EXPECT_EQ(j["value"], "20000000");
  // An offset is taken from the same base; --json resolves it.
  r = pralix(kMirelle + "read 604 --json");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("\"address\": \"F0010604\""), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("\"input\": \"604\""), std::string::npos) << r.out;
  // An absolute address stays as typed: nothing answers at the usual base here.
  r = pralix(kMirelle + "read F0F00604");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("Register read failed!"), std::string::npos) << r.err;

  // write takes names as read does; reset writes the camera's own INITIALIZE.
  EXPECT_EQ(pralix(kMirelle + "write BRIGHTNESS 82000040").status, 0);
  r = pralix(kMirelle + "reset");
  EXPECT_EQ(r.status, 0) << r.err;
}

TEST(PralixCommandBase, CatalogueReportsAndAcquisitionWorkOnACameraWithItsOwnBase) {
  Result r = pralix(kMirelle + "regmap");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("F0010600"), std::string::npos);
  EXPECT_EQ(r.out.find("F0F00600"), std::string::npos);

  r = pralix(kMirelle + "regs --json");
  ASSERT_EQ(r.status, 0) << r.err;
  const nlohmann::json regs = nlohmann::json::parse(r.out, nullptr, false);
  ASSERT_TRUE(regs.is_object() || regs.is_array()) << r.out;
  const nlohmann::json& list = regs.is_object() ? regs["registers"] : regs;
  bool sawFrameRate = false;
  for (const nlohmann::json& reg : list) {
    if (reg["name"] != "CURRENT_FRAME_RATE") continue;
    sawFrameRate = true;
    EXPECT_EQ(reg["address"], "F0010600");
    EXPECT_EQ(reg["value"], "80000000");  // rate 4, 30 fps, at power-on
  }
  EXPECT_TRUE(sawFrameRate) << r.out;

  // Both reports find the modes through the inquiry registers at the camera's base.
  r = pralix(kMirelle + "dump");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("Format : 0, Mode : 5, Fps : 5"), std::string::npos) << r.out;
  r = pralix(kMirelle + "caps");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("Mirelle Optics MO-320C"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("640x480 Mono"), std::string::npos) << r.out;

  r = pralix(kMirelle + "acquire -n 2 --json", "PRALIX_SIM_TIMESCALE=0");
  EXPECT_EQ(r.status, 0) << r.err << r.out;
}

TEST(PralixFailures, SayWhyOnTheLineAfterTheProgramsMessage) {
  const struct {
    const char* args;
    const char* message;
    const char* reason;
  } cases[] = {
      {"read 601", "Register read failed!", "0x00000601 is not a quadlet address"},
      {"read FFFFFFFF", "Register read failed!", "0xFFFFFFFF is not a quadlet address"},
      // An offset so large that the camera's base pushes it past the CSR space.
      {"read 0F100000", "Register read failed!", "lies beyond the camera's CSR space"},
      {"read F0000800", "Register read failed!", "no register answers at 0xF0000800"},
      // The configuration ROM is read-only, as a real node's is.
      {"write F0000404 0", "Register write failed!", "read-only configuration ROM"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.args);
    const Result r = pralix(kKorvane + c.args);
    EXPECT_EQ(r.status, 1);
    const std::vector<std::string> err = lines(r.err);
    ASSERT_GE(err.size(), 2u) << r.err;
    EXPECT_EQ(err[err.size() - 2], c.message) << r.err;
    EXPECT_NE(err.back().find(c.reason), std::string::npos) << r.err;
  }
  // A bad profile is refused by name, the others still come up, and the run fails.
  const std::string path = tempPath("bad-profile.json");
  std::ofstream(path) << "{ \"vendor\": 12 }";
  const Result r = pralix("--simulate=" + path + ",korvane-kv640m list");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("bad-profile.json"), std::string::npos) << r.err;
  EXPECT_NE(r.out.find("KV-640M"), std::string::npos) << r.out;
}

TEST(PralixManners, NoFireWireNoticeOnlyWhereItHelps) {
  const Result list = pralix(kKorvane + "list");
  ASSERT_EQ(list.status, 0) << list.err;
  if (list.err.find("No FireWire") == std::string::npos)
    GTEST_SKIP() << "this machine's FireWire stack gives no notice";
  // Said once by list; not at all by a command that found its camera.
  EXPECT_EQ(list.err.find("No FireWire"), list.err.rfind("No FireWire")) << list.err;
  const Result read = pralix(kKorvane + "read 800");
  ASSERT_EQ(read.status, 0) << read.err;
  EXPECT_EQ(read.err.find("No FireWire"), std::string::npos) << read.err;
  // When the camera asked for is not there, the notice explains why.
  const Result missing = pralix(kKorvane + "read 800 --camera 3");
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.err.find("No FireWire"), std::string::npos) << missing.err;
}

TEST(PralixManners, CommonOptionsBeforeOrAfterTheCommandName) {
  const std::string two = "--simulate=korvane-kv640m,tessaly-f7flex ";
  for (const std::string& args :
       {"--camera 1 " + two + "read 500 --json", two + "--camera 1 --json read 500",
        two + "-c1 read 500 --json", two + "read --camera=1 500 --json"}) {
    SCOPED_TRACE(args);
    const Result r = pralix(args);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("\"camera\": 1"), std::string::npos) << r.out;
  }
  // An option the command does not take is still refused.
  EXPECT_EQ(pralix("--camera 1 " + two + "list").status, 2);
}

TEST(PralixManners, RangeErrorsReadAsSentences) {
  const struct {
    const char* args;
    const char* message;
  } cases[] = {
      {"acquire -n 0", "--count must be at least 1"},
      {"read 800 --camera -1", "--camera must be at least 0"},
      {"acquire --timeout 0", "--timeout must be more than 0"},
      {"acquire --timeout nan", "--timeout must be a number more than 0"},
      {"feature Brightness --value 5000", "--value must be from 0 to 4095"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.args);
    const Result r = pralix(kKorvane + c.args);
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
    EXPECT_EQ(r.err.find("not in range"), std::string::npos) << r.err;
  }
}

TEST(PralixManners, ExposureInShutterUnitsWithoutAbsoluteControl) {
  // The Korvane camera has no absolute shutter control: whole shutter units only.
  Result r = pralix(kKorvane + "acquire -n 1 --exposure 0.5", "PRALIX_SIM_TIMESCALE=0");
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("shutter units"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("whole number"), std::string::npos) << r.err;
  r = pralix(kKorvane + "acquire -n 1 --exposure 400", "PRALIX_SIM_TIMESCALE=0");
  EXPECT_EQ(r.status, 0) << r.err;
}
