// The sending side of a simulated camera: frames paced by its registers, bus share and faults.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "modules/qrvnvdcam/sim/scene.h"
#include "modules/qrvnvdcam/sim/sim_camera.h"

class vx_SimStream;

// The isochronous payload of one bus, handed out per 125 us cycle to the
// transmitting cameras in the order they began. A camera whose payload,
// added to that of every camera before it, exceeds the bus's capacity is
// not carried in time.
class vx_SimBandwidth {
 public:
  static constexpr uint32_t kS400BytesPerCycle = 4096;

  void setCapacity(uint32_t bytesPerCycle);
  // Joining again only changes the payload; the place in line stays.
  void join(const void* who, uint32_t bytesPerCycle);
  void leave(const void* who);
  bool fits(const void* who) const;

 private:
  mutable std::mutex m_mutex;
  uint32_t m_capacity = kS400BytesPerCycle;
  std::vector<std::pair<const void*, uint32_t>> m_users;
};

// How the camera's settings look on the picture, from the raw SHUTTER, GAIN
// and BRIGHTNESS values through the profile's ranges: exposure relative to
// the power-on shutter time, gain in decibels relative to the power-on gain
// (a range without absolute control spans 24 dB), brightness as a black
// level of up to 64 grey levels. A feature that is absent or switched off
// leaves the picture at its nominal look.
vx_SimSceneParams vxSimSceneParams(const vx_SimCamera& camera, bool testPattern);

// One period of the camera's frames in real time: the frame rate's for the
// standard formats, packets per frame times the 125 us cycle for Format_7.
// The bytes the camera sends per cycle go with it.
double vxSimFramePeriod(const vx_SimVideoSetting& setting);
uint32_t vxSimBytesPerCycle(const vx_SimVideoSetting& setting);

// Serves the camera's frame requests as its registers make them: ISO_EN
// with the trigger off sends frames at the frame rate from the moment it was
// set; ONE_SHOT and MULTI_SHOT (with ISO_EN off) one or a counted number of
// frames; SOFTWARE_TRIGGER (trigger on, source 7, ISO_EN on) and a hardware
// trigger pulse (trigger on, source 0..3, ISO_EN on) one frame each. A frame
// is sent one frame period after it was asked for, against absolute
// deadlines so that rates stay exact.
//
// A thread renders and sends the frames while a stream listens; without one
// the camera's requests are served at once and go nowhere. One stream holds
// the camera's channel; a stream that starts takes it from the one before.
class vx_SimTransmitter {
 public:
  vx_SimTransmitter(vx_SimCamera& camera, vx_SimBandwidth& bandwidth, double timeScale);
  ~vx_SimTransmitter();
  vx_SimTransmitter(const vx_SimTransmitter&) = delete;
  vx_SimTransmitter& operator=(const vx_SimTransmitter&) = delete;

  vx_SimCamera& camera() { return m_camera; }

  // The stream's side. attach() fails with a reason when the camera is gone.
  bool attach(vx_SimStream& stream, std::string* error);
  void detach(vx_SimStream& stream);

  // Bus events: the camera left the bus; a bus reset ended transmission.
  void cameraGone();
  void busReset();

  // Fault and pacing controls (see vx_SimBusControl).
  void setTimeScale(double scale);
  void setIncompleteRatio(double ratio);
  void setMissedRatio(double ratio);
  void setStalled(bool stalled);
  void setTestPattern(bool on);
  void fireTrigger();
  void setTriggerLine(bool connected);
  uint64_t framesTaken() const;

 private:
  using Clock = std::chrono::steady_clock;

  void onShot(vx_SimShotControl control, uint32_t value);
  void run();
  // Forgets what is planned; a frame being prepared is not sent. Lock held.
  void invalidate();
  // Drops the requests in hand; true when register shots were among them.
  bool dropRequests();
  std::vector<uint8_t> render(uint64_t frame, const vx_SimVideoSetting& setting,
                              const vx_StreamParams& params, const vx_SimSceneParams& look);

  vx_SimCamera& m_camera;
  vx_SimCamera::ShotHookId m_hookId = 0;
  vx_SimBandwidth& m_bandwidth;
  vx_SimScene m_scene;  // the thread's own

  std::mutex m_controlMutex;  // one attach or detach at a time
  mutable std::mutex m_mutex;
  std::condition_variable m_wake;
  std::thread m_thread;
  bool m_quit = false;
  vx_SimStream* m_receiver = nullptr;
  vx_SimStream* m_busyWith = nullptr;  // the stream a frame is on its way to

  // The plan. m_epoch moves whenever a prepared frame must not be sent.
  // Atomic as well, for a sender waiting on its receiver without the lock.
  std::atomic<uint64_t> m_epoch{0};
  bool m_continuous = false;
  Clock::time_point m_anchor{};
  uint64_t m_index = 0;     // continuous frames sent since the anchor
  uint32_t m_shots = 0;     // ONE_SHOT, MULTI_SHOT and SOFTWARE_TRIGGER frames
  uint32_t m_triggers = 0;  // hardware trigger frames
  std::optional<Clock::time_point> m_shotDue;
  bool m_onBus = false;

  double m_timeScale = 1.0;
  double m_incompleteRatio = 0.0, m_incompleteDebt = 0.0;
  double m_missedRatio = 0.0, m_missedDebt = 0.0;
  double m_droppedRatio = 0.0, m_droppedDebt = 0.0;  // free-running frames only
  bool m_stalled = false;
  bool m_testPattern = false;
  bool m_triggerLine = false;
  uint64_t m_taken = 0;
};
