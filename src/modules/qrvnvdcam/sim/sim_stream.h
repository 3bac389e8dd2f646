// The receiving end of a simulated camera's isochronous stream: the buffers a program waits on.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>

#include "acquisition/dcam_stream.h"

class vx_SimTransmitter;

// Frames land in a ring of bufferCount buffers. When the ring is full the
// oldest frame is dropped and the frame handed out next carries kOverrun.
// The transmitter of the camera is the only producer; the program's thread
// is the only consumer.
class vx_SimStream final : public vx_DcamStream {
 public:
  vx_SimStream(vx_SimTransmitter& transmitter, const vx_StreamParams& params);
  ~vx_SimStream() override;
  vx_SimStream(const vx_SimStream&) = delete;
  vx_SimStream& operator=(const vx_SimStream&) = delete;

  bool start(unsigned bufferCount, std::string* error = nullptr) override;
  void stop() override;
  std::optional<vx_DcamFrame> waitFrame(double timeoutSeconds) override;
  void interrupt() override;
  void flush() override;

  const vx_StreamParams& params() const { return m_params; }

  // The transmitter's side. deliver() numbers the frame and queues it. With
  // a wanted test it waits for a free buffer instead of dropping the oldest
  // frame (delivery without pacing), and gives the frame up when the stream
  // stops, loses its channel or the test fails; nudge() makes it look again.
  void deliver(vx_DcamFrame frame, const std::function<bool()>& wanted = {});
  void nudge();
  // A frame the camera sent that never arrived: only the count moves on.
  void lose();
  // The camera left the bus: every wait from now on ends at once.
  void cameraGone();
  // Another stream took over the camera's channel; nothing more arrives.
  void release();

 private:
  vx_DcamFrame marker(uint32_t flags) const;

  vx_SimTransmitter& m_transmitter;
  const vx_StreamParams m_params;

  std::mutex m_mutex;
  std::condition_variable m_arrived;  // a frame, an interrupt or the camera's departure
  std::condition_variable m_room;     // a buffer came free, or waiting is pointless
  std::deque<vx_DcamFrame> m_frames;
  size_t m_capacity = 1;
  bool m_running = false;
  bool m_attached = false;
  bool m_gone = false;
  bool m_interrupt = false;
  bool m_overrun = false;
  uint64_t m_sent = 0;  // frames the camera sent since start()
};
