// CAcqWindows: every acquisition window the program has opened, with the
// count of those that acquire now.
#pragma once

#include <QList>
#include <QObject>
#include <QPointer>

#include <functional>

#include "gui/page_services.h"

class CAcqDialog;

class CAcqWindows : public QObject {
  Q_OBJECT
 public:
  // started and stopped are called on the GUI thread each time a window
  // begins and ends continuous acquisition (the program's running count).
  CAcqWindows(const CPageServices& services, std::function<void()> started = {},
              std::function<void()> stopped = {}, QObject* parent = nullptr);
  // Stops and closes every window still open.
  ~CAcqWindows() override;

  // A new, independent window, shown; there is no limit on their number.
  CAcqDialog* open();
  // The windows open now, oldest first.
  QList<CAcqDialog*> windows() const;
  int runningCount() const { return m_running; }
  // Stops every window's acquisition, joins its threads and destroys it.
  void closeAll();

 signals:
  void runningCountChanged(int count);

 private:
  CPageServices m_services;
  std::function<void()> m_started, m_stopped;
  QList<QPointer<CAcqDialog>> m_windows;
  int m_running = 0;
};
