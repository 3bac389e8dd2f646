// FireWire device nodes of the kernel's firewire stack: finding and probing them, and watching them for bus events.
#pragma once

#include <linux/firewire-cdev.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "acquisition/bus_event.h"

constexpr const char* kFwDevDir = "/dev";
constexpr const char* kFwSysDevicesDir = "/sys/bus/firewire/devices";

// The node number (physical id, 0..62) inside a 16-bit node id; the top ten
// bits are the bus number.
constexpr uint32_t vxFwNodeNumber(uint32_t nodeId) { return nodeId & 0x3Fu; }

// The kernel does not tell which node started a bus reset. 63 is the bus's
// broadcast address and names no node, so it stands for "not known".
constexpr uint32_t kUnknownInitiatorNode = 63;

// The five-word bus event record of one bus reset as the kernel reports it.
// The root is always the node with the highest number, so the bus carries
// root + 1 nodes.
vxDcamBusEventInfo vxBusEventFromReset(const fw_cdev_event_bus_reset& reset);

// One /dev/fw* node as found when the bus layer starts.
struct vx_FwNodeProbe {
  enum class Kind {
    Camera,   // its units say IIDC (unit specifier id 0x00A02D)
    Other,    // its units are known and none is IIDC (the host adapter, disks ...)
    Unknown,  // the firewire devices of sysfs say nothing about it
  };
  std::string path;   // "/dev/fw1"
  int openError = 0;  // errno of opening it for reading and writing; 0 when it opened
  Kind kind = Kind::Unknown;
};

// Every fwN node under devDir in number order, each opened once to learn
// whether this process may use it, and classified by the units file of its
// sysfs device under sysDir.
std::vector<vx_FwNodeProbe> vxProbeFwNodes(const std::string& devDir = kFwDevDir,
                                           const std::string& sysDir = kFwSysDevicesDir);

// The names of the fwN nodes under devDir now ("fw0", "fw1" ...), in number order.
std::vector<std::string> vxFwNodeNames(const std::string& devDir = kFwDevDir);

// The device node ("/dev/fw3") of the FireWire device with this GUID, found
// through the guid files of sysfs; empty when no device has it.
std::string vxFwNodeForGuid(uint64_t guid, const std::string& sysDir = kFwSysDevicesDir,
                            const std::string& devDir = kFwDevDir);

// Opens a node read-only for watching and reads the bus state of the last
// reset. Returns the descriptor (non-blocking), or -1 with errno set. After
// this, the kernel queues a bus reset event on the descriptor per reset.
int vxOpenFwNodeForEvents(const std::string& path, fw_cdev_event_bus_reset& current);

// A thread that waits on the device nodes of several cameras. A bus reset
// event read from a node goes to onReset; a node that hangs up, reports an
// error or reads ENODEV has left the bus and goes to onGone once, after which
// the watcher closes it. Handlers run on the watcher's thread.
class vx_FwNodeWatcher {
 public:
  using ResetHandler = std::function<void(int index, const fw_cdev_event_bus_reset& reset)>;
  using GoneHandler = std::function<void(int index)>;

  vx_FwNodeWatcher(ResetHandler onReset, GoneHandler onGone);
  ~vx_FwNodeWatcher();
  vx_FwNodeWatcher(const vx_FwNodeWatcher&) = delete;
  vx_FwNodeWatcher& operator=(const vx_FwNodeWatcher&) = delete;

  // Takes ownership of fd and makes it non-blocking; the running thread
  // watches it from its next turn.
  void add(int index, int fd);
  // Starts the thread; false (and no thread) when it cannot be made.
  bool start();
  // Ends the thread and closes every descriptor still watched.
  void stop();

 private:
  struct Node {
    int index;
    int fd;
  };
  void run();
  // Reads what is queued on a node; false once the node has left the bus.
  bool drain(const Node& node);

  ResetHandler m_onReset;
  GoneHandler m_onGone;
  std::mutex m_nodesMutex;
  std::vector<Node> m_nodes;  // every descriptor taken, for stop() to close
  std::vector<Node> m_added;  // taken since the thread last looked
  std::atomic<bool> m_stopping{false};
  int m_wakeFd = -1;
  std::thread m_thread;
};
