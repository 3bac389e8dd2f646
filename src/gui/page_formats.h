// CPageFormats: the camera capabilities report.
#pragma once

#include "gui/report_page.h"

class CPageFormats : public CReportPage {
  Q_OBJECT
 public:
  static constexpr const char* kCaption = "DCAM Utilites::Camera Capabilities";

  explicit CPageFormats(const CPageServices& services, QWidget* parent = nullptr);
};
