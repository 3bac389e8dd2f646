// DcamPralixDlg: the main dialog.
#include "gui/main_dialog.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QDir>
#include <QLabel>
#include <QMenuBar>
#include <QPushButton>
#include <QSettings>
#include <QVBoxLayout>

#include "acquisition/dcam_module.h"
#include "app/camera_list.h"
#include "gui/bus_event_log.h"
#include "gui/dcam_pralix_app.h"
#include "gui/prompter.h"
#include "gui/prop_sheet.h"
#include "gui/sim_bus_dlg.h"

namespace {

constexpr const char* kGeometryKey = "mainDialog/geometry";

QString fileNameFor(int index, const QString& caption) {
  QString slug = caption.toLower();
  slug.replace("::", "-");
  for (QChar& c : slug)
    if (!c.isLetterOrNumber() && c != '-') c = '_';
  return QString("%1-%2.png").arg(index, 2, 10, QChar('0')).arg(slug);
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
  QMenu* help = menuBar->addMenu("&Help");
  QAction* modules =
      help->addAction("&Module and bus layers...", this, &DcamPralixDlg::showModuleInformation);
  modules->setObjectName("actionModules");
  layout->setMenuBar(menuBar);

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
  status->setText(summary.join("; "));
  bottom->addWidget(status, 1);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
  buttons->button(QDialogButtonBox::Close)->setObjectName("closeButton");
  connect(buttons, &QDialogButtonBox::rejected, this, &DcamPralixDlg::reject);
  bottom->addWidget(buttons);
  layout->addLayout(bottom);

  m_log = new CBusEventLog(this);
  m_services.cameras->setLogWindow(m_log->logWindow());

  resize(900, 620);
  if (m_services.settings) restoreGeometry(m_services.settings->value(kGeometryKey).toByteArray());
}

DcamPralixDlg::~DcamPralixDlg() {
  m_services.cameras->setLogWindow({});
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
  }
  return saved;
}
