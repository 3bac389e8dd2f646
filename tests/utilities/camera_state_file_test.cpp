// The camera state file: its JSON form, the files it refuses, and the comparison of two states.
#include <gtest/gtest.h>

#include <string>

#include "utilities/camera_state.h"

namespace {

vxCameraState sample() {
  vxCameraState state;
  state.vendor = "Korvane";
  state.model = "KV-640M";
  state.guid = 0x00A0C0FFEE000001ull;
  state.registers = {{"CURRENT_VIDEO_MODE", 0xF0F00604u, true, 0x40000000u, ""},
                     {"ISO_CHANNEL/ISO_SPEED", 0xF0F0060Cu, true, 0x02000000u, ""},
                     {"PIO_OUTPUT", 0xF0F10000u, false, 0, "Read failed: no answer"}};
  return state;
}

// The message the parser gives for the text, or "" when it is accepted.
std::string refusal(const std::string& text) {
  try {
    vxCameraStateFromJson(text);
  } catch (const vxCameraStateError& e) {
    return e.what();
  }
  return "";
}

TEST(CameraStateFile, RoundTripKeepsIdentityValuesAndFailedReads) {
  const vxCameraState state = sample();
  const vxCameraState back = vxCameraStateFromJson(vxCameraStateToJson(state));
  EXPECT_EQ(back.vendor, "Korvane");
  EXPECT_EQ(back.model, "KV-640M");
  EXPECT_EQ(back.guid, 0x00A0C0FFEE000001ull);
  ASSERT_EQ(back.registers.size(), 3u);
  EXPECT_EQ(back.registers[1].name, "ISO_CHANNEL/ISO_SPEED");
  EXPECT_EQ(back.registers[1].address, 0xF0F0060Cu);
  EXPECT_EQ(back.registers[1].value, 0x02000000u);
  EXPECT_FALSE(back.registers[2].readOk);
  EXPECT_EQ(back.registers[2].error, "Read failed: no answer");
  EXPECT_TRUE(vxDiffCameraStates(state, back).empty());
}

TEST(CameraStateFile, BadFilesAreRefusedWithAMessage) {
  EXPECT_NE(refusal("this is not json").find("Not a JSON file"), std::string::npos);
  EXPECT_NE(refusal(R"({"schema":"something-else","version":1})").find("Not a camera state file"),
            std::string::npos);
  EXPECT_NE(refusal(R"({"schema":"pralix-camera-state","version":7})").find("Unsupported camera state version 7"),
            std::string::npos);
  EXPECT_NE(refusal(R"({"schema":"pralix-camera-state","version":1,"registers":[]})").find("model"),
            std::string::npos);
  const std::string head = R"({"schema":"pralix-camera-state","version":1,"camera":{"model":"M"},"registers":)";
  EXPECT_NE(refusal(head + R"([{"name":"A","address":"0xF0F00604","value":"0x1G"}]})").find("value of register A"),
            std::string::npos);
  EXPECT_NE(refusal(head + R"([{"name":"A","address":"0xF0F00604"}]})").find("neither a value nor an error"),
            std::string::npos);
  EXPECT_NE(refusal(head + R"([{"name":"A","address":"0xF0F00604","value":"0x1"},)"
                           R"({"name":"B","address":"0xF0F00604","value":"0x2"}]})")
                .find("listed twice"),
            std::string::npos);
  EXPECT_EQ(refusal(head + R"([{"name":"A","address":"0xF0F00604","value":"0x1"}]})"), "");
}

TEST(CameraStateFile, DiffListsChangedUnreadableAndMissingRegisters) {
  const vxCameraState before = sample();
  vxCameraState after = sample();
  after.registers[0].value = 0x20000000u;
  after.registers[2] = {"PIO_OUTPUT", 0xF0F10000u, true, 0x5u, ""};
  after.registers.push_back({"EXTRA", 0xF0F00700u, true, 1, ""});
  const auto diff = vxDiffCameraStates(before, after);
  ASSERT_EQ(diff.size(), 3u);
  EXPECT_EQ(vxDifferenceLine(diff[0]), "CURRENT_VIDEO_MODE (0xF0F00604): 0x40000000 -> 0x20000000");
  EXPECT_EQ(vxDifferenceLine(diff[1]), "PIO_OUTPUT (0xF0F10000): unreadable -> 0x00000005");
  EXPECT_EQ(vxDifferenceLine(diff[2]), "EXTRA (0xF0F00700): unreadable -> 0x00000001");
}

}  // namespace
