// What every pralix subcommand shares: the module, the chosen camera, output.
#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "acquisition/dcam_module.h"

// Exit statuses of the command.
constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;  // the camera or a register access failed
constexpr int kExitUsage = 2;    // the command line was wrong

class CliContext {
 public:
  CliContext(std::ostream& out, std::ostream& err) : m_out(out), m_err(err) {}

  std::ostream& out() { return m_out; }
  std::ostream& err() { return m_err; }

  // Starts the acquisition module once, with --simulate or PRALIX_SIMULATE,
  // and prints to standard error why there is no module and which simulated
  // camera profiles it refused.
  vx_DcamModule& module();
  // Notices of bus layers that could not be used (why no real camera can be
  // reached), printed at most once: by list, and when no camera is found.
  void printBusNotices();
  // Whether the module refused a simulated camera profile; the run then
  // ends with kExitFailure.
  bool refusedProfiles() const { return m_refusedProfiles; }
  void setSimulate(std::optional<std::string> simulate) { m_simulate = std::move(simulate); }

  // Prints "message" to standard error and returns kExitFailure.
  int fail(const std::string& message);

  // The camera number a command works on; refuses a number past the list
  // with a message naming how many cameras there are.
  bool checkCamera(int number);

 private:
  std::ostream& m_out;
  std::ostream& m_err;
  std::optional<std::string> m_simulate;
  bool m_started = false;
  bool m_refusedProfiles = false;
  std::vector<std::string> m_busNotices;
};

namespace CLI {
class Validator;
}
// Refuses NaN and infinity, which the number checks of the option parser let through.
const CLI::Validator& vxFiniteNumber();

// Parses a hexadecimal address or value as the register page accepts it:
// bare digits, a leading 0x allowed. Throws CLI::ValidationError otherwise.
unsigned long long parseHexArgument(const std::string& text, const char* what, unsigned long long max);
