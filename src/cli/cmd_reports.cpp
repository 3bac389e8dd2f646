// pralix dump and caps: the register dump and the capabilities report as text.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <ostream>

#include "base/format.h"
#include "cli/cli_options.h"
#include "cli/commands.h"
#include "utilities/capabilities_report.h"
#include "utilities/register_dump.h"

namespace {

#ifdef _WIN32
constexpr const char* kPlatformLineEnd = "\r\n";
#else
constexpr const char* kPlatformLineEnd = "\n";
#endif

// The reports put CR LF before each line; a text file of this platform wants
// its own line end, and a last line that is terminated.
std::string withLineEnds(const std::string& report, const std::string& lineEnd) {
  std::string text;
  text.reserve(report.size() + 2);
  for (size_t i = 0; i < report.size(); ++i) {
    if (report[i] == '\r' && i + 1 < report.size() && report[i + 1] == '\n') {
      text += lineEnd;
      ++i;
    } else {
      text += report[i];
    }
  }
  if (text.size() < lineEnd.size() || text.compare(text.size() - lineEnd.size(), lineEnd.size(), lineEnd) != 0)
    text += lineEnd;
  return text;
}

std::string systemError(const std::string& what, const std::string& path) {
  return vxFormat("Cannot %s %s: %s", what.c_str(), path.c_str(), std::strerror(errno));
}

// Writes the whole text to a temporary file beside path and renames it over
// path, so a reader never sees half a report and an old file survives a
// failed write. Returns an empty string or the reason it failed.
std::string writeFileAtomically(const std::string& path, const std::string& text) {
  const std::filesystem::path target(path);
  const std::filesystem::path folder = target.has_parent_path() ? target.parent_path() : ".";
  std::string temp = (folder / ("." + target.filename().string() + ".XXXXXX")).string();
  const int fd = ::mkstemp(temp.data());
  if (fd < 0) return systemError("create a temporary file in", folder.string());
  // mkstemp makes the file private; a report is an ordinary file.
  const mode_t mask = ::umask(0);
  ::umask(mask);
  std::string failure;
  if (::fchmod(fd, 0666 & ~mask) != 0) failure = systemError("set the permissions of", temp);
  size_t done = 0;
  while (failure.empty() && done < text.size()) {
    const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) failure = systemError("write", temp);
    else done += static_cast<size_t>(n);
  }
  if (failure.empty() && ::fsync(fd) != 0) failure = systemError("write", temp);
  if (::close(fd) != 0 && failure.empty()) failure = systemError("write", temp);
  if (failure.empty() && ::rename(temp.c_str(), path.c_str()) != 0) failure = systemError("write", path);
  if (!failure.empty()) ::unlink(temp.c_str());
  return failure;
}

}  // namespace

CLI::App* ReportCommand::addReportOptions(CLI::App* sub) {
  sub->add_option("-c,--camera", m_camera, "Camera number, as `pralix list` shows it")
      ->default_val(0)
      ->check(vxAtLeast(0));
  sub->add_option("-o,--output", m_outputFile,
                  "Write the report to this file instead of standard output; the file is replaced "
                  "only once the whole report is written");
  sub->add_flag("--crlf", m_crlf, "Keep the report's CR LF line ends");
  return sub;
}

int ReportCommand::run(CliContext& context) {
  if (!context.checkCamera(m_camera)) return kExitFailure;
  warnBeforeBuilding(context);
  m_failures.clear();
  const std::string text = withLineEnds(build(context), m_crlf ? "\r\n" : kPlatformLineEnd);
  if (m_outputFile.empty()) {
    context.out() << text << std::flush;
  } else {
    const std::string failure = writeFileAtomically(m_outputFile, text);
    if (!failure.empty()) return context.fail(failure);
  }
  // The report shows a failed read as 0 or leaves it out; what failed, and
  // why, is said here.
  if (m_failures.empty()) return kExitOk;
  for (const std::string& line : m_failures) context.err() << line << '\n';
  return context.fail(vxFormat("%zu register access%s failed while the report was built.",
                               m_failures.size(), m_failures.size() == 1 ? "" : "es"));
}

CLI::App* DumpCommand::setup(CLI::App& app) {
  CLI::App* sub = app.add_subcommand(
      "dump",
      "Print the register dump: capabilities, every supported mode, features, Format_7, I/O, the "
      "configuration ROM and the raw registers. It changes the camera's settings");
  return addReportOptions(sub);
}

void DumpCommand::warnBeforeBuilding(CliContext& context) {
  context.err() << vxFormat("Warning (camera %d): %s", m_camera,
                            vxRegisterDumpBuilder::changesWarning())
                << std::endl;
}

std::string DumpCommand::build(CliContext& context) {
  vxRegisterDumpBuilder builder(m_camera, context.module());
  std::string text = builder.build();
  m_failures = builder.failures().lines();
  return text;
}

CLI::App* CapsCommand::setup(CLI::App& app) {
  CLI::App* sub = app.add_subcommand(
      "caps",
      "Print the capabilities report: formats, modes and frame rates, Format_7 colour codings, "
      "exposure notes, strobe lines and the time one register read and write take");
  return addReportOptions(sub);
}

std::string CapsCommand::build(CliContext& context) {
  vxCapabilitiesReportBuilder builder(m_camera, context.module());
  std::string text = builder.build();
  m_failures = builder.failures().lines();
  return text;
}
