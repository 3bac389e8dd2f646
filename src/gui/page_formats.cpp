// CPageFormats: the camera capabilities report.
#include "gui/page_formats.h"

#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "gui/page_widgets.h"

CPageFormats::CPageFormats(const CPageServices&, QWidget* parent) : QWidget(parent) {
  setWindowTitle(kCaption);
  auto* layout = new QVBoxLayout(this);
  addPageHeading(layout, kCaption);
  const CCameraRow row = addCameraRow(layout);
  row.select->setEnabled(false);
  QPushButton* action = makeButton("Get Capabilities", "capabilitiesButton");
  action->setEnabled(false);
  layout->addWidget(action, 0, Qt::AlignLeft);
  auto* report = new QPlainTextEdit;
  report->setObjectName("reportText");
  report->setReadOnly(true);
  report->setLineWrapMode(QPlainTextEdit::NoWrap);
  layout->addWidget(report, 1);
}
