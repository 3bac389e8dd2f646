// IIDC register helpers: support test, mode setting, Format_7 and strobe descriptors.
#include <gtest/gtest.h>

#include <bit>

#include "acquisition/dcam_registers.h"
#include "fake_camera.h"

TEST(DcamSupport, FormatModeAndRateBitsMustAllBeSet) {
  FakeCamera camera;
  EXPECT_TRUE(vxDcamIsSupported(camera, 0, 5, 4));
  EXPECT_TRUE(vxDcamIsSupported(camera, 0, 5, 2));
  EXPECT_FALSE(vxDcamIsSupported(camera, 0, 5, 5));  // rate bit clear
  EXPECT_FALSE(vxDcamIsSupported(camera, 0, 3, 4));  // mode bit clear
  EXPECT_FALSE(vxDcamIsSupported(camera, 1, 5, 4));  // format bit clear
  EXPECT_TRUE(vxDcamIsSupported(camera, 7, 0, 0));
  EXPECT_TRUE(vxDcamIsSupported(camera, 7, 0, 5));  // Format_7 has no rate table
  EXPECT_FALSE(vxDcamIsSupported(camera, 7, 1, 0));
  EXPECT_FALSE(vxDcamIsSupported(camera, 8, 0, 0));
  camera.failReads(0x214);  // V_RATE_INQ_0_5
  EXPECT_FALSE(vxDcamIsSupported(camera, 0, 5, 4));
}

TEST(DcamSupport, SettingAModeWritesTheTopBitsAndChecksTheErrorStatus) {
  FakeCamera camera;
  std::string error;
  ASSERT_TRUE(vxDcamSetVideoMode(camera, 0, 5, 3, &error)) << error;
  EXPECT_EQ(camera.peek(0x608), 0u << 29);
  EXPECT_EQ(camera.peek(0x604), 5u << 29);
  EXPECT_EQ(camera.peek(0x600), 3u << 29);

  EXPECT_FALSE(vxDcamSetVideoMode(camera, 0, 5, 6, &error));
  EXPECT_NE(error.find("refuses"), std::string::npos);

  camera.failWrites(0x604);
  error.clear();
  EXPECT_FALSE(vxDcamSetVideoMode(camera, 0, 5, 3, &error));
  EXPECT_NE(error.find("0x604"), std::string::npos);
}

TEST(DcamFormat7, DescriptorComesFromTheBlockTheInquiryNames) {
  FakeCamera camera;
  auto mode = vxDcamReadFormat7Mode(camera, 0);
  ASSERT_TRUE(mode);
  EXPECT_EQ(mode->csrOffset, fake::quadletOffset(fake::kF7Block));
  EXPECT_EQ(mode->baseAddress, fake::kF7Block);
  EXPECT_EQ(mode->maxWidth, 1280u);
  EXPECT_EQ(mode->maxHeight, 960u);
  EXPECT_EQ(mode->unitWidth, 4u);
  EXPECT_EQ(mode->unitHeight, 2u);
  EXPECT_EQ(mode->unitPosX, 2u);
  EXPECT_EQ(mode->width, 640u);
  EXPECT_EQ(mode->height, 480u);
  EXPECT_EQ(mode->pixelCount, 640u * 480u);
  EXPECT_EQ(mode->totalBytes, 640u * 480u);
  EXPECT_EQ(mode->unitBytesPerPacket, 8u);
  EXPECT_EQ(mode->maxBytesPerPacket, 4096u);
  EXPECT_EQ(mode->bytesPerPacket, 2048u);
  EXPECT_EQ(mode->recBytesPerPacket, 2048u);
  EXPECT_EQ(mode->packetsPerFrame, 150u);
  EXPECT_TRUE(mode->hasValueSetting());
  EXPECT_TRUE(mode->supportsColorCoding(0));
  EXPECT_TRUE(mode->supportsColorCoding(5));
  EXPECT_TRUE(mode->supportsColorCoding(9));
  EXPECT_FALSE(mode->supportsColorCoding(4));
  EXPECT_FALSE(mode->supportsColorCoding(40));
  EXPECT_FALSE(vxDcamReadFormat7Mode(camera, 1));  // mode not offered

  // A camera without position units steps positions by the size units.
  camera.poke(fake::kF7Block + 0x4C, 0);
  EXPECT_EQ(vxDcamReadFormat7Mode(camera, 0)->unitPosX, 4u);
  // An offset of 0x003C0000 puts the block at the command registers.
  camera.poke(0x2E0, 0x003C0000u);
  camera.poke(fake::kBase, (320u << 16) | 240u);
  auto low = vxDcamReadFormat7Mode(camera, 0);
  ASSERT_TRUE(low);
  EXPECT_EQ(low->baseAddress, 0xF0F00000u);
  EXPECT_EQ(low->maxWidth, 320u);
}

TEST(DcamFormat7, RegionWritesAndValueSettingReportRefusals) {
  FakeCamera camera;
  auto mode = *vxDcamReadFormat7Mode(camera, 0);
  std::string error;
  ASSERT_TRUE(vxDcamWriteFormat7Region(camera, mode, 8, 4, 320, 200, &error));
  ASSERT_TRUE(vxDcamWriteFormat7Coding(camera, mode, 9, &error));
  ASSERT_TRUE(vxDcamLatchFormat7(camera, mode, &error)) << error;
  EXPECT_EQ(camera.peek(fake::kF7Block + 0x08), (8u << 16) | 4u);
  EXPECT_EQ(camera.peek(fake::kF7Block + 0x0C), (320u << 16) | 200u);
  EXPECT_EQ(camera.peek(fake::kF7Block + 0x10), 9u << 24);
  ASSERT_TRUE(vxDcamWriteBytesPerPacket(camera, mode, 1024, &error));
  EXPECT_EQ(camera.peek(fake::kF7Block + 0x44) >> 16, 1024u);

  ASSERT_TRUE(vxDcamWriteFormat7Region(camera, mode, 1000, 0, 640, 480, &error));
  EXPECT_FALSE(vxDcamLatchFormat7(camera, mode, &error));
  EXPECT_NE(error.find("refuses"), std::string::npos);
}

TEST(DcamStrobe, OnlyLinesTheControlInquiryNamesArePresent) {
  FakeCamera camera;
  auto info = vxDcamReadStrobeInfo(camera);
  ASSERT_TRUE(info);
  EXPECT_EQ(info->baseAddress, fake::kStrobeBlock);
  EXPECT_EQ(info->control, 0xA0000000u);
  EXPECT_TRUE(info->isPresent(0));
  EXPECT_FALSE(info->isPresent(1));
  EXPECT_TRUE(info->isPresent(2));
  EXPECT_FALSE(info->isPresent(3));
  EXPECT_FALSE(info->isPresent(4));
  const auto& l0 = info->lines[0];
  EXPECT_TRUE(l0.readOut);
  EXPECT_TRUE(l0.onOff);
  EXPECT_TRUE(l0.polarityChange);
  EXPECT_EQ(l0.maxValue, 4095u);
  EXPECT_TRUE(l0.on);
  EXPECT_TRUE(l0.polarityHigh);
  EXPECT_EQ(l0.delay, 5u);
  EXPECT_EQ(l0.duration, 100u);
  const auto& l2 = info->lines[2];
  EXPECT_FALSE(l2.readOut);
  EXPECT_TRUE(l2.onOff);
  EXPECT_FALSE(l2.polarityChange);
  EXPECT_EQ(l2.minValue, 1u);
  EXPECT_EQ(l2.maxValue, 1000u);
  EXPECT_FALSE(l2.on);
  EXPECT_EQ(l2.cntAddress, fake::kStrobeBlock + 0x208);

  ASSERT_TRUE(vxDcamWriteStrobe(camera, l2, true, false, 7, 300));
  EXPECT_EQ(camera.peek(fake::kStrobeBlock + 0x208), (1u << 25) | (7u << 12) | 300u);

  camera.poke(0x40C, 0);  // no strobe output
  EXPECT_FALSE(vxDcamReadStrobeInfo(camera));
}

TEST(DcamVersion, OnlyTheThreeKnownSoftwareVersionsCount) {
  FakeCamera camera;
  for (uint32_t v : {0x100u, 0x101u, 0x102u}) {
    camera.setSwVersion(v);
    EXPECT_EQ(vxDcamVersionNumber(camera), v);
  }
  for (uint32_t v : {0u, 0xFFu, 0x103u, 0x114u}) {
    camera.setSwVersion(v);
    EXPECT_EQ(vxDcamVersionNumber(camera), 0u) << v;
  }
}

TEST(DcamFeatures, InquiryFieldsAbsoluteBlocksAndValueWrites) {
  FakeCamera camera;
  auto shutter = vxDcamReadFeature(camera, vxDcamFeature::Shutter);
  ASSERT_TRUE(shutter);
  EXPECT_TRUE(shutter->present);
  EXPECT_TRUE(shutter->absControl);
  EXPECT_TRUE(shutter->manual);
  EXPECT_FALSE(shutter->autoMode);
  EXPECT_EQ(shutter->minValue, 1u);
  EXPECT_EQ(shutter->maxValue, 4095u);
  auto range = vxDcamReadAbsRange(camera, vxDcamFeature::Shutter);
  ASSERT_TRUE(range);
  EXPECT_FLOAT_EQ(range->minValue, 1e-5f);
  EXPECT_FLOAT_EQ(range->maxValue, 2.0f);
  EXPECT_FLOAT_EQ(*vxDcamReadAbsValue(camera, vxDcamFeature::Shutter), 0.02f);

  ASSERT_TRUE(vxDcamWriteAbsValue(camera, vxDcamFeature::Shutter, 0.5f));
  EXPECT_EQ(std::bit_cast<float>(camera.peek(fake::kShutterAbs + 8)), 0.5f);
  EXPECT_EQ(camera.peek(0x81C) & 0x42000000u, 0x42000000u);  // absolute control and on

  camera.poke(0x820, 0x81000000u | 0x123u);  // auto mode, some value
  ASSERT_TRUE(vxDcamWriteFeatureValue(camera, vxDcamFeature::Gain, 777));
  EXPECT_EQ(camera.peek(0x820), 0x80000000u | 0x02000000u | 777u);  // manual, on, no abs
  EXPECT_EQ(*vxDcamReadFeatureValue(camera, vxDcamFeature::Gain), 777u);

  auto trigger = vxDcamReadTrigger(camera);
  ASSERT_TRUE(trigger);
  EXPECT_TRUE(trigger->softwareTrigger);
  EXPECT_EQ(trigger->sources, 1u);
  EXPECT_EQ(trigger->modes, 1u);
  ASSERT_TRUE(vxDcamWriteTriggerMode(camera, true, true, kDcamSoftwareTriggerSource, 3));
  EXPECT_EQ(camera.peek(0x830), (1u << 25) | (1u << 24) | (7u << 21) | (3u << 16));
}
