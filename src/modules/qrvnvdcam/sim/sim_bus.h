// The simulated 1394 bus: its cameras, node numbers, generation count and fault controls.
#pragma once

#include <memory>
#include <mutex>
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
class vx_SimBus final : public vx_BusLayer {
 public:
  // Frames are paced at the time scale PRALIX_SIM_TIMESCALE gives (1 without it).
  explicit vx_SimBus(std::vector<vx_SimProfile> profiles);
  // The time scale named in PRALIX_SIM_TIMESCALE; 1 when it is unset or not
  // a number of 0 or more.
  static double timeScaleFromEnvironment();

  vx_SimCamera& simCamera(int index) { return *m_cameras.at(static_cast<size_t>(index)); }
  vx_SimTransmitter& transmitter(int index) {
    return *m_transmitters.at(static_cast<size_t>(index));
  }
  uint32_t generationCount() const;
  int hostNodeNumber() const;

  // vx_BusLayer
  std::string name() const override { return "simulated"; }
  std::string description() const override;
  int cameraCount() const override { return static_cast<int>(m_cameras.size()); }
  vxDcamIdentity identity(int index) const override;
  bool isPlugged(int index) const override;
  int nodeNumber(int index) const override;
  bool readQuadlet(int index, uint32_t address, uint32_t& value, std::string* error) override;
  bool writeQuadlet(int index, uint32_t address, uint32_t value, std::string* error) override;
  void setEventSink(EventSink sink) override;
  void setFirstCameraNumber(int number) override;
  std::unique_ptr<vx_DcamStream> openStream(int index, const vx_StreamParams& params) override;
  vx_SimBusControl* simControl() override { return &m_control; }

  // Plug changes and resets by index on this bus.
  void unplug(int index);
  void replug(int index);
  void busReset();

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

  int indexOf(int cameraNumber) const;  // -1 when not a camera of this bus
  vx_SimCamera* byNumber(int cameraNumber) const;
  vx_SimTransmitter* transmitterByNumber(int cameraNumber) const;
  // Makes the bus reset that follows a change; initiator -1 means the host.
  void announceReset(int unpluggedIndex, int initiatorIndex);

  std::vector<std::unique_ptr<vx_SimCamera>> m_cameras;
  vx_SimBandwidth m_bandwidth;
  // After the cameras and the bandwidth, so that they go first.
  std::vector<std::unique_ptr<vx_SimTransmitter>> m_transmitters;
  Control m_control{*this};
  std::mutex m_changeMutex;    // one plug change or reset at a time
  mutable std::mutex m_mutex;  // the bus's own state below
  EventSink m_sink;
  int m_firstNumber = 0;
  uint32_t m_generation = 1;
  double m_timeScale = 1.0;
};
