// CPageRegDump: the register dump report.
#pragma once

#include "gui/report_page.h"

// Dumping changes the camera: it sets every supported video mode, switches
// properties and programs the Format_7 modes, and leaves the camera so.
class CPageRegDump : public CReportPage {
  Q_OBJECT
 public:
  static constexpr const char* kCaption = "DCAM Utilites::Register Dump";

  explicit CPageRegDump(const CPageServices& services, QWidget* parent = nullptr);
};
