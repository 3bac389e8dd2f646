// The simulated camera's image stream: delivery by its registers, pacing, picture and faults.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "sim_stream_util.h"

namespace {

using namespace std::chrono_literals;

constexpr uint32_t kOn = 0x80000000u;
constexpr uint32_t kIsoEn = 0x614;
constexpr uint32_t kOneShot = 0x61C;
constexpr uint32_t kSoftwareTrigger = 0x62C;
constexpr uint32_t kTriggerMode = 0x830;
constexpr uint32_t kBrightness = 0x800;
constexpr uint32_t kShutter = 0x81C;
constexpr uint32_t kGain = 0x820;

// One simulated bus with a stream on each camera, driven register by register.
class Rig {
 public:
  explicit Rig(std::vector<std::string> names, double timeScale = 0.0) : m_bus(load(names)) {
    m_bus.simControl()->setTimeScale(timeScale);
  }
  vx_SimBus& bus() { return m_bus; }
  vx_SimBusControl& sim() { return *m_bus.simControl(); }
  vx_SimCamera& camera(int i = 0) { return m_bus.simCamera(i); }
  void write(uint32_t address, uint32_t value, int i = 0) { writeOk(camera(i), address, value); }
  uint32_t read(uint32_t address, int i = 0) { return readOk(camera(i), address); }

  std::unique_ptr<vx_DcamStream> started(int i = 0, unsigned buffers = 8) {
    auto stream = m_bus.openStream(i, streamParamsOf(camera(i).videoSetting()));
    std::string error;
    EXPECT_TRUE(stream->start(buffers, &error)) << error;
    return stream;
  }

 private:
  static std::vector<vx_SimProfile> load(const std::vector<std::string>& names) {
    std::vector<vx_SimProfile> profiles;
    for (const auto& n : names) profiles.push_back(shippedProfile(n));
    return profiles;
  }
  vx_SimBus m_bus;
};

std::vector<vx_DcamFrame> take(vx_DcamStream& stream, int count, double timeout = 2.0) {
  std::vector<vx_DcamFrame> frames;
  for (int i = 0; i < count; ++i) {
    auto frame = stream.waitFrame(timeout);
    if (!frame) break;
    frames.push_back(*frame);
  }
  return frames;
}

TEST(SimStreamTiming, FramePeriodFollowsRateOrFormat7Packets) {
  vx_SimVideoSetting vga;
  vga.format = 0;
  vga.mode = 5;
  vga.rate = 4;
  vga.width = 640;
  vga.height = 480;
  EXPECT_NEAR(vxSimFramePeriod(vga), 1.0 / 30, 1e-12);
  vga.rate = 0;
  EXPECT_NEAR(vxSimFramePeriod(vga), 1.0 / 1.875, 1e-12);
  // 307200 bytes in 267 cycles of a 30 fps frame.
  vga.rate = 4;
  EXPECT_EQ(vxSimBytesPerCycle(vga), 1151u);

  vx_SimVideoSetting f7;
  f7.format = 7;
  f7.packetsPerFrame = 1000;
  f7.bytesPerPacket = 2048;
  EXPECT_NEAR(vxSimFramePeriod(f7), 0.125, 1e-12);
  EXPECT_EQ(vxSimBytesPerCycle(f7), 2048u);
}

TEST(SimStreamTiming, TimeScaleComesFromTheEnvironment) {
  const char* saved = std::getenv("PRALIX_SIM_TIMESCALE");
  const std::string keep = saved ? saved : "";
  setenv("PRALIX_SIM_TIMESCALE", "25", 1);
  EXPECT_EQ(vx_SimBus::timeScaleFromEnvironment(), 25.0);
  {
    vx_SimBus bus({shippedProfile("korvane-kv640m")});
    EXPECT_EQ(bus.simControl()->timeScale(), 25.0);
    bus.simControl()->setTimeScale(-1.0);  // refused
    EXPECT_EQ(bus.simControl()->timeScale(), 25.0);
  }
  for (const char* bad : {"fast", "-2", "3x", ""}) {
    setenv("PRALIX_SIM_TIMESCALE", bad, 1);
    EXPECT_EQ(vx_SimBus::timeScaleFromEnvironment(), 1.0) << bad;
  }
  setenv("PRALIX_SIM_TIMESCALE", "0", 1);
  EXPECT_EQ(vx_SimBus::timeScaleFromEnvironment(), 0.0);
  if (saved)
    setenv("PRALIX_SIM_TIMESCALE", keep.c_str(), 1);
  else
    unsetenv("PRALIX_SIM_TIMESCALE");
}

TEST(SimStreamTiming, PacedFramesNeverComeEarly) {
  // 30 fps at ten times real time: one frame every 3.33 ms at the most.
  // The bound runs from before ISO_EN, so a busy machine can only lengthen
  // the wait, never break the check; how close the pace comes to the
  // format's rate is the pacing benchmark's business.
  Rig rig({"korvane-kv640m"}, 10.0);
  auto stream = rig.started();
  const auto enabled = std::chrono::steady_clock::now();
  rig.write(kIsoEn, kOn);
  const auto frames = take(*stream, 16);
  ASSERT_EQ(frames.size(), 16u);
  const double spent = std::chrono::duration<double>(frames.back().timestamp - enabled).count();
  EXPECT_GE(spent, 16 * (1.0 / 300) * 0.999);
  for (size_t i = 1; i < frames.size(); ++i) {
    EXPECT_GT(frames[i].timestamp, frames[i - 1].timestamp);
    EXPECT_EQ(frames[i].sequence, frames[i - 1].sequence + 1);
  }
}

TEST(SimStreamDelivery, IsoEnableStreamsNumberedMovingFrames) {
  Rig rig({"korvane-kv640m"});
  auto stream = rig.started();
  EXPECT_FALSE(stream->waitFrame(0.05)) << "nothing comes before ISO_EN";
  rig.write(kIsoEn, kOn);
  const auto frames = take(*stream, 4);
  ASSERT_EQ(frames.size(), 4u);
  for (size_t i = 0; i < frames.size(); ++i) {
    const vx_DcamFrame& f = frames[i];
    EXPECT_EQ(f.sequence, i + 1);
    EXPECT_EQ(f.flags, 0u);
    EXPECT_EQ(f.width, 640u);
    EXPECT_EQ(f.height, 480u);
    EXPECT_EQ(f.coding, vxPixelCoding::Mono8);
    ASSERT_TRUE(f.hasImage());
    EXPECT_EQ(f.data->size(), 640u * 480u);
  }
  EXPECT_NE(*frames[0].data, *frames[1].data) << "the scene moves";

  rig.write(kIsoEn, 0);
  stream->flush();
  const uint64_t taken = rig.sim().framesTaken(0);
  EXPECT_FALSE(stream->waitFrame(0.05));
  EXPECT_EQ(rig.sim().framesTaken(0), taken);
}

TEST(SimStreamDelivery, OneShotAndMultiShotServeTheirCountAndClear) {
  Rig rig({"tessaly-f7flex"});
  auto stream = rig.started();
  rig.write(kOneShot, kOn);
  ASSERT_TRUE(stream->waitFrame(2.0));
  EXPECT_FALSE(stream->waitFrame(0.05));
  EXPECT_EQ(rig.read(kOneShot), 0u);

  rig.write(kOneShot, 0x40000003u);  // multi-shot, 3 frames
  EXPECT_EQ(take(*stream, 3).size(), 3u);
  EXPECT_FALSE(stream->waitFrame(0.05));
  EXPECT_EQ(rig.read(kOneShot) & 0xC0000000u, 0u);

  // While streaming ONE_SHOT means nothing and clears at once.
  rig.write(kIsoEn, kOn);
  take(*stream, 1);
  rig.write(kOneShot, kOn);
  EXPECT_EQ(rig.read(kOneShot), 0u);
}

TEST(SimStreamDelivery, SoftwareTriggerGivesOneFrameEach) {
  Rig rig({"tessaly-f7flex"});
  auto stream = rig.started();
  rig.write(kTriggerMode, 0x82000000u | 7u << 21);  // on, source 7, mode 0
  rig.write(kIsoEn, kOn);
  EXPECT_FALSE(stream->waitFrame(0.1)) << "trigger mode waits for triggers";
  for (int i = 0; i < 2; ++i) {
    rig.write(kSoftwareTrigger, kOn);
    ASSERT_TRUE(stream->waitFrame(2.0)) << i;
    EXPECT_FALSE(stream->waitFrame(0.05)) << i;
    EXPECT_EQ(rig.read(kSoftwareTrigger), 0u);
  }
}

TEST(SimStreamDelivery, HardwareTriggerOnlyInTriggerModeWithIsoOn) {
  Rig rig({"korvane-kv640m"});
  auto stream = rig.started();
  rig.sim().fireTrigger(0);              // ISO_EN off: nothing
  rig.write(kTriggerMode, 0x82000000u);  // on, source 0, mode 0
  rig.sim().fireTrigger(0);              // still off
  rig.write(kIsoEn, kOn);
  EXPECT_FALSE(stream->waitFrame(0.1)) << "no trigger fires by itself";
  rig.sim().fireTrigger(0);
  rig.sim().fireTrigger(0);
  EXPECT_EQ(take(*stream, 2).size(), 2u);
  EXPECT_FALSE(stream->waitFrame(0.05));
}

TEST(SimStreamPicture, ControlsAndTestPatternShapeTheImage) {
  Rig rig({"korvane-kv640m"});
  auto stream = rig.started();
  rig.write(kIsoEn, kOn);
  // Like a real camera the simulated one is a frame behind with its settings:
  // the frame on its way when a setting changes still shows the old one.
  auto settled = [&] {
    stream->flush();
    stream->waitFrame(2.0);
    return stream->waitFrame(2.0);
  };
  auto mean = [&] {
    auto f = settled();
    return f && f->hasImage() ? meanByte(*f->data) : -1.0;
  };
  const double nominal = mean();
  EXPECT_GT(nominal, 20.0);
  EXPECT_LT(nominal, 235.0);
  rig.write(kGain, 0x82000000u | 600u);  // far more gain
  const double gained = mean();
  EXPECT_GT(gained, nominal + 20);
  rig.write(kGain, 0x82000000u | 120u);     // back to power-on gain
  rig.write(kShutter, 0x82000000u | 100u);  // a quarter of the exposure
  const double shorter = mean();
  EXPECT_LT(shorter, nominal - 20);
  rig.write(kShutter, 0x82000000u | 400u);
  rig.write(kBrightness, 0x82000000u | 255u);  // the highest black level
  EXPECT_GT(mean(), nominal + 20);

  rig.sim().setTestPattern(0, true);
  auto a = settled();
  auto b = stream->waitFrame(2.0);
  ASSERT_TRUE(a && b);
  EXPECT_EQ(*a->data, *b->data) << "the test pattern stands still";
  rig.write(kGain, 0x82000000u | 600u);
  auto c = settled();
  ASSERT_TRUE(c);
  EXPECT_EQ(*a->data, *c->data) << "and ignores the controls";
}

TEST(SimStreamFaults, IncompleteAndMissedFramesComeAtTheirRatio) {
  Rig rig({"korvane-kv640m"});
  auto stream = rig.started();
  rig.sim().setIncompleteRatio(0, 0.5);
  rig.write(kIsoEn, kOn);
  const auto frames = take(*stream, 6);
  ASSERT_EQ(frames.size(), 6u);
  for (size_t i = 0; i < frames.size(); ++i) {
    EXPECT_EQ(frames[i].has(vx_DcamFrame::kIncomplete), i % 2 == 1) << i;
    ASSERT_TRUE(frames[i].hasImage());
    // Lost packets leave the end of the frame empty.
    const auto& d = *frames[i].data;
    const bool tailEmpty = std::all_of(d.end() - 1000, d.end(), [](uint8_t v) { return v == 0; });
    EXPECT_EQ(tailEmpty, i % 2 == 1) << i;
  }

  Rig lossy({"korvane-kv640m"});
  auto lossyStream = lossy.started();
  lossy.sim().setMissedTriggerRatio(0, 0.5);
  lossy.write(kIsoEn, kOn);
  const auto missed = take(*lossyStream, 4);
  ASSERT_EQ(missed.size(), 4u);
  for (size_t i = 0; i < missed.size(); ++i)
    EXPECT_EQ(missed[i].sequence, 2 * i + 1) << "every other frame is lost";
  EXPECT_GE(lossy.sim().framesTaken(0), 7u);
}

TEST(SimStreamFaults, UnpacedDeliveryWaitsForRoomInsteadOfOverrunning) {
  Rig rig({"korvane-kv640m"}, 0.0);
  auto stream = rig.started(0, 2);
  rig.write(kIsoEn, kOn);
  std::this_thread::sleep_for(30ms);
  const auto frames = take(*stream, 5);
  ASSERT_EQ(frames.size(), 5u);
  for (size_t i = 0; i < frames.size(); ++i) {
    EXPECT_EQ(frames[i].sequence, i + 1);
    EXPECT_FALSE(frames[i].has(vx_DcamFrame::kOverrun));
  }
}

TEST(SimStreamBusEvents, BusResetStopsTransmission) {
  Rig rig({"korvane-kv640m", "tessaly-f7flex"});
  auto stream = rig.started(0);
  rig.write(kIsoEn, kOn, 0);
  ASSERT_TRUE(stream->waitFrame(2.0));
  rig.bus().busReset();
  EXPECT_EQ(rig.read(kIsoEn, 0), 0u);
  stream->flush();
  EXPECT_FALSE(stream->waitFrame(0.1));
  // Switched on again, it streams again.
  rig.write(kIsoEn, kOn, 0);
  EXPECT_TRUE(stream->waitFrame(2.0));
  // Any change of the bus is a reset: the other camera leaving stops this one too.
  rig.bus().unplug(1);
  EXPECT_EQ(rig.read(kIsoEn, 0), 0u);
}

TEST(SimStreamChannel, ANewStreamTakesTheChannel) {
  Rig rig({"korvane-kv640m"});
  auto first = rig.started();
  auto second = rig.started();
  rig.write(kIsoEn, kOn);
  EXPECT_TRUE(second->waitFrame(2.0));
  first->flush();
  EXPECT_FALSE(first->waitFrame(0.05));
  first.reset();  // the old receiver going does not disturb the new one
  EXPECT_TRUE(second->waitFrame(2.0));
}

TEST(SimStreamChannel, StartRejectsAGeometryThatDoesNotAddUp) {
  Rig rig({"korvane-kv640m"});
  vx_StreamParams params = streamParamsOf(rig.camera().videoSetting());
  params.frameBytes -= 1;
  auto stream = rig.bus().openStream(0, params);
  std::string error;
  EXPECT_FALSE(stream->start(8, &error));
  EXPECT_FALSE(error.empty());
  EXPECT_EQ(rig.bus().openStream(5, params), nullptr);
}

}  // namespace
