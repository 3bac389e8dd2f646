// Arrivals and removals of firewire devices as they happen: a source interface, the libudev
// monitor behind it, and the log line of one event.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

struct vxDeviceEvent {
  enum class Kind { Arrived, Removed };
  Kind kind = Kind::Arrived;
  std::string node;         // "fw1", or a simulated camera's name
  std::string description;  // vendor and model when known
  std::chrono::system_clock::time_point when = std::chrono::system_clock::now();
};

// "%m/%d-%H:%M:%S-:Device arrived: fw1 (Point Grey Research Flea2)".
std::string vxDeviceEventLine(const vxDeviceEvent& event);

class vxDeviceEventSource {
 public:
  using Listener = std::function<void(const vxDeviceEvent&)>;
  virtual ~vxDeviceEventSource() = default;
  // Starts delivering events to listener, on a thread of the source. False
  // with error() set when the source cannot watch the system.
  virtual bool start(Listener listener) = 0;
  // Returns when the listener will not be called again.
  virtual void stop() = 0;
  virtual std::string error() const = 0;
};

// Watches the kernel's firewire devices through libudev.
std::unique_ptr<vxDeviceEventSource> vxMakeUdevMonitor();
