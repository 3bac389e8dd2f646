// Fuzzes the loading of a simulated camera profile from its JSON text, and the
// camera built from a profile that loads.
#include <cstddef>
#include <cstdint>
#include <string>

#include "modules/qrvnvdcam/sim/profile.h"
#include "modules/qrvnvdcam/sim/sim_camera.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    vx_SimProfile profile = vxParseSimProfile(text, "fuzz.json");
    // A profile that loads must give a camera whose registers answer.
    vx_SimCamera camera(std::move(profile));
    uint32_t value = 0;
    for (uint32_t offset = 0; offset < 0x1000; offset += 4) (void)camera.readQuadlet(0xF0F00000u + offset, value);
    for (uint32_t offset = 0x400; offset < 0x800; offset += 4) (void)camera.readQuadlet(0xF0000000u + offset, value);
  } catch (const vx_SimProfile::Error&) {
    // Refused with a message: what a malformed profile should get.
  }
  return 0;
}
