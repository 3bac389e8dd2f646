// Fuzzes the lookup of catalogue registers by the name or address a user types.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "regmodel/dcam_camera.h"
#include "support/fake_camera.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static FakeModule module(1, false, false);
  static vxDcamCamera camera(0, &module);
  const std::string name(reinterpret_cast<const char*>(data), size);
  if (vxRegister* reg = camera.findRegister(name)) (void)reg->catalogueLine();
  return 0;
}
