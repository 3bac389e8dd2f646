// JUnit XML output of a validation run.
#include "validation/validation_report.h"

#include "base/format.h"

std::string vxXmlEscape(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    const auto u = static_cast<unsigned char>(c);
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\'': out += "&apos;"; break;
      default:
        if (u < 0x20 && c != '\n' && c != '\t' && c != '\r') break;
        out += c;
    }
  }
  return out;
}

std::string vxValidationJUnit(const std::string& suiteName, const std::vector<vxValidationOutcome>& outcomes,
                              const std::string& reportText) {
  int tests = 0, failures = 0, skipped = 0;
  double total = 0.0;
  for (const vxValidationOutcome& outcome : outcomes) {
    if (!outcome.ran) continue;
    ++tests;
    if (!outcome.passed) ++failures;
    if (outcome.passed && outcome.skipped) ++skipped;
    total += outcome.seconds;
  }
  std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  xml += vxFormat("<testsuite name=\"%s\" tests=\"%d\" failures=\"%d\" errors=\"0\" skipped=\"%d\" time=\"%.3f\">\n",
                  vxXmlEscape(suiteName).c_str(), tests, failures, skipped, total);
  for (const vxValidationOutcome& outcome : outcomes) {
    if (!outcome.ran) continue;
    xml += vxFormat("  <testcase name=\"%s\" classname=\"%s\" time=\"%.3f\"", outcome.key.c_str(),
                    vxXmlEscape(suiteName).c_str(), outcome.seconds);
    std::string lines;
    for (const std::string& line : outcome.lines) {
      const std::string text = vxValidationLineText(line);
      if (!text.empty()) lines += text + "\n";
    }
    if (!outcome.passed) {
      const std::string message = lines.empty() ? std::string("Test failed") : lines.substr(0, lines.find('\n'));
      xml += vxFormat(">\n    <failure message=\"%s\" type=\"failure\">%s</failure>\n  </testcase>\n",
                      vxXmlEscape(message).c_str(), vxXmlEscape(lines).c_str());
    } else if (outcome.skipped) {
      xml += ">\n    <skipped/>\n  </testcase>\n";
    } else {
      xml += "/>\n";
    }
  }
  xml += "  <system-out>" + vxXmlEscape(reportText) + "</system-out>\n";
  xml += "</testsuite>\n";
  return xml;
}
