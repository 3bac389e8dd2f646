// CDcamPralixApp: the program's start-up, single instance and shared state.
#pragma once

#include <QString>
#include <QStringList>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

class QByteArray;
class QLockFile;
class QSettings;
class CPrompter;

// The Qt application object itself is created by main() (and by the test
// runner in tests); this object holds what the program adds to it, so that a
// test can build several of them in one process.
class CDcamPralixApp {
 public:
  static constexpr const char* kInstanceLockName = "DPralixInstanceMutex";
  static constexpr const char* kSettingsKey = "Qorvel DCAM Pralix";
  static constexpr const char* kAlreadyRunning = "DCAM Pralix is already running!";
  // Set to 1, the time from the start to the first drawing of the main
  // dialog is written to the error output; set to "exit", the program also
  // ends there, so that the start-up can be timed again and again.
  static constexpr const char* kStartupTimingVariable = "PRALIX_STARTUP_TIMING";

  // arguments: the command line without the program name. lockDirectory:
  // where the instance lock lives; empty means the user's runtime directory.
  CDcamPralixApp(const QStringList& arguments, CPrompter& prompter,
                 const QString& lockDirectory = QString());
  ~CDcamPralixApp();
  CDcamPralixApp(const CDcamPralixApp&) = delete;
  CDcamPralixApp& operator=(const CDcamPralixApp&) = delete;

  // The whole life of the program: refuses a second instance, loads the
  // acquisition module, runs the main dialog. Returns the exit status.
  int run();

  // The single-instance lock, tried without waiting.
  bool lockInstance();
  void unlockInstance();
  bool holdsInstanceLock() const;
  QString instanceLockPath() const;

  // Image acquisitions running now; the main dialog will not close while
  // this is not 0. Acquisition windows count up and down from their threads.
  int runningAcquisitionCount() const { return m_runningAcquisitions.load(); }
  void acquisitionStarted() { ++m_runningAcquisitions; }
  void acquisitionStopped() { --m_runningAcquisitions; }

  const QString& commandLine() const { return m_commandLine; }
  bool legacy() const { return m_legacy; }
  const std::optional<std::string>& simulate() const { return m_simulate; }
  // --screenshots=DIR: save a picture of every page there and end.
  const QString& screenshotDirectory() const { return m_screenshotDirectory; }
  const QStringList& startupMessages() const { return m_startupMessages; }
  // The simulated camera profiles the module refused, each with its reason;
  // the other cameras run without them.
  const QStringList& refusedProfiles() const { return m_refusedProfiles; }
  CPrompter& prompter() const { return m_prompter; }

  // When main() began; start-up is timed from there.
  void setMainEntryTime(std::chrono::steady_clock::time_point entered) { m_mainEntered = entered; }
  // The line written when start-up is timed: the times from main() and,
  // when known, from the process start to the first shown window.
  static QString startupTimingText(std::chrono::steady_clock::duration sinceMain,
                                   std::optional<double> secondsSinceProcessStart);
  // The start of the process in clock ticks after boot, read from the text
  // of /proc/<pid>/stat; nullopt when the text has no such field.
  static std::optional<std::uint64_t> processStartTicks(const QByteArray& stat);
  // Seconds since this process started, to the kernel's clock tick.
  static std::optional<double> secondsSinceProcessStart();

  // Starts the acquisition module the command line asks for, unless one is
  // in place already (a test's). run() does this before the main dialog.
  void startAcquisitionModule();

 private:
  void reportStartupTime() const;

  CPrompter& m_prompter;
  QString m_lockDirectory;
  std::unique_ptr<QLockFile> m_lock;
  std::unique_ptr<QSettings> m_settings;
  std::atomic<int> m_runningAcquisitions{0};
  QString m_commandLine;
  bool m_legacy = false;
  std::optional<std::string> m_simulate;
  QString m_screenshotDirectory;
  QStringList m_startupMessages;
  QStringList m_refusedProfiles;
  bool m_loadedModule = false;
  std::chrono::steady_clock::time_point m_mainEntered = std::chrono::steady_clock::now();
};
