// The log of bus events: receives the camera entries' log lines on the GUI
// thread and stamps them with the local time.
#pragma once

#include <QObject>
#include <QStringList>

#include "app/camera_list.h"
#include "gui/queued_calls.h"

class CBusEventLog : public QObject {
  Q_OBJECT
 public:
  explicit CBusEventLog(QObject* parent = nullptr);

  // The function the camera entries call on the module's thread.
  vxLogLinePost logWindow();

  // "%m/%d-%H:%M:%S-:" followed by the line.
  void append(const QString& line);
  const QStringList& lines() const { return m_lines; }

 signals:
  void lineAdded(const QString& stampedLine);

 private:
  QStringList m_lines;
  CQueuedCalls m_calls{this};
};
