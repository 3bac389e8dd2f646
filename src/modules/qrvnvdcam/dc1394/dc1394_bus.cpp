// The bus layer of real cameras: FireWire and IIDC-over-USB cameras reached through libdc1394.
#include "modules/qrvnvdcam/dc1394/dc1394_bus.h"

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <exception>

#include "base/format.h"
#include "modules/qrvnvdcam/dc1394/dc1394_log.h"
#include "modules/qrvnvdcam/dc1394/dc1394_stream.h"

namespace {

// The CSR space libdc1394 reaches is the top 256 MiB of a node's address
// space; the program names it with addresses 0xF0000000 .. 0xFFFFFFFF.
constexpr uint64_t kCsrSpaceSize = 0x10000000u;

// What libdc1394 logged about the call made since problemCount() was `before`.
std::string problemSince(unsigned long before) {
  return vx_Dc1394Log::problemCount() != before ? vx_Dc1394Log::lastProblem() : std::string();
}

std::string joined(const std::vector<std::string>& parts, const char* separator) {
  std::string text;
  for (const std::string& part : parts) {
    if (!text.empty()) text += separator;
    text += part;
  }
  return text;
}

}  // namespace

bool vxDc1394CsrOffset(uint32_t address, uint32_t commandOffset, uint64_t& offset, std::string* error) {
  if (address % 4 != 0) {
    if (error) *error = vxFormat("0x%08X is not a quadlet address", address);
    return false;
  }
  const uint64_t candidate =
      address >= kCsrSpaceBase ? uint64_t{address} - kCsrSpaceBase : uint64_t{commandOffset} + address;
  if (candidate >= kCsrSpaceSize) {
    if (error)
      *error = vxFormat("0x%08X lies beyond the camera's CSR space (command registers at 0x%08X)", address,
                        static_cast<uint32_t>(kCsrSpaceBase + commandOffset));
    return false;
  }
  offset = candidate;
  return true;
}

std::vector<std::string> vxDc1394Notices(const vx_Dc1394StackState& state) {
  std::vector<std::string> notices;
  std::vector<std::string> blocked;
  bool permission = false;
  for (const vx_FwNodeProbe& node : state.nodes) {
    // A node known to be something else (the host adapter itself is usually
    // root's alone) is none of the user's business.
    if (node.openError == 0 || node.kind == vx_FwNodeProbe::Kind::Other) continue;
    blocked.push_back(vxFormat("%s (%s)", node.path.c_str(), std::strerror(node.openError)));
    if (node.openError == EACCES || node.openError == EPERM) permission = true;
  }
  if (!blocked.empty()) {
    std::string text = vxFormat("FireWire camera%s cannot be opened: %s, so %s not listed.",
                                blocked.size() == 1 ? "" : "s", joined(blocked, ", ").c_str(),
                                blocked.size() == 1 ? "it is" : "they are");
    if (permission)
      text +=
          " A udev rule that gives the video group access to IIDC cameras fixes this: put the line "
          "SUBSYSTEM==\"firewire\", ATTR{units}==\"*0x00a02d:*\", GROUP=\"video\", MODE=\"0660\" into "
          "/etc/udev/rules.d/61-dcam.rules, add your user to the video group, log in again and plug the "
          "cameras in again.";
    notices.push_back(text);
  } else if (state.nodes.empty() && state.cameraCount == 0) {
    notices.push_back(
        "No FireWire cameras can be used: there are no FireWire device nodes (/dev/fw*). Check that a "
        "FireWire adapter is fitted and that the kernel's firewire-ohci driver is loaded "
        "(sudo modprobe firewire-ohci).");
  } else if (!state.libraryUp) {
    notices.push_back(vxFormat("libdc1394 could not be started (%s), so no real cameras are listed.",
                               state.libraryError.empty() ? "it gave no reason" : state.libraryError.c_str()));
  }
  if (!state.unopened.empty())
    notices.push_back(vxFormat("libdc1394 lists camera%s it could not open: %s.", state.unopened.size() == 1 ? "" : "s",
                               joined(state.unopened, "; ").c_str()));
  return notices;
}

// One camera libdc1394 opened.
struct vx_Dc1394BusLayer::Camera {
  // Replaced, under the transaction lock, when the camera comes back.
  dc1394camera_t* handle = nullptr;
  // Handles of earlier visits; a stream opened then may still hold one, so
  // they are freed with the layer.
  std::vector<dc1394camera_t*> retired;
  int unit = 0;
  vxDcamIdentity identity;
  uint32_t commandOffset = 0;  // command registers, as an offset from the CSR base
  std::mutex transactions;
  std::atomic<bool> plugged{true};
  std::atomic<int> nodeNumber{0};
  // The bus as the last reset left it (an unplug record repeats it), and the
  // camera's device node ("/dev/fw3"; empty for a camera on USB), which may
  // change when it comes back.
  std::mutex busMutex;
  vxDcamBusEventInfo lastBus;
  std::string nodePath;

  std::string node() {
    std::lock_guard lock(busMutex);
    return nodePath;
  }
};

vx_Dc1394BusLayer::vx_Dc1394BusLayer() = default;

vx_Dc1394BusLayer::~vx_Dc1394BusLayer() {
  if (m_rescanThread.joinable()) {
    {
      std::lock_guard lock(m_rescanMutex);
      m_rescanStopping = true;
    }
    m_rescanWake.notify_all();
    m_rescanThread.join();
  }
  if (m_watcher) m_watcher->stop();
  for (auto& camera : m_cameras) {
    if (!camera) continue;
    if (camera->handle) dc1394_camera_free(camera->handle);
    for (dc1394camera_t* old : camera->retired) dc1394_camera_free(old);
    camera.reset();
  }
  if (m_context) dc1394_free(m_context);
}

std::unique_ptr<vx_Dc1394BusLayer> vxCreateDc1394BusLayer() {
  std::unique_ptr<vx_Dc1394BusLayer> layer;
  try {
    layer.reset(new vx_Dc1394BusLayer);
  } catch (...) {
    return nullptr;
  }
  vx_Dc1394StackState state;
  try {
    layer->bringUp(state);
    layer->m_notices = vxDc1394Notices(state);
  } catch (const std::exception& e) {
    layer->m_notices = {vxFormat("The real camera bus could not be brought up: %s.", e.what())};
  } catch (...) {
    layer->m_notices = {"The real camera bus could not be brought up."};
  }
  return layer;
}

void vx_Dc1394BusLayer::bringUp(vx_Dc1394StackState& state) {
  vx_Dc1394Log::install();
  state.nodes = vxProbeFwNodes();
  const unsigned long before = vx_Dc1394Log::problemCount();
  m_context = dc1394_new();
  if (!m_context) {
    state.libraryError = problemSince(before);
    return;
  }
  dc1394camera_list_t* list = nullptr;
  const dc1394error_t listed = dc1394_camera_enumerate(m_context, &list);
  if (listed != DC1394_SUCCESS || !list) {
    state.libraryError = vxFormat("listing the cameras failed: %s", dc1394_error_get_string(listed));
    if (list) dc1394_camera_free_list(list);
    return;
  }
  state.libraryUp = true;
  // libdc1394's order is the camera order.
  for (uint32_t i = 0; i < list->num; ++i) openCamera(list->ids[i].guid, list->ids[i].unit, state);
  dc1394_camera_free_list(list);
  state.cameraCount = cameraCount();
  startWatching();
  m_rescanThread = std::thread([this] { rescanLoop(); });
}

dc1394camera_t* vx_Dc1394BusLayer::openHandle(uint64_t guid, int unit, std::string& why) {
  const unsigned long before = vx_Dc1394Log::problemCount();
  dc1394camera_t* handle = dc1394_camera_new_unit(m_context, guid, unit);
  if (!handle) {
    why = problemSince(before);
    if (why.empty()) why = "no reason given";
  }
  return handle;
}

bool vx_Dc1394BusLayer::openCamera(uint64_t guid, int unit, vx_Dc1394StackState& state) {
  // Opening is the one libdc1394 call that may write to the camera behind
  // the user's back (it refreshes its view of the camera and may "repair"
  // an ISO speed, video mode or frame rate it finds invalid), and there is
  // no other way to a camera handle. Everything after it avoids libdc1394's
  // convenience queries (video modes, Format_7 mode info and the like, some
  // of which write corrected values back): the identity comes from what
  // opening read from the configuration ROM, and every register the program
  // looks at is read with a plain quadlet transaction.
  const int index = cameraCount();
  if (index >= kMaxCameras) {
    state.unopened.push_back(vxFormat("GUID %016llX (more than %d cameras)", static_cast<unsigned long long>(guid),
                                      kMaxCameras));
    return false;
  }
  std::string why;
  dc1394camera_t* handle = openHandle(guid, unit, why);
  if (!handle) {
    state.unopened.push_back(vxFormat("GUID %016llX (%s)", static_cast<unsigned long long>(guid), why.c_str()));
    return false;
  }
  auto camera = std::make_unique<Camera>();
  camera->handle = handle;
  camera->unit = unit;
  camera->identity.vendor = handle->vendor ? handle->vendor : "";
  camera->identity.model = handle->model ? handle->model : "";
  camera->identity.guid = handle->guid;
  camera->identity.unitSpecId = handle->unit_spec_ID;
  camera->identity.unitSwVersion = handle->unit_sw_version;
  camera->identity.unitSubSwVersion = handle->unit_sub_sw_version;
  // libdc1394 keeps the base as a byte offset from the CSR base.
  camera->commandOffset = handle->command_registers_base;
  camera->identity.commandRegsBase = kCsrSpaceBase + handle->command_registers_base;
  camera->identity.busLayer = name();
  // libdc1394 does not say which device node a camera sits on; the kernel
  // names each node's GUID in sysfs. A USB camera has none.
  camera->nodePath = vxFwNodeForGuid(handle->guid);
  uint32_t node = 0;
  uint32_t generation = 0;
  if (dc1394_camera_get_node(handle, &node, &generation) == DC1394_SUCCESS) {
    camera->nodeNumber = static_cast<int>(vxFwNodeNumber(node));
    camera->lastBus.busGenerationCount = generation;
  }
  m_cameras[size_t(index)] = std::move(camera);
  m_count.store(index + 1, std::memory_order_release);
  return true;
}

void vx_Dc1394BusLayer::startWatching() {
  auto watcher = std::make_unique<vx_FwNodeWatcher>(
      [this](int index, const fw_cdev_event_bus_reset& reset) {
        Camera& camera = *m_cameras[static_cast<size_t>(index)];
        const vxDcamBusEventInfo info = vxBusEventFromReset(reset);
        camera.nodeNumber = static_cast<int>(vxFwNodeNumber(reset.node_id));
        {
          std::lock_guard lock(camera.busMutex);
          camera.lastBus = info;
        }
        if (camera.plugged) deliver(index, info);
        // A node came or went: perhaps a camera arrived.
        {
          std::lock_guard lock(m_rescanMutex);
          m_rescanAsked = true;
        }
        m_rescanWake.notify_all();
      },
      [this](int index) { markGone(index); });
  if (!watcher->start()) return;
  m_watcher = std::move(watcher);
  for (int i = 0; i < cameraCount(); ++i) watch(i);
}

void vx_Dc1394BusLayer::watch(int index) {
  if (!m_watcher) return;
  Camera& camera = *m_cameras[size_t(index)];
  const std::string path = camera.node();
  if (path.empty()) return;
  fw_cdev_event_bus_reset current{};
  // A node libdc1394 could open we can open too; should it fail all the
  // same, the camera works without bus events.
  const int fd = vxOpenFwNodeForEvents(path, current);
  if (fd < 0) return;
  camera.nodeNumber = static_cast<int>(vxFwNodeNumber(current.node_id));
  {
    std::lock_guard lock(camera.busMutex);
    camera.lastBus = vxBusEventFromReset(current);
  }
  m_watcher->add(index, fd);
}

void vx_Dc1394BusLayer::rescanLoop() {
  // Looks after a change of the node set: now and on the next few looks.
  constexpr int kLooksAfterChange = 4;
  std::vector<std::string> names = vxFwNodeNames();
  int pending = 0;
  for (;;) {
    bool asked = false;
    {
      std::unique_lock lock(m_rescanMutex);
      m_rescanWake.wait_for(lock, std::chrono::seconds(1), [this] { return m_rescanStopping || m_rescanAsked; });
      if (m_rescanStopping) return;
      asked = m_rescanAsked;
      m_rescanAsked = false;
    }
    std::vector<std::string> now = vxFwNodeNames();
    if (now != names) {
      names = std::move(now);
      pending = kLooksAfterChange;
    }
    if (asked && pending == 0) pending = 1;
    if (pending > 0) {
      --pending;
      rescan();
    }
  }
}

void vx_Dc1394BusLayer::rescan() {
  dc1394camera_list_t* list = nullptr;
  if (dc1394_camera_enumerate(m_context, &list) != DC1394_SUCCESS || !list) {
    if (list) dc1394_camera_free_list(list);
    return;
  }
  std::vector<int> arrived;
  for (uint32_t i = 0; i < list->num; ++i) {
    const uint64_t guid = list->ids[i].guid;
    const int unit = list->ids[i].unit;
    int known = -1;
    for (int index = 0; index < cameraCount(); ++index)
      if (m_cameras[size_t(index)]->identity.guid == guid && m_cameras[size_t(index)]->unit == unit) known = index;
    if (known < 0) {
      vx_Dc1394StackState ignored;
      if (openCamera(guid, unit, ignored)) {
        watch(cameraCount() - 1);
        arrived.push_back(cameraCount() - 1);
      }
      continue;
    }
    Camera& camera = *m_cameras[size_t(known)];
    if (camera.plugged) continue;
    // Back on the bus: a fresh handle, the old one retired.
    std::string why;
    dc1394camera_t* handle = openHandle(guid, unit, why);
    if (!handle) continue;
    {
      std::lock_guard lock(camera.transactions);
      camera.retired.push_back(camera.handle);
      camera.handle = handle;
    }
    uint32_t node = 0;
    uint32_t generation = 0;
    {
      std::lock_guard lock(camera.busMutex);
      camera.nodePath = vxFwNodeForGuid(guid);
      if (dc1394_camera_get_node(handle, &node, &generation) == DC1394_SUCCESS)
        camera.lastBus.busGenerationCount = generation;
    }
    camera.nodeNumber = static_cast<int>(vxFwNodeNumber(node));
    camera.plugged = true;
    watch(known);
    vxDcamBusEventInfo info;
    {
      std::lock_guard lock(camera.busMutex);
      info = camera.lastBus;
    }
    info.eventFlags = vxDcamBusEventInfo::kBusReset;
    deliver(known, info);
    arrived.push_back(known);
  }
  dc1394_camera_free_list(list);
  // Under the lock, as deliver() does, so that no arrival is on its way into
  // a module that has removed its sink.
  std::lock_guard lock(m_sinkMutex);
  if (m_arrivalSink)
    for (int index : arrived) m_arrivalSink(index);
}

std::string vx_Dc1394BusLayer::description() const {
  const int count = cameraCount();
  return vxFormat("libdc1394: %d camera%s", count, count == 1 ? "" : "s");
}

vx_Dc1394BusLayer::Camera* vx_Dc1394BusLayer::at(int index, std::string* error) const {
  if (index < 0 || index >= cameraCount()) {
    if (error) *error = vxFormat("libdc1394 has no camera %d", index);
    return nullptr;
  }
  return m_cameras[static_cast<size_t>(index)].get();
}

vxDcamIdentity vx_Dc1394BusLayer::identity(int index) const {
  const Camera* camera = at(index, nullptr);
  return camera ? camera->identity : vxDcamIdentity{};
}

bool vx_Dc1394BusLayer::isPlugged(int index) const {
  const Camera* camera = at(index, nullptr);
  return camera && camera->plugged;
}

int vx_Dc1394BusLayer::nodeNumber(int index) const {
  const Camera* camera = at(index, nullptr);
  return camera && camera->plugged ? camera->nodeNumber.load() : -1;
}

// dc1394_get_registers / dc1394_set_registers take offsets from the CSR base
// 0xFFFF F000 0000; dc1394_get_control_registers would add the command
// register offset itself. The program's two address forms are turned into
// the first kind, so one call serves both.
bool vx_Dc1394BusLayer::readQuadlet(int index, uint32_t address, uint32_t& value, std::string* error) {
  return transact(index, address, "reading", error, [&value](dc1394camera_t* handle, uint64_t offset) {
    uint32_t quadlet = 0;
    const dc1394error_t result = dc1394_get_registers(handle, offset, &quadlet, 1);
    if (result == DC1394_SUCCESS) value = quadlet;
    return result;
  });
}

bool vx_Dc1394BusLayer::writeQuadlet(int index, uint32_t address, uint32_t value, std::string* error) {
  return transact(index, address, "writing", error, [value](dc1394camera_t* handle, uint64_t offset) {
    uint32_t quadlet = value;
    return dc1394_set_registers(handle, offset, &quadlet, 1);
  });
}

// One quadlet transaction under the camera's lock. A failure whose errno
// says the node is gone marks the camera unplugged.
bool vx_Dc1394BusLayer::transact(int index, uint32_t address, const char* verb, std::string* error,
                                 const std::function<dc1394error_t(dc1394camera_t*, uint64_t)>& call) {
  Camera* camera = at(index, error);
  if (!camera) return false;
  if (!camera->plugged) {
    if (error) *error = "the camera has left the bus";
    return false;
  }
  uint64_t offset = 0;
  if (!vxDc1394CsrOffset(address, camera->commandOffset, offset, error)) return false;
  dc1394error_t result;
  int transactionErrno;
  {
    std::lock_guard lock(camera->transactions);
    errno = 0;
    result = call(camera->handle, offset);
    transactionErrno = errno;
  }
  if (result == DC1394_SUCCESS) return true;
  checkGone(index, transactionErrno);
  if (error)
    *error = vxFormat("%s 0x%08X failed: %s%s", verb, static_cast<uint32_t>(kCsrSpaceBase + offset),
                      dc1394_error_get_string(result), camera->plugged ? "" : " (the camera has left the bus)");
  return false;
}

void vx_Dc1394BusLayer::checkGone(int index, int transactionErrno) {
  Camera& camera = *m_cameras[static_cast<size_t>(index)];
  // libdc1394 answers every failure alike; the errno its failed system call
  // left behind, or the device node having vanished, tells an unplug apart.
  const std::string path = camera.node();
  const bool nodeGone = !path.empty() && ::access(path.c_str(), F_OK) != 0 && errno == ENOENT;
  if (transactionErrno == ENODEV || nodeGone) markGone(index);
}

void vx_Dc1394BusLayer::markGone(int index) {
  Camera& camera = *m_cameras[static_cast<size_t>(index)];
  if (!camera.plugged.exchange(false)) return;
  vxDcamBusEventInfo info;
  {
    std::lock_guard lock(camera.busMutex);
    info = camera.lastBus;
  }
  info.eventFlags = vxDcamBusEventInfo::kUnplugged;
  deliver(index, info);
}

void vx_Dc1394BusLayer::deliver(int index, const vxDcamBusEventInfo& info) {
  // The sink runs under the lock, so that once setEventSink({}) returns no
  // event is still on its way into a module that is going away. The
  // module's sink only queues the record.
  std::lock_guard lock(m_sinkMutex);
  if (m_sink) m_sink(index, info);
}

void vx_Dc1394BusLayer::setEventSink(EventSink sink) {
  std::lock_guard lock(m_sinkMutex);
  m_sink = std::move(sink);
}

void vx_Dc1394BusLayer::setArrivalSink(ArrivalSink sink) {
  std::lock_guard lock(m_sinkMutex);
  m_arrivalSink = std::move(sink);
}

std::unique_ptr<vx_DcamStream> vx_Dc1394BusLayer::openStream(int index, const vx_StreamParams& params) {
  Camera* camera = at(index, nullptr);
  if (!camera) return nullptr;
  vx_Dc1394StreamHost host;
  {
    std::lock_guard lock(camera->transactions);
    host.camera = camera->handle;
  }
  host.transactions = &camera->transactions;
  host.plugged = [camera] { return camera->plugged.load(); };
  host.suspectGone = [this, index](int failureErrno) { checkGone(index, failureErrno); };
  return std::make_unique<vx_Dc1394Stream>(std::move(host), params);
}
