// Quadlet reads and writes of DCAM registers.
#include "regmodel/dcam_register.h"

#include <utility>

#include "base/format.h"
#include "regmodel/dcam_camera.h"

vxDcamRegister::vxDcamRegister(vxCamera* camera, std::string name, uint32_t address, uint64_t value,
                               uint64_t secondValue, uint32_t width)
    : vxRegister("DCAM", std::move(name), address, value, secondValue, width), m_camera(camera) {}

uint64_t vxDcamRegister::read() {
  if (m_camera == nullptr) {
    throw Error(vxFormat("Register %s (0x%08X) belongs to no camera.", regName(), address()));
  }
  vx1394DCAM& device = m_camera->device();
  uint32_t value = 0;
  std::string reason;
  bool ok = false;
  try {
    ok = device.readQuadlet(address(), value, &reason);
  } catch (const vxException& e) {
    reason = e.message();
  }
  if (!ok) {
    if (reason.empty()) reason = "the transaction failed";
    throw Error(vxFormat("Reading register %s at 0x%08X failed: %s", regName(), address(), reason.c_str()));
  }
  return maskToWidth(value);
}

bool vxDcamRegister::write(uint64_t value) {
  const uint32_t quadlet = static_cast<uint32_t>(maskToWidth(value));
  if (m_camera == nullptr) return false;
  vx1394DCAM& device = m_camera->device();
  try {
    return device.writeQuadlet(address(), quadlet);
  } catch (const vxException&) {
    return false;
  }
}

bool vxDcamRegister::writeAlternate(uint64_t value) { return write(value); }

bool vxDcamRegister::writeImmediate(uint64_t value) { return write(value); }
