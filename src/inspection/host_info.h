// What the Information page shows: the versions of the program, the module, libdc1394 and the
// firewire kernel modules, and what is missing on this machine.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/sysfs.h"

class vx_DcamModule;

// A kernel module of the firewire stack as sysfs shows it.
struct vxKernelModuleInfo {
  std::string name;     // "firewire_ohci"
  bool loaded = false;  // present under /sys/module (loaded or built in)
  bool builtIn = false; // part of the kernel image rather than a loaded file
  // Its own version when it states one, else the kernel release (in-tree
  // modules carry the kernel's version); empty when not loaded.
  std::string version;
};

vxKernelModuleInfo vxReadKernelModule(const vxSysfs& sysfs, const std::string& name,
                                      const std::string& kernelRelease);
// The running kernel's release ("6.1.0-13-amd64").
std::string vxKernelRelease();
// The file of a library loaded into this process whose name contains part
// ("libdc1394"), with symbolic links resolved; nullopt when none is loaded.
std::optional<std::string> vxLoadedLibraryFile(const std::string& part);

struct vxHostInfoSources {
  const vxSysfs* sysfs = nullptr;
  std::string kernelRelease;
  // The loaded libdc1394 file; nullopt when no libdc1394 is loaded.
  std::optional<std::string> dc1394File;
  vx_DcamModule* module = nullptr;  // null when no acquisition module exists
};

// The page's seven texts, filled in the page's start order.
struct vxHostInfo {
  static const char* const kNotes;
  std::string notes;
  std::string programVersion;  // "Qorvel DCAM Pralix version %s"
  std::string moduleLine;      // "%s version %s"; empty keeps the placeholder
  std::string tavVersion;      // "Qorvel TAV version %s"
  std::string libraryLine;     // "libdc1394 library version %s"
  std::string coreLine;        // "Linux firewire-core module version %s"
  std::string ohciLine;        // "Linux firewire-ohci module version %s"
  // The module's failure; when set, the lines after the module line were
  // not filled.
  std::string error;
  vxKernelModuleInfo core;
  vxKernelModuleInfo ohci;
  std::string dc1394File;
  // What keeps acquisition from working here and how to fix it.
  std::vector<std::string> problems;
};

vxHostInfo vxCollectHostInfo(const vxHostInfoSources& sources);
// The sources of this machine: /sys, the running kernel, the loaded libdc1394.
vxHostInfoSources vxLocalHostInfoSources(const vxSysfs& sysfs, vx_DcamModule* module);

// The sysfs root and the device folder of this machine: /sys and /dev, or
// PRALIX_SYSFS_ROOT and PRALIX_DEV_ROOT when set (a copied tree of another
// station, or the tests' fixtures).
std::string vxSysfsRootPath();
std::string vxDevRootPath();
