// DcamPralixDlg: the main dialog.
#include "gui/main_dialog.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QDir>
#include <QEventLoop>
#include <QKeyEvent>
#include <QLabel>
#include <QListWidget>
#include <QMenuBar>
#include <QPushButton>
#include <QSettings>
#include <QThread>
#include <QTimer>
#include <QVBoxLayout>
#include <QWindow>

#include <memory>

#include "acquisition/dcam_module.h"
#include "acquisition/sim_control.h"
#include "app/camera_list.h"
#include "gui/acq_screenshots.h"
#include "gui/acq_windows.h"
#include "gui/bus_event_log.h"
#include "gui/dcam_pralix_app.h"
#include "gui/page_dcam_props.h"
#include "gui/page_formats.h"
#include "gui/page_reg_dump.h"
#include "gui/prompter.h"
#include "gui/prop_sheet.h"
#include "gui/reg_editor.h"
#include "gui/select_dcam_dlg.h"
#include "gui/sim_bus_dlg.h"

namespace {

constexpr const char* kGeometryKey = "mainDialog/geometry";
// How long the pictures wait for a camera's report before giving up on it.
constexpr int kReportTimeoutMs = 120000;
// How often, 10 ms apart, the selection dialog is looked for before giving up.
constexpr int kSelectionDialogTries = 300;

QString slugOf(const QString& caption) {
  QString slug = caption.toLower();
  slug.replace("::", "-");
  for (QChar& c : slug)
    if (!c.isLetterOrNumber() && c != '-') c = '_';
  return slug;
}

QString fileNameFor(int index, const QString& caption) {
  return QString("%1-%2.png").arg(index, 2, 10, QChar('0')).arg(slugOf(caption));
}

// "register_dump-finished.png" for "DCAM Utilites::Register Dump".
QString stateFileName(const QString& caption, const QString& state) {
  return QString("%1-%2.png").arg(slugOf(caption.section("::", -1)), state);
}

// Answers the next camera selection dialog by choosing the row and pressing
// OK, as the user would; a dialog that is still open after that is cancelled.
void chooseInNextSelectionDialog(int row) {
  auto* timer = new QTimer;
  auto tries = std::make_shared<int>(0);
  QObject::connect(timer, &QTimer::timeout, [timer, tries, row] {
    auto* dialog = qobject_cast<CSelectDCAMDlg*>(QApplication::activeModalWidget());
    if (!dialog && ++*tries < kSelectionDialogTries) return;
    timer->stop();
    timer->deleteLater();
    if (!dialog) return;
    if (auto* list = dialog->findChild<QListWidget*>("cameraList"); list && row < list->count()) {
      list->setCurrentRow(row);
      dialog->accept();
    }
    if (dialog->isVisible()) dialog->reject();
  });
  timer->start(10);
}

// Builds the page's report and waits for it; true when a report is shown.
bool buildAndWait(CReportPage* page) {
  QEventLoop loop;
  QObject::connect(page, &CReportPage::reportFinished, &loop, &QEventLoop::quit);
  QTimer::singleShot(kReportTimeoutMs, &loop, &QEventLoop::quit);
  page->buildReport();
  if (page->isBuilding()) loop.exec();
  return !page->isBuilding() && !page->lastBuildFailed() && !page->report().empty();
}

}  // namespace

DcamPralixDlg::DcamPralixDlg(CDcamPralixApp& app, const CPageServices& services, QWidget* parent)
    : QDialog(parent), m_app(app), m_services(services), m_parentWindow(parent) {
  setObjectName("mainDialog");
  setWindowTitle("DCAM Pralix");
  setSizeGripEnabled(true);
  auto* layout = new QVBoxLayout(this);

  auto* menuBar = new QMenuBar;
  QMenu* tools = menuBar->addMenu("&Tools");
  m_simulatedBusAction =
      tools->addAction("&Simulated bus...", this, &DcamPralixDlg::showSimulatedBus);
  m_simulatedBusAction->setObjectName("actionSimulatedBus");
  m_simulatedBusAction->setEnabled(m_services.cameras->module().simControl() != nullptr);
  QAction* editor = tools->addAction("Register &Editor...", this, &DcamPralixDlg::showRegisterEditor);
  editor->setObjectName("actionRegisterEditor");
  QMenu* help = menuBar->addMenu("&Help");
  QAction* modules =
      help->addAction("&Module and bus layers...", this, &DcamPralixDlg::showModuleInformation);
  modules->setObjectName("actionModules");
  layout->setMenuBar(menuBar);

  // The windows count their acquisitions into the application's running count.
  m_acqWindows = new CAcqWindows(
      m_services, [this] { m_app.acquisitionStarted(); }, [this] { m_app.acquisitionStopped(); }, this);
  m_services.acqWindows = m_acqWindows;
  m_sheet = new DcamPralixPropSheet(kSheetCaption, m_services);
  layout->addWidget(m_sheet, 1);

  auto* bottom = new QHBoxLayout;
  auto* status = new QLabel;
  status->setObjectName("moduleStatus");
  status->setWordWrap(true);
  const vx_DcamModule& module = m_services.cameras->module();
  QStringList summary;
  for (const std::string& line : module.busLayers()) summary.append(QString::fromStdString(line));
  if (summary.isEmpty()) summary = m_app.startupMessages();
  if (summary.isEmpty()) summary.append("No DCAM cameras.");
  // A refused camera profile stays in view: the user asked for that camera.
  for (const QString& refused : m_app.refusedProfiles()) summary.append(refused);
  status->setText(summary.join("; "));
  bottom->addWidget(status, 1);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
  buttons->button(QDialogButtonBox::Close)->setObjectName("closeButton");
  connect(buttons, &QDialogButtonBox::rejected, this, &DcamPralixDlg::reject);
  bottom->addWidget(buttons);
  layout->addLayout(bottom);

  m_log = new CBusEventLog(this);
  m_services.cameras->setLogWindow(m_log->logWindow());
  // After a bus reset a camera may have arrived or come back: the list is
  // rebuilt, so that the selection dialogs offer it without a restart.
  m_services.cameras->setBusChangeListener([post = m_busChangeCalls.poster(), this] {
    post([this] { m_services.cameras->refresh(); });
  });

  resize(900, 620);
  if (m_services.settings) restoreGeometry(m_services.settings->value(kGeometryKey).toByteArray());
}

DcamPralixDlg::~DcamPralixDlg() {
  m_acqWindows->closeAll();
  m_services.cameras->setLogWindow({});
  m_services.cameras->setBusChangeListener({});
  m_busChangeCalls.close();
}

void DcamPralixDlg::reject() {
  if (m_app.runningAcquisitionCount() != 0) {
    m_services.prompter->error(this, kStopAcquisitionFirst);
    return;
  }
  done(0);
}

void DcamPralixDlg::done(int result) {
  if (m_services.settings) m_services.settings->setValue(kGeometryKey, saveGeometry());
  if (m_simBus) m_simBus->close();
  QDialog::done(result);
}

QString DcamPralixDlg::moduleInformation() const {
  vx_DcamModule& module = m_services.cameras->module();
  QStringList lines;
  lines.append(
      QString("Acquisition module: %1 %2")
          .arg(QString::fromStdString(module.name()), QString::fromStdString(module.version())));
  lines.append(QString("Cameras: %1").arg(module.cameraCount()));
  const std::vector<std::string> layers = module.busLayers();
  lines.append(layers.empty() ? QString("Bus layers: none") : QString("Bus layers:"));
  for (const std::string& layer : layers) lines.append("    " + QString::fromStdString(layer));
  for (const std::string& notice : module.notices()) lines.append(QString::fromStdString(notice));
  for (const QString& message : m_app.startupMessages())
    if (!lines.contains(message)) lines.append(message);
  return lines.join("\n");
}

void DcamPralixDlg::showModuleInformation() {
  m_services.prompter->message(this, moduleInformation(), kInfoCaption,
                               CPrompter::Icon::Information);
}

void DcamPralixDlg::showRegisterEditor() {
  CSelectDCAMDlg dialog(*m_services.cameras, *m_services.prompter, false, this);
  if (dialog.exec() != QDialog::Accepted) return;
  if (std::shared_ptr<vxCameraEntry> entry = dialog.selectedEntry())
    openRegisterEditor(*entry, *m_services.prompter, this);
}

void DcamPralixDlg::showSimulatedBus() {
  vx_SimBusControl* sim = m_services.cameras->module().simControl();
  if (!sim) return;
  if (!m_simBus) {
    m_simBus = new CSimBusDlg(*sim, *m_services.cameras, *m_log, this);
    m_simBus->setAttribute(Qt::WA_DeleteOnClose);
  }
  m_simBus->show();
  m_simBus->raise();
}

void DcamPralixDlg::showEvent(QShowEvent* event) {
  QDialog::showEvent(event);
  // The native window is mapped after this event; its first expose is the
  // moment the user can see it.
  if (m_firstShown || m_watchingFirstExpose) return;
  if (QWindow* window = windowHandle()) {
    window->installEventFilter(this);
    m_watchingFirstExpose = true;
  }
}

void DcamPralixDlg::keyPressEvent(QKeyEvent* event) {
  // The window has no default action. A dialog makes some button of its
  // focus chain the default when shown, here one on a page that may not even
  // be in view, and Enter typed in the tree or a box would press it. A
  // focused button takes its own Enter before it gets here.
  if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
    event->accept();
    return;
  }
  QDialog::keyPressEvent(event);
}

bool DcamPralixDlg::eventFilter(QObject* watched, QEvent* event) {
  if (m_watchingFirstExpose && watched == windowHandle() && event->type() == QEvent::Expose &&
      windowHandle()->isExposed()) {
    watched->removeEventFilter(this);
    m_watchingFirstExpose = false;
    m_firstShown = true;
    // Told once this expose has been handled, which is when the window is drawn.
    QTimer::singleShot(0, this, &DcamPralixDlg::firstShown);
  }
  return QDialog::eventFilter(watched, event);
}

int DcamPralixDlg::saveScreenshots(const QString& directory) {
  if (!QDir().mkpath(directory)) return 0;
  const QDir dir(directory);
  int saved = 0;
  const QStringList captions = m_sheet->nodeCaptions();
  for (int i = 0; i < captions.size(); ++i) {
    m_sheet->selectPage(captions[i]);
    QApplication::processEvents();
    if (grab().save(dir.filePath(fileNameFor(i + 1, captions[i])))) ++saved;
  }
  if (m_simulatedBusAction->isEnabled()) {
    showSimulatedBus();
    QApplication::processEvents();
    if (m_simBus &&
        m_simBus->grab().save(dir.filePath(fileNameFor(captions.size() + 1, "simulated bus"))))
      ++saved;
    m_simBus->close();
  }
  saved += saveCameraScreenshots(dir);
  if (m_services.cameras->size() > 0 && !m_services.cameras->entry(0)->isUnplugged())
    saved += saveRegisterEditorScreenshots(*m_services.cameras->entry(0), *m_services.prompter, this, dir);
  saved += saveAcquisitionScreenshots(*m_acqWindows, *m_services.cameras, dir);
  return saved + saveSelectionScreenshot(dir);
}

int DcamPralixDlg::saveSelectionScreenshot(const QDir& dir) {
  // The selection dialog as it looks after a camera was pulled out: the
  // simulated bus unplugs the last camera and plugs it back in afterwards.
  vxCameraList& cameras = *m_services.cameras;
  vx_SimBusControl* sim = cameras.module().simControl();
  if (!sim || cameras.size() == 0) return 0;
  const size_t last = cameras.size() - 1;
  const int number = cameras.entry(last)->cameraNumber();
  sim->unplug(number);
  // The event comes from the module's thread by a queued call.
  for (int tries = 0; tries < kSelectionDialogTries && !cameras.entry(last)->isUnplugged(); ++tries) {
    QApplication::processEvents();
    QThread::msleep(10);
  }
  CSelectDCAMDlg dialog(cameras, *m_services.prompter, false, this);
  dialog.show();
  QApplication::processEvents();
  const bool saved = dialog.grab().save(dir.filePath("select_dcam-not_responding.png"));
  dialog.close();
  sim->replug(number);
  return saved ? 1 : 0;
}

int DcamPralixDlg::saveCameraScreenshots(const QDir& dir) {
  const vxCameraList& cameras = *m_services.cameras;
  if (cameras.size() == 0 || cameras.entry(0)->isUnplugged()) return 0;
  int saved = 0;
  auto save = [this, &dir, &saved](const QString& caption, const QString& state) {
    QApplication::processEvents();
    if (grab().save(dir.filePath(stateFileName(caption, state)))) ++saved;
  };

  if (auto* props = m_sheet->findChild<CPageDCAMProps*>()) {
    m_sheet->selectPage(CPageDCAMProps::kCaption);
    chooseInNextSelectionDialog(0);
    props->selectCamera();
    auto* features = props->findChild<QListWidget*>("featureList");
    const QList<QListWidgetItem*> gain =
        features ? features->findItems("Gain", Qt::MatchExactly) : QList<QListWidgetItem*>{};
    if (props->selectedCamera() && !gain.isEmpty()) {
      features->setCurrentItem(gain.first());
      save(CPageDCAMProps::kCaption, "gain");
    }
  }
  // The dump changes the camera's mode and features, so it comes last.
  for (CReportPage* page : std::initializer_list<CReportPage*>{
           m_sheet->findChild<CPageFormats*>(), m_sheet->findChild<CPageRegDump*>()}) {
    if (!page) continue;
    m_sheet->selectPage(page->windowTitle());
    chooseInNextSelectionDialog(0);
    page->selectCamera();
    if (page->selectedCamera() && buildAndWait(page)) save(page->windowTitle(), "finished");
  }
  return saved;
}
