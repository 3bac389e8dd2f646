// The text model the reports share: CR LF before each line, banners as they stand, and progress.
#pragma once

#include <algorithm>
#include <functional>
#include <string>
#include <utility>

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
