// Building blocks shared by the pages: the heading, wrapped fixed texts and
// the selected-camera row.
#pragma once

#include <QString>

class QBoxLayout;
class QLabel;
class QLineEdit;
class QPushButton;
class QWidget;

// The caption text the page tree shows for a page ("Group::Page" or "Group").
inline constexpr const char* kPleaseSelectCamera = "Please select a camera";

// A bold heading with the last part of the page's caption.
QLabel* addPageHeading(QBoxLayout* layout, const QString& caption);
// A word-wrapped fixed text.
QLabel* addFixedText(QBoxLayout* layout, const QString& text);

struct CCameraRow {
  QLineEdit* name = nullptr;      // objectName "selectedCamera"
  QPushButton* select = nullptr;  // objectName "selectButton"
};
// "Selected DCAM", the read-only camera name reading "Please select a
// camera", and "Select ...".
CCameraRow addCameraRow(QBoxLayout* layout);
// Makes a field read-only and makes it look so.
void markReadOnly(QLineEdit* edit);
// A button with its objectName.
QPushButton* makeButton(const QString& text, const QString& objectName, QWidget* parent = nullptr);

// Writes text into a file in text mode (the platform's line ends), replacing
// what was there. False with the reason in error when it could not.
bool writeTextFile(const QString& fileName, const QString& text, QString* error);
