// Quadlet access by address through the acquisition module.
#include "regmodel/register_accessor.h"

#include "acquisition/module_loader.h"

vx_DCAMRegisterAccessorPralix::vx_DCAMRegisterAccessorPralix(int cameraNumber, vx_DcamModule* module)
    : m_cameraNumber(cameraNumber), m_module(module) {}

vx_DcamModule& vx_DCAMRegisterAccessorPralix::module() const {
  return m_module != nullptr ? *m_module : vxAcquisitionModule();
}

uint32_t vx_DCAMRegisterAccessorPralix::readQuadlet(uint64_t address) {
  vx1394DCAM& camera = module().camera(m_cameraNumber);
  uint32_t value = 0;
  bool done = false;
  std::string reason;
  try {
    done = camera.readQuadlet(static_cast<uint32_t>(address), value, &reason);
  } catch (const vxException& e) {
    done = false;
    reason = e.what();
  }
  if (!done) {
    failed(false, address, reason);
    return 0;
  }
  return value;
}

bool vx_DCAMRegisterAccessorPralix::writeQuadlet(uint64_t address, uint32_t value) {
  vx1394DCAM& camera = module().camera(m_cameraNumber);
  bool done = false;
  std::string reason;
  try {
    done = camera.writeQuadlet(static_cast<uint32_t>(address), value, &reason);
  } catch (const vxException& e) {
    done = false;
    reason = e.what();
  }
  if (!done) failed(true, address, reason);
  return done;
}

void vx_DCAMRegisterAccessorPralix::failed(bool write, uint64_t address,
                                           const std::string& reason) {
  m_ok = false;
  m_lastError = reason;
  if (m_failureListener) m_failureListener(write, static_cast<uint32_t>(address), reason);
}
