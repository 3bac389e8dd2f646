// FireWire device nodes of the kernel's firewire stack: finding and probing them, and watching them for bus events.
#include "modules/qrvnvdcam/dc1394/fw_node.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace {

namespace fs = std::filesystem;

// The ABI level this client speaks; bus reset events look the same at every
// level from the first.
constexpr uint32_t kFwCdevAbiVersion = 4;

// "fw12" -> 12; -1 for anything else ("fw12.0" is a unit, not a node).
int nodeNumberOfName(const std::string& name) {
  if (name.size() < 3 || name.compare(0, 2, "fw") != 0) return -1;
  int number = 0;
  for (size_t i = 2; i < name.size(); ++i) {
    if (name[i] < '0' || name[i] > '9' || number > 100000) return -1;
    number = number * 10 + (name[i] - '0');
  }
  return number;
}

std::string firstLine(const fs::path& file) {
  std::ifstream in(file);
  std::string line;
  if (!in || !std::getline(in, line)) return {};
  return line;
}

// The units file lists each unit as "0x<specifier id>:0x<software version>".
vx_FwNodeProbe::Kind kindOf(const fs::path& sysDevice) {
  std::error_code ec;
  if (!fs::exists(sysDevice / "units", ec)) return vx_FwNodeProbe::Kind::Unknown;
  std::ifstream in(sysDevice / "units");
  if (!in) return vx_FwNodeProbe::Kind::Unknown;
  std::string units((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::transform(units.begin(), units.end(), units.begin(), [](unsigned char c) { return std::tolower(c); });
  return units.find("0x00a02d:") != std::string::npos ? vx_FwNodeProbe::Kind::Camera : vx_FwNodeProbe::Kind::Other;
}

}  // namespace

vxDcamBusEventInfo vxBusEventFromReset(const fw_cdev_event_bus_reset& reset) {
  vxDcamBusEventInfo info;
  info.eventFlags = vxDcamBusEventInfo::kBusReset;
  info.initiatorNodeNo = kUnknownInitiatorNode;
  info.hostNodeNo = vxFwNodeNumber(reset.local_node_id);
  info.busNodeCount = vxFwNodeNumber(reset.root_node_id) + 1;
  info.busGenerationCount = reset.generation;
  return info;
}

std::vector<vx_FwNodeProbe> vxProbeFwNodes(const std::string& devDir, const std::string& sysDir) {
  std::vector<std::pair<int, vx_FwNodeProbe>> found;
  std::error_code ec;
  for (fs::directory_iterator it(devDir, ec), end; !ec && it != end; it.increment(ec)) {
    const std::string name = it->path().filename().string();
    const int number = nodeNumberOfName(name);
    if (number < 0) continue;
    vx_FwNodeProbe probe;
    probe.path = it->path().string();
    // libdc1394 opens camera nodes for reading and writing, so that is the
    // access that counts.
    const int fd = ::open(probe.path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
      probe.openError = errno;
    else
      ::close(fd);
    probe.kind = kindOf(fs::path(sysDir) / name);
    found.emplace_back(number, std::move(probe));
  }
  std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<vx_FwNodeProbe> probes;
  for (auto& entry : found) probes.push_back(std::move(entry.second));
  return probes;
}

std::vector<std::string> vxFwNodeNames(const std::string& devDir) {
  std::vector<std::pair<int, std::string>> found;
  std::error_code ec;
  for (fs::directory_iterator it(devDir, ec), end; !ec && it != end; it.increment(ec)) {
    std::string name = it->path().filename().string();
    const int number = nodeNumberOfName(name);
    if (number >= 0) found.emplace_back(number, std::move(name));
  }
  std::sort(found.begin(), found.end());
  std::vector<std::string> names;
  for (auto& entry : found) names.push_back(std::move(entry.second));
  return names;
}

std::string vxFwNodeForGuid(uint64_t guid, const std::string& sysDir, const std::string& devDir) {
  std::error_code ec;
  for (fs::directory_iterator it(sysDir, ec), end; !ec && it != end; it.increment(ec)) {
    const std::string name = it->path().filename().string();
    if (nodeNumberOfName(name) < 0) continue;
    const std::string text = firstLine(it->path() / "guid");
    if (text.empty()) continue;
    char* rest = nullptr;
    errno = 0;
    const unsigned long long value = std::strtoull(text.c_str(), &rest, 16);
    if (errno != 0 || rest == text.c_str()) continue;
    if (value == guid) return (fs::path(devDir) / name).string();
  }
  return {};
}

int vxOpenFwNodeForEvents(const std::string& path, fw_cdev_event_bus_reset& current) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return -1;
  fw_cdev_get_info info{};
  std::memset(&current, 0, sizeof current);
  info.version = kFwCdevAbiVersion;
  info.bus_reset = reinterpret_cast<uintptr_t>(&current);
  if (::ioctl(fd, FW_CDEV_IOC_GET_INFO, &info) < 0) {
    const int error = errno;
    ::close(fd);
    errno = error;
    return -1;
  }
  return fd;
}

vx_FwNodeWatcher::vx_FwNodeWatcher(ResetHandler onReset, GoneHandler onGone)
    : m_onReset(std::move(onReset)), m_onGone(std::move(onGone)) {}

vx_FwNodeWatcher::~vx_FwNodeWatcher() { stop(); }

void vx_FwNodeWatcher::add(int index, int fd) {
  // drain() reads until nothing is left, which needs a non-blocking descriptor.
  const int flags = ::fcntl(fd, F_GETFL);
  if (flags >= 0 && !(flags & O_NONBLOCK)) ::fcntl(fd, F_SETFL, flags | O_NONBLOCK);
  {
    std::lock_guard lock(m_nodesMutex);
    m_nodes.push_back({index, fd});
    m_added.push_back({index, fd});
  }
  if (m_wakeFd >= 0) {
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(m_wakeFd, &one, sizeof one);
  }
}

bool vx_FwNodeWatcher::start() {
  if (m_thread.joinable()) return true;
  m_wakeFd = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  if (m_wakeFd < 0) return false;
  try {
    m_thread = std::thread([this] { run(); });
  } catch (const std::system_error&) {
    ::close(m_wakeFd);
    m_wakeFd = -1;
    return false;
  }
  return true;
}

void vx_FwNodeWatcher::stop() {
  if (m_thread.joinable()) {
    m_stopping = true;
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(m_wakeFd, &one, sizeof one);
    m_thread.join();
  }
  if (m_wakeFd >= 0) ::close(m_wakeFd);
  m_wakeFd = -1;
  std::lock_guard lock(m_nodesMutex);
  for (const Node& node : m_nodes) ::close(node.fd);
  m_nodes.clear();
  m_added.clear();
}

bool vx_FwNodeWatcher::drain(const Node& node) {
  // Events are read whole; a buffer larger than any event the kernel queues
  // on a node nobody sends requests through.
  alignas(8) unsigned char buffer[4096];
  for (;;) {
    const ssize_t n = ::read(node.fd, buffer, sizeof buffer);
    if (n > 0) {
      fw_cdev_event_common common;
      if (static_cast<size_t>(n) < sizeof common) continue;
      std::memcpy(&common, buffer, sizeof common);
      if (common.type == FW_CDEV_EVENT_BUS_RESET && static_cast<size_t>(n) >= sizeof(fw_cdev_event_bus_reset)) {
        fw_cdev_event_bus_reset reset;
        std::memcpy(&reset, buffer, sizeof reset);
        if (m_onReset) m_onReset(node.index, reset);
      }
      continue;
    }
    if (n == 0) return false;  // end of file: the device is gone
    if (errno == EINTR) continue;
    if (errno == EAGAIN || errno == EWOULDBLOCK) return true;
    return false;  // ENODEV once the device has been removed, or a broken node
  }
}

void vx_FwNodeWatcher::run() {
  std::vector<Node> watched;
  for (;;) {
    {
      std::lock_guard lock(m_nodesMutex);
      watched.insert(watched.end(), m_added.begin(), m_added.end());
      m_added.clear();
    }
    std::vector<pollfd> fds;
    fds.push_back({m_wakeFd, POLLIN, 0});
    for (const Node& node : watched) fds.push_back({node.fd, POLLIN, 0});
    const int ready = ::poll(fds.data(), fds.size(), -1);
    if (ready < 0) {
      if (errno == EINTR) continue;
      return;
    }
    if (fds[0].revents != 0) {
      if (m_stopping) return;
      uint64_t count = 0;
      [[maybe_unused]] const ssize_t got = ::read(m_wakeFd, &count, sizeof count);
      continue;  // a node was added
    }
    std::vector<Node> still;
    for (size_t i = 0; i < watched.size(); ++i) {
      const short revents = fds[i + 1].revents;
      bool alive = true;
      if (revents & POLLIN) alive = drain(watched[i]);
      if (revents & (POLLHUP | POLLERR | POLLNVAL)) alive = false;
      if (alive) {
        still.push_back(watched[i]);
      } else if (m_onGone) {
        m_onGone(watched[i].index);
      }
    }
    // A node that left stays open (stop() closes it) but is no longer polled:
    // a hung-up descriptor would make every poll return at once.
    watched = std::move(still);
  }
}
