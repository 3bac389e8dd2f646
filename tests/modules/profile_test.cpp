// Simulated camera profiles: the shipped ones, lookup by name, and refusal of malformed files.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "sim_test_util.h"

namespace {

const char* kMinimal =
    R"({"vendor": "V", "model": "M", "guid": "0x0012340000000001", "iidcVersion": "1.31",
  "formats": [{"format": 0, "mode": 5, "rates": [4]}] %s})";

std::string withExtra(const std::string& extra) {
  char text[1024];
  std::snprintf(text, sizeof text, kMinimal, extra.c_str());
  return text;
}

// The message of the refusal, or "" when the profile was taken.
std::string refusal(const std::string& text, const std::string& file = "bad.json") {
  try {
    vxParseSimProfile(text, file);
  } catch (const vx_SimProfile::Error& e) {
    return e.message();
  }
  return "";
}

}  // namespace

TEST(SimProfiles, NamesAndPathsAreResolved) {
  const std::vector<std::string> dirs = {"/nonexistent-folder", shippedProfileDir()};
  for (const std::string& name : vxBuiltinSimProfiles())
    EXPECT_EQ(vxResolveSimProfile(name, dirs), shippedProfileDir() + "/" + name + ".json");
  const std::string path = shippedProfileDir() + "/orbel-ux1600b.json";
  EXPECT_EQ(vxResolveSimProfile(path, {}), path);
  try {
    vxResolveSimProfile("no-such-camera", {"/nonexistent-folder"});
    FAIL() << "an unknown profile was resolved";
  } catch (const vx_SimProfile::Error& e) {
    EXPECT_NE(e.message().find("\"no-such-camera\""), std::string::npos) << e.message();
    EXPECT_NE(e.message().find("/nonexistent-folder"), std::string::npos) << e.message();
  }
  EXPECT_THROW(vxResolveSimProfile("/nonexistent-folder/x.json", dirs), vx_SimProfile::Error);
}

TEST(SimProfiles, MalformedProfilesAreRefusedNamingFileAndProblem) {
  // The base text itself is fine, and so is a strobe on IIDC 1.31.
  EXPECT_EQ(refusal(withExtra("")), "");
  EXPECT_EQ(refusal(withExtra(R"(, "strobe": {"lines": [0]})")), "");

  struct Case {
    std::string text;
    std::string expected;  // a piece of the message
  };
  const Case cases[] = {
      {"{\"vendor\": \"V\",", "not valid JSON"},
      {"{\"vendor\": 31E5000004}", "not valid JSON"},  // beyond a double's range
      {"[1, 2]", "must be an object"},
      {R"({"vendor": "V", "model": "M", "iidcVersion": "1.31", "formats": []})",
       "missing field \"guid\""},
      {withExtra(R"(, "colour": true)"), "colour: unknown field"},
      {withExtra(R"(, "commandRegsBase": "F0F0000G")"), "not a 32-bit hexadecimal address"},
      {withExtra(R"(, "commandRegsBase": "0xF0010002")"), "cannot hold the command registers"},
      {withExtra(R"(, "commandRegsBase": "0xF0000400")"), "cannot hold the command registers"},
      {withExtra(R"(, "commandRegsBase": "0xF0F20000")"), "cannot hold the command registers"},
      {withExtra(R"(, "commandRegsBase": "0xFFFFFFF0")"), "cannot hold the command registers"},
      {R"({"vendor": "V", "model": "M", "guid": "0x12", "iidcVersion": "1.31", "formats": []})",
       "vendor id"},
      {R"({"vendor": "V", "model": "M", "guid": "12G4", "iidcVersion": "1.31", "formats": []})",
       "not a 64-bit hexadecimal number"},
      {R"({"vendor": "V", "model": "M", "guid": "0x0012340000000001", "iidcVersion": "2.0", "formats": []})",
       "iidcVersion"},
      {R"({"vendor": "V", "model": "M", "guid": "0x0012340000000001", "iidcVersion": "1.31", "formats": []})",
       "no video mode"},
      {R"({"vendor": "V", "model": "M", "guid": "0x0012340000000001", "iidcVersion": "1.31",
           "formats": [{"format": 0, "mode": 7, "rates": [4]}]})",
       "Format_0 has no mode 7"},
      {R"({"vendor": "V", "model": "M", "guid": "0x0012340000000001", "iidcVersion": "1.31",
           "formats": [{"format": 0, "mode": 5, "rates": [9]}]})",
       "formats[0].rates[0]: 9 is out of range"},
      {withExtra(R"(, "features": {"gain": {"min": 10, "max": 5, "capabilities": []}})"),
       "features.gain: min 10 is greater than max 5"},
      {withExtra(R"(, "features": {"gain": {"min": 0, "max": 5000, "capabilities": []}})"),
       "features.gain.max"},
      {withExtra(R"(, "features": {"gian": {"min": 0, "max": 5, "capabilities": []}})"),
       "not a feature name"},
      {withExtra(R"(, "features": {"gain": {"min": 0, "max": 5, "capabilities": ["fast"]}})"),
       "\"fast\" is not a feature capability"},
      {withExtra(
           R"(, "features": {"gain": {"min": 0, "max": 5, "capabilities": [], "absolute": {"min": 2, "max": 1}}})"),
       "min must be less than max"},
      {withExtra(R"(, "trigger": {"modes": [7]})"), "trigger mode 7 does not exist"},
      {withExtra(R"(, "strobe": {"lines": [4]})"), "strobe.lines[0]"},
      {withExtra(
           R"(, "format7": [{"mode": 0, "maxSize": [100, 100], "unitSize": [8, 2], "codings": ["Mono8"]}])"),
       "multiple of unitSize"},
      {withExtra(
           R"(, "format7": [{"mode": 0, "maxSize": [64, 64], "unitSize": [8, 2], "codings": ["Grey"]}])"),
       "\"Grey\" is not a colour coding"},
      {withExtra(R"(, "default": {"format": 0, "mode": 5, "rate": 3})"), "does not offer"},
      {withExtra(R"(, "valueSetting": true)"), "VALUE_SETTING needs Format_7"},
      {R"({"vendor": "V", "model": "M", "guid": "0x0012340000000001", "iidcVersion": "1.30",
           "formats": [{"format": 0, "mode": 5, "rates": [4]}], "strobe": {"lines": [0]}})",
       "strobe outputs need IIDC 1.31"},
  };
  for (const Case& c : cases) {
    const std::string message = refusal(c.text, "/profiles/broken-camera.json");
    EXPECT_NE(message.find("/profiles/broken-camera.json"), std::string::npos)
        << c.text << " -> " << message;
    EXPECT_NE(message.find(c.expected), std::string::npos) << c.text << " -> " << message;
  }
}

TEST(SimProfiles, UnreadableFileIsNamed) {
  const std::string path =
      (std::filesystem::temp_directory_path() / "pralix-profile-test-missing.json").string();
  std::filesystem::remove(path);
  try {
    vxLoadSimProfile(path);
    FAIL();
  } catch (const vx_SimProfile::Error& e) {
    EXPECT_NE(e.message().find(path), std::string::npos);
  }
}
