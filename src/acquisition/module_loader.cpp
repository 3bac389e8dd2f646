// Finding, loading and holding the acquisition module plugin.
#include "acquisition/module_loader.h"

#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>

#include "base/format.h"

namespace fs = std::filesystem;

namespace {

// The module the program works with when no plugin could be loaded.
class EmptyModule final : public vx_DcamModule {
 public:
  std::string name() const override { return "none"; }
  std::string version() const override { return ""; }
  std::vector<std::string> busLayers() const override { return {}; }
  std::vector<std::string> notices() const override { return {}; }
  int cameraCount() const override { return 0; }
  vx1394DCAM& camera(int number) override {
    throw Error(vxFormat("No DCAM camera with number %d: no acquisition module is loaded.", number));
  }
  int registerBusEventCallback(int, vxDcamBusEventCallback) override { return 0; }
  void unregisterBusEventCallback(int) override {}
  vx_SimBusControl* simControl() override { return nullptr; }
};

fs::path programDirectory() {
  std::error_code ec;
  const fs::path exe = fs::read_symlink("/proc/self/exe", ec);
  return ec ? fs::path() : exe.parent_path();
}

bool holdsModule(const fs::path& dir) {
  std::error_code ec;
  for (const char* suffix : vx_ModuleRegistry::kSuffixes)
    if (fs::exists(dir / (std::string(vx_ModuleRegistry::kBaseName) + suffix), ec)) return true;
  return false;
}

}  // namespace

vx_ModuleRegistry::vx_ModuleRegistry()
    : m_dir(defaultModuleDirectory()), m_empty(std::make_unique<EmptyModule>()) {}

vx_ModuleRegistry& vx_ModuleRegistry::instance() {
  static vx_ModuleRegistry registry;
  return registry;
}

std::string vx_ModuleRegistry::defaultModuleDirectory() {
  if (const char* env = std::getenv("PRALIX_MODULE_DIR"); env && *env) return env;
  const fs::path here = programDirectory();
  if (!here.empty() && holdsModule(here)) return here.string();
#ifdef PRALIX_INSTALL_MODULE_REL
  // An installed tree that was moved: the module folder relative to the program.
  if (!here.empty() && holdsModule(here / PRALIX_INSTALL_MODULE_REL))
    return (here / PRALIX_INSTALL_MODULE_REL).lexically_normal().string();
#endif
#ifdef PRALIX_INSTALL_MODULE_DIR
  return PRALIX_INSTALL_MODULE_DIR;
#else
  return here.string();
#endif
}

std::string vx_ModuleRegistry::moduleDirectory() const {
  std::lock_guard lock(m_mutex);
  return m_dir;
}

void vx_ModuleRegistry::setModuleDirectory(const std::string& dir) {
  std::lock_guard lock(m_mutex);
  m_dir = dir;
}

bool vx_ModuleRegistry::registerModule(const std::string& baseName) {
  std::lock_guard lock(m_mutex);
  if (baseName.empty()) return true;
  m_file.clear();
  // Only the module directory is searched, never the current directory.
  for (const char* suffix : kSuffixes) {
    const fs::path candidate = fs::path(m_dir) / (baseName + suffix);
    std::error_code ec;
    if (fs::is_regular_file(candidate, ec)) {
      m_file = candidate.string();
      return true;
    }
  }
  return false;
}

std::string vx_ModuleRegistry::registeredFile() const {
  std::lock_guard lock(m_mutex);
  return m_file;
}

vx_DcamModule& vx_ModuleRegistry::load(const vx_ModuleOptions& options) {
  std::lock_guard lock(m_mutex);
  if (m_file.empty()) throw Error("No acquisition module file is registered.");
  // The handle is kept for the life of the process: module objects and the
  // threads they run must never outlive their code.
  void* handle = dlopen(m_file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle) {
    const char* why = dlerror();
    throw Error(vxFormat("Cannot load the acquisition module %s: %s", m_file.c_str(),
                         why ? why : "unknown error"));
  }
  auto entry = reinterpret_cast<vx_ModuleEntryFn>(dlsym(handle, PRALIX_MODULE_ENTRY_NAME));
  if (!entry) {
    dlclose(handle);
    throw Error(vxFormat("%s is not a DCAM acquisition module: it has no %s entry.",
                         m_file.c_str(), PRALIX_MODULE_ENTRY_NAME));
  }
  const vx_ModuleEntry* info = entry();
  if (!info || info->interfaceVersion != kModuleInterfaceVersion || !info->create) {
    const unsigned version = info ? info->interfaceVersion : 0;
    dlclose(handle);
    throw Error(vxFormat("The acquisition module %s speaks interface version %u; this program "
                         "knows only version %u. Install the module that came with the program.",
                         m_file.c_str(), version, kModuleInterfaceVersion));
  }
  char error[1024] = "";
  vx_DcamModule* created = info->create(&options, error, sizeof error);
  if (!created)
    throw Error(vxFormat("The acquisition module %s could not start: %s", m_file.c_str(),
                         error[0] ? error : "no reason given"));
  m_module.reset(created);
  return *m_module;
}

vx_DcamModule& vx_ModuleRegistry::module() {
  std::lock_guard lock(m_mutex);
  return m_module ? *m_module : *m_empty;
}

bool vx_ModuleRegistry::hasModule() const {
  std::lock_guard lock(m_mutex);
  return m_module != nullptr;
}

void vx_ModuleRegistry::setModule(std::unique_ptr<vx_DcamModule> module) {
  std::lock_guard lock(m_mutex);
  m_module = std::move(module);
}
