// CPageFormats: the camera capabilities report.
#pragma once

#include <QWidget>

#include "gui/page_services.h"

class CPageFormats : public QWidget {
  Q_OBJECT
 public:
  static constexpr const char* kCaption = "DCAM Utilites::Camera Capabilities";

  explicit CPageFormats(const CPageServices& services, QWidget* parent = nullptr);
};
