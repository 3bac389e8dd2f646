// The camera state of the simulated camera of each shipped profile: capture, change, compare.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "modules/qrvnvdcam/module.h"
#include "regmodel/dcam_camera.h"
#include "support/test_paths.h"
#include "acquisition/sim_control.h"
#include "utilities/camera_state.h"
#include "utilities/camera_state_restore.h"

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

std::unique_ptr<vx_QrvnvDcamModule> simulated(const std::string& profile) {
  vx_ModuleOptions options;
  options.simulate = true;
  options.realBus = false;
  options.simulatedProfiles = {profile};
  options.profileDirs = {pralix_test::profilesDir()};
  return std::make_unique<vx_QrvnvDcamModule>(options);
}

size_t indexOf(const vxRestorePlan& plan, const std::string& name) {
  for (size_t i = 0; i < plan.writes.size(); ++i)
    if (plan.writes[i].name == name) return i;
  return plan.writes.size();
}

// Save, change, restore, compare: nothing differs afterwards, on every
// shipped camera, with the camera streaming when the restore begins.
TEST(CameraStateRestore, BringsEveryShippedCameraBackInTheCamerasOrder) {
  for (const std::string& profile : shippedProfiles()) {
    SCOPED_TRACE(profile);
    auto module = simulated(profile);
    vxDcamCamera camera(0, module.get());
    const vxCameraState saved = vxCameraStateFromJson(vxCameraStateToJson(vxCaptureCameraState(camera)));
    const uint32_t mode = saved.find(camera.absoluteAddress(0x604))->value;
    ASSERT_TRUE(camera.writeQuadlet(0x604, mode ^ 0x20000000u));
    ASSERT_TRUE(camera.writeQuadlet(0x800, 0x82000000u | 0x21u));
    ASSERT_TRUE(camera.writeQuadlet(0x820, 0x82000000u | 0x22u));
    ASSERT_TRUE(camera.writeQuadlet(0x614, 0x80000000u));  // streaming

    const vxCameraState changed = vxCaptureCameraState(camera);
    vxRestorePlan plan = vxPlanRestore(saved, changed, camera, false);
    ASSERT_FALSE(plan.writes.empty());
    EXPECT_EQ(plan.writes[0].name, "ISO_EN/CONTINOUS_SHOT");
    EXPECT_EQ(plan.writes[0].value, 0u);
    const size_t modeAt = indexOf(plan, "CURRENT_VIDEO_MODE");
    const size_t brightAt = indexOf(plan, "BRIGHTNESS");
    ASSERT_LT(modeAt, plan.writes.size());
    ASSERT_LT(brightAt, plan.writes.size());
    EXPECT_LT(modeAt, brightAt);
    for (const auto& write : plan.writes)
      EXPECT_FALSE(write.name == "VMODE_ERROR_STATUS" || write.name == "INITIALIZE") << write.name;
    EXPECT_EQ(vxExecuteRestore(plan, camera), 0);
    for (const auto& write : plan.writes) EXPECT_TRUE(write.attempted && write.ok) << vxRestoreLine(write);
    const auto left = vxDiffCameraStates(saved, vxCaptureCameraState(camera), &camera.registers());
    for (const auto& difference : left) ADD_FAILURE() << vxDifferenceLine(difference);
  }
}

TEST(CameraStateRestore, AFailedWriteIsCountedAndTheOthersGoOn) {
  auto module = simulated("korvane-kv640m");
  vxDcamCamera camera(0, module.get());
  const vxCameraState saved = vxCaptureCameraState(camera);
  ASSERT_TRUE(camera.writeQuadlet(0x800, 0x82000000u | 0x21u));
  ASSERT_TRUE(camera.writeQuadlet(0x820, 0x82000000u | 0x22u));
  module->simControl()->setWriteFault(0, camera.absoluteAddress(0x800), true);
  vxRestorePlan plan = vxPlanRestore(saved, vxCaptureCameraState(camera), camera, false);
  ASSERT_EQ(plan.writes.size(), 2u);
  EXPECT_EQ(vxExecuteRestore(plan, camera), 1);
  EXPECT_FALSE(plan.writes[0].ok);
  EXPECT_NE(vxRestoreLine(plan.writes[0]).find(": failed: "), std::string::npos) << vxRestoreLine(plan.writes[0]);
  EXPECT_TRUE(plan.writes[1].ok);
  uint32_t gain = 0;
  ASSERT_TRUE(camera.readQuadlet(0x820, gain));
  EXPECT_EQ(gain, saved.find(camera.absoluteAddress(0x820))->value);
}

TEST(CameraStateRestore, AbsoluteValuesOnlyForFeaturesSavedUnderAbsoluteControl) {
  auto module = simulated("orbel-ux1600b");
  vxDcamCamera camera(0, module.get());
  vxCameraState saved = vxCaptureCameraState(camera);
  vxStateRegister* gainAbs = nullptr;
  vxStateRegister* gainControl = nullptr;
  for (auto& reg : saved.registers) {
    if (reg.name == "GAIN_ABS_VALUE") gainAbs = &reg;
    if (reg.name == "GAIN") gainControl = &reg;
  }
  ASSERT_NE(gainAbs, nullptr);
  ASSERT_NE(gainControl, nullptr);
  gainAbs->value = 0x41400000u;  // 12 dB
  EXPECT_EQ(vxPlanRestore(saved, vxCaptureCameraState(camera), camera, false).writes.size(), 0u);
  gainControl->value |= 0x40000000u;  // saved under absolute control
  const vxRestorePlan plan = vxPlanRestore(saved, vxCaptureCameraState(camera), camera, false);
  ASSERT_EQ(plan.writes.size(), 2u);
  EXPECT_EQ(plan.writes[0].name, "GAIN");
  EXPECT_EQ(plan.writes[1].name, "GAIN_ABS_VALUE");
}

}  // namespace
