// CPageTestCamera: opens acquisition windows.
#include "gui/page_test_camera.h"

#include <QPushButton>
#include <QVBoxLayout>

#include "gui/acq_windows.h"
#include "gui/page_widgets.h"

CPageTestCamera::CPageTestCamera(const CPageServices& services, QWidget* parent)
    : QWidget(parent), m_services(services) {
  setWindowTitle(kCaption);
  auto* layout = new QVBoxLayout(this);
  addPageHeading(layout, kCaption);
  addFixedText(
      layout,
      "Acquire images from one or more DCAM cameras.  While image acquisition is running, you can "
      "do other tasks like read and write registers, etc.  You can acquire and display images from "
      "multiple cameras at the same time using multiple acquisition windows.");
  QPushButton* open = makeButton("Open Acquisition Window ...", "openAcquisitionButton");
  open->setEnabled(m_services.acqWindows != nullptr);
  connect(open, &QPushButton::clicked, this, &CPageTestCamera::openAcquisitionWindow);
  layout->addWidget(open, 0, Qt::AlignLeft);
  layout->addStretch(1);
}

void CPageTestCamera::openAcquisitionWindow() {
  if (m_services.acqWindows) m_services.acqWindows->open();
}
