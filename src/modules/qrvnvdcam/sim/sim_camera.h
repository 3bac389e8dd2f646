// One simulated IIDC camera: its CSR space, register behaviour and fault switches.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "acquisition/dcam_camera.h"
#include "modules/qrvnvdcam/sim/profile.h"

// Register writes that start or stop image delivery.
enum class vx_SimShotControl { IsoEnable, OneShot, MultiShot, SoftwareTrigger };

// What the camera is set up to deliver, for the image generator.
struct vx_SimVideoSetting {
  int format = 0;
  int mode = 0;
  int rate = 0;
  bool valid = false;  // false while VMODE_ERROR_STATUS is set
  uint32_t left = 0;
  uint32_t top = 0;
  uint32_t width = 0;
  uint32_t height = 0;
  vxPixelCoding coding = vxPixelCoding::Mono8;
  uint32_t bytesPerPacket = 0;   // Format_7 only
  uint32_t packetsPerFrame = 0;  // Format_7 only
  bool isoEnabled = false;
};

// The TRIGGER_MODE register as the image generator needs it.
struct vx_SimTriggerSetting {
  bool on = false;
  int source = 0;  // 0..3 hardware inputs, 7 the software trigger
  int mode = 0;
  bool polarityHigh = false;
};

// A register-level IIDC camera built from a profile. Every transaction takes
// the camera's own mutex, so transactions on one camera are serialised and
// the controls may be used from any thread.
class vx_SimCamera {
 public:
  // Called after a write to ISO_EN, ONE_SHOT/MULTI_SHOT or SOFTWARE_TRIGGER,
  // outside the camera's lock, with the register's new value.
  using ShotHook = std::function<void(vx_SimShotControl control, uint32_t value)>;
  using ShotHookId = uint64_t;

  explicit vx_SimCamera(vx_SimProfile profile);

  const vx_SimProfile& profile() const { return m_profile; }
  vxDcamIdentity identity() const;
  const std::vector<uint32_t>& configRom() const { return m_rom; }

  // Absolute addresses, or offsets from the command register base below
  // kCsrSpaceBase. Every call counts as one bus transaction.
  bool readQuadlet(uint32_t address, uint32_t& value, std::string* error = nullptr);
  bool writeQuadlet(uint32_t address, uint32_t value, std::string* error = nullptr);

  // Plugging the camera back in brings back its power-on register values.
  void setPlugged(bool plugged);
  bool isPlugged() const;

  void setReadFault(uint32_t address, bool fail);
  void setWriteFault(uint32_t address, bool fail);
  // Writes to the register are acknowledged and change nothing.
  void setIgnoredWrite(uint32_t address, bool ignore);
  // The feature whose control register this is keeps its value field at or
  // below ceiling, whatever is written (absolute values included); a
  // ceiling of 0xFFF or more removes it.
  void setValueCeiling(uint32_t address, uint32_t ceiling);
  // Clears the read and write faults, ignored writes and ceilings.
  void clearFaults();
  void setLatency(std::chrono::microseconds read, std::chrono::microseconds write);
  uint64_t transactionCount() const;
  void resetTransactionCount();

  // The state behind the registers, for the image generator.
  uint32_t featureValue(int feature) const;  // the raw value field
  bool featureOn(int feature) const;
  vx_SimVideoSetting videoSetting() const;
  vx_SimTriggerSetting triggerSetting() const;
  // The profile's value field of a feature at power-on.
  uint32_t powerOnFeatureValue(int feature) const;
  // Every hook added hears every shot write, in the order they were added,
  // so image delivery and anything watching it never push one another out.
  // Removal waits until no call of any hook is under way, so that the
  // removed hook's owner may go away at once; it must not be called from
  // inside a hook.
  ShotHookId addShotHook(ShotHook hook);
  void removeShotHook(ShotHookId id);
  // Image delivery calls this once a one-shot, multi-shot or software
  // trigger has been served; without a hook those bits clear at once.
  void finishShot();
  // A bus reset ends isochronous transmission: ISO_EN and the shot requests
  // clear without a transaction and without calling the hook.
  void haltTransmission();

  // The absolute address of address for a camera with this command register
  // base; false when it falls outside the 32-bit CSR space or is not
  // quadlet-aligned.
  static bool absoluteAddress(uint32_t address, uint32_t commandBase, uint32_t& absolute);

 private:
  enum class Kind : uint8_t {
    Plain,
    Initialize,
    VideoSetting,
    IsoChannel,
    CameraPower,
    SelfClearing,
    Shot,
    FeatureControl,
    AbsValue,
    Format7Geometry,
    Format7Packet,
    Format7ValueSetting,
  };
  struct Reg {
    uint32_t value = 0;
    uint32_t writeMask = 0;
    Kind kind = Kind::Plain;
    int index = 0;  // feature number or Format_7 mode
  };

  void add(uint32_t absolute, uint32_t value, uint32_t writeMask = 0, Kind kind = Kind::Plain,
           int index = 0);
  void addCommand(uint32_t offset, uint32_t value, uint32_t writeMask = 0, Kind kind = Kind::Plain,
                  int index = 0) {
    add(m_base + offset, value, writeMask, kind, index);
  }
  void buildPowerOn();
  void addFeature(int feature);
  void addTrigger();
  void addFormat7(const vx_SimFormat7Mode& mode);

  uint32_t& reg(uint32_t absolute) { return m_regs.at(absolute).value; }
  uint32_t regValue(uint32_t absolute) const { return m_regs.at(absolute).value; }
  bool resolve(uint32_t address, uint32_t& absolute, std::string* error) const;
  void afterWrite(uint32_t absolute, uint32_t previous,
                  std::vector<std::pair<vx_SimShotControl, uint32_t>>& shots);
  void checkFeature(int feature, uint32_t value);
  void rawToAbsolute(int feature);
  // Holds the feature's value field at its ceiling; true when it changed it.
  bool applyCeiling(int feature);
  void absoluteToRaw(int feature, uint32_t previousBits);
  void updateVideoStatus();
  void recomputeFormat7(int mode);
  uint32_t maxBytesPerPacket() const;
  void restorePowerOn();

  const vx_SimProfile m_profile;
  const uint32_t m_base;  // the command register base of the profile
  std::vector<uint32_t> m_rom;

  mutable std::mutex m_mutex;
  std::map<uint32_t, Reg> m_regs;
  std::map<uint32_t, Reg> m_powerOn;
  bool m_plugged = true;
  std::set<uint32_t> m_readFaults;
  std::set<uint32_t> m_writeFaults;
  std::set<uint32_t> m_ignoredWrites;
  std::map<int, uint32_t> m_ceilings;  // feature -> highest value field
  std::chrono::microseconds m_readLatency{0};
  std::chrono::microseconds m_writeLatency{0};
  uint64_t m_transactions = 0;
  std::vector<std::pair<ShotHookId, ShotHook>> m_shotHooks;
  ShotHookId m_nextHookId = 1;
  int m_hookCalls = 0;  // writes calling hooks right now
  std::condition_variable m_hooksIdle;
};
