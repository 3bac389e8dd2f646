// CPageInstall: the DCAM devices and the driver bound to each.
#include "gui/page_install.h"

#include <QHeaderView>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "gui/page_widgets.h"

CPageInstall::CPageInstall(const CPageServices&, QWidget* parent) : QWidget(parent) {
  setWindowTitle(kCaption);
  auto* layout = new QVBoxLayout(this);
  addPageHeading(layout, kCaption);
  auto* list = new QTreeWidget;
  list->setObjectName("deviceList");
  list->setRootIsDecorated(false);
  list->setHeaderLabels(
      {"Status", "Driver Name", "Device Description", "Friendly Name", "Device Manufacturer"});
  layout->addWidget(list, 1);
  addFixedText(
      layout,
      "If there are any non-Qorvel supplied drivers installed for DCAMs attached to the system, "
      "they will be inaccesible via Qorvel software.");
  addFixedText(
      layout,
      "To install the Qorvel driver for these devices, right-click on these devices in the "
      "Windows Device Manager and Update to the Qorvel DCAM driver.");
  QPushButton* manager = makeButton("Windows Device Manager", "deviceManagerButton");
  manager->setEnabled(false);
  layout->addWidget(manager, 0, Qt::AlignLeft);
}
