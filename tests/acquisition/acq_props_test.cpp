// Property objects, the result record, trigger models and images.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "acquisition/acq_image.h"
#include "acquisition/acq_props.h"
#include "acquisition/acquire_info.h"
#include "acquisition/trigger_model.h"

namespace {
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
}  // namespace

TEST(FifoProps, WithoutAFifoASetOnlyKeepsTheValue) {
  vxExposureProp exposure;
  EXPECT_FALSE(exposure.isAttached());
  exposure.exposure(0.25);
  EXPECT_DOUBLE_EQ(exposure.exposure(), 0.25);

  vxContrastBrightnessProp cb;
  cb.contrastBrightness(0.3, 1.0);
  EXPECT_DOUBLE_EQ(cb.contrast(), 0.3);
  EXPECT_DOUBLE_EQ(cb.brightness(), 1.0);

  vxTriggerProp trigger;
  EXPECT_EQ(trigger.triggerModel()->kind(), vxTriggerModel::Kind::Manual);
  EXPECT_TRUE(trigger.triggerEnable());
  trigger.triggerModel(vxTriggerModel::freeRun());
  trigger.triggerEnable(false);
  EXPECT_EQ(trigger.triggerModel()->kind(), vxTriggerModel::Kind::FreeRun);
  EXPECT_FALSE(trigger.triggerEnable());

  vxRoiProp roi;
  roi.roi(3, 7, 4, 9);
  EXPECT_EQ(roi.roi(), (vxRoi{3, 7, 4, 9}));

  vxStrobeProp strobe;
  strobe.strobeLine(2);
  strobe.strobe(true);
  EXPECT_EQ(strobe.strobeLine(), 2);
  EXPECT_TRUE(strobe.strobe());

  vxTimeoutProp timeout;
  EXPECT_TRUE(std::isinf(timeout.timeout()));
  timeout.timeout(2.0);
  EXPECT_DOUBLE_EQ(timeout.timeout(), 2.0);
}

TEST(FifoProps, OutOfRangeThrowsTheClassesBadParamsAndKeepsTheOldValue) {
  vxExposureProp exposure;
  exposure.exposure(0.5);
  for (double bad : {-0.001, kInf, kNaN})
    EXPECT_THROW(exposure.exposure(bad), vxExposureProp::BadParams);
  EXPECT_DOUBLE_EQ(exposure.exposure(), 0.5);
  exposure.exposure(0.0);  // the edge is allowed

  vxContrastBrightnessProp cb;
  EXPECT_THROW(cb.contrastBrightness(1.0001, 0.0), vxContrastBrightnessProp::BadParams);
  EXPECT_THROW(cb.contrastBrightness(0.0, -0.1), vxContrastBrightnessProp::BadParams);
  EXPECT_THROW(cb.contrastBrightness(kNaN, 0.0), vxContrastBrightnessProp::BadParams);
  cb.contrastBrightness(1.0, 0.0);

  vxCameraBandwidthProp bandwidth;
  for (double bad : {0.0, -0.5, 1.01, kNaN})
    EXPECT_THROW(bandwidth.bandwidth(bad), vxCameraBandwidthProp::BadParams);
  EXPECT_DOUBLE_EQ(bandwidth.bandwidth(), 1.0);

  vxTriggerProp trigger;
  EXPECT_THROW(trigger.triggerModel(nullptr), vxTriggerProp::BadParams);
  EXPECT_THROW(trigger.triggerDelay(-1.0), vxTriggerProp::BadParams);

  vxStrobeProp strobe;
  EXPECT_THROW(strobe.strobeLine(4), vxStrobeProp::BadParams);
  EXPECT_THROW(strobe.strobeLine(-1), vxStrobeProp::BadParams);
  EXPECT_THROW(strobe.strobeDuration(-1e-6), vxStrobeProp::BadParams);
  vxStrobeDelayProp delay;
  EXPECT_THROW(delay.strobeDelay(kNaN), vxStrobeDelayProp::BadParams);

  vxRoiProp roi;
  EXPECT_THROW(roi.roi(-1, 0, 10, 10), vxRoiProp::BadParams);
  EXPECT_THROW(roi.roi(0, 0, 0, 10), vxRoiProp::BadParams);
  EXPECT_THROW(roi.roi(0, 0, 10, -3), vxRoiProp::BadParams);

  vxTimeoutProp timeout;
  EXPECT_THROW(timeout.timeout(0.0), vxTimeoutProp::BadParams);
  EXPECT_THROW(timeout.timeout(kNaN), vxTimeoutProp::BadParams);
  vxTriggerFilterProp filter;
  EXPECT_THROW(filter.triggerFilter(-0.1), vxTriggerFilterProp::BadParams);
}

TEST(FifoProps, AnAttachedFifoSeesEverySetAndMayRefuseIt) {
  vxExposureProp exposure;
  std::vector<double> seen;
  exposure.attach([&](double v) {
    if (v > 1.0) throw vxExposureProp::BadParams("too long for this camera");
    seen.push_back(v);
  });
  exposure.exposure(0.1);
  exposure.exposure(0.2);
  EXPECT_THROW(exposure.exposure(3.0), vxExposureProp::BadParams);
  EXPECT_EQ(seen, (std::vector<double>{0.1, 0.2}));
  EXPECT_DOUBLE_EQ(exposure.exposure(), 0.2);
  exposure.detach();
  exposure.exposure(3.0);
  EXPECT_DOUBLE_EQ(exposure.exposure(), 3.0);
  EXPECT_EQ(seen.size(), 2u);
}

TEST(AcquireInfo, FlagsAreIndependentAndTheAbnormalCodeGoesWithItsFlag) {
  vxAcquireInfo info;
  EXPECT_FALSE(info.anyFailure());
  info.setTimeOut();
  info.setIncomplete();
  EXPECT_TRUE(info.isTimeOut());
  EXPECT_TRUE(info.isIncomplete());
  EXPECT_FALSE(info.isTiming());
  EXPECT_FALSE(info.isMissed());
  EXPECT_FALSE(info.isOverrun());
  EXPECT_FALSE(info.isAbnormal());
  EXPECT_FALSE(info.isInvalidROI());
  EXPECT_FALSE(info.isOtherFifoError());
  EXPECT_TRUE(info.anyFailure());

  vxAcquireInfo abnormal;
  abnormal.setAbnormal(vxAcquireInfo::kAbnormalCameraGone);
  abnormal.setOverrun();
  EXPECT_TRUE(abnormal.isAbnormal());
  EXPECT_TRUE(abnormal.isOverrun());
  EXPECT_EQ(abnormal.abnormalCode(), vxAcquireInfo::kAbnormalCameraGone);
}

TEST(TriggerModels, TheFourModelsByTheirListedNames) {
  const auto& names = vxTriggerModel::names();
  ASSERT_EQ(names.size(), 4u);
  EXPECT_EQ(vxTriggerModel::fromName("Manual Trigger - Software")->kind(),
            vxTriggerModel::Kind::Manual);
  EXPECT_EQ(vxTriggerModel::fromName("Auto Trigger - Hardware")->kind(),
            vxTriggerModel::Kind::Auto);
  EXPECT_EQ(vxTriggerModel::fromName("Semi Trigger - Hardware")->kind(),
            vxTriggerModel::Kind::Semi);
  EXPECT_EQ(vxTriggerModel::fromName("FreeRun Trigger - Software")->kind(),
            vxTriggerModel::Kind::FreeRun);
  for (const auto& name : names) EXPECT_EQ(vxTriggerModel::fromName(name)->name(), name);
  EXPECT_THROW(vxTriggerModel::fromName("Free Run"), vxTriggerModel::BadParams);
  EXPECT_THROW(vxTriggerModel::make(static_cast<vxTriggerModel::Kind>(9)),
               vxTriggerModel::BadParams);
  EXPECT_TRUE(vxTriggerModel::automatic()->isHardware());
  EXPECT_TRUE(vxTriggerModel::semiAutomatic()->needsStarts());
  EXPECT_FALSE(vxTriggerModel::freeRun()->needsStarts());
}

TEST(AcqImage, GreyValuesCropsAndTheirErrors) {
  auto bytes = std::make_shared<std::vector<uint8_t>>(4 * 3);
  for (size_t i = 0; i < bytes->size(); ++i) (*bytes)[i] = uint8_t(i);
  vxAcqImage mono(bytes, 4, 3, vxPixelCoding::Mono8);
  EXPECT_EQ(mono.greyValue(1, 2), 9u);
  EXPECT_THROW(mono.greyValue(4, 0), vxAcqImage::Errors);
  auto crop = mono.cropped(1, 1, 2, 2);
  EXPECT_EQ(crop->width(), 2u);
  EXPECT_EQ(crop->greyValue(0, 0), 5u);
  EXPECT_EQ(crop->greyValue(1, 1), 10u);
  EXPECT_THROW(mono.cropped(3, 0, 2, 1), vxAcqImage::Errors);

  vxAcqImage mono16(bytes, 2, 3, vxPixelCoding::Mono16);
  EXPECT_EQ(mono16.greyValue(1, 0), 0x0203u);  // big-endian samples

  vxAcqImage yuv(bytes, 4, 1, vxPixelCoding::YUV422);
  EXPECT_THROW(yuv.greyValue(0, 0), vxAcqImage::NotSupported);
  EXPECT_THROW(yuv.cropped(1, 0, 2, 1), vxAcqImage::Errors);  // splits a pixel pair
  EXPECT_EQ(yuv.cropped(2, 0, 2, 1)->data()[0], 4u);

  EXPECT_THROW(vxAcqImage(bytes, 5, 3, vxPixelCoding::Mono8), vxAcqImage::Errors);
}
