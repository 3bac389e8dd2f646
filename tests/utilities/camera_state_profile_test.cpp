// The camera state of the simulated camera of each shipped profile: capture, change, compare.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "modules/qrvnvdcam/module.h"
#include "regmodel/dcam_camera.h"
#include "support/test_paths.h"
#include "utilities/camera_state.h"

namespace {

std::vector<std::string> shippedProfiles() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(pralix_test::profilesDir()))
    if (entry.path().extension() == ".json") names.push_back(entry.path().stem().string());
  return names;
}

TEST(CameraStateProfiles, CaptureSurvivesJsonAndDiffNamesAChangedRegisterAndItsField) {
  const auto profiles = shippedProfiles();
  ASSERT_FALSE(profiles.empty());
  for (const std::string& profile : profiles) {
    SCOPED_TRACE(profile);
    vx_ModuleOptions options;
    options.simulate = true;
    options.realBus = false;
    options.simulatedProfiles = {profile};
    options.profileDirs = {pralix_test::profilesDir()};
    vx_QrvnvDcamModule module(options);
    vxDcamCamera camera(0, &module);

    const vxCameraState saved = vxCaptureCameraState(camera);
    EXPECT_FALSE(saved.model.empty());
    const vxStateRegister* iso = saved.find(camera.absoluteAddress(0x60C));
    ASSERT_NE(iso, nullptr);
    ASSERT_TRUE(iso->readOk);
    const vxCameraState reloaded = vxCameraStateFromJson(vxCameraStateToJson(saved));
    EXPECT_EQ(reloaded.registers.size(), saved.registers.size());
    EXPECT_TRUE(vxDiffCameraStates(saved, reloaded).empty());

    // A new isochronous channel shows as that register with that field only.
    const uint32_t channel = (iso->value >> 28) == 5 ? 6u : 5u;
    ASSERT_TRUE(camera.writeQuadlet(0x60C, (iso->value & 0x0FFFFFFFu) | (channel << 28)));
    const vxCameraState now = vxCaptureCameraState(camera);
    const auto diff = vxDiffCameraStates(saved, now, &camera.registers());
    ASSERT_EQ(diff.size(), 1u);
    EXPECT_EQ(diff[0].name, "ISO_CHANNEL/ISO_SPEED");
    EXPECT_EQ(diff[0].fields, std::vector<std::string>{"ISO_Channel"});

    ASSERT_TRUE(camera.writeQuadlet(0x60C, iso->value));
    EXPECT_TRUE(vxDiffCameraStates(saved, vxCaptureCameraState(camera), &camera.registers()).empty());
  }
}

}  // namespace
