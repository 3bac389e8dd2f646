// Fuzzes the walk of a camera's configuration ROM: an arbitrary ROM on a fake
// camera goes through the register catalogue and the register dump report,
// which reads its directories and leaf texts.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "base/exception.h"
#include "regmodel/dcam_camera.h"
#include "support/fake_camera.h"
#include "utilities/register_dump.h"

namespace {

void readAll(const vxDiagObject* node) {
  for (vxDiagObject* child : node->children()) {
    if (child->isRegister())
      (void)static_cast<vxRegister*>(child)->catalogueLine();
    else
      readAll(child);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The ROM takes the 1 KiB from 0xF0000400; the command registers keep the
  // fake camera's own values, so the dump has a camera to go on.
  FakeModule module(1, false, false);
  const size_t quadlets = std::min<size_t>(size / 4, 256);
  for (size_t i = 0; i < quadlets; ++i) {
    uint32_t q = 0;
    std::memcpy(&q, data + 4 * i, 4);
    module.fake(0).set(0xF0000400u + uint32_t(4 * i), q);
  }
  try {
    vxDcamCamera camera(0, &module);
    readAll(camera.group(vxDcamCamera::kConfigRom));
    (void)vxRegisterDumpBuilder::build(0, module, vxReportProgress{});
  } catch (const vxException&) {
    // A camera the program cannot read ends in a message, not a crash.
  }
  return 0;
}
