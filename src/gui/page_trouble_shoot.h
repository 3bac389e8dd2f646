// CPageTroubleShoot: an empty page kept for troubleshooting notes.
#pragma once

#include <QWidget>

#include "gui/page_services.h"

class CPageTroubleShoot : public QWidget {
  Q_OBJECT
 public:
  static constexpr const char* kCaption = "TroubleShoot::Configuration";

  explicit CPageTroubleShoot(const CPageServices& services, QWidget* parent = nullptr);
};
