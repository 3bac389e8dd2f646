// The acquisition module: the camera list, bus events and the plugin boundary.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "acquisition/bus_event.h"
#include "acquisition/dcam_camera.h"

class vx_SimBusControl;

// What the program asks of the module when it creates it.
struct vx_ModuleOptions {
  // Add the simulated camera bus.
  bool simulate = false;
  // Profiles of the simulated cameras: names looked up in profileDirs, or
  // paths of profile files. Empty means the built-in default set.
  std::vector<std::string> simulatedProfiles;
  std::vector<std::string> profileDirs;
  // Use the real bus layers (libdc1394) when they are built in.
  bool realBus = true;
};

// The DCAM acquisition module as loaded from its plugin.
class vx_DcamModule {
 public:
  class Error : public vxException {
   public:
    using vxException::vxException;
  };
  virtual ~vx_DcamModule() = default;

  virtual std::string name() const = 0;
  virtual std::string version() const = 0;
  // One line per bus layer in use, for the user ("simulated bus: 3 cameras").
  virtual std::vector<std::string> busLayers() const = 0;
  // Messages about bus layers that could not be used, in words a user can
  // act on; empty when everything came up.
  virtual std::vector<std::string> notices() const = 0;
  // One message per simulated camera profile the module refused (it names
  // the file and the fault); the module runs without those cameras.
  virtual std::vector<std::string> refusedProfiles() const { return {}; }

  // Cameras in the module's order: real ones first, then simulated ones.
  virtual int cameraCount() const = 0;
  // Throws Error when number is negative or not less than cameraCount().
  virtual vx1394DCAM& camera(int number) = 0;

  // The callback is called on a thread of the module once per unplug and
  // once per bus reset of that camera. Returns an id for unregistering.
  virtual int registerBusEventCallback(int cameraNumber, vxDcamBusEventCallback callback) = 0;
  // Unregisters a callback of either kind; once it returns the callback is
  // not running and will not run again.
  virtual void unregisterBusEventCallback(int id) = 0;

  // The callback is called on the module's event thread once per camera
  // that arrives on a bus (plugged in while the program runs, new or
  // returning) or leaves it. A camera that arrives is given the next free
  // camera number, so cameraCount() grows and numbers already handed out
  // keep their cameras; a returning camera keeps its number. A module whose
  // camera list never changes may return 0 and never call it.
  virtual int registerPresenceCallback(vxDcamPresenceCallback callback) {
    (void)callback;
    return 0;
  }

  // The simulated bus's fault controls; null when no simulated bus is in use.
  virtual vx_SimBusControl* simControl() = 0;
};

// The one C entry a module plugin exports.
constexpr uint32_t kModuleInterfaceVersion = 3;
struct vx_ModuleEntry {
  uint32_t interfaceVersion;
  // Returns null on failure and leaves a message in error.
  vx_DcamModule* (*create)(const vx_ModuleOptions* options, char* error, size_t errorSize);
};
#define PRALIX_MODULE_ENTRY_NAME "pralix_module_entry"
extern "C" {
typedef const vx_ModuleEntry* (*vx_ModuleEntryFn)(void);
}
