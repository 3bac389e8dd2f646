// The Information page's data from sysfs, the running kernel and the loaded libraries.
#include "inspection/host_info.h"

#include <link.h>
#include <sys/utsname.h>

#include <cstdlib>
#include <filesystem>

#include "acquisition/dcam_module.h"
#include "base/format.h"
#include "inspection/version_string.h"

const char* const vxHostInfo::kNotes =
    "IEEE 1394 DCAM acquisition is supported on Linux with the firewire-core and firewire-ohci "
    "kernel modules and libdc1394 2.x. Cameras are opened through their /dev/fw* nodes, which "
    "by default only root may use: if cameras are listed but cannot be opened, install the udev "
    "rule shown under Driver Install (Device Permissions ...). If you use several IEEE 1394b or "
    "streaming cameras on a VIA VT6306/VT6307/VT6308 adapter, expect isochronous errors and lost "
    "frames; move the cameras to a Texas Instruments or LSI/Agere adapter to fix them.";

namespace {

int collectLibrary(dl_phdr_info* info, size_t, void* data) {
  auto* wanted = static_cast<std::pair<std::string, std::string>*>(data);
  if (info->dlpi_name && std::string(info->dlpi_name).find(wanted->first) != std::string::npos) {
    wanted->second = info->dlpi_name;
    return 1;
  }
  return 0;
}

}  // namespace

vxKernelModuleInfo vxReadKernelModule(const vxSysfs& sysfs, const std::string& name,
                                      const std::string& kernelRelease) {
  vxKernelModuleInfo info;
  info.name = name;
  const std::string folder = "module/" + name;
  info.loaded = sysfs.isDirectory(folder);
  if (!info.loaded) return info;
  // A module loaded from a file has an initstate; one built into the kernel does not.
  info.builtIn = !sysfs.exists(folder + "/initstate");
  std::optional<std::string> own;
  try {
    own = sysfs.readText(folder + "/version");
  } catch (const vxSysfs::Error&) {
  }
  info.version = own && !own->empty() ? *own : kernelRelease;
  return info;
}

std::string vxKernelRelease() {
  utsname names{};
  if (uname(&names) != 0) return std::string();
  return names.release;
}

std::optional<std::string> vxLoadedLibraryFile(const std::string& part) {
  std::pair<std::string, std::string> wanted{part, std::string()};
  dl_iterate_phdr(collectLibrary, &wanted);
  if (wanted.second.empty()) return std::nullopt;
  std::error_code ec;
  const auto real = std::filesystem::canonical(wanted.second, ec);
  return ec ? wanted.second : real.string();
}

vxHostInfo vxCollectHostInfo(const vxHostInfoSources& sources) {
  vxHostInfo info;
  info.notes = vxHostInfo::kNotes;
  info.programVersion = vxFormat("Qorvel DCAM Pralix version %s", GetOwnVersionString(false).c_str());
  info.tavVersion = vxFormat("Qorvel TAV version %s", GetOwnVersionString(true).c_str());

  if (sources.module) {
    try {
      info.moduleLine = vxFormat("%s version %s", sources.module->name().c_str(),
                                 sources.module->version().c_str());
    } catch (const vxException& e) {
      info.error = e.message();
    } catch (...) {
      info.error = "Error: Exception getting version data.";
    }
  } else {
    info.problems.push_back(
        "No DCAM acquisition module was found: reinstall DCAM Pralix, or start it with --simulate "
        "to work on simulated cameras.");
  }

  const std::string release = sources.kernelRelease;
  if (sources.sysfs) {
    info.core = vxReadKernelModule(*sources.sysfs, "firewire_core", release);
    info.ohci = vxReadKernelModule(*sources.sysfs, "firewire_ohci", release);
  }
  if (sources.dc1394File) info.dc1394File = *sources.dc1394File;
  if (!info.error.empty()) return info;

  const auto moduleVersion = [](const vxKernelModuleInfo& module) {
    if (!module.loaded) return std::string();
    std::string text = GetVersionString(vxParseVersionQuad(module.version), false);
    return text.empty() ? module.version : text + " (" + module.version + ")";
  };
  info.libraryLine = vxFormat(
      "libdc1394 library version %s",
      GetVersionString(sources.dc1394File ? vxVersionFromLibraryFile(*sources.dc1394File) : std::nullopt, false)
          .c_str());
  info.coreLine = vxFormat("Linux firewire-core module version %s", moduleVersion(info.core).c_str());
  info.ohciLine = vxFormat("Linux firewire-ohci module version %s", moduleVersion(info.ohci).c_str());

  if (!info.ohci.loaded)
    info.problems.push_back(
        "The firewire-ohci kernel module is not loaded, so no IEEE 1394 adapter can be used. Plug in "
        "an OHCI 1394 adapter, then load the module as root: modprobe firewire-ohci");
  else if (!info.core.loaded)
    info.problems.push_back(
        "The firewire-core kernel module is not loaded. Load it as root: modprobe firewire-core");
  if (!sources.dc1394File)
    info.problems.push_back(
        "libdc1394 is not loaded, so real cameras cannot be reached. Install it as root: "
        "apt-get install libdc1394-25");
  return info;
}

vxHostInfoSources vxLocalHostInfoSources(const vxSysfs& sysfs, vx_DcamModule* module) {
  vxHostInfoSources sources;
  sources.sysfs = &sysfs;
  sources.kernelRelease = vxKernelRelease();
  sources.dc1394File = vxLoadedLibraryFile("libdc1394");
  sources.module = module;
  return sources;
}

std::string vxSysfsRootPath() {
  const char* root = std::getenv("PRALIX_SYSFS_ROOT");
  return root && *root ? root : "/sys";
}

std::string vxDevRootPath() {
  const char* root = std::getenv("PRALIX_DEV_ROOT");
  return root && *root ? root : "/dev";
}
