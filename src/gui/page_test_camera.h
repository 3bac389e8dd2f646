// CPageTestCamera: opens acquisition windows.
#pragma once

#include <QWidget>

#include "gui/page_services.h"

class CPageTestCamera : public QWidget {
  Q_OBJECT
 public:
  static constexpr const char* kCaption = "DCAM Utilites::Acquire Images";

  explicit CPageTestCamera(const CPageServices& services, QWidget* parent = nullptr);

  // "Open Acquisition Window ...": a new window each time.
  void openAcquisitionWindow();

 private:
  CPageServices m_services;
};
