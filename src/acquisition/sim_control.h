// Control of the simulated camera bus: faults on demand for tests and for
// rehearsing the program's error paths.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

// Camera numbers are the module's camera numbers; a number that is not a
// simulated camera is ignored by the setters and answers 0 or "" to queries.
class vx_SimBusControl {
 public:
  virtual ~vx_SimBusControl() = default;

  // The module's camera numbers of the simulated cameras, in bus order.
  virtual std::vector<int> cameraNumbers() const = 0;
  virtual std::string profileName(int cameraNumber) const = 0;

  // The camera leaves the bus (its transactions fail, an unplug event goes
  // to its callbacks) and comes back with its power-on register values.
  virtual void unplug(int cameraNumber) = 0;
  virtual void replug(int cameraNumber) = 0;
  virtual bool isPlugged(int cameraNumber) const = 0;

  // A bus reset seen by every simulated camera on the bus.
  virtual void busReset() = 0;

  // Plugs a new camera of this profile (a name looked up in the profile
  // folders, or a file) into the running bus. Returns its module camera
  // number, or -1 with the reason in error. Buses without this control
  // refuse.
  virtual int plugNew(const std::string& profile, std::string* error) {
    (void)profile;
    if (error) *error = "this bus cannot take new cameras";
    return -1;
  }
  // The profile names plugNew takes, sorted.
  virtual std::vector<std::string> availableProfiles() const { return {}; }

  // Transactions at this address fail until cleared.
  virtual void setReadFault(int cameraNumber, uint32_t address, bool fail) = 0;
  virtual void setWriteFault(int cameraNumber, uint32_t address, bool fail) = 0;
  // Writes at this address are acknowledged and change nothing.
  // Buses without these two controls ignore them.
  virtual void setIgnoredWrite(int cameraNumber, uint32_t address, bool ignore) {
    (void)cameraNumber;
    (void)address;
    (void)ignore;
  }
  // The feature of this control register keeps its value field (bits 0..11)
  // at or below ceiling whatever is written; 0xFFF removes the ceiling.
  virtual void setValueCeiling(int cameraNumber, uint32_t controlAddress, uint32_t ceiling) {
    (void)cameraNumber;
    (void)controlAddress;
    (void)ceiling;
  }
  // Clears the read and write faults, ignored writes and ceilings.
  virtual void clearFaults(int cameraNumber) = 0;
  // The same for every quadlet from first to last, inclusive.
  void setReadFaults(int cameraNumber, uint32_t first, uint32_t last, bool fail) {
    for (uint64_t a = first; a <= last; a += 4) setReadFault(cameraNumber, uint32_t(a), fail);
  }
  void setWriteFaults(int cameraNumber, uint32_t first, uint32_t last, bool fail) {
    for (uint64_t a = first; a <= last; a += 4) setWriteFault(cameraNumber, uint32_t(a), fail);
  }

  // Time each transaction takes (default 0). The realistic setting is 100 us
  // per read and 400 us per write.
  virtual void setLatency(std::chrono::microseconds read, std::chrono::microseconds write) = 0;

  // Bus transactions (reads and writes, failed ones too) made on a camera.
  virtual uint64_t transactionCount(int cameraNumber) const = 0;
  virtual void resetTransactionCount(int cameraNumber) = 0;

  // Image delivery. The controls below do nothing on a bus without images.

  // How much faster than real time the cameras deliver: 1 paces frames by
  // their format's frame period, 10 ten times faster, 0 not at all (each
  // frame as soon as the receiver has room for it). The bus starts from
  // PRALIX_SIM_TIMESCALE, or 1 without it.
  virtual void setTimeScale(double scale) { (void)scale; }
  virtual double timeScale() const { return 1.0; }

  // This share (0..1) of the camera's frames arrive with packets missing.
  // Ratios are spread evenly: 0.25 spoils every fourth frame.
  virtual void setIncompleteRatio(int cameraNumber, double ratio) {
    (void)cameraNumber;
    (void)ratio;
  }
  // This share (0..1) of the frames the camera takes, triggered or free
  // running, is lost on the bus: the camera counts the frame, nobody gets it.
  virtual void setMissedTriggerRatio(int cameraNumber, double ratio) {
    (void)cameraNumber;
    (void)ratio;
  }
  // A stalled camera takes no more frames (its shots and triggers are
  // swallowed) until it is released, so a receiver waits in vain.
  virtual void setStalled(int cameraNumber, bool stalled) {
    (void)cameraNumber;
    (void)stalled;
  }
  // A pulse on the camera's hardware trigger input. A camera in trigger mode
  // with a hardware source and ISO_EN on takes one frame; otherwise it is
  // ignored. No trigger ever comes by itself.
  virtual void fireTrigger(int cameraNumber) { (void)cameraNumber; }
  // A trigger line connected to the camera's hardware trigger input that
  // pulses every frame period: a camera waiting for a hardware trigger takes
  // frames by itself.
  virtual void setTriggerLine(int cameraNumber, bool connected) {
    (void)cameraNumber;
    (void)connected;
  }
  // The camera's built-in test pattern instead of the scene.
  virtual void setTestPattern(int cameraNumber, bool on) {
    (void)cameraNumber;
    (void)on;
  }
  // Isochronous payload the bus carries per 125 us cycle, shared by every
  // transmitting camera in the order they began (4096 bytes, S400). A camera
  // that does not fit delivers its frames flagged as a timing failure.
  virtual void setBusBandwidth(uint32_t bytesPerCycle) { (void)bytesPerCycle; }
  // Frames the camera has taken since the bus came up, delivered or not.
  virtual uint64_t framesTaken(int cameraNumber) const {
    (void)cameraNumber;
    return 0;
  }
};
