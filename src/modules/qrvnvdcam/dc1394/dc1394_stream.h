// The image stream of a libdc1394 camera over libdc1394's capture API.
#pragma once

#include <dc1394/dc1394.h>

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <mutex>

#include "acquisition/dcam_stream.h"

// What a stream needs of its camera in the bus layer.
struct vx_Dc1394StreamHost {
  dc1394camera_t* camera = nullptr;
  // The camera's transaction lock: capture set-up and tear-down send
  // register transactions through the same device as quadlet access does.
  std::mutex* transactions = nullptr;
  // False once the camera has left the bus.
  std::function<bool()> plugged;
  // The capture descriptor hung up or a dequeue failed (with the errno it
  // left, 0 when there is none): the layer looks whether the camera's device
  // is still there (and reports the unplug when it is not).
  std::function<void(int)> suspectGone;
};

// One frame as the stream hands it out, made from a libdc1394 frame buffer:
// the bytes are copied (the buffer goes back to the ring at once), padded
// with zeros or cut to the frame size the stream was opened for. A frame
// libdc1394 finds corrupt, or one shorter than expected, is incomplete.
// libdc1394 stamps frames in microseconds of the system clock; systemNow and
// steadyNow are one instant on both clocks, to carry the stamp across.
vx_DcamFrame vxFrameFromDc1394(const dc1394video_frame_t& source, bool corrupt, const vx_StreamParams& params,
                               uint64_t sequence, bool overrun, std::chrono::system_clock::time_point systemNow,
                               std::chrono::steady_clock::time_point steadyNow);

class vx_Dc1394Stream final : public vx_DcamStream {
 public:
  vx_Dc1394Stream(vx_Dc1394StreamHost host, const vx_StreamParams& params);
  ~vx_Dc1394Stream() override;
  vx_Dc1394Stream(const vx_Dc1394Stream&) = delete;
  vx_Dc1394Stream& operator=(const vx_Dc1394Stream&) = delete;

  bool start(unsigned bufferCount, std::string* error = nullptr) override;
  void stop() override;
  std::optional<vx_DcamFrame> waitFrame(double timeoutSeconds) override;
  void interrupt() override;
  void flush() override;

 private:
  // The oldest frame libdc1394 holds, without waiting.
  std::optional<vx_DcamFrame> takeFrame();
  // Gives every buffer taken from the ring and not handed out back to it.
  void returnHeld();
  vx_DcamFrame marker(uint32_t flags) const;
  bool plugged() const { return !m_host.plugged || m_host.plugged(); }

  vx_Dc1394StreamHost m_host;
  const vx_StreamParams m_params;
  int m_wakeFd = -1;
  std::atomic<bool> m_interruptPending{false};
  bool m_running = false;
  unsigned m_ringSize = 0;
  // Filled buffers taken from libdc1394's ring, oldest first, not yet handed
  // out. libdc1394's Linux capture never says how far behind the reader is,
  // so the stream takes everything ready at once: when that is the whole
  // ring, the kernel has had nowhere to put what the camera kept sending.
  std::deque<dc1394video_frame_t*> m_held;
  uint64_t m_sent = 0;     // frames received since start(), handed out or dropped
  bool m_overrun = false;  // the next frame handed out follows dropped ones
  // The last dequeue failed: the next one waits until the capture
  // descriptor has something to read, so a descriptor that keeps failing
  // does not pour out lost frames as fast as the reader asks.
  bool m_dequeueFailed = false;
};
