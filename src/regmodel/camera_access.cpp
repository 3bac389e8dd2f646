// Whether a camera answers on the bus.
#include "regmodel/camera_access.h"

#include <cstdint>

#include "acquisition/dcam_module.h"

bool vxIsCameraResponding(vx_DcamModule& module, int cameraNumber, bool unplugged) {
  if (unplugged) return false;
  try {
    uint32_t value = 0;
    return module.camera(cameraNumber).readQuadlet(kRespondingProbeOffset, value);
  } catch (...) {
    return false;
  }
}
