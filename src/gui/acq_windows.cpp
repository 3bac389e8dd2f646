// CAcqWindows: every acquisition window the program has opened.
#include "gui/acq_windows.h"

#include "gui/acq_dialog.h"

CAcqWindows::CAcqWindows(const CPageServices& services, std::function<void()> started,
                         std::function<void()> stopped, QObject* parent)
    : QObject(parent),
      m_services(services),
      m_started(std::move(started)),
      m_stopped(std::move(stopped)) {}

CAcqWindows::~CAcqWindows() {
  closeAll();
}

CAcqDialog* CAcqWindows::open() {
  auto* window = new CAcqDialog(m_services);
  connect(window, &CAcqDialog::acquisitionStarted, this, [this] {
    ++m_running;
    if (m_started) m_started();
    emit runningCountChanged(m_running);
  });
  connect(window, &CAcqDialog::acquisitionStopped, this, [this] {
    --m_running;
    if (m_stopped) m_stopped();
    emit runningCountChanged(m_running);
  });
  m_windows.append(window);
  window->show();
  return window;
}

QList<CAcqDialog*> CAcqWindows::windows() const {
  QList<CAcqDialog*> open;
  for (const QPointer<CAcqDialog>& window : m_windows)
    if (window) open.append(window.data());
  return open;
}

void CAcqWindows::closeAll() {
  // Deleting a window stops its acquisition and joins its worker and
  // display threads before the camera list it uses goes away.
  for (const QPointer<CAcqDialog>& window : m_windows) delete window.data();
  m_windows.clear();
}
