// Feature records, the feature table and the property classes against an in-memory camera.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "regmodel/register_accessor.h"
#include "support/fake_camera.h"
#include "utilities/feature_props.h"

namespace {

constexpr uint32_t kShutterInq = 0x51C;
constexpr uint32_t kShutterCtl = 0x81C;
constexpr uint32_t kShutterAbs = 0x71C;

class FeatureTest : public ::testing::Test {
 protected:
  FeatureTest() : accessor(0, &module), shutter(DcamFeatureRegisters::high(7), accessor) {
    cam().set(kFeatureHiInq, 0);
    cam().set(kFeatureHiErrorStatus, 0);
    cam().set(kShutterInq, 0);
    cam().set(kShutterCtl, 0);
  }
  FakeCamera& cam() { return module.fake(0); }

  // Whether the operation raises the module's error with this label first.
  template <typename F>
  static std::string errorOf(F&& operation) {
    try {
      operation();
    } catch (const vx_DcamModule::Error& e) {
      return e.what();
    }
    return "";
  }

  FakeModule module{1, false, false};
  vx_DCAMRegisterAccessorPralix accessor;
  DcamFeature shutter;
};

TEST_F(FeatureTest, InquiryBitsFollowTheTable) {
  struct Case {
    uint32_t bit;
    bool (DcamFeature::*read)();
  } cases[] = {{30, &DcamFeature::absInquiry},  {28, &DcamFeature::onePushInquiry},
               {27, &DcamFeature::readOutInquiry}, {26, &DcamFeature::onOffInquiry},
               {25, &DcamFeature::autoInquiry},  {24, &DcamFeature::manualInquiry}};
  for (const Case& c : cases) {
    // The bit alone turns exactly this inquiry on; everything but it leaves it off.
    cam().set(kShutterInq, 1u << c.bit);
    EXPECT_TRUE((shutter.*c.read)()) << "bit " << c.bit;
    cam().set(kShutterInq, ~(1u << c.bit));
    EXPECT_FALSE((shutter.*c.read)()) << "bit " << c.bit;
  }
  cam().set(kShutterInq, (0x123u << 12) | 0xABCu | 0xFF000000u);
  EXPECT_EQ(shutter.minValue(), 0x123u);
  EXPECT_EQ(shutter.maxValue(), 0xABCu);
}

TEST_F(FeatureTest, PresenceAndControlErrorUseTheBitIndexFromTheTop) {
  cam().set(kFeatureHiInq, 1u << (31 - 7));
  cam().set(kFeatureHiErrorStatus, 1u << (31 - 7));
  EXPECT_TRUE(shutter.present());
  EXPECT_TRUE(shutter.controlError());
  cam().set(kFeatureHiInq, ~(1u << (31 - 7)));
  cam().set(kFeatureHiErrorStatus, 1u << 7);
  EXPECT_FALSE(shutter.present());
  EXPECT_FALSE(shutter.controlError());

  // Zoom is a low feature: presence in 0x408, errors in 0x644.
  DcamFeature zoom(DcamFeatureRegisters::low(0), accessor);
  cam().set(kFeatureLoInq, 0x80000000u);
  cam().set(kFeatureLoErrorStatus, 0);
  EXPECT_TRUE(zoom.present());
  EXPECT_FALSE(zoom.controlError());
  EXPECT_EQ(zoom.registers().controlRegister, 0x880u);
}

TEST_F(FeatureTest, WritesReplaceOnlyTheirOwnBits) {
  cam().set(kShutterCtl, 0x82000123u);  // presence, on, value 0x123
  shutter.setAuto(true);
  EXPECT_EQ(cam().get(kShutterCtl), 0x83000123u);
  EXPECT_TRUE(shutter.isAuto());
  shutter.setOn(false);
  EXPECT_EQ(cam().get(kShutterCtl), 0x81000123u);
  EXPECT_FALSE(shutter.isOn());
  shutter.setAbsControl(true);
  EXPECT_EQ(cam().get(kShutterCtl), 0xC1000123u);
  EXPECT_TRUE(shutter.absControl());
  shutter.setOnePush(true);
  EXPECT_EQ(cam().get(kShutterCtl), 0xC5000123u);
  EXPECT_TRUE(shutter.onePush());
  shutter.setValue(0x456);
  shutter.setValue2(0x789);
  EXPECT_EQ(cam().get(kShutterCtl), 0xC5789456u);
  EXPECT_EQ(shutter.value(), 0x456u);
  EXPECT_EQ(shutter.value2(), 0x789u);
}

TEST_F(FeatureTest, ValuesAreWrittenUnmaskedAndSpillIntoTheNextBits) {
  cam().set(kShutterCtl, 0x82000000u);
  shutter.setValue(5000);  // 0x1388: bit 12 is set beside the field
  EXPECT_EQ(cam().get(kShutterCtl), 0x82000000u | 5000u);
  EXPECT_EQ(shutter.value(), 5000u & 0xFFFu);
  EXPECT_EQ(shutter.value2(), 1u);

  cam().set(kShutterCtl, 0x82000000u);
  shutter.setValue2(5000);  // spills into bit 24 (automatic mode)
  EXPECT_EQ(cam().get(kShutterCtl), 0x82000000u | (5000u << 12));
  EXPECT_TRUE(shutter.isAuto());

  // The property classes keep to their field.
  cam().set(kShutterCtl, 0x82000000u);
  vx_DCAMBasicProp prop(DcamFeatureRegisters::high(7), accessor);
  prop.setValue(5000);
  EXPECT_EQ(cam().get(kShutterCtl), 0x82000000u | (5000u & 0xFFFu));
}

TEST_F(FeatureTest, AbsoluteValuesAreReadFromTheBlockTheOffsetNamesEachTime) {
  // Two blocks; the offset register points at one, then the other.
  cam().set(kShutterAbs, 0x003C0100u);  // 0xF0F00400
  cam().setFloat(0xF0F00400, 0.001f);
  cam().setFloat(0xF0F00404, 2.5f);
  cam().setFloat(0xF0F00408, 0.25f);
  cam().setFloat(0xF0F00500, 1.0f);
  cam().setFloat(0xF0F00504, 3.0f);
  cam().setFloat(0xF0F00508, 2.0f);

  EXPECT_FLOAT_EQ(shutter.absMin(), 0.001f);
  EXPECT_FLOAT_EQ(shutter.absMax(), 2.5f);
  EXPECT_FLOAT_EQ(shutter.absValue(), 0.25f);
  cam().set(kShutterAbs, 0x003C0140u);
  EXPECT_FLOAT_EQ(shutter.absMin(), 1.0f);
  EXPECT_FLOAT_EQ(shutter.absMax(), 3.0f);
  EXPECT_FLOAT_EQ(shutter.absValue(), 2.0f);

  shutter.setAbsValue(1.5f);
  EXPECT_FLOAT_EQ(cam().getFloat(0xF0F00508), 1.5f);
  EXPECT_FLOAT_EQ(cam().getFloat(0xF0F00408), 0.25f);

  vx_DCAMProp prop(DcamFeatureRegisters::high(7), accessor);
  EXPECT_FLOAT_EQ(prop.absValue(), 1.5f);
  cam().set(kShutterAbs, 0x003C0100u);
  EXPECT_FLOAT_EQ(prop.absValue(), 0.25f);
}

TEST_F(FeatureTest, FailedTransfersRaiseWithTheOperationsLabel) {
  cam().set(kShutterAbs, 0x003C0100u);
  cam().failWrites(kShutterCtl);
  const struct {
    const char* label;
    std::function<void()> write;
  } writes[] = {
      {"Absolute Control", [&] { shutter.setAbsControl(true); }},
      {"Property ON", [&] { shutter.setOn(true); }},
      {"OnePush", [&] { shutter.setOnePush(true); }},
      {"Set Auto Mode", [&] { shutter.setAuto(true); }},
      {"Value", [&] { shutter.setValue(1); }},
      {"Value 2", [&] { shutter.setValue2(1); }},
  };
  for (const auto& w : writes) {
    const std::string error = errorOf(w.write);
    EXPECT_EQ(error.rfind(std::string(w.label) + ":", 0), 0u) << error;
    EXPECT_NE(error.find("81C"), std::string::npos) << error;
  }
  cam().failWrites(0xF0F00408);
  EXPECT_EQ(errorOf([&] { shutter.setAbsValue(1.0f); }).rfind("Advanced Value:", 0), 0u);

  // A failed read inside a write carries the write's label too.
  cam().heal();
  cam().failReads(kShutterCtl);
  EXPECT_EQ(errorOf([&] { shutter.setOn(true); }).rfind("Property ON:", 0), 0u);
  EXPECT_FALSE(errorOf([&] { shutter.value(); }).empty());
  EXPECT_TRUE(cam().writes().empty());
}

TEST_F(FeatureTest, RecordsKeepTheAccessorsOkFlagForItsOwner) {
  accessor.setOk(false);  // the owner saw an earlier failure
  EXPECT_FALSE(shutter.isOn());
  EXPECT_FALSE(accessor.ok());
  accessor.setOk(true);
  cam().failReads(kShutterInq);
  EXPECT_THROW(shutter.absInquiry(), vx_DcamModule::Error);
  EXPECT_FALSE(accessor.ok());
}

TEST_F(FeatureTest, PropertiesDoNotRaiseAndSkipTheWriteOfAFailedReadModifyWrite) {
  cam().set(kShutterCtl, 0x82000055u);
  cam().failReads(kShutterCtl);
  vx_DCAMBasicProp prop(DcamFeatureRegisters::high(7), accessor);
  EXPECT_FALSE(prop.isOn());
  EXPECT_EQ(prop.value(), 0u);
  accessor.setOk(true);
  prop.setAuto(true);
  EXPECT_FALSE(accessor.ok());
  EXPECT_TRUE(cam().writes().empty());
  EXPECT_EQ(cam().get(kShutterCtl), 0x82000055u);
}

TEST_F(FeatureTest, TriggerPropertyUsesTheTriggerLayout) {
  vx_DCAMTriggerProp trigger(accessor);
  EXPECT_EQ(trigger.registers().inquiryRegister, 0x530u);
  EXPECT_EQ(trigger.registers().controlRegister, 0x830u);
  cam().set(kFeatureHiInq, 1u << (31 - 12));
  // Modes 0, 1 and 3, sources 0 and software, polarity, value readable.
  cam().set(0x530, 0x80000000u | (1u << 15) | (1u << 14) | (1u << 12) | (1u << 23) | (1u << 16) |
                       (1u << 25) | (1u << 24));
  cam().set(0x830, 0x82000000u);
  EXPECT_TRUE(trigger.isPresent());
  EXPECT_TRUE(trigger.triggerModePossible(0));
  EXPECT_TRUE(trigger.triggerModePossible(1));
  EXPECT_FALSE(trigger.triggerModePossible(2));
  EXPECT_TRUE(trigger.triggerModePossible(3));
  EXPECT_FALSE(trigger.triggerModePossible(16));
  EXPECT_TRUE(trigger.triggerSourcePossible(0));
  EXPECT_FALSE(trigger.triggerSourcePossible(1));
  EXPECT_TRUE(trigger.triggerSourcePossible(7));
  EXPECT_TRUE(trigger.polarityPossible());
  EXPECT_TRUE(trigger.valueReadable());

  trigger.setTriggerMode(3);
  trigger.setTriggerSource(7);
  trigger.setPolarity(true);
  trigger.setParameter(0x12);
  EXPECT_EQ(cam().get(0x830), 0x82000000u | (7u << 21) | (1u << 24) | (3u << 16) | 0x12u);
  EXPECT_EQ(trigger.triggerMode(), 3u);
  EXPECT_EQ(trigger.triggerSource(), 7u);
  EXPECT_TRUE(trigger.polarity());
  EXPECT_EQ(trigger.parameter(), 0x12u);
  EXPECT_FALSE(trigger.triggerValue());
  cam().set(0x830, 1u << 20);
  EXPECT_TRUE(trigger.triggerValue());
}

TEST(FeatureTable, ListsTheFeaturesInThePagesOrder) {
  const auto& table = dcamFeatureTable();
  ASSERT_EQ(table.size(), 19u);
  std::string names;
  for (const auto& f : table) names += std::string(f.listedName) + ",";
  EXPECT_EQ(names,
            "Sharpness,Hue,Saturation,White Balance,Exposure,Brightness,Gain,Iris,Focus,"
            "Temperature,Trigger Delay,White Shading,Frame Rate,Auto Exposure,Gamma,Zoom,Pan,"
            "Tilt,Optical Filter,");
  for (const auto& f : table) EXPECT_NE(f.registers.bitIndex, 12u) << "the trigger has its own class";
  EXPECT_STREQ(table[3].valueLabels, "V/R Value;U/B Value");
  EXPECT_EQ(table[4].registers.controlRegister, 0x81Cu);
  EXPECT_STREQ(table[11].valueLabels, "B-Value;G-Value;R-Value");
  EXPECT_EQ(table[18].registers.presenceRegister, 0x408u);
  EXPECT_EQ(table[18].registers.errorRegister, 0x644u);
  EXPECT_EQ(table[18].registers.absOffsetRegister, 0x78Cu);
}

TEST(FeatureSet, ListsOnlyPresentFeatures) {
  FakeModule module(1, false, false);
  vx_DCAMRegisterAccessorPralix accessor(0, &module);
  module.fake(0).set(kFeatureHiInq, (1u << 31) | (1u << (31 - 7)) | (1u << (31 - 12)));
  module.fake(0).set(kFeatureLoInq, 1u << 30);  // pan
  DcamFeatureSet set(accessor);
  ASSERT_EQ(set.size(), dcamFeatureTable().size());
  std::string listed;
  for (size_t i : set.presentFeatures()) listed += std::string(set.info(i).listedName) + ",";
  EXPECT_EQ(listed, "Exposure,Brightness,Pan,");

  module.fake(0).set(kFeatureHiInq, 0);
  module.fake(0).set(kFeatureLoInq, 0);
  EXPECT_TRUE(set.presentFeatures().empty());
}

}  // namespace
