// pralix features, feature, dump and caps run as a user runs them, on every shipped profile.
#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <string>

#include "run_pralix.h"
#include "support/test_paths.h"

namespace {

std::string sim(const char* profile) { return std::string("--simulate=") + profile + " "; }

size_t count(const std::string& text, const std::string& what) {
  size_t n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size())) ++n;
  return n;
}

nlohmann::json profileJson(const char* profile) {
  return nlohmann::json::parse(readFile(pralix_test::profilePath(profile)), nullptr, false);
}

// "trigger_delay" in a profile is the feature listed as "Trigger Delay"; the
// shutter is listed as "Exposure".
std::string listedName(const std::string& profileKey) {
  if (profileKey == "shutter") return "Exposure";
  std::string name = profileKey;
  bool wordStart = true;
  for (char& c : name) {
    if (c == '_') c = ' ';
    else if (wordStart) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    wordStart = c == ' ';
  }
  return name;
}

// A fresh empty folder for files a test writes.
std::filesystem::path freshFolder(const std::string& name) {
  const std::filesystem::path folder = std::filesystem::path(::testing::TempDir()) / name;
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder);
  return folder;
}

const char* kProfiles[] = {"korvane-kv640m", "tessaly-f7flex", "orbel-ux1600b"};

// The TF7 Flex with BRIGHTNESS to SHUTTER (0x800 to 0x81C) answering no read.
std::string broken() {
  return "--simulate=" + pralix_test::testDataDir() + "/profiles/broken-controls.json ";
}

}  // namespace

// The reports' content is the report builders' business; here: the whole
// report reaches standard output with plain line ends, and only the dump,
// which changes the camera's settings, warns, on standard error.
TEST(PralixReports, DumpAndCapsReachStandardOutputWholeOnEveryProfile) {
  const struct {
    const char* command;
    size_t banners;
    const char* last;  // how the report ends
    const char* warning;  // on standard error, or "" for none
  } reports[] = {{"dump", 9, "\n", "Warning (camera 0): The register dump changes the camera"},
                 {"caps", 6, "Usual average time to write register (us) : 400 us\n", ""}};
  for (const char* profile : kProfiles) {
    for (const auto& report : reports) {
      SCOPED_TRACE(std::string(profile) + " " + report.command);
      const Result r = pralix(sim(profile) + report.command);
      ASSERT_EQ(r.status, 0) << r.err;
      EXPECT_EQ(countMatches(r.out, std::regex("\\*{9}[^*\n]+\\*{9}")), int(report.banners)) << r.out;
      EXPECT_TRUE(r.out.ends_with(report.last)) << r.out.substr(r.out.size() - std::min<size_t>(r.out.size(), 200));
      EXPECT_EQ(r.out.find('\r'), std::string::npos) << "platform line ends on standard output";
      EXPECT_EQ(r.out.find("Warning"), std::string::npos);
      EXPECT_EQ(r.err.find(*report.warning ? report.warning : "Warning") != std::string::npos, *report.warning != 0)
          << r.err;
    }
  }
  // The capabilities report is headed by the camera's own name.
  EXPECT_TRUE(pralix(sim("tessaly-f7flex") + "caps").out.starts_with("********* Tessaly Vision "));
}

TEST(PralixReports, OutputFileIsWrittenWholeAndCrlfKeepsTheReportsLineEnds) {
  const std::filesystem::path folder = freshFolder("pralix_reports_out");
  const std::string file = (folder / "dump.txt").string();
  std::ofstream(file) << "an older report";

  const Result toStdout = pralix(sim("tessaly-f7flex") + "dump");
  ASSERT_EQ(toStdout.status, 0);
  const Result toFile = pralix(sim("tessaly-f7flex") + "dump -o " + file);
  ASSERT_EQ(toFile.status, 0) << toFile.err;
  EXPECT_EQ(toFile.out, "");
  EXPECT_NE(toFile.err.find("Warning"), std::string::npos) << "the warning comes with -o as well";
  // Each run starts a fresh simulated camera, so both dumps are the same.
  EXPECT_EQ(readFile(file), toStdout.out);
  size_t entries = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    ++entries;
    EXPECT_EQ(entry.path().filename(), "dump.txt") << "temporary file left behind";
  }
  EXPECT_EQ(entries, 1u);

  const std::string crlfFile = (folder / "caps.txt").string();
  const Result crlf = pralix(sim("orbel-ux1600b") + "caps --crlf --output " + crlfFile);
  ASSERT_EQ(crlf.status, 0) << crlf.err;
  const std::string text = readFile(crlfFile);
  const size_t lineEnds = count(text, "\n");
  EXPECT_GT(lineEnds, 100u);
  EXPECT_EQ(count(text, "\r\n"), lineEnds) << "every line end is CR LF";
  EXPECT_EQ(count(text, "\r"), lineEnds) << "no CR doubled or left alone";
  const Result crlfOut = pralix(sim("korvane-kv640m") + "dump --crlf");
  EXPECT_EQ(count(crlfOut.out, "\r\n"), count(crlfOut.out, "\n"));
  EXPECT_NE(crlfOut.out.find("GENERAL FEATURES ************* \r\n\r\nAdvance Features are"), std::string::npos);
}

TEST(PralixReports, UnwritableOutputFailsAndLeavesNothing) {
  const std::filesystem::path folder = freshFolder("pralix_reports_bad");
  const Result r = pralix(sim("korvane-kv640m") + "caps -o " + (folder / "missing" / "caps.txt").string());
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("missing"), std::string::npos) << r.err;
  EXPECT_TRUE(std::filesystem::is_empty(folder));
  EXPECT_EQ(pralix(sim("korvane-kv640m") + "dump --camera 3").status, 1);
}

TEST(PralixFeatures, JsonMatchesEachProfilesFeatures) {
  for (const char* profile : kProfiles) {
    SCOPED_TRACE(profile);
    const Result r = pralix(sim(profile) + "features --json");
    ASSERT_EQ(r.status, 0) << r.err;
    const nlohmann::json j = nlohmann::json::parse(r.out, nullptr, false);
    ASSERT_TRUE(j.is_object()) << r.out;
    EXPECT_EQ(j["camera"], 0);
    std::map<std::string, nlohmann::json> listed;
    for (const nlohmann::json& f : j["features"]) listed[f["name"].get<std::string>()] = f;

    const nlohmann::json p = profileJson(profile);
    ASSERT_TRUE(p.is_object());
    EXPECT_EQ(listed.size(), p["features"].size()) << r.out;
    for (const auto& [key, expected] : p["features"].items()) {
      SCOPED_TRACE(key);
      ASSERT_TRUE(listed.count(listedName(key)));
      const nlohmann::json& f = listed[listedName(key)];
      EXPECT_EQ(f["min"], expected["min"]);
      EXPECT_EQ(f["max"], expected["max"]);
      ASSERT_TRUE(f["values"].is_array());
      if (expected["value"].is_number()) {
        ASSERT_EQ(f["values"].size(), 1u);
        EXPECT_EQ(f["values"][0]["value"], expected["value"]);
      } else {
        EXPECT_EQ(f["values"].size(), 2u);
      }
      for (const char* field : {"on", "auto", "capabilities", "controlError"}) EXPECT_TRUE(f.contains(field)) << field;
      if (expected.contains("absolute")) {
        ASSERT_TRUE(f["absolute"].is_object());
        EXPECT_NEAR(f["absolute"]["min"].get<double>(), expected["absolute"]["min"].get<double>(), 1e-6);
        EXPECT_NEAR(f["absolute"]["max"].get<double>(), expected["absolute"]["max"].get<double>(), 1e-6);
        EXPECT_TRUE(f["capabilities"]["absolute"].get<bool>());
      } else {
        EXPECT_TRUE(f["absolute"].is_null());
      }
    }
  }
  // Labels of a two-value feature are split as the properties page splits them.
  const Result orbel = pralix(sim("orbel-ux1600b") + "features --json");
  EXPECT_NE(orbel.out.find("\"label\": \"U/B Value\""), std::string::npos);
  EXPECT_NE(orbel.out.find("\"label\": \"Target Temperature\""), std::string::npos);
}

TEST(PralixFeatures, TextListsThePresentFeaturesOnly) {
  const Result r = pralix(sim("korvane-kv640m") + "features");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(count(r.out, "\n"), 6u) << r.out;  // header and five features
  EXPECT_TRUE(std::regex_search(r.out, std::regex("\nBrightness +on +manual +16 +0 to 255\n"))) << r.out;
  EXPECT_TRUE(std::regex_search(r.out, std::regex("\nGamma +off +manual +0 +0 to 1\n"))) << r.out;
  EXPECT_EQ(r.out.find("Sharpness"), std::string::npos);
  const Result abs = pralix(sim("tessaly-f7flex") + "features");
  EXPECT_TRUE(
      std::regex_search(abs.out, std::regex("\nGain +on +manual +0 +0 to 720 +0 \\(0 to 24\\)\n")))
      << abs.out;
}

TEST(PralixFeature, ValueIsWrittenAndReadBackOnEveryProfile) {
  for (const char* profile : kProfiles) {
    SCOPED_TRACE(profile);
    const Result r = pralix(sim(profile) + "feature Gain --value 300");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(std::regex_search(r.out, std::regex("\nGain +on +manual +300 "))) << r.out;
  }
  // The bare --simulate: camera 0 of the built-in set, and the JSON form.
  const Result json = pralix("--simulate feature gain --value 300 --json");
  ASSERT_EQ(json.status, 0) << json.err;
  const nlohmann::json j = nlohmann::json::parse(json.out, nullptr, false);
  ASSERT_TRUE(j.is_object()) << json.out;
  EXPECT_EQ(j["values"][0]["value"], 300);
}

TEST(PralixFeature, ActionsApplyInOrderAndNamesAreForgiving) {
  Result r = pralix(sim("orbel-ux1600b") + "feature white_balance --value 300 --value2 200 --auto --json");
  ASSERT_EQ(r.status, 0) << r.err;
  nlohmann::json j = nlohmann::json::parse(r.out, nullptr, false);
  EXPECT_EQ(j["name"], "White Balance");
  EXPECT_EQ(j["values"][0]["value"], 300);
  EXPECT_EQ(j["values"][1]["value"], 200);
  EXPECT_EQ(j["auto"], true);

  r = pralix(sim("korvane-kv640m") + "feature AUTO-EXPOSURE --on --json");
  j = nlohmann::json::parse(r.out, nullptr, false);
  EXPECT_EQ(j["on"], true) << r.out;

  // An absolute value switches absolute control on; a raw value switches it off again.
  r = pralix(sim("tessaly-f7flex") + "feature \"Gain\" --abs 6.5 --json");
  ASSERT_EQ(r.status, 0) << r.err;
  j = nlohmann::json::parse(r.out, nullptr, false);
  EXPECT_EQ(j["absolute"]["inUse"], true);
  EXPECT_NEAR(j["absolute"]["value"].get<double>(), 6.5, 1e-4);
  r = pralix(sim("tessaly-f7flex") + "feature Gain --abs 6.5 --value 10 --json");
  j = nlohmann::json::parse(r.out, nullptr, false);
  EXPECT_EQ(j["absolute"]["inUse"], true) << "--abs comes after --value";
  r = pralix(sim("tessaly-f7flex") + "feature shutter --json");
  j = nlohmann::json::parse(r.out, nullptr, false);
  EXPECT_EQ(j["name"], "Exposure");
}

TEST(PralixFeature, RefusalsHaveTheirExitStatus) {
  Result r = pralix(sim("korvane-kv640m") + "feature Contrast --value 3");
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("Unknown feature 'Contrast'"), std::string::npos) << r.err;
  for (const char* name : {"Sharpness", "White Balance", "Exposure", "Optical Filter"})
    EXPECT_NE(r.err.find(name), std::string::npos) << name;
  EXPECT_EQ(r.out, "");

  EXPECT_EQ(pralix(sim("korvane-kv640m") + "feature Gain --value 4096").status, 2);
  EXPECT_EQ(pralix(sim("korvane-kv640m") + "feature Gain --on --off").status, 2);
  EXPECT_EQ(pralix(sim("korvane-kv640m") + "feature Gain --auto --manual").status, 2);
  EXPECT_EQ(pralix(sim("korvane-kv640m") + "feature Gain --abs many").status, 2);

  r = pralix(sim("korvane-kv640m") + "feature Iris --value 3");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("Camera 0 has no Iris feature."), std::string::npos) << r.err;
  r = pralix(sim("korvane-kv640m") + "feature Gain --abs 2");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("no absolute control"), std::string::npos) << r.err;
  r = pralix(sim("korvane-kv640m") + "feature Gain --value2 2");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(pralix(sim("korvane-kv640m") + "feature Gain --camera 5").status, 1);
}

// A camera whose feature control registers 0x800 to 0x81C answer no read:
// every listing shows what it can read, names what failed and why, and the
// command fails only at the end.
TEST(PralixBrokenRegisters, FeaturesListEveryFeatureAndMarkTheFailedOnes) {
  Result r = pralix(broken() + "features");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(count(r.out, "\n"), 9u) << r.out;  // header and the eight present features
  for (const char* name : {"Sharpness", "Exposure", "Brightness", "Auto Exposure", "Gamma"})
    EXPECT_TRUE(std::regex_search(
        r.out, std::regex(std::string("\n") + name +
                          " +read failed: .*reading register 0x8[01][0-9A-F] failed "
                          "\\(simulated read failure at 0xF0F008")))
        << name << "\n"
        << r.out;
  EXPECT_TRUE(std::regex_search(r.out, std::regex("\nGain +on +manual +0 +0 to 720 ")));
  EXPECT_TRUE(std::regex_search(r.out, std::regex("\nFrame Rate +on +manual +300 +1 to 480\n")));
  EXPECT_NE(r.err.find("5 features could not be read."), std::string::npos) << r.err;

  r = pralix(broken() + "features --json");
  EXPECT_EQ(r.status, 1);
  const nlohmann::json j = nlohmann::json::parse(r.out, nullptr, false);
  ASSERT_TRUE(j.is_object()) << r.out;
  size_t failed = 0;
  for (const nlohmann::json& f : j["features"]) failed += f.contains("error");
  EXPECT_EQ(j["features"].size(), 8u);
  EXPECT_EQ(failed, 5u);
}

TEST(PralixBrokenRegisters, RegsListEveryRegisterWithTheReasonInPlaceOfAValue) {
  const Result map = pralix(broken() + "regmap");
  ASSERT_EQ(map.status, 0) << map.err;
  Result r = pralix(broken() + "regs");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(countLines(r.out), countLines(map.out));
  EXPECT_EQ(
      countMatches(r.out, std::regex("\nReading register [A-Z_]+ at 0xF0F008[01][0-9A-F] failed: "
                                     "simulated read failure")),
      8)
      << r.out;
  EXPECT_NE(r.out.find("0xF0F00820 = "), std::string::npos) << "GAIN answers";
  EXPECT_NE(r.err.find("8 of the camera's"), std::string::npos) << r.err;
  r = pralix(broken() + "regs --json");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(count(r.out, "\"error\""), 8u);
}

TEST(PralixBrokenRegisters, ReportsAreWholeAndNameTheFailedReadsBesideThem) {
  Result r = pralix(broken() + "caps");
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(r.out.ends_with("Usual average time to write register (us) : 400 us\n")) << r.out;
  EXPECT_NE(
      r.out.find(
          "Writing Register for selected camera was not timed: the register could not be read"),
      std::string::npos);
  EXPECT_EQ(r.out.find("Writing Register for selected camera took"), std::string::npos);
  EXPECT_NE(r.err.find("Reading register 0x800 failed: simulated read failure at 0xF0F00800"),
            std::string::npos)
      << r.err;

  r = pralix(broken() + "dump");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(countMatches(r.out, std::regex("\nReading : [0-9A-F]{3} Value : ")), 448);
  EXPECT_NE(r.out.find("FORMAT 7 RAW REGISTER DUMP"), std::string::npos);
  // Inside the report a failed read shows as its "not" line; beside it, the reasons.
  EXPECT_NE(r.out.find("BRIGHTNESS PROPERTY\n \nFeature is Present\nProperty is Off\n"),
            std::string::npos);
  EXPECT_NE(r.err.find("Reading register 0x800 failed"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("Reading register 0x81C failed"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("register accesses failed while the report was built."), std::string::npos);
}

TEST(PralixFeature, ActionsTheFeatureCannotDoAreRefusedWithTheReason) {
  const struct {
    const char* args;
    const char* reason;
  } cases[] = {
      {"Brightness --off", "Brightness of camera 0 has no on/off switch"},
      {"Brightness --auto", "Brightness of camera 0 has no automatic mode"},
      {"Gain --one-push", "Gain of camera 0 has no one-push adjustment"},
      {"Gain --value 681", "Gain of camera 0: --value 681 is outside the range 0 to 680"},
      {"Auto-Exposure --value 0", "--value 0 is outside the range 1 to 1023"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.args);
    const Result r = pralix(sim("korvane-kv640m") + "feature " + c.args);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find(c.reason), std::string::npos) << r.err;
    EXPECT_EQ(r.out, "");
  }
  for (const char* abs : {"0.6", "nan", "inf"}) {
    const Result r = pralix(sim("tessaly-f7flex") + "feature Exposure --abs " + abs);
    EXPECT_NE(r.status, 0) << abs;
    EXPECT_EQ(r.out, "") << abs;
  }
  // What the camera can do still goes through.
  EXPECT_EQ(pralix(sim("korvane-kv640m") + "feature Gamma --on").status, 0);
  EXPECT_EQ(pralix(sim("tessaly-f7flex") + "feature Exposure --one-push").status, 0);
}

TEST(PralixFeatures, AbsoluteValuesKeepTheirSignificantDigits) {
  const Result r = pralix(sim("tessaly-f7flex") + "features");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(std::regex_search(r.out, std::regex("\nExposure .* \\(2e-05 to 0\\.5\\)\n")))
      << r.out;
}
