// The register dump report: the camera's whole register picture as text for a person.
#pragma once

#include <string>

#include "acquisition/dcam_module.h"
#include "utilities/report_text.h"

class vx1394DCAM;
class vxDcamCamera;
class vx_DCAMRegisterAccessorPralix;

// Builds the register dump of one camera. The dump is not read-only: it sets
// every supported video mode of formats 0 to 2, switches the brightness, gain
// and shutter properties on and out of automatic mode, and programs each
// Format_7 mode to its full area; the camera is left as the last step put it.
// Failed reads do not stop the dump; they show as 0 or "Not Possible". A
// camera number the module does not know, or a camera whose register
// catalogue cannot be read, raises the module's or the register's error.
class vxRegisterDumpBuilder {
 public:
  vxRegisterDumpBuilder(int cameraNumber, vx_DcamModule& module);

  std::string build(const vxReportProgress& progress = {});
  // The register reads and writes of the last build that failed, with their
  // reasons (the raw sweeps of 0x100-0x7FC and the Format_7 blocks aside,
  // where addresses a camera lacks are expected).
  const vxReportFailures& failures() const { return m_failures; }

  static std::string build(int cameraNumber, vx_DcamModule& module,
                           const vxReportProgress& progress) {
    return vxRegisterDumpBuilder(cameraNumber, module).build(progress);
  }

  // What a dump leaves changed on the camera, in words for the user before
  // the dump runs.
  static const char* changesWarning();

 private:
  struct Context;
  void moduleInfo(Context& c);
  void generalFeatures(Context& c);
  void supportedFormats(Context& c);
  void properties(Context& c);
  void format7Information(Context& c);
  void ioSection(Context& c);
  void configRom(Context& c);
  void rawRegisters(Context& c);
  void format7Raw(Context& c);

  int m_cameraNumber;
  vx_DcamModule& m_module;
  vxReportFailures m_failures;
};
