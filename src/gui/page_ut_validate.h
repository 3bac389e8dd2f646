// CPageUTValidate: runs the validation suite against one camera.
#pragma once

#include <QString>
#include <QWidget>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "gui/page_services.h"
#include "gui/queued_calls.h"

class QCheckBox;
class QComboBox;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class vxCameraEntry;
class vxValidationSuite;

// The user picks a camera and one of its video formats and starts the suite;
// a worker runs the tests one after the other and every line it posts is
// appended to "Test Results" as it comes. Stop takes effect between tests.
class CPageUTValidate : public QWidget {
  Q_OBJECT
 public:
  static constexpr const char* kCaption = "Diagnostic Utlities::Validate";
  // Asks for the file to save the results into; an empty name cancels.
  using FileNamePrompt = std::function<QString(QWidget* parent, const QString& suggested)>;

  explicit CPageUTValidate(const CPageServices& services, QWidget* parent = nullptr);
  ~CPageUTValidate() override;

  bool isRunning() const { return m_worker.joinable(); }
  // Whether the last finished run passed every test it ran.
  bool lastRunPassed() const { return m_lastRunPassed; }
  void setFileNamePrompt(FileNamePrompt prompt) { m_fileNamePrompt = std::move(prompt); }
  // The results as shown, one posted line per text line.
  QString results() const;

 public slots:
  void selectCamera();
  void startTests();
  // Sets the stop flag: the test in progress finishes, no other test starts.
  void stopTests();
  void copyResults();
  void saveResults();

 signals:
  // The worker has ended and the page is ready for another run.
  void suiteFinished();
  // A line was appended to the results (for those who follow the run).
  void lineAppended(const QString& line);

 private:
  void appendLine(const std::string& posted);
  void finish(bool passed);
  void updateButtons();

  CPageServices m_services;
  FileNamePrompt m_fileNamePrompt;
  std::shared_ptr<vxCameraEntry> m_selectedCamera;
  bool m_lastRunPassed = false;

  QLineEdit* m_cameraName;
  QPushButton* m_selectButton;
  QComboBox* m_formats;
  QCheckBox* m_specify;
  QComboBox* m_tests;
  QPushButton* m_startButton;
  QPushButton* m_stopButton;
  QPushButton* m_copyButton;
  QPushButton* m_saveButton;
  QPlainTextEdit* m_results;

  // The suite of the run in progress; the page reaches it only to set the
  // stop flag, which the suite reads between tests.
  std::shared_ptr<vxValidationSuite> m_suite;
  std::thread m_worker;
  CQueuedCalls m_calls{this};
};
