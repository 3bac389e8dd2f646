// A register-level IIDC camera and image stream for the acquisition tests.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "acquisition/dcam_camera.h"

// Absolute addresses of the fake camera's register blocks.
namespace fake {
constexpr uint32_t kBase = 0xF0F00000u;
constexpr uint32_t kF7Block = 0xF0F10000u;
constexpr uint32_t kStrobeBlock = 0xF0F20000u;
constexpr uint32_t kShutterAbs = 0xF0F30000u;
constexpr uint32_t kTriggerDelayAbs = 0xF0F30100u;
constexpr uint32_t quadletOffset(uint32_t address) {
  return (address - 0xF0000000u) / 4;
}
}  // namespace fake

// Offers Format_0 modes 4 (RGB, rate 3) and 5 (Mono, rates 2 to 4), Format_7
// mode 0 (1280x960, units 4x2, positions 2x2, Mono8/Mono16/Raw8), shutter
// with absolute control, gain 0..1000, brightness 16..1023, a hardware and
// software trigger, trigger delay, one-shot and strobe lines 0 and 2. Tests
// change any register with poke() before they use it.
class FakeCamera : public vx1394DCAM {
 public:
  FakeCamera();

  int cameraNumber() const override { return 0; }
  vxDcamIdentity identity() const override;
  bool readQuadlet(uint32_t address, uint32_t& value, std::string* error = nullptr) override;
  bool writeQuadlet(uint32_t address, uint32_t value, std::string* error = nullptr) override;
  bool isPlugged() const override;
  std::unique_ptr<vx_DcamStream> openStream(const vx_StreamParams& params) override;

  // Test controls (offsets below 0xF0000000 are from the command base).
  void poke(uint32_t address, uint32_t value);
  uint32_t peek(uint32_t address) const;
  void failReads(uint32_t address);
  void failWrites(uint32_t address);
  void setSwVersion(uint32_t version) { m_swVersion = version; }
  void setStreams(bool on) { m_streams = on; }
  void refuseVideoModes(bool on);
  // A pulse on trigger input 0.
  void hardwareTrigger();
  // The camera leaves the bus; waiting streams return at once.
  void unplug();
  // Flags for the next frame the camera sends; lose frames on the bus.
  void flagNextFrame(uint32_t flags);
  void loseNextFrames(unsigned count);
  // Numbers of ONE_SHOT and SOFTWARE_TRIGGER writes that made a frame.
  int oneShots() const;
  int softwareTriggers() const;
  vx_StreamParams lastParams() const;

  struct Shared;

 private:
  static uint32_t absolute(uint32_t address);

  std::shared_ptr<Shared> m_shared;
  uint32_t m_swVersion = 0x102;
  bool m_streams = true;
};
