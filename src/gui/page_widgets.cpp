// Building blocks shared by the pages.
#include "gui/page_widgets.h"

#include <QBoxLayout>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

QLabel* addPageHeading(QBoxLayout* layout, const QString& caption) {
  auto* heading = new QLabel(caption.section("::", -1));
  heading->setObjectName("pageHeading");
  QFont font = heading->font();
  font.setBold(true);
  font.setPointSizeF(font.pointSizeF() * 1.2);
  heading->setFont(font);
  layout->addWidget(heading);
  return heading;
}

QLabel* addFixedText(QBoxLayout* layout, const QString& text) {
  auto* label = new QLabel(text);
  label->setWordWrap(true);
  layout->addWidget(label);
  return label;
}

QPushButton* makeButton(const QString& text, const QString& objectName, QWidget* parent) {
  auto* button = new QPushButton(text, parent);
  button->setObjectName(objectName);
  return button;
}

CCameraRow addCameraRow(QBoxLayout* layout) {
  CCameraRow row;
  auto* line = new QHBoxLayout;
  line->addWidget(new QLabel("Selected DCAM"));
  row.name = new QLineEdit(kPleaseSelectCamera);
  row.name->setObjectName("selectedCamera");
  markReadOnly(row.name);
  // A long name is read from its start, the camera's vendor and model, not
  // from the end of its GUID; the whole name is in the tool tip.
  QLineEdit* name = row.name;
  QObject::connect(name, &QLineEdit::textChanged, name, [name](const QString& text) {
    name->setCursorPosition(0);
    name->setToolTip(text);
  });
  line->addWidget(row.name, 1);
  row.select = makeButton("Select ...", "selectButton");
  line->addWidget(row.select);
  layout->addLayout(line);
  return row;
}

void markReadOnly(QLineEdit* edit) {
  edit->setReadOnly(true);
  // Drawn on the window's colour, as a read-only field looks; it still takes
  // the focus, so its text can be selected and copied from the keyboard.
  QPalette palette = edit->palette();
  palette.setColor(QPalette::Base, palette.color(QPalette::Window));
  edit->setPalette(palette);
}

bool writeTextFile(const QString& fileName, const QString& text, QString* error) {
  QFile file(fileName);
  bool saved = file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text);
  if (saved) {
    const QByteArray bytes = text.toUtf8();
    saved = file.write(bytes) == bytes.size();
    file.close();
    saved = saved && file.error() == QFileDevice::NoError;
  }
  if (!saved && error) *error = file.errorString();
  return saved;
}
