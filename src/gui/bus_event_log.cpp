// The log of bus events.
#include "gui/bus_event_log.h"

#include "base/time_stamp.h"

CBusEventLog::CBusEventLog(QObject* parent) : QObject(parent) {}

vxLogLinePost CBusEventLog::logWindow() {
  return [post = m_calls.poster(), this](std::string line) {
    post([this, text = QString::fromStdString(line)] { append(text); });
  };
}

void CBusEventLog::append(const QString& line) {
  const QString stamped = QString::fromStdString(vxTimeStamp()) + "-:" + line;
  m_lines.append(stamped);
  emit lineAdded(stamped);
}
