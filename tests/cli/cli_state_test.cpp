// pralix save and diff against the simulated cameras.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "run_pralix.h"

namespace {

std::string readFile(const std::string& path) {
  std::ifstream in(path);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

TEST(PralixState, SaveThenDiffWithTheSameCameraAndAnEditedFile) {
  for (const char* profile : {"korvane-kv640m", "tessaly-f7flex", "orbel-ux1600b"}) {
    SCOPED_TRACE(profile);
    const std::string sim = std::string("--simulate=") + profile + " ";
    const std::string saved = ::testing::TempDir() + "pralix-state-" + profile + ".json";
    Result r = pralix(sim + "save " + saved);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("Saved "), std::string::npos) << r.out;
    r = pralix(sim + "diff " + saved);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "0 registers differ\n");

    // The file with a new isochronous channel: the camera differs in that field.
    std::string text = readFile(saved);
    const size_t at = text.find("\"name\": \"ISO_CHANNEL/ISO_SPEED\"");
    ASSERT_NE(at, std::string::npos);
    const size_t value = text.find("\"value\": \"0x", at);
    ASSERT_NE(value, std::string::npos);
    char& channel = text[value + 12];
    channel = channel == '5' ? '6' : '5';
    const std::string edited = ::testing::TempDir() + "pralix-state-edited.json";
    std::ofstream(edited) << text;
    r = pralix(sim + "diff " + edited);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("ISO_CHANNEL/ISO_SPEED (0xF0F0060C): "), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("[ISO_Channel]"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("1 registers differ"), std::string::npos) << r.out;
    r = pralix("diff " + saved + " " + edited);
    EXPECT_NE(r.out.find("1 registers differ"), std::string::npos) << r.out;
  }
}

TEST(PralixState, BadFileIsRefusedWithStatusOne) {
  const std::string bad = ::testing::TempDir() + "pralix-state-bad.json";
  std::ofstream(bad) << R"({"schema":"other"})";
  const Result r = pralix("--simulate=korvane-kv640m diff " + bad);
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("Not a camera state file"), std::string::npos) << r.err;
}

}  // namespace
