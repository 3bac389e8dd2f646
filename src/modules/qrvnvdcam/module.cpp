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
    layers.push_back(std::make_unique<vx_SimBus>(std::move(profiles)));
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
  for (auto& layer : m_layers) {
    const int first = static_cast<int>(m_cameras.size());
    layer->setFirstCameraNumber(first);
    for (int i = 0; i < layer->cameraCount(); ++i)
      m_cameras.push_back(std::make_unique<Camera>(*layer, i, first + i));
  }
  m_eventThread = std::thread([this] { eventLoop(); });
  int first = 0;
  for (auto& layer : m_layers) {
    layer->setEventSink(
        [this, first](int index, const vxDcamBusEventInfo& info) { post(first + index, info); });
    first += layer->cameraCount();
  }
}

vx_QrvnvDcamModule::~vx_QrvnvDcamModule() {
  for (auto& layer : m_layers) layer->setEventSink({});
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
  if (number < 0 || number >= cameraCount())
    throw Error(vxFormat("No DCAM camera with number %d: the module knows %d camera%s.", number,
                         cameraCount(), cameraCount() == 1 ? "" : "s"));
  return *m_cameras[static_cast<size_t>(number)];
}

int vx_QrvnvDcamModule::nodeNumber(int cameraNumber) const {
  if (cameraNumber < 0 || cameraNumber >= cameraCount()) return -1;
  return m_cameras[static_cast<size_t>(cameraNumber)]->nodeNumber();
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
  m_callbacks.emplace(id, Registration{cameraNumber, std::move(callback)});
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

void vx_QrvnvDcamModule::post(int cameraNumber, const vxDcamBusEventInfo& info) {
  {
    std::lock_guard lock(m_queueMutex);
    if (m_stopping) return;
    m_queue.emplace_back(cameraNumber, info);
  }
  m_queueChanged.notify_one();
}

void vx_QrvnvDcamModule::eventLoop() {
  for (;;) {
    std::pair<int, vxDcamBusEventInfo> event;
    {
      std::unique_lock lock(m_queueMutex);
      m_queueChanged.wait(lock, [this] { return m_stopping || !m_queue.empty(); });
      if (m_stopping) return;
      event = m_queue.front();
      m_queue.pop_front();
    }
    std::lock_guard dispatching(m_dispatchMutex);
    std::vector<vxDcamBusEventCallback> receivers;
    {
      std::lock_guard lock(m_callbackMutex);
      for (const auto& [id, registration] : m_callbacks)
        if (registration.cameraNumber == event.first) receivers.push_back(registration.callback);
    }
    for (const auto& callback : receivers) callback(event.second);
  }
}
