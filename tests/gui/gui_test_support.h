// Helpers for the GUI tests: a prompter that records instead of showing, and
// a way to act on a modal dialog while it runs.
#pragma once

#include <QApplication>
#include <QDialog>
#include <QTimer>
#include <QWidget>

#include <functional>
#include <memory>

#include "gui/prompter.h"

struct RecordedMessage {
  QString text;
  QString caption;
  CPrompter::Icon icon;
};

class CRecordingPrompter : public CPrompter {
 public:
  void message(QWidget*, const QString& text, const QString& caption, Icon icon) override {
    messages.append({text, caption, icon});
  }
  // Questions are recorded as messages without an icon and answered with
  // the next of answers (No once they run out).
  bool askYesNo(QWidget*, const QString& text, const QString& caption) override {
    messages.append({text, caption, Icon::None});
    if (answers.isEmpty()) return false;
    return answers.takeFirst();
  }
  QList<bool> answers;
  QStringList texts() const {
    QStringList list;
    for (const auto& m : messages) list.append(m.text);
    return list;
  }
  QList<RecordedMessage> messages;
};

// Calls act with the next modal dialog once it is up and running. act must
// leave the dialog closed; whatever it leaves open is cancelled so that a
// failing test does not hang.
inline void whenModalDialogRuns(std::function<void(QDialog*)> act) {
  auto* timer = new QTimer;
  auto tries = std::make_shared<int>(0);
  QObject::connect(timer, &QTimer::timeout, [timer, tries, act] {
    auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
    if (!dialog && ++*tries < 200) return;
    timer->stop();
    timer->deleteLater();
    if (!dialog) return;
    act(dialog);
    if (dialog->isVisible()) dialog->reject();
  });
  timer->start(10);
}
