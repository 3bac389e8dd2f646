// Camera register access: the accessor's ok flag, lookups by number, the responding test.
#include <gtest/gtest.h>

#include <memory>

#include "acquisition/module_loader.h"
#include "regmodel/camera_access.h"
#include "regmodel/dcam_camera.h"
#include "regmodel/register_accessor.h"
#include "support/fake_camera.h"

namespace {

class Access : public ::testing::Test {
 protected:
  FakeModule module{1, false, false};
  FakeCamera& device = module.fake(0);
};

}  // namespace

TEST_F(Access, AccessorReadsAndWritesBothAddressForms) {
  vx_DCAMRegisterAccessorPralix accessor(0, &module);
  EXPECT_EQ(accessor.cameraNumber(), 0);
  EXPECT_TRUE(accessor.ok());
  device.set(0xF0F00600, 0x80000000);
  EXPECT_EQ(accessor.readQuadlet(0xF0F00600), 0x80000000u);
  EXPECT_EQ(accessor.readQuadlet(0x600), 0x80000000u);
  // Only the low 32 bits of the address reach the camera.
  EXPECT_EQ(accessor.readQuadlet(0x1F0F00600ull), 0x80000000u);
  EXPECT_EQ(device.readAddresses().back(), 0xF0F00600u);
  EXPECT_TRUE(accessor.writeQuadlet(0x604, 0x20000000));
  EXPECT_EQ(device.get(0xF0F00604), 0x20000000u);
  EXPECT_TRUE(accessor.ok());
}

TEST_F(Access, OkFlagStaysClearedUntilItsOwnerSetsIt) {
  vx_DCAMRegisterAccessorPralix accessor(0, &module);
  device.set(0x800, 0x12345678);
  device.failAt(0x610);
  EXPECT_FALSE(accessor.writeQuadlet(0x610, 1));
  EXPECT_FALSE(accessor.ok());
  EXPECT_EQ(accessor.readQuadlet(0x800), 0x12345678u);  // later reads still deliver values
  EXPECT_FALSE(accessor.ok());
  accessor.setOk(true);
  EXPECT_EQ(accessor.readQuadlet(0x610), 0u);
  EXPECT_FALSE(accessor.ok());

  // A bus layer that raises is a failed transfer too, not an exception.
  accessor.setOk(true);
  device.throwOnAccess(true);
  EXPECT_EQ(accessor.readQuadlet(0x800), 0u);
  EXPECT_FALSE(accessor.ok());
  accessor.setOk(true);
  EXPECT_FALSE(accessor.writeQuadlet(0x800, 0));
  EXPECT_FALSE(accessor.ok());
}

TEST_F(Access, CameraNumberOutOfRangeRaisesTheModulesErrorOnBothPaths) {
  vx_DCAMRegisterAccessorPralix accessor(1, &module);
  EXPECT_THROW(accessor.readQuadlet(0x800), vx_DcamModule::Error);
  EXPECT_THROW(accessor.writeQuadlet(0x800, 0), vx_DcamModule::Error);
  vx_DCAMRegisterAccessorPralix negative(-1, &module);
  EXPECT_THROW(negative.readQuadlet(0x800), vx_DcamModule::Error);

  vxCamera camera("missing", 3, "DCAM", &module);
  vxDcamRegister reg(&camera, "CURRENT_FRAME_RATE", 0xF0F00600);
  EXPECT_THROW(reg.read(), vx_DcamModule::Error);
  EXPECT_THROW(reg.write(0), vx_DcamModule::Error);
  // The value printers show the module's message instead of a value.
  EXPECT_EQ(reg.valueLine(), "No DCAM camera with number 3");
  EXPECT_EQ(device.transactions(), 0u);
}

TEST_F(Access, RegisterObjectsMaskAndWriteThroughTheModule) {
  vxCamera camera("cam", 0, "DCAM", &module);
  vxDcamRegister byte(&camera, "BYTE", 0xF0F00700, 0, 0, 8);
  EXPECT_EQ(byte.kind(), "DCAM");
  device.set(0xF0F00700, 0xABCDEF12);
  EXPECT_EQ(byte.read(), 0x12u);
  EXPECT_TRUE(byte.write(0x1FF));
  EXPECT_EQ(device.get(0xF0F00700), 0xFFu);
  EXPECT_TRUE(byte.writeAlternate(0x101));
  EXPECT_EQ(device.get(0xF0F00700), 0x01u);
  EXPECT_TRUE(byte.writeImmediate(0x102));
  EXPECT_EQ(device.get(0xF0F00700), 0x02u);
  EXPECT_TRUE(byte.writeValue(0x103));
  EXPECT_EQ(device.get(0xF0F00700), 0x03u);

  uint32_t value = 0;
  EXPECT_TRUE(camera.readQuadlet(0x700, value));
  EXPECT_EQ(value, 0x03u);
  EXPECT_TRUE(camera.writeQuadlet(0x704, 7));
  EXPECT_EQ(device.get(0xF0F00704), 7u);

  device.throwOnAccess(true);
  EXPECT_THROW(byte.read(), vxRegister::Error);
  EXPECT_FALSE(byte.write(1));
}

TEST_F(Access, RespondingTest) {
  EXPECT_TRUE(vxIsCameraResponding(module, 0, false));
  EXPECT_EQ(device.readAddresses(), std::vector<uint32_t>{0xF0F00800u});

  const int lookups = module.lookups;
  EXPECT_FALSE(vxIsCameraResponding(module, 0, true));
  EXPECT_EQ(device.reads(), 1);  // an unplugged camera gets no bus traffic at all
  EXPECT_EQ(module.lookups, lookups);

  device.failAt(0x800);
  EXPECT_FALSE(vxIsCameraResponding(module, 0, false));
  device.heal();
  device.throwOnAccess(true);
  EXPECT_FALSE(vxIsCameraResponding(module, 0, false));
  EXPECT_FALSE(vxIsCameraResponding(module, 5, false));
  EXPECT_FALSE(vxIsCameraResponding(module, -1, false));
}

TEST(ProcessModule, AccessWithoutAModuleArgumentUsesTheLoadedModule) {
  vx_ModuleRegistry::instance().setModule(nullptr);
  // Camera number 0 with no camera present: the lookup raises.
  vx_DCAMRegisterAccessorPralix accessor(0);
  EXPECT_THROW(accessor.readQuadlet(0x800), vx_DcamModule::Error);
  EXPECT_THROW(vxDcamCamera camera(0), vx_DcamModule::Error);
  EXPECT_FALSE(vxIsCameraResponding(vxAcquisitionModule(), 0, false));

  auto owned = std::make_unique<FakeModule>(1, false, false);
  FakeModule& fake = *owned;
  FakeCamera& device = fake.fake(0);
  device.set(0x800, 0xC0FFEE);
  vx_ModuleRegistry::instance().setModule(std::move(owned));
  EXPECT_EQ(accessor.readQuadlet(0x800), 0xC0FFEEu);
  EXPECT_TRUE(accessor.ok());
  vxDcamCamera camera(0);
  EXPECT_EQ(&camera.module(), &fake);
  EXPECT_EQ(camera.findRegister("BRIGHTNESS")->read32(), 0xC0FFEEu);
  EXPECT_TRUE(vxIsCameraResponding(vxAcquisitionModule(), 0, false));
  vx_ModuleRegistry::instance().setModule(nullptr);
}
