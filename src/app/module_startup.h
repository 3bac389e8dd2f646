// Start-up of the acquisition module for both programs: --simulate and
// PRALIX_SIMULATE become module options, then the module is registered and
// loaded.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "acquisition/dcam_module.h"

// simulateArg: the value of --simulate when it was given ("" for the bare
// flag: the built-in profiles); nullopt when not given, in which case the
// environment variable PRALIX_SIMULATE is consulted the same way.
vx_ModuleOptions vxModuleOptionsFor(const std::optional<std::string>& simulateArg);

// The folders searched for profile names: PRALIX_DATA_DIR/profiles when set,
// the source tree's data/profiles (for a build tree), the install's.
std::vector<std::string> vxProfileDirectories();

struct vxModuleStartup {
  bool loaded = false;
  // Lines for the user: why no module was loaded, refused profiles, bus
  // layer notices.
  std::vector<std::string> messages;
  // The parts of messages that are simulated camera profiles refused (the
  // module runs without them) and notices of bus layers that could not be
  // used (no real cameras reachable).
  std::vector<std::string> refusedProfiles;
  std::vector<std::string> busNotices;
};

// Registers the module by its base name in the module directory and loads
// it with the options. A missing module file is no error: the program then
// runs with no cameras and says so in messages. A module that cannot start
// (wrong interface version) and profiles it refused are reported in
// messages too.
vxModuleStartup vxStartAcquisitionModule(const vx_ModuleOptions& options);
