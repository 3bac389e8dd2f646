// The bus layer of real cameras: FireWire and IIDC-over-USB cameras reached through libdc1394.
#pragma once

#include <dc1394/dc1394.h>

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "acquisition/dcam_stream.h"
#include "modules/qrvnvdcam/bus_layer.h"
#include "modules/qrvnvdcam/dc1394/fw_node.h"

// The offset from libdc1394's CSR base (0xFFFF F000 0000) that libdc1394's
// register calls take for one of the program's quadlet addresses: an
// absolute CSR address 0xF0000000 and up loses its top nibble (0xF0000400 is
// offset 0x400), a smaller one is an offset from the camera's command
// registers, whose own offset from the CSR base is commandOffset. False with
// a reason when the address is not quadlet-aligned or leaves the CSR space.
bool vxDc1394CsrOffset(uint32_t address, uint32_t commandOffset, uint64_t& offset, std::string* error);

// What the layer found while coming up, from which it tells the user why
// real cameras are missing.
struct vx_Dc1394StackState {
  std::vector<vx_FwNodeProbe> nodes;
  bool libraryUp = false;
  std::string libraryError;  // why libdc1394 could not start or list cameras
  int cameraCount = 0;       // cameras opened
  std::vector<std::string> unopened;  // "GUID 0x...: reason" of cameras listed but not opened
};

// The messages for the user, in words they can act on: at most one about
// the stack itself (no device nodes, nodes this user may not open, libdc1394
// not starting) and at most one about listed cameras that did not open.
std::vector<std::string> vxDc1394Notices(const vx_Dc1394StackState& state);

// Cameras plugged in while the layer runs are found by enumerating again:
// at once when a watched camera sees a bus reset, and whenever the set of
// /dev/fw nodes changes (looked at once a second), then again on the next
// few looks, since udev may give the new node its access rights a moment
// after it appears. A camera that comes back (same GUID) takes its old index.
class vx_Dc1394BusLayer final : public vx_BusLayer {
 public:
  // libdc1394 lists at most 63 nodes per bus; this many cameras in all.
  static constexpr int kMaxCameras = 64;

  ~vx_Dc1394BusLayer() override;
  vx_Dc1394BusLayer(const vx_Dc1394BusLayer&) = delete;
  vx_Dc1394BusLayer& operator=(const vx_Dc1394BusLayer&) = delete;

  // Why real cameras are missing; empty when the stack came up.
  std::vector<std::string> notices() const { return m_notices; }

  // vx_BusLayer
  std::string name() const override { return "libdc1394"; }
  std::string description() const override;
  int cameraCount() const override { return m_count.load(std::memory_order_acquire); }
  vxDcamIdentity identity(int index) const override;
  bool isPlugged(int index) const override;
  int nodeNumber(int index) const override;
  bool readQuadlet(int index, uint32_t address, uint32_t& value, std::string* error) override;
  bool writeQuadlet(int index, uint32_t address, uint32_t value, std::string* error) override;
  void setEventSink(EventSink sink) override;
  void setArrivalSink(ArrivalSink sink) override;
  void setCameraNumber(int index, int number) override {
    (void)index;
    (void)number;
  }

  // The image stream of a camera; null for an index the layer does not have.
  std::unique_ptr<vx_DcamStream> openStream(int index, const vx_StreamParams& params) override;

 private:
  friend std::unique_ptr<vx_Dc1394BusLayer> vxCreateDc1394BusLayer();
  struct Camera;

  vx_Dc1394BusLayer();
  void bringUp(vx_Dc1394StackState& state);
  // Opens the camera and appends it; false when it cannot be opened (the
  // reason goes into state) or the table is full.
  bool openCamera(uint64_t guid, int unit, vx_Dc1394StackState& state);
  dc1394camera_t* openHandle(uint64_t guid, int unit, std::string& why);
  void startWatching();
  // Starts watching a camera's node for bus events.
  void watch(int index);
  // Enumerates again and takes in cameras that arrived or came back.
  void rescan();
  void rescanLoop();
  Camera* at(int index, std::string* error) const;
  // After a failed transaction: has the camera left the bus?
  void checkGone(int index, int transactionErrno);
  bool transact(int index, uint32_t address, const char* verb, std::string* error,
                const std::function<dc1394error_t(dc1394camera_t*, uint64_t)>& call);
  // Marks the camera unplugged and reports it, once.
  void markGone(int index);
  void deliver(int index, const vxDcamBusEventInfo& info);

  dc1394_t* m_context = nullptr;
  // A fixed table, so that other threads may index it while the rescan
  // thread appends: a slot is filled before m_count is raised past it.
  std::array<std::unique_ptr<Camera>, kMaxCameras> m_cameras;
  std::atomic<int> m_count{0};
  std::vector<std::string> m_notices;
  std::unique_ptr<vx_FwNodeWatcher> m_watcher;
  std::mutex m_sinkMutex;
  EventSink m_sink;
  ArrivalSink m_arrivalSink;
  // The rescan thread and what wakes it.
  std::mutex m_rescanMutex;
  std::condition_variable m_rescanWake;
  bool m_rescanAsked = false;
  bool m_rescanStopping = false;
  std::thread m_rescanThread;
};

// Brings up libdc1394 and opens the cameras it lists. Never throws: when the
// stack cannot be used the layer has no cameras and its notices say why.
std::unique_ptr<vx_Dc1394BusLayer> vxCreateDc1394BusLayer();
