// CPageInfo: the introductory page that says what the tool is for.
#include "gui/page_info.h"

#include <QLabel>
#include <QVBoxLayout>

#include "gui/page_widgets.h"

CPageInfo::CPageInfo(const CPageServices&, QWidget* parent) : QWidget(parent) {
  setWindowTitle(kCaption);
  auto* layout = new QVBoxLayout(this);
  QLabel* heading =
      addPageHeading(layout, "Qorvel DCAM Pralix - IEEE 1394 DCAM Camera Diagnostic Utility");
  heading->setWordWrap(true);
  addFixedText(
      layout,
      "This tool helps debug issues with IEEE 1394 DCAM cameras. It also reports detailed "
      "information about the IEEE 1394 DCAMs attached to your system. Click on each node on the "
      "tree to the left to get more information.");
  layout->addStretch(1);
}
