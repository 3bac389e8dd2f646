// CDcamPralixApp: the program's start-up, single instance and shared state.
#include "gui/dcam_pralix_app.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QLockFile>
#include <QSettings>
#include <QStandardPaths>
#include <QTimer>

#include <cstdio>
#include <ctime>
#include <vector>

#include <unistd.h>

#include "acquisition/module_loader.h"
#include "app/app_command_line.h"
#include "app/camera_list.h"
#include "app/module_startup.h"
#include "gui/main_dialog.h"
#include "gui/page_services.h"
#include "gui/prompter.h"

namespace {

constexpr const char* kApplicationName = "DCAM Pralix";
const QString kScreenshotOption = "--screenshots=";
// The process start is field 22 of /proc/<pid>/stat, the 20th after the
// parenthesised command name.
constexpr int kStartTimeFieldAfterName = 20;

}  // namespace

CDcamPralixApp::CDcamPralixApp(const QStringList& arguments, CPrompter& prompter,
                               const QString& lockDirectory)
    : m_prompter(prompter), m_lockDirectory(lockDirectory) {
  std::vector<std::string> words;
  for (const QString& argument : arguments) {
    words.push_back(argument.toStdString());
    if (argument.startsWith(kScreenshotOption))
      m_screenshotDirectory = argument.mid(kScreenshotOption.size());
  }
  const vxAppCommandLine commandLine = vxParseAppCommandLine(vxJoinArguments(words));
  m_commandLine = QString::fromStdString(commandLine.text);
  m_legacy = commandLine.legacy;
  m_simulate = vxSimulateArgument(words);
  if (m_lockDirectory.isEmpty()) {
    m_lockDirectory = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (m_lockDirectory.isEmpty()) m_lockDirectory = QDir::tempPath();
  }
}

CDcamPralixApp::~CDcamPralixApp() {
  unlockInstance();
}

QString CDcamPralixApp::instanceLockPath() const {
  return QDir(m_lockDirectory).filePath(kInstanceLockName);
}

bool CDcamPralixApp::lockInstance() {
  if (holdsInstanceLock()) return true;
  auto lock = std::make_unique<QLockFile>(instanceLockPath());
  // Only a lock whose process has gone is stale, however old it is.
  lock->setStaleLockTime(0);
  if (!lock->tryLock(0)) return false;
  m_lock = std::move(lock);
  return true;
}

void CDcamPralixApp::unlockInstance() {
  if (m_lock) m_lock->unlock();
  m_lock.reset();
}

bool CDcamPralixApp::holdsInstanceLock() const {
  return m_lock && m_lock->isLocked();
}

void CDcamPralixApp::startAcquisitionModule() {
  // A module put in place beforehand (by a test) is used as it is.
  if (vx_ModuleRegistry::instance().hasModule()) return;
  const vxModuleStartup startup = vxStartAcquisitionModule(vxModuleOptionsFor(m_simulate));
  m_loadedModule = startup.loaded;
  for (const std::string& message : startup.messages)
    m_startupMessages.append(QString::fromStdString(message));
  // A refused profile is said at once on standard error as well: whoever
  // started the program with it is likely to be watching there.
  for (const std::string& refused : startup.refusedProfiles) {
    m_refusedProfiles.append(QString::fromStdString(refused));
    std::fprintf(stderr, "dcam-pralix: %s\n", refused.c_str());
  }
  std::fflush(stderr);
}

QString CDcamPralixApp::startupTimingText(std::chrono::steady_clock::duration sinceMain,
                                          std::optional<double> secondsSinceProcessStart) {
  const double mainMs = std::chrono::duration<double, std::milli>(sinceMain).count();
  QString text =
      QString("Start-up: first window shown %1 ms after main() began").arg(mainMs, 0, 'f', 1);
  if (secondsSinceProcessStart)
    text += QString(", %1 ms after the process started")
                .arg(*secondsSinceProcessStart * 1000.0, 0, 'f', 0);
  return text;
}

std::optional<std::uint64_t> CDcamPralixApp::processStartTicks(const QByteArray& stat) {
  // The command name may hold blanks and parentheses; it ends at the last ')'.
  const qsizetype nameEnd = stat.lastIndexOf(')');
  if (nameEnd < 0) return std::nullopt;
  const QList<QByteArray> fields = stat.mid(nameEnd + 1).simplified().split(' ');
  if (fields.size() < kStartTimeFieldAfterName) return std::nullopt;
  bool ok = false;
  const qulonglong ticks = fields[kStartTimeFieldAfterName - 1].toULongLong(&ok);
  if (!ok) return std::nullopt;
  return ticks;
}

std::optional<double> CDcamPralixApp::secondsSinceProcessStart() {
  QFile file("/proc/self/stat");
  if (!file.open(QIODevice::ReadOnly)) return std::nullopt;
  const std::optional<std::uint64_t> ticks = processStartTicks(file.readAll());
  const long ticksPerSecond = sysconf(_SC_CLK_TCK);
  // The kernel counts the start from boot, suspended time included.
  timespec now{};
  if (!ticks || ticksPerSecond <= 0 || clock_gettime(CLOCK_BOOTTIME, &now) != 0)
    return std::nullopt;
  const double nowSeconds =
      static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
  return nowSeconds - static_cast<double>(*ticks) / static_cast<double>(ticksPerSecond);
}

void CDcamPralixApp::reportStartupTime() const {
  const QString text = startupTimingText(std::chrono::steady_clock::now() - m_mainEntered,
                                         secondsSinceProcessStart());
  std::fprintf(stderr, "%s\n", qPrintable(text));
  std::fflush(stderr);
}

int CDcamPralixApp::run() {
  if (!lockInstance()) {
    m_prompter.error(nullptr, kAlreadyRunning);
    return 1;
  }
  QCoreApplication::setOrganizationName(kSettingsKey);
  QCoreApplication::setApplicationName(kApplicationName);
  m_settings = std::make_unique<QSettings>(kSettingsKey, kApplicationName);
  startAcquisitionModule();

  int status = 0;
  {
    vxCameraList cameras(vxAcquisitionModule());
    CPageServices services;
    services.cameras = &cameras;
    services.prompter = &m_prompter;
    services.settings = m_settings.get();
    services.legacy = m_legacy;
    DcamPralixDlg dialog(*this, services);
    const QString timing = qEnvironmentVariable(kStartupTimingVariable);
    if (!timing.isEmpty() && timing != "0") {
      QObject::connect(&dialog, &DcamPralixDlg::firstShown, &dialog, [this, &dialog, timing] {
        reportStartupTime();
        if (timing == "exit") dialog.done(0);
      });
    }
    if (!m_screenshotDirectory.isEmpty()) {
      QTimer::singleShot(0, &dialog, [&] {
        status = dialog.saveScreenshots(m_screenshotDirectory) > 0 ? 0 : 1;
        dialog.done(0);
      });
    }
    dialog.exec();
  }
  // The module's threads end before the Qt application does.
  if (m_loadedModule) vx_ModuleRegistry::instance().setModule(nullptr);
  m_settings.reset();
  unlockInstance();
  return status;
}
