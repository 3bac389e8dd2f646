// The simulated 1394 bus: its cameras, node numbers, generation count and fault controls.
#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "acquisition/sim_control.h"
#include "modules/qrvnvdcam/bus_layer.h"
#include "modules/qrvnvdcam/sim/sim_camera.h"
#include "modules/qrvnvdcam/sim/sim_transmitter.h"

// One simulated bus with the host and one node per plugged camera. Plugged
// cameras take node numbers 0, 1, ... in bus order and the host is the last
// node (the root), so the node count is the plugged cameras plus one.
// Every change of the bus's make-up is a bus reset: the generation count
// goes up and every plugged camera reports a bus reset; a camera that leaves
// reports an unplug instead. A bus reset ends the isochronous transmission
// of every camera that sees it, as it does on a real bus.
// Cameras may be plugged in while the bus runs (addCamera); a bus carries at
// most 63 nodes, the host among them, so it has room for 62 cameras.
class vx_SimBus final : public vx_BusLayer {
 public:
  static constexpr int kMaxCameras = 62;

  // Frames are paced at the time scale PRALIX_SIM_TIMESCALE gives (1 without
  // it). Profiles beyond kMaxCameras are left out. Cameras plugged in later
  // by profile name are looked up in profileDirs.
  explicit vx_SimBus(std::vector<vx_SimProfile> profiles, std::vector<std::string> profileDirs = {});
  // The time scale named in PRALIX_SIM_TIMESCALE; 1 when it is unset or not
  // a number of 0 or more.
  static double timeScaleFromEnvironment();

  vx_SimCamera& simCamera(int index) { return *m_cameras.at(checked(index)); }
  vx_SimTransmitter& transmitter(int index) { return *m_transmitters.at(checked(index)); }
  uint32_t generationCount() const;
  int hostNodeNumber() const;

  // vx_BusLayer
  std::string name() const override { return "simulated"; }
  std::string description() const override;
  int cameraCount() const override { return m_count.load(std::memory_order_acquire); }
  vxDcamIdentity identity(int index) const override;
  bool isPlugged(int index) const override;
  int nodeNumber(int index) const override;
  bool readQuadlet(int index, uint32_t address, uint32_t& value, std::string* error) override;
  bool writeQuadlet(int index, uint32_t address, uint32_t value, std::string* error) override;
  void setEventSink(EventSink sink) override;
  void setArrivalSink(ArrivalSink sink) override;
  void setCameraNumber(int index, int number) override;
  std::unique_ptr<vx_DcamStream> openStream(int index, const vx_StreamParams& params) override;
  vx_SimBusControl* simControl() override { return &m_control; }

  // Plug changes and resets by index on this bus.
  void unplug(int index);
  void replug(int index);
  void busReset();
  // Plugs a new camera in: it takes the next index, the bus resets and the
  // module hears of the arrival. Returns the index; throws
  // vx_SimProfile::Error when the bus has no room left.
  int addCamera(vx_SimProfile profile);
  // The profile names a new camera may be plugged in with: the built-in
  // ones and every profile file in the profile folders, sorted.
  std::vector<std::string> availableProfiles() const;
  const std::vector<std::string>& profileDirs() const { return m_profileDirs; }

 private:
  // The fault controls in module camera numbers.
  class Control final : public vx_SimBusControl {
   public:
    explicit Control(vx_SimBus& bus) : m_bus(bus) {}
    std::vector<int> cameraNumbers() const override;
    std::string profileName(int cameraNumber) const override;
    void unplug(int cameraNumber) override;
    void replug(int cameraNumber) override;
    bool isPlugged(int cameraNumber) const override;
    void busReset() override { m_bus.busReset(); }
    int plugNew(const std::string& profile, std::string* error) override;
    std::vector<std::string> availableProfiles() const override { return m_bus.availableProfiles(); }
    void setReadFault(int cameraNumber, uint32_t address, bool fail) override;
    void setWriteFault(int cameraNumber, uint32_t address, bool fail) override;
    void setIgnoredWrite(int cameraNumber, uint32_t address, bool ignore) override;
    void setValueCeiling(int cameraNumber, uint32_t controlAddress, uint32_t ceiling) override;
    void clearFaults(int cameraNumber) override;
    void setLatency(std::chrono::microseconds read, std::chrono::microseconds write) override;
    uint64_t transactionCount(int cameraNumber) const override;
    void resetTransactionCount(int cameraNumber) override;
    void setTimeScale(double scale) override;
    double timeScale() const override;
    void setIncompleteRatio(int cameraNumber, double ratio) override;
    void setMissedTriggerRatio(int cameraNumber, double ratio) override;
    void setStalled(int cameraNumber, bool stalled) override;
    void fireTrigger(int cameraNumber) override;
    void setTriggerLine(int cameraNumber, bool connected) override;
    void setTestPattern(int cameraNumber, bool on) override;
    void setBusBandwidth(uint32_t bytesPerCycle) override;
    uint64_t framesTaken(int cameraNumber) const override;

   private:
    vx_SimBus& m_bus;
  };

  // index as a slot of the tables; throws std::out_of_range beyond the cameras.
  size_t checked(int index) const;
  int indexOf(int cameraNumber) const;  // -1 when not a camera of this bus
  vx_SimCamera* byNumber(int cameraNumber) const;
  vx_SimTransmitter* transmitterByNumber(int cameraNumber) const;
  // Makes the bus reset that follows a change; initiator -1 means the host.
  void announceReset(int unpluggedIndex, int initiatorIndex);

  // Fixed tables, so that other threads may index them while a camera is
  // plugged in: a slot is filled before m_count is raised past it.
  std::array<std::unique_ptr<vx_SimCamera>, kMaxCameras> m_cameras;
  vx_SimBandwidth m_bandwidth;
  // After the cameras and the bandwidth, so that they go first.
  std::array<std::unique_ptr<vx_SimTransmitter>, kMaxCameras> m_transmitters;
  std::atomic<int> m_count{0};
  const std::vector<std::string> m_profileDirs;
  Control m_control{*this};
  std::mutex m_changeMutex;    // one plug change or reset at a time
  mutable std::mutex m_mutex;  // the bus's own state below
  EventSink m_sink;
  ArrivalSink m_arrivalSink;
  std::array<int, kMaxCameras> m_numbers{};  // module camera number per index
  uint32_t m_generation = 1;
  double m_timeScale = 1.0;
  // What setLatency last asked for; a camera plugged in later gets it too.
  std::chrono::microseconds m_readLatency{0};
  std::chrono::microseconds m_writeLatency{0};
};
