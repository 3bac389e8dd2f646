// IIDC register helpers: support test, mode setting, Format_7 and strobe descriptors.
#include <gtest/gtest.h>

#include <bit>
#include <vector>

#include "acquisition/dcam_registers.h"
#include "support/fake_camera.h"

using Quadlets = std::vector<uint64_t>;

TEST(DcamSupport, FormatModeAndRateBitsMustAllBeSet) {
  FakeIidcCamera camera;
  // format, mode, rate, supported: rate, mode and format bits clear in turn;
  // Format_7 has no rate table.
  const struct { uint32_t f, m, r; bool ok; } cases[] = {
      {0, 5, 4, true}, {0, 5, 2, true}, {0, 5, 5, false}, {0, 3, 4, false}, {1, 5, 4, false},
      {7, 0, 0, true}, {7, 0, 5, true}, {7, 1, 0, false}, {8, 0, 0, false}};
  for (const auto& c : cases)
    EXPECT_EQ(vxDcamIsSupported(camera, c.f, c.m, c.r), c.ok) << c.f << "/" << c.m << "/" << c.r;
  camera.failReads(0x214);  // V_RATE_INQ_0_5
  EXPECT_FALSE(vxDcamIsSupported(camera, 0, 5, 4));
}

TEST(DcamSupport, SettingAModeWritesTheTopBitsAndChecksTheErrorStatus) {
  FakeIidcCamera camera;
  std::string error;
  ASSERT_TRUE(vxDcamSetVideoMode(camera, 0, 5, 3, &error)) << error;
  EXPECT_EQ((Quadlets{camera.get(0x608), camera.get(0x604), camera.get(0x600)}),
            (Quadlets{0, 5u << 29, 3u << 29}));
  EXPECT_FALSE(vxDcamSetVideoMode(camera, 0, 5, 6, &error));
  EXPECT_NE(error.find("refuses"), std::string::npos);
  camera.failWrites(0x604);
  error.clear();
  EXPECT_FALSE(vxDcamSetVideoMode(camera, 0, 5, 3, &error));
  EXPECT_NE(error.find("0x604"), std::string::npos);
}

TEST(DcamFormat7, DescriptorComesFromTheBlockTheInquiryNames) {
  FakeIidcCamera camera;
  auto m = vxDcamReadFormat7Mode(camera, 0);
  ASSERT_TRUE(m);
  EXPECT_EQ(m->csrOffset, fake::quadletOffset(fake::kF7Block));
  EXPECT_EQ(m->baseAddress, fake::kF7Block);
  // Each field of the block decoded from its own half of its quadlet.
  EXPECT_EQ((Quadlets{m->maxWidth, m->maxHeight, m->unitWidth, m->unitHeight, m->unitPosX,
                      m->width, m->height, m->pixelCount, m->totalBytes, m->unitBytesPerPacket,
                      m->maxBytesPerPacket, m->bytesPerPacket, m->recBytesPerPacket,
                      m->packetsPerFrame}),
            (Quadlets{1280, 960, 4, 2, 2, 640, 480, 640 * 480, 640 * 480, 8, 4096, 2048, 2048, 150}));
  EXPECT_TRUE(m->hasValueSetting());
  for (uint32_t id : {0u, 5u, 9u}) EXPECT_TRUE(m->supportsColorCoding(id)) << id;
  EXPECT_FALSE(m->supportsColorCoding(4));
  EXPECT_FALSE(m->supportsColorCoding(40));
  EXPECT_FALSE(vxDcamReadFormat7Mode(camera, 1));  // mode not offered

  // A camera without position units steps positions by the size units.
  camera.set(fake::kF7Block + 0x4C, 0);
  EXPECT_EQ(vxDcamReadFormat7Mode(camera, 0)->unitPosX, 4u);
  // An offset of 0x003C0000 puts the block at the command registers.
  camera.set(0x2E0, 0x003C0000u);
  camera.set(fake::kBase, (320u << 16) | 240u);
  auto low = vxDcamReadFormat7Mode(camera, 0);
  ASSERT_TRUE(low);
  EXPECT_EQ(low->baseAddress, 0xF0F00000u);
  EXPECT_EQ(low->maxWidth, 320u);
}

TEST(DcamFormat7, RegionWritesAndValueSettingReportRefusals) {
  FakeIidcCamera camera;
  auto mode = *vxDcamReadFormat7Mode(camera, 0);
  std::string error;
  ASSERT_TRUE(vxDcamWriteFormat7Region(camera, mode, 8, 4, 320, 200, &error));
  ASSERT_TRUE(vxDcamWriteFormat7Coding(camera, mode, 9, &error));
  ASSERT_TRUE(vxDcamLatchFormat7(camera, mode, &error)) << error;
  ASSERT_TRUE(vxDcamWriteBytesPerPacket(camera, mode, 1024, &error));
  const uint32_t b = fake::kF7Block;
  EXPECT_EQ((Quadlets{camera.get(b + 0x08), camera.get(b + 0x0C), camera.get(b + 0x10),
                      camera.get(b + 0x44) >> 16}),
            (Quadlets{(8u << 16) | 4u, (320u << 16) | 200u, 9u << 24, 1024}));

  ASSERT_TRUE(vxDcamWriteFormat7Region(camera, mode, 1000, 0, 640, 480, &error));
  EXPECT_FALSE(vxDcamLatchFormat7(camera, mode, &error));
  EXPECT_NE(error.find("refuses"), std::string::npos);
}

TEST(DcamStrobe, OnlyLinesTheControlInquiryNamesArePresent) {
  FakeIidcCamera camera;
  auto info = vxDcamReadStrobeInfo(camera);
  ASSERT_TRUE(info);
  EXPECT_EQ(info->baseAddress, fake::kStrobeBlock);
  EXPECT_EQ(info->control, 0xA0000000u);
  for (int line : {-1, 0, 1, 2, 3, 4}) EXPECT_EQ(info->isPresent(line), line == 0 || line == 2) << line;
  const auto& l0 = info->lines[0];
  EXPECT_TRUE(l0.readOut && l0.onOff && l0.polarityChange && l0.on && l0.polarityHigh);
  EXPECT_EQ((Quadlets{l0.maxValue, l0.delay, l0.duration}), (Quadlets{4095, 5, 100}));
  const auto& l2 = info->lines[2];
  EXPECT_TRUE(l2.onOff);
  EXPECT_FALSE(l2.readOut || l2.polarityChange || l2.on);
  EXPECT_EQ((Quadlets{l2.minValue, l2.maxValue, l2.cntAddress}),
            (Quadlets{1, 1000, fake::kStrobeBlock + 0x208}));

  ASSERT_TRUE(vxDcamWriteStrobe(camera, l2, true, false, 7, 300));
  EXPECT_EQ(camera.get(fake::kStrobeBlock + 0x208), (1u << 25) | (7u << 12) | 300u);
  camera.set(0x40C, 0);  // no strobe output
  EXPECT_FALSE(vxDcamReadStrobeInfo(camera));
}

TEST(DcamVersion, OnlyTheThreeKnownSoftwareVersionsCount) {
  FakeIidcCamera camera;
  for (uint32_t v : {0x100u, 0x101u, 0x102u, 0u, 0xFFu, 0x103u, 0x114u}) {
    camera.unitSwVersion = v;
    EXPECT_EQ(vxDcamVersionNumber(camera), v >= 0x100 && v <= 0x102 ? v : 0u) << v;
  }
}

TEST(DcamFeatures, InquiryFieldsAbsoluteBlocksAndValueWrites) {
  FakeIidcCamera camera;
  auto shutter = vxDcamReadFeature(camera, vxDcamFeature::Shutter);
  ASSERT_TRUE(shutter);
  EXPECT_TRUE(shutter->present && shutter->absControl && shutter->manual);
  EXPECT_FALSE(shutter->autoMode);
  EXPECT_EQ((Quadlets{shutter->minValue, shutter->maxValue}), (Quadlets{1, 4095}));
  auto range = vxDcamReadAbsRange(camera, vxDcamFeature::Shutter);
  ASSERT_TRUE(range);
  EXPECT_FLOAT_EQ(range->minValue, 1e-5f);
  EXPECT_FLOAT_EQ(range->maxValue, 2.0f);
  EXPECT_FLOAT_EQ(*vxDcamReadAbsValue(camera, vxDcamFeature::Shutter), 0.02f);

  ASSERT_TRUE(vxDcamWriteAbsValue(camera, vxDcamFeature::Shutter, 0.5f));
  EXPECT_EQ(camera.getFloat(fake::kShutterAbs + 8), 0.5f);
  EXPECT_EQ(camera.get(0x81C) & 0x42000000u, 0x42000000u);  // absolute control and on

  camera.set(0x820, 0x81000000u | 0x123u);  // auto mode, some value
  ASSERT_TRUE(vxDcamWriteFeatureValue(camera, vxDcamFeature::Gain, 777));
  EXPECT_EQ(camera.get(0x820), 0x80000000u | 0x02000000u | 777u);  // manual, on, no abs
  EXPECT_EQ(*vxDcamReadFeatureValue(camera, vxDcamFeature::Gain), 777u);

  auto trigger = vxDcamReadTrigger(camera);
  ASSERT_TRUE(trigger);
  EXPECT_TRUE(trigger->softwareTrigger);
  EXPECT_EQ((Quadlets{trigger->sources, trigger->modes}), (Quadlets{1, 1}));
  ASSERT_TRUE(vxDcamWriteTriggerMode(camera, true, true, kDcamSoftwareTriggerSource, 3));
  EXPECT_EQ(camera.get(0x830), (1u << 25) | (1u << 24) | (7u << 21) | (3u << 16));
}
