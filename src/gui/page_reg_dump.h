// CPageRegDump: the register dump report.
#pragma once

#include <QWidget>

#include "gui/page_services.h"

class CPageRegDump : public QWidget {
  Q_OBJECT
 public:
  static constexpr const char* kCaption = "DCAM Utilites::Register Dump";

  explicit CPageRegDump(const CPageServices& services, QWidget* parent = nullptr);
};
