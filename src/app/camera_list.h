// The program's list of DCAM cameras: one entry per camera of the module, with
// the bus-event bookkeeping that runs on the module's event thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "acquisition/bus_event.h"
#include "acquisition/dcam_module.h"

// Bus figures shared by every camera entry of the program. The event thread
// writes them and the user interface reads them, so each word is atomic.
struct vxBusStatistics {
  std::atomic<uint32_t> unplugCount{0};
  std::atomic<uint32_t> busNodeCount{0};
  std::atomic<uint32_t> busGenerationCount{0};
  std::atomic<uint32_t> busResetCount{0};
  std::atomic<uint32_t> hostNodeNo{0};
  std::atomic<uint32_t> initiatorNodeNo{0};
  std::atomic<bool> busResetSeen{false};
};

// Hands a log line to the log window. Runs on the module's event thread: an
// implementation queues the owned line to its receiver and returns at once.
using vxLogLinePost = std::function<void(std::string line)>;
// Tells the user interface that the bus changed (a reset: a node came or
// went), the same way; it then rebuilds the camera list on its own thread.
using vxBusChangePost = std::function<void()>;
// Hands a bus event record to a camera's acquisition window, the same way.
using vxBusEventPost = std::function<void(int cameraNumber, vxDcamBusEventInfo info)>;

// The camera's node number on the bus as the module knows it now; -1 when the
// module cannot say.
int vxCameraNodeNumber(vx_DcamModule& module, int cameraNumber);

// One DCAM camera of the module as the pages see it.
class vxCameraEntry {
 public:
  vxCameraEntry(vx_DcamModule& module, int cameraNumber, std::string displayName,
                std::shared_ptr<vxBusStatistics> busStatistics, uint64_t guid = 0);

  vx_DcamModule& module() const { return m_module; }
  int cameraNumber() const { return m_cameraNumber; }
  const std::string& displayName() const { return m_displayName; }
  // The camera's GUID as read when the entry was made; 0 when it could not be read.
  uint64_t guid() const { return m_guid; }
  vxBusStatistics& busStatistics() const { return *m_busStatistics; }

  // Set by an unplug event and never cleared: the camera number may be
  // reused by another camera only when the list is rebuilt.
  bool isUnplugged() const { return m_unplugged.load(); }
  uint32_t busResetCount() const { return m_busResetCount.load(); }

  // Where log lines of this camera's bus events go; an empty function drops them.
  void setLogWindow(vxLogLinePost post);
  // Who hears of bus resets; an empty function means nobody.
  void setBusChangeListener(vxBusChangePost post);
  // The acquisition window open on this camera; an empty function means none.
  // A camera with an acquisition window is in use.
  void setAcquisitionWindow(vxBusEventPost post);
  bool hasAcquisitionWindow() const;

  // The bus-event callback body. Runs on the module's event thread: it only
  // updates counters and flags and posts owned values onward.
  void onBusEvent(const vxDcamBusEventInfo& info);

 private:
  vx_DcamModule& m_module;
  const int m_cameraNumber;
  const std::string m_displayName;
  const std::shared_ptr<vxBusStatistics> m_busStatistics;
  const uint64_t m_guid;
  std::atomic<bool> m_unplugged{false};
  std::atomic<uint32_t> m_busResetCount{0};
  // The two posting functions are swapped on the user-interface thread while
  // the event thread may be reading them.
  mutable std::mutex m_windowsMutex;
  vxLogLinePost m_logWindow;
  vxBusEventPost m_acquisitionWindow;
  vxBusChangePost m_busChange;
};

// The entries of all cameras of a module, each with its bus-event callback
// registered for as long as the list lives.
class vxCameraList {
 public:
  explicit vxCameraList(vx_DcamModule& module);
  ~vxCameraList();
  vxCameraList(const vxCameraList&) = delete;
  vxCameraList& operator=(const vxCameraList&) = delete;

  vx_DcamModule& module() const { return m_module; }
  size_t size() const { return m_entries.size(); }
  bool empty() const { return m_entries.empty(); }
  // Shared so that a page may keep its selected camera while the list changes.
  const std::shared_ptr<vxCameraEntry>& entry(size_t index) const { return m_entries.at(index); }
  const std::vector<std::shared_ptr<vxCameraEntry>>& entries() const { return m_entries; }
  vxBusStatistics& busStatistics() const { return *m_busStatistics; }

  // Sends the log lines of every entry to one log window, and of the
  // entries made later.
  void setLogWindow(const vxLogLinePost& post);
  // Tells post of every bus reset any camera of the list sees and of every
  // camera that arrives on a bus (one the list may not have yet), so that
  // the user interface can call refresh() on its own thread.
  void setBusChangeListener(const vxBusChangePost& post);

  // What a rebuild of the list changed.
  struct Refresh {
    std::vector<int> added;    // camera numbers new to the list
    std::vector<int> renewed;  // returning cameras given a fresh entry
    bool changed() const { return !added.empty() || !renewed.empty(); }
  };
  // Rebuilds the list after a bus change, on the user-interface thread.
  // Cameras the module gained are appended; numbers already handed out keep
  // their cameras. An entry marked unplugged whose camera answers again
  // with the same GUID is replaced by a fresh entry; the old one keeps its
  // unplugged flag for as long as anyone holds it.
  Refresh refresh();

  // "Vendor Model (GUID)", the name shown in the camera selection list.
  static std::string displayNameFor(const vxDcamIdentity& identity);

 private:
  std::shared_ptr<vxCameraEntry> makeEntry(int number, int& callbackId);

  vx_DcamModule& m_module;
  std::shared_ptr<vxBusStatistics> m_busStatistics;
  std::vector<std::shared_ptr<vxCameraEntry>> m_entries;
  std::vector<int> m_callbackIds;  // one per entry, at the entry's index
  vxLogLinePost m_logWindow;
  vxBusChangePost m_busChange;
  int m_presenceId = 0;  // the module's presence callback while a listener is set
};
