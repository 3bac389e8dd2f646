// A register of a DCAM camera, read and written through the acquisition module.
#pragma once

#include <cstdint>
#include <string>

#include "regmodel/register.h"

class vxCamera;

// Every access looks the camera up again by its number, so a register
// outlives unplugs and renumbering without holding a stale device.
class vxDcamRegister : public vxRegister {
 public:
  vxDcamRegister(vxCamera* camera, std::string name, uint32_t address, uint64_t value = 0,
                 uint64_t secondValue = 0, uint32_t width = 32);

  // Throws vxRegister::Error naming the register, its address and the
  // module's reason when the transaction fails; a bad camera number lets
  // the module's vx_DcamModule::Error through.
  uint64_t read() override;
  bool write(uint64_t value) override;
  bool writeAlternate(uint64_t value) override;
  bool writeImmediate(uint64_t value) override;

  vxCamera* camera() const { return m_camera; }

 private:
  vxCamera* m_camera;
};
