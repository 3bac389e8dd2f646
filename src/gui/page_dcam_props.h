// CPageDCAMProps: switches and sets the camera's DCAM features.
#pragma once

#include <QWidget>

#include "gui/page_services.h"

class CPageDCAMProps : public QWidget {
  Q_OBJECT
 public:
  static constexpr const char* kCaption = "DCAM Utilites::DCAM Properties";

  explicit CPageDCAMProps(const CPageServices& services, QWidget* parent = nullptr);
};
