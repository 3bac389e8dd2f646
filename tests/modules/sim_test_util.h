// Helpers shared by the tests of the simulated camera bus.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "modules/qrvnvdcam/sim/profile.h"
#include "modules/qrvnvdcam/sim/sim_camera.h"
#include "support/test_paths.h"

inline std::string shippedProfileDir() {
  return pralix_test::profilesDir();
}

inline vx_SimProfile shippedProfile(const std::string& name) {
  return vxLoadSimProfile(shippedProfileDir() + "/" + name + ".json");
}

// Quadlet access that fails the test when the transaction fails.
inline uint32_t readOk(vx_SimCamera& camera, uint32_t address) {
  uint32_t value = 0;
  std::string error;
  EXPECT_TRUE(camera.readQuadlet(address, value, &error)) << std::hex << address << ": " << error;
  return value;
}

inline void writeOk(vx_SimCamera& camera, uint32_t address, uint32_t value) {
  std::string error;
  EXPECT_TRUE(camera.writeQuadlet(address, value, &error)) << std::hex << address << ": " << error;
}
