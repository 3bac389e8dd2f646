// CPageTroubleShoot: an empty page kept for troubleshooting notes.
#include "gui/page_trouble_shoot.h"

#include <QVBoxLayout>

#include "gui/page_widgets.h"

CPageTroubleShoot::CPageTroubleShoot(const CPageServices&, QWidget* parent) : QWidget(parent) {
  setWindowTitle(kCaption);
  auto* layout = new QVBoxLayout(this);
  addPageHeading(layout, kCaption);
  layout->addStretch(1);
}
