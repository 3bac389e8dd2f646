// The plugin's one exported C entry: interface version and module factory.
#include <cstdio>
#include <exception>
#include <string_view>

#include "acquisition/dcam_module.h"
#include "modules/qrvnvdcam/module.h"

namespace {

vx_DcamModule* createModule(const vx_ModuleOptions* options, char* error, size_t errorSize) {
  try {
    return new vx_QrvnvDcamModule(options ? *options : vx_ModuleOptions{});
  } catch (const std::exception& e) {
    // Nothing may cross the C boundary as an exception.
    if (error && errorSize) std::snprintf(error, errorSize, "%s", e.what());
  } catch (...) {
    if (error && errorSize) std::snprintf(error, errorSize, "%s", "unknown failure");
  }
  return nullptr;
}

const vx_ModuleEntry kEntry = {kModuleInterfaceVersion, &createModule};

}  // namespace

static_assert(std::string_view(PRALIX_MODULE_ENTRY_NAME) == "pralix_module_entry",
              "the exported function below must carry the entry name the loader looks up");

extern "C" __attribute__((visibility("default"))) const vx_ModuleEntry* pralix_module_entry(void) {
  return &kEntry;
}
