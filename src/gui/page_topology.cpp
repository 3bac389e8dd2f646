// CPageTopology: the 1394 adapters and cameras as a tree.
#include "gui/page_topology.h"

#include <QFontDatabase>
#include <QLabel>
#include <QPlainTextEdit>
#include <QSplitter>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "app/camera_list.h"
#include "base/format.h"
#include "base/sysfs.h"
#include "base/time_stamp.h"
#include "gui/page_widgets.h"
#include "inspection/host_info.h"

namespace {

constexpr int kDetailRole = Qt::UserRole + 1;

QString qs(const std::string& text) { return QString::fromStdString(text); }

QTreeWidgetItem* addItem(QTreeWidgetItem* parent, QTreeWidget* tree, const std::string& text,
                         const std::string& detail) {
  auto* item = parent ? new QTreeWidgetItem(parent) : new QTreeWidgetItem(tree);
  item->setText(0, qs(text));
  item->setData(0, kDetailRole, qs(detail));
  item->setExpanded(true);
  return item;
}

}  // namespace

CPageTopology::CPageTopology(const CPageServices& services, QWidget* parent,
                             std::unique_ptr<vxDeviceEventSource> source)
    : QWidget(parent), m_services(services), m_source(std::move(source)) {
  setWindowTitle(kCaption);
  auto* layout = new QVBoxLayout(this);
  addPageHeading(layout, kCaption);
  auto* split = new QSplitter(Qt::Vertical);
  m_tree = new QTreeWidget;
  m_tree->setObjectName("topologyTree");
  // The only place the legacy switch shows: the older ordering of the tree.
  m_tree->setHeaderLabel(services.legacy ? "PCI and DCAM Device Topology - Legacy Ordering"
                                         : "PCI and DCAM Device Topology");
  split->addWidget(m_tree);
  m_detail = new QPlainTextEdit;
  m_detail->setObjectName("detailText");
  m_detail->setReadOnly(true);
  split->addWidget(m_detail);
  m_log = new QPlainTextEdit;
  m_log->setObjectName("eventLog");
  m_log->setReadOnly(true);
  m_log->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  split->addWidget(m_log);
  split->setStretchFactor(0, 3);
  split->setStretchFactor(1, 2);
  split->setStretchFactor(2, 1);
  layout->addWidget(split, 1);
  m_empty = new QLabel;
  m_empty->setObjectName("emptyText");
  m_empty->setWordWrap(true);
  layout->addWidget(m_empty);

  connect(m_tree, &QTreeWidget::currentItemChanged, this, &CPageTopology::showDetail);
  rescan();
  for (const std::string& line : m_topology.log) m_log->appendPlainText(qs(line));

  if (!m_source) m_source = vxMakeUdevMonitor();
  if (m_source) {
    const CQueuedCalls::Post post = m_calls.poster();
    const bool started = m_source->start([this, post](const vxDeviceEvent& event) {
      post([this, event] { onDeviceEvent(event); });
    });
    if (started)
      m_log->appendPlainText(qs(vxTimeStamp() + "-:Watching firewire device arrivals and removals."));
    else
      m_log->appendPlainText(qs(vxTimeStamp() + "-:Device arrivals and removals cannot be watched: " +
                                m_source->error()));
  }
  if (m_services.cameras && m_services.cameras->module().simControl()) {
    const CQueuedCalls::Post post = m_calls.poster();
    m_presenceId = m_services.cameras->module().registerPresenceCallback(
        vxDcamPresenceCallback([this, post](const vxDcamPresenceEvent& event) {
          post([this, event] { onPresence(event); });
        }));
  }
}

void CPageTopology::onPresence(const vxDcamPresenceEvent& event) {
  vxDcamIdentity identity;
  try {
    identity = m_services.cameras->module().camera(event.cameraNumber).identity();
  } catch (const vxException&) {
    return;
  }
  if (identity.busLayer != "simulated") return;
  vxDeviceEvent device;
  device.kind = event.arrived ? vxDeviceEvent::Kind::Arrived : vxDeviceEvent::Kind::Removed;
  device.node = vxFormat("simulated camera %d", event.cameraNumber);
  device.description = identity.vendor + (identity.model.empty() ? "" : " " + identity.model);
  onDeviceEvent(device);
}

CPageTopology::~CPageTopology() {
  if (m_presenceId != 0) m_services.cameras->module().unregisterBusEventCallback(m_presenceId);
  m_calls.close();
  if (m_source) m_source->stop();
}

void CPageTopology::rescan() {
  const vxSysfs sysfs(vxSysfsRootPath());
  vxTopologyOptions options;
  options.legacyOrder = m_services.legacy;
  options.module = m_services.cameras ? &m_services.cameras->module() : nullptr;
  options.devRoot = vxDevRootPath();
  m_topology = vxScanTopology(sysfs, options);

  m_tree->clear();
  for (const vxTopologyAdapter& adapter : m_topology.adapters) {
    // The chain from the PCI root bus down to the adapter, then its cameras.
    QTreeWidgetItem* above = nullptr;
    for (auto it = adapter.info.parents.rbegin(); it != adapter.info.parents.rend(); ++it)
      above = addItem(above, m_tree, it->description + " (" + it->location + ")", vxParentDetail(*it));
    const std::string name = adapter.info.DeviceName(adapter.info.deviceId);
    QTreeWidgetItem* item = addItem(above, m_tree, name + (adapter.simulated ? " (simulated)" : ""),
                                    vxAdapterDetail(adapter));
    for (const vxTopologyCamera& camera : adapter.cameras) {
      std::string text = camera.vendor + " " + camera.model;
      if (camera.nodeId >= 0) text += vxFormat(" (node %d)", camera.nodeId);
      if (!camera.plugged) text += " (unplugged)";
      QTreeWidgetItem* cameraItem = addItem(item, m_tree, text, vxCameraDetail(camera));
      if (!camera.accessible) cameraItem->setForeground(0, QColor(0xa0, 0, 0));
    }
  }
  m_tree->expandAll();
  std::string empty = vxTopologyEmptyText(m_topology);
  if (!m_topology.error.empty()) empty += (empty.empty() ? "" : "\n") + m_topology.error;
  m_empty->setText(qs(empty));
  m_empty->setVisible(!empty.empty());
  if (m_tree->topLevelItemCount() > 0) m_tree->setCurrentItem(m_tree->topLevelItem(0));
  showDetail();
}

void CPageTopology::showDetail() {
  const QTreeWidgetItem* item = m_tree->currentItem();
  m_detail->setPlainText(item ? item->data(0, kDetailRole).toString() : QString());
}

void CPageTopology::onDeviceEvent(const vxDeviceEvent& event) {
  const QString line = qs(vxDeviceEventLine(event));
  m_log->appendPlainText(line);
  rescan();
  emit deviceEventShown(line);
}
