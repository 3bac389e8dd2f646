// CPageUTValidate: runs the validation suite against one camera.
#pragma once

#include <QWidget>

#include "gui/page_services.h"

class CPageUTValidate : public QWidget {
  Q_OBJECT
 public:
  static constexpr const char* kCaption = "Diagnostic Utlities::Validate";

  explicit CPageUTValidate(const CPageServices& services, QWidget* parent = nullptr);
};
