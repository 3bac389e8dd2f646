// The module loader: finding the plugin by its suffixes, refusing what is no plugin, loading the
// real one.
#include <gtest/gtest.h>

#include <unistd.h>

#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>

#include "acquisition/module_loader.h"
#include "acquisition/sim_control.h"
#include "base/format.h"
#include "support/test_paths.h"

namespace fs = std::filesystem;

namespace {

// A fresh folder for one test, removed afterwards.
class TempDir {
 public:
  TempDir() {
    std::string pattern = (fs::temp_directory_path() / "pralix-loader-XXXXXX").string();
    m_path = mkdtemp(pattern.data());
  }
  ~TempDir() {
    std::error_code ec;
    fs::remove_all(m_path, ec);
  }
  const fs::path& path() const { return m_path; }
  std::string place(const std::string& source, const std::string& name) const {
    fs::copy_file(source, m_path / name, fs::copy_options::overwrite_existing);
    return (m_path / name).string();
  }

 private:
  fs::path m_path;
};

class ModuleLoader : public ::testing::Test {
 protected:
  vx_ModuleRegistry& registry = vx_ModuleRegistry::instance();
  void TearDown() override { registry.setModule(nullptr); }

  // The message load() throws for the file placed as the module.
  std::string loadFailure(const TempDir& dir, const vx_ModuleOptions& options = {}) {
    registry.setModuleDirectory(dir.path().string());
    EXPECT_TRUE(registry.registerModule());
    try {
      registry.load(options);
    } catch (const vx_ModuleRegistry::Error& e) {
      return e.message();
    }
    return "";
  }
};

vx_ModuleOptions simulateOptions() {
  vx_ModuleOptions options;
  options.simulate = true;
  options.realBus = false;
  options.profileDirs = {pralix_test::profilesDir()};
  return options;
}

}  // namespace

TEST_F(ModuleLoader, MissingFileIsNoErrorAndLeavesNoCameras) {
  TempDir dir;
  registry.setModuleDirectory(dir.path().string());
  EXPECT_FALSE(registry.registerModule());
  EXPECT_EQ(registry.registeredFile(), "");
  EXPECT_FALSE(registry.hasModule());
  EXPECT_EQ(vxAcquisitionModule().cameraCount(), 0);
  EXPECT_THROW(vxAcquisitionModule().camera(0), vx_DcamModule::Error);
  EXPECT_TRUE(registry.registerModule(""));  // an empty base name registers nothing, successfully
}

TEST_F(ModuleLoader, SecondSuffixOnlyWhenTheFirstIsMissing) {
  TempDir dir;
  const std::string second = dir.place(PRALIX_REAL_PLUGIN, "qrvnvdcam_x64r.so");
  registry.setModuleDirectory(dir.path().string());
  ASSERT_TRUE(registry.registerModule());
  EXPECT_EQ(registry.registeredFile(), second);
  const std::string first = dir.place(PRALIX_REAL_PLUGIN, "qrvnvdcam_x64_.so");
  ASSERT_TRUE(registry.registerModule());
  EXPECT_EQ(registry.registeredFile(), first);
}

TEST_F(ModuleLoader, OnlyTheModuleDirectoryIsSearched) {
  TempDir moduleDir, workDir;
  workDir.place(PRALIX_REAL_PLUGIN, "qrvnvdcam_x64_.so");
  const fs::path previous = fs::current_path();
  fs::current_path(workDir.path());
  registry.setModuleDirectory(moduleDir.path().string());
  const bool found = registry.registerModule();
  fs::current_path(previous);
  EXPECT_FALSE(found);
}

TEST_F(ModuleLoader, RefusesFilesThatAreNoUsableModule) {
  {
    TempDir dir;
    const std::string file = dir.place(PRALIX_TEST_PLUGIN_WRONG_VERSION, "qrvnvdcam_x64_.so");
    const std::string message = loadFailure(dir);
    EXPECT_NE(message.find(file), std::string::npos) << message;
    EXPECT_NE(message.find(vxFormat("interface version %u", kModuleInterfaceVersion + 41)),
              std::string::npos)
        << message;
  }
  {
    TempDir dir;
    const std::string file = dir.place(PRALIX_TEST_PLUGIN_NO_ENTRY, "qrvnvdcam_x64_.so");
    const std::string message = loadFailure(dir);
    EXPECT_NE(message.find(file), std::string::npos) << message;
    EXPECT_NE(message.find("pralix_module_entry"), std::string::npos) << message;
  }
  {
    TempDir dir;
    std::ofstream(dir.path() / "qrvnvdcam_x64_.so") << "this is not a shared library\n";
    const std::string message = loadFailure(dir);
    EXPECT_NE(message.find((dir.path() / "qrvnvdcam_x64_.so").string()), std::string::npos)
        << message;
  }
  EXPECT_FALSE(registry.hasModule());
}

TEST_F(ModuleLoader, RealPluginRefusesABadProfileAndRunsTheRest) {
  registry.setModuleDirectory(fs::path(PRALIX_REAL_PLUGIN).parent_path().string());
  ASSERT_TRUE(registry.registerModule());
  vx_ModuleOptions options = simulateOptions();
  options.simulatedProfiles = {"no-such-camera", "korvane-kv640m"};
  vx_DcamModule& module = registry.load(options);
  ASSERT_EQ(module.cameraCount(), 1);
  EXPECT_EQ(module.camera(0).identity().model, "KV-640M");
  // The refusal crosses the plugin boundary with the profile's name.
  const std::vector<std::string> refused = module.refusedProfiles();
  ASSERT_EQ(refused.size(), 1u);
  EXPECT_NE(refused[0].find("no-such-camera"), std::string::npos) << refused[0];
}

TEST_F(ModuleLoader, RealPluginListsTheSimulatedCameras) {
  registry.setModuleDirectory(fs::path(PRALIX_REAL_PLUGIN).parent_path().string());
  ASSERT_TRUE(registry.registerModule());
  vx_DcamModule& module = registry.load(simulateOptions());
  EXPECT_EQ(&module, &vxAcquisitionModule());
  EXPECT_EQ(module.name(), "qrvnvdcam");
  ASSERT_EQ(module.cameraCount(), 3);
  EXPECT_EQ(module.camera(0).identity().vendor, "Korvane Imaging");
  EXPECT_EQ(module.camera(2).identity().model, "UX-1600B");
  uint32_t value = 0;
  ASSERT_TRUE(module.camera(0).readQuadlet(0xF0F00100u, value));
  EXPECT_EQ(value, 0x80000000u);
  EXPECT_THROW(module.camera(3), vx_DcamModule::Error);

  // Events cross the plugin boundary on the module's thread.
  std::mutex mutex;
  std::condition_variable arrived;
  uint32_t flags = 0;
  const int id = module.registerBusEventCallback(1, [&](const vxDcamBusEventInfo& info) {
    std::lock_guard lock(mutex);
    flags = info.eventFlags;
    arrived.notify_all();
  });
  ASSERT_NE(module.simControl(), nullptr);
  module.simControl()->unplug(1);
  {
    std::unique_lock lock(mutex);
    arrived.wait_for(lock, std::chrono::seconds(5), [&] { return flags != 0; });
    EXPECT_EQ(flags, vxDcamBusEventInfo::kUnplugged);
  }
  module.unregisterBusEventCallback(id);  // the callback refers to this test's locals
}
