// CPageInfo: the introductory page that says what the tool is for and which
// versions of the pieces that decide acquisition are installed.
#pragma once

#include <QWidget>

#include "gui/page_services.h"

class QLabel;

class CPageInfo : public QWidget {
  Q_OBJECT
 public:
  static constexpr const char* kCaption = "DCAM Utilites";

  explicit CPageInfo(const CPageServices& services, QWidget* parent = nullptr);
};
