// The Validate page: its state rules, a run with live lines, stop between tests, copy and save.
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QFile>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include "acquisition/sim_control.h"
#include "acquisition/video_format.h"
#include "gui/page_ut_validate.h"
#include "modules/qrvnvdcam/module.h"
#include "page_fixture.h"
#include "support/test_paths.h"

namespace {

std::unique_ptr<vx_DcamModule> simulate(const std::string& profile) {
  vx_ModuleOptions options;
  options.simulate = true;
  options.realBus = false;
  options.simulatedProfiles = {profile};
  options.profileDirs = {pralix_test::profilesDir()};
  return std::make_unique<vx_QrvnvDcamModule>(options);
}

using Fixture = PageFixture<CPageUTValidate>;

// Runs the page's suite to its end and answers whether it ended.
bool runToEnd(Fixture& f) {
  QSignalSpy finished(f.page.get(), &CPageUTValidate::suiteFinished);
  f.click("startButton");
  return finished.wait(60000) || finished.count() == 1;
}

void specify(Fixture& f, const QString& key) {
  f.find<QCheckBox>("specifyTest")->setChecked(true);
  f.find<QComboBox>("testList")->setCurrentText(key);
}

}  // namespace

class TestPageUTValidate : public QObject {
  Q_OBJECT
 private slots:
  void opensWithNothingToRun();
  void selectingACameraFillsItsFormats();
  void specifyTestEnablesTheList();
  void aRunShowsItsLinesAndEndsReady();
  void aFailingTestIsReportedFailed();
  void stopLetsTheTestInProgressFinishAndRunsNoOther();
  void copyAndSaveTheResults();
};

void TestPageUTValidate::opensWithNothingToRun() {
  auto module = simulate("korvane-kv640m");
  Fixture f(*module);
  QCOMPARE(f.page->windowTitle(), QString("Diagnostic Utlities::Validate"));
  QCOMPARE(f.edit("selectedCamera")->text(), QString("Please select a camera"));
  auto* tests = f.find<QComboBox>("testList");
  QCOMPARE(tests->count(), 8);
  QCOMPARE(tests->itemText(0), QString("reportInfo"));
  QCOMPARE(tests->itemText(7), QString("trigAuto"));
  QCOMPARE(tests->currentText(), QString("reportInfo"));
  QVERIFY(!tests->isEnabled());
  QVERIFY(!f.find<QCheckBox>("specifyTest")->isChecked());
  for (const char* name : {"startButton", "stopButton", "copyButton", "saveButton"})
    QVERIFY2(!f.button(name)->isEnabled(), name);
  QVERIFY(f.button("selectButton")->isEnabled());
  // Called directly without a camera, start does nothing.
  f.page->startTests();
  QVERIFY(!f.page->isRunning());
  QVERIFY(f.page->results().isEmpty());
}

void TestPageUTValidate::selectingACameraFillsItsFormats() {
  auto module = simulate("korvane-kv640m");
  Fixture f(*module);
  f.chooseCamera(0, /*cancel=*/true);
  QCOMPARE(f.edit("selectedCamera")->text(), QString("Please select a camera"));
  QVERIFY(!f.button("startButton")->isEnabled());

  f.chooseCamera(0);
  QVERIFY(f.edit("selectedCamera")->text().contains("KV-640M"));
  auto* formats = f.find<QComboBox>("formatList");
  vx1394DCAM& camera = module->camera(0);
  QCOMPARE(formats->count(), int(vxVideoFormat::supportedNames(camera).size()));
  QVERIFY(formats->count() > 1);
  QCOMPARE(formats->currentIndex(), 0);
  QCOMPARE(formats->currentText(), QString("640x480 Mono 3.75 FPS"));
  QVERIFY(f.button("startButton")->isEnabled());
  QVERIFY(!f.button("stopButton")->isEnabled());
}

void TestPageUTValidate::specifyTestEnablesTheList() {
  auto module = simulate("korvane-kv640m");
  Fixture f(*module);
  auto* box = f.find<QCheckBox>("specifyTest");
  auto* tests = f.find<QComboBox>("testList");
  QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(4, box->height() / 2));
  QVERIFY(box->isChecked());
  QVERIFY(tests->isEnabled());
  QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(4, box->height() / 2));
  QVERIFY(!tests->isEnabled());
}

void TestPageUTValidate::aRunShowsItsLinesAndEndsReady() {
  auto module = simulate("korvane-kv640m");
  module->simControl()->setTimeScale(0.0);
  Fixture f(*module);
  f.chooseCamera(0);
  f.find<QComboBox>("formatList")->setCurrentText("640x480 Mono 30 FPS");
  specify(f, "basicAcq");
  QStringList live;
  connect(f.page.get(), &CPageUTValidate::lineAppended, [&live](const QString& l) { live.append(l); });

  QSignalSpy finished(f.page.get(), &CPageUTValidate::suiteFinished);
  f.click("startButton");
  QVERIFY(f.page->isRunning());
  QVERIFY(!f.button("startButton")->isEnabled());
  QVERIFY(!f.button("selectButton")->isEnabled());
  QVERIFY(f.button("stopButton")->isEnabled());
  QVERIFY(finished.wait(60000));

  const QString text = f.page->results();
  QVERIFY(QRegularExpression(R"(^---- \d\d:\d\d:\d\d Running Test basicAcq -------\n\n)").match(text).hasMatch());
  QVERIFY(text.contains("Running Basic Non Queued Acquisition Test.\n"));
  QVERIFY(text.contains("Running FreeRun Trigger Acquisition Test.\n"));
  QVERIFY(QRegularExpression(R"(\n---- \d\d:\d\d:\d\d Test basicAcq Passed -------\n$)").match(text).hasMatch());
  // Only the selected test ran, and the lines came one by one as posted.
  QVERIFY(!text.contains("reportInfo"));
  QCOMPARE(live.join("\n"), text);
  QVERIFY(f.page->lastRunPassed());
  QVERIFY(f.button("startButton")->isEnabled());
  QVERIFY(!f.button("stopButton")->isEnabled());
  QVERIFY(f.button("copyButton")->isEnabled());

  // A second run empties the box first.
  QVERIFY(runToEnd(f));
  QCOMPARE(f.page->results().count("Running Test basicAcq"), 1);
}

void TestPageUTValidate::aFailingTestIsReportedFailed() {
  auto module = simulate("korvane-kv640m");
  module->simControl()->setTimeScale(0.0);
  module->simControl()->setIncompleteRatio(0, 1.0);
  Fixture f(*module);
  f.chooseCamera(0);
  specify(f, "basicAcq");
  QVERIFY(runToEnd(f));
  const QString text = f.page->results();
  QVERIFY(text.contains("Non Queued Acquire Failed.\n"));
  QVERIFY(text.contains(" Test basicAcq Failed -------"));
  QVERIFY(!f.page->lastRunPassed());
}

void TestPageUTValidate::stopLetsTheTestInProgressFinishAndRunsNoOther() {
  auto module = simulate("korvane-kv640m");
  vx_SimBusControl* sim = module->simControl();
  sim->setTimeScale(0.0);
  // Slow register writes hold the worker inside the basic test (a dozen
  // writes at least) until the page has asked to stop.
  sim->setLatency(std::chrono::microseconds(0), std::chrono::seconds(1));
  Fixture f(*module);
  f.chooseCamera(0);
  QSignalSpy finished(f.page.get(), &CPageUTValidate::suiteFinished);
  bool stopped = false;
  connect(f.page.get(), &CPageUTValidate::lineAppended, [&](const QString& line) {
    if (stopped || line != "Running Basic Non Queued Acquisition Test.") return;
    stopped = true;
    QTest::mouseClick(f.button("stopButton"), Qt::LeftButton);
    QVERIFY(!f.button("stopButton")->isEnabled());
    QVERIFY(!f.button("startButton")->isEnabled());
    sim->setLatency(std::chrono::microseconds(0), std::chrono::microseconds(0));
  });
  f.click("startButton");
  QVERIFY(finished.wait(60000));
  QVERIFY(stopped);
  const QString text = f.page->results();
  QVERIFY(text.contains(" Test reportInfo Passed"));
  QVERIFY(text.contains(" Test basicAcq Passed"));
  QVERIFY(!text.contains("exposureTest"));
  QVERIFY(f.button("startButton")->isEnabled());
  QVERIFY(!f.button("stopButton")->isEnabled());
}

void TestPageUTValidate::copyAndSaveTheResults() {
  auto module = simulate("korvane-kv640m");
  module->simControl()->setTimeScale(0.0);
  Fixture f(*module);
  f.chooseCamera(0);
  QVERIFY(runToEnd(f));  // the whole suite
  const QString text = f.page->results();
  QVERIFY(text.contains("Using 1394DCAM board "));

  f.click("copyButton");
  QCOMPARE(QApplication::clipboard()->text(), text);

  QTemporaryDir dir;
  const QString path = dir.filePath("results.txt");
  f.page->setFileNamePrompt([&path](QWidget*, const QString& suggested) {
    return suggested.endsWith("validation.txt") ? path : QString();
  });
  f.click("saveButton");
  QFile saved(path);
  QVERIFY(saved.open(QIODevice::ReadOnly | QIODevice::Text));
  QCOMPARE(QString::fromUtf8(saved.readAll()), text + "\n");
  QVERIFY(f.prompter.messages.isEmpty());

  f.page->setFileNamePrompt([](QWidget*, const QString&) { return QString("/no/such/folder/x.txt"); });
  f.click("saveButton");
  QCOMPARE(f.prompter.messages.size(), 1);
  QVERIFY(f.prompter.messages[0].text.startsWith("The results could not be saved to \"/no/such/folder/x.txt\""));
}

QTEST_MAIN(TestPageUTValidate)
#include "page_ut_validate_test.moc"
