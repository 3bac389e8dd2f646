// The camera capabilities report: formats, Format_7 codings, exposure notes, strobes and access speed.
#pragma once

#include <cstdint>
#include <string>

#include "acquisition/dcam_module.h"
#include "utilities/report_text.h"

// Times register accesses with the steady clock. Starting and stopping it
// costs a little; that cost is measured once (the smallest of a few empty
// start/stop pairs) and taken off every measurement, and the result is
// divided by the number of operations timed.
class vx_AccessStopwatch {
 public:
  vx_AccessStopwatch();
  void reset();
  void setDivisor(uint32_t divisor) { m_divisor = divisor == 0 ? 1 : divisor; }
  void start();
  void stop();
  // Microseconds per operation, never negative.
  double microsecondsPerOperation() const;
  int64_t overheadNanoseconds() const { return m_overhead; }

 private:
  int64_t m_start = 0;
  int64_t m_elapsed = 0;
  int64_t m_overhead = 0;
  uint32_t m_divisor = 1;
};

// Builds the capabilities report of one camera. It changes nothing on the
// camera but the write-back of BRIGHTNESS's unchanged value while timing
// register writes, which it skips when BRIGHTNESS cannot be read.
class vxCapabilitiesReportBuilder {
 public:
  // displayName heads the report; vendorName is searched for the camera makers
  // whose exposure notes differ. Empty texts are taken from the camera's
  // identity ("vendor model" and the vendor).
  vxCapabilitiesReportBuilder(int cameraNumber, vx_DcamModule& module,
                              std::string displayName = {}, std::string vendorName = {});

  std::string build(const vxReportProgress& progress = {});
  // The register reads and writes of the last build that failed, with their reasons.
  const vxReportFailures& failures() const { return m_failures; }

  static std::string build(int cameraNumber, vx_DcamModule& module,
                           const vxReportProgress& progress) {
    return vxCapabilitiesReportBuilder(cameraNumber, module).build(progress);
  }

  // The report's own name tables.
  static const char* modeName(int format, int mode);  // formats 0..2, modes 0..7
  static const char* rateName(int rate);               // 0..7
  static const char* colorCodingName(int id);          // 0..10

 private:
  int m_cameraNumber;
  vx_DcamModule& m_module;
  std::string m_displayName;
  std::string m_vendorName;
  vxReportFailures m_failures;
};
