// CReportPage: a page that builds one camera's text report on a worker thread and shows it whole.
#pragma once

#include <QString>
#include <QWidget>

#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "gui/page_services.h"
#include "gui/queued_calls.h"
#include "utilities/report_text.h"

class QLineEdit;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class vxCameraEntry;

// The register dump and the capabilities report share everything but the
// builder: camera selection, the action button, the busy cursor and progress
// while the report is built, the text shown only when complete, and Copy and
// Save As for sending the report on.
class CReportPage : public QWidget {
  Q_OBJECT
 public:
  // Builds the report of the camera. Runs on the worker thread, so it touches
  // no widget; the entry stays alive for as long as it runs.
  using Builder =
      std::function<std::string(const vxCameraEntry& camera, const vxReportProgress& progress)>;
  // Asks for the file to save the report into; an empty name cancels.
  using FileNamePrompt = std::function<QString(QWidget* parent, const QString& suggested)>;

  ~CReportPage() override;

  const std::shared_ptr<vxCameraEntry>& selectedCamera() const { return m_selectedCamera; }
  // The last complete report as built, with CR LF between its lines.
  const std::string& report() const { return m_report; }
  bool isBuilding() const { return m_worker.joinable(); }
  // The last build stopped with an error; the report before it is still shown.
  bool lastBuildFailed() const { return m_lastBuildFailed; }
  void setFileNamePrompt(FileNamePrompt prompt) { m_fileNamePrompt = std::move(prompt); }

 public slots:
  void selectCamera();
  // Starts building the report; does nothing without a camera or while a
  // report is being built.
  void buildReport();
  void copyReport();
  void saveReport();

 signals:
  // The worker has ended and the page shows its outcome.
  void reportFinished();

 protected:
  CReportPage(const CPageServices& services, const char* caption, const QString& actionText,
              const QString& actionName, const QString& suggestedFileName, Builder builder,
              QWidget* parent);

 private:
  void setBusy(bool busy);
  void showProgress(double fraction);
  void finish(std::string report, QString error);
  void joinWorker();

  CPageServices m_services;
  const Builder m_builder;
  const QString m_suggestedFileName;
  FileNamePrompt m_fileNamePrompt;
  std::shared_ptr<vxCameraEntry> m_selectedCamera;
  std::string m_report;
  bool m_cursorOverridden = false;
  bool m_lastBuildFailed = false;

  QLineEdit* m_cameraName;
  QPushButton* m_selectButton;
  QPushButton* m_actionButton;
  QPushButton* m_copyButton;
  QPushButton* m_saveButton;
  QProgressBar* m_progress;
  QPlainTextEdit* m_text;

  std::thread m_worker;
  // Closed first thing in the destructor: nothing the worker posts after the
  // page starts going away reaches it.
  CQueuedCalls m_calls{this};
};
