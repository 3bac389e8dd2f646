// The simulated IIDC camera: its registers per profile and the behaviour behind them.
#include <gtest/gtest.h>

#include <bit>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "base/time_stamp.h"
#include "modules/qrvnvdcam/sim/iidc_registers.h"
#include "sim_test_util.h"

namespace {

constexpr uint32_t kCmd = 0xF0F00000u;

uint32_t offsetTarget(vx_SimCamera& camera, uint32_t inquiry) {
  return readOk(camera, inquiry) * 4 + 0xF0000000u;
}
float asFloat(uint32_t bits) {
  return std::bit_cast<float>(bits);
}
uint32_t floatBits(float f) {
  return std::bit_cast<uint32_t>(f);
}

bool readFails(vx_SimCamera& camera, uint32_t address, std::string* error = nullptr) {
  uint32_t value = 0;
  return !camera.readQuadlet(address, value, error);
}

}  // namespace

// Each profile's register image. Which features and modes a camera offers
// is checked against the profiles by the feature and report tests; here the
// functions, blocks and values those do not read.
namespace {
// Why a small profile with the extra fields is refused, or "" when it is taken.
std::string profileRefusal(const std::string& extra) {
  const std::string text =
      R"({"vendor": "V", "model": "M", "guid": "0x0012340000000001", "iidcVersion": "1.31",
          "formats": [{"format": 0, "mode": 5, "rates": [4]}])" +
      extra + "}";
  try {
    vxParseSimProfile(text, "faults.json");
  } catch (const vx_SimProfile::Error& e) {
    return e.message();
  }
  return "";
}
}  // namespace

TEST(SimCameraRegisters, VgaMonoCameraHasFormat0AndNothingOptional) {
  vx_SimCamera camera(shippedProfile("korvane-kv640m"));
  EXPECT_EQ(readOk(camera, 0x100), 0x80000000u);  // V_FORMAT_INQ: Format_0 only
  EXPECT_EQ(readOk(camera, 0x200), 0u);           // mode 0 not offered
  EXPECT_EQ(readOk(camera, 0x19C), 0u);           // V_MODE_INQ_7
  EXPECT_EQ(readOk(camera, 0x2E0), 0u);           // no Format_7 CSR
  EXPECT_TRUE(readFails(camera, vx_Iidc::kFormat7BlockBase));
  const uint32_t basic = readOk(camera, 0x400);
  EXPECT_TRUE(basic & 0x40000000u);   // VMODE_ERROR_STATUS present
  EXPECT_FALSE(basic & 0x30000000u);  // no feature error status, no optional functions
  for (uint32_t optional : {0x40Cu, 0x484u, 0x48Cu}) EXPECT_EQ(readOk(camera, optional), 0u) << std::hex << optional;
  EXPECT_TRUE(readFails(camera, 0x640));  // IIDC 1.30 has no feature error status register
  for (uint32_t n = 0; n < 16; ++n) EXPECT_EQ(readOk(camera, 0x700 + 4 * n), 0u) << n;
  EXPECT_EQ(readOk(camera, 0x81C) & 0xFFFu, 400u);
  // An absent feature answers with its presence bit clear.
  EXPECT_EQ(readOk(camera, 0x80C), 0u);
}

TEST(SimCameraRegisters, Format7CameraHasItsBlocksPioAndStrobes) {
  vx_SimCamera camera(shippedProfile("tessaly-f7flex"));
  EXPECT_EQ(readOk(camera, 0x100), 0x81000000u);
  EXPECT_EQ(readOk(camera, 0x19C), 0xC0000000u);  // Format_7 modes 0 and 1
  EXPECT_EQ(readOk(camera, 0x608) >> 29, 7u);     // powers on in Format_7
  const uint32_t block = offsetTarget(camera, 0x2E0);
  EXPECT_EQ(readOk(camera, block + 0x00), 1280u << 16 | 1024u);
  EXPECT_EQ(readOk(camera, block + 0x04), 8u << 16 | 2u);
  EXPECT_EQ(readOk(camera, block + 0x0C), 1280u << 16 | 1024u);
  EXPECT_EQ(readOk(camera, block + 0x14), 0x84600000u);  // Mono8, Mono16, Raw8, Raw16
  EXPECT_EQ(readOk(camera, block + 0x4C), 4u << 16 | 2u);
  EXPECT_EQ(readOk(camera, block + 0x7C), 0u);  // no VALUE_SETTING
  EXPECT_EQ(readOk(camera, 0x2E8), 0u);         // mode 2 absent

  EXPECT_EQ(readOk(camera, 0x40C), 0x50000000u);  // PIO and strobe
  const uint32_t pio = offsetTarget(camera, 0x484);
  writeOk(camera, pio, 0xFFFFFFFFu);
  EXPECT_EQ(readOk(camera, pio), 0xF0000000u);  // four outputs
  const uint32_t strobe = offsetTarget(camera, 0x48C);
  EXPECT_EQ(readOk(camera, strobe), 0xA0000000u);  // strobes 0 and 2
  EXPECT_TRUE(readOk(camera, strobe + 0x100) & 0x80000000u);
  EXPECT_EQ(readOk(camera, strobe + 0x104), 0u);
  EXPECT_TRUE(readOk(camera, strobe + 0x108) & 0x80000000u);
  writeOk(camera, strobe + 0x208, 0x82010020u);  // on, delay 16, duration 32
  EXPECT_EQ(readOk(camera, strobe + 0x208), 0x82010020u);

  // TRIGGER_INQ: presence, source 0, software trigger, modes 0, 1 and 3.
  const uint32_t trigger = readOk(camera, 0x530);
  EXPECT_EQ(trigger & 0x80800000u, 0x80800000u);
  EXPECT_EQ(trigger & 0x0001FFFFu, 0x00010000u | 0x8000u | 0x4000u | 0x1000u);
}

TEST(SimCameraRegisters, UxgaCameraOffersEverything) {
  vx_SimCamera camera(shippedProfile("orbel-ux1600b"));
  EXPECT_EQ(readOk(camera, 0x100), 0xE1000000u);
  const uint32_t basic = readOk(camera, 0x400);
  EXPECT_TRUE(basic & 0x00800000u);  // 1394b
  EXPECT_TRUE(basic & 0x00008000u);  // camera power control
  EXPECT_EQ(basic & 0xFu, 2u);       // memory channels
  EXPECT_EQ(readOk(camera, 0x80C) & 0xFFFFFFu, 512u << 12 | 640u);  // white balance U/B, V/R
  EXPECT_EQ(readOk(camera, 0x838) & 0xFFFFFFu, 0x808080u);          // white shading R, G, B
  const uint32_t block = offsetTarget(camera, 0x2E0);
  EXPECT_EQ(readOk(camera, block + 0x7C), 0x80000000u);  // VALUE_SETTING present
  EXPECT_EQ(readOk(camera, 0x630) >> 24, 8u);            // DATA_DEPTH of 1600x1200 Mono
}

TEST(SimCameraAddressing, BothAddressFormsAndUnansweredAddresses) {
  vx_SimCamera camera(shippedProfile("tessaly-f7flex"));
  EXPECT_EQ(readOk(camera, 0x100), readOk(camera, kCmd + 0x100));
  writeOk(camera, 0x800, 0x82000123u);
  EXPECT_EQ(readOk(camera, kCmd + 0x800) & 0xFFFu, 0x123u);

  std::string error;
  for (uint32_t address : {0xF0000000u, 0xF0F00102u, 0xF0F00540u, 0xF0F00FFCu, 0xF0F20200u,
                           0x0F100000u, 0xFFFFFFFCu}) {
    EXPECT_TRUE(readFails(camera, address, &error)) << std::hex << address;
    EXPECT_FALSE(camera.writeQuadlet(address, 0, &error)) << std::hex << address;
  }
  EXPECT_TRUE(readFails(camera, 0xF0F00540u, &error));
  EXPECT_NE(error.find("F0F00540"), std::string::npos) << error;
}

TEST(SimCameraBehaviour, ReadOnlyRegistersKeepTheirValue) {
  vx_SimCamera camera(shippedProfile("tessaly-f7flex"));
  const uint32_t block = offsetTarget(camera, 0x2E0);
  // (The configuration ROM refuses writes outright: see SimCameraCommandBase.)
  for (uint32_t address : {kCmd + 0x100, kCmd + 0x400, kCmd + 0x404, kCmd + 0x51C, kCmd + 0x628,
                           kCmd + 0x2E0, block + 0x00, block + 0x34}) {
    const uint32_t before = readOk(camera, address);
    writeOk(camera, address, ~before);
    EXPECT_EQ(readOk(camera, address), before) << std::hex << address;
  }
  // The presence bit of a feature cannot be written away.
  writeOk(camera, 0x800, 0x00000010u);
  EXPECT_EQ(readOk(camera, 0x800) & 0x80000FFFu, 0x80000010u);
}

TEST(SimCameraBehaviour, InitializeRestoresPowerOnValues) {
  vx_SimCamera camera(shippedProfile("tessaly-f7flex"));
  const uint32_t block = offsetTarget(camera, 0x2E0);
  const uint32_t brightness = readOk(camera, 0x800);
  const uint32_t bytes = readOk(camera, block + 0x3C);
  writeOk(camera, 0x800, 0x820003FFu);
  writeOk(camera, 0x614, 0x80000000u);
  writeOk(camera, block + 0x0C, 640u << 16 | 480u);
  writeOk(camera, 0x000, 0x00000000u);  // without the Initialize bit nothing happens
  EXPECT_EQ(readOk(camera, 0x800), 0x820003FFu);

  writeOk(camera, 0x000, 0x80000000u);
  EXPECT_EQ(readOk(camera, 0x000), 0u);
  EXPECT_EQ(readOk(camera, 0x800), brightness);
  EXPECT_EQ(readOk(camera, 0x614), 0u);
  EXPECT_EQ(readOk(camera, block + 0x0C), 1280u << 16 | 1024u);
  EXPECT_EQ(readOk(camera, block + 0x3C), bytes);
}

TEST(SimCameraBehaviour, FeatureControlStoresValueBitsAndFlagsBadValues) {
  vx_SimCamera camera(shippedProfile("tessaly-f7flex"));
  const uint32_t gamma = kCmd + 0x800 + 4 * kSimGamma;  // range 512..4095
  writeOk(camera, gamma, 0x02000005u);
  EXPECT_EQ(readOk(camera, gamma) & 0xFFFu, 5u);
  EXPECT_TRUE(readOk(camera, 0x640) & (0x80000000u >> kSimGamma));
  writeOk(camera, gamma, 0x02000400u);
  EXPECT_EQ(readOk(camera, gamma) & 0xFFFu, 0x400u);
  EXPECT_FALSE(readOk(camera, 0x640) & (0x80000000u >> kSimGamma));

  // One push is served at once; the auto bit stays as written.
  const uint32_t exposure = kCmd + 0x800 + 4 * kSimAutoExposure;
  writeOk(camera, exposure, 0x07000100u);
  EXPECT_EQ(readOk(camera, exposure), 0x83000100u);

  // Trigger: a mode the camera lacks is stored but flagged.
  const uint32_t trigger = kCmd + 0x830;
  writeOk(camera, trigger, 0x02030000u | 7u << 21);  // on, software source, mode 3
  EXPECT_EQ(readOk(camera, trigger) & 0x02EF0000u, 0x02030000u | 7u << 21);
  EXPECT_FALSE(readOk(camera, 0x640) & (0x80000000u >> kSimTrigger));
  writeOk(camera, trigger, 0x02020000u);
  EXPECT_TRUE(readOk(camera, 0x640) & (0x80000000u >> kSimTrigger));
}

TEST(SimCameraBehaviour, VideoModeErrorFollowsTheCombination) {
  vx_SimCamera camera(shippedProfile("tessaly-f7flex"));
  auto set = [&](uint32_t format, uint32_t mode, uint32_t rate) {
    writeOk(camera, 0x608, format << 29);
    writeOk(camera, 0x604, mode << 29);
    writeOk(camera, 0x600, rate << 29);
    return readOk(camera, 0x628);
  };
  EXPECT_EQ(set(0, 5, 4), 0u);
  EXPECT_EQ(camera.videoSetting().width, 640u);
  EXPECT_EQ(set(0, 5, 5), 0x80000000u);
  EXPECT_EQ(readOk(camera, 0x600) >> 29, 5u);  // the register holds what was written
  EXPECT_FALSE(camera.videoSetting().valid);
  EXPECT_EQ(set(0, 5, 2), 0u);
  EXPECT_EQ(set(1, 5, 2), 0x80000000u);
  EXPECT_EQ(set(7, 1, 0), 0u);  // Format_7 ignores the rate
  EXPECT_EQ(camera.videoSetting().width, 640u);
  EXPECT_EQ(camera.videoSetting().height, 512u);
  EXPECT_EQ(set(7, 2, 0), 0x80000000u);
}

TEST(SimCameraBehaviour, Format7WritesRecomputeSizesAndPackets) {
  vx_SimCamera camera(shippedProfile("tessaly-f7flex"));
  const uint32_t block = offsetTarget(camera, 0x2E0);
  writeOk(camera, block + 0x10, 5u << 24);  // Mono16
  writeOk(camera, block + 0x0C, 640u << 16 | 480u);
  writeOk(camera, block + 0x08, 8u << 16 | 2u);
  EXPECT_EQ(readOk(camera, block + 0x34), 640u * 480u);
  EXPECT_EQ(readOk(camera, block + 0x38), 0u);
  EXPECT_EQ(readOk(camera, block + 0x3C), 640u * 480u * 2u);
  EXPECT_EQ(readOk(camera, block + 0x40), 4u << 16 | 4096u);  // S400
  const uint32_t recommended = readOk(camera, block + 0x44) & 0xFFFF;
  EXPECT_EQ(recommended % 4, 0u);
  EXPECT_GT(recommended, 0u);
  EXPECT_LE(recommended, 4096u);
  writeOk(camera, block + 0x44, 2048u << 16);
  EXPECT_EQ(readOk(camera, block + 0x44) >> 16, 2048u);
  EXPECT_EQ(readOk(camera, block + 0x48), 300u);  // 614400 / 2048
  EXPECT_EQ(readOk(camera, 0x630) >> 24, 16u);
  const vx_SimVideoSetting setting = camera.videoSetting();
  EXPECT_EQ(setting.left, 8u);
  EXPECT_EQ(setting.coding, vxPixelCoding::Mono16);
  EXPECT_EQ(setting.packetsPerFrame, 300u);

  // A smaller image gets a smaller recommendation; the figures follow.
  writeOk(camera, block + 0x0C, 64u << 16 | 64u);
  EXPECT_LT(readOk(camera, block + 0x44) & 0xFFFF, recommended);
  EXPECT_EQ(readOk(camera, block + 0x48), 4u);  // 8192 / 2048

  // Slower speed, smaller packets.
  writeOk(camera, 0x60C, 0x01000000u);  // S200
  EXPECT_EQ(readOk(camera, block + 0x40) & 0xFFFF, 2048u);

  // A size that breaks the unit rules leaves the figures as they were.
  writeOk(camera, block + 0x0C, 642u << 16 | 480u);
  EXPECT_EQ(readOk(camera, block + 0x34), 64u * 64u);
  writeOk(camera, block + 0x0C, 1280u << 16 | 1024u);  // too big at position 8,2
  EXPECT_EQ(readOk(camera, block + 0x34), 64u * 64u);
}

TEST(SimCameraBehaviour, ValueSettingReportsBadSettings) {
  vx_SimCamera camera(shippedProfile("orbel-ux1600b"));
  const uint32_t block = offsetTarget(camera, 0x2E0);
  writeOk(camera, block + 0x0C, 100u << 16 | 64u);  // width not a multiple of 16
  writeOk(camera, block + 0x7C, 0x40000000u);
  EXPECT_EQ(readOk(camera, block + 0x7C), 0x80800000u);
  writeOk(camera, block + 0x0C, 96u << 16 | 64u);
  writeOk(camera, block + 0x44, 6u << 16);  // not a multiple of the unit
  EXPECT_EQ(readOk(camera, block + 0x7C), 0x80400000u);
  writeOk(camera, block + 0x44, 1024u << 16);
  EXPECT_EQ(readOk(camera, block + 0x7C), 0x80000000u);
  EXPECT_EQ(readOk(camera, block + 0x40) & 0xFFFF, 4096u);
  writeOk(camera, 0x60C, 0x00008003u);  // 1394b operation at S800
  EXPECT_EQ(readOk(camera, block + 0x40) & 0xFFFF, 8192u);
}

TEST(SimCameraBehaviour, AbsoluteAndRawValuesStayCoupled) {
  vx_SimCamera camera(shippedProfile("tessaly-f7flex"));  // shutter raw 1..4095 = 0.00002..0.5 s
  const uint32_t abs = offsetTarget(camera, 0x700 + 4 * kSimShutter);
  const uint32_t control = kCmd + 0x800 + 4 * kSimShutter;
  EXPECT_FLOAT_EQ(asFloat(readOk(camera, abs + 0)), 0.00002f);
  EXPECT_FLOAT_EQ(asFloat(readOk(camera, abs + 4)), 0.5f);

  writeOk(camera, control, 0x82000000u | 4095u);
  EXPECT_FLOAT_EQ(asFloat(readOk(camera, abs + 8)), 0.5f);
  writeOk(camera, control, 0x82000000u | 1u);
  EXPECT_FLOAT_EQ(asFloat(readOk(camera, abs + 8)), 0.00002f);

  writeOk(camera, abs + 8, floatBits(0.25f));
  const uint32_t raw = readOk(camera, control) & 0xFFF;
  EXPECT_NEAR(raw, 2048.0, 1.0);
  EXPECT_EQ(camera.featureValue(kSimShutter), raw);
  const float step = (0.5f - 0.00002f) / 4094.0f;
  EXPECT_NEAR(asFloat(readOk(camera, abs + 8)), 0.25f, step);

  writeOk(camera, abs + 8, floatBits(7.0f));  // beyond the range: clamped
  EXPECT_EQ(readOk(camera, control) & 0xFFF, 4095u);
  EXPECT_FLOAT_EQ(asFloat(readOk(camera, abs + 8)), 0.5f);
  writeOk(camera, abs + 8, floatBits(std::nanf("")));  // not a number: ignored
  EXPECT_FLOAT_EQ(asFloat(readOk(camera, abs + 8)), 0.5f);
  writeOk(camera, abs + 0, floatBits(1.0f));  // MIN is read-only
  EXPECT_FLOAT_EQ(asFloat(readOk(camera, abs + 0)), 0.00002f);

  const uint32_t gainAbs = offsetTarget(camera, 0x700 + 4 * kSimGain);  // 0..720 = 0..24 dB
  writeOk(camera, kCmd + 0x800 + 4 * kSimGain, 0x82000000u | 360u);
  EXPECT_FLOAT_EQ(asFloat(readOk(camera, gainAbs + 8)), 12.0f);
}

TEST(SimCameraFaults, ChosenAddressesFailUntilCleared) {
  vx_SimCamera camera(shippedProfile("korvane-kv640m"));
  camera.setReadFault(0x800, true);  // an offset names the same register
  std::string error;
  EXPECT_TRUE(readFails(camera, kCmd + 0x800, &error));
  EXPECT_NE(error.find("F0F00800"), std::string::npos) << error;
  writeOk(camera, 0x800, 0x82000020u);  // writes still go through
  camera.setWriteFault(kCmd + 0x81C, true);
  EXPECT_FALSE(camera.writeQuadlet(0x81C, 0x82000010u, &error));
  EXPECT_EQ(readOk(camera, 0x81C) & 0xFFFu, 400u);
  camera.setReadFault(kCmd + 0x800, false);
  EXPECT_EQ(readOk(camera, 0x800) & 0xFFFu, 0x20u);
  camera.clearFaults();
  writeOk(camera, 0x81C, 0x82000010u);
}

TEST(SimCameraFaults, ProfileRangesFailFromPowerOnAndOnlyThere) {
  vx_SimProfile profile = shippedProfile("korvane-kv640m");
  profile.readFaults = {{0x800, 0x81C}, {0xF0000424, 0xF0000424}};
  profile.writeFaults = {{0x820, 0x820}};
  vx_SimCamera camera(profile);
  for (uint32_t offset = 0x800; offset <= 0x81C; offset += 4)
    EXPECT_TRUE(readFails(camera, kCmd + offset)) << offset;
  EXPECT_TRUE(readFails(camera, 0xF0000424));
  readOk(camera, 0x51C);
  readOk(camera, 0x820);
  readOk(camera, 0xF0000420);
  std::string error;
  EXPECT_FALSE(camera.writeQuadlet(0x820, 0x82000010u, &error));
  writeOk(camera, 0x800, 0x82000020u);  // the read faults leave writes alone

  EXPECT_NE(profileRefusal(R"(, "faults": {"read": ["81C-800"]})").find("ends before it starts"),
            std::string::npos);
  EXPECT_NE(profileRefusal(R"(, "faults": {"read": ["802"]})").find("not a quadlet address"),
            std::string::npos);
  EXPECT_NE(profileRefusal(R"(, "faults": {"read": "800"})").find("faults.read"),
            std::string::npos);
  EXPECT_NE(profileRefusal(R"(, "faults": {"erase": []})").find("unknown field"),
            std::string::npos);
  EXPECT_EQ(profileRefusal(R"(, "faults": {"read": ["0x800-0x81C", "F0000424"], "write": []})"),
            "");
}

TEST(SimCameraFaults, IgnoredWritesAndValueCeilings) {
  vx_SimCamera camera(shippedProfile("tessaly-f7flex"));
  const uint32_t shutter = kCmd + 0x800 + 4 * kSimShutter;
  const uint32_t gain = kCmd + 0x800 + 4 * kSimGain;  // raw 0..720, absolute 0..24 dB
  const uint32_t shutterBefore = readOk(camera, shutter);
  camera.setIgnoredWrite(0x800 + 4 * kSimShutter, true);
  writeOk(camera, shutter, 0x82000000u | 77u);  // acknowledged, not kept
  EXPECT_EQ(readOk(camera, shutter), shutterBefore);
  camera.setIgnoredWrite(shutter, false);
  writeOk(camera, shutter, 0x82000000u | 77u);
  EXPECT_EQ(readOk(camera, shutter) & 0xFFF, 77u);

  camera.setValueCeiling(gain, 200);
  writeOk(camera, gain, 0x82000000u | 150u);
  EXPECT_EQ(readOk(camera, gain) & 0xFFF, 150u);
  writeOk(camera, gain, 0x82000000u | 360u);
  EXPECT_EQ(readOk(camera, gain), 0x82000000u | 200u);  // the other bits as written
  // The absolute value lands on the ceiling too and reads back what the camera does.
  const uint32_t gainAbs = offsetTarget(camera, 0x700 + 4 * kSimGain);
  writeOk(camera, gainAbs + 8, floatBits(20.0f));
  EXPECT_EQ(readOk(camera, gain) & 0xFFF, 200u);
  EXPECT_NEAR(asFloat(readOk(camera, gainAbs + 8)), 200.0f / 720.0f * 24.0f, 1e-4);
  camera.setValueCeiling(shutter - 0x800 + 0x830, 1);  // the trigger has no value field: ignored
  camera.clearFaults();
  writeOk(camera, gain, 0x82000000u | 360u);
  EXPECT_EQ(readOk(camera, gain) & 0xFFF, 360u);

  vx_SimProfile profile = shippedProfile("tessaly-f7flex");
  profile.ignoredWrites = {{0x81C, 0x820}};
  profile.valueCeilings = {{kSimBrightness, 10}};
  vx_SimCamera fromProfile(profile);
  writeOk(fromProfile, gain, 0x82000000u | 360u);
  EXPECT_NE(readOk(fromProfile, gain) & 0xFFF, 360u);
  writeOk(fromProfile, kCmd + 0x800, 0x82000000u | 50u);
  EXPECT_EQ(readOk(fromProfile, kCmd + 0x800) & 0xFFF, 10u);

  EXPECT_EQ(profileRefusal(R"(, "faults": {"ignoredWrites": ["81C"], "ceilings": {"gain": 200},
                                           "triggerLine": true, "droppedFrames": 0.25,
                                           "incompleteFrames": 0})"),
            "");
  EXPECT_NE(profileRefusal(R"(, "faults": {"ceilings": {"trigger": 1}})").find("faults.ceilings.trigger"),
            std::string::npos);
  EXPECT_NE(profileRefusal(R"(, "faults": {"ceilings": {"gain": 5000}})").find("faults.ceilings.gain"),
            std::string::npos);
  EXPECT_NE(profileRefusal(R"(, "faults": {"droppedFrames": 1.5})").find("between 0 and 1"),
            std::string::npos);
  EXPECT_NE(profileRefusal(R"(, "faults": {"triggerLine": "yes"})").find("faults.triggerLine"),
            std::string::npos);
}

TEST(SimCameraFaults, LatencyAndTransactionCount) {
  vx_SimCamera camera(shippedProfile("korvane-kv640m"));
  EXPECT_EQ(camera.transactionCount(), 0u);
  readOk(camera, 0x100);
  writeOk(camera, 0x800, 0x82000001u);
  EXPECT_TRUE(readFails(camera, 0x540));  // failed ones count too
  camera.setReadFault(0x100, true);
  EXPECT_TRUE(readFails(camera, 0x100));
  EXPECT_EQ(camera.transactionCount(), 4u);
  camera.resetTransactionCount();
  EXPECT_EQ(camera.transactionCount(), 0u);

  camera.setLatency(std::chrono::milliseconds(2), std::chrono::milliseconds(4));
  vxStopwatch watch;
  for (int i = 0; i < 3; ++i) readOk(camera, 0x404);
  EXPECT_GE(watch.seconds(), 0.006);
  watch.restart();
  for (int i = 0; i < 3; ++i) writeOk(camera, 0x800, 0x82000001u);
  EXPECT_GE(watch.seconds(), 0.012);
}

TEST(SimCameraFaults, UnplugFailsTransactionsAndReplugPowersOn) {
  vx_SimCamera camera(shippedProfile("korvane-kv640m"));
  writeOk(camera, 0x800, 0x820000AAu);
  camera.setPlugged(false);
  EXPECT_FALSE(camera.isPlugged());
  std::string error;
  EXPECT_TRUE(readFails(camera, 0x800, &error));
  EXPECT_NE(error.find("unplugged"), std::string::npos) << error;
  EXPECT_FALSE(camera.writeQuadlet(0x800, 0, &error));
  camera.setPlugged(true);
  EXPECT_EQ(readOk(camera, 0x800) & 0xFFFu, 16u);
}

TEST(SimCameraShots, ShotRegistersReachTheHook) {
  vx_SimCamera camera(shippedProfile("tessaly-f7flex"));
  // Without image delivery a shot is served at once.
  writeOk(camera, 0x61C, 0x80000000u);
  EXPECT_EQ(readOk(camera, 0x61C), 0u);

  std::vector<std::pair<vx_SimShotControl, uint32_t>> seen;
  camera.addShotHook(
      [&](vx_SimShotControl control, uint32_t value) { seen.emplace_back(control, value); });
  writeOk(camera, 0x614, 0x80000000u);
  writeOk(camera, 0x61C, 0x40000005u);
  writeOk(camera, 0x62C, 0x80000000u);
  ASSERT_EQ(seen.size(), 3u);
  EXPECT_EQ(seen[0].first, vx_SimShotControl::IsoEnable);
  EXPECT_EQ(seen[1].first, vx_SimShotControl::MultiShot);
  EXPECT_EQ(seen[1].second & 0xFFFFu, 5u);
  EXPECT_EQ(seen[2].first, vx_SimShotControl::SoftwareTrigger);
  EXPECT_TRUE(camera.videoSetting().isoEnabled);
  EXPECT_EQ(readOk(camera, 0x62C), 0x80000000u);  // pending until served
  camera.finishShot();
  EXPECT_EQ(readOk(camera, 0x62C), 0u);
  EXPECT_EQ(readOk(camera, 0x61C) & 0xC0000000u, 0u);
  writeOk(camera, 0x000, 0x80000000u);  // INITIALIZE stops the stream
  ASSERT_EQ(seen.size(), 4u);
  EXPECT_EQ(seen[3], std::make_pair(vx_SimShotControl::IsoEnable, 0u));
}

TEST(SimCameraShots, EveryHookHearsEveryShotUntilRemoved) {
  vx_SimCamera camera(shippedProfile("tessaly-f7flex"));
  std::vector<int> heard;
  const auto first = camera.addShotHook([&](vx_SimShotControl, uint32_t) { heard.push_back(1); });
  const auto second = camera.addShotHook([&](vx_SimShotControl, uint32_t) { heard.push_back(2); });
  writeOk(camera, 0x61C, 0x80000000u);
  EXPECT_EQ(heard, (std::vector<int>{1, 2}));
  // A shot stays pending while anyone may deliver it.
  EXPECT_EQ(readOk(camera, 0x61C), 0x80000000u);
  camera.finishShot();

  camera.removeShotHook(first);
  heard.clear();
  writeOk(camera, 0x61C, 0x80000000u);
  EXPECT_EQ(heard, (std::vector<int>{2}));
  camera.finishShot();

  camera.removeShotHook(second);
  camera.removeShotHook(second);  // twice is harmless
  heard.clear();
  writeOk(camera, 0x61C, 0x80000000u);
  EXPECT_TRUE(heard.empty());
  EXPECT_EQ(readOk(camera, 0x61C), 0u) << "with nobody left a shot is served at once";
}

TEST(SimCameraShots, RemovalWaitsForAHookCallUnderWay) {
  vx_SimCamera camera(shippedProfile("tessaly-f7flex"));
  std::mutex mutex;
  std::condition_variable changed;
  bool inside = false, release = false, finished = false;
  const auto id = camera.addShotHook([&](vx_SimShotControl, uint32_t) {
    std::unique_lock lock(mutex);
    inside = true;
    changed.notify_all();
    changed.wait(lock, [&] { return release; });
    finished = true;
  });
  std::thread writer([&] { writeOk(camera, 0x614, 0x80000000u); });
  {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return inside; });
  }
  std::thread remover([&] {
    camera.removeShotHook(id);
    std::lock_guard lock(mutex);
    // The hook's owner may go now: its call has ended.
    EXPECT_TRUE(finished);
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  {
    std::lock_guard lock(mutex);
    release = true;
  }
  changed.notify_all();
  writer.join();
  remover.join();
}

// A camera whose unit-dependent directory puts its command registers at
// 0xF0010000 serves them there, and only there.
TEST(SimCameraCommandBase, RegistersAnswerAtTheProfilesBaseAndInitializeWorksThere) {
  const vx_SimProfile profile = shippedProfile("mirelle-mo320c");
  ASSERT_EQ(profile.commandRegsBase, 0xF0010000u);
  vx_SimCamera camera(profile);
  EXPECT_EQ(camera.identity().commandRegsBase, 0xF0010000u);
  EXPECT_EQ(readOk(camera, 0xF0010604), readOk(camera, 0x604));
  EXPECT_TRUE(readFails(camera, kCmd + 0x604));
  // The unit-dependent directory names the base: key 0x40, in quadlets from 0xF0000000.
  bool named = false;
  for (uint32_t q : camera.configRom()) named = named || q == 0x40004000u;
  EXPECT_TRUE(named);

  const uint32_t brightness = readOk(camera, 0x800);
  writeOk(camera, 0xF0010800, 0x82000011);
  EXPECT_EQ(readOk(camera, 0x800) & 0xFFF, 0x11u);
  writeOk(camera, 0xF0010000, vx_Iidc::kInitializeBit);
  EXPECT_EQ(readOk(camera, 0x800), brightness);
}

TEST(SimCameraCommandBase, TheConfigurationRomRefusesWrites) {
  vx_SimCamera camera(shippedProfile("korvane-kv640m"));
  const uint32_t busName = readOk(camera, 0xF0000404);
  std::string error;
  EXPECT_FALSE(camera.writeQuadlet(0xF0000404, 0, &error));
  EXPECT_NE(error.find("read-only configuration ROM"), std::string::npos) << error;
  EXPECT_FALSE(camera.writeQuadlet(0xF00007FC, 1));
  EXPECT_EQ(readOk(camera, 0xF0000404), busName);
  // The first quadlet past the ROM is no register at all.
  EXPECT_FALSE(camera.writeQuadlet(0xF0000800, 1, &error));
}
