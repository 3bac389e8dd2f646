// The qrvnvdcam acquisition module: cameras of all its bus layers, and bus event delivery.
#include "modules/qrvnvdcam/module.h"

#include "base/format.h"
#include "modules/qrvnvdcam/sim/profile.h"
#include "modules/qrvnvdcam/sim/sim_bus.h"
#ifdef PRALIX_HAVE_DC1394
#include "modules/qrvnvdcam/dc1394/dc1394_bus.h"
#endif

#ifndef PRALIX_VERSION
#define PRALIX_VERSION "0.0.0"
#endif

// A camera of one bus layer under its module camera number.
class vx_QrvnvDcamModule::Camera final : public vx1394DCAM {
 public:
  Camera(vx_BusLayer& layer, int index, int number)
      : m_layer(layer), m_index(index), m_number(number), m_identity(layer.identity(index)) {}

  int cameraNumber() const override { return m_number; }
  vxDcamIdentity identity() const override { return m_identity; }
  bool readQuadlet(uint32_t address, uint32_t& value, std::string* error) override {
    return m_layer.readQuadlet(m_index, address, value, error);
  }
  bool writeQuadlet(uint32_t address, uint32_t value, std::string* error) override {
    return m_layer.writeQuadlet(m_index, address, value, error);
  }
  bool isPlugged() const override { return m_layer.isPlugged(m_index); }
  int nodeNumber() const override { return m_layer.nodeNumber(m_index); }
  std::unique_ptr<vx_DcamStream> openStream(const vx_StreamParams& params) override {
    return m_layer.openStream(m_index, params);
  }

 private:
  vx_BusLayer& m_layer;
  const int m_index;
  const int m_number;
  const vxDcamIdentity m_identity;
};

namespace {

std::vector<std::unique_ptr<vx_BusLayer>> layersFor(const vx_ModuleOptions& options,
                                                    std::vector<std::string>& notices,
                                                    std::vector<std::string>& refused) {
  std::vector<std::unique_ptr<vx_BusLayer>> layers;
  // Real bus layers come first so that real cameras take the low numbers.
#ifdef PRALIX_HAVE_DC1394
  if (options.realBus) {
    if (auto dc1394 = vxCreateDc1394BusLayer()) {
      for (const std::string& notice : dc1394->notices()) notices.push_back(notice);
      layers.push_back(std::move(dc1394));
    }
  }
#else
  if (options.realBus && !options.simulate)
    notices.push_back(
        "This module was built without libdc1394, so it cannot reach real cameras; start with "
        "--simulate (or set PRALIX_SIMULATE=1) to work with simulated cameras.");
#endif
  if (options.simulate) {
    const std::vector<std::string>& names =
        options.simulatedProfiles.empty() ? vxBuiltinSimProfiles() : options.simulatedProfiles;
    std::vector<vx_SimProfile> profiles;
    // A bad profile costs only its own camera: the real bus and the other
    // simulated cameras still come up.
    for (const std::string& name : names) {
      try {
        profiles.push_back(vxLoadSimProfile(vxResolveSimProfile(name, options.profileDirs)));
      } catch (const vx_SimProfile::Error& e) {
        refused.push_back(e.message());
      }
    }
    layers.push_back(std::make_unique<vx_SimBus>(std::move(profiles), options.profileDirs));
  }
  return layers;
}

}  // namespace

vx_QrvnvDcamModule::vx_QrvnvDcamModule(const vx_ModuleOptions& options) {
  m_layers = layersFor(options, m_notices, m_refusedProfiles);
  start();
}

vx_QrvnvDcamModule::vx_QrvnvDcamModule(std::vector<std::unique_ptr<vx_BusLayer>> layers,
                                       std::vector<std::string> notices)
    : m_layers(std::move(layers)), m_notices(std::move(notices)) {
  start();
}

void vx_QrvnvDcamModule::start() {
  m_layerNumbers.resize(m_layers.size());
  {
    std::vector<vxDcamPresenceEvent> present;
    std::lock_guard lock(m_camerasMutex);
    for (size_t layer = 0; layer < m_layers.size(); ++layer) adoptNewCameras(layer, present);
  }
  m_eventThread = std::thread([this] { eventLoop(); });
  for (size_t layer = 0; layer < m_layers.size(); ++layer) {
    m_layers[layer]->setEventSink([this, layer](int index, const vxDcamBusEventInfo& info) {
      const int number = numberOf(layer, index);
      if (number < 0) return;
      QueuedEvent event;
      event.cameraNumber = number;
      event.info = info;
      post(event);
      if (info.isUnplugged()) {
        QueuedEvent gone;
        gone.isPresence = true;
        gone.presence = {number, false, false};
        post(gone);
      }
    });
    m_layers[layer]->setArrivalSink([this, layer](int index) { onArrival(layer, index); });
  }
  // A camera that arrived while the sinks went in is taken in now.
  for (size_t layer = 0; layer < m_layers.size(); ++layer) onArrival(layer, -1);
}

void vx_QrvnvDcamModule::adoptNewCameras(size_t layer, std::vector<vxDcamPresenceEvent>& arrived) {
  vx_BusLayer& bus = *m_layers[layer];
  std::vector<int>& numbers = m_layerNumbers[layer];
  while (static_cast<int>(numbers.size()) < bus.cameraCount()) {
    const int index = static_cast<int>(numbers.size());
    const int number = static_cast<int>(m_cameras.size());
    m_cameras.push_back(std::make_unique<Camera>(bus, index, number));
    numbers.push_back(number);
    bus.setCameraNumber(index, number);
    arrived.push_back({number, true, true});
  }
}

void vx_QrvnvDcamModule::onArrival(size_t layer, int index) {
  std::vector<vxDcamPresenceEvent> arrived;
  {
    std::lock_guard lock(m_camerasMutex);
    const std::vector<int>& numbers = m_layerNumbers[layer];
    if (index >= 0 && static_cast<size_t>(index) < numbers.size())
      arrived.push_back({numbers[static_cast<size_t>(index)], true, false});
    else
      adoptNewCameras(layer, arrived);
  }
  for (const vxDcamPresenceEvent& presence : arrived) {
    QueuedEvent event;
    event.isPresence = true;
    event.presence = presence;
    post(event);
  }
}

int vx_QrvnvDcamModule::numberOf(size_t layer, int index) const {
  std::lock_guard lock(m_camerasMutex);
  const std::vector<int>& numbers = m_layerNumbers[layer];
  return index >= 0 && static_cast<size_t>(index) < numbers.size() ? numbers[static_cast<size_t>(index)] : -1;
}

int vx_QrvnvDcamModule::cameraCount() const {
  std::lock_guard lock(m_camerasMutex);
  return static_cast<int>(m_cameras.size());
}

vx_QrvnvDcamModule::~vx_QrvnvDcamModule() {
  for (auto& layer : m_layers) {
    layer->setArrivalSink({});
    layer->setEventSink({});
  }
  {
    std::lock_guard lock(m_queueMutex);
    m_stopping = true;
  }
  m_queueChanged.notify_all();
  m_eventThread.join();
}

std::string vx_QrvnvDcamModule::version() const {
  return PRALIX_VERSION;
}

std::vector<std::string> vx_QrvnvDcamModule::busLayers() const {
  std::vector<std::string> lines;
  for (const auto& layer : m_layers) lines.push_back(layer->description());
  return lines;
}

vx1394DCAM& vx_QrvnvDcamModule::camera(int number) {
  std::lock_guard lock(m_camerasMutex);
  const int count = static_cast<int>(m_cameras.size());
  if (number < 0 || number >= count)
    throw Error(vxFormat("No DCAM camera with number %d: the module knows %d camera%s.", number, count,
                         count == 1 ? "" : "s"));
  return *m_cameras[static_cast<size_t>(number)];
}

int vx_QrvnvDcamModule::nodeNumber(int cameraNumber) const {
  const Camera* camera = nullptr;
  {
    std::lock_guard lock(m_camerasMutex);
    if (cameraNumber < 0 || cameraNumber >= static_cast<int>(m_cameras.size())) return -1;
    camera = m_cameras[static_cast<size_t>(cameraNumber)].get();
  }
  return camera->nodeNumber();
}

vx_SimBusControl* vx_QrvnvDcamModule::simControl() {
  for (auto& layer : m_layers)
    if (vx_SimBusControl* control = layer->simControl()) return control;
  return nullptr;
}

int vx_QrvnvDcamModule::registerBusEventCallback(int cameraNumber,
                                                 vxDcamBusEventCallback callback) {
  if (cameraNumber < 0 || cameraNumber >= cameraCount())
    throw Error(vxFormat("No DCAM camera with number %d to watch for bus events.", cameraNumber));
  std::lock_guard lock(m_callbackMutex);
  const int id = m_nextId++;
  m_callbacks.emplace(id, Registration{cameraNumber, std::move(callback), {}});
  return id;
}

int vx_QrvnvDcamModule::registerPresenceCallback(vxDcamPresenceCallback callback) {
  std::lock_guard lock(m_callbackMutex);
  const int id = m_nextId++;
  m_callbacks.emplace(id, Registration{-1, {}, std::move(callback)});
  return id;
}

void vx_QrvnvDcamModule::unregisterBusEventCallback(int id) {
  {
    std::lock_guard lock(m_callbackMutex);
    m_callbacks.erase(id);
  }
  // Once this returns the callback is not running and will not run again,
  // unless we are the event thread itself (a callback unregistering).
  if (std::this_thread::get_id() != m_eventThread.get_id()) std::lock_guard wait(m_dispatchMutex);
}

void vx_QrvnvDcamModule::post(QueuedEvent event) {
  {
    std::lock_guard lock(m_queueMutex);
    if (m_stopping) return;
    m_queue.push_back(std::move(event));
  }
  m_queueChanged.notify_one();
}

void vx_QrvnvDcamModule::eventLoop() {
  for (;;) {
    QueuedEvent event;
    {
      std::unique_lock lock(m_queueMutex);
      m_queueChanged.wait(lock, [this] { return m_stopping || !m_queue.empty(); });
      if (m_stopping) return;
      event = m_queue.front();
      m_queue.pop_front();
    }
    std::lock_guard dispatching(m_dispatchMutex);
    std::vector<Registration> receivers;
    {
      std::lock_guard lock(m_callbackMutex);
      for (const auto& [id, registration] : m_callbacks)
        if (event.isPresence ? registration.cameraNumber < 0 : registration.cameraNumber == event.cameraNumber)
          receivers.push_back(registration);
    }
    for (const Registration& receiver : receivers) {
      if (event.isPresence)
        receiver.presence(event.presence);
      else
        receiver.callback(event.info);
    }
  }
}
