// The register dump page: built on a worker, shown whole when complete, copied and saved.
#include <QApplication>
#include <QClipboard>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTemporaryDir>
#include <QtTest>

#include <chrono>
#include <cstdlib>

#include "acquisition/sim_control.h"
#include "gui/page_reg_dump.h"
#include "modules/qrvnvdcam/module.h"
#include "page_fixture.h"

namespace {

using namespace std::chrono_literals;

std::unique_ptr<vx_DcamModule> simulate(const std::vector<std::string>& profiles) {
  vx_ModuleOptions options;
  options.simulate = true;
  options.realBus = false;
  options.simulatedProfiles = profiles;
  const char* data = std::getenv("PRALIX_DATA_DIR");
  options.profileDirs = {std::string(data ? data : PRALIX_SOURCE_DATA_DIR) + "/profiles"};
  return std::make_unique<vx_QrvnvDcamModule>(options);
}

using Fixture = PageFixture<CPageRegDump>;

QString shown(const std::string& report) {
  return QString::fromStdString(report).replace("\r\n", "\n");
}

bool waitCursorShown() {
  const QCursor* cursor = QApplication::overrideCursor();
  return cursor && cursor->shape() == Qt::WaitCursor;
}

}  // namespace

class TestPageRegDump : public QObject {
  Q_OBJECT

 private slots:
  void nothingActsBeforeACameraIsChosen() {
    auto module = simulate({"korvane-kv640m"});
    Fixture f(*module);
    QCOMPARE(f.page->windowTitle(), QString("DCAM Utilites::Register Dump"));
    QCOMPARE(f.find<QLineEdit>("selectedCamera")->text(), QString("Please select a camera"));
    QVERIFY(f.button("selectButton")->isEnabled());
    QVERIFY(!f.button("dumpButton")->isEnabled());
    QVERIFY(!f.button("copyButton")->isEnabled());
    QVERIFY(!f.button("saveButton")->isEnabled());
    QVERIFY(!f.find<QProgressBar>("reportProgress")->isVisible());

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
    QVERIFY(f.find<QPlainTextEdit>("reportText")->toPlainText().isEmpty());
    QVERIFY(f.prompter.messages.isEmpty());
  }

  void dumpIsBuiltAwayFromTheWindowAndShownWholeAtTheEnd() {
    auto module = simulate({"korvane-kv640m", "tessaly-f7flex"});
    // Slow enough that the page is seen at work between the click and the end.
    module->simControl()->setLatency(20us, 20us);
    Fixture f(*module);
    f.chooseCamera(1);
    QCOMPARE(f.find<QLineEdit>("selectedCamera")->text(),
             QString::fromStdString(f.cameras.entry(1)->displayName()));
    QVERIFY(f.button("dumpButton")->isEnabled());
    QVERIFY(!f.button("copyButton")->isEnabled());

    auto* text = f.find<QPlainTextEdit>("reportText");
    auto* bar = f.find<QProgressBar>("reportProgress");
    QSignalSpy finished(f.page.get(), &CReportPage::reportFinished);
    f.click("dumpButton");
    // Nothing of the report can have come back before the event loop runs.
    QVERIFY(f.page->isBuilding());
    for (const char* name : {"selectButton", "dumpButton", "copyButton", "saveButton"})
      QVERIFY2(!f.button(name)->isEnabled(), name);
    QVERIFY(waitCursorShown());
    QVERIFY(bar->isVisible());
    QVERIFY(text->toPlainText().isEmpty());
    QVERIFY(finished.wait(30000));

    const std::string report = f.page->report();
    QVERIFY(
        report.starts_with("********* QORVEL DCAM MODULE INFO ********** \r\n\r\nRunning "
                           "qrvnvdcam version "));
    QVERIFY(report.find("************* FORMAT 7 RAW REGISTER DUMP ************") !=
            std::string::npos);
    QVERIFY(report.find("\r\nReading : 7FC Value : ") != std::string::npos);
    QCOMPARE(text->toPlainText(), shown(report));
    QVERIFY(!text->toPlainText().contains('\r'));
    for (const char* name : {"selectButton", "dumpButton", "copyButton", "saveButton"})
      QVERIFY2(f.button(name)->isEnabled(), name);
    QVERIFY(!QApplication::overrideCursor());
    QVERIFY(!bar->isVisible());
    QVERIFY(f.prompter.messages.isEmpty());

    // A second dump empties the page first and shows only the finished text.
    const QList<ReportProgressSeen> seen = runReport(f, "dumpButton");
    QVERIFY(!seen.isEmpty());
    bool midway = false;
    for (const ReportProgressSeen& s : seen) {
      QVERIFY(s.textEmpty);
      QVERIFY(!s.buttonEnabled);
      QVERIFY(s.waitCursor);
      midway |= s.progress > 0 && s.progress < 1000;
    }
    QVERIFY(midway);
    QCOMPARE(seen.last().progress, 1000);
    QVERIFY(!text->toPlainText().isEmpty());

    // Choosing another camera leaves the last report on show.
    const QString before = text->toPlainText();
    f.chooseCamera(0);
    QCOMPARE(f.page->selectedCamera(), f.cameras.entry(0));
    QCOMPARE(text->toPlainText(), before);
  }

  void copyAndSaveAsHandTheReportOn() {
    auto module = simulate({"korvane-kv640m"});
    Fixture f(*module);
    f.chooseCamera(0);
    runReport(f, "dumpButton");
    const QString text = f.find<QPlainTextEdit>("reportText")->toPlainText();
    QVERIFY(text.startsWith("********* QORVEL DCAM MODULE INFO"));

    QApplication::clipboard()->clear();
    f.click("copyButton");
    QCOMPARE(QApplication::clipboard()->text(), text);

    QTemporaryDir dir;
    QString suggested;
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
    QString expected = shown(f.page->report());
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
    Fixture f(*module);
    f.chooseCamera(0);
    module->simControl()->unplug(0);
    runReport(f, "dumpButton");
    QCOMPARE(f.prompter.messages.size(), 1);
    QCOMPARE(f.prompter.messages[0].caption, QString(kErrorCaption));
    QVERIFY(!f.prompter.messages[0].text.isEmpty());
    QVERIFY(f.find<QPlainTextEdit>("reportText")->toPlainText().isEmpty());
    QVERIFY(f.button("dumpButton")->isEnabled());
    QVERIFY(f.button("selectButton")->isEnabled());
    QVERIFY(!f.button("copyButton")->isEnabled());
    QVERIFY(!QApplication::overrideCursor());
  }

  void closingThePageDuringADumpWaitsForTheWorker() {
    auto module = simulate({"korvane-kv640m"});
    module->simControl()->setLatency(20us, 20us);
    Fixture f(*module);
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

QTEST_MAIN(TestPageRegDump)
#include "page_reg_dump_test.moc"
