// CPageDCAMProps: switches and sets the camera's DCAM features.
#include "gui/page_dcam_props.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "gui/page_widgets.h"

CPageDCAMProps::CPageDCAMProps(const CPageServices&, QWidget* parent) : QWidget(parent) {
  setWindowTitle(kCaption);
  auto* layout = new QVBoxLayout(this);
  addPageHeading(layout, kCaption);
  const CCameraRow row = addCameraRow(layout);
  row.select->setEnabled(false);

  auto* body = new QHBoxLayout;
  auto* features = new QListWidget;
  features->setObjectName("featureList");
  body->addWidget(features, 1);

  auto* controls = new QVBoxLayout;
  auto* automatic = new QGroupBox("Automatic Control");
  auto* automaticLayout = new QHBoxLayout(automatic);
  automaticLayout->addWidget(new QCheckBox("ON"));
  automaticLayout->addWidget(new QCheckBox("Auto"));
  automaticLayout->addWidget(new QPushButton("One Push"));
  controls->addWidget(automatic);

  auto* manual = new QGroupBox("Manual Register Control");
  auto* manualLayout = new QGridLayout(manual);
  manualLayout->addWidget(new QRadioButton("Value Control"), 0, 0, 1, 2);
  manualLayout->addWidget(new QLabel("Min"), 1, 0);
  manualLayout->addWidget(new QLineEdit, 1, 1);
  manualLayout->addWidget(new QLabel("Max"), 2, 0);
  manualLayout->addWidget(new QLineEdit, 2, 1);
  manualLayout->addWidget(new QLabel("Value"), 3, 0);
  manualLayout->addWidget(new QLineEdit, 3, 1);
  manualLayout->addWidget(new QPushButton("Apply"), 4, 1);
  controls->addWidget(manual);

  auto* absolute = new QGroupBox("Absolute Control");
  auto* absoluteLayout = new QVBoxLayout(absolute);
  absoluteLayout->addWidget(new QRadioButton("Absolute"));
  controls->addWidget(absolute);
  controls->addStretch(1);
  body->addLayout(controls, 1);
  layout->addLayout(body, 1);

  // Nothing here acts until a camera can be chosen on this page.
  automatic->setEnabled(false);
  manual->setEnabled(false);
  absolute->setEnabled(false);
}
