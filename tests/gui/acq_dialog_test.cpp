// The acquisition windows: the Acquire Images page opening them, their
// operations, worker, statistics, log and bus events, on simulated cameras.
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QSlider>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

#include "acquisition/dcam_registers.h"
#include "acquisition/sim_control.h"
#include "app/camera_list.h"
#include "gui/acq_dialog.h"
#include "gui/acq_windows.h"
#include "gui/dcam_pralix_app.h"
#include "gui/display_console.h"
#include "gui/histogram_wnd.h"
#include "gui/main_dialog.h"
#include "gui/page_test_camera.h"
#include "gui_test_support.h"
#include "modules/qrvnvdcam/module.h"
#include "support/test_paths.h"

namespace {

std::unique_ptr<vx_DcamModule> simulate(
    std::vector<std::string> profiles = {"korvane-kv640m", "korvane-kv640m", "korvane-kv640m"}) {
  vx_ModuleOptions options;
  options.simulate = true;
  options.realBus = false;
  options.simulatedProfiles = std::move(profiles);
  options.profileDirs = {pralix_test::profilesDir()};
  auto module = std::make_unique<vx_QrvnvDcamModule>(options);
  // Frames ten times faster than real time keep the runs short.
  module->simControl()->setTimeScale(10.0);
  return module;
}

// The simulated module, the camera list and a window registry as the main
// dialog has them.
struct AcqFixture {
  AcqFixture() : AcqFixture(simulate()) {}
  explicit AcqFixture(std::unique_ptr<vx_DcamModule> simulated)
      : module(std::move(simulated)), cameras(*module) {
    services.cameras = &cameras;
    services.prompter = &prompter;
    windows = std::make_unique<CAcqWindows>(services);
    services.acqWindows = windows.get();
  }
  ~AcqFixture() { windows.reset(); }

  vx_SimBusControl& sim() const { return *module->simControl(); }

  // A window bound to a camera with a FIFO for "640x480 Mono 30 FPS".
  CAcqDialog* ready(int camera, const QString& format = "640x480 Mono 30 FPS") {
    CAcqDialog* window = windows->open();
    window->useCamera(cameras.entry(static_cast<size_t>(camera)));
    auto* formats = window->findChild<QComboBox*>("videoFormatList");
    formats->setCurrentIndex(formats->findText(format));
    click(window, "initializeButton");
    return window;
  }

  static void click(CAcqDialog* window, const char* name) {
    auto* button = window->findChild<QPushButton*>(name);
    if (!button) qFatal("no button %s", name);
    QTest::mouseClick(button, Qt::LeftButton);
  }
  static QString field(CAcqDialog* window, const char* name) {
    return window->findChild<QLineEdit*>(name)->text();
  }
  static QString lastLine(CAcqDialog* window) {
    const QStringList lines = window->logLines();
    return lines.isEmpty() ? QString() : lines.last();
  }
  static int indexOf(CAcqDialog* window, const QString& text) {
    const QStringList lines = window->logLines();
    for (int i = 0; i < lines.size(); ++i)
      if (lines[i].contains(text)) return i;
    return -1;
  }

  std::unique_ptr<vx_DcamModule> module;
  vxCameraList cameras;
  CRecordingPrompter prompter;
  CPageServices services;
  std::unique_ptr<CAcqWindows> windows;
};

// "11/23-00:35:30-: Stopped acquisition, 12 images acquired"
const QRegularExpression kStamp(R"(^\d\d/\d\d-\d\d:\d\d:\d\d-: )");

}  // namespace

class AcqDialogTest : public QObject {
  Q_OBJECT
 private slots:
  void pageOpensIndependentWindowsAndMarksTheirCamerasInUse() {
    AcqFixture f;
    CPageTestCamera page(f.services);
    auto* open = page.findChild<QPushButton*>("openAcquisitionButton");
    QVERIFY(open->isEnabled());
    QTest::mouseClick(open, Qt::LeftButton);
    QTest::mouseClick(open, Qt::LeftButton);
    const QList<CAcqDialog*> windows = f.windows->windows();
    QCOMPARE(windows.size(), 2);
    QVERIFY(windows[0] != windows[1]);
    QVERIFY(windows[0]->isVisible() && windows[1]->isVisible());

    // Each picks its camera in the exclusive selection dialog.
    for (int row : {0, 1}) {
      whenModalDialogRuns([row](QDialog* dialog) {
        auto* list = dialog->findChild<QListWidget*>("cameraList");
        list->setCurrentRow(row);
        QTest::mouseClick(dialog->findChild<QPushButton*>("okButton"), Qt::LeftButton);
      });
      AcqFixture::click(windows[row], "selectCameraButton");
    }
    QCOMPARE(windows[0]->camera()->cameraNumber(), 0);
    QCOMPARE(windows[1]->camera()->cameraNumber(), 1);
    QCOMPARE(windows[0]->logLines(),
             QStringList{"Camera: " + QString::fromStdString(f.cameras.entry(0)->displayName())});
    QCOMPARE(windows[1]->logLines(),
             QStringList{"Camera: " + QString::fromStdString(f.cameras.entry(1)->displayName())});

    // Both cameras are now in use; a third window sees that and is refused them.
    QStringList rows;
    whenModalDialogRuns([&rows](QDialog* dialog) {
      auto* list = dialog->findChild<QListWidget*>("cameraList");
      for (int i = 0; i < list->count(); ++i) rows.append(list->item(i)->text());
      list->setCurrentRow(0);
      QTest::mouseClick(dialog->findChild<QPushButton*>("okButton"), Qt::LeftButton);
    });
    CAcqDialog* third = f.windows->open();
    AcqFixture::click(third, "selectCameraButton");
    QCOMPARE(rows.size(), 3);
    QVERIFY(rows[0].endsWith(" (in-use)") && rows[1].endsWith(" (in-use)"));
    QVERIFY(!rows[2].endsWith(" (in-use)"));
    QVERIFY(f.prompter.texts().contains("Selected camera is not available!"));
    QVERIFY(!third->camera());

    // Closing a window frees its camera and leaves the other one alone.
    windows[0]->close();
    QTRY_COMPARE(f.windows->windows().size(), 2);
    QVERIFY(!f.cameras.entry(0)->hasAcquisitionWindow());
    QVERIFY(f.cameras.entry(1)->hasAcquisitionWindow());
  }

  void messagesBeforeACameraOrFifoAndTheInitialTexts() {
    AcqFixture f;
    CAcqDialog* window = f.windows->open();
    QCOMPARE(window->windowTitle(), QString("DCAM Image Acquisition"));
    QCOMPARE(AcqFixture::field(window, "imagesAcquired"), QString("0"));
    QCOMPARE(AcqFixture::field(window, "acquisitionRate"), QString("0fps"));
    QCOMPARE(AcqFixture::field(window, "shortestTime"), QString("10000.00ms"));

    AcqFixture::click(window, "singleImageButton");
    AcqFixture::click(window, "continuousButton");
    QCOMPARE(f.prompter.texts(), (QStringList{"Create Fifo First", "Please Create Fifo First"}));
    for (const RecordedMessage& m : f.prompter.messages) {
      QCOMPARE(m.caption, QString("Error"));
      QCOMPARE(m.icon, CPrompter::Icon::Exclamation);
    }
    QCOMPARE(window->findChild<QPushButton*>("continuousButton")->text(), QString("Continuous"));
    QVERIFY(!window->isAcquiring());

    window->useCamera(f.cameras.entry(0));
    window->findChild<QComboBox*>("videoFormatList")->setCurrentIndex(-1);
    AcqFixture::click(window, "initializeButton");
    QCOMPARE(f.prompter.texts().last(), QString("No Video format Selected."));
    QVERIFY(!window->fifo());

    // The time-out keeps its value for "0" and for text that is no number.
    auto* timeout = window->findChild<QLineEdit*>("timeoutEdit");
    for (const QString& text : {QString("0"), QString("fast"), QString("-2")}) {
      timeout->setText(text);
      emit timeout->editingFinished();
      QCOMPARE(window->timeoutSeconds(), CAcqDialog::kInitialTimeoutSeconds);
    }
    timeout->setText("2.5");
    emit timeout->editingFinished();
    QCOMPARE(window->timeoutSeconds(), 2.5);
  }

  void singleImageContinuousAndStopWithCountersAndLog() {
    AcqFixture f;
    CAcqDialog* window = f.ready(0);
    QVERIFY(window->fifo());
    QCOMPARE(window->logLines().mid(1, 2),
             (QStringList{"Acquisition initialized, fifo created.", "Exposure range: 1 to 2047"}));
    QCOMPARE(window->findChild<QLineEdit*>("exposureEdit")->text(), QString("307"));
    QVERIFY(window->console() && window->console()->isVisible());
    QCOMPARE(window->console()->windowTitle(), QString("DCAM Pralix Display Console"));
    QCOMPARE(window->console()->size(), QSize(660, 550));

    QSignalSpy finished(window, &CAcqDialog::workerFinished);
    AcqFixture::click(window, "singleImageButton");
    QVERIFY(finished.wait(10000));
    QVERIFY(AcqFixture::lastLine(window).contains(kStamp));
    QVERIFY(AcqFixture::lastLine(window).endsWith("-: Acquired one image."));
    QCOMPARE(window->statistics().acquired, 1u);

    auto* continuous = window->findChild<QPushButton*>("continuousButton");
    AcqFixture::click(window, "continuousButton");
    QVERIFY(window->isAcquiring());
    QCOMPARE(continuous->text(), QString("Stop"));
    QVERIFY(!window->findChild<QPushButton*>("initializeButton")->isEnabled());
    QVERIFY(AcqFixture::lastLine(window).endsWith("-: Starting continuous acquisition"));
    QTRY_VERIFY_WITH_TIMEOUT(window->statistics().acquired >= 6, 20000);
    // The console and the histogram show what came.
    QTRY_VERIFY_WITH_TIMEOUT(!window->console()->picture().isNull(), 10000);

    AcqFixture::click(window, "continuousButton");
    QVERIFY(!window->isAcquiring());
    QCOMPARE(continuous->text(), QString("Continuous"));
    QVERIFY(!continuous->isChecked());
    QVERIFY(window->findChild<QPushButton*>("initializeButton")->isEnabled());
    const int acquired = static_cast<int>(window->statistics().acquired);
    QCOMPARE(AcqFixture::field(window, "imagesAcquired"), QString::number(acquired));
    QVERIFY(AcqFixture::field(window, "shortestTime") != "10000.00ms");
    QVERIFY(AcqFixture::lastLine(window).endsWith(
        QString("-: Stopped acquisition, %1 images acquired").arg(acquired)));
    QVERIFY(window->histogram()->histogram().total() == 640u * 480u);
  }

  void queuedStartsIssueThreeStartsBeforeTheFirstWaitAndStopEndsAStalledWait() {
    AcqFixture f;
    for (bool queued : {true, false}) {
      CAcqDialog* window = f.windows->open();
      window->useCamera(f.cameras.entry(queued ? 0 : 1));
      auto* formats = window->findChild<QComboBox*>("videoFormatList");
      formats->setCurrentIndex(formats->findText("640x480 Mono 30 FPS"));
      window->findChild<QComboBox*>("triggerModelList")
          ->setCurrentText("Manual Trigger - Software");
      window->findChild<QCheckBox*>("queueStartsCheck")->setChecked(queued);
      AcqFixture::click(window, "initializeButton");
      QVERIFY(window->fifo());
      // A stalled camera takes no frames: the first wait never ends by itself.
      f.sim().setStalled(window->camera()->cameraNumber(), true);
      AcqFixture::click(window, "continuousButton");
      QTRY_COMPARE(window->fifo()->outstanding(), queued ? 3 : 1);
      if (queued) QTRY_VERIFY(AcqFixture::indexOf(window, "-:   queued starts") >= 0);
      AcqFixture::click(window, "continuousButton");
      QVERIFY(!window->isAcquiring());
      QVERIFY(AcqFixture::lastLine(window).endsWith("-: Stopped acquisition, 0 images acquired"));
      QCOMPARE(AcqFixture::indexOf(window, "-:   queued starts") >= 0, queued);
      f.sim().setStalled(window->camera()->cameraNumber(), false);
    }
  }

  void busResetsStopTheRunAndAreNumbered() {
    AcqFixture f;
    CAcqDialog* window = f.ready(0);
    for (int reset = 1; reset <= 3; ++reset) {
      AcqFixture::click(window, "continuousButton");
      QVERIFY(window->isAcquiring());
      QTRY_VERIFY_WITH_TIMEOUT(window->statistics().acquired >= 2u * reset, 20000);
      f.sim().busReset();
      QTRY_VERIFY_WITH_TIMEOUT(!window->isAcquiring(), 10000);
      const QString warning = QString("-: Warning: a 1394 bus reset occurred (%1)").arg(reset);
      QTRY_VERIFY(AcqFixture::indexOf(window, warning) >= 0);
      // The worker's stop line comes first, then the window's warning.
      const QStringList lines = window->logLines();
      const int at = AcqFixture::indexOf(window, warning);
      QVERIFY2(lines[at - 1].contains("-: Stopped acquisition, "), qPrintable(lines.join('\n')));
      QCOMPARE(window->busResetCount(), reset);
    }
    QCOMPARE(AcqFixture::indexOf(window, "camera is not responding"), -1);
  }

  void unplugStopsTheWindowsAndMarksOnlyItsCameraUnplugged() {
    AcqFixture f;
    CAcqDialog* first = f.ready(0);
    CAcqDialog* second = f.ready(1);
    AcqFixture::click(first, "continuousButton");
    AcqFixture::click(second, "continuousButton");
    QCOMPARE(f.windows->runningCount(), 2);
    QTRY_VERIFY_WITH_TIMEOUT(second->statistics().acquired >= 2, 20000);

    f.sim().unplug(1);
    QTRY_VERIFY_WITH_TIMEOUT(!second->isAcquiring(), 10000);
    QTRY_VERIFY(
        AcqFixture::lastLine(second).endsWith("-: Warning: the camera has been unplugged!"));
    QCOMPARE(AcqFixture::indexOf(second, "camera is not responding"), -1);
    QCOMPARE(second->findChild<QLabel*>("connectionPicture")->property("responding").toBool(),
             false);
    // Controls that need the camera's registers say why they are off.
    QTRY_COMPARE(second->findChild<QSpinBox*>("bytesPerPacket")->toolTip(),
                 QString(CAcqDialog::kCameraGone));
    QCOMPARE(second->findChild<QLineEdit*>("triggerDelayEdit")->toolTip(),
             QString(CAcqDialog::kCameraGone));
    // The unplug resets the bus for the other camera: its window stops on
    // the reset, says so, and acquires again when asked.
    QTRY_VERIFY_WITH_TIMEOUT(!first->isAcquiring(), 10000);
    QTRY_VERIFY(AcqFixture::lastLine(first).endsWith("-: Warning: a 1394 bus reset occurred (1)"));
    QCOMPARE(AcqFixture::indexOf(first, "unplugged"), -1);
    QCOMPARE(f.windows->runningCount(), 0);
    AcqFixture::click(first, "continuousButton");
    const uint32_t before = first->statistics().acquired;
    QTRY_VERIFY_WITH_TIMEOUT(first->statistics().acquired > before + 2, 20000);
    QCOMPARE(f.windows->runningCount(), 1);

    // The unplugged camera refuses acquisition from then on.
    AcqFixture::click(second, "singleImageButton");
    QCOMPARE(f.prompter.texts().last(),
             QString("Camera is not responding, it may have been unplugged!"));
    AcqFixture::click(first, "continuousButton");
    QCOMPARE(f.windows->runningCount(), 0);
  }

  void closingIsRefusedWhileAWindowAcquires() {
    auto module = simulate();
    vxCameraList cameras(*module);
    CRecordingPrompter prompter;
    QTemporaryDir lockDir;
    CDcamPralixApp app({}, prompter, lockDir.path());
    CPageServices services;
    services.cameras = &cameras;
    services.prompter = &prompter;
    DcamPralixDlg dialog(app, services);
    dialog.show();

    CAcqDialog* window = dialog.acquisitionWindows()->open();
    window->useCamera(cameras.entry(2));
    auto* formats = window->findChild<QComboBox*>("videoFormatList");
    formats->setCurrentIndex(formats->findText("640x480 Mono 30 FPS"));
    AcqFixture::click(window, "initializeButton");
    AcqFixture::click(window, "continuousButton");
    QCOMPARE(app.runningAcquisitionCount(), 1);

    dialog.reject();
    QVERIFY(dialog.isVisible());
    QCOMPARE(prompter.texts().last(), QString(DcamPralixDlg::kStopAcquisitionFirst));
    window->close();
    QVERIFY(window->isVisible());
    QCOMPARE(prompter.texts().last(), QString("Please stop image acquisition before exiting."));

    AcqFixture::click(window, "continuousButton");
    QCOMPARE(app.runningAcquisitionCount(), 0);
    dialog.reject();
    QVERIFY(!dialog.isVisible());
  }
  void savedImagesAgreeAcrossFormatsAndTheLogIsCopiedAndSaved() {
    AcqFixture f;
    QTemporaryDir dir;
    QString caption, filter, answer;
    CAcqDialog* window = f.windows->open();
    window->setFileNamePrompt([&](QWidget*, const QString& c, const QString& fl) {
      caption = c;
      filter = fl;
      return answer;
    });
    AcqFixture::click(window, "saveImageButton");
    QCOMPARE(f.prompter.texts().last(), QString("No image acquired yet."));

    window->useCamera(f.cameras.entry(0));
    auto* formats = window->findChild<QComboBox*>("videoFormatList");
    int mono16 = -1;
    for (int i = 0; i < formats->count() && mono16 < 0; ++i)
      if (formats->itemText(i).contains("Mono16")) mono16 = i;
    QVERIFY(mono16 >= 0);
    formats->setCurrentIndex(mono16);
    AcqFixture::click(window, "initializeButton");
    QVERIFY(window->fifo());
    QSignalSpy finished(window, &CAcqDialog::workerFinished);
    AcqFixture::click(window, "singleImageButton");
    QVERIFY(finished.wait(10000));

    // Raw 16-bit: a binary grey map with the full sample range.
    answer = dir.filePath("frame.pgm");
    AcqFixture::click(window, "saveImageButton");
    QCOMPARE(caption, QString("Save Image"));
    QVERIFY(filter.contains("*.pgm") && filter.contains("*.png"));
    QFile pgmFile(answer);
    QVERIFY(pgmFile.open(QIODevice::ReadOnly));
    const QByteArray pgm = pgmFile.readAll();
    const QByteArray header("P5\n640 480\n65535\n");
    QVERIFY(pgm.startsWith(header));
    QCOMPARE(pgm.size(), header.size() + 640 * 480 * 2);

    // The PNG of the same image shows each sample's most significant byte,
    // which the raw map stores first.
    answer = dir.filePath("frame.png");
    AcqFixture::click(window, "saveImageButton");
    const QImage png(answer);
    QCOMPARE(png.size(), QSize(640, 480));
    bool varied = false;
    for (const QPoint p : {QPoint(0, 0), QPoint(17, 3), QPoint(320, 240), QPoint(639, 479),
                           QPoint(100, 400), QPoint(511, 77)}) {
      const auto high = static_cast<uint8_t>(pgm[header.size() + 2 * (p.y() * 640 + p.x())]);
      QCOMPARE(qGray(png.pixel(p)), static_cast<int>(high));
      varied = varied || qGray(png.pixel(p)) != qGray(png.pixel(0, 0));
    }
    QVERIFY(varied);
    const int before = f.prompter.texts().size();
    answer.clear();  // the user cancels: nothing is written, nothing said
    AcqFixture::click(window, "saveImageButton");
    QCOMPARE(f.prompter.texts().size(), before);

    const QStringList lines = window->logLines();
    QVERIFY(lines.size() >= 3);
    AcqFixture::click(window, "copyLogButton");
    QCOMPARE(QApplication::clipboard()->text().split('\n', Qt::SkipEmptyParts), lines);

    answer = dir.filePath("session.log");
    AcqFixture::click(window, "saveLogButton");
    QCOMPARE(caption, QString("Save Log"));
    QFile logFile(answer);
    QVERIFY(logFile.open(QIODevice::ReadOnly | QIODevice::Text));
    QCOMPARE(QString::fromUtf8(logFile.readAll()).split('\n', Qt::SkipEmptyParts), lines);

    answer = dir.filePath("no-such-folder/session.log");
    AcqFixture::click(window, "saveLogButton");
    QCOMPARE(f.prompter.texts().last(), "Could not save the log to " + answer + ".");
  }
  void controlsActOnTheFifoOrSayWhyTheyCannot() {
    AcqFixture f;
    CAcqDialog* window = f.windows->open();
    auto* packet = window->findChild<QSpinBox*>("bytesPerPacket");
    auto* brightness = window->findChild<QSlider*>("brightnessSlider");
    auto* strobe = window->findChild<QCheckBox*>("strobeEnableCheck");
    auto* pattern = window->findChild<QCheckBox*>("testPatternCheck");
    for (QWidget* w : {static_cast<QWidget*>(packet), static_cast<QWidget*>(brightness),
                       static_cast<QWidget*>(strobe)}) {
      QVERIFY(!w->isEnabled());
      QCOMPARE(w->toolTip(), QString("Initialize Acquisition first."));
    }
    QVERIFY(!pattern->isEnabled());
    QCOMPARE(pattern->toolTip(), QString("Select a camera first."));
    window->close();

    // A fixed-format camera without strobe: packet size and strobe are
    // refused with their reasons; brightness goes through the FIFO.
    window = f.ready(0);
    packet = window->findChild<QSpinBox*>("bytesPerPacket");
    brightness = window->findChild<QSlider*>("brightnessSlider");
    strobe = window->findChild<QCheckBox*>("strobeEnableCheck");
    pattern = window->findChild<QCheckBox*>("testPatternCheck");
    QVERIFY(!packet->isEnabled());
    QCOMPARE(packet->toolTip(),
             QString("The packet size is fixed by the format; only Format_7 modes set it."));
    QVERIFY(!strobe->isEnabled());
    QCOMPARE(strobe->toolTip(), QString("The camera has no strobe output."));
    QVERIFY(brightness->isEnabled() && pattern->isEnabled());
    QVERIFY(brightness->toolTip().isEmpty());
    brightness->setValue(40);
    QCOMPARE(window->fifo()->contrastBrightnessProp()->brightness(), 0.40);

    // With auto snap each property change takes one image.
    QSignalSpy finished(window, &CAcqDialog::workerFinished);
    window->findChild<QCheckBox*>("autoSnapCheck")->setChecked(true);
    brightness->setValue(60);
    QVERIFY(finished.wait(10000));
    QCOMPARE(window->statistics().acquired, 1u);
    QTRY_VERIFY_WITH_TIMEOUT(window->histogram()->histogram().total() > 0, 10000);
    const vxHistogram scene = window->histogram()->histogram();
    QTest::mouseClick(pattern, Qt::LeftButton);
    QVERIFY(finished.wait(10000));
    QCOMPARE(window->statistics().acquired, 2u);
    QTRY_VERIFY_WITH_TIMEOUT(window->histogram()->histogram().bins() != scene.bins(), 10000);
  }

  void aCameraThatDoesNotFitBesideAnotherIsToldTheBusIsOutOfBandwidth() {
    AcqFixture f(simulate({"korvane-kv640m", "tessaly-f7flex"}));
    // The first camera streams 640x480 Mono at 30 fps: about a quarter of the cycle.
    CAcqDialog* first = f.ready(0);
    AcqFixture::click(first, "continuousButton");
    QVERIFY(first->isAcquiring());
    QTRY_VERIFY_WITH_TIMEOUT(first->statistics().acquired > 0, 10000);
    CAcqDialog* window = f.windows->open();
    window->useCamera(f.cameras.entry(1));
    auto* formats = window->findChild<QComboBox*>("videoFormatList");
    formats->setCurrentIndex(formats->findText("Format7 Mode 0 Mono"));
    AcqFixture::click(window, "initializeButton");
    QVERIFY(window->fifo());
    QSignalSpy finished(window, &CAcqDialog::workerFinished);
    AcqFixture::click(window, "singleImageButton");
    QVERIFY(finished.wait(10000));
    const QString log = window->logLines().join("\n");
    QVERIFY2(log.contains("-: Acquire failed: isTiming (bandwidth) error"), qPrintable(log));
    QVERIFY2(log.contains("The bus is out of isochronous bandwidth: camera 1 needs "), qPrintable(log));
    QVERIFY2(log.contains("only 76.3 % is free"), qPrintable(log));

    // Alone on the bus it fits, and nothing is said about bandwidth.
    QSignalSpy firstFinished(first, &CAcqDialog::workerFinished);
    AcqFixture::click(first, "continuousButton");
    QVERIFY(firstFinished.wait(10000));
    AcqFixture::click(window, "singleImageButton");
    QVERIFY(finished.wait(10000));
    QVERIFY2(AcqFixture::lastLine(window).endsWith("-: Acquired one image."), qPrintable(AcqFixture::lastLine(window)));
    QCOMPARE(window->logLines().join("\n").count("out of isochronous bandwidth"), 1);
  }

  void formatSevenControlsSetPacketSizeRoiHeightAndStrobe() {
    AcqFixture f(simulate({"tessaly-f7flex"}));
    CAcqDialog* window = f.windows->open();
    window->useCamera(f.cameras.entry(0));
    auto* formats = window->findChild<QComboBox*>("videoFormatList");
    const int mode0 = formats->findText("Format7 Mode 0 Mono");
    QVERIFY(mode0 >= 0);
    formats->setCurrentIndex(mode0);
    AcqFixture::click(window, "initializeButton");
    QVERIFY(window->fifo());

    auto* packet = window->findChild<QSpinBox*>("bytesPerPacket");
    QVERIFY(packet->isEnabled());
    const double before = window->fifo()->bandwidthProp()->bandwidth();
    packet->setValue(packet->maximum() / 2);
    emit packet->editingFinished();
    QVERIFY(window->fifo()->bandwidthProp()->bandwidth() < before);

    auto* strobe = window->findChild<QCheckBox*>("strobeEnableCheck");
    QVERIFY(strobe->isEnabled());
    strobe->setChecked(true);
    QVERIFY(window->fifo()->strobeProp()->strobe());

    // A lower ROI takes fewer rows: the histogram counts width x height pixels.
    auto* height = window->findChild<QSpinBox*>("roiHeight");
    QCOMPARE(height->maximum(), 1024);
    height->setValue(256);
    emit height->editingFinished();
    QCOMPARE(window->fifo()->roiProp().roi().height, 256);
    QSignalSpy finished(window, &CAcqDialog::workerFinished);
    AcqFixture::click(window, "singleImageButton");
    QVERIFY(finished.wait(10000));
    QTRY_COMPARE_WITH_TIMEOUT(window->histogram()->histogram().total(), uint64_t{1280} * 256, 10000);
    // The camera streamed with the packet size chosen, a whole number of units.
    const std::optional<vxDcamFormat7Mode> mode = vxDcamReadFormat7Mode(window->fifo()->camera(), 0);
    QVERIFY(mode);
    QVERIFY(mode->bytesPerPacket > 0 && mode->bytesPerPacket <= uint32_t(packet->maximum() / 2));
    QVERIFY(mode->bytesPerPacket + mode->unitBytesPerPacket > uint32_t(packet->maximum() / 2));
  }
};

QTEST_MAIN(AcqDialogTest)
#include "acq_dialog_test.moc"
