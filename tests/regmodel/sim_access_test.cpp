// Register access and the catalogue over the simulated camera bus, through
// the module as the programs reach it.
#include <gtest/gtest.h>

#include <string>

#include "acquisition/sim_control.h"
#include "modules/qrvnvdcam/module.h"
#include "regmodel/camera_access.h"
#include "regmodel/dcam_camera.h"
#include "regmodel/register_accessor.h"
#include "support/test_paths.h"

namespace {

vx_ModuleOptions simulated(const std::string& profile) {
  vx_ModuleOptions options;
  options.simulate = true;
  options.realBus = false;
  options.simulatedProfiles = {pralix_test::profilePath(profile)};
  return options;
}

}  // namespace

TEST(SimAccess, UnpluggedCameraIsNotRespondingWithoutBusTraffic) {
  vx_QrvnvDcamModule module(simulated("korvane-kv640m"));
  vx_SimBusControl& control = *module.simControl();
  EXPECT_TRUE(vxIsCameraResponding(module, 0, false));
  EXPECT_EQ(control.transactionCount(0), 1u);

  control.unplug(0);
  control.resetTransactionCount(0);
  // The camera entry knows it was unplugged: no transaction is made at all.
  EXPECT_FALSE(vxIsCameraResponding(module, 0, true));
  EXPECT_EQ(control.transactionCount(0), 0u);
  // Asked without that knowledge, the read goes out and fails.
  EXPECT_FALSE(vxIsCameraResponding(module, 0, false));
  EXPECT_EQ(control.transactionCount(0), 1u);

  control.replug(0);
  EXPECT_TRUE(vxIsCameraResponding(module, 0, false));
}

TEST(SimAccess, AccessorOkFlagAndRegisterErrorsOnAFaultyAddress) {
  vx_QrvnvDcamModule module(simulated("tessaly-f7flex"));
  vx_SimBusControl& control = *module.simControl();
  constexpr uint32_t kGain = 0xF0F00820u;
  control.setWriteFault(0, kGain, true);

  vx_DCAMRegisterAccessorPralix accessor(0, &module);
  const uint32_t before = accessor.readQuadlet(kGain);
  EXPECT_TRUE(accessor.ok());
  EXPECT_FALSE(accessor.writeQuadlet(kGain, before ^ 1u));
  EXPECT_FALSE(accessor.ok());
  // Reads still work after the failed write, but the flag stays down until
  // its owner raises it.
  EXPECT_EQ(accessor.readQuadlet(0x820), before);
  EXPECT_FALSE(accessor.ok());

  control.setReadFault(0, kGain, true);
  vxDcamCamera camera(0, &module);
  vxRegister* gain = camera.findRegister("GAIN");
  ASSERT_NE(gain, nullptr);
  EXPECT_THROW(gain->read(), vxRegister::Error);
  const std::string line = gain->valueLine();
  EXPECT_NE(line.find("GAIN"), std::string::npos) << line;
  EXPECT_EQ(line.find("0xF0F00820 = "), std::string::npos) << "the error stands in for the value";
}

TEST(SimAccess, CatalogueFollowsEachShippedCamera) {
  struct Expect {
    const char* profile;
    bool pio;
    bool strobe;
  } cases[] = {{"korvane-kv640m", false, false}, {"tessaly-f7flex", true, true}, {"orbel-ux1600b", true, true}};
  for (const Expect& e : cases) {
    SCOPED_TRACE(e.profile);
    vx_QrvnvDcamModule module(simulated(e.profile));
    vxDcamCamera camera(0, &module);
    EXPECT_EQ(camera.findRegister("PIO_OUTPUT") != nullptr, e.pio);
    EXPECT_EQ(camera.findRegister("Strobe_CNTL_Inq") != nullptr, e.strobe);
    // The Format_7 Mode 0 registers sit where V_CSR_INQ_7_0 says.
    uint32_t offset = 0;
    ASSERT_TRUE(camera.readQuadlet(0xF0F002E0u, offset));
    const vxRegister* maxSize = camera.findRegister("MAX_IMAGE_SIZE_INQ");
    ASSERT_NE(maxSize, nullptr);
    EXPECT_EQ(maxSize->address(), offset * 4 + 0xF0000000u);
  }
}

// A camera whose unit-dependent directory puts the command registers at
// 0xF0010000: names, the catalogue and offsets all land there, absolute
// addresses stay where they are.
TEST(SimAccess, CatalogueAndOffsetsFollowTheCamerasOwnCommandBase) {
  vx_QrvnvDcamModule module(simulated("mirelle-mo320c"));
  vxDcamCamera camera(0, &module);
  EXPECT_EQ(camera.commandBase(), 0xF0010000u);
  EXPECT_EQ(camera.catalogueCommandBase(), 0xF0010000u);
  EXPECT_EQ(camera.findRegister("INITIALIZE")->address(), 0xF0010000u);
  EXPECT_EQ(camera.findRegister("CURRENT_FRAME_RATE")->address(), 0xF0010600u);
  EXPECT_EQ(camera.findRegister("BRIGHTNESS")->address(), 0xF0010800u);
  EXPECT_EQ(camera.absoluteAddress(0x600), 0xF0010600u);
  EXPECT_EQ(camera.absoluteAddress(0xF0F00600u), 0xF0F00600u);

  // Power-on format 0 mode 1 at rate 4, 30 fps, read by name and by offset.
  EXPECT_EQ(camera.findRegister("CURRENT_FRAME_RATE")->read32(), 0x80000000u);
  EXPECT_EQ(camera.findRegister("CURRENT_VIDEO_MODE")->read32(), 0x20000000u);
  uint32_t value = 0;
  ASSERT_TRUE(camera.readQuadlet(0x604, value));
  EXPECT_EQ(value, 0x20000000u);
  EXPECT_FALSE(camera.readQuadlet(0xF0F00604u, value)) << "nothing answers at the usual base";
  // The catalogue's Format_7 and strobe blocks were found through the inquiry
  // registers at this base.
  ASSERT_NE(camera.strobeGroup(), nullptr);
  EXPECT_TRUE(camera.findRegister("MAX_IMAGE_SIZE_INQ")->read32() == (640u << 16 | 480u));
}

TEST(SimAccess, CameraNumbersPastTwoHundredFiftyFiveAreNotCutToEightBits) {
  vx_QrvnvDcamModule module(simulated("korvane-kv640m"));
  EXPECT_THROW(vxDcamCamera(256, &module), vx_DcamModule::Error);
  vxCamera camera("far", 256, "DCAM", &module);
  EXPECT_EQ(camera.cameraNumber(), 256);
  EXPECT_THROW(camera.device(), vx_DcamModule::Error);
}
