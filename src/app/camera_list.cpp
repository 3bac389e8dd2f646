// The program's list of DCAM cameras and the bus-event bookkeeping.
#include "app/camera_list.h"

#include <utility>

#include "base/format.h"

namespace {

// Asks the camera for its node number when its bus layer can tell it; a bus
// layer that cannot leaves the number unknown.
template <typename Camera>
int nodeNumberOf(const Camera& camera) {
  if constexpr (requires { camera.nodeNumber(); })
    return static_cast<int>(camera.nodeNumber());
  else
    return -1;
}

}  // namespace

int vxCameraNodeNumber(vx_DcamModule& module, int cameraNumber) {
  try {
    return nodeNumberOf(module.camera(cameraNumber));
  } catch (const vxException&) {
    return -1;
  }
}

vxCameraEntry::vxCameraEntry(vx_DcamModule& module, int cameraNumber, std::string displayName,
                             std::shared_ptr<vxBusStatistics> busStatistics)
    : m_module(module),
      m_cameraNumber(cameraNumber),
      m_displayName(std::move(displayName)),
      m_busStatistics(std::move(busStatistics)) {}

void vxCameraEntry::setLogWindow(vxLogLinePost post) {
  std::lock_guard lock(m_windowsMutex);
  m_logWindow = std::move(post);
}

void vxCameraEntry::setAcquisitionWindow(vxBusEventPost post) {
  std::lock_guard lock(m_windowsMutex);
  m_acquisitionWindow = std::move(post);
}

bool vxCameraEntry::hasAcquisitionWindow() const {
  std::lock_guard lock(m_windowsMutex);
  return static_cast<bool>(m_acquisitionWindow);
}

void vxCameraEntry::onBusEvent(const vxDcamBusEventInfo& info) {
  vxLogLinePost log;
  vxBusEventPost acquisitionWindow;
  {
    // Copies, so that no lock is held while posting.
    std::lock_guard lock(m_windowsMutex);
    log = m_logWindow;
    acquisitionWindow = m_acquisitionWindow;
  }
  auto post = [&log](std::string line) {
    if (log) log(std::move(line));
  };

  vxBusStatistics& stats = *m_busStatistics;
  if (info.isUnplugged()) {
    m_unplugged = true;
    ++stats.unplugCount;
    post(vxFormat("Bus Event [unplugged], dcamNo: %d ", m_cameraNumber));
  } else if (info.isBusReset()) {
    const uint32_t resets = ++m_busResetCount;
    ++stats.busResetCount;
    stats.busResetSeen = true;
    stats.busNodeCount = info.busNodeCount;
    stats.busGenerationCount = info.busGenerationCount;
    stats.hostNodeNo = info.hostNodeNo;
    stats.initiatorNodeNo = info.initiatorNodeNo;
    post(vxFormat("Bus Event [bus reset], dcamNo: %d, dcamNodeNo: %d, hostNodeNo: %d,",
                  m_cameraNumber, vxCameraNodeNumber(m_module, m_cameraNumber),
                  static_cast<int>(info.hostNodeNo)));
    post(vxFormat("    initiatorNodeNo: %d, busResetCount: %d, busNodeCount: %d,",
                  static_cast<int>(info.initiatorNodeNo), static_cast<int>(resets),
                  static_cast<int>(info.busNodeCount)));
    post(vxFormat("    busGenerationCount: %d", static_cast<int>(info.busGenerationCount)));
  }
  // Every event, whatever its flags, goes on to the acquisition window.
  if (acquisitionWindow) acquisitionWindow(m_cameraNumber, info);
}

vxCameraList::vxCameraList(vx_DcamModule& module)
    : m_module(module), m_busStatistics(std::make_shared<vxBusStatistics>()) {
  const int count = module.cameraCount();
  for (int number = 0; number < count; ++number) {
    std::string name;
    try {
      name = displayNameFor(module.camera(number).identity());
    } catch (const vxException&) {
      name = vxFormat("DCAM %d", number);
    }
    auto entry = std::make_shared<vxCameraEntry>(module, number, std::move(name), m_busStatistics);
    // The callback holds the entry, so an event that races with the list's
    // end still finds it alive.
    m_callbackIds.push_back(module.registerBusEventCallback(
        number, vxDcamBusEventCallback(
                    [entry](const vxDcamBusEventInfo& info) { entry->onBusEvent(info); })));
    m_entries.push_back(std::move(entry));
  }
}

vxCameraList::~vxCameraList() {
  for (int id : m_callbackIds) m_module.unregisterBusEventCallback(id);
}

void vxCameraList::setLogWindow(const vxLogLinePost& post) {
  for (const auto& entry : m_entries) entry->setLogWindow(post);
}

std::string vxCameraList::displayNameFor(const vxDcamIdentity& identity) {
  std::string name = identity.vendor;
  if (!identity.model.empty()) name += (name.empty() ? "" : " ") + identity.model;
  if (name.empty()) name = "DCAM";
  return name + vxFormat(" (%016llX)", static_cast<unsigned long long>(identity.guid));
}
