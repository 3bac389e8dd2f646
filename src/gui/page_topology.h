// CPageTopology: the 1394 adapters with their parent devices and cameras as a
// tree, the details of the selected item, and a log of device arrivals and
// removals as they happen.
#pragma once

#include <QWidget>

#include <memory>
#include <string>
#include <vector>

#include "acquisition/bus_event.h"
#include "gui/page_services.h"
#include "gui/queued_calls.h"
#include "topology/device_monitor.h"
#include "topology/topology_model.h"

class QLabel;
class QPlainTextEdit;
class QTreeWidget;

class CPageTopology : public QWidget {
  Q_OBJECT
 public:
  static constexpr const char* kCaption = "Diagnostic Utlities::Topology";

  // source null: the kernel's devices are watched through libudev.
  explicit CPageTopology(const CPageServices& services, QWidget* parent = nullptr,
                         std::unique_ptr<vxDeviceEventSource> source = nullptr);
  ~CPageTopology() override;

  const vxTopology& topology() const { return m_topology; }

 public slots:
  // Scans the adapters and cameras again and rebuilds the tree.
  void rescan();

 signals:
  // A device event has been logged and the tree rebuilt.
  void deviceEventShown(const QString& line);

 private:
  void showDetail();
  void onDeviceEvent(const vxDeviceEvent& event);
  // A camera of the module came or went; the simulated ones are logged as
  // the kernel's devices are (the kernel tells of real ones itself).
  void onPresence(const vxDcamPresenceEvent& event);

  CPageServices m_services;
  vxTopology m_topology;
  QTreeWidget* m_tree;
  QPlainTextEdit* m_detail;
  QPlainTextEdit* m_log;
  QLabel* m_empty;
  std::unique_ptr<vxDeviceEventSource> m_source;
  int m_presenceId = 0;  // the module's presence callback: simulated cameras plugged and unplugged
  CQueuedCalls m_calls{this};
};
