// The virtual FireWire bus behind the /dev/fw nodes that libpralix-vfw gives a process.
#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "acquisition/dcam_stream.h"
#include "modules/qrvnvdcam/sim/scene.h"
#include "modules/qrvnvdcam/sim/sim_bus.h"

// The C library functions the bus must reach without passing through the
// preload library's own replacements of them.
struct vx_VfwLibc {
  ssize_t (*read)(int, void*, size_t) = nullptr;
  int (*close)(int) = nullptr;
  void* (*mmap)(void*, size_t, int, int, int, off_t) = nullptr;
};

// The standard-format stream figures a camera sends with (IIDC's table of
// quadlets per packet): every Format_0..2 mode sends 3840 packets per frame
// at 1.875 frames per second (4096 for the 1024x768 modes), halving the
// packet count as the rate doubles. Nothing when the mode and rate give no
// whole packet.
struct vx_VfwPacketing {
  uint32_t bytesPerPacket = 0;
  uint32_t packetsPerFrame = 0;
  uint64_t framePeriodNs = 0;
};
std::optional<vx_VfwPacketing> vxVfwStandardPacketing(uint32_t width, uint32_t height,
                                                      vxPixelCoding coding, int rate);

// One process's view of a bus with a host adapter and simulated IIDC
// cameras, answering the Linux firewire character-device interface.
//
// Device nodes: /dev/fw0 is the host adapter (the local node), /dev/fw1 ...
// the cameras in profile order. Node numbers follow the simulated bus: the
// plugged cameras take 0, 1, ... and the host is the last node and the root.
// A client is one open descriptor of a node; it gets a real descriptor (one
// end of a socket pair, one byte queued per pending event) so that poll,
// select, fcntl and blocking reads behave as on a device file. When its
// camera leaves, the other end is closed: the descriptor hangs up.
class vx_VfwBus {
 public:
  // The camera profiles named in PRALIX_VFW_PROFILES (comma separated;
  // the built-in ones when unset), looked up in PRALIX_DATA_DIR/profiles and
  // the installed profile folder; the control channel at
  // PRALIX_VFW_CONTROL when set. Never null; a profile that cannot be read
  // is reported on standard error and left out.
  static vx_VfwBus& instance();
  // Whether instance() has been made; the preload library asks before
  // taking the bus up for a path that may not concern it.
  static bool exists();
  // The C library entry points instance() hands its bus; set by the preload
  // library before the first call.
  static void setLibc(const vx_VfwLibc* libc);

  // Cameras plugged in later by profile name are looked up in profileDirs.
  vx_VfwBus(std::vector<vx_SimProfile> profiles, vx_VfwLibc libc, std::vector<std::string> profileDirs = {});
  ~vx_VfwBus();
  vx_VfwBus(const vx_VfwBus&) = delete;
  vx_VfwBus& operator=(const vx_VfwBus&) = delete;

  // "/dev/fwN" -> N when that node exists now; -1 otherwise.
  int nodeOfPath(const char* path) const;
  // Names of the nodes present now ("fw0", "fw1" ...).
  std::vector<std::string> nodeNames() const;
  // The folder that stands in for /sys/bus/firewire, and its devices folder.
  const std::string& sysfsRoot() const { return m_sysfsRoot; }
  const std::string& sysfsDevices() const { return m_sysfsDevices; }
  int cameraCount() const { return m_sim->cameraCount(); }

  // Descriptor operations. open returns the new descriptor or -1 with errno.
  int open(int node, int flags);
  bool isClient(int fd) const;
  // For a client whose camera has left: whether events still wait on it.
  // Nothing for any other descriptor.
  std::optional<bool> goneWithEvents(int fd) const;
  int close(int fd);
  int ioctl(int fd, unsigned long request, void* arg);
  ssize_t read(int fd, void* buffer, size_t count);
  void* mmap(int fd, size_t length, int prot, int flags, off_t offset);
  // A mapping is going away; the bus stops writing into it.
  void unmapping(void* address, size_t length);

  // Bus changes, as the control channel asks for them. Camera indexes are
  // positions in the profile list.
  void busReset();
  bool unplug(int camera);
  bool replug(int camera);
  // A new camera of this profile (name or file) plugged in as the next node;
  // its camera index, or -1 with the reason in error.
  int plug(const std::string& profile, std::string* error);
  // One control line ("reset", "unplug 0", "replug 0", "plug PROFILE"); false
  // when not understood.
  bool command(const std::string& line);
  // Reads control lines from a FIFO at path (made when missing) on a thread of its own.
  void startControl(const std::string& path);

 private:
  struct Descriptor {
    uint32_t count = 0;     // packets this descriptor receives
    uint32_t slot = 0;      // payload bytes each
    size_t offset = 0;      // into the mapped buffer
    bool interrupt = false;
    bool sync = false;
  };
  struct IsoContext {
    uint32_t headerSize = 0;
    uint32_t channel = 0;
    uint64_t closure = 0;
    bool running = false;
    uint32_t sync = 0;
    std::deque<Descriptor> queue;
    uint32_t doneInHead = 0;           // packets of queue.front() already filled
    std::vector<uint8_t> headers;      // headers collected since the last interrupt
    uint32_t lastCycle = 0;
  };
  struct Resource {
    uint64_t closure = 0;
    int channel = -1;
    int bandwidth = 0;
  };
  struct Client {
    int fd = -1;
    int peer = -1;
    int node = 0;  // device node number: 0 host, 1.. cameras
    uint64_t incarnation = 0;
    bool listening = false;  // asked GET_INFO, so gets bus reset events
    uint32_t version = 0;
    uint64_t resetClosure = 0;
    bool dead = false;
    std::deque<std::vector<uint8_t>> events;
    std::optional<IsoContext> iso;
    uint8_t* buffer = nullptr;
    size_t bufferSize = 0;
    std::map<uint32_t, Resource> resources;
    uint32_t nextHandle = 0;
  };
  // A camera's frames on their way onto its channel. The simulated camera's
  // own transmitter renders and paces them as its registers say (mode,
  // shutter, gain, brightness, ISO_EN, shots, triggers, the time scale) into
  // a stream of the simulated bus; the bus empties it into packets.
  struct Feed {
    std::unique_ptr<vx_DcamStream> stream;
    vx_SimVideoSetting setting;  // what the stream was opened for
    vx_VfwPacketing packeting;
  };

  Client* client(int fd);
  const Client* client(int fd) const;
  // Node number of device node `node` on the bus now; -1 when absent.
  int busNode(int node) const;
  uint32_t nodeId(int node) const { return 0xFFC0u | static_cast<uint32_t>(busNode(node)); }
  bool nodePresent(int node) const;
  void push(Client& c, std::vector<uint8_t> event);
  void kill(Client& c);
  std::vector<uint8_t> resetEvent(const Client& c) const;
  void announceReset();
  void writeSysfs();

  int getInfo(Client& c, void* arg);
  int sendRequest(Client& c, void* arg);
  int allocateIso(Client& c, void* arg, bool once);
  int deallocateIso(Client& c, void* arg, bool once);
  int createIsoContext(Client& c, void* arg);
  int queueIso(Client& c, void* arg);
  bool transaction(int node, uint32_t tcode, uint64_t offset, const uint32_t* in, uint32_t quads,
                   std::vector<uint32_t>& out, uint32_t& rcode);

  void streamLoop();
  // Opens, reopens or closes camera's feed so that it follows the camera's
  // video setting and presence. Takes m_feedMutex; callers may hold m_mutex.
  void syncFeed(int camera);
  void sendFrames();
  void deliverPacket(Client& c, const uint8_t* payload, uint32_t length, bool sy, uint32_t stamp);
  void removeSysfs();

  static const vx_VfwLibc* g_libc;

  vx_VfwLibc m_libc;
  std::unique_ptr<vx_SimBus> m_sim;
  std::vector<uint32_t> m_hostRom;
  std::vector<uint64_t> m_incarnation;  // per camera, bumped on replug
  std::string m_sysfsRoot;
  std::string m_sysfsDevices;

  mutable std::mutex m_mutex;
  std::map<int, std::unique_ptr<Client>> m_clients;
  uint64_t m_channelsInUse = 0;
  int m_bandwidthFree = 4915;
  bool m_stopping = false;
  std::condition_variable m_wake;
  // Taken after m_mutex when both are held; never the other way round.
  std::mutex m_feedMutex;
  std::vector<Feed> m_feeds;
  int m_wakeFd = -1;
  std::thread m_streamThread;
  std::thread m_controlThread;
};
