// CPageUTValidate: runs the validation suite against one camera.
#include "gui/page_ut_validate.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "gui/page_widgets.h"

CPageUTValidate::CPageUTValidate(const CPageServices&, QWidget* parent) : QWidget(parent) {
  setWindowTitle(kCaption);
  auto* layout = new QVBoxLayout(this);
  addPageHeading(layout, kCaption);
  addFixedText(
      layout,
      "Check how well a DCAM works with Qorvel software. Select the DCAM and video format.  All "
      "tests run by default. Or, enable \"Specify Test\" and select 1 test to run.");
  const CCameraRow row = addCameraRow(layout);
  row.select->setEnabled(false);
  auto* formats = new QComboBox;
  formats->setObjectName("formatList");
  formats->setEnabled(false);
  layout->addWidget(formats);

  auto* controls = new QHBoxLayout;
  auto* specify = new QCheckBox("Specify Test");
  specify->setObjectName("specifyTest");
  specify->setEnabled(false);
  controls->addWidget(specify);
  auto* tests = new QComboBox;
  tests->setObjectName("testList");
  tests->addItems({"reportInfo", "basicAcq", "exposureTest", "roiMetrics", "brightnessChange",
                   "contrastChange", "cameraBWAdjust", "trigAuto"});
  tests->setEnabled(false);
  controls->addWidget(tests, 1);
  QPushButton* start = makeButton("Start Tests", "startButton");
  QPushButton* stop = makeButton("Stop", "stopButton");
  start->setEnabled(false);
  stop->setEnabled(false);
  controls->addWidget(start);
  controls->addWidget(stop);
  layout->addLayout(controls);

  auto* resultsBox = new QGroupBox("Test Results");
  auto* resultsLayout = new QVBoxLayout(resultsBox);
  auto* results = new QPlainTextEdit;
  results->setObjectName("testResults");
  results->setReadOnly(true);
  resultsLayout->addWidget(results);
  layout->addWidget(resultsBox, 1);
}
