// The camera capabilities page: built on a worker, shown whole when complete, copied and saved.
#include <QApplication>
#include <QClipboard>
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

using Fixture = PageFixture<CPageFormats>;

}  // namespace

class TestPageFormats : public QObject {
  Q_OBJECT

 private slots:
  void nothingActsBeforeACameraIsChosen() {
    auto module = simulate({"orbel-ux1600b"});
    Fixture f(*module);
    QCOMPARE(f.page->windowTitle(), QString("DCAM Utilites::Camera Capabilities"));
    QCOMPARE(f.find<QLineEdit>("selectedCamera")->text(), QString("Please select a camera"));
    QVERIFY(f.button("selectButton")->isEnabled());
    QVERIFY(!f.button("capabilitiesButton")->isEnabled());
    QVERIFY(!f.button("copyButton")->isEnabled());
    QVERIFY(!f.button("saveButton")->isEnabled());
    f.page->buildReport();
    QVERIFY(!f.page->isBuilding());

    // Cancelling the selection keeps the page as it was.
    f.chooseCamera(0, true);
    QCOMPARE(f.find<QLineEdit>("selectedCamera")->text(), QString("Please select a camera"));
    QVERIFY(!f.button("capabilitiesButton")->isEnabled());
  }

  void reportIsShownWholeWhileTheWindowStaysLive() {
    auto module = simulate({"korvane-kv640m", "orbel-ux1600b"});
    // The usual bus figures: the speed measurement alone takes a noticeable while.
    module->simControl()->setLatency(100us, 400us);
    Fixture f(*module);
    f.chooseCamera(1);
    QVERIFY(f.button("capabilitiesButton")->isEnabled());

    // The window's own timers keep running while the report is built.
    int ticks = 0;
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, [&ticks] { ++ticks; });
    ticker.start(5);
    const QList<ReportProgressSeen> seen = runReport(f, "capabilitiesButton");
    ticker.stop();
    QVERIFY(ticks > 0);
    QVERIFY(!seen.isEmpty());
    for (const ReportProgressSeen& s : seen) {
      QVERIFY(s.textEmpty);
      QVERIFY(!s.buttonEnabled);
      QVERIFY(s.waitCursor);
    }

    const QString name = QString::fromStdString(f.cameras.entry(1)->displayName());
    const QString text = f.find<QPlainTextEdit>("reportText")->toPlainText();
    QVERIFY2(text.startsWith("********* " + name +
                             " ********** \n\n********* QORVEL DCAM MODULE "
                             "INFO ********** \n\nRunning qrvnvdcam"),
             qPrintable(text.left(200)));
    QVERIFY(text.contains("\nSUPPORTED FORMAT7 or VENDOR SPECIFIC FORMATS\n"));
    QVERIFY(text.endsWith("\nUsual average time to write register (us) : 400 us"));
    QCOMPARE(text, QString::fromStdString(f.page->report()).replace("\r\n", "\n"));
    for (const char* button : {"selectButton", "capabilitiesButton", "copyButton", "saveButton"})
      QVERIFY2(f.button(button)->isEnabled(), button);
    QVERIFY(!QApplication::overrideCursor());
    QVERIFY(!f.find<QProgressBar>("reportProgress")->isVisible());
    QVERIFY(f.prompter.messages.isEmpty());
  }

  void copyAndSaveAsHandTheReportOn() {
    auto module = simulate({"tessaly-f7flex"});
    Fixture f(*module);
    f.chooseCamera(0);
    runReport(f, "capabilitiesButton");
    const QString text = f.find<QPlainTextEdit>("reportText")->toPlainText();
    QVERIFY(text.contains("REGISTER ACCESS SPEED MEASUREMENT"));

    QApplication::clipboard()->clear();
    f.click("copyButton");
    QCOMPARE(QApplication::clipboard()->text(), text);

    QTemporaryDir dir;
    QString suggested;
    f.page->setFileNamePrompt([&](QWidget*, const QString& name) {
      suggested = name;
      return dir.filePath("caps.txt");
    });
    f.click("saveButton");
    QVERIFY(suggested.endsWith("/camera-capabilities.txt"));
    QFile saved(dir.filePath("caps.txt"));
    QVERIFY(saved.open(QIODevice::ReadOnly));
    QString expected = text;
#ifdef Q_OS_WIN
    expected.replace("\n", "\r\n");
#endif
    QCOMPARE(saved.readAll(), expected.toUtf8());
    QVERIFY(f.prompter.messages.isEmpty());
  }
};

QTEST_MAIN(TestPageFormats)
#include "page_formats_test.moc"
