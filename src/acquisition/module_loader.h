// Finding, loading and holding the acquisition module plugin.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "acquisition/dcam_module.h"

// The process-wide module registry. The program registers the module once
// while it starts; a missing module file is no error, there are then just no
// cameras.
class vx_ModuleRegistry {
 public:
  class Error : public vxException {
   public:
    using vxException::vxException;
  };

  static constexpr const char* kBaseName = "qrvnvdcam";
  static constexpr const char* kSuffixes[2] = {"_x64_.so", "_x64r.so"};

  static vx_ModuleRegistry& instance();

  // The folder searched for module files: PRALIX_MODULE_DIR when set, else
  // the folder of the running program when the module sits there (a build
  // tree), else the install's module folder.
  static std::string defaultModuleDirectory();
  std::string moduleDirectory() const;
  void setModuleDirectory(const std::string& dir);

  // Looks for baseName + "_x64_.so", and only when that is missing for
  // baseName + "_x64r.so", in the module directory only. Returns true when a
  // file was found (and for an empty base name, which registers nothing).
  bool registerModule(const std::string& baseName = kBaseName);
  // The file registerModule found; empty when none.
  std::string registeredFile() const;

  // Loads the registered file and creates its module. Throws Error with a
  // message naming the file when it is no module plugin, speaks an interface
  // version this program does not know, or refuses the options.
  vx_DcamModule& load(const vx_ModuleOptions& options);

  // The loaded module, or an empty one without cameras when none is loaded.
  vx_DcamModule& module();
  bool hasModule() const;
  // Replaces the module, for tests that link the module's code directly.
  void setModule(std::unique_ptr<vx_DcamModule> module);

 private:
  vx_ModuleRegistry();
  mutable std::mutex m_mutex;
  std::string m_dir;
  std::string m_file;
  std::unique_ptr<vx_DcamModule> m_module;
  std::unique_ptr<vx_DcamModule> m_empty;
};

// Shorthand for the loaded module.
inline vx_DcamModule& vxAcquisitionModule() { return vx_ModuleRegistry::instance().module(); }
