// The program's shell: start-up rules, the main dialog, the page tree and the
// delivery of bus events to the GUI thread.
#include <QAction>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QThread>
#include <QTreeWidget>
#include <QtTest>

#include <chrono>
#include <thread>

#include "acquisition/module_loader.h"
#include "app/camera_list.h"
#include "gui/bus_event_log.h"
#include "gui/dcam_pralix_app.h"
#include "gui/main_dialog.h"
#include "gui/page_info.h"
#include "gui/page_reg_rw.h"
#include "gui/page_topology.h"
#include "gui/prop_sheet.h"
#include "gui/queued_calls.h"
#include "gui/select_dcam_dlg.h"
#include "gui/sim_bus_dlg.h"
#include "gui_test_support.h"
#include "support/fake_camera.h"

namespace {

// The main dialog over a fake module, shown.
struct ShellFixture {
  explicit ShellFixture(bool simulated = false, QStringList arguments = {})
      : module(2, simulated), cameras(module), app(arguments, prompter, lockDir.path()) {
    CPageServices services;
    services.cameras = &cameras;
    services.prompter = &prompter;
    services.legacy = app.legacy();
    dialog = std::make_unique<DcamPralixDlg>(app, services);
    dialog->show();
  }
  QTreeWidget* tree() const { return dialog->findChild<QTreeWidget*>("pageTree"); }
  QTreeWidgetItem* node(const QString& caption) const {
    for (QTreeWidgetItemIterator it(tree()); *it; ++it) {
      QString path = (*it)->text(0);
      for (auto* p = (*it)->parent(); p; p = p->parent()) path = p->text(0) + "::" + path;
      if (path == caption) return *it;
    }
    return nullptr;
  }
  void clickNode(const QString& caption) const {
    QTreeWidgetItem* item = node(caption);
    QVERIFY2(item, qPrintable(caption));
    tree()->scrollToItem(item);
    QTest::mouseClick(tree()->viewport(), Qt::LeftButton, {},
                      tree()->visualItemRect(item).center());
  }
  QWidget* currentPage() const { return dialog->sheet()->currentPage(); }

  QTemporaryDir lockDir;
  FakeModule module;
  vxCameraList cameras;
  CRecordingPrompter prompter;
  CDcamPralixApp app;
  std::unique_ptr<DcamPralixDlg> dialog;
};

// Stands in for an acquisition window: receives forwarded events by queued calls.
class EventReceiver : public QObject {
 public:
  vxBusEventPost window() {
    return [post = m_calls.poster(), this](int number, vxDcamBusEventInfo info) {
      post([this, number, info] {
        received.append({number, info});
        threads.append(QThread::currentThread());
      });
    };
  }
  QList<QPair<int, vxDcamBusEventInfo>> received;
  QList<QThread*> threads;

 private:
  CQueuedCalls m_calls{this};
};

// Answers every modal dialog that comes up while it lives: picks the row of
// a camera selection and presses OK, or cancels when row is -1. Counts them.
class ModalAnswer {
 public:
  explicit ModalAnswer(int row = -1) {
    QObject::connect(&m_timer, &QTimer::timeout, [this, row] {
      auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
      if (!dialog) return;
      ++count;
      auto* list = dialog->findChild<QListWidget*>("cameraList");
      if (row >= 0 && list) {
        list->setCurrentRow(row);
        dialog->accept();
      }
      if (dialog->isVisible()) dialog->reject();
    });
    m_timer.start(10);
  }
  int count = 0;

 private:
  QTimer m_timer;
};

const QRegularExpression kStamp("^\\d\\d/\\d\\d-\\d\\d:\\d\\d:\\d\\d-:");

}  // namespace

class TestShell : public QObject {
  Q_OBJECT

 private slots:
  void treeHoldsEveryPageUnderItsGroupOnce() {
    ShellFixture f;
    QCOMPARE(f.dialog->sheet()->caption(), QString("Caption"));
    const QStringList expected = {
        "DCAM Utilites",
        "DCAM Utilites::Camera Capabilities",
        "DCAM Utilites::Register Read/Write",
        "DCAM Utilites::Acquire Images",
        "DCAM Utilites::DCAM Properties",
        "DCAM Utilites::Register Dump",
        "Diagnostic Utlities",
        "Diagnostic Utlities::Topology",
        "Diagnostic Utlities::Driver Install",
        "Diagnostic Utlities::Validate",
        "TroubleShoot",
        "TroubleShoot::Configuration",
    };
    QCOMPARE(f.dialog->sheet()->nodeCaptions(), expected);
    QCOMPARE(f.tree()->topLevelItemCount(), 3);
  }

  void selectingNodesShowsTheirPages() {
    ShellFixture f;
    // The first group carries the information page as its own.
    QVERIFY(qobject_cast<CPageInfo*>(f.currentPage()));

    f.clickNode("Diagnostic Utlities");
    QCOMPARE(f.currentPage()->objectName(), QString("emptyGroupPage"));
    QCOMPARE(f.currentPage()->findChild<QLabel*>("emptyGroupText")->text(),
             QString("Select a sub-page"));

    f.clickNode("Diagnostic Utlities::Topology");
    QVERIFY(qobject_cast<CPageTopology*>(f.currentPage()));
    f.clickNode("TroubleShoot");
    QCOMPARE(f.currentPage()->objectName(), QString("emptyGroupPage"));
    f.clickNode("DCAM Utilites::Register Read/Write");
    QCOMPARE(f.currentPage()->windowTitle(), QString("DCAM Utilites::Register Read/Write"));
    QVERIFY(f.currentPage()->findChild<QPushButton*>("readButton"));
    f.clickNode("DCAM Utilites");
    QVERIFY(qobject_cast<CPageInfo*>(f.currentPage()));
  }

  void pagesFollowTheWindowSize() {
    ShellFixture f;
    f.clickNode("DCAM Utilites::Register Dump");
    f.dialog->resize(800, 500);
    QTRY_VERIFY(f.currentPage()->isVisible());
    const QSize small = f.currentPage()->size();
    f.dialog->resize(1200, 800);
    QTRY_VERIFY(f.currentPage()->width() >= small.width() + 300);
    QVERIFY(f.currentPage()->height() >= small.height() + 250);
  }

  void aNarrowWindowLeavesTheRoomToThePage() {
    ShellFixture f;
    f.dialog->resize(640, 480);
    QVERIFY(QTest::qWaitForWindowExposed(f.dialog.get()));
    QTreeWidget* tree = f.tree();
    // The tree keeps the width of its captions, no more.
    int widest = 0;
    for (QTreeWidgetItemIterator it(tree); *it; ++it) {
      const int depth = (*it)->parent() ? ((*it)->parent()->parent() ? 3 : 2) : 1;
      widest = std::max(widest, depth * tree->indentation() + tree->fontMetrics().horizontalAdvance((*it)->text(0)));
    }
    QTRY_VERIFY(tree->width() >= widest);
    QVERIFY2(tree->width() <= widest + 60, qPrintable(QString("tree %1 for captions of %2").arg(tree->width()).arg(widest)));

    // A long camera name is shown from its start, whole in the tool tip.
    f.module.fake(1).vendor = "Qorvel Machine Vision Instruments Incorporated";
    f.module.fake(1).model = "Ultra High Resolution Inspection Camera";
    vxCameraList cameras(f.module);
    CPageServices services;
    services.cameras = &cameras;
    services.prompter = &f.prompter;
    CPageRegRW page(services);
    page.resize(300, 200);
    page.show();
    ModalAnswer answer(1);
    QTest::mouseClick(page.findChild<QPushButton*>("selectButton"), Qt::LeftButton);
    auto* name = page.findChild<QLineEdit*>("selectedCamera");
    QCOMPARE(name->toolTip(), QString::fromStdString(cameras.entry(1)->displayName()));
    QCOMPARE(name->text(), name->toolTip());
    QCOMPARE(name->cursorPosition(), 0);
  }

  void helpAndUnknownOptionsAnswerWithoutAWindow() {
    struct Run {
      int status;
      QString out, err;
    };
    auto run = [](const QStringList& arguments) {
      QProcess process;
      QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
      // With no display at all the answers must come before Qt needs one.
      environment.remove("DISPLAY");
      environment.remove("WAYLAND_DISPLAY");
      environment.remove("QT_QPA_PLATFORM");
      process.setProcessEnvironment(environment);
      process.start(DCAM_PRALIX_BIN, arguments);
      process.waitForFinished(30000);
      return Run{process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
                 QString::fromUtf8(process.readAllStandardError())};
    };
    const Run help = run({"--help"});
    QCOMPARE(help.status, 0);
    QVERIFY(help.out.startsWith("Usage: dcam-pralix [--simulate[=PROFILE,...]] [-legacy] [--help] [--version]"));
    const Run version = run({"--version"});
    QCOMPARE(version.status, 0);
    QVERIFY(version.out.startsWith("dcam-pralix "));
    const Run unknown = run({"--simulate", "--fast"});
    QCOMPARE(unknown.status, 2);
    QVERIFY(unknown.err.startsWith("dcam-pralix: unknown option '--fast'"));
    QVERIFY(unknown.err.contains("Usage: dcam-pralix"));
    QVERIFY(unknown.out.isEmpty());
  }

  void firstShownIsToldOnceWhenTheWindowIsOnScreen() {
    ShellFixture f;
    QVERIFY(QTest::qWaitForWindowExposed(f.dialog.get()));
    // The fixture's dialog was shown before a spy could listen: a new one.
    CPageServices services;
    services.cameras = &f.cameras;
    services.prompter = &f.prompter;
    DcamPralixDlg dialog(f.app, services);
    QSignalSpy shown(&dialog, &DcamPralixDlg::firstShown);
    QTest::qWait(20);
    QCOMPARE(shown.count(), 0);
    dialog.show();
    QTRY_COMPARE(shown.count(), 1);
    QVERIFY(dialog.windowHandle()->isExposed());
    dialog.hide();
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QTest::qWait(20);
    QCOMPARE(shown.count(), 1);
  }

  void startupTimingReadsTheProcessStartAndSaysBoth() {
    // Field 22 counted past a command name holding blanks and parentheses.
    QByteArray stat = "4242 (odd) name (x)) S 1 4242 4242 0 -1 4194560 100 0 0 0 1 2 0 0 20 0 3 0 ";
    QCOMPARE(CDcamPralixApp::processStartTicks(stat + "987654 123 456\n"),
             std::optional<std::uint64_t>(987654));
    QVERIFY(!CDcamPralixApp::processStartTicks(stat).has_value());
    QVERIFY(!CDcamPralixApp::processStartTicks("4242 odd S 1 2 3").has_value());
    QVERIFY(!CDcamPralixApp::processStartTicks(stat + "x12 1 2\n").has_value());

    // This test program started a moment ago, and the clock runs in seconds.
    const std::optional<double> first = CDcamPralixApp::secondsSinceProcessStart();
    QVERIFY(first.has_value());
    QVERIFY2(*first >= 0.0 && *first < 600.0, qPrintable(QString::number(*first)));
    // The process clock agrees with the steady clock over the same stretch:
    // between what elapsed strictly inside the two readings and what elapsed
    // around them, give or take the 10 ms the kernel counts in. Comparing two
    // clocks keeps a busy machine from breaking the check.
    using Steady = std::chrono::steady_clock;
    const Steady::time_point outerStart = Steady::now();
    const double before = *CDcamPralixApp::secondsSinceProcessStart();
    const Steady::time_point innerStart = Steady::now();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const Steady::time_point innerEnd = Steady::now();
    const double waited = *CDcamPralixApp::secondsSinceProcessStart() - before;
    const Steady::time_point outerEnd = Steady::now();
    const double inner = std::chrono::duration<double>(innerEnd - innerStart).count();
    const double outer = std::chrono::duration<double>(outerEnd - outerStart).count();
    QVERIFY2(waited > inner - 0.021 && waited < outer + 0.021,
             qPrintable(QString("%1 not within %2..%3").arg(waited).arg(inner).arg(outer)));

    using std::chrono::microseconds;
    QCOMPARE(CDcamPralixApp::startupTimingText(microseconds(123456), 0.2004),
             QString("Start-up: first window shown 123.5 ms after main() began, "
                     "200 ms after the process started"));
    QCOMPARE(CDcamPralixApp::startupTimingText(microseconds(5000), std::nullopt),
             QString("Start-up: first window shown 5.0 ms after main() began"));
  }

  void tabRunsFromTheTreeThroughThePageToClose() {
    ShellFixture f;
    f.dialog->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(f.dialog.get()));
    QCOMPARE(QApplication::focusWidget(), f.tree());
    f.clickNode("DCAM Utilites::Register Read/Write");
    QWidget* page = f.currentPage();
    {
      ModalAnswer chooseFirst(0);
      QTest::keyClick(f.tree(), Qt::Key_Tab);
      QCOMPARE(QApplication::focusWidget()->objectName(), QString("selectedCamera"));
      QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
      QCOMPARE(QApplication::focusWidget()->objectName(), QString("selectButton"));
      // Enter on a focused button presses it.
      QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
      QCOMPARE(chooseFirst.count, 1);
    }
    // The focus comes back to the button once the main window is active again
    // (the offscreen platform has no window manager to hand the activation back).
    f.dialog->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(f.dialog.get()));
    QTRY_VERIFY(QApplication::focusWidget());
    QCOMPARE(QApplication::focusWidget()->objectName(), QString("selectButton"));
    QCOMPARE(page->findChild<QLineEdit*>("selectedCamera")->text(),
             QString::fromStdString(f.cameras.entry(0)->displayName()));
    QStringList order;
    for (int i = 0; i < 9; ++i) {
      QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
      order.append(QApplication::focusWidget()->objectName());
    }
    QCOMPARE(order, (QStringList{"addressEdit", "readButton", "valueEdit", "writeButton", "resetButton",
                                 "registerEditorButton", "closeButton", "pageTree", "selectedCamera"}));
  }

  void enterInTheAddressBoxReadsAndNothingElse() {
    ShellFixture f;
    f.clickNode("DCAM Utilites::Register Read/Write");
    QWidget* page = f.currentPage();
    {
      ModalAnswer chooseSecond(1);
      QTest::mouseClick(page->findChild<QPushButton*>("selectButton"), Qt::LeftButton);
    }
    f.module.fake(1).set(0x604, 0x1F);
    auto* address = page->findChild<QLineEdit*>("addressEdit");
    auto* value = page->findChild<QLineEdit*>("valueEdit");
    ModalAnswer anyDialog;
    address->setFocus();
    QTest::keyClicks(address, "604");
    QTest::keyClick(address, Qt::Key_Return);
    QCOMPARE(value->text(), QString("0000001F"));
    // Ready for the next address.
    QCOMPARE(address->selectedText(), QString("604"));
    QTest::keyClicks(address, "zz");
    QTest::keyClick(address, Qt::Key_Enter, Qt::KeypadModifier);
    QCOMPARE(f.prompter.texts(), QStringList{"The address \"zz\" is not a hexadecimal number."});
    QCOMPARE(value->text(), QString("0000001F"));
    QVERIFY(f.dialog->isVisible());
    QCOMPARE(anyDialog.count, 0);
  }

  void enterInTheTreePressesNoButtonOfAnyPage() {
    ShellFixture f;
    ModalAnswer anyDialog;
    // Each page in view in turn, and one of its buttons focused and left
    // before, so that it was the dialog's default for a while.
    for (const QString& caption : f.dialog->sheet()->nodeCaptions()) {
      f.clickNode(caption);
      if (auto* button = f.currentPage()->findChild<QPushButton*>()) {
        button->setFocus();
        f.tree()->setFocus();
      }
      QTest::keyClick(f.tree(), Qt::Key_Return);
      QTest::keyClick(f.tree(), Qt::Key_Enter, Qt::KeypadModifier);
      QVERIFY2(f.dialog->isVisible(), qPrintable(caption));
      QVERIFY2(anyDialog.count == 0, qPrintable(caption));
    }
    QVERIFY(f.prompter.messages.isEmpty());
  }

  void closeIsRefusedWhileAnAcquisitionRuns() {
    ShellFixture f;
    f.app.acquisitionStarted();
    QTest::mouseClick(f.dialog->findChild<QPushButton*>("closeButton"), Qt::LeftButton);
    QTest::keyClick(f.dialog.get(), Qt::Key_Escape);
    f.dialog->close();
    QVERIFY(f.dialog->isVisible());
    QCOMPARE(f.prompter.messages.size(), 3);
    for (const RecordedMessage& m : f.prompter.messages) {
      QCOMPARE(m.text, QString("Please stop all image acquisition before exiting DCAM Pralix."));
      QCOMPARE(m.icon, CPrompter::Icon::Exclamation);
    }

    f.app.acquisitionStopped();
    QCOMPARE(f.app.runningAcquisitionCount(), 0);
    QTest::mouseClick(f.dialog->findChild<QPushButton*>("closeButton"), Qt::LeftButton);
    QVERIFY(!f.dialog->isVisible());
    QCOMPARE(f.dialog->result(), 0);
    QCOMPARE(f.prompter.messages.size(), 3);
  }

  void aSecondInstanceIsRefusedAndTheFirstKeepsRunning() {
    QTemporaryDir dir;
    CRecordingPrompter prompter;
    auto first = std::make_unique<CDcamPralixApp>(QStringList{}, prompter, dir.path());
    QVERIFY(first->lockInstance());
    QCOMPARE(QFileInfo(first->instanceLockPath()).fileName(), QString("DPralixInstanceMutex"));

    CDcamPralixApp second(QStringList{}, prompter, dir.path());
    QCOMPARE(second.run(), 1);
    QCOMPARE(prompter.texts(), QStringList{"DCAM Pralix is already running!"});
    QVERIFY(!second.holdsInstanceLock());
    QVERIFY(first->holdsInstanceLock());

    first.reset();
    CDcamPralixApp third(QStringList{}, prompter, dir.path());
    QVERIFY(third.lockInstance());
  }

  void commandLineTakesLegacyAndSimulateAndLegacyChangesTheTopologyPage() {
    // The parsing itself is the command line's own test; here the app uses it.
    CRecordingPrompter prompter;
    CDcamPralixApp padded({"  -legacy ", " "}, prompter, QDir::tempPath());
    QCOMPARE(padded.commandLine(), QString("-legacy"));
    QVERIFY(padded.legacy());
    QVERIFY(!padded.simulate().has_value());
    QCOMPARE(CDcamPralixApp({"--simulate=a,b"}, prompter, QDir::tempPath()).simulate(),
             std::optional<std::string>("a,b"));

    auto topologyHeader = [](const ShellFixture& f) {
      return f.dialog->sheet()->pageTopology()->findChild<QTreeWidget*>("topologyTree")->headerItem()->text(0);
    };
    QCOMPARE(topologyHeader(ShellFixture(false, {"-legacy"})),
             QString("PCI and DCAM Device Topology - Legacy Ordering"));
    QCOMPARE(topologyHeader(ShellFixture()), QString("PCI and DCAM Device Topology"));
  }

  void moduleInformationNamesModuleAndBusLayers() {
    ShellFixture f;
    QAction* modules = f.dialog->findChild<QAction*>("actionModules");
    QVERIFY(modules);
    modules->trigger();
    QCOMPARE(f.prompter.messages.size(), 1);
    QVERIFY(f.prompter.messages[0].text.contains("Fake DCAM module 9.9"));
    QVERIFY(f.prompter.messages[0].text.contains("fake bus: 2 cameras"));
    QCOMPARE(f.dialog->findChild<QLabel*>("moduleStatus")->text(), QString("fake bus: 2 cameras"));
    // Without a simulated bus there is nothing to control.
    QVERIFY(!f.dialog->findChild<QAction*>("actionSimulatedBus")->isEnabled());
  }

  void refusedProfileIsShownWhileTheOtherCamerasRun() {
    QTemporaryDir dir;
    const QString bad = dir.filePath("bad.json");
    QFile file(bad);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("{bad");
    file.close();
    CRecordingPrompter prompter;
    CDcamPralixApp app({"--simulate=" + bad + ",korvane-kv640m"}, prompter, dir.path());
    app.startAcquisitionModule();
    QCOMPARE(app.refusedProfiles().size(), 1);
    QVERIFY(app.refusedProfiles()[0].startsWith("Profile " + bad + ": not valid JSON"));
    {
      vxCameraList cameras(vxAcquisitionModule());
      QCOMPARE(cameras.size(), size_t{1});
      CPageServices services;
      services.cameras = &cameras;
      services.prompter = &prompter;
      DcamPralixDlg dialog(app, services);
      const QString status = dialog.findChild<QLabel*>("moduleStatus")->text();
      QVERIFY2(status.contains("Profile " + bad + ": not valid JSON"), qPrintable(status));
    }
    vx_ModuleRegistry::instance().setModule(nullptr);
  }

  void aCameraThatComesBackIsOfferedAsRespondingWithoutARestart() {
    ShellFixture f;
    const std::shared_ptr<vxCameraEntry> old = f.cameras.entry(1);
    f.module.fake(1).setPlugged(false);
    f.module.fireBusEvent(1, FakeModule::unplugEvent());
    QVERIFY(old->isUnplugged());
    // It comes back, and its arrival resets the bus.
    f.module.fake(1).setPlugged(true);
    f.module.fireBusEvent(0, FakeModule::busResetEvent(7));
    QTRY_VERIFY(f.cameras.entry(1) != old);
    QVERIFY(old->isUnplugged());
    CSelectDCAMDlg dialog(f.cameras, f.prompter, true);
    auto* list = dialog.findChild<QListWidget*>("cameraList");
    QCOMPARE(list->count(), 2);
    QCOMPARE(list->item(1)->text(), QString::fromStdString(old->displayName()));
  }

  void busEventsArriveOnTheGuiThreadByQueuedCalls() {
    ShellFixture f;
    EventReceiver window;
    f.cameras.entry(0)->setAcquisitionWindow(window.window());
    CBusEventLog* log = f.dialog->busEventLog();

    // A bus reset of a camera without an acquisition window.
    f.module.fireBusEvent(1, FakeModule::busResetEvent(5));
    QCOMPARE(log->lines().size(), 0);  // nothing is delivered before the GUI thread runs
    QTRY_COMPARE(log->lines().size(), 3);
    QVERIFY(log->lines()[0].contains(kStamp));
    QVERIFY(log->lines()[0].contains("-:Bus Event [bus reset], dcamNo: 1, dcamNodeNo: "));
    QVERIFY(
        log->lines()[1].endsWith("-:    initiatorNodeNo: 1, busResetCount: 1, busNodeCount: 3,"));
    QVERIFY(log->lines()[2].endsWith("-:    busGenerationCount: 5"));
    QTest::qWait(20);
    QVERIFY(window.received.isEmpty());

    // The camera with a window gets the raw record as well.
    f.module.fireBusEvent(0, FakeModule::unplugEvent());
    QTRY_COMPARE(window.received.size(), 1);
    QCOMPARE(window.received[0].first, 0);
    QVERIFY(window.received[0].second.isUnplugged());
    QCOMPARE(window.threads[0], QThread::currentThread());
    QTRY_COMPARE(log->lines().size(), 4);
    QVERIFY(log->lines()[3].endsWith("-:Bus Event [unplugged], dcamNo: 0 "));
  }

  void simulatedBusWindowUnplugsAndResets() {
    ShellFixture f(true);
    QAction* action = f.dialog->findChild<QAction*>("actionSimulatedBus");
    QVERIFY(action->isEnabled());
    action->trigger();
    CSimBusDlg* window = f.dialog->simBusWindow();
    QVERIFY(window && window->isVisible());
    auto* list = window->findChild<QListWidget*>("simCameraList");
    auto* log = window->findChild<QPlainTextEdit*>("busEventLog");
    QCOMPARE(list->count(), 2);
    QVERIFY(list->item(1)->text().endsWith("plugged"));

    QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                      list->visualItemRect(list->item(1)).center());
    QTest::mouseClick(window->findChild<QPushButton*>("unplugButton"), Qt::LeftButton);
    QVERIFY(list->item(1)->text().endsWith("- unplugged"));
    QTRY_VERIFY(log->toPlainText().contains("Bus Event [unplugged], dcamNo: 1 "));
    QVERIFY(f.cameras.entry(1)->isUnplugged());

    QTest::mouseClick(window->findChild<QPushButton*>("busResetButton"), Qt::LeftButton);
    QTRY_COMPARE(log->toPlainText().count("busGenerationCount: "), 2);
    auto* stats = window->findChild<QLabel*>("busStatistics");
    QTRY_VERIFY(stats->text().contains("Unplugs: 1 "));
    QVERIFY(stats->text().contains("Bus resets: 2 "));

    QTest::mouseClick(window->findChild<QPushButton*>("replugButton"), Qt::LeftButton);
    QVERIFY(list->item(1)->text().endsWith("- plugged"));
  }
};

QTEST_MAIN(TestShell)
#include "shell_test.moc"
