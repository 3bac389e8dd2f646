// CPageTopology: the 1394 adapters and cameras as a tree.
#pragma once

#include <QWidget>

#include "gui/page_services.h"

class CPageTopology : public QWidget {
  Q_OBJECT
 public:
  static constexpr const char* kCaption = "Diagnostic Utlities::Topology";

  explicit CPageTopology(const CPageServices& services, QWidget* parent = nullptr);
};
