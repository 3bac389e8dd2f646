// The seam between the module and one 1394 bus: the simulated bus today, libdc1394 beside it later.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "acquisition/bus_event.h"
#include "acquisition/dcam_camera.h"
#include "acquisition/dcam_stream.h"

class vx_SimBusControl;

// One bus layer: the cameras it reaches, quadlet transactions on them and the
// bus events it sees. Cameras are numbered 0..cameraCount()-1 inside a layer;
// the module maps those indexes onto its own camera numbers. A layer
// serialises the transactions of each of its cameras itself.
class vx_BusLayer {
 public:
  // Called from whatever thread saw the event; the module only queues it.
  using EventSink = std::function<void(int index, const vxDcamBusEventInfo& info)>;
  // Called, from whatever thread saw it, once a camera has arrived at index:
  // appended (index == the old cameraCount()) or back on the bus.
  using ArrivalSink = std::function<void(int index)>;

  virtual ~vx_BusLayer() = default;

  // "simulated", "libdc1394": goes into vxDcamIdentity::busLayer.
  virtual std::string name() const = 0;
  // One line for the user, e.g. "simulated bus: 3 cameras".
  virtual std::string description() const = 0;

  // Cameras are only ever appended: a camera that leaves the bus keeps its
  // index and fails its transactions, and one that comes back takes its old
  // index again. cameraCount() may grow at any time, from any thread; an
  // index below it stays valid for the layer's life.
  virtual int cameraCount() const = 0;
  virtual vxDcamIdentity identity(int index) const = 0;
  virtual bool isPlugged(int index) const = 0;
  // The camera's node number on its bus at present.
  virtual int nodeNumber(int index) const = 0;

  // Addresses as vx1394DCAM takes them (absolute, or offsets from the
  // camera's command register base below kCsrSpaceBase).
  virtual bool readQuadlet(int index, uint32_t address, uint32_t& value, std::string* error) = 0;
  virtual bool writeQuadlet(int index, uint32_t address, uint32_t value, std::string* error) = 0;

  // The module installs its sinks once, before any event can happen, and
  // removes them (empty functions) before the layer is destroyed.
  virtual void setEventSink(EventSink sink) = 0;
  virtual void setArrivalSink(ArrivalSink sink) { (void)sink; }

  // The module tells the layer the module camera number of each of its
  // cameras, so controls that speak module numbers can translate them.
  virtual void setCameraNumber(int index, int number) = 0;

  // The image stream of the camera at index, for the geometry its registers
  // are set to; null when the layer cannot receive images from it.
  virtual std::unique_ptr<vx_DcamStream> openStream(int index, const vx_StreamParams& params) {
    (void)index;
    (void)params;
    return nullptr;
  }

  // Fault controls; only the simulated bus has them.
  virtual vx_SimBusControl* simControl() { return nullptr; }
};
