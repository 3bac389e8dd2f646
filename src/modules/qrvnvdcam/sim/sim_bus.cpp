// The simulated 1394 bus: its cameras, node numbers, generation count and fault controls.
#include "modules/qrvnvdcam/sim/sim_bus.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "base/format.h"
#include "modules/qrvnvdcam/sim/sim_stream.h"

vx_SimBus::vx_SimBus(std::vector<vx_SimProfile> profiles, std::vector<std::string> profileDirs)
    : m_profileDirs(std::move(profileDirs)), m_timeScale(timeScaleFromEnvironment()) {
  int count = 0;
  for (vx_SimProfile& profile : profiles) {
    if (count == kMaxCameras) break;
    m_cameras[size_t(count)] = std::make_unique<vx_SimCamera>(std::move(profile));
    m_transmitters[size_t(count)] =
        std::make_unique<vx_SimTransmitter>(*m_cameras[size_t(count)], m_bandwidth, m_timeScale);
    m_numbers[size_t(count)] = count;
    ++count;
  }
  m_count.store(count, std::memory_order_release);
}

size_t vx_SimBus::checked(int index) const {
  if (index < 0 || index >= cameraCount())
    throw std::out_of_range(vxFormat("the simulated bus has no camera %d", index));
  return static_cast<size_t>(index);
}

int vx_SimBus::addCamera(vx_SimProfile profile) {
  int index = 0;
  {
    std::lock_guard change(m_changeMutex);
    index = cameraCount();
    if (index >= kMaxCameras)
      throw vx_SimProfile::Error(
          vxFormat("The simulated bus has no room for another camera: it already carries %d.", index));
    auto camera = std::make_unique<vx_SimCamera>(std::move(profile));
    std::chrono::microseconds read{0};
    std::chrono::microseconds write{0};
    double scale = 1.0;
    {
      std::lock_guard lock(m_mutex);
      read = m_readLatency;
      write = m_writeLatency;
      scale = m_timeScale;
      m_numbers[size_t(index)] = -1;  // until the module numbers it
    }
    camera->setLatency(read, write);
    m_transmitters[size_t(index)] = std::make_unique<vx_SimTransmitter>(*camera, m_bandwidth, scale);
    m_cameras[size_t(index)] = std::move(camera);
    m_count.store(index + 1, std::memory_order_release);
    // The arriving node's own PHY starts the reset.
    announceReset(-1, index);
  }
  ArrivalSink sink;
  {
    std::lock_guard lock(m_mutex);
    sink = m_arrivalSink;
  }
  if (sink) sink(index);
  return index;
}

std::vector<std::string> vx_SimBus::availableProfiles() const {
  std::vector<std::string> names = vxBuiltinSimProfiles();
  for (const std::string& dir : m_profileDirs) {
    std::error_code ec;
    for (const auto& file : std::filesystem::directory_iterator(dir, ec)) {
      if (file.path().extension() != ".json") continue;
      const std::string name = file.path().stem().string();
      if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

double vx_SimBus::timeScaleFromEnvironment() {
  const char* text = std::getenv("PRALIX_SIM_TIMESCALE");
  if (!text || !*text) return 1.0;
  char* end = nullptr;
  const double scale = std::strtod(text, &end);
  if (end == text || *end != '\0' || !std::isfinite(scale) || scale < 0) return 1.0;
  return scale;
}

std::unique_ptr<vx_DcamStream> vx_SimBus::openStream(int index, const vx_StreamParams& params) {
  if (index < 0 || index >= cameraCount()) return nullptr;
  return std::make_unique<vx_SimStream>(*m_transmitters[static_cast<size_t>(index)], params);
}

std::string vx_SimBus::description() const {
  const int count = cameraCount();
  return vxFormat("simulated bus: %d camera%s", count, count == 1 ? "" : "s");
}

vxDcamIdentity vx_SimBus::identity(int index) const {
  return m_cameras[checked(index)]->identity();
}

bool vx_SimBus::isPlugged(int index) const {
  return m_cameras[checked(index)]->isPlugged();
}

int vx_SimBus::nodeNumber(int index) const {
  if (index < 0 || index >= cameraCount() || !m_cameras[static_cast<size_t>(index)]->isPlugged())
    return -1;
  int node = 0;
  for (int i = 0; i < index; ++i)
    if (m_cameras[static_cast<size_t>(i)]->isPlugged()) ++node;
  return node;
}

int vx_SimBus::hostNodeNumber() const {
  int plugged = 0;
  const int count = cameraCount();
  for (int i = 0; i < count; ++i)
    if (m_cameras[size_t(i)]->isPlugged()) ++plugged;
  return plugged;
}

uint32_t vx_SimBus::generationCount() const {
  std::lock_guard lock(m_mutex);
  return m_generation;
}

bool vx_SimBus::readQuadlet(int index, uint32_t address, uint32_t& value, std::string* error) {
  return m_cameras[checked(index)]->readQuadlet(address, value, error);
}

bool vx_SimBus::writeQuadlet(int index, uint32_t address, uint32_t value, std::string* error) {
  return m_cameras[checked(index)]->writeQuadlet(address, value, error);
}

void vx_SimBus::setEventSink(EventSink sink) {
  std::lock_guard lock(m_mutex);
  m_sink = std::move(sink);
}

void vx_SimBus::setArrivalSink(ArrivalSink sink) {
  std::lock_guard lock(m_mutex);
  m_arrivalSink = std::move(sink);
}

void vx_SimBus::setCameraNumber(int index, int number) {
  std::lock_guard lock(m_mutex);
  if (index >= 0 && index < kMaxCameras) m_numbers[size_t(index)] = number;
}

int vx_SimBus::indexOf(int cameraNumber) const {
  if (cameraNumber < 0) return -1;
  std::lock_guard lock(m_mutex);
  const int count = cameraCount();
  for (int i = 0; i < count; ++i)
    if (m_numbers[size_t(i)] == cameraNumber) return i;
  return -1;
}

vx_SimCamera* vx_SimBus::byNumber(int cameraNumber) const {
  const int index = indexOf(cameraNumber);
  return index < 0 ? nullptr : m_cameras[static_cast<size_t>(index)].get();
}

vx_SimTransmitter* vx_SimBus::transmitterByNumber(int cameraNumber) const {
  const int index = indexOf(cameraNumber);
  return index < 0 ? nullptr : m_transmitters[static_cast<size_t>(index)].get();
}

std::vector<int> vx_SimBus::Control::cameraNumbers() const {
  std::lock_guard lock(m_bus.m_mutex);
  std::vector<int> numbers;
  const int count = m_bus.cameraCount();
  for (int i = 0; i < count; ++i)
    if (m_bus.m_numbers[size_t(i)] >= 0) numbers.push_back(m_bus.m_numbers[size_t(i)]);
  return numbers;
}

std::string vx_SimBus::Control::profileName(int cameraNumber) const {
  const vx_SimCamera* camera = m_bus.byNumber(cameraNumber);
  return camera ? camera->profile().name : std::string();
}

void vx_SimBus::announceReset(int unpluggedIndex, int initiatorIndex) {
  // Every camera still on the bus stops sending before anyone hears of the reset.
  for (int i = 0; i < cameraCount(); ++i)
    if (i != unpluggedIndex && m_cameras[static_cast<size_t>(i)]->isPlugged())
      m_transmitters[static_cast<size_t>(i)]->busReset();
  std::vector<std::pair<int, vxDcamBusEventInfo>> events;
  EventSink sink;
  {
    std::lock_guard lock(m_mutex);
    ++m_generation;
    vxDcamBusEventInfo info;
    info.hostNodeNo = static_cast<uint32_t>(hostNodeNumber());
    info.busNodeCount = info.hostNodeNo + 1;
    info.busGenerationCount = m_generation;
    info.initiatorNodeNo =
        initiatorIndex < 0 ? info.hostNodeNo : static_cast<uint32_t>(nodeNumber(initiatorIndex));
    for (int i = 0; i < cameraCount(); ++i) {
      if (i == unpluggedIndex) {
        vxDcamBusEventInfo gone = info;
        gone.eventFlags = vxDcamBusEventInfo::kUnplugged;
        events.emplace_back(i, gone);
      } else if (m_cameras[static_cast<size_t>(i)]->isPlugged()) {
        vxDcamBusEventInfo reset = info;
        reset.eventFlags = vxDcamBusEventInfo::kBusReset;
        events.emplace_back(i, reset);
      }
    }
    sink = m_sink;
  }
  if (sink)
    for (const auto& [index, info] : events) sink(index, info);
}

void vx_SimBus::unplug(int index) {
  std::lock_guard change(m_changeMutex);
  if (index < 0 || index >= cameraCount() || !simCamera(index).isPlugged()) return;
  simCamera(index).setPlugged(false);
  transmitter(index).cameraGone();
  announceReset(index, -1);
}

void vx_SimBus::replug(int index) {
  {
    std::lock_guard change(m_changeMutex);
    if (index < 0 || index >= cameraCount() || simCamera(index).isPlugged()) return;
    simCamera(index).setPlugged(true);
    // The arriving node's own PHY starts the reset.
    announceReset(-1, index);
  }
  ArrivalSink sink;
  {
    std::lock_guard lock(m_mutex);
    sink = m_arrivalSink;
  }
  if (sink) sink(index);
}

void vx_SimBus::busReset() {
  std::lock_guard change(m_changeMutex);
  announceReset(-1, -1);
}

void vx_SimBus::Control::unplug(int cameraNumber) {
  m_bus.unplug(m_bus.indexOf(cameraNumber));
}

void vx_SimBus::Control::replug(int cameraNumber) {
  m_bus.replug(m_bus.indexOf(cameraNumber));
}

int vx_SimBus::Control::plugNew(const std::string& profile, std::string* error) {
  try {
    const int index = m_bus.addCamera(vxLoadSimProfile(vxResolveSimProfile(profile, m_bus.m_profileDirs)));
    std::lock_guard lock(m_bus.m_mutex);
    return m_bus.m_numbers[size_t(index)];
  } catch (const vx_SimProfile::Error& e) {
    if (error) *error = e.message();
    return -1;
  }
}

bool vx_SimBus::Control::isPlugged(int cameraNumber) const {
  const vx_SimCamera* camera = m_bus.byNumber(cameraNumber);
  return camera && camera->isPlugged();
}

void vx_SimBus::Control::setReadFault(int cameraNumber, uint32_t address, bool fail) {
  if (vx_SimCamera* camera = m_bus.byNumber(cameraNumber)) camera->setReadFault(address, fail);
}

void vx_SimBus::Control::setWriteFault(int cameraNumber, uint32_t address, bool fail) {
  if (vx_SimCamera* camera = m_bus.byNumber(cameraNumber)) camera->setWriteFault(address, fail);
}

void vx_SimBus::Control::setIgnoredWrite(int cameraNumber, uint32_t address, bool ignore) {
  if (vx_SimCamera* camera = m_bus.byNumber(cameraNumber)) camera->setIgnoredWrite(address, ignore);
}

void vx_SimBus::Control::setValueCeiling(int cameraNumber, uint32_t controlAddress,
                                         uint32_t ceiling) {
  if (vx_SimCamera* camera = m_bus.byNumber(cameraNumber))
    camera->setValueCeiling(controlAddress, ceiling);
}

void vx_SimBus::Control::clearFaults(int cameraNumber) {
  if (vx_SimCamera* camera = m_bus.byNumber(cameraNumber)) camera->clearFaults();
}

void vx_SimBus::Control::setLatency(std::chrono::microseconds read,
                                    std::chrono::microseconds write) {
  {
    std::lock_guard lock(m_bus.m_mutex);
    m_bus.m_readLatency = read;
    m_bus.m_writeLatency = write;
  }
  const int count = m_bus.cameraCount();
  for (int i = 0; i < count; ++i) m_bus.m_cameras[size_t(i)]->setLatency(read, write);
}

uint64_t vx_SimBus::Control::transactionCount(int cameraNumber) const {
  const vx_SimCamera* camera = m_bus.byNumber(cameraNumber);
  return camera ? camera->transactionCount() : 0;
}

void vx_SimBus::Control::resetTransactionCount(int cameraNumber) {
  if (vx_SimCamera* camera = m_bus.byNumber(cameraNumber)) camera->resetTransactionCount();
}

void vx_SimBus::Control::setTimeScale(double scale) {
  if (!std::isfinite(scale) || scale < 0) return;
  {
    std::lock_guard lock(m_bus.m_mutex);
    m_bus.m_timeScale = scale;
  }
  const int count = m_bus.cameraCount();
  for (int i = 0; i < count; ++i) m_bus.m_transmitters[size_t(i)]->setTimeScale(scale);
}

double vx_SimBus::Control::timeScale() const {
  std::lock_guard lock(m_bus.m_mutex);
  return m_bus.m_timeScale;
}

void vx_SimBus::Control::setIncompleteRatio(int cameraNumber, double ratio) {
  if (vx_SimTransmitter* t = m_bus.transmitterByNumber(cameraNumber)) t->setIncompleteRatio(ratio);
}

void vx_SimBus::Control::setMissedTriggerRatio(int cameraNumber, double ratio) {
  if (vx_SimTransmitter* t = m_bus.transmitterByNumber(cameraNumber)) t->setMissedRatio(ratio);
}

void vx_SimBus::Control::setStalled(int cameraNumber, bool stalled) {
  if (vx_SimTransmitter* t = m_bus.transmitterByNumber(cameraNumber)) t->setStalled(stalled);
}

void vx_SimBus::Control::fireTrigger(int cameraNumber) {
  if (vx_SimTransmitter* t = m_bus.transmitterByNumber(cameraNumber)) t->fireTrigger();
}

void vx_SimBus::Control::setTriggerLine(int cameraNumber, bool connected) {
  if (vx_SimTransmitter* t = m_bus.transmitterByNumber(cameraNumber)) t->setTriggerLine(connected);
}

void vx_SimBus::Control::setTestPattern(int cameraNumber, bool on) {
  if (vx_SimTransmitter* t = m_bus.transmitterByNumber(cameraNumber)) t->setTestPattern(on);
}

void vx_SimBus::Control::setBusBandwidth(uint32_t bytesPerCycle) {
  m_bus.m_bandwidth.setCapacity(bytesPerCycle);
}

uint64_t vx_SimBus::Control::framesTaken(int cameraNumber) const {
  const vx_SimTransmitter* t = m_bus.transmitterByNumber(cameraNumber);
  return t ? t->framesTaken() : 0;
}
