// The one way the program shows message boxes.
#include "gui/prompter.h"

#include <QMessageBox>

void CMessageBoxPrompter::message(QWidget* parent, const QString& text, const QString& caption,
                                  Icon icon) {
  QMessageBox box(parent);
  box.setWindowTitle(caption);
  box.setText(text);
  switch (icon) {
    case Icon::None:
      box.setIcon(QMessageBox::NoIcon);
      break;
    case Icon::Information:
      box.setIcon(QMessageBox::Information);
      break;
    case Icon::Exclamation:
      box.setIcon(QMessageBox::Warning);
      break;
  }
  box.exec();
}

bool CMessageBoxPrompter::askYesNo(QWidget* parent, const QString& text, const QString& caption) {
  return QMessageBox::question(parent, caption, text, QMessageBox::Yes | QMessageBox::No,
                               QMessageBox::No) == QMessageBox::Yes;
}
