// The Information page's data from fixture trees and a fake module.
#include "inspection/host_info.h"

#include <gtest/gtest.h>

#include "acquisition/dcam_module.h"
#include "support/fake_camera.h"
#include "support/test_paths.h"

namespace {

class ThrowingModule : public vx_DcamModule {
 public:
  explicit ThrowingModule(bool libraryError) : m_libraryError(libraryError) {}
  std::string name() const override {
    if (m_libraryError) throw vx_DcamModule::Error("Module is not initialised");
    throw 42;
  }
  std::string version() const override { return "1.0"; }
  std::vector<std::string> busLayers() const override { return {}; }
  std::vector<std::string> notices() const override { return {}; }
  int cameraCount() const override { return 0; }
  vx1394DCAM& camera(int) override { throw Error("no camera"); }
  int registerBusEventCallback(int, vxDcamBusEventCallback) override { return 0; }
  void unregisterBusEventCallback(int) override {}
  vx_SimBusControl* simControl() override { return nullptr; }

 private:
  bool m_libraryError;
};

vxHostInfoSources sources(const vxSysfs& sysfs) {
  vxHostInfoSources s;
  s.sysfs = &sysfs;
  s.kernelRelease = "6.1.0-13-amd64";
  s.dc1394File = "/usr/lib/x86_64-linux-gnu/libdc1394.so.25.0.0";
  return s;
}

}  // namespace

TEST(HostInfo, FillsTheSevenTextsFromTheStackThatIsThere) {
  const vxSysfs sysfs(pralix_test::testDataDir() + "/sysfs/ti-bridge-two-cameras/sys");
  const vxHostInfo info = vxCollectHostInfo(sources(sysfs));
  EXPECT_EQ(info.notes, vxHostInfo::kNotes);
  EXPECT_EQ(info.programVersion.rfind("Qorvel DCAM Pralix version ", 0), 0u);
  EXPECT_EQ(info.tavVersion.rfind("Qorvel TAV version ", 0), 0u);
  EXPECT_EQ(info.libraryLine, "libdc1394 library version 25.0.0.0");
  EXPECT_EQ(info.coreLine, "Linux firewire-core module version 6.1.0.13 (6.1.0-13-amd64)");
  EXPECT_EQ(info.ohciLine, "Linux firewire-ohci module version 6.1.0.13 (6.1.0-13-amd64)");
  EXPECT_FALSE(info.ohci.builtIn);
  // No module: its line keeps its placeholder and the page says what is missing.
  EXPECT_EQ(info.moduleLine, "");
  ASSERT_EQ(info.problems.size(), 1u);
  EXPECT_NE(info.problems[0].find("acquisition module"), std::string::npos);
}

TEST(HostInfo, AMachineWithoutTheStackSaysWhatToLoadAndInstall) {
  const vxSysfs sysfs(pralix_test::testDataDir() + "/sysfs/no-firewire/sys");
  vxHostInfoSources s = sources(sysfs);
  s.dc1394File.reset();
  const vxHostInfo info = vxCollectHostInfo(s);
  EXPECT_EQ(info.ohciLine, "Linux firewire-ohci module version ");
  EXPECT_EQ(info.libraryLine, "libdc1394 library version ");
  ASSERT_EQ(info.problems.size(), 3u);
  EXPECT_NE(info.problems[1].find("modprobe firewire-ohci"), std::string::npos);
  EXPECT_NE(info.problems[2].find("apt-get install libdc1394"), std::string::npos);
}

TEST(HostInfo, AModuleErrorIsShownAndEndsTheStartBeforeTheDriverLines) {
  const vxSysfs sysfs(pralix_test::testDataDir() + "/sysfs/ti-bridge-two-cameras/sys");
  for (bool libraryError : {true, false}) {
    ThrowingModule module(libraryError);
    vxHostInfoSources s = sources(sysfs);
    s.module = &module;
    const vxHostInfo info = vxCollectHostInfo(s);
    EXPECT_EQ(info.error, libraryError ? "Module is not initialised" : "Error: Exception getting version data.");
    EXPECT_EQ(info.moduleLine, "");
    EXPECT_EQ(info.coreLine, "");
    EXPECT_EQ(info.libraryLine, "");
  }
}
