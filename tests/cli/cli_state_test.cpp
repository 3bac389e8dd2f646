// pralix save and diff against the simulated cameras.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

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

// A saved state with edits: each pair names a register and its new value.
std::string editedState(const std::string& saved, const std::vector<std::pair<std::string, std::string>>& edits,
                        const std::string& name) {
  auto doc = nlohmann::json::parse(readFile(saved));
  for (auto& reg : doc["registers"])
    for (const auto& [which, value] : edits)
      if (reg["name"] == which) reg["value"] = value;
  const std::string path = tempPath(name);
  std::ofstream(path) << doc.dump(2);
  return path;
}

// Restore brings back a state on every shipped profile. Each pralix run
// starts the simulated camera at power-on, so the file is the one edited:
// the restore writes exactly the edited registers, in the camera's order.
TEST(PralixRestore, WritesTheDifferingControlsInOrderAndDryRunWritesNothing) {
  for (const char* profile : {"korvane-kv640m", "mirelle-mo320c", "tessaly-f7flex", "orbel-ux1600b"}) {
    SCOPED_TRACE(profile);
    const std::string sim = std::string("--simulate=") + profile + " ";
    const std::string saved = tempPath(std::string(profile) + "-restore.json");
    ASSERT_EQ(pralix(sim + "save " + saved).status, 0);
    const auto doc = nlohmann::json::parse(readFile(saved));
    std::string brightness, mode;
    for (const auto& reg : doc["registers"]) {
      if (reg["name"] == "BRIGHTNESS") brightness = reg["value"];
      if (reg["name"] == "CURRENT_VIDEO_MODE") mode = reg["value"];
    }
    ASSERT_FALSE(brightness.empty());
    // Features after the video mode; read-only and action registers never.
    const std::string edited = editedState(saved,
                                           {{"BRIGHTNESS", "0x82000021"},
                                            {"CURRENT_VIDEO_MODE", mode == "0x00000000" ? "0x20000000" : "0x00000000"},
                                            {"V_FORMAT_INQ", "0x12345678"},
                                            {"ONE_SHOT/MULTI_SHOT", "0x80000000"},
                                            {"INITIALIZE", "0x80000000"}},
                                           std::string(profile) + "-edited.json");
    Result r = pralix(sim + "restore --dry-run " + edited);
    ASSERT_EQ(r.status, 0) << r.err;
    // Mirelle's command registers start at 0xF0010000, the others' at 0xF0F00000.
    std::smatch m;
    const size_t modeLine = std::regex_search(r.out, m, std::regex(R"(CURRENT_VIDEO_MODE \(0x[0-9A-F]{4}0604\) <- 0x)"))
                                ? size_t(m.position(0))
                                : std::string::npos;
    const size_t brightLine = std::regex_search(r.out, m, std::regex(R"(BRIGHTNESS \(0x[0-9A-F]{4}0800\) <- 0x82000021\n)"))
                                  ? size_t(m.position(0))
                                  : std::string::npos;
    EXPECT_NE(modeLine, std::string::npos) << r.out;
    EXPECT_NE(brightLine, std::string::npos) << r.out;
    EXPECT_LT(modeLine, brightLine) << r.out;
    EXPECT_EQ(r.out.find("V_FORMAT_INQ"), std::string::npos) << r.out;
    EXPECT_EQ(r.out.find("ONE_SHOT"), std::string::npos) << r.out;
    EXPECT_EQ(r.out.find("INITIALIZE"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("2 writes planned, none made (dry run); 3 differing registers are not restored"),
              std::string::npos)
        << r.out;

    r = pralix(sim + "restore " + edited);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(std::regex_search(r.out, std::regex(R"(BRIGHTNESS \(0x[0-9A-F]{8}\) <- 0x82000021: ok\n)"))) << r.out;
    EXPECT_NE(r.out.find("2 of 2 writes succeeded"), std::string::npos) << r.out;
    // The saved state itself needs nothing on a camera at power-on.
    r = pralix(sim + "restore " + saved);
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("0 of 0 writes succeeded"), std::string::npos) << r.out;
  }
}

TEST(PralixRestore, BadFilesAreRefusedAndNothingIsWritten) {
  const std::string sim = "--simulate=korvane-kv640m ";
  const std::string saved = tempPath("refuse-saved.json");
  ASSERT_EQ(pralix(sim + "save " + saved).status, 0);
  auto refused = [&](const std::string& file, const std::string& message, const std::string& extra = "") {
    const Result r = pralix(sim + "restore " + extra + file);
    EXPECT_EQ(r.status, 1) << file;
    EXPECT_NE(r.err.find(message), std::string::npos) << r.err;
    EXPECT_EQ(r.out.find("<-"), std::string::npos) << r.out;
  };
  const std::string notJson = tempPath("refuse-not-json.json");
  std::ofstream(notJson) << "this is not JSON";
  refused(notJson, notJson + ": ");
  refused(tempPath("no-such-file.json"), "Cannot open ");
  const std::string wrongSchema = tempPath("refuse-schema.json");
  std::ofstream(wrongSchema) << R"({"schema":"other"})";
  refused(wrongSchema, "Not a camera state file");

  auto doc = nlohmann::json::parse(readFile(saved));
  doc["camera"]["model"] = "KV-1280C";
  for (auto& reg : doc["registers"])
    if (reg["name"] == "BRIGHTNESS") reg["value"] = "0x82000021";
  const std::string otherModel = tempPath("refuse-model.json");
  std::ofstream(otherModel) << doc.dump();
  refused(otherModel, "this camera is a Korvane Imaging KV-640M. Use --force");
  const Result forced = pralix(sim + "restore --force " + otherModel);
  EXPECT_EQ(forced.status, 0) << forced.err;
  EXPECT_NE(forced.out.find("BRIGHTNESS (0xF0F00800) <- 0x82000021: ok"), std::string::npos) << forced.out;

  doc = nlohmann::json::parse(readFile(saved));
  doc["registers"].push_back({{"name", "MYSTERY"}, {"address", "0xF0F00FF0"}, {"value", "0x00000001"}});
  const std::string unknown = tempPath("refuse-unknown.json");
  std::ofstream(unknown) << doc.dump();
  refused(unknown, "registers this camera does not have: MYSTERY (0xF0F00FF0). Nothing was written.");
}

TEST(PralixRead, BlocksOfQuadletsAndFloats) {
  const std::string sim = "--simulate=orbel-ux1600b ";
  Result r = pralix(sim + "read 800 --count 3");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(std::regex_match(r.out, std::regex("F0F00800  [0-9A-F]{8}\nF0F00804  [0-9A-F]{8}\nF0F00808  [0-9A-F]{8}\n")))
      << r.out;
  // The gain's absolute-value block holds floats: 0x41400000 is 12.
  r = pralix(sim + "read 700 --count 16 --json");
  ASSERT_EQ(r.status, 0) << r.err;
  const auto inquiry = nlohmann::json::parse(r.out);
  const uint32_t offset = std::stoul(inquiry["quadlets"][8]["value"].get<std::string>(), nullptr, 16);
  ASSERT_NE(offset, 0u);
  const uint32_t block = offset * 4 + 0xF0000000u;
  char address[16];
  std::snprintf(address, sizeof address, "%08X", block + 4);
  r = pralix(sim + "read " + address + " --float");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, std::string(address) + "  41C00000  24\n");  // the gain's maximum, 24 dB
  r = pralix(sim + "read " + address + " --float --json");
  EXPECT_DOUBLE_EQ(nlohmann::json::parse(r.out)["quadlets"][0]["float"].get<double>(), 24.0);
  // A block that runs into an unanswered address fails there, and says where.
  r = pralix(sim + "read FFFFFFF8 --count 4");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("Register read failed!"), std::string::npos) << r.err;
}

TEST(PralixWatch, PrintsTheFirstValuesAndEndsCleanlyOnCtrlC) {
  const Result r = pralixInterrupted("--simulate=korvane-kv640m watch BRIGHTNESS 820 --interval 50", 1.5);
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(std::regex_search(
      r.out, std::regex(R"(^\d\d/\d\d-\d\d:\d\d:\d\d\.\d{3}  BRIGHTNESS \(0xF0F00800\) = 0x[0-9A-F]{8}\n)")))
      << r.out;
  EXPECT_NE(r.out.find("  820 (0xF0F00820) = 0x"), std::string::npos) << r.out;
  // Nothing changes on an idle camera, so nothing more is printed.
  EXPECT_EQ(countLines(r.out), 2) << r.out;
  const Result bad = pralix("--simulate=korvane-kv640m watch NO_SUCH_REGISTER --count 1");
  EXPECT_NE(bad.status, 0);
}

}  // namespace
