// Test doubles of the acquisition module: a register-map camera, an IIDC camera with an image stream, a module.
#pragma once

#include <atomic>
#include <bit>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "acquisition/dcam_module.h"
#include "acquisition/sim_control.h"

// A CSR space in a map. Addresses below 0xF0000000 are offsets from the
// command register base, as the module takes them. A lenient camera reads 0
// at unset addresses; a strict one fails there like a camera without that
// register. Every transaction is counted, failed ones too.
class FakeCamera : public vx1394DCAM {
 public:
  explicit FakeCamera(int number = 0, bool strict = false);

  static uint32_t normalise(uint32_t address) {
    return address < kCsrSpaceBase ? kDefaultCommandRegsBase + address : address;
  }

  int cameraNumber() const override { return m_number; }
  vxDcamIdentity identity() const override;
  bool readQuadlet(uint32_t address, uint32_t& value, std::string* error = nullptr) override;
  bool writeQuadlet(uint32_t address, uint32_t value, std::string* error = nullptr) override;
  bool isPlugged() const override { return m_plugged; }

  // Test controls, safe from any thread.
  void set(uint32_t address, uint32_t value);
  uint32_t get(uint32_t address) const;
  void setFloat(uint32_t address, float value) { set(address, std::bit_cast<uint32_t>(value)); }
  float getFloat(uint32_t address) const { return std::bit_cast<float>(get(address)); }
  void failReads(uint32_t address);
  void failWrites(uint32_t address);
  void failAt(uint32_t address) {
    failReads(address);
    failWrites(address);
  }
  void heal();
  // The bus layer raises instead of answering.
  void throwOnAccess(bool on) { m_throw = on; }
  void setPlugged(bool plugged);

  uint64_t transactions() const { return m_reads + m_writes; }
  int reads() const { return m_reads; }
  std::vector<uint32_t> readAddresses() const;
  // The writes the camera accepted, in order.
  std::vector<std::pair<uint32_t, uint32_t>> writes() const;
  void clearWrites();

  std::string vendor = "Acme";
  std::string model;
  uint64_t guid = 0;  // 0: 0x1000 + the camera's number
  uint32_t unitSwVersion = 0x101;

 protected:
  // Stores an accepted write; the lock is held.
  virtual void store(uint32_t address, uint32_t value) { m_regs[address] = value; }
  uint32_t at(uint32_t address) const {
    const auto it = m_regs.find(address);
    return it == m_regs.end() ? 0 : it->second;
  }

  mutable std::mutex m_mutex;
  std::condition_variable m_wake;
  std::map<uint32_t, uint32_t> m_regs;

 private:
  const int m_number;
  const bool m_strict;
  std::set<uint32_t> m_readFaults, m_writeFaults;
  std::vector<uint32_t> m_readAddresses;
  std::vector<std::pair<uint32_t, uint32_t>> m_writeLog;
  std::atomic<bool> m_plugged{true};
  std::atomic<bool> m_throw{false};
  std::atomic<int> m_reads{0}, m_writes{0};
};

// Absolute addresses of the IIDC camera's register blocks.
namespace fake {
constexpr uint32_t kBase = 0xF0F00000u;
constexpr uint32_t kF7Block = 0xF0F10000u;
constexpr uint32_t kStrobeBlock = 0xF0F20000u;
constexpr uint32_t kShutterAbs = 0xF0F30000u;
constexpr uint32_t kTriggerDelayAbs = 0xF0F30100u;
constexpr uint32_t quadletOffset(uint32_t address) {
  return (address - kCsrSpaceBase) / 4;
}
}  // namespace fake

// A strict camera that behaves like an IIDC 1.32 camera: Format_0 modes 4
// (RGB, rate 3) and 5 (Mono, rates 2 to 4), Format_7 mode 0 (1280x960, units
// 4x2, positions 2x2, Mono8/Mono16/Raw8), shutter with absolute control, gain
// 0..1000, brightness 16..1023, hardware and software trigger, trigger delay,
// one-shot and strobe lines 0 and 2. Inquiry registers keep their value,
// shots and triggers make frames for its stream.
class FakeIidcCamera : public FakeCamera {
 public:
  FakeIidcCamera();
  ~FakeIidcCamera() override;

  std::unique_ptr<vx_DcamStream> openStream(const vx_StreamParams& params) override;

  void setStreams(bool on) { m_streams = on; }
  void refuseVideoModes(bool on);
  // A pulse on trigger input 0.
  void hardwareTrigger();
  // Flags for the next frame the camera sends; frames lost on the bus.
  void flagNextFrame(uint32_t flags);
  void loseNextFrames(unsigned count);
  int oneShots() const;
  int softwareTriggers() const;
  vx_StreamParams lastParams() const;

 private:
  friend class FakeStream;
  void store(uint32_t address, uint32_t value) override;
  bool isoOn() const;
  bool triggerOn() const;
  uint32_t triggerSource() const;
  bool freeRunning() const;
  void produce();
  bool supported(uint32_t format, uint32_t mode, uint32_t rate) const;
  void recomputeVideoMode();
  void recomputeFormat7();

  bool m_streams = true;
  bool m_refuseModes = false;
  uint32_t m_nextFlags = 0;
  unsigned m_lose = 0;
  int m_oneShots = 0, m_softwareTriggers = 0;
  uint64_t m_streamId = 0;  // the open stream
  bool m_running = false, m_interrupt = false;
  unsigned m_bufferCount = 0;
  uint64_t m_sequence = 0;
  vx_StreamParams m_params;
  std::deque<vx_DcamFrame> m_frames;
};

// A module over fake cameras "Acme Cam<n>" with GUIDs 0x1000 + n, each of
// which answers the responding test (0x800). Bus events go to the callbacks
// on a thread of their own, as the real module delivers them.
class FakeModule : public vx_DcamModule {
 public:
  explicit FakeModule(int cameraCount = 1, bool simulated = false, bool strict = true);
  ~FakeModule() override;

  std::string name() const override { return "Fake DCAM module"; }
  std::string version() const override { return "9.9"; }
  std::vector<std::string> busLayers() const override;
  std::vector<std::string> notices() const override { return {}; }
  int cameraCount() const override { return static_cast<int>(m_cameras.size()); }
  vx1394DCAM& camera(int number) override {
    ++lookups;
    return fake(number);
  }
  FakeCamera& fake(int number);
  // A camera that arrives on the bus after the start; returns its number.
  int addCamera();
  int registerBusEventCallback(int cameraNumber, vxDcamBusEventCallback callback) override;
  void unregisterBusEventCallback(int id) override;
  vx_SimBusControl* simControl() override { return m_sim.get(); }

  size_t callbackCount() const;
  // Camera lookups through camera(), to see that nothing is cached.
  std::atomic<int> lookups{0};

  // Delivers the event to the camera's callbacks on another thread and
  // returns once they have all run.
  void fireBusEvent(int cameraNumber, const vxDcamBusEventInfo& info);
  static vxDcamBusEventInfo busResetEvent(uint32_t generation);
  static vxDcamBusEventInfo unplugEvent();

 private:
  std::vector<std::unique_ptr<FakeCamera>> m_cameras;
  mutable std::mutex m_mutex;
  int m_lastId = 0;
  std::map<int, std::pair<int, vxDcamBusEventCallback>> m_callbacks;
  std::unique_ptr<vx_SimBusControl> m_sim;
};
