// CPageInstall: the DCAM devices the kernel sees and the driver bound to each.
#include "gui/page_install.h"

#include <QApplication>
#include <QClipboard>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <cstdlib>
#include <unistd.h>

#include "base/sysfs.h"
#include "gui/page_widgets.h"
#include "gui/prompter.h"
#include "inspection/device_scan.h"
#include "inspection/host_info.h"

namespace {

std::string currentUserName() {
  if (const char* user = std::getenv("USER"); user && *user) return user;
  if (const char* login = getlogin(); login && *login) return login;
  return "$USER";
}

}  // namespace

CPageInstall::CPageInstall(const CPageServices& services, QWidget* parent)
    : QWidget(parent), m_services(services) {
  setWindowTitle(kCaption);
  auto* layout = new QVBoxLayout(this);
  addPageHeading(layout, kCaption);
  m_list = new QTreeWidget;
  m_list->setObjectName("deviceList");
  m_list->setRootIsDecorated(false);
  m_list->setHeaderLabels(
      {"Status", "Driver Name", "Device Description", "Friendly Name", "Device Manufacturer"});
  // Dialog units of the widths 50 and 100, in pixels at the usual font.
  const int widths[] = {75, 150, 150, 150, 150};
  for (int c = 0; c < 5; ++c) m_list->setColumnWidth(c, widths[c]);
  layout->addWidget(m_list, 1);
  m_status = new QLabel;
  m_status->setObjectName("scanStatus");
  m_status->setWordWrap(true);
  layout->addWidget(m_status);
  addFixedText(layout,
               "If there are any DCAMs attached to the system that this user cannot open, they will be "
               "inaccesible via Qorvel software.");
  addFixedText(layout,
               "To give this user access to these devices, install the udev rule shown under Device "
               "Permissions and add the user to the video group; then unplug and replug the cameras.");
  auto* buttons = new QHBoxLayout;
  QPushButton* permissions = makeButton("Device Permissions ...", "permissionsButton");
  QPushButton* rescanButton = makeButton("Rescan", "rescanButton");
  buttons->addWidget(permissions);
  buttons->addWidget(rescanButton);
  buttons->addStretch(1);
  layout->addLayout(buttons);
  connect(permissions, &QPushButton::clicked, this, &CPageInstall::showPermissions);
  connect(rescanButton, &QPushButton::clicked, this, &CPageInstall::rescan);
  rescan();
}

void CPageInstall::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  // The scan made with the page stays; later showings rescan.
  if (m_scans > 0 && isVisible() && m_shownOnce) rescan();
  m_shownOnce = true;
}

void CPageInstall::rescan() {
  m_list->clear();
  ++m_scans;
  const vxSysfs sysfs(vxSysfsRootPath());
  vxDeviceScanOptions options;
  options.devRoot = vxDevRootPath();
  const vxDeviceScan scan = ScanDevices(sysfs, kDcamDeviceId, vxMatchMode::Exact, options);
  // The scan lists the rows as they go in at the top: the last unit found first.
  for (const vxDcamDeviceRow& row : scan.rows) {
    auto* item = new QTreeWidgetItem(
        m_list, {QString::fromStdString(row.status), QString::fromStdString(row.driverName),
                 QString::fromStdString(row.deviceDescription), QString::fromStdString(row.friendlyName),
                 QString::fromStdString(row.manufacturer)});
    item->setToolTip(0, QString::fromStdString(row.deviceNode + " (unit " + row.unit + ")"));
    if (row.status != "OK") item->setForeground(0, QColor(0xa0, 0, 0));
  }
  QString status;
  if (!scan.busPresent)
    status = "The kernel's firewire stack is not loaded: no IEEE 1394 device can be seen. Load it with "
             "\"sudo modprobe firewire-ohci\" (it brings firewire-core).";
  else if (scan.rows.empty() && scan.ok)
    status = "No IIDC camera is seen by the kernel. Check that the camera is plugged in and powered.";
  m_status->setText(status);
  m_status->setVisible(!status.isEmpty());
  if (!scan.ok) m_services.prompter->error(this, QString::fromStdString(scan.error));
}

void CPageInstall::showPermissions() {
  QDialog dialog(this);
  dialog.setObjectName("permissionsDialog");
  dialog.setWindowTitle("Device Permissions");
  auto* layout = new QVBoxLayout(&dialog);
  layout->addWidget(new QLabel(
      "IIDC cameras are opened through their /dev/fw* nodes. These commands give the members of the "
      "group video read and write access to them and make this user a member:"));
  auto* text = new QPlainTextEdit(QString::fromStdString(vxDevicePermissionsText(currentUserName())));
  text->setObjectName("permissionsText");
  text->setReadOnly(true);
  text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  text->setMinimumSize(620, 200);
  layout->addWidget(text);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
  QPushButton* copy = buttons->addButton("Copy", QDialogButtonBox::ActionRole);
  copy->setObjectName("copyButton");
  connect(copy, &QPushButton::clicked, &dialog, [text] { QApplication::clipboard()->setText(text->toPlainText()); });
  connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
  layout->addWidget(buttons);
  dialog.exec();
}
