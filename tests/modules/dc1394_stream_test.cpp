// Tests of the libdc1394 image stream: frames made from capture buffers, and waits that end without a camera.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include "modules/qrvnvdcam/dc1394/dc1394_stream.h"

namespace {

using namespace std::chrono_literals;

vx_StreamParams mono8(uint32_t width, uint32_t height) {
  vx_StreamParams params;
  params.width = width;
  params.height = height;
  params.coding = vxPixelCoding::Mono8;
  params.frameBytes = size_t{width} * height;
  return params;
}

dc1394video_frame_t bufferOf(std::vector<unsigned char>& bytes) {
  dc1394video_frame_t frame{};
  frame.image = bytes.data();
  frame.image_bytes = static_cast<uint32_t>(bytes.size());
  return frame;
}

TEST(Dc1394Frame, CopiesAWholeFrameWithItsGeometry) {
  std::vector<unsigned char> bytes(12);
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(i + 1);
  const auto steady = std::chrono::steady_clock::now();
  const auto frame = vxFrameFromDc1394(bufferOf(bytes), false, mono8(4, 3), 5, false,
                                       std::chrono::system_clock::now(), steady);
  EXPECT_EQ(frame.flags, 0u);
  EXPECT_EQ(frame.width, 4u);
  EXPECT_EQ(frame.height, 3u);
  EXPECT_EQ(frame.sequence, 5u);
  ASSERT_TRUE(frame.hasImage());
  EXPECT_EQ(*frame.data, std::vector<uint8_t>(bytes.begin(), bytes.end()));
  // The buffer goes back to libdc1394: the frame must not share it.
  bytes[0] = 99;
  EXPECT_EQ((*frame.data)[0], 1);
  EXPECT_EQ(frame.timestamp, steady);
}

TEST(Dc1394Frame, CorruptOrShortBuffersAreIncomplete) {
  std::vector<unsigned char> bytes(12, 7);
  const auto now = std::chrono::system_clock::now();
  const auto steady = std::chrono::steady_clock::now();
  auto corrupt = vxFrameFromDc1394(bufferOf(bytes), true, mono8(4, 3), 0, false, now, steady);
  EXPECT_TRUE(corrupt.has(vx_DcamFrame::kIncomplete));
  EXPECT_TRUE(corrupt.hasImage());

  // Fewer bytes than the geometry needs: padded with zeros to full size.
  auto shortFrame = vxFrameFromDc1394(bufferOf(bytes), false, mono8(4, 4), 0, false, now, steady);
  EXPECT_TRUE(shortFrame.has(vx_DcamFrame::kIncomplete));
  ASSERT_EQ(shortFrame.data->size(), 16u);
  EXPECT_EQ((*shortFrame.data)[11], 7);
  EXPECT_EQ((*shortFrame.data)[12], 0);

  // Vendor padding past the image is cut off and is no fault.
  auto padded = vxFrameFromDc1394(bufferOf(bytes), false, mono8(4, 2), 0, true, now, steady);
  EXPECT_FALSE(padded.has(vx_DcamFrame::kIncomplete));
  EXPECT_TRUE(padded.has(vx_DcamFrame::kOverrun));
  EXPECT_EQ(padded.data->size(), 8u);
}

TEST(Dc1394Frame, CarriesTheCaptureTimeOverToTheSteadyClock) {
  std::vector<unsigned char> bytes(4);
  dc1394video_frame_t source = bufferOf(bytes);
  const auto now = std::chrono::system_clock::now();
  const auto steady = std::chrono::steady_clock::now();
  source.timestamp = static_cast<uint64_t>(
      std::chrono::duration_cast<std::chrono::microseconds>((now - 25ms).time_since_epoch()).count());
  const auto frame = vxFrameFromDc1394(source, false, mono8(2, 2), 0, false, now, steady);
  const auto age = std::chrono::duration_cast<std::chrono::microseconds>(steady - frame.timestamp);
  EXPECT_GE(age.count(), 25000 - 1);
  EXPECT_LE(age.count(), 25000 + 1);
  // A stamp ahead of the clock is not trusted.
  source.timestamp += 60'000'000;
  EXPECT_EQ(vxFrameFromDc1394(source, false, mono8(2, 2), 0, false, now, steady).timestamp, steady);
}

// A stream that was never started touches no camera; its waits end by
// interrupt, unplug or time-out alone.
struct IdleStream {
  std::mutex transactions;
  std::atomic<bool> plugged{true};
  vx_Dc1394Stream stream{vx_Dc1394StreamHost{nullptr, &transactions, [this] { return plugged.load(); }, nullptr},
                         mono8(4, 4)};
};

TEST(Dc1394Stream, WaitsEndByTimeOutInterruptOrUnplug) {
  IdleStream idle;
  EXPECT_FALSE(idle.stream.waitFrame(0.02).has_value());

  // An interrupt with no wait in progress ends the next one at once, once.
  idle.stream.interrupt();
  auto frame = idle.stream.waitFrame(-1);
  ASSERT_TRUE(frame.has_value());
  EXPECT_TRUE(frame->has(vx_DcamFrame::kInterrupted));
  EXPECT_FALSE(frame->hasImage());
  EXPECT_FALSE(idle.stream.waitFrame(0.0).has_value());

  idle.plugged = false;
  frame = idle.stream.waitFrame(10.0);
  ASSERT_TRUE(frame.has_value());
  EXPECT_TRUE(frame->has(vx_DcamFrame::kUnplugged));
  EXPECT_FALSE(frame->hasImage());
}

TEST(Dc1394Stream, InterruptOrUnplugEndsAWaitOnAnotherThread) {
  for (const bool unplug : {false, true}) {
    IdleStream idle;
    std::optional<vx_DcamFrame> frame;
    std::thread waiter([&] { frame = idle.stream.waitFrame(-1); });
    std::this_thread::sleep_for(20ms);
    if (unplug)
      idle.plugged = false;
    else
      idle.stream.interrupt();
    waiter.join();
    ASSERT_TRUE(frame.has_value());
    EXPECT_TRUE(frame->has(unplug ? vx_DcamFrame::kUnplugged : vx_DcamFrame::kInterrupted));
  }
}

TEST(Dc1394Stream, StartFailsOnceTheCameraHasGone) {
  IdleStream idle;
  idle.plugged = false;
  std::string error;
  EXPECT_FALSE(idle.stream.start(4, &error));
  EXPECT_NE(error.find("left the bus"), std::string::npos) << error;
  // Stopping and flushing a stream that never ran are harmless.
  idle.stream.flush();
  idle.stream.stop();
}

}  // namespace
