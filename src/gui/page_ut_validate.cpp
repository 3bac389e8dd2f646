// CPageUTValidate: runs the validation suite against one camera.
#include "gui/page_ut_validate.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QVBoxLayout>

#include <exception>

#include "acquisition/sim_control.h"
#include "acquisition/video_format.h"
#include "app/camera_list.h"
#include "gui/page_widgets.h"
#include "gui/prompter.h"
#include "gui/select_dcam_dlg.h"
#include "validation/validation_suite.h"

namespace {

QString askSaveFileName(QWidget* parent, const QString& suggested) {
  return QFileDialog::getSaveFileName(parent, "Save As", suggested,
                                      "Text files (*.txt);;All files (*)");
}

}  // namespace

CPageUTValidate::CPageUTValidate(const CPageServices& services, QWidget* parent)
    : QWidget(parent), m_services(services), m_fileNamePrompt(askSaveFileName) {
  setWindowTitle(kCaption);
  auto* layout = new QVBoxLayout(this);
  addPageHeading(layout, kCaption);
  addFixedText(
      layout,
      "Check how well a DCAM works with Qorvel software. Select the DCAM and video format.  All "
      "tests run by default. Or, enable \"Specify Test\" and select 1 test to run.");
  const CCameraRow row = addCameraRow(layout);
  m_cameraName = row.name;
  m_selectButton = row.select;

  auto* formatRow = new QHBoxLayout;
  auto* formatLabel = new QLabel("Video Format");
  m_formats = new QComboBox;
  m_formats->setObjectName("formatList");
  formatLabel->setBuddy(m_formats);
  formatRow->addWidget(formatLabel);
  formatRow->addWidget(m_formats, 1);
  layout->addLayout(formatRow);

  auto* controls = new QHBoxLayout;
  m_specify = new QCheckBox("Specify Test");
  m_specify->setObjectName("specifyTest");
  controls->addWidget(m_specify);
  m_tests = new QComboBox;
  m_tests->setObjectName("testList");
  for (const std::string& key : vxValidationSuite::keys()) m_tests->addItem(QString::fromStdString(key));
  m_tests->setCurrentText("reportInfo");
  controls->addWidget(m_tests, 1);
  m_startButton = makeButton("Start Tests", "startButton");
  m_stopButton = makeButton("Stop", "stopButton");
  controls->addWidget(m_startButton);
  controls->addWidget(m_stopButton);
  layout->addLayout(controls);

  auto* resultsBox = new QGroupBox("Test Results");
  auto* resultsLayout = new QVBoxLayout(resultsBox);
  m_results = new QPlainTextEdit;
  m_results->setObjectName("testResults");
  m_results->setReadOnly(true);
  m_results->setLineWrapMode(QPlainTextEdit::NoWrap);
  QFont fixed("Monospace");
  fixed.setStyleHint(QFont::TypeWriter);
  m_results->setFont(fixed);
  resultsLayout->addWidget(m_results, 1);
  auto* resultActions = new QHBoxLayout;
  m_copyButton = makeButton("Copy", "copyButton");
  m_saveButton = makeButton("Save As...", "saveButton");
  resultActions->addStretch(1);
  resultActions->addWidget(m_copyButton);
  resultActions->addWidget(m_saveButton);
  resultsLayout->addLayout(resultActions);
  layout->addWidget(resultsBox, 1);

  connect(m_selectButton, &QPushButton::clicked, this, &CPageUTValidate::selectCamera);
  connect(m_specify, &QCheckBox::toggled, this, &CPageUTValidate::updateButtons);
  connect(m_startButton, &QPushButton::clicked, this, &CPageUTValidate::startTests);
  connect(m_stopButton, &QPushButton::clicked, this, &CPageUTValidate::stopTests);
  connect(m_copyButton, &QPushButton::clicked, this, &CPageUTValidate::copyResults);
  connect(m_saveButton, &QPushButton::clicked, this, &CPageUTValidate::saveResults);

  m_cameraName->setText(kPleaseSelectCamera);
  updateButtons();
}

CPageUTValidate::~CPageUTValidate() {
  // A test in progress cannot be interrupted; the camera it uses must outlive it.
  m_calls.close();
  if (m_suite) m_suite->requestStop();
  if (m_worker.joinable()) m_worker.join();
}

void CPageUTValidate::updateButtons() {
  const bool running = isRunning();
  m_selectButton->setEnabled(!running);
  m_formats->setEnabled(!running && m_formats->count() > 0);
  m_specify->setEnabled(!running);
  m_tests->setEnabled(!running && m_specify->isChecked());
  m_startButton->setEnabled(!running && m_selectedCamera);
  m_stopButton->setEnabled(running && !(m_suite && m_suite->stopRequested()));
  const bool haveResults = !m_results->document()->isEmpty();
  m_copyButton->setEnabled(!running && haveResults);
  m_saveButton->setEnabled(!running && haveResults);
}

void CPageUTValidate::selectCamera() {
  if (isRunning()) return;
  std::shared_ptr<vxCameraEntry> entry = chooseCameraForPage(m_services, this, m_cameraName);
  if (!entry) return;
  m_selectedCamera = std::move(entry);
  m_formats->clear();
  try {
    vx1394DCAM& camera = m_selectedCamera->module().camera(m_selectedCamera->cameraNumber());
    for (const std::string& name : vxVideoFormat::supportedNames(camera))
      m_formats->addItem(QString::fromStdString(name));
  } catch (const std::exception& e) {
    m_services.prompter->error(
        this, QString("The video formats of the camera could not be read: %1").arg(e.what()));
  }
  if (m_formats->count() > 0) m_formats->setCurrentIndex(0);
  updateButtons();
}

void CPageUTValidate::startTests() {
  if (!m_selectedCamera || isRunning()) return;
  m_results->clear();
  m_lastRunPassed = false;

  vxValidationTarget target;
  vx_DcamModule& module = m_selectedCamera->module();
  target.module = &module;
  double timeScale = 0.0;
  bool simulated = false;
  try {
    target.camera = &module.camera(m_selectedCamera->cameraNumber());
    if (vx_SimBusControl* sim = module.simControl();
        sim && target.camera->identity().busLayer == "simulated") {
      simulated = true;
      timeScale = sim->timeScale();
    }
  } catch (const std::exception&) {
    // A camera that went away: the suite runs without one, and its tests say so.
    target.camera = nullptr;
  }
  target.cameraDescription = m_selectedCamera->displayName();
  target.formatText = m_formats->currentText().left(300).toStdString();
  target.programVersion = vxValidationVersionText(PRALIX_VERSION);

  const CQueuedCalls::Post post = m_calls.poster();
  m_suite = std::make_shared<vxValidationSuite>(target, [this, post](std::string line) {
    post([this, line = std::move(line)] { appendLine(line); });
  });
  if (simulated) m_suite->followTimeScale(timeScale);

  const bool specify = m_specify->isChecked();
  const std::string selectedKey = m_tests->currentText().toStdString();
  // The worker keeps the camera entry and the suite alive for as long as it runs.
  m_worker = std::thread([this, post, suite = m_suite, camera = m_selectedCamera, specify,
                          selectedKey] {
    bool passed = false;
    try {
      passed = suite->run(specify, selectedKey);
    } catch (const std::exception& e) {
      // The tests catch what the library throws; anything else still ends the run cleanly.
      const std::string line = std::string("Unexpected exception: ") + e.what();
      post([this, line] { appendLine(line); });
    }
    post([this, passed] { finish(passed); });
  });
  updateButtons();
}

void CPageUTValidate::stopTests() {
  if (!isRunning() || !m_suite) return;
  m_suite->requestStop();
  // The worker ends after the test in progress and then tells the page; the
  // page stays responsive meanwhile instead of blocking on the join.
  updateButtons();
}

void CPageUTValidate::appendLine(const std::string& posted) {
  const QString line = QString::fromStdString(vxValidationLineText(posted));
  m_results->appendPlainText(line);
  m_results->verticalScrollBar()->setValue(m_results->verticalScrollBar()->maximum());
  emit lineAppended(line);
}

void CPageUTValidate::finish(bool passed) {
  if (m_worker.joinable()) m_worker.join();
  m_lastRunPassed = passed;
  m_suite.reset();
  updateButtons();
  emit suiteFinished();
}

QString CPageUTValidate::results() const { return m_results->toPlainText(); }

void CPageUTValidate::copyResults() {
  if (isRunning()) return;
  QApplication::clipboard()->setText(results());
}

void CPageUTValidate::saveResults() {
  if (isRunning() || m_results->document()->isEmpty()) return;
  const QString fileName = m_fileNamePrompt(this, QDir::home().filePath("validation.txt"));
  if (fileName.isEmpty()) return;
  QString reason;
  if (!writeTextFile(fileName, results() + "\n", &reason))
    m_services.prompter->error(
        this, QString("The results could not be saved to \"%1\": %2").arg(fileName, reason));
}
