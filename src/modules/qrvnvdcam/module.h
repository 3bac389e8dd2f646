// The qrvnvdcam acquisition module: cameras of all its bus layers, and bus event delivery.
#pragma once

#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "acquisition/dcam_module.h"
#include "modules/qrvnvdcam/bus_layer.h"

class vx_QrvnvDcamModule final : public vx_DcamModule {
 public:
  // Brings up the bus layers the options ask for. A simulated camera
  // profile that cannot be found or read is refused (refusedProfiles()) and
  // the module runs with the rest.
  explicit vx_QrvnvDcamModule(const vx_ModuleOptions& options);
  // A module over the given layers, in this order.
  explicit vx_QrvnvDcamModule(std::vector<std::unique_ptr<vx_BusLayer>> layers,
                              std::vector<std::string> notices = {});
  ~vx_QrvnvDcamModule() override;

  std::string name() const override { return "qrvnvdcam"; }
  std::string version() const override;
  std::vector<std::string> busLayers() const override;
  std::vector<std::string> notices() const override { return m_notices; }
  std::vector<std::string> refusedProfiles() const override { return m_refusedProfiles; }
  int cameraCount() const override;
  vx1394DCAM& camera(int number) override;
  int registerBusEventCallback(int cameraNumber, vxDcamBusEventCallback callback) override;
  void unregisterBusEventCallback(int id) override;
  int registerPresenceCallback(vxDcamPresenceCallback callback) override;
  vx_SimBusControl* simControl() override;

  // The camera's current node number on its bus; -1 while it is unplugged.
  int nodeNumber(int cameraNumber) const;

 private:
  class Camera;
  struct Registration {
    int cameraNumber;  // -1: a presence callback
    vxDcamBusEventCallback callback;
    vxDcamPresenceCallback presence;
  };
  // One entry of the event queue: a bus event record for one camera's
  // callbacks, or a presence change for the presence callbacks.
  struct QueuedEvent {
    int cameraNumber = -1;
    bool isPresence = false;
    vxDcamBusEventInfo info;
    vxDcamPresenceEvent presence;
  };

  void start();
  // Gives the layer's cameras from its index `from` on their module numbers.
  // Called with m_camerasMutex held.
  void adoptNewCameras(size_t layer, std::vector<vxDcamPresenceEvent>& arrived);
  // The layer's camera at index has arrived (new or back).
  void onArrival(size_t layer, int index);
  // The module number of a layer's camera; -1 while it has none yet.
  int numberOf(size_t layer, int index) const;
  void post(QueuedEvent event);
  void eventLoop();

  std::vector<std::unique_ptr<vx_BusLayer>> m_layers;
  // Cameras are appended as they arrive and never removed, so a reference
  // camera() hands out stays valid while the vector grows.
  mutable std::mutex m_camerasMutex;
  std::vector<std::unique_ptr<Camera>> m_cameras;
  std::vector<std::vector<int>> m_layerNumbers;  // per layer: index -> camera number
  std::vector<std::string> m_notices;
  std::vector<std::string> m_refusedProfiles;

  std::mutex m_queueMutex;
  std::condition_variable m_queueChanged;
  std::deque<QueuedEvent> m_queue;
  bool m_stopping = false;

  std::mutex m_callbackMutex;
  std::map<int, Registration> m_callbacks;
  int m_nextId = 1;
  // Held while callbacks run, so an unregistration can wait for a running one.
  std::mutex m_dispatchMutex;
  std::thread m_eventThread;
};
