// The acquisition layer's view of one IIDC camera: identity and quadlet access.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "acquisition/dcam_stream.h"
#include "base/exception.h"

// Base of the acquisition module's objects.
class vx_AcqModule {
 public:
  class Error : public vxException {
   public:
    using vxException::vxException;
  };
  virtual ~vx_AcqModule() = default;
};

// What the bus tells about a camera without touching its registers again.
struct vxDcamIdentity {
  std::string vendor;
  std::string model;
  uint64_t guid = 0;
  uint32_t unitSpecId = 0;      // 0x00A02D for IIDC cameras
  uint32_t unitSwVersion = 0;   // 0x100, 0x101, 0x102 ... by IIDC version
  uint32_t unitSubSwVersion = 0; // IIDC 1.31 and later: 0x10 for 1.31, 0x20 for 1.32 ...
  uint32_t commandRegsBase = 0; // absolute CSR address of the command registers
  std::string busLayer;         // "simulated", "libdc1394"
};

// Addresses: 0xF0000000 and above are absolute CSR addresses; an address
// below that is an offset from the camera's command register base.
constexpr uint32_t kCsrSpaceBase = 0xF0000000u;
constexpr uint32_t kDefaultCommandRegsBase = 0xF0F00000u;

// One DCAM camera on the 1394 bus, as the module hands it out. The module
// serialises transactions per camera; callers hold no lock of their own.
class vx1394DCAM : public vx_AcqModule {
 public:
  // The camera's index in the module's camera list (the dcamNo of bus events).
  virtual int cameraNumber() const = 0;
  virtual vxDcamIdentity identity() const = 0;

  // One quadlet transaction each. false when the transaction failed; the
  // reason goes to *error when given.
  virtual bool readQuadlet(uint32_t address, uint32_t& value, std::string* error = nullptr) = 0;
  virtual bool writeQuadlet(uint32_t address, uint32_t value, std::string* error = nullptr) = 0;

  // False once the camera has left the bus.
  virtual bool isPlugged() const = 0;

  // The camera's node number on its bus now; -1 when the bus layer cannot tell.
  virtual int nodeNumber() const { return -1; }

  // The camera's image stream for the geometry its registers are set to;
  // null when this bus layer cannot receive images from the camera. The
  // stream must not outlive the camera.
  virtual std::unique_ptr<vx_DcamStream> openStream(const vx_StreamParams& params) {
    (void)params;
    return nullptr;
  }
};
