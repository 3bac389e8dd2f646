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

// A control register every IIDC camera answers (BRIGHTNESS's): a read that
// succeeds means the camera is on the bus again.
constexpr uint32_t kRefreshProbeOffset = 0x800;

}  // namespace

int vxCameraNodeNumber(vx_DcamModule& module, int cameraNumber) {
  try {
    return nodeNumberOf(module.camera(cameraNumber));
  } catch (const vxException&) {
    return -1;
  }
}

vxCameraEntry::vxCameraEntry(vx_DcamModule& module, int cameraNumber, std::string displayName,
                             std::shared_ptr<vxBusStatistics> busStatistics, uint64_t guid)
    : m_module(module),
      m_cameraNumber(cameraNumber),
      m_displayName(std::move(displayName)),
      m_busStatistics(std::move(busStatistics)),
      m_guid(guid) {}

void vxCameraEntry::setLogWindow(vxLogLinePost post) {
  std::lock_guard lock(m_windowsMutex);
  m_logWindow = std::move(post);
}

void vxCameraEntry::setAcquisitionWindow(vxBusEventPost post) {
  std::lock_guard lock(m_windowsMutex);
  m_acquisitionWindow = std::move(post);
}

void vxCameraEntry::setBusChangeListener(vxBusChangePost post) {
  std::lock_guard lock(m_windowsMutex);
  m_busChange = std::move(post);
}

bool vxCameraEntry::hasAcquisitionWindow() const {
  std::lock_guard lock(m_windowsMutex);
  return static_cast<bool>(m_acquisitionWindow);
}

void vxCameraEntry::onBusEvent(const vxDcamBusEventInfo& info) {
  vxLogLinePost log;
  vxBusEventPost acquisitionWindow;
  vxBusChangePost busChange;
  {
    // Copies, so that no lock is held while posting.
    std::lock_guard lock(m_windowsMutex);
    log = m_logWindow;
    busChange = m_busChange;
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
    if (busChange) busChange();
  }
  // Every event, whatever its flags, goes on to the acquisition window.
  if (acquisitionWindow) acquisitionWindow(m_cameraNumber, info);
}

vxCameraList::vxCameraList(vx_DcamModule& module)
    : m_module(module), m_busStatistics(std::make_shared<vxBusStatistics>()) {
  const int count = module.cameraCount();
  for (int number = 0; number < count; ++number) {
    int id = 0;
    m_entries.push_back(makeEntry(number, id));
    m_callbackIds.push_back(id);
  }
}

vxCameraList::~vxCameraList() {
  if (m_presenceId != 0) m_module.unregisterBusEventCallback(m_presenceId);
  for (int id : m_callbackIds) m_module.unregisterBusEventCallback(id);
}

std::shared_ptr<vxCameraEntry> vxCameraList::makeEntry(int number, int& callbackId) {
  std::string name;
  uint64_t guid = 0;
  try {
    const vxDcamIdentity identity = m_module.camera(number).identity();
    name = displayNameFor(identity);
    guid = identity.guid;
  } catch (const vxException&) {
    name = vxFormat("DCAM %d", number);
  }
  auto entry =
      std::make_shared<vxCameraEntry>(m_module, number, std::move(name), m_busStatistics, guid);
  entry->setLogWindow(m_logWindow);
  entry->setBusChangeListener(m_busChange);
  // The callback holds the entry, so an event that races with the list's
  // end still finds it alive.
  callbackId = m_module.registerBusEventCallback(
      number, vxDcamBusEventCallback(
                  [entry](const vxDcamBusEventInfo& info) { entry->onBusEvent(info); }));
  return entry;
}

void vxCameraList::setLogWindow(const vxLogLinePost& post) {
  m_logWindow = post;
  for (const auto& entry : m_entries) entry->setLogWindow(post);
}

void vxCameraList::setBusChangeListener(const vxBusChangePost& post) {
  if (m_presenceId != 0) m_module.unregisterBusEventCallback(m_presenceId);
  m_presenceId = 0;
  m_busChange = post;
  for (const auto& entry : m_entries) entry->setBusChangeListener(post);
  // A camera that arrives on a bus none of the list's cameras is on brings
  // no bus reset to any entry; the module says so itself.
  if (post)
    m_presenceId = m_module.registerPresenceCallback(vxDcamPresenceCallback(
        [post](const vxDcamPresenceEvent& event) {
          if (event.arrived) post();
        }));
}

vxCameraList::Refresh vxCameraList::refresh() {
  Refresh result;
  for (size_t index = 0; index < m_entries.size(); ++index) {
    const std::shared_ptr<vxCameraEntry>& old = m_entries[index];
    if (!old->isUnplugged()) continue;
    const int number = old->cameraNumber();
    // Back on the bus: the camera answers a register read, and it is the
    // same camera (a bus layer may hand the number to another one).
    try {
      vx1394DCAM& camera = m_module.camera(number);
      uint32_t value = 0;
      if (!camera.readQuadlet(kRefreshProbeOffset, value)) continue;
      if (old->guid() != 0 && camera.identity().guid != old->guid()) continue;
    } catch (const vxException&) {
      continue;
    }
    // The old entry stops hearing the camera's events; whoever holds it
    // still sees it unplugged.
    m_module.unregisterBusEventCallback(m_callbackIds[index]);
    int id = 0;
    m_entries[index] = makeEntry(number, id);
    m_callbackIds[index] = id;
    result.renewed.push_back(number);
  }
  const int count = m_module.cameraCount();
  for (int number = static_cast<int>(m_entries.size()); number < count; ++number) {
    int id = 0;
    m_entries.push_back(makeEntry(number, id));
    m_callbackIds.push_back(id);
    result.added.push_back(number);
  }
  return result;
}

std::string vxCameraList::displayNameFor(const vxDcamIdentity& identity) {
  std::string name = identity.vendor;
  if (!identity.model.empty()) name += (name.empty() ? "" : " ") + identity.model;
  if (name.empty()) name = "DCAM";
  return name + vxFormat(" (%016llX)", static_cast<unsigned long long>(identity.guid));
}
