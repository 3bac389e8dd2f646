// What every pralix subcommand shares.
#include "cli/cli_context.h"

#include <algorithm>
#include <cmath>
#include <ostream>

#include <CLI/CLI.hpp>

#include "acquisition/module_loader.h"
#include "app/module_startup.h"
#include "base/format.h"

vx_DcamModule& CliContext::module() {
  if (!m_started) {
    m_started = true;
    vxModuleStartup startup = vxStartAcquisitionModule(vxModuleOptionsFor(m_simulate));
    m_refusedProfiles = !startup.refusedProfiles.empty();
    m_busNotices = std::move(startup.busNotices);
    // Bus notices wait until they help; everything else is said now.
    for (const std::string& line : startup.messages)
      if (std::find(m_busNotices.begin(), m_busNotices.end(), line) == m_busNotices.end())
        m_err << "pralix: " << line << '\n';
  }
  return vxAcquisitionModule();
}

void CliContext::printBusNotices() {
  module();
  for (const std::string& line : m_busNotices) m_err << "pralix: " << line << '\n';
  m_busNotices.clear();
}

int CliContext::fail(const std::string& message) {
  m_err << message << '\n';
  return kExitFailure;
}

bool CliContext::checkCamera(int number) {
  const int count = module().cameraCount();
  if (number >= 0 && number < count) return true;
  printBusNotices();
  if (count == 0)
    m_err << "No DCAM camera found." << '\n';
  else
    m_err << vxFormat("No camera %d: there %s %d camera%s (0 to %d).", number,
                      count == 1 ? "is" : "are", count, count == 1 ? "" : "s", count - 1)
          << '\n';
  return false;
}

unsigned long long parseHexArgument(const std::string& text, const char* what, unsigned long long max) {
  unsigned long long value = 0;
  size_t i = 0;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) i = 2;
  // The whole argument must be hexadecimal: a typing slip is an error here,
  // not a silently shortened number.
  if (i == text.size() || text.find_first_not_of("0123456789abcdefABCDEF", i) != std::string::npos ||
      !vxParseHex(text, value) || value > max)
    throw CLI::ValidationError(what, vxFormat("'%s' is not a hexadecimal %s of at most %llX", text.c_str(),
                                              what, max));
  return value;
}

const CLI::Validator& vxFiniteNumber() {
  static const CLI::Validator finite(
      [](std::string& text) {
        double value = 0.0;
        // What the option parser reads (it takes "nan" and "inf" for numbers); words it refuses
        // itself are left to it.
        if (CLI::detail::lexical_cast(text, value) && !std::isfinite(value))
          return std::string("must be a finite number, not '") + text + "'";
        return std::string();
      },
      "FINITE");
  return finite;
}
