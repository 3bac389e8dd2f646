// CReportPage: a page that builds one camera's text report on a worker thread and shows it whole.
#include "gui/report_page.h"

#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include <exception>

#include "app/camera_list.h"
#include "gui/page_widgets.h"
#include "gui/prompter.h"
#include "gui/select_dcam_dlg.h"

namespace {

// Progress is shown in thousandths: fine enough for a bar, whole numbers for Qt.
constexpr int kProgressSteps = 1000;

// The report keeps CR LF in its text; the display and the clipboard use
// plain line feeds, and a saved file gets the platform's line ends.
QString displayText(const std::string& report) {
  return QString::fromStdString(report).replace("\r\n", "\n");
}

QString askSaveFileName(QWidget* parent, const QString& suggested) {
  return QFileDialog::getSaveFileName(parent, "Save As", suggested,
                                      "Text files (*.txt);;All files (*)");
}

}  // namespace

CReportPage::CReportPage(const CPageServices& services, const char* caption,
                         const QString& actionText, const QString& actionName,
                         const QString& suggestedFileName, Builder builder, QWidget* parent)
    : QWidget(parent),
      m_services(services),
      m_builder(std::move(builder)),
      m_suggestedFileName(suggestedFileName),
      m_fileNamePrompt(askSaveFileName) {
  setWindowTitle(caption);
  auto* layout = new QVBoxLayout(this);
  addPageHeading(layout, caption);
  const CCameraRow row = addCameraRow(layout);
  m_cameraName = row.name;
  m_selectButton = row.select;

  auto* actions = new QHBoxLayout;
  m_actionButton = makeButton(actionText, actionName);
  m_copyButton = makeButton("Copy", "copyButton");
  m_saveButton = makeButton("Save As...", "saveButton");
  m_progress = new QProgressBar;
  m_progress->setObjectName("reportProgress");
  m_progress->setRange(0, kProgressSteps);
  m_progress->setVisible(false);
  actions->addWidget(m_actionButton);
  actions->addWidget(m_progress, 1);
  actions->addStretch(0);
  actions->addWidget(m_copyButton);
  actions->addWidget(m_saveButton);
  layout->addLayout(actions);

  m_text = new QPlainTextEdit;
  m_text->setObjectName("reportText");
  m_text->setReadOnly(true);
  m_text->setLineWrapMode(QPlainTextEdit::NoWrap);
  QFont fixed("Monospace");
  fixed.setStyleHint(QFont::TypeWriter);
  m_text->setFont(fixed);
  layout->addWidget(m_text, 1);

  connect(m_selectButton, &QPushButton::clicked, this, &CReportPage::selectCamera);
  connect(m_actionButton, &QPushButton::clicked, this, &CReportPage::buildReport);
  connect(m_copyButton, &QPushButton::clicked, this, &CReportPage::copyReport);
  connect(m_saveButton, &QPushButton::clicked, this, &CReportPage::saveReport);

  m_cameraName->setText(kPleaseSelectCamera);
  m_actionButton->setEnabled(false);
  m_copyButton->setEnabled(false);
  m_saveButton->setEnabled(false);
}

CReportPage::~CReportPage() {
  // The builder cannot be interrupted; the camera it uses must outlive it.
  m_calls.close();
  joinWorker();
  if (m_cursorOverridden) QApplication::restoreOverrideCursor();
}

void CReportPage::joinWorker() {
  if (m_worker.joinable()) m_worker.join();
}

void CReportPage::selectCamera() {
  if (isBuilding()) return;
  std::shared_ptr<vxCameraEntry> entry = chooseCameraForPage(m_services, this, m_cameraName);
  if (!entry) return;
  m_selectedCamera = std::move(entry);
  // The last report stays on show until a new one replaces it.
  m_actionButton->setEnabled(true);
}

void CReportPage::setBusy(bool busy) {
  m_selectButton->setEnabled(!busy);
  m_actionButton->setEnabled(!busy && m_selectedCamera);
  m_copyButton->setEnabled(!busy && !m_report.empty());
  m_saveButton->setEnabled(!busy && !m_report.empty());
  m_progress->setVisible(busy);
  if (busy && !m_cursorOverridden) {
    QApplication::setOverrideCursor(Qt::WaitCursor);
    m_cursorOverridden = true;
  } else if (!busy && m_cursorOverridden) {
    QApplication::restoreOverrideCursor();
    m_cursorOverridden = false;
  }
}

void CReportPage::buildReport() {
  if (!m_selectedCamera || isBuilding()) return;
  // The report on show stays until a new one is complete: a build that fails
  // half way (a camera unplugged) must not take the last good one with it.
  m_lastBuildFailed = false;
  setBusy(true);
  m_progress->setValue(0);

  // The worker owns copies of what it needs and hands back owned values; the
  // calls it posts run on this page's thread, or not at all once it is gone.
  m_worker = std::thread([this, post = m_calls.poster(), builder = m_builder,
                          camera = m_selectedCamera] {
    std::string report;
    QString error;
    try {
      report = builder(*camera, [this, &post](double fraction) {
        post([this, fraction] { showProgress(fraction); });
      });
    } catch (const std::exception& e) {
      report.clear();
      error = QString::fromStdString(e.what());
    }
    post([this, report = std::move(report), error]() mutable { finish(std::move(report), error); });
  });
}

void CReportPage::showProgress(double fraction) {
  m_progress->setValue(static_cast<int>(fraction * kProgressSteps));
}

void CReportPage::finish(std::string report, QString error) {
  joinWorker();
  m_lastBuildFailed = !error.isEmpty();
  if (!m_lastBuildFailed) {
    m_report = std::move(report);
    m_text->setPlainText(displayText(m_report));
  }
  setBusy(false);
  if (m_lastBuildFailed) m_services.prompter->error(this, error);
  emit reportFinished();
}

void CReportPage::copyReport() {
  if (m_report.empty() || isBuilding()) return;
  QApplication::clipboard()->setText(displayText(m_report));
}

void CReportPage::saveReport() {
  if (m_report.empty() || isBuilding()) return;
  const QString suggested = QDir::home().filePath(m_suggestedFileName);
  const QString fileName = m_fileNamePrompt(this, suggested);
  if (fileName.isEmpty()) return;
  QString reason;
  const bool saved = writeTextFile(fileName, displayText(m_report), &reason);
  if (!saved)
    m_services.prompter->error(
        this,
        QString("The report could not be saved to \"%1\": %2").arg(fileName, reason));
}
