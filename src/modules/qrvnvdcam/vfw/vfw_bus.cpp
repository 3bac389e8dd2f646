// The virtual FireWire bus behind the /dev/fw nodes that libpralix-vfw gives a process.
#include "modules/qrvnvdcam/vfw/vfw_bus.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/firewire-cdev.h>
#include <linux/firewire-constants.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "modules/qrvnvdcam/sim/config_rom.h"
#include "modules/qrvnvdcam/sim/iidc_registers.h"

namespace {

namespace fs = std::filesystem;

// The ABI level a current kernel reports back from GET_INFO.
constexpr uint32_t kKernelAbiVersion = 5;
// The 48-bit address of the CSR space's start on every node.
constexpr uint64_t kCsrSpace = 0xFFFF00000000ull;
// The kernel collects the stripped headers of a receive context in one page.
constexpr size_t kHeaderPage = 4096;
constexpr uint32_t kIsoTag = 1;
constexpr uint64_t kCycleNs = 125000;
// The host adapter's GUID; its vendor part is no registered company.
constexpr uint64_t kHostGuid = 0x0000F0FFFE000001ull;

uint64_t nowNs() {
  timespec ts{};
  ::clock_gettime(CLOCK_REALTIME, &ts);
  return uint64_t(ts.tv_sec) * 1000000000ull + uint64_t(ts.tv_nsec);
}

// The bus's cycle timer at a moment of the system clock: 7 bits of
// seconds, 13 of cycles, 12 of cycle offset.
uint32_t cycleTimerAt(uint64_t ns) {
  const uint64_t seconds = (ns / 1000000000ull) % 128;
  const uint64_t inSecond = ns % 1000000000ull;
  const uint64_t cycles = inSecond / kCycleNs;
  const uint64_t offset = (inSecond % kCycleNs) * 3072 / kCycleNs;
  return uint32_t(seconds << 25 | cycles << 12 | offset);
}

// The 16-bit cycle stamp of packets and interrupt events: 3 bits of seconds, 13 of cycles.
uint32_t cycleStampAt(uint64_t ns) {
  const uint32_t timer = cycleTimerAt(ns);
  return (timer >> 12) & 0xFFFFu;
}

template <typename T>
std::vector<uint8_t> bytesOf(const T& value) {
  std::vector<uint8_t> bytes(sizeof value);
  std::memcpy(bytes.data(), &value, sizeof value);
  return bytes;
}

// An event with a trailing array: the array starts at its own offset, inside
// the struct's tail padding, and the event ends with the array.
template <typename T>
std::vector<uint8_t> eventWithTail(const T& head, size_t tailOffset, const void* tail, size_t tailBytes) {
  std::vector<uint8_t> bytes(tailOffset + tailBytes);
  std::memcpy(bytes.data(), &head, tailOffset);
  if (tailBytes) std::memcpy(bytes.data() + tailOffset, tail, tailBytes);
  return bytes;
}

// A minimal configuration ROM of a host adapter: bus info block and a root
// directory with vendor id and node capabilities, no units.
std::vector<uint32_t> hostRom() {
  std::vector<uint32_t> rom(5);
  rom[1] = 0x31333934u;  // "1394"
  rom[2] = 0xF000A002u;  // irmc cmc isc bmc, max_rec 10, S400
  rom[3] = uint32_t(kHostGuid >> 32);
  rom[4] = uint32_t(kHostGuid);
  const std::vector<uint32_t> entries = {0x03000000u | uint32_t(kHostGuid >> 40), 0x0C0083C0u};
  rom.push_back(uint32_t(entries.size()) << 16 | vxIeee1212Crc16(entries.data(), entries.size()));
  rom.insert(rom.end(), entries.begin(), entries.end());
  const size_t crcLength = rom.size() - 1;
  rom[0] = 4u << 24 | uint32_t(crcLength) << 16 | vxIeee1212Crc16(rom.data() + 1, crcLength);
  return rom;
}

std::vector<std::string> splitList(const char* text) {
  std::vector<std::string> items;
  if (!text) return items;
  std::stringstream in(text);
  std::string item;
  while (std::getline(in, item, ','))
    if (!item.empty()) items.push_back(item);
  return items;
}

// Frames a feed holds for the bus; the bus empties it every few milliseconds.
constexpr unsigned kFeedFrames = 8;

// Whether frames made for one setting fit another: the geometry and the
// packets they travel in. The Format_7 region's place is read per frame.
bool sameFrames(const vx_SimVideoSetting& a, const vx_SimVideoSetting& b) {
  return a.format == b.format && a.mode == b.mode && a.rate == b.rate && a.width == b.width &&
         a.height == b.height && a.coding == b.coding && a.bytesPerPacket == b.bytesPerPacket &&
         a.packetsPerFrame == b.packetsPerFrame;
}

}  // namespace

std::optional<vx_VfwPacketing> vxVfwStandardPacketing(uint32_t width, uint32_t height,
                                                      vxPixelCoding coding, int rate) {
  if (rate < 0 || rate > 7 || width == 0 || height == 0) return std::nullopt;
  const uint64_t frameBytes = uint64_t(width) * height * vxBitsPerPixel(coding) / 8;
  const uint32_t packetsAtSlowest = width == 1024 ? 4096 : 3840;
  const uint32_t packets = packetsAtSlowest >> rate;
  if (packets == 0 || frameBytes % packets != 0 || (frameBytes / packets) % 4 != 0)
    return std::nullopt;
  vx_VfwPacketing p;
  p.packetsPerFrame = packets;
  p.bytesPerPacket = uint32_t(frameBytes / packets);
  // 1.875 frames per second doubled `rate` times.
  p.framePeriodNs = (1000000000ull * 8 / 15) >> rate;
  return p;
}

namespace {

// The packets a camera sends its frames in: the standard table, or what the
// Format_7 registers say. Nothing when the setting sends no whole packets.
std::optional<vx_VfwPacketing> packetingOf(const vx_SimVideoSetting& setting) {
  if (!setting.valid) return std::nullopt;
  if (setting.format != 7)
    return vxVfwStandardPacketing(setting.width, setting.height, setting.coding, setting.rate);
  if (!setting.bytesPerPacket || !setting.packetsPerFrame) return std::nullopt;
  vx_VfwPacketing p;
  p.bytesPerPacket = setting.bytesPerPacket;
  p.packetsPerFrame = setting.packetsPerFrame;
  p.framePeriodNs = uint64_t(setting.packetsPerFrame) * kCycleNs;
  return p;
}

}  // namespace

// ---------------------------------------------------------------------------
// Making the bus

namespace {
vx_VfwBus* g_instance = nullptr;
std::once_flag g_once;
}  // namespace

bool vx_VfwBus::exists() { return g_instance != nullptr; }

vx_VfwBus::vx_VfwBus(std::vector<vx_SimProfile> profiles, vx_VfwLibc libc, std::vector<std::string> profileDirs)
    : m_libc(libc),
      m_sim(std::make_unique<vx_SimBus>(std::move(profiles), std::move(profileDirs))),
      m_hostRom(hostRom()) {
  if (!m_libc.read) m_libc.read = ::read;
  if (!m_libc.close) m_libc.close = ::close;
  if (!m_libc.mmap) m_libc.mmap = ::mmap;
  m_incarnation.assign(size_t(m_sim->cameraCount()), 0);
  m_feeds.resize(size_t(m_sim->cameraCount()));
  char pattern[] = "/tmp/pralix-vfw-XXXXXX";
  if (::mkdtemp(pattern)) m_sysfsRoot = pattern;
  m_sysfsDevices = m_sysfsRoot + "/devices";
  writeSysfs();
  m_wakeFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  m_streamThread = std::thread([this] { streamLoop(); });
}

vx_VfwBus::~vx_VfwBus() {
  {
    std::lock_guard lock(m_mutex);
    m_stopping = true;
  }
  m_wake.notify_all();
  const uint64_t one = 1;
  if (m_wakeFd >= 0) [[maybe_unused]] ssize_t n = ::write(m_wakeFd, &one, sizeof one);
  if (m_streamThread.joinable()) m_streamThread.join();
  if (m_controlThread.joinable()) m_controlThread.join();
  {
    std::lock_guard feeds(m_feedMutex);
    for (Feed& feed : m_feeds)
      if (feed.stream) feed.stream->stop();
    m_feeds.clear();
  }
  std::vector<int> fds;
  {
    std::lock_guard lock(m_mutex);
    for (auto& [fd, c] : m_clients) fds.push_back(fd);
  }
  for (int fd : fds) close(fd);
  if (m_wakeFd >= 0) m_libc.close(m_wakeFd);
  removeSysfs();
}

void vx_VfwBus::removeSysfs() {
  if (m_sysfsRoot.empty()) return;
  std::error_code ec;
  fs::remove_all(m_sysfsRoot, ec);
}

vx_VfwBus& vx_VfwBus::instance() {
  std::call_once(g_once, [] {
    std::vector<std::string> dirs;
    if (const char* data = std::getenv("PRALIX_DATA_DIR")) dirs.push_back(std::string(data) + "/profiles");
#ifdef PRALIX_INSTALL_DATA_DIR
    dirs.push_back(std::string(PRALIX_INSTALL_DATA_DIR) + "/profiles");
#endif
#ifdef PRALIX_SOURCE_DATA_DIR
    dirs.push_back(std::string(PRALIX_SOURCE_DATA_DIR) + "/profiles");
#endif
    std::vector<std::string> names = splitList(std::getenv("PRALIX_VFW_PROFILES"));
    if (names.empty()) names = vxBuiltinSimProfiles();
    std::vector<vx_SimProfile> profiles;
    for (const std::string& name : names) {
      try {
        profiles.push_back(vxLoadSimProfile(vxResolveSimProfile(name, dirs)));
      } catch (const vx_SimProfile::Error& e) {
        std::fprintf(stderr, "pralix-vfw: camera profile %s left out: %s\n", name.c_str(), e.message().c_str());
      }
    }
    vx_VfwLibc libc;
    if (g_libc) libc = *g_libc;
    // Never destroyed: descriptors and threads of the process may use the
    // bus until the very end; only the stand-in sysfs folder is removed.
    g_instance = new vx_VfwBus(std::move(profiles), libc, dirs);
    std::atexit([] { g_instance->removeSysfs(); });
    if (const char* control = std::getenv("PRALIX_VFW_CONTROL"); control && *control)
      g_instance->startControl(control);
  });
  return *g_instance;
}

const vx_VfwLibc* vx_VfwBus::g_libc = nullptr;

void vx_VfwBus::setLibc(const vx_VfwLibc* libc) { g_libc = libc; }

// ---------------------------------------------------------------------------
// Nodes

int vx_VfwBus::busNode(int node) const {
  if (node == 0) return m_sim->hostNodeNumber();
  return m_sim->nodeNumber(node - 1);
}

bool vx_VfwBus::nodePresent(int node) const {
  if (node == 0) return true;
  return node >= 1 && node <= m_sim->cameraCount() && m_sim->isPlugged(node - 1);
}

int vx_VfwBus::nodeOfPath(const char* path) const {
  if (!path || std::strncmp(path, "/dev/fw", 7) != 0) return -1;
  const char* digits = path + 7;
  if (*digits < '0' || *digits > '9') return -1;
  char* end = nullptr;
  const long node = std::strtol(digits, &end, 10);
  if (*end != '\0' || node > 1000) return -1;
  std::lock_guard lock(m_mutex);
  return nodePresent(int(node)) ? int(node) : -1;
}

std::vector<std::string> vx_VfwBus::nodeNames() const {
  std::lock_guard lock(m_mutex);
  std::vector<std::string> names;
  for (int node = 0; node <= m_sim->cameraCount(); ++node)
    if (nodePresent(node)) names.push_back("fw" + std::to_string(node));
  return names;
}

void vx_VfwBus::writeSysfs() {
  if (m_sysfsRoot.empty()) return;
  std::error_code ec;
  for (int node = 0; node <= m_sim->cameraCount(); ++node) {
    const fs::path dir = fs::path(m_sysfsDevices) / ("fw" + std::to_string(node));
    if (!nodePresent(node)) {
      fs::remove_all(dir, ec);
      continue;
    }
    fs::create_directories(dir, ec);
    const uint64_t guid = node == 0 ? kHostGuid : m_sim->identity(node - 1).guid;
    char text[64];
    std::snprintf(text, sizeof text, "0x%016llx\n", static_cast<unsigned long long>(guid));
    std::ofstream(dir / "guid") << text;
    if (node > 0) {
      const vxDcamIdentity id = m_sim->identity(node - 1);
      std::snprintf(text, sizeof text, "0x%06x:0x%06x\n", id.unitSpecId, id.unitSwVersion);
      std::ofstream(dir / "units") << text;
      std::ofstream(dir / "vendor_name") << id.vendor << "\n";
      std::ofstream(dir / "model_name") << id.model << "\n";
    }
  }
}

// ---------------------------------------------------------------------------
// Clients

vx_VfwBus::Client* vx_VfwBus::client(int fd) {
  auto it = m_clients.find(fd);
  return it == m_clients.end() ? nullptr : it->second.get();
}

const vx_VfwBus::Client* vx_VfwBus::client(int fd) const {
  auto it = m_clients.find(fd);
  return it == m_clients.end() ? nullptr : it->second.get();
}

bool vx_VfwBus::isClient(int fd) const {
  std::lock_guard lock(m_mutex);
  return client(fd) != nullptr;
}

std::optional<bool> vx_VfwBus::goneWithEvents(int fd) const {
  std::lock_guard lock(m_mutex);
  const Client* c = client(fd);
  if (!c || !c->dead) return std::nullopt;
  return !c->events.empty();
}

int vx_VfwBus::open(int node, int flags) {
  int pair[2];
  int type = SOCK_STREAM;
  if (flags & O_CLOEXEC) type |= SOCK_CLOEXEC;
  if (::socketpair(AF_UNIX, type, 0, pair) != 0) return -1;
  if (flags & O_NONBLOCK) ::fcntl(pair[0], F_SETFL, ::fcntl(pair[0], F_GETFL) | O_NONBLOCK);
  ::fcntl(pair[1], F_SETFD, FD_CLOEXEC);
  std::lock_guard lock(m_mutex);
  if (!nodePresent(node)) {
    m_libc.close(pair[0]);
    m_libc.close(pair[1]);
    errno = ENOENT;
    return -1;
  }
  auto c = std::make_unique<Client>();
  c->fd = pair[0];
  c->peer = pair[1];
  c->node = node;
  c->incarnation = node > 0 ? m_incarnation[size_t(node - 1)] : 0;
  m_clients[pair[0]] = std::move(c);
  return pair[0];
}

void vx_VfwBus::push(Client& c, std::vector<uint8_t> event) {
  if (c.dead || c.peer < 0) return;
  c.events.push_back(std::move(event));
  const char one = 1;
  // One byte per event keeps the descriptor readable while events wait.
  if (::send(c.peer, &one, 1, MSG_DONTWAIT | MSG_NOSIGNAL) != 1) c.events.pop_back();
}

void vx_VfwBus::kill(Client& c) {
  if (c.dead) return;
  c.dead = true;
  if (c.iso) c.iso->running = false;
  // Closing the other end makes the descriptor hang up once the events
  // already queued on it have been read, as a removed device's file does.
  if (c.peer >= 0) m_libc.close(c.peer);
  c.peer = -1;
}

int vx_VfwBus::close(int fd) {
  std::unique_ptr<Client> c;
  {
    std::lock_guard lock(m_mutex);
    auto it = m_clients.find(fd);
    if (it == m_clients.end()) {
      errno = EBADF;
      return -1;
    }
    c = std::move(it->second);
    m_clients.erase(it);
    // Resources a client still holds go back to the bus with it.
    for (const auto& [handle, r] : c->resources) {
      if (r.channel >= 0) m_channelsInUse &= ~(1ull << r.channel);
      m_bandwidthFree += r.bandwidth;
    }
  }
  if (c->peer >= 0) m_libc.close(c->peer);
  return m_libc.close(fd);
}

ssize_t vx_VfwBus::read(int fd, void* buffer, size_t count) {
  {
    std::lock_guard lock(m_mutex);
    if (!client(fd)) {
      errno = EBADF;
      return -1;
    }
  }
  char token = 0;
  // Blocks (or not) as the descriptor's own flags say.
  const ssize_t got = m_libc.read(fd, &token, 1);
  if (got < 0) return -1;
  std::lock_guard lock(m_mutex);
  Client* c = client(fd);
  if (got == 0 || !c || c->events.empty()) {
    errno = ENODEV;
    return -1;
  }
  std::vector<uint8_t> event = std::move(c->events.front());
  c->events.pop_front();
  // A buffer too small for the event gets its beginning; the rest is lost.
  const size_t n = std::min(count, event.size());
  std::memcpy(buffer, event.data(), n);
  return ssize_t(n);
}

void* vx_VfwBus::mmap(int fd, size_t length, int prot, int flags, off_t offset) {
  std::lock_guard lock(m_mutex);
  Client* c = client(fd);
  if (!c) {
    errno = EBADF;
    return MAP_FAILED;
  }
  if (c->dead) {
    errno = ENODEV;
    return MAP_FAILED;
  }
  if (!(flags & MAP_SHARED) || offset != 0 || length == 0) {
    errno = EINVAL;
    return MAP_FAILED;
  }
  if (c->buffer) {
    errno = EBUSY;
    return MAP_FAILED;
  }
  const size_t page = size_t(::sysconf(_SC_PAGESIZE));
  const size_t size = (length + page - 1) / page * page;
  void* area = m_libc.mmap(nullptr, size, prot, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (area == MAP_FAILED) return MAP_FAILED;
  c->buffer = static_cast<uint8_t*>(area);
  c->bufferSize = size;
  return area;
}

void vx_VfwBus::unmapping(void* address, size_t length) {
  std::lock_guard lock(m_mutex);
  const auto* start = static_cast<uint8_t*>(address);
  for (auto& [fd, c] : m_clients)
    if (c->buffer && c->buffer < start + length && start < c->buffer + c->bufferSize) {
      c->buffer = nullptr;
      c->bufferSize = 0;
    }
}

// ---------------------------------------------------------------------------
// ioctl

int vx_VfwBus::ioctl(int fd, unsigned long request, void* arg) {
  std::lock_guard lock(m_mutex);
  Client* c = client(fd);
  if (!c) {
    errno = EBADF;
    return -1;
  }
  if (c->dead) {
    errno = ENODEV;
    return -1;
  }
  if (!arg && request != FW_CDEV_IOC_GET_SPEED) {
    errno = EFAULT;
    return -1;
  }
  switch (request) {
    case FW_CDEV_IOC_GET_INFO:
      return getInfo(*c, arg);
    case FW_CDEV_IOC_SEND_REQUEST:
      return sendRequest(*c, arg);
    case FW_CDEV_IOC_INITIATE_BUS_RESET:
      m_sim->busReset();
      announceReset();
      return 0;
    case FW_CDEV_IOC_CREATE_ISO_CONTEXT:
      return createIsoContext(*c, arg);
    case FW_CDEV_IOC_QUEUE_ISO:
      return queueIso(*c, arg);
    case FW_CDEV_IOC_START_ISO: {
      auto* start = static_cast<fw_cdev_start_iso*>(arg);
      if (!c->iso || start->handle != 0 || start->tags == 0 || start->sync > 15) {
        errno = EINVAL;
        return -1;
      }
      c->iso->sync = start->sync;
      c->iso->running = true;
      return 0;
    }
    case FW_CDEV_IOC_STOP_ISO: {
      auto* stop = static_cast<fw_cdev_stop_iso*>(arg);
      if (!c->iso || stop->handle != 0) {
        errno = EINVAL;
        return -1;
      }
      c->iso->running = false;
      return 0;
    }
    case FW_CDEV_IOC_FLUSH_ISO:
      if (!c->iso) {
        errno = EINVAL;
        return -1;
      }
      return 0;
    case FW_CDEV_IOC_GET_CYCLE_TIMER: {
      auto* timer = static_cast<fw_cdev_get_cycle_timer*>(arg);
      const uint64_t now = nowNs();
      timer->local_time = now / 1000;
      timer->cycle_timer = cycleTimerAt(now);
      return 0;
    }
    case FW_CDEV_IOC_GET_CYCLE_TIMER2: {
      auto* timer = static_cast<fw_cdev_get_cycle_timer2*>(arg);
      if (timer->clk_id != CLOCK_REALTIME) {
        errno = EINVAL;
        return -1;
      }
      const uint64_t now = nowNs();
      timer->tv_sec = int64_t(now / 1000000000ull);
      timer->tv_nsec = int32_t(now % 1000000000ull);
      timer->cycle_timer = cycleTimerAt(now);
      return 0;
    }
    case FW_CDEV_IOC_ALLOCATE_ISO_RESOURCE:
      return allocateIso(*c, arg, false);
    case FW_CDEV_IOC_ALLOCATE_ISO_RESOURCE_ONCE:
      return allocateIso(*c, arg, true);
    case FW_CDEV_IOC_DEALLOCATE_ISO_RESOURCE:
      return deallocateIso(*c, arg, false);
    case FW_CDEV_IOC_DEALLOCATE_ISO_RESOURCE_ONCE:
      return deallocateIso(*c, arg, true);
    case FW_CDEV_IOC_GET_SPEED:
      // The speed code is the ioctl's value.
      if (c->node == 0) return SCODE_400;
      return m_sim->simCamera(c->node - 1).profile().ieee1394b ? SCODE_800 : SCODE_400;
    default:
      // Address handlers, config ROM descriptors, PHY and stream packets,
      // broadcast requests: not offered on this bus, as on a kernel without them.
      errno = EINVAL;
      return -1;
  }
}

std::vector<uint8_t> vx_VfwBus::resetEvent(const Client& c) const {
  fw_cdev_event_bus_reset reset{};
  reset.closure = c.resetClosure;
  reset.type = FW_CDEV_EVENT_BUS_RESET;
  reset.node_id = nodeId(c.node);
  reset.local_node_id = nodeId(0);
  reset.bm_node_id = nodeId(0);
  reset.irm_node_id = nodeId(0);
  reset.root_node_id = nodeId(0);
  reset.generation = m_sim->generationCount();
  return bytesOf(reset);
}

int vx_VfwBus::getInfo(Client& c, void* arg) {
  auto* info = static_cast<fw_cdev_get_info*>(arg);
  c.version = info->version;
  info->version = kKernelAbiVersion;
  const std::vector<uint32_t>& rom = c.node == 0 ? m_hostRom : m_sim->simCamera(c.node - 1).configRom();
  // The ROM as the kernel keeps it: host-endian quadlets, as much as fits.
  if (info->rom != 0) {
    const size_t bytes = std::min<size_t>(info->rom_length, rom.size() * 4);
    std::memcpy(reinterpret_cast<void*>(uintptr_t(info->rom)), rom.data(), bytes);
  }
  info->rom_length = uint32_t(rom.size() * 4);
  c.resetClosure = info->bus_reset_closure;
  if (info->bus_reset != 0) {
    const std::vector<uint8_t> reset = resetEvent(c);
    std::memcpy(reinterpret_cast<void*>(uintptr_t(info->bus_reset)), reset.data(), reset.size());
  }
  info->card = 0;
  c.listening = true;
  return 0;
}

bool vx_VfwBus::transaction(int node, uint32_t tcode, uint64_t offset, const uint32_t* in, uint32_t quads,
                            std::vector<uint32_t>& out, uint32_t& rcode) {
  const bool read = tcode == TCODE_READ_QUADLET_REQUEST || tcode == TCODE_READ_BLOCK_REQUEST;
  rcode = RCODE_COMPLETE;
  if (offset < kCsrSpace + kCsrSpaceBase || offset + uint64_t(quads) * 4 > kCsrSpace + 0x100000000ull ||
      offset % 4 != 0) {
    rcode = RCODE_ADDRESS_ERROR;
    return false;
  }
  const uint32_t address = uint32_t(offset - kCsrSpace);
  if (node == 0) {
    // The host answers reads of its configuration ROM only.
    const uint32_t romEnd = 0xF0000400u + uint32_t(m_hostRom.size() * 4);
    if (!read || address < 0xF0000400u || address + quads * 4 > romEnd) {
      rcode = RCODE_ADDRESS_ERROR;
      return false;
    }
    for (uint32_t i = 0; i < quads; ++i) out.push_back(m_hostRom[(address - 0xF0000400u) / 4 + i]);
    return true;
  }
  vx_SimCamera& camera = m_sim->simCamera(node - 1);
  // The camera's frames must have somewhere to go before a write that asks
  // for them (ISO_EN, ONE_SHOT ...) and must follow a write that changes
  // their make-up (format, mode, rate, Format_7 size and packet).
  if (!read) syncFeed(node - 1);
  bool ok = true;
  for (uint32_t i = 0; ok && i < quads; ++i) {
    if (read) {
      uint32_t value = 0;
      ok = camera.readQuadlet(address + 4 * i, value);
      out.push_back(value);
    } else {
      ok = camera.writeQuadlet(address + 4 * i, in[i]);
    }
  }
  if (!read) syncFeed(node - 1);
  if (!ok) {
    rcode = RCODE_ADDRESS_ERROR;
    out.clear();
  }
  return ok;
}

int vx_VfwBus::sendRequest(Client& c, void* arg) {
  auto* request = static_cast<fw_cdev_send_request*>(arg);
  if (request->length > 4096) {
    errno = EIO;
    return -1;
  }
  uint32_t quads = 0;
  switch (request->tcode) {
    case TCODE_READ_QUADLET_REQUEST:
    case TCODE_WRITE_QUADLET_REQUEST:
      if (request->length != 4) {
        errno = EINVAL;
        return -1;
      }
      quads = 1;
      break;
    case TCODE_READ_BLOCK_REQUEST:
    case TCODE_WRITE_BLOCK_REQUEST:
      quads = request->length / 4;
      break;
    case TCODE_LOCK_MASK_SWAP:
    case TCODE_LOCK_COMPARE_SWAP:
    case TCODE_LOCK_FETCH_ADD:
    case TCODE_LOCK_LITTLE_ADD:
    case TCODE_LOCK_BOUNDED_ADD:
    case TCODE_LOCK_WRAP_ADD:
    case TCODE_LOCK_VENDOR_DEPENDENT:
      break;
    default:
      errno = EINVAL;
      return -1;
  }
  const bool write = request->tcode == TCODE_WRITE_QUADLET_REQUEST || request->tcode == TCODE_WRITE_BLOCK_REQUEST;
  std::vector<uint32_t> in;
  if (write) {
    if (request->length != 0 && request->data == 0) {
      errno = EFAULT;
      return -1;
    }
    in.resize(quads);
    // A block shorter than a quadlet carries nothing the cameras take.
    if (quads != 0)
      std::memcpy(in.data(), reinterpret_cast<const void*>(uintptr_t(request->data)), quads * 4);
    for (uint32_t& q : in) q = ntohl(q);
  }
  std::vector<uint32_t> out;
  uint32_t rcode = RCODE_COMPLETE;
  if (request->generation != m_sim->generationCount()) {
    // Sent with the numbers of a bus that has reset since.
    rcode = RCODE_GENERATION;
  } else if (request->length % 4 != 0 || quads == 0) {
    // The cameras' CSRs answer whole quadlets only; locks are not served.
    rcode = RCODE_TYPE_ERROR;
  } else {
    transaction(c.node, request->tcode, request->offset, in.data(), quads, out, rcode);
  }
  static const bool trace = std::getenv("PRALIX_VFW_TRACE") != nullptr;
  if (trace)
    std::fprintf(stderr, "pralix-vfw: fw%d request tcode %u at 0x%012llx, %u bytes: rcode %u\n", c.node,
                 request->tcode, static_cast<unsigned long long>(request->offset), request->length, rcode);
  fw_cdev_event_response response{};
  response.closure = request->closure;
  response.type = FW_CDEV_EVENT_RESPONSE;
  response.rcode = rcode;
  response.length = uint32_t(out.size() * 4);
  for (uint32_t& q : out) q = htonl(q);
  push(c, eventWithTail(response, offsetof(fw_cdev_event_response, data), out.data(), out.size() * 4));
  return 0;
}

int vx_VfwBus::allocateIso(Client& c, void* arg, bool once) {
  auto* request = static_cast<fw_cdev_allocate_iso_resource*>(arg);
  if ((request->channels == 0 && request->bandwidth == 0) || request->bandwidth > 4915) {
    errno = EINVAL;
    return -1;
  }
  Resource r;
  r.closure = request->closure;
  bool ok = true;
  if (request->channels != 0) {
    const uint64_t free = request->channels & ~m_channelsInUse;
    if (free == 0) {
      ok = false;
    } else {
      r.channel = __builtin_ctzll(free);
    }
  }
  if (ok && request->bandwidth != 0) {
    if (int(request->bandwidth) > m_bandwidthFree)
      ok = false;
    else
      r.bandwidth = int(request->bandwidth);
  }
  if (!ok) {
    r.channel = -1;
    r.bandwidth = 0;
  }
  if (r.channel >= 0) m_channelsInUse |= 1ull << r.channel;
  m_bandwidthFree -= r.bandwidth;
  uint32_t handle = uint32_t(-1);
  if (!once) {
    handle = c.nextHandle++;
    request->handle = handle;
    if (ok) c.resources[handle] = r;
  }
  fw_cdev_event_iso_resource event{};
  event.closure = r.closure;
  event.type = FW_CDEV_EVENT_ISO_RESOURCE_ALLOCATED;
  event.handle = handle;
  event.channel = ok && request->channels != 0 ? r.channel : -1;
  event.bandwidth = r.bandwidth;
  push(c, bytesOf(event));
  return 0;
}

int vx_VfwBus::deallocateIso(Client& c, void* arg, bool once) {
  Resource r;
  uint32_t handle = uint32_t(-1);
  if (once) {
    auto* request = static_cast<fw_cdev_allocate_iso_resource*>(arg);
    // The same checks as an allocation: a bandwidth beyond the bus's whole
    // budget is refused, not added to what is free.
    if ((request->channels == 0 && request->bandwidth == 0) || request->bandwidth > 4915) {
      errno = EINVAL;
      return -1;
    }
    r.closure = request->closure;
    const uint64_t channels = request->channels & m_channelsInUse;
    if (channels) r.channel = __builtin_ctzll(channels);
    r.bandwidth = int(request->bandwidth);
  } else {
    handle = static_cast<fw_cdev_deallocate*>(arg)->handle;
    auto it = c.resources.find(handle);
    if (it == c.resources.end()) {
      errno = EINVAL;
      return -1;
    }
    r = it->second;
    c.resources.erase(it);
  }
  if (r.channel >= 0) m_channelsInUse &= ~(1ull << r.channel);
  m_bandwidthFree = std::min(4915, m_bandwidthFree + r.bandwidth);
  fw_cdev_event_iso_resource event{};
  event.closure = r.closure;
  event.type = FW_CDEV_EVENT_ISO_RESOURCE_DEALLOCATED;
  event.handle = handle;
  event.channel = r.channel;
  event.bandwidth = r.bandwidth;
  push(c, bytesOf(event));
  return 0;
}

int vx_VfwBus::createIsoContext(Client& c, void* arg) {
  auto* create = static_cast<fw_cdev_create_iso_context*>(arg);
  if (c.iso) {
    errno = EBUSY;
    return -1;
  }
  // Only single-channel reception: nothing on this bus listens to what a
  // process would transmit.
  if (create->type != FW_CDEV_ISO_CONTEXT_RECEIVE || create->channel > 63 || create->header_size < 4 ||
      create->header_size % 4 != 0) {
    errno = EINVAL;
    return -1;
  }
  IsoContext iso;
  iso.headerSize = create->header_size;
  iso.channel = create->channel;
  iso.closure = create->closure;
  c.iso = std::move(iso);
  create->handle = 0;
  return 0;
}

int vx_VfwBus::queueIso(Client& c, void* arg) {
  auto* queue = static_cast<fw_cdev_queue_iso*>(arg);
  if (!c.iso || queue->handle != 0) {
    errno = EINVAL;
    return -1;
  }
  IsoContext& iso = *c.iso;
  const size_t entries = queue->size / sizeof(uint32_t);
  const auto* controls = reinterpret_cast<const uint32_t*>(uintptr_t(queue->packets));
  uint64_t data = queue->data;
  std::vector<Descriptor> added;
  for (size_t i = 0; i < entries; ++i) {
    const uint32_t control = controls[i];
    const uint32_t headerLength = control >> 24;
    const uint32_t payload = control & 0xFFFFu;
    if (headerLength == 0 || headerLength % iso.headerSize != 0) {
      errno = EINVAL;
      return -1;
    }
    const auto base = reinterpret_cast<uint64_t>(c.buffer);
    if (payload > 0 && (!c.buffer || data < base || data + payload > base + c.bufferSize)) {
      errno = EINVAL;
      return -1;
    }
    Descriptor d;
    d.count = headerLength / iso.headerSize;
    d.slot = payload / d.count;
    d.offset = size_t(data - base);
    d.interrupt = (control & FW_CDEV_ISO_INTERRUPT) != 0;
    d.sync = (control & FW_CDEV_ISO_SYNC) != 0;
    added.push_back(d);
    data += payload;
  }
  iso.queue.insert(iso.queue.end(), added.begin(), added.end());
  queue->packets += entries * sizeof(uint32_t);
  queue->size -= uint32_t(entries * sizeof(uint32_t));
  queue->data = data;
  return 0;
}

// ---------------------------------------------------------------------------
// Bus changes

void vx_VfwBus::announceReset() {
  for (auto& [fd, c] : m_clients) {
    if (c->dead || !c->listening) continue;
    push(*c, resetEvent(*c));
  }
}

void vx_VfwBus::busReset() {
  std::lock_guard lock(m_mutex);
  m_sim->busReset();
  announceReset();
}

bool vx_VfwBus::unplug(int camera) {
  std::lock_guard lock(m_mutex);
  if (camera < 0 || camera >= m_sim->cameraCount() || !m_sim->isPlugged(camera)) return false;
  m_sim->unplug(camera);
  syncFeed(camera);
  for (auto& [fd, c] : m_clients)
    if (c->node == camera + 1) kill(*c);
  writeSysfs();
  announceReset();
  return true;
}

int vx_VfwBus::plug(const std::string& profile, std::string* error) {
  vx_SimProfile loaded;
  try {
    loaded = vxLoadSimProfile(vxResolveSimProfile(profile, m_sim->profileDirs()));
  } catch (const vx_SimProfile::Error& e) {
    if (error) *error = e.message();
    return -1;
  }
  std::lock_guard lock(m_mutex);
  int camera = -1;
  try {
    camera = m_sim->addCamera(std::move(loaded));
  } catch (const vx_SimProfile::Error& e) {
    if (error) *error = e.message();
    return -1;
  }
  m_incarnation.resize(size_t(m_sim->cameraCount()), 0);
  {
    std::lock_guard feeds(m_feedMutex);
    if (!m_stopping) m_feeds.resize(size_t(m_sim->cameraCount()));
  }
  syncFeed(camera);
  writeSysfs();
  announceReset();
  return camera;
}

bool vx_VfwBus::replug(int camera) {
  std::lock_guard lock(m_mutex);
  if (camera < 0 || camera >= m_sim->cameraCount() || m_sim->isPlugged(camera)) return false;
  ++m_incarnation[size_t(camera)];
  m_sim->replug(camera);
  syncFeed(camera);
  writeSysfs();
  announceReset();
  return true;
}

bool vx_VfwBus::command(const std::string& line) {
  std::istringstream in(line);
  std::string verb;
  in >> verb;
  if (verb == "reset") {
    busReset();
    return true;
  }
  if (verb == "plug") {
    std::string profile;
    if (!(in >> profile)) return false;
    std::string error;
    if (plug(profile, &error) < 0) std::fprintf(stderr, "pralix-vfw: cannot plug %s: %s\n", profile.c_str(), error.c_str());
    return true;
  }
  int camera = -1;
  if (!(in >> camera)) return false;
  if (verb == "unplug") return unplug(camera);
  if (verb == "replug") return replug(camera);
  return false;
}

void vx_VfwBus::startControl(const std::string& path) {
  if (::mkfifo(path.c_str(), 0600) != 0 && errno != EEXIST) {
    std::fprintf(stderr, "pralix-vfw: cannot make the control channel %s: %s\n", path.c_str(), std::strerror(errno));
    return;
  }
  // Opened for writing too, so the channel never reads end-of-file between writers.
  const int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
  if (fd < 0) return;
  m_controlThread = std::thread([this, fd] {
    std::string pending;
    for (;;) {
      pollfd fds[2] = {{fd, POLLIN, 0}, {m_wakeFd, POLLIN, 0}};
      if (::poll(fds, 2, -1) < 0) {
        if (errno == EINTR) continue;
        break;
      }
      if (fds[1].revents) break;
      char chunk[256];
      const ssize_t n = m_libc.read(fd, chunk, sizeof chunk);
      if (n <= 0) continue;
      pending.append(chunk, size_t(n));
      for (size_t end; (end = pending.find('\n')) != std::string::npos;) {
        const std::string line = pending.substr(0, end);
        pending.erase(0, end + 1);
        if (!line.empty() && !command(line))
          std::fprintf(stderr, "pralix-vfw: control line not understood: %s\n", line.c_str());
      }
    }
    m_libc.close(fd);
  });
}

// ---------------------------------------------------------------------------
// Isochronous streams

void vx_VfwBus::deliverPacket(Client& c, const uint8_t* payload, uint32_t length, bool sy, uint32_t stamp) {
  IsoContext& iso = *c.iso;
  if (!iso.running || iso.queue.empty()) return;  // no buffer: the packet is lost
  Descriptor& d = iso.queue.front();
  if (d.sync && iso.doneInHead == 0 && !(sy && iso.sync == 1)) return;  // waiting for a frame's start
  const uint32_t extra = iso.headerSize > 8 ? std::min(length, iso.headerSize - 8) : 0;
  if (c.buffer) {
    const size_t at = d.offset + size_t(iso.doneInHead) * d.slot;
    const size_t n = std::min<size_t>(length - extra, d.slot);
    if (at + n <= c.bufferSize) std::memcpy(c.buffer + at, payload + extra, n);
  }
  std::vector<uint32_t> header(iso.headerSize / 4, 0);
  header[0] = htonl(length << 16 | kIsoTag << 14 | iso.channel << 8 | TCODE_STREAM_DATA << 4 | (sy ? 1u : 0u));
  if (header.size() > 1) header[1] = htonl(stamp);
  if (extra) std::memcpy(header.data() + 2, payload, extra);
  const size_t headerBytes = header.size() * 4;
  const bool full = iso.headers.size() + headerBytes > kHeaderPage;
  auto flush = [&](uint32_t cycle) {
    fw_cdev_event_iso_interrupt event{};
    event.closure = iso.closure;
    event.type = FW_CDEV_EVENT_ISO_INTERRUPT;
    event.cycle = cycle;
    event.header_length = uint32_t(iso.headers.size());
    push(c, eventWithTail(event, offsetof(fw_cdev_event_iso_interrupt, header), iso.headers.data(),
                          iso.headers.size()));
    iso.headers.clear();
  };
  if (full && c.version >= 5) flush(iso.lastCycle);
  // Older clients lose the headers that do not fit until the next interrupt.
  if (!full || c.version >= 5) {
    const auto* raw = reinterpret_cast<const uint8_t*>(header.data());
    iso.headers.insert(iso.headers.end(), raw, raw + headerBytes);
  }
  iso.lastCycle = stamp;
  if (++iso.doneInHead == d.count) {
    const bool interrupt = d.interrupt;
    iso.queue.pop_front();
    iso.doneInHead = 0;
    if (interrupt) flush(stamp);
  }
}

void vx_VfwBus::syncFeed(int camera) {
  vx_SimCamera& sim = m_sim->simCamera(camera);
  const vx_SimVideoSetting setting = sim.videoSetting();
  const std::optional<vx_VfwPacketing> packeting = packetingOf(setting);
  std::lock_guard lock(m_feedMutex);
  if (size_t(camera) >= m_feeds.size()) return;  // the bus is going away
  Feed& feed = m_feeds[size_t(camera)];
  const bool wanted = sim.isPlugged() && setting.valid && packeting.has_value();
  if (feed.stream && wanted && sameFrames(feed.setting, setting)) return;
  if (feed.stream) feed.stream->stop();
  feed.stream.reset();
  if (!wanted) return;
  vx_StreamParams params;
  params.format = uint32_t(setting.format);
  params.mode = uint32_t(setting.mode);
  params.rate = uint32_t(setting.rate);
  params.width = setting.width;
  params.height = setting.height;
  params.coding = setting.coding;
  params.bytesPerPacket = packeting->bytesPerPacket;
  params.packetsPerFrame = packeting->packetsPerFrame;
  try {
    params.frameBytes = vx_SimScene::frameBytes(setting.width, setting.height, setting.coding);
  } catch (const vx_SimScene::BadSize&) {
    return;  // a geometry no frame can have: the camera sends nothing
  }
  // Frames larger than their packets can carry are not sent either.
  if (params.frameBytes > size_t(packeting->bytesPerPacket) * packeting->packetsPerFrame) return;
  std::unique_ptr<vx_DcamStream> stream = m_sim->openStream(camera, params);
  if (!stream || !stream->start(kFeedFrames, nullptr)) return;
  feed.stream = std::move(stream);
  feed.setting = setting;
  feed.packeting = *packeting;
}

void vx_VfwBus::sendFrames() {
  for (int i = 0; i < m_sim->cameraCount(); ++i) {
    std::vector<vx_DcamFrame> frames;
    vx_VfwPacketing packeting;
    {
      std::lock_guard lock(m_feedMutex);
      if (size_t(i) >= m_feeds.size()) return;
      Feed& feed = m_feeds[size_t(i)];
      while (feed.stream) {
        std::optional<vx_DcamFrame> frame = feed.stream->waitFrame(0.0);
        if (!frame) break;
        if (frame->has(vx_DcamFrame::kUnplugged)) {
          feed.stream->stop();
          feed.stream.reset();
          break;
        }
        if (frame->hasImage()) frames.push_back(std::move(*frame));
      }
      packeting = feed.packeting;
    }
    if (frames.empty()) continue;
    vx_SimCamera& camera = m_sim->simCamera(i);
    uint32_t isoChannel = 0;
    if (!camera.readQuadlet(camera.profile().commandRegsBase + vx_Iidc::kIsoChannel, isoChannel))
      continue;
    const bool bMode = camera.profile().ieee1394b && (isoChannel & 0x8000u);
    const uint32_t channel = bMode ? (isoChannel >> 8 & 0x3F) : (isoChannel >> 28);
    const size_t packetBytes = packeting.bytesPerPacket;
    const uint32_t packets = packeting.packetsPerFrame;
    std::vector<uint8_t> wire(packetBytes * packets);
    const uint64_t now = nowNs();
    const auto steadyNow = std::chrono::steady_clock::now();
    std::lock_guard lock(m_mutex);
    for (const vx_DcamFrame& frame : frames) {
      // The packets of a frame as they went by: the last one when the camera
      // finished sending it.
      const auto age = std::chrono::duration_cast<std::chrono::nanoseconds>(steadyNow - frame.timestamp).count();
      const uint64_t sentNs = now - uint64_t(std::clamp<int64_t>(age, 0, int64_t(now)));
      const std::vector<uint8_t>& pixels = *frame.data;
      const size_t n = std::min(pixels.size(), wire.size());
      std::memcpy(wire.data(), pixels.data(), n);
      std::fill(wire.begin() + std::ptrdiff_t(n), wire.end(), uint8_t{0});
      for (uint32_t k = 0; k < packets; ++k) {
        const uint32_t stamp = cycleStampAt(sentNs - uint64_t(packets - 1 - k) * kCycleNs);
        for (auto& [fd, c] : m_clients)
          if (!c->dead && c->iso && c->iso->running && c->iso->channel == channel)
            deliverPacket(*c, wire.data() + size_t(k) * packetBytes, uint32_t(packetBytes), k == 0, stamp);
      }
    }
  }
}

void vx_VfwBus::streamLoop() {
  for (;;) {
    {
      std::unique_lock lock(m_mutex);
      m_wake.wait_for(lock, std::chrono::milliseconds(2), [this] { return m_stopping; });
      if (m_stopping) return;
    }
    sendFrames();
  }
}
