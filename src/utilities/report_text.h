// The text model the reports share: CR LF before each line, banners as they stand, and progress.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "base/format.h"

// Called with the fraction of the report done (0 to 1, never decreasing) so a
// window can show progress; a command-line caller passes nothing.
using vxReportProgress = std::function<void(double fraction)>;

class vxReportText {
 public:
  // Banners carry their own line breaks.
  void banner(const std::string& text) { m_text += text; }
  void line(const std::string& text) {
    m_text += "\r\n";
    m_text += text;
  }
  void blank() { m_text += "\r\n"; }
  const std::string& text() const { return m_text; }
  std::string take() { return std::move(m_text); }

 private:
  std::string m_text;
};

// Reports progress through an optional callback, clamped and never going back.
class vxReportProgressSink {
 public:
  explicit vxReportProgressSink(vxReportProgress callback) : m_callback(std::move(callback)) {}
  void report(double fraction) {
    fraction = std::clamp(fraction, m_last, 1.0);
    m_last = fraction;
    if (m_callback) m_callback(fraction);
  }

 private:
  vxReportProgress m_callback;
  double m_last = 0.0;
};

// The register accesses that failed while a report was built, one line each
// with the address and the reason. The report text keeps its own rule (a
// failed read is not shown and counts as 0); this list goes beside it so
// that the caller can say what failed and why. An address is listed once.
class vxReportFailures {
 public:
  void add(bool write, uint32_t address, const std::string& reason) {
    std::string text = vxFormat("%s register 0x%X failed", write ? "Writing" : "Reading", address);
    if (!reason.empty()) text += ": " + reason;
    if (std::find(m_lines.begin(), m_lines.end(), text) == m_lines.end())
      m_lines.push_back(std::move(text));
  }
  bool empty() const { return m_lines.empty(); }
  const std::vector<std::string>& lines() const { return m_lines; }

 private:
  std::vector<std::string> m_lines;
};
