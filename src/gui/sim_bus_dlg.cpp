// CSimBusDlg: a small control window over the simulated camera bus.
#include "gui/sim_bus_dlg.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "acquisition/sim_control.h"
#include "app/camera_list.h"
#include "gui/bus_event_log.h"
#include "gui/page_widgets.h"

namespace {

constexpr int kNumberRole = Qt::UserRole;

}  // namespace

CSimBusDlg::CSimBusDlg(vx_SimBusControl& sim, vxCameraList& cameras, CBusEventLog& log,
                       QWidget* parent)
    : QDialog(parent), m_sim(sim), m_cameras(cameras) {
  setWindowTitle("Simulated bus");
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(new QLabel("Simulated cameras:"));
  m_cameraList = new QListWidget;
  m_cameraList->setObjectName("simCameraList");
  layout->addWidget(m_cameraList);

  auto* buttons = new QHBoxLayout;
  QPushButton* unplug = makeButton("Unplug", "unplugButton");
  QPushButton* replug = makeButton("Replug", "replugButton");
  QPushButton* reset = makeButton("Bus Reset", "busResetButton");
  buttons->addWidget(unplug);
  buttons->addWidget(replug);
  buttons->addWidget(reset);
  buttons->addStretch(1);
  layout->addLayout(buttons);

  // A camera plugged in while the program runs: it joins the camera list
  // and the selection dialogs without a restart.
  auto* plug = new QHBoxLayout;
  plug->addWidget(new QLabel("New camera of profile:"));
  m_profiles = new QComboBox;
  m_profiles->setObjectName("simProfileCombo");
  for (const std::string& name : m_sim.availableProfiles()) m_profiles->addItem(QString::fromStdString(name));
  plug->addWidget(m_profiles, 1);
  QPushButton* plugNew = makeButton("Plug In", "plugNewButton");
  plugNew->setEnabled(m_profiles->count() > 0);
  plugNew->setToolTip("Plugs a new simulated camera of this profile into the running bus.");
  plug->addWidget(plugNew);
  layout->addLayout(plug);
  m_plugStatus = new QLabel;
  m_plugStatus->setObjectName("plugStatus");
  m_plugStatus->setWordWrap(true);
  layout->addWidget(m_plugStatus);

  m_statistics = new QLabel;
  m_statistics->setObjectName("busStatistics");
  layout->addWidget(m_statistics);
  layout->addWidget(new QLabel("Bus events:"));
  m_log = new QPlainTextEdit;
  m_log->setObjectName("busEventLog");
  m_log->setReadOnly(true);
  m_log->setLineWrapMode(QPlainTextEdit::NoWrap);
  for (const QString& line : log.lines()) m_log->appendPlainText(line);
  layout->addWidget(m_log, 1);

  connect(unplug, &QPushButton::clicked, this, &CSimBusDlg::unplugSelected);
  connect(replug, &QPushButton::clicked, this, &CSimBusDlg::replugSelected);
  connect(reset, &QPushButton::clicked, this, &CSimBusDlg::busReset);
  connect(plugNew, &QPushButton::clicked, this, &CSimBusDlg::plugNewCamera);
  connect(&log, &CBusEventLog::lineAdded, this, [this](const QString& line) {
    m_log->appendPlainText(line);
    refresh();
  });

  fillCameraList();
  if (m_cameraList->count() > 0) m_cameraList->setCurrentRow(0);
  refresh();
  resize(560, 460);
}

void CSimBusDlg::fillCameraList() {
  const std::vector<int> numbers = m_sim.cameraNumbers();
  for (size_t row = size_t(m_cameraList->count()); row < numbers.size(); ++row) {
    auto* item = new QListWidgetItem(m_cameraList);
    item->setData(kNumberRole, numbers[row]);
  }
}

void CSimBusDlg::plugNewCamera() {
  const QString profile = m_profiles->currentText();
  std::string error;
  const int number = m_sim.plugNew(profile.toStdString(), &error);
  if (number < 0) {
    m_plugStatus->setText(QString("%1 could not be plugged in: %2").arg(profile, QString::fromStdString(error)));
    return;
  }
  m_plugStatus->setText(QString("Camera %1 (%2) plugged in.").arg(number).arg(profile));
  fillCameraList();
  m_cameraList->setCurrentRow(m_cameraList->count() - 1);
  refresh();
}

int CSimBusDlg::selectedCameraNumber() const {
  const QListWidgetItem* item = m_cameraList->currentItem();
  return item ? item->data(kNumberRole).toInt() : -1;
}

void CSimBusDlg::unplugSelected() {
  if (const int number = selectedCameraNumber(); number >= 0) m_sim.unplug(number);
  refresh();
}

void CSimBusDlg::replugSelected() {
  if (const int number = selectedCameraNumber(); number >= 0) m_sim.replug(number);
  refresh();
}

void CSimBusDlg::busReset() {
  m_sim.busReset();
  refresh();
}

void CSimBusDlg::refresh() {
  fillCameraList();
  for (int row = 0; row < m_cameraList->count(); ++row) {
    QListWidgetItem* item = m_cameraList->item(row);
    const int number = item->data(kNumberRole).toInt();
    // The module's name for it: a camera just plugged in may not be in the
    // program's list yet.
    QString name = QString::fromStdString(m_sim.profileName(number));
    try {
      name = QString::fromStdString(vxCameraList::displayNameFor(m_cameras.module().camera(number).identity()));
    } catch (const vxException&) {
    }
    item->setText(QString("%1: %2 - %3")
                      .arg(number)
                      .arg(name, m_sim.isPlugged(number) ? "plugged" : "unplugged"));
  }
  const vxBusStatistics& stats = m_cameras.busStatistics();
  m_statistics->setText(
      QString("Unplugs: %1   Bus resets: %2   Nodes: %3   Generation: %4   Host node: %5   "
              "Initiator node: %6")
          .arg(stats.unplugCount.load())
          .arg(stats.busResetCount.load())
          .arg(stats.busNodeCount.load())
          .arg(stats.busGenerationCount.load())
          .arg(stats.hostNodeNo.load())
          .arg(stats.initiatorNodeNo.load()));
}
