// The acquisition FIFO against a register-level fake camera and stream.
#include <gtest/gtest.h>

#include <bit>
#include <chrono>
#include <thread>

#include "acquisition/acq_fifo.h"
#include "support/fake_camera.h"

namespace {

constexpr uint32_t kF7 = fake::kF7Block;

vxPtrHandle<vxAcqFifo> fifoFor(FakeIidcCamera& camera, const std::string& name) {
  return vxAcqFifo::create(camera, *vxVideoFormat::find(name));
}

}  // namespace

TEST(AcqFifoCreate, ProgramsFormatModeAndRateAndPicksTheVariant) {
  FakeIidcCamera camera;
  camera.set(0x614, 1u << 31);  // streaming from an earlier user
  auto fifo = fifoFor(camera, "640x480 Mono 15 FPS");
  EXPECT_EQ(camera.get(0x614), 0u);
  EXPECT_EQ(camera.get(0x608), 0u);
  EXPECT_EQ(camera.get(0x604), 5u << 29);
  EXPECT_EQ(camera.get(0x600), 3u << 29);
  EXPECT_NE(dynamic_cast<vxStdGreyAcqFifo*>(fifo.get()), nullptr);
  EXPECT_EQ(fifo->imageWidth(), 640u);
  EXPECT_NE(dynamic_cast<vxStdAcqFifo*>(fifoFor(camera, "640x480 24bit RGB 15 FPS").get()),
            nullptr);
}

TEST(AcqFifoCreate, Format7GetsItsModeFullSizeAndColourCoding) {
  FakeIidcCamera camera;
  auto fifo = fifoFor(camera, "Format7 Mode 0 Bayer RAW8");
  EXPECT_NE(dynamic_cast<vxGreyAcqFifo*>(fifo.get()), nullptr);
  EXPECT_EQ(camera.get(0x608), 7u << 29);
  EXPECT_EQ(camera.get(0x604), 0u);
  EXPECT_EQ(camera.get(kF7 + 0x08), 0u);
  EXPECT_EQ(camera.get(kF7 + 0x0C), (1280u << 16) | 960u);
  EXPECT_EQ(camera.get(kF7 + 0x10), 9u << 24);
  EXPECT_EQ(camera.get(kF7 + 0x44) >> 16, 4096u);  // the whole bandwidth
  EXPECT_EQ(fifo->imageWidth(), 1280u);
  EXPECT_EQ(fifo->imageHeight(), 960u);
}

TEST(AcqFifoCreate, FailuresThrowTheirOwnClasses) {
  FakeIidcCamera camera;
  EXPECT_THROW(fifoFor(camera, "640x480 Mono 60 FPS"), vxVideoFormat::NotSupported);
  camera.refuseVideoModes(true);
  EXPECT_THROW(fifoFor(camera, "640x480 Mono 30 FPS"), vxAcqFifo::CouldNotCreate);
  camera.refuseVideoModes(false);
  camera.setPlugged(false);
  EXPECT_THROW(fifoFor(camera, "640x480 Mono 30 FPS"), vxAcqFifo::CouldNotCreate);
}

TEST(AcqFifoPrepare, FalseWhenTheBusLayerHasNoStream) {
  FakeIidcCamera camera;
  camera.setStreams(false);
  auto fifo = fifoFor(camera, "640x480 Mono 30 FPS");
  EXPECT_FALSE(fifo->prepare(0.0));
  EXPECT_NE(fifo->lastError().find("cannot receive"), std::string::npos);
  EXPECT_THROW(fifo->start(), vxAcqFifo::StartNotAllowed);
}

TEST(AcqFifoManual, EachStartIsOneSoftwareTriggerAndQueuedStartsAllComplete) {
  FakeIidcCamera camera;
  auto fifo = fifoFor(camera, "640x480 Mono 30 FPS");
  ASSERT_TRUE(fifo->prepare(0.0)) << fifo->lastError();
  // Software trigger: trigger mode on with source 7, camera streaming on triggers.
  EXPECT_EQ(camera.get(0x830) & ((1u << 25) | (7u << 21)), (1u << 25) | (7u << 21));
  EXPECT_EQ(camera.get(0x614), 1u << 31);
  std::vector<vxAcquireInfo> records;
  fifo->setAcquireCallback([&](const vxAcquireInfo& info) { records.push_back(info); });
  for (int i = 0; i < 3; ++i) fifo->start();
  EXPECT_EQ(fifo->outstanding(), 3);
  for (int i = 0; i < 3; ++i) {
    vxAcqResult r = fifo->complete(5.0);
    ASSERT_TRUE(r.succeeded()) << i;
    EXPECT_EQ(r.image->width(), 640u);
    EXPECT_EQ(r.image->greyValue(0, 0), uint32_t(i + 1));  // images in trigger order
  }
  EXPECT_EQ(camera.softwareTriggers(), 3);
  ASSERT_EQ(records.size(), 3u);
  for (const auto& info : records) EXPECT_FALSE(info.anyFailure());
  EXPECT_EQ(fifo->outstanding(), 0);

  // Nothing was started: a wait without limit cannot end, so it does not begin.
  vxAcqResult none = fifo->complete();
  EXPECT_FALSE(none.image);
  EXPECT_TRUE(none.info.isOtherFifoError());
  // With a limit it is a plain time-out.
  EXPECT_TRUE(fifo->complete(0.05).info.isTimeOut());
  ASSERT_EQ(records.size(), 5u);
  EXPECT_TRUE(records[4].isTimeOut());
}

TEST(AcqFifoManual, QueuedStartsKeepTheQueueFullByThemselves) {
  FakeIidcCamera camera;
  auto fifo = fifoFor(camera, "640x480 Mono 30 FPS");
  fifo->queuedStarts(true);
  ASSERT_TRUE(fifo->queuedStarts());
  for (int i = 0; i < 3; ++i) fifo->start();
  for (int i = 0; i < 6; ++i) ASSERT_TRUE(fifo->complete(1.0).succeeded()) << i;
  EXPECT_EQ(fifo->outstanding(), 3);
  fifo->flush();
  EXPECT_EQ(fifo->outstanding(), 0);
}

TEST(AcqFifoManual, WithoutSoftwareTriggerUsesOneShotAndHoldsStartsWhileDisabled) {
  FakeIidcCamera camera;
  camera.set(0x530, 0x80000000u | (1u << 26) | (1u << 23) | (1u << 15));  // no software trigger
  auto fifo = fifoFor(camera, "640x480 Mono 30 FPS");
  fifo->triggerProp().triggerEnable(false);
  ASSERT_TRUE(fifo->prepare(0.0));
  EXPECT_EQ(camera.get(0x830) & (1u << 25), 0u);  // trigger mode off
  EXPECT_EQ(camera.get(0x614), 0u);
  fifo->start();
  fifo->start();
  EXPECT_EQ(camera.oneShots(), 0);
  EXPECT_TRUE(fifo->complete(0.05).info.isTimeOut());  // held, the oldest is given up
  fifo->triggerProp().triggerEnable(true);
  EXPECT_EQ(camera.oneShots(), 1);
  EXPECT_TRUE(fifo->complete(5.0).succeeded());
  EXPECT_EQ(fifo->outstanding(), 0);
}

TEST(AcqFifoStart, NotAllowedWhenTheCameraIsGoneOrTooManyWait) {
  FakeIidcCamera camera;
  auto fifo = fifoFor(camera, "640x480 Mono 30 FPS");
  fifo->triggerProp().triggerEnable(false);
  ASSERT_TRUE(fifo->prepare(0.0));
  for (int i = 0; i < vxAcqFifo::kMaxOutstanding; ++i) fifo->start();
  EXPECT_THROW(fifo->start(), vxAcqFifo::StartNotAllowed);
  fifo->flush();
  EXPECT_EQ(fifo->outstanding(), 0);
  fifo->start();
  camera.setPlugged(false);
  EXPECT_THROW(fifo->start(), vxAcqFifo::StartNotAllowed);
  vxAcqResult r = fifo->complete(1.0);
  EXPECT_TRUE(r.info.isAbnormal());
  EXPECT_EQ(r.info.abnormalCode(), vxAcquireInfo::kAbnormalCameraGone);
}

TEST(AcqFifoTrigger, AutoTriggerTimesOutWithoutATriggerAndDeliversWithOne) {
  FakeIidcCamera camera;
  auto fifo = fifoFor(camera, "640x480 Mono 30 FPS");
  fifo->triggerProp().triggerEnable(false);
  fifo->triggerProp().triggerModel(vxTriggerModel::automatic());
  fifo->triggerProp().triggerPolarity(false);
  ASSERT_TRUE(fifo->prepare(vxAcqFifo::kWaitForever));
  EXPECT_EQ(camera.get(0x614), 0u);
  fifo->triggerProp().triggerEnable(true);
  EXPECT_EQ(camera.get(0x614), 1u << 31);
  const uint32_t mode = camera.get(0x830);
  EXPECT_EQ(mode & ((1u << 25) | (1u << 24) | (7u << 21)), 1u << 25);  // on, active low, source 0

  vxAcqResult none = fifo->complete(0.1);
  EXPECT_FALSE(none.image);
  EXPECT_TRUE(none.info.isTimeOut());

  camera.hardwareTrigger();
  vxAcqResult one = fifo->complete(0.1);
  EXPECT_TRUE(one.succeeded());

  // The filter drops a pulse that follows the last one at once.
  fifo->triggerFilterProp().triggerFilter(10.0);
  camera.hardwareTrigger();
  EXPECT_TRUE(fifo->complete(0.1).info.isTimeOut());
  fifo->triggerFilterProp().triggerFilter(0.0);
  camera.hardwareTrigger();
  EXPECT_TRUE(fifo->complete(0.1).succeeded());
}

TEST(AcqFifoTrigger, SemiAutoArmsTheCameraOnlyForStarts) {
  FakeIidcCamera camera;
  auto fifo = fifoFor(camera, "640x480 Mono 30 FPS");
  fifo->triggerProp().triggerModel(vxTriggerModel::semiAutomatic());
  ASSERT_TRUE(fifo->prepare(0.0));
  EXPECT_EQ(camera.get(0x614), 0u);
  camera.hardwareTrigger();  // not armed: the camera does not send
  EXPECT_TRUE(fifo->complete(0.05).info.isTimeOut());
  fifo->start();
  EXPECT_EQ(camera.get(0x614), 1u << 31);
  camera.hardwareTrigger();
  EXPECT_TRUE(fifo->complete(1.0).succeeded());
  EXPECT_EQ(camera.get(0x614), 0u);  // disarmed again
}

TEST(AcqFifoTrigger, HardwareModelsNeedAHardwareTrigger) {
  FakeIidcCamera camera;
  camera.set(0x530, 0);
  auto fifo = fifoFor(camera, "640x480 Mono 30 FPS");
  fifo->triggerProp().triggerModel(vxTriggerModel::automatic());
  EXPECT_FALSE(fifo->prepare(1.0));
  EXPECT_NE(fifo->lastError().find("hardware trigger"), std::string::npos);
}

TEST(AcqFifoTrigger, FreeRunStreamsWhileTriggersAreEnabled) {
  FakeIidcCamera camera;
  auto fifo = fifoFor(camera, "640x480 Mono 30 FPS");
  fifo->triggerProp().triggerEnable(false);
  fifo->triggerProp().triggerModel(vxTriggerModel::freeRun());
  ASSERT_TRUE(fifo->prepare(0.0));
  EXPECT_EQ(camera.get(0x830) & (1u << 25), 0u);
  EXPECT_EQ(camera.get(0x614), 0u);
  EXPECT_TRUE(fifo->complete().info.isOtherFifoError());
  fifo->triggerProp().triggerEnable(true);
  EXPECT_EQ(camera.get(0x614), 1u << 31);
  fifo->start();  // accepted, without effect
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(fifo->complete().succeeded()) << i;
  EXPECT_EQ(fifo->outstanding(), 0);
}

TEST(AcqFifoResult, StreamConditionsBecomeFlagsTwoAtOnce) {
  FakeIidcCamera camera;
  auto fifo = fifoFor(camera, "640x480 Mono 30 FPS");
  ASSERT_TRUE(fifo->prepare(0.0));
  camera.flagNextFrame(vx_DcamFrame::kIncomplete | vx_DcamFrame::kTiming);
  fifo->start();
  vxAcqResult r = fifo->complete(1.0);
  EXPECT_TRUE(r.image);
  EXPECT_TRUE(r.info.isIncomplete());
  EXPECT_TRUE(r.info.isTiming());
  EXPECT_FALSE(r.succeeded());

  // A frame lost on the bus shows as a gap in the camera's count.
  camera.loseNextFrames(1);
  fifo->start();
  EXPECT_TRUE(fifo->complete(0.05).info.isTimeOut());
  fifo->start();
  vxAcqResult missed = fifo->complete(1.0);
  EXPECT_TRUE(missed.image);
  EXPECT_TRUE(missed.info.isMissed());
}

TEST(AcqFifoResult, AnOverrunIsFlaggedOnTheNextImage) {
  FakeIidcCamera camera;
  auto fifo = fifoFor(camera, "640x480 Mono 30 FPS");
  fifo->triggerProp().triggerModel(vxTriggerModel::automatic());
  ASSERT_TRUE(fifo->prepare(0.0));
  for (unsigned i = 0; i < vxAcqFifo::kBufferCount + 2; ++i) camera.hardwareTrigger();
  vxAcqResult r = fifo->complete(1.0);
  EXPECT_TRUE(r.info.isOverrun());
  EXPECT_FALSE(r.info.isMissed());
  EXPECT_TRUE(fifo->complete(1.0).succeeded());
}

TEST(AcqFifoProps, ContrastAndBrightnessMapOntoTheRawRanges) {
  FakeIidcCamera camera;
  auto fifo = fifoFor(camera, "640x480 Mono 30 FPS");
  vxContrastBrightnessProp* cb = fifo->contrastBrightnessProp();
  ASSERT_NE(cb, nullptr);
  EXPECT_DOUBLE_EQ(cb->contrast(), 0.25);  // from the camera's gain of 250
  for (double c = 0.0; c < 1.0001; c += 0.1) {
    const double v = std::min(c, 1.0);
    cb->contrastBrightness(v, 0.0);
    EXPECT_EQ(camera.get(0x820) & 0xFFFu, uint32_t(1000.0 * v)) << v;
    EXPECT_EQ(camera.get(0x800) & 0xFFFu, 16u);
  }
  cb->contrastBrightness(0.3, 0.5);
  EXPECT_EQ(camera.get(0x820) & 0xFFFu, 300u);
  EXPECT_EQ(camera.get(0x800) & 0xFFFu, uint32_t((1023 - 16) * 0.5 + 16));
  EXPECT_THROW(cb->contrastBrightness(1.5, 0.0), vxContrastBrightnessProp::BadParams);
  EXPECT_EQ(camera.get(0x820) & 0xFFFu, 300u);
}

TEST(AcqFifoProps, ExposureUsesTheAbsoluteValueWhenTheCameraHasOne) {
  FakeIidcCamera camera;
  auto fifo = fifoFor(camera, "640x480 Mono 30 FPS");
  ASSERT_TRUE(fifo->hasAbsoluteExposure());
  auto range = fifo->exposureRange();
  ASSERT_TRUE(range);
  EXPECT_DOUBLE_EQ(range->first, double(1e-5f));
  EXPECT_DOUBLE_EQ(range->second, 2.0);
  EXPECT_NEAR(fifo->exposureProp()->exposure(), 0.02, 1e-7);  // the camera's own value
  fifo->exposureProp()->exposure(0.125);
  EXPECT_EQ(std::bit_cast<float>(camera.get(fake::kShutterAbs + 8)), 0.125f);
  EXPECT_NE(camera.get(0x81C) & (1u << 30), 0u);
  // Outside the camera's range: refused with the property's own error, nothing written.
  EXPECT_THROW(fifo->exposureProp()->exposure(2e-6), vxExposureProp::BadParams);
  EXPECT_THROW(fifo->exposureProp()->exposure(2.5), vxExposureProp::BadParams);
  EXPECT_EQ(std::bit_cast<float>(camera.get(fake::kShutterAbs + 8)), 0.125f);
  EXPECT_DOUBLE_EQ(fifo->exposureProp()->exposure(), 0.125);
  fifo->exposureProp()->exposure(range->first);  // the limits themselves are in range
  EXPECT_EQ(std::bit_cast<float>(camera.get(fake::kShutterAbs + 8)), 1e-5f);
}

TEST(AcqFifoProps, ExposureWithoutAbsoluteControlIsInRegisterUnits) {
  FakeIidcCamera camera;
  camera.set(0x51C, 0x81000000u | (1u << 12) | 4095u);
  auto fifo = fifoFor(camera, "640x480 Mono 30 FPS");
  EXPECT_FALSE(fifo->hasAbsoluteExposure());
  EXPECT_EQ(fifo->exposureRange(), std::make_pair(1.0, 4095.0));
  fifo->exposureProp()->exposure(614.4);
  EXPECT_EQ(camera.get(0x81C) & 0xFFFu, 614u);
  EXPECT_EQ(camera.get(0x81C) & (1u << 30), 0u);
  EXPECT_THROW(fifo->exposureProp()->exposure(9000), vxExposureProp::BadParams);
  EXPECT_THROW(fifo->exposureProp()->exposure(0.2),
               vxExposureProp::BadParams);  // rounds to 0, below 1
  EXPECT_EQ(camera.get(0x81C) & 0xFFFu, 614u);
  fifo->exposureProp()->exposure(4095);
  EXPECT_EQ(camera.get(0x81C) & 0xFFFu, 4095u);

  camera.set(0x51C, 0);
  auto none = fifoFor(camera, "640x480 Mono 30 FPS");
  EXPECT_EQ(none->exposureProp(), nullptr);
  EXPECT_FALSE(none->exposureRange());
}

TEST(AcqFifoProps, RoiBecomesTheFormat7RegionAlignedToItsUnits) {
  FakeIidcCamera camera;
  auto fifo = fifoFor(camera, "Format7 Mode 0 Mono");
  fifo->roiProp().roi(45, 35, 301, 433);
  ASSERT_TRUE(fifo->prepare(0.0)) << fifo->lastError();
  EXPECT_EQ(camera.get(kF7 + 0x08), (44u << 16) | 34u);
  EXPECT_EQ(camera.get(kF7 + 0x0C), (300u << 16) | 432u);
  EXPECT_EQ(camera.lastParams().width, 300u);
  fifo->start();
  vxAcqResult r = fifo->complete(1.0);
  ASSERT_TRUE(r.succeeded());
  EXPECT_EQ(r.image->width(), 300u);
  EXPECT_EQ(r.image->height(), 432u);

  // A region smaller than a unit grows to one unit.
  fifo->roiProp().roi(3, 7, 1, 1);
  ASSERT_TRUE(fifo->prepare(0.0));
  EXPECT_EQ(camera.get(kF7 + 0x08), (2u << 16) | 6u);
  EXPECT_EQ(camera.get(kF7 + 0x0C), (4u << 16) | 2u);

  fifo->roiProp().roi(1000, 0, 640, 480);  // leaves the image
  fifo->start();
  EXPECT_TRUE(fifo->complete(1.0).info.isInvalidROI());
}

TEST(AcqFifoProps, RoiOfAStandardFormatCropsEachImage) {
  FakeIidcCamera camera;
  auto fifo = fifoFor(camera, "640x480 Mono 30 FPS");
  fifo->roiProp().roi(10, 20, 100, 50);
  fifo->start();
  vxAcqResult r = fifo->complete(1.0);
  ASSERT_TRUE(r.succeeded());
  EXPECT_EQ(r.image->width(), 100u);
  EXPECT_EQ(r.image->height(), 50u);
  EXPECT_EQ(camera.lastParams().width, 640u);
}

TEST(AcqFifoProps, BandwidthShareLowersPacketSizeOrFrameRate) {
  FakeIidcCamera camera;
  auto f7 = fifoFor(camera, "Format7 Mode 0 Mono");
  f7->bandwidthProp()->bandwidth(0.3);
  ASSERT_TRUE(f7->prepare(0.0));
  EXPECT_EQ(camera.get(kF7 + 0x44) >> 16, 1224u);  // 4096 * 0.3 down to a multiple of 8
  EXPECT_EQ(camera.lastParams().bytesPerPacket, 1224u);
  EXPECT_EQ(camera.lastParams().packetsPerFrame, (1280u * 960u + 1223u) / 1224u);

  auto std30 = fifoFor(camera, "640x480 Mono 30 FPS");
  std30->bandwidthProp()->bandwidth(0.5);
  ASSERT_TRUE(std30->prepare(0.0));
  EXPECT_EQ(camera.get(0x600), 3u << 29);  // 15 fps
  std30->bandwidthProp()->bandwidth(0.2);
  ASSERT_TRUE(std30->prepare(0.0));
  EXPECT_EQ(camera.get(0x600), 2u << 29);  // 7.5 fps, the slowest the mode has
  EXPECT_EQ(camera.lastParams().packetsPerFrame, 1067u);
}

TEST(AcqFifoProps, StrobeAndDelayGoToTheLinesControlRegister) {
  FakeIidcCamera camera;
  auto fifo = fifoFor(camera, "640x480 Mono 30 FPS");
  vxStrobeProp* strobe = fifo->strobeProp();
  ASSERT_NE(strobe, nullptr);
  strobe->strobeLine(2);
  strobe->strobeDuration(300e-6);
  fifo->strobeDelayProp()->strobeDelay(7e-6);
  strobe->strobe(true);
  EXPECT_EQ(camera.get(fake::kStrobeBlock + 0x208), (1u << 25) | (1u << 24) | (7u << 12) | 300u);
  EXPECT_THROW(strobe->strobeLine(1), vxStrobeProp::BadParams);  // no such line on this camera
  EXPECT_EQ(strobe->strobeLine(), 2);
  EXPECT_THROW(fifo->strobeDelayProp()->strobeDelay(0.01), vxStrobeDelayProp::BadParams);

  // A camera with line 2 only: the property starts there.
  camera.set(fake::kStrobeBlock, 0x20000000u);
  auto lineTwo = fifoFor(camera, "640x480 Mono 30 FPS");
  EXPECT_EQ(lineTwo->strobeProp()->strobeLine(), 2);
  EXPECT_TRUE(lineTwo->strobeProp()->strobe());
  EXPECT_NEAR(lineTwo->strobeDelayProp()->strobeDelay(), 7e-6, 1e-12);

  camera.set(0x40C, 0);
  EXPECT_EQ(fifoFor(camera, "640x480 Mono 30 FPS")->strobeProp(), nullptr);
}

TEST(AcqFifoProps, TriggerDelayNeedsTheFeature) {
  FakeIidcCamera camera;
  auto fifo = fifoFor(camera, "640x480 Mono 30 FPS");
  fifo->triggerProp().triggerDelay(0.25);
  EXPECT_EQ(std::bit_cast<float>(camera.get(fake::kTriggerDelayAbs + 8)), 0.25f);
  EXPECT_THROW(fifo->triggerProp().triggerDelay(0.75), vxTriggerProp::BadParams);
  camera.set(0x534, 0);
  auto without = fifoFor(camera, "640x480 Mono 30 FPS");
  EXPECT_THROW(without->triggerProp().triggerDelay(0.1), vxTriggerProp::BadParams);
  EXPECT_DOUBLE_EQ(without->triggerProp().triggerDelay(), 0.0);
}

TEST(AcqFifoMaster, SlavesStartWithTheirMaster) {
  FakeIidcCamera cameraA, cameraB;
  auto master = fifoFor(cameraA, "640x480 Mono 30 FPS");
  auto slave = fifoFor(cameraB, "640x480 Mono 30 FPS");
  auto sameCamera = fifoFor(cameraA, "640x480 Mono 15 FPS");
  EXPECT_THROW(slave->setMaster(slave), vxAcqFifo::InvalidMaster);
  EXPECT_THROW(sameCamera->setMaster(master), vxAcqFifo::InvalidMaster);
  slave->setMaster(master);
  EXPECT_THROW(master->setMaster(slave), vxAcqFifo::InvalidMaster);
  master->start();
  EXPECT_EQ(slave->outstanding(), 1);
  EXPECT_TRUE(slave->complete(1.0).succeeded());
  slave->setMaster(nullptr);
  master->start();
  EXPECT_EQ(slave->outstanding(), 0);
}

// A completion waiting without limit ends when the camera leaves the bus or
// when another thread cancels it.
TEST(AcqFifoThreads, AWaitingCompleteEndsOnUnplugOrCancel) {
  for (const bool unplug : {true, false}) {
    SCOPED_TRACE(unplug ? "unplug" : "cancel");
    FakeIidcCamera camera;
    auto fifo = fifoFor(camera, "640x480 Mono 30 FPS");
    fifo->triggerProp().triggerModel(vxTriggerModel::automatic());
    ASSERT_TRUE(fifo->prepare(0.0));
    vxAcqResult result;
    std::thread worker([&] { result = fifo->complete(); });  // no trigger will come
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    if (unplug)
      camera.setPlugged(false);
    else
      fifo->cancelComplete();
    worker.join();
    EXPECT_FALSE(result.image);
    if (unplug) {
      EXPECT_TRUE(result.info.isAbnormal());
      EXPECT_EQ(result.info.abnormalCode(), vxAcquireInfo::kAbnormalCameraGone);
      EXPECT_FALSE(fifo->prepare(0.0));
    } else {
      EXPECT_TRUE(result.info.isOtherFifoError());
      // A cancel with no completion waiting does not end the next one.
      fifo->cancelComplete();
      camera.hardwareTrigger();
      EXPECT_TRUE(fifo->complete(1.0).succeeded());
    }
  }
}
