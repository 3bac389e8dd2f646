// The report pages (register dump, camera capabilities): built on a worker, shown whole when complete, copied and saved.
#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <chrono>
#include <cstdlib>

#include "acquisition/sim_control.h"
#include "gui/page_formats.h"
#include "gui/page_reg_dump.h"
#include "modules/qrvnvdcam/module.h"
#include "page_fixture.h"
#include "support/test_paths.h"

namespace {

using namespace std::chrono_literals;

std::unique_ptr<vx_DcamModule> simulate(const std::vector<std::string>& profiles) {
  vx_ModuleOptions options;
  options.simulate = true;
  options.realBus = false;
  options.simulatedProfiles = profiles;
  options.profileDirs = {pralix_test::profilesDir()};
  return std::make_unique<vx_QrvnvDcamModule>(options);
}

QString shown(const std::string& report) {
  return QString::fromStdString(report).replace("\r\n", "\n");
}

template <typename Page>
void expectIdleBeforeACameraIsChosen(const char* action, const char* caption) {
  auto module = simulate({"korvane-kv640m"});
  PageFixture<Page> f(*module);
  QCOMPARE(f.page->windowTitle(), QString(caption));
  QCOMPARE(f.template find<QLineEdit>("selectedCamera")->text(), QString("Please select a camera"));
  QVERIFY(f.button("selectButton")->isEnabled());
  for (const char* name : {action, "copyButton", "saveButton"}) QVERIFY2(!f.button(name)->isEnabled(), name);
  QVERIFY(!f.template find<QProgressBar>("reportProgress")->isVisible());

  // Called directly, the actions still do nothing.
  bool asked = false;
  f.page->setFileNamePrompt([&asked](QWidget*, const QString&) {
    asked = true;
    return QString();
  });
  module->simControl()->resetTransactionCount(0);
  f.page->buildReport();
  f.page->copyReport();
  f.page->saveReport();
  QVERIFY(!f.page->isBuilding());
  QVERIFY(!asked);
  QCOMPARE(module->simControl()->transactionCount(0), uint64_t(0));
  QVERIFY(f.prompter.messages.isEmpty());

  // Cancelling the selection keeps the page as it was.
  f.chooseCamera(0, true);
  QCOMPARE(f.template find<QLineEdit>("selectedCamera")->text(), QString("Please select a camera"));
  QVERIFY(!f.button(action)->isEnabled());
}

// Builds the report of the second camera and checks that nothing of it shows
// until it is complete while the window stays live; answers the text shown.
template <typename Page>
QString expectShownWholeAtTheEnd(PageFixture<Page>& f, const char* action) {
  f.chooseCamera(1);
  if (f.template find<QLineEdit>("selectedCamera")->text() !=
      QString::fromStdString(f.cameras.entry(1)->displayName()))
    return "<camera not selected>";
  if (!f.button(action)->isEnabled() || f.button("copyButton")->isEnabled()) return "<buttons wrong>";

  int ticks = 0;
  QTimer ticker;
  QObject::connect(&ticker, &QTimer::timeout, [&ticks] { ++ticks; });
  ticker.start(5);
  const QList<ReportProgressSeen> seen = runReport(f, action);
  ticker.stop();
  bool midway = false, hidden = ticks > 0 && !seen.isEmpty();
  for (const ReportProgressSeen& s : seen) {
    hidden &= s.textEmpty && !s.buttonEnabled && s.waitCursor;
    midway |= s.progress > 0 && s.progress < 1000;
  }
  if (!hidden || !midway || seen.last().progress != 1000) return "<report seen while being built>";

  for (const char* name : {"selectButton", action, "copyButton", "saveButton"})
    if (!f.button(name)->isEnabled()) return QString("<%1 disabled>").arg(name);
  if (QApplication::overrideCursor() || f.template find<QProgressBar>("reportProgress")->isVisible() ||
      !f.prompter.messages.isEmpty())
    return "<page still busy>";
  const QString text = f.template find<QPlainTextEdit>("reportText")->toPlainText();
  return text == shown(f.page->report()) ? text : "<text differs from the report>";
}

}  // namespace

class TestReportPages : public QObject {
  Q_OBJECT

 private slots:
  void nothingActsBeforeACameraIsChosen() {
    expectIdleBeforeACameraIsChosen<CPageRegDump>("dumpButton", "DCAM Utilites::Register Dump");
    expectIdleBeforeACameraIsChosen<CPageFormats>("capabilitiesButton",
                                                  "DCAM Utilites::Camera Capabilities");
  }

  void dumpIsShownWholeAtTheEnd() {
    auto module = simulate({"korvane-kv640m", "tessaly-f7flex"});
    // Slow enough that the page is seen at work between the click and the end.
    module->simControl()->setLatency(20us, 20us);
    PageFixture<CPageRegDump> f(*module);
    const QString text = expectShownWholeAtTheEnd(f, "dumpButton");
    QVERIFY2(text.startsWith("********* QORVEL DCAM MODULE INFO ********** \n\nRunning qrvnvdcam version "),
             qPrintable(text.left(100)));
    QVERIFY(text.contains("\nReading : 7FC Value : "));
    QVERIFY(text.contains("************* FORMAT 7 RAW REGISTER DUMP ************"));
    // The page names what the dump leaves changed, before and after it runs.
    const QString warning = f.find<QLabel>("dumpWarning")->text();
    for (const char* change : {"format, mode and rate", "manual mode, with absolute control off",
                               "the first colour coding it offers"})
      QVERIFY2(warning.contains(change), change);

    // Choosing another camera leaves the last report on show.
    f.chooseCamera(0);
    QCOMPARE(f.page->selectedCamera(), f.cameras.entry(0));
    QCOMPARE(f.find<QPlainTextEdit>("reportText")->toPlainText(), text);
  }

  void capabilitiesAreShownWholeAtTheEnd() {
    auto module = simulate({"korvane-kv640m", "orbel-ux1600b"});
    // The usual bus figures: the speed measurement alone takes a noticeable while.
    module->simControl()->setLatency(100us, 400us);
    PageFixture<CPageFormats> f(*module);
    const QString text = expectShownWholeAtTheEnd(f, "capabilitiesButton");
    const QString name = QString::fromStdString(f.cameras.entry(1)->displayName());
    QVERIFY2(text.startsWith("********* " + name + " ********** \n\n********* QORVEL DCAM MODULE "
                             "INFO ********** \n\nRunning qrvnvdcam"),
             qPrintable(text.left(200)));
    QVERIFY(text.contains("\nSUPPORTED FORMAT7 or VENDOR SPECIFIC FORMATS\n"));
    QVERIFY(text.endsWith("\nUsual average time to write register (us) : 400 us"));
  }

  void copyAndSaveAsHandTheReportOn() {
    auto module = simulate({"tessaly-f7flex"});
    PageFixture<CPageFormats> formats(*module);
    formats.chooseCamera(0);
    runReport(formats, "capabilitiesButton");
    QString suggested;
    formats.page->setFileNamePrompt([&](QWidget*, const QString& name) {
      suggested = name;
      return QString();
    });
    formats.click("saveButton");
    QVERIFY(suggested.endsWith("/camera-capabilities.txt"));

    PageFixture<CPageRegDump> f(*module);
    f.chooseCamera(0);
    runReport(f, "dumpButton");
    const QString text = f.find<QPlainTextEdit>("reportText")->toPlainText();
    QVERIFY(text.startsWith("********* QORVEL DCAM MODULE INFO"));
    QApplication::clipboard()->clear();
    f.click("copyButton");
    QCOMPARE(QApplication::clipboard()->text(), text);

    QTemporaryDir dir;
    QWidget* askedOver = nullptr;
    QString answer = dir.filePath("dump.txt");
    f.page->setFileNamePrompt([&](QWidget* parent, const QString& name) {
      suggested = name;
      askedOver = parent;
      return answer;
    });
    f.click("saveButton");
    QVERIFY(suggested.endsWith("/register-dump.txt"));
    QCOMPARE(askedOver, f.page.get());
    QFile saved(answer);
    QVERIFY(saved.open(QIODevice::ReadOnly));
    QString expected = text;
#ifdef Q_OS_WIN
    expected.replace("\n", "\r\n");
#endif
    QCOMPARE(saved.readAll(), expected.toUtf8());
    QVERIFY(f.prompter.messages.isEmpty());

    // Cancelling the prompt writes nothing.
    answer.clear();
    f.click("saveButton");
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{"dump.txt"});
    QVERIFY(f.prompter.messages.isEmpty());

    // A file that cannot be written is reported by name.
    answer = dir.filePath("no-such-folder/dump.txt");
    f.click("saveButton");
    QCOMPARE(f.prompter.messages.size(), 1);
    QVERIFY(f.prompter.messages[0].text.contains(answer));
    QCOMPARE(f.prompter.messages[0].icon, CPrompter::Icon::Exclamation);
  }

  void aCameraThatIsGoneIsReportedAndThePageRecovers() {
    auto module = simulate({"korvane-kv640m"});
    PageFixture<CPageRegDump> f(*module);
    f.chooseCamera(0);
    module->simControl()->unplug(0);
    runReport(f, "dumpButton");
    QCOMPARE(f.prompter.messages.size(), 1);
    QCOMPARE(f.prompter.messages[0].caption, QString(kErrorCaption));
    QVERIFY(f.find<QPlainTextEdit>("reportText")->toPlainText().isEmpty());
    QVERIFY(f.button("dumpButton")->isEnabled());
    QVERIFY(!f.button("copyButton")->isEnabled());
    QVERIFY(!QApplication::overrideCursor());
  }

  void aFailedReportKeepsThePreviousOne() {
    auto module = simulate({"korvane-kv640m"});
    PageFixture<CPageFormats> f(*module);
    f.chooseCamera(0);
    runReport(f, "capabilitiesButton");
    QVERIFY(f.prompter.messages.isEmpty());
    QVERIFY(!f.page->lastBuildFailed());
    const QString before = f.find<QPlainTextEdit>("reportText")->toPlainText();
    QVERIFY(before.contains("QORVEL DCAM MODULE INFO"));

    module->simControl()->unplug(0);
    runReport(f, "capabilitiesButton");
    QCOMPARE(f.prompter.messages.size(), 1);
    QVERIFY(f.page->lastBuildFailed());
    QCOMPARE(f.find<QPlainTextEdit>("reportText")->toPlainText(), before);
    QCOMPARE(shown(f.page->report()), before);
    QVERIFY(f.button("copyButton")->isEnabled());
    QVERIFY(f.button("saveButton")->isEnabled());
  }

  void closingThePageDuringADumpWaitsForTheWorker() {
    auto module = simulate({"korvane-kv640m"});
    module->simControl()->setLatency(20us, 20us);
    PageFixture<CPageRegDump> f(*module);
    f.chooseCamera(0);
    f.click("dumpButton");
    QVERIFY(f.page->isBuilding());
    f.page.reset();
    QVERIFY(!QApplication::overrideCursor());
    // Whatever the worker posted on its way out goes nowhere.
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents();
    QVERIFY(f.prompter.messages.isEmpty());
  }
};

QTEST_MAIN(TestReportPages)
#include "report_pages_test.moc"
