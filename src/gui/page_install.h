// CPageInstall: the DCAM devices and the driver bound to each.
#pragma once

#include <QWidget>

#include "gui/page_services.h"

class CPageInstall : public QWidget {
  Q_OBJECT
 public:
  static constexpr const char* kCaption = "Diagnostic Utlities::Driver Install";

  explicit CPageInstall(const CPageServices& services, QWidget* parent = nullptr);
};
