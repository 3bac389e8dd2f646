// The isochronous image stream of one camera, as a bus layer delivers it.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/pixel_coding.h"

// What the acquisition FIFO tells a bus layer about the stream it wants. The
// camera's registers have already been programmed to match when the stream
// is opened; a bus layer may read them again instead of trusting these
// figures, but must deliver frames of exactly this geometry.
struct vx_StreamParams {
  // Video format, mode and frame rate index as programmed (format 7: rate 0).
  uint32_t format = 0;
  uint32_t mode = 0;
  uint32_t rate = 0;
  // Geometry of one frame on the wire.
  uint32_t width = 0;
  uint32_t height = 0;
  vxPixelCoding coding = vxPixelCoding::Mono8;
  // Bytes of one frame; width * height * bits per pixel / 8.
  size_t frameBytes = 0;
  // Isochronous payload per 125 us cycle and the packets one frame takes.
  uint32_t bytesPerPacket = 0;
  uint32_t packetsPerFrame = 0;
};

// One frame received from the camera. A frame owns its bytes; the FIFO hands
// them on to the image it returns without copying.
struct vx_DcamFrame {
  // Conditions a bus layer reports with a frame. A frame flagged kUnplugged
  // or kInterrupted carries no image data.
  static constexpr uint32_t kIncomplete = 1u << 0;  // packets were lost
  static constexpr uint32_t kOverrun = 1u << 1;     // older frames were dropped for lack of buffers
  static constexpr uint32_t kTiming = 1u << 2;      // the bus could not carry the stream in time
  static constexpr uint32_t kUnplugged = 1u << 3;   // the camera left the bus; no more frames
  static constexpr uint32_t kInterrupted = 1u << 4;  // interrupt() ended the wait

  std::shared_ptr<const std::vector<uint8_t>> data;
  uint32_t width = 0;
  uint32_t height = 0;
  vxPixelCoding coding = vxPixelCoding::Mono8;
  // When the last packet arrived.
  std::chrono::steady_clock::time_point timestamp{};
  // Counts every frame the camera sent since start(), delivered or not, so a
  // gap tells the receiver that frames were lost.
  uint64_t sequence = 0;
  uint32_t flags = 0;

  bool has(uint32_t flag) const { return (flags & flag) != 0; }
  bool hasImage() const { return data != nullptr; }
};

// The image data of one camera. The camera decides when frames come, as its
// registers say (ISO_EN continuous, ONE_SHOT, MULTI_SHOT, SOFTWARE_TRIGGER, a
// hardware trigger); the stream only receives them. One thread at a time
// calls start/stop/waitFrame/flush; interrupt() may come from any thread.
class vx_DcamStream {
 public:
  virtual ~vx_DcamStream() = default;

  // Allocates the isochronous channel and bufferCount frame buffers and
  // begins to receive. Returns false with a reason in *error when the bus
  // cannot carry the stream or the camera is gone. Starting a running stream
  // restarts it.
  virtual bool start(unsigned bufferCount, std::string* error = nullptr) = 0;
  // Stops receiving and frees the channel and buffers; frames not yet taken
  // are dropped. Harmless on a stopped stream.
  virtual void stop() = 0;

  // The oldest received frame not yet taken. Waits at most timeoutSeconds
  // (a negative or infinite time waits without limit); nothing on timeout.
  // When all buffers are full the stream drops the oldest frame and flags
  // the next one it hands out kOverrun. Returns at once with a frame flagged
  // kUnplugged when the camera leaves the bus (also during the wait), and
  // with one flagged kInterrupted when interrupt() was called.
  virtual std::optional<vx_DcamFrame> waitFrame(double timeoutSeconds) = 0;

  // Ends a waitFrame in progress on another thread; when none is in progress
  // the next one returns at once instead.
  virtual void interrupt() = 0;

  // Drops every received frame not yet taken; the stream keeps running.
  virtual void flush() = 0;
};
