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
  int cameraCount() const override { return static_cast<int>(m_cameras.size()); }
  vx1394DCAM& camera(int number) override;
  int registerBusEventCallback(int cameraNumber, vxDcamBusEventCallback callback) override;
  void unregisterBusEventCallback(int id) override;
  vx_SimBusControl* simControl() override;

  // The camera's current node number on its bus; -1 while it is unplugged.
  int nodeNumber(int cameraNumber) const;

 private:
  class Camera;
  struct Registration {
    int cameraNumber;
    vxDcamBusEventCallback callback;
  };

  void start();
  void post(int cameraNumber, const vxDcamBusEventInfo& info);
  void eventLoop();

  std::vector<std::unique_ptr<vx_BusLayer>> m_layers;
  std::vector<std::unique_ptr<Camera>> m_cameras;
  std::vector<std::string> m_notices;
  std::vector<std::string> m_refusedProfiles;

  std::mutex m_queueMutex;
  std::condition_variable m_queueChanged;
  std::deque<std::pair<int, vxDcamBusEventInfo>> m_queue;
  bool m_stopping = false;

  std::mutex m_callbackMutex;
  std::map<int, Registration> m_callbacks;
  int m_nextId = 1;
  // Held while callbacks run, so an unregistration can wait for a running one.
  std::mutex m_dispatchMutex;
  std::thread m_eventThread;
};
