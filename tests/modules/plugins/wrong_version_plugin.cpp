// A module plugin that speaks an interface version the loader does not know.
#include "acquisition/dcam_module.h"

namespace {

vx_DcamModule* createNothing(const vx_ModuleOptions*, char*, size_t) {
  return nullptr;
}
const vx_ModuleEntry kEntry = {kModuleInterfaceVersion + 41, &createNothing};

}  // namespace

extern "C" __attribute__((visibility("default"))) const vx_ModuleEntry* pralix_module_entry(void) {
  return &kEntry;
}
