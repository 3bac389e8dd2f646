// Start-up of the acquisition module for both programs.
#include "app/module_startup.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "acquisition/module_loader.h"

namespace fs = std::filesystem;

namespace {

std::vector<std::string> splitList(const std::string& text) {
  std::vector<std::string> items;
  std::stringstream in(text);
  std::string item;
  while (std::getline(in, item, ','))
    if (!item.empty()) items.push_back(item);
  return items;
}

}  // namespace

std::vector<std::string> vxProfileDirectories() {
  std::vector<std::string> dirs;
  if (const char* env = std::getenv("PRALIX_DATA_DIR"); env && *env)
    dirs.push_back((fs::path(env) / "profiles").string());
  // An installed tree, wherever it was installed or moved to: the profiles
  // lie in share/dcam-pralix beside the program's bin folder.
  std::error_code ec;
  const fs::path exe = fs::read_symlink("/proc/self/exe", ec);
  if (!ec) {
    const fs::path installed = exe.parent_path().parent_path() / "share" / "dcam-pralix" / "profiles";
    if (fs::is_directory(installed, ec)) dirs.push_back(installed.string());
  }
#ifdef PRALIX_SOURCE_DATA_DIR
  dirs.push_back((fs::path(PRALIX_SOURCE_DATA_DIR) / "profiles").string());
#endif
#ifdef PRALIX_INSTALL_DATA_DIR
  dirs.push_back((fs::path(PRALIX_INSTALL_DATA_DIR) / "profiles").string());
#endif
  return dirs;
}

vx_ModuleOptions vxModuleOptionsFor(const std::optional<std::string>& simulateArg) {
  vx_ModuleOptions options;
  options.profileDirs = vxProfileDirectories();
  std::optional<std::string> simulate = simulateArg;
  if (!simulate) {
    if (const char* env = std::getenv("PRALIX_SIMULATE"); env && *env) {
      // PRALIX_SIMULATE=1 (or yes/all) asks for the built-in profiles.
      const std::string value = env;
      if (value != "0" && value != "no") simulate = (value == "1" || value == "yes" || value == "all") ? "" : value;
    }
  }
  if (simulate) {
    options.simulate = true;
    options.simulatedProfiles = splitList(*simulate);
  }
  return options;
}

vxModuleStartup vxStartAcquisitionModule(const vx_ModuleOptions& options) {
  vxModuleStartup result;
  auto& registry = vx_ModuleRegistry::instance();
  if (!registry.registerModule(vx_ModuleRegistry::kBaseName)) {
    result.messages.push_back("No DCAM acquisition module (" + std::string(vx_ModuleRegistry::kBaseName) +
                              "_x64_.so) was found in " + registry.moduleDirectory() +
                              "; no cameras are available. Set PRALIX_MODULE_DIR to the folder "
                              "that holds it.");
    return result;
  }
  try {
    vx_DcamModule& module = registry.load(options);
    result.loaded = true;
    result.refusedProfiles = module.refusedProfiles();
    result.busNotices = module.notices();
    for (const std::string& refused : result.refusedProfiles) result.messages.push_back(refused);
    for (const std::string& notice : result.busNotices) result.messages.push_back(notice);
  } catch (const vxException& e) {
    result.messages.push_back(e.message());
  }
  return result;
}
