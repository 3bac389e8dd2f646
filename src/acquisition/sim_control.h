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

  // Transactions at this address fail until cleared.
  virtual void setReadFault(int cameraNumber, uint32_t address, bool fail) = 0;
  virtual void setWriteFault(int cameraNumber, uint32_t address, bool fail) = 0;
  virtual void clearFaults(int cameraNumber) = 0;

  // Time each transaction takes (default 0). The realistic setting is 100 us
  // per read and 400 us per write.
  virtual void setLatency(std::chrono::microseconds read, std::chrono::microseconds write) = 0;

  // Bus transactions (reads and writes, failed ones too) made on a camera.
  virtual uint64_t transactionCount(int cameraNumber) const = 0;
  virtual void resetTransactionCount(int cameraNumber) = 0;
};
