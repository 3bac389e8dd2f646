// The one way the program shows message boxes, so tests can read what would be shown.
#pragma once

#include <QString>

class QWidget;

// The caption of the program's error messages.
inline constexpr const char* kErrorCaption = "DCAM Pralix Error";
// The caption of its informational messages.
inline constexpr const char* kInfoCaption = "DCAM Pralix";

class CPrompter {
 public:
  enum class Icon { None, Information, Exclamation };
  virtual ~CPrompter() = default;
  // Shows the message and returns when the user has dismissed it.
  virtual void message(QWidget* parent, const QString& text, const QString& caption, Icon icon) = 0;
  // Asks a question with the buttons Yes and No; true for Yes.
  virtual bool askYesNo(QWidget* parent, const QString& text, const QString& caption) = 0;
  void error(QWidget* parent, const QString& text) {
    message(parent, text, kErrorCaption, Icon::Exclamation);
  }
};

// Shows real message boxes.
class CMessageBoxPrompter : public CPrompter {
 public:
  void message(QWidget* parent, const QString& text, const QString& caption, Icon icon) override;
  bool askYesNo(QWidget* parent, const QString& text, const QString& caption) override;
};
