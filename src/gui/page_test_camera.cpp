// CPageTestCamera: opens acquisition windows.
#include "gui/page_test_camera.h"

#include <QPushButton>
#include <QVBoxLayout>

#include "gui/page_widgets.h"

CPageTestCamera::CPageTestCamera(const CPageServices&, QWidget* parent) : QWidget(parent) {
  setWindowTitle(kCaption);
  auto* layout = new QVBoxLayout(this);
  addPageHeading(layout, kCaption);
  addFixedText(
      layout,
      "Acquire images from one or more DCAM cameras.  While image acquisition is running, you can "
      "do other tasks like read and write registers, etc.  You can acquire and display images from "
      "multiple cameras at the same time using multiple acquisition windows.");
  QPushButton* open = makeButton("Open Acquisition Window ...", "openAcquisitionButton");
  open->setEnabled(false);
  layout->addWidget(open, 0, Qt::AlignLeft);
  layout->addStretch(1);
}
