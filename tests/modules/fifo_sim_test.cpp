// Acquisition FIFOs end to end on the simulated camera: triggers, queued starts, faults, bus
// events.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

#include "sim_stream_util.h"

namespace {

using namespace std::chrono_literals;
using Kind = vxTriggerModel::Kind;

constexpr const char* kVga = "640x480 Mono 30 FPS";
constexpr const char* kUxga = "1600x1200 Mono 15 FPS";

TEST(FifoSimAcquire, QueuedStartsKeepThreeAcquisitionsGoing) {
  // The KV-640M has no software trigger, so the manual model uses ONE_SHOT;
  // the TF7 Flex has one and uses it.
  for (const char* profile : {"korvane-kv640m", "tessaly-f7flex"}) {
    SimModule rig({profile});
    auto fifo = rig.fifo("640x480 Mono 15 FPS", Kind::Manual);
    fifo->queuedStarts(true);
    for (int i = 0; i < 3; ++i) fifo->start();
    EXPECT_EQ(fifo->outstanding(), 3);
    for (int i = 0; i < 6; ++i) {
      vxAcqResult r = fifo->complete(2.0);
      EXPECT_TRUE(r.succeeded()) << profile << " " << i << flagsOf(r.info);
      EXPECT_EQ(fifo->outstanding(), 3) << profile << " " << i;
    }
  }
}

TEST(FifoSimAcquire, StartIsRefusedBeyondTheQueueAndForAGoneCamera) {
  SimModule rig({"korvane-kv640m", "tessaly-f7flex"});
  auto fifo = rig.fifo(kVga, Kind::Manual);
  for (int i = 0; i < vxAcqFifo::kMaxOutstanding; ++i) fifo->start();
  EXPECT_THROW(fifo->start(), vxAcqFifo::StartNotAllowed);
  EXPECT_TRUE(fifo->complete(2.0).succeeded());

  auto other = rig.fifo("Format7 Mode 1 Mono", Kind::Manual, 1);
  rig.sim().unplug(1);
  EXPECT_THROW(other->start(), vxAcqFifo::StartNotAllowed);
}

TEST(FifoSimTrigger, AutoHardwareTriggerTimesOutWithoutATriggerAndFiresWithOne) {
  SimModule rig({"korvane-kv640m"});
  auto fifo = rig.fifo(kVga, Kind::Auto);
  vxAcqResult none = fifo->complete(0.2);
  EXPECT_TRUE(none.info.isTimeOut());
  EXPECT_FALSE(none.image);
  rig.sim().fireTrigger(0);
  vxAcqResult one = fifo->complete(2.0);
  EXPECT_TRUE(one.succeeded()) << flagsOf(one.info);
  EXPECT_TRUE(fifo->complete(0.1).info.isTimeOut()) << "one trigger, one image";
}

TEST(FifoSimTrigger, SemiHardwareTriggerNeedsAStartAndATrigger) {
  SimModule rig({"korvane-kv640m"});
  auto fifo = rig.fifo(kVga, Kind::Semi);
  rig.sim().fireTrigger(0);  // not armed: the camera is not streaming
  fifo->start();
  EXPECT_TRUE(fifo->complete(0.2).info.isTimeOut());
  fifo->start();
  rig.sim().fireTrigger(0);
  vxAcqResult r = fifo->complete(2.0);
  EXPECT_TRUE(r.succeeded()) << flagsOf(r.info);
}

TEST(FifoSimTrigger, MissedTriggersShowAsMissedAcquisitions) {
  SimModule rig({"korvane-kv640m"});
  rig.sim().setMissedTriggerRatio(0, 0.5);
  auto fifo = rig.fifo(kVga, Kind::Auto);
  rig.sim().fireTrigger(0);
  EXPECT_TRUE(fifo->complete(2.0).succeeded());
  rig.sim().fireTrigger(0);  // lost on the way
  EXPECT_TRUE(fifo->complete(0.2).info.isTimeOut());
  rig.sim().fireTrigger(0);
  vxAcqResult r = fifo->complete(2.0);
  EXPECT_TRUE(r.image);
  EXPECT_TRUE(r.info.isMissed()) << flagsOf(r.info);
}

TEST(FifoSimFaults, ImageFaultsReachTheResultRecord) {
  SimModule rig({"korvane-kv640m"});
  auto fifo = rig.fifo(kVga, Kind::FreeRun);
  rig.sim().setIncompleteRatio(0, 1.0);
  fifo->flush();
  vxAcqResult spoilt = fifo->complete(2.0);
  for (int i = 0; i < 10 && !spoilt.info.isIncomplete(); ++i) spoilt = fifo->complete(2.0);
  EXPECT_TRUE(spoilt.info.isIncomplete());
  EXPECT_TRUE(spoilt.image) << "an incomplete image is still handed out";
  rig.sim().setIncompleteRatio(0, 0.0);

  rig.sim().setStalled(0, true);
  fifo->flush();
  EXPECT_TRUE(fifo->complete(0.2).info.isTimeOut());
  rig.sim().setStalled(0, false);
  EXPECT_TRUE(fifo->complete(2.0).succeeded());
}

TEST(FifoSimFaults, AConsumerThatFallsBehindOverruns) {
  SimModule rig({"korvane-kv640m"}, 100.0);
  auto fifo = rig.fifo(kVga, Kind::FreeRun);
  EXPECT_TRUE(fifo->complete(2.0).succeeded());
  // Let the camera run well past the FIFO's buffers before the next complete.
  ASSERT_TRUE(waitFramesTaken(rig.sim(), 0, rig.sim().framesTaken(0) + 64));
  vxAcqResult r = fifo->complete(2.0);
  EXPECT_TRUE(r.info.isOverrun()) << flagsOf(r.info);
}

TEST(FifoSimFaults, ASecondStreamBeyondTheBusFailsTimingUntilItsShareFits) {
  SimModule rig({"orbel-ux1600b", "orbel-ux1600b"});
  auto first = rig.fifo(kUxga, Kind::FreeRun, 0);
  EXPECT_TRUE(first->complete(2.0).succeeded());
  auto second = rig.fifo(kUxga, Kind::FreeRun, 1);
  vxAcqResult r = second->complete(2.0);
  EXPECT_TRUE(r.info.isTiming()) << flagsOf(r.info);
  EXPECT_TRUE(first->complete(2.0).succeeded()) << "the first stream keeps its bandwidth";

  // An eighth of the bandwidth: 1.875 FPS, 450 bytes a cycle, which fits.
  second->bandwidthProp()->bandwidth(0.125);
  r = second->complete(2.0);
  EXPECT_TRUE(r.succeeded()) << flagsOf(r.info);
}

TEST(FifoSimPicture, EveryFormat7CodingArrivesWithDetail) {
  SimModule rig({"orbel-ux1600b"}, 8.0);
  int seen = 0;
  for (const std::string& name : vxVideoFormat::supportedNames(rig.camera())) {
    if (name.rfind("Format7", 0) != 0) continue;
    auto fifo = rig.fifo(name, Kind::FreeRun);
    vxAcqResult r = fifo->complete(5.0);
    ASSERT_TRUE(r.succeeded()) << name << flagsOf(r.info);
    EXPECT_EQ(r.image->width(), fifo->imageWidth()) << name;
    EXPECT_EQ(r.image->coding(), fifo->videoFormat().coding()) << name;
    const auto [lo, hi] =
        std::minmax_element(r.image->data(), r.image->data() + r.image->byteCount());
    EXPECT_LT(*lo, *hi) << name << " is blank";
    ++seen;
  }
  EXPECT_EQ(seen, 14);
}

TEST(FifoSimPicture, Format7RegionIsCutFromTheSensor) {
  SimModule rig({"tessaly-f7flex"});
  rig.sim().setTestPattern(0, true);
  auto fifo = rig.fifo("Format7 Mode 0 Mono", Kind::Manual);
  fifo->start();
  vxAcqResult full = fifo->complete(2.0);
  ASSERT_TRUE(full.succeeded()) << flagsOf(full.info);
  ASSERT_EQ(full.image->width(), 1280u);
  fifo->roiProp().roi(256, 128, 320, 240);
  fifo->start();
  vxAcqResult part = fifo->complete(2.0);
  ASSERT_TRUE(part.succeeded()) << flagsOf(part.info);
  ASSERT_EQ(part.image->width(), 320u);
  ASSERT_EQ(part.image->height(), 240u);
  for (uint32_t y = 0; y < 240; y += 47)
    for (uint32_t x = 0; x < 320; x += 31)
      EXPECT_EQ(part.image->greyValue(x, y), full.image->greyValue(256 + x, 128 + y))
          << x << "," << y;
}

TEST(FifoSimBusEvents, UnplugEndsAWaitingCompletePromptly) {
  SimModule rig({"korvane-kv640m"});
  auto fifo = rig.fifo(kVga, Kind::Auto);  // nothing comes without a trigger
  auto waiting = std::async(std::launch::async, [&] { return fifo->complete(); });
  EXPECT_EQ(waiting.wait_for(100ms), std::future_status::timeout);
  rig.sim().unplug(0);
  ASSERT_EQ(waiting.wait_for(2s), std::future_status::ready);
  vxAcqResult r = waiting.get();
  EXPECT_TRUE(r.info.isAbnormal());
  EXPECT_EQ(r.info.abnormalCode(), vxAcquireInfo::kAbnormalCameraGone);
  EXPECT_THROW(fifo->start(), vxAcqFifo::StartNotAllowed);

  // Back on the bus, the FIFO sets the camera up again.
  rig.sim().replug(0);
  fifo->triggerProp().triggerModel(vxTriggerModel::freeRun());
  vxAcqResult again = fifo->complete(2.0);
  EXPECT_TRUE(again.succeeded()) << flagsOf(again.info);
}

TEST(FifoSimBusEvents, CancelEndsAWaitingComplete) {
  SimModule rig({"korvane-kv640m"});
  auto fifo = rig.fifo(kVga, Kind::Auto);
  auto waiting = std::async(std::launch::async, [&] { return fifo->complete(); });
  EXPECT_EQ(waiting.wait_for(50ms), std::future_status::timeout);
  fifo->cancelComplete();
  ASSERT_EQ(waiting.wait_for(2s), std::future_status::ready);
  EXPECT_TRUE(waiting.get().info.isOtherFifoError());
}

}  // namespace
