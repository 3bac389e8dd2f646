// The Information, Driver Install and Topology pages on recorded sysfs trees of real stations.
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QDialog>
#include <QListWidget>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <QtTest>

#include <mutex>
#include <thread>

#include "acquisition/sim_control.h"
#include "gui/bus_event_log.h"
#include "gui/page_info.h"
#include "gui/page_install.h"
#include "gui/page_topology.h"
#include "gui/select_dcam_dlg.h"
#include "gui/sim_bus_dlg.h"
#include "modules/qrvnvdcam/module.h"
#include "page_fixture.h"
#include "support/test_paths.h"

namespace {

std::unique_ptr<vx_DcamModule> simulate(bool withCameras) {
  vx_ModuleOptions options;
  options.simulate = withCameras;
  options.realBus = false;
  options.simulatedProfiles = {"korvane-kv640m"};
  options.profileDirs = {pralix_test::profilesDir()};
  return std::make_unique<vx_QrvnvDcamModule>(options);
}

// The pages read the station's sysfs and /dev from the recorded tree.
void useStation(const char* name) {
  const QByteArray dir = QByteArray::fromStdString(pralix_test::testDataDir() + "/sysfs/" + name);
  qputenv("PRALIX_SYSFS_ROOT", dir + "/sys");
  qputenv("PRALIX_DEV_ROOT", dir + "/dev");
}

QStringList row(QTreeWidgetItem* item) {
  QStringList texts;
  for (int c = 0; c < item->columnCount(); ++c) texts << item->text(c);
  return texts;
}

// Device events on demand, from a thread of their own as the udev monitor sends them.
class FakeEventSource : public vxDeviceEventSource {
 public:
  bool start(Listener l) override {
    std::lock_guard lock(mutex);
    listener = std::move(l);
    return true;
  }
  void stop() override {
    std::lock_guard lock(mutex);
    listener = nullptr;
  }
  std::string error() const override { return {}; }
  void send(vxDeviceEvent event) {
    std::thread([this, event] {
      std::lock_guard lock(mutex);
      if (listener) listener(event);
    }).join();
  }
  std::mutex mutex;
  Listener listener;
};

}  // namespace

class TestHostPages : public QObject {
  Q_OBJECT
 private slots:
  void informationShowsTheVersionsAndWhatIsMissing();
  void driverInstallListsTheUnitsNewestFirst();
  void driverInstallKeepsTheRowsFoundBeforeAFailure();
  void driverInstallWithoutTheStackSaysHowToLoadIt();
  void permissionsDialogShowsTheRuleAndCopiesIt();
  void topologyShowsAdaptersParentsAndCameras();
  void topologyLogsArrivalsAndRescans();
  void aCameraPluggedInIsListedLoggedAndSelectable();
};

void TestHostPages::informationShowsTheVersionsAndWhatIsMissing() {
  useStation("ti-bridge-two-cameras");
  auto module = simulate(true);
  PageFixture<CPageInfo> f(*module);
  auto text = [&f](const char* name) { return f.find<QLabel>(name)->text(); };
  QVERIFY(text("notesText").startsWith("IEEE 1394 DCAM acquisition is supported on Linux"));
  QCOMPARE(text("programVersion"), QString("Qorvel DCAM Pralix version %1.0").arg(PRALIX_VERSION));
  QCOMPARE(text("moduleVersion"), QString::fromStdString(module->name() + " version " + module->version()));
  QVERIFY(text("libraryVersion").startsWith("libdc1394 library version"));
  QVERIFY(text("coreVersion").startsWith("Linux firewire-core module version "));
  QVERIFY(text("coreVersion").size() > QString("Linux firewire-core module version ").size());
  QVERIFY(text("ohciVersion").startsWith("Linux firewire-ohci module version "));
  QVERIFY(f.prompter.messages.isEmpty());

  // A station without the firewire stack says what is missing and how to fix it.
  useStation("no-firewire");
  PageFixture<CPageInfo> bare(*module);
  QVERIFY(bare.find<QLabel>("problemsText")->text().contains("modprobe firewire-ohci"));
  QCOMPARE(bare.find<QLabel>("ohciVersion")->text(), QString("Linux firewire-ohci module version "));
}

void TestHostPages::driverInstallListsTheUnitsNewestFirst() {
  useStation("ti-bridge-two-cameras");
  auto module = simulate(false);
  PageFixture<CPageInstall> f(*module);
  auto* list = f.find<QTreeWidget>("deviceList");
  QCOMPARE(list->columnCount(), 5);
  QCOMPARE(row(list->headerItem()), (QStringList{"Status", "Driver Name", "Device Description", "Friendly Name",
                                                 "Device Manufacturer"}));
  QCOMPARE(list->topLevelItemCount(), 2);
  QCOMPARE(list->topLevelItem(0)->text(3), QString("Basler A602f"));
  QCOMPARE(list->topLevelItem(1)->text(0), QString("OK"));
  QVERIFY(!f.find<QLabel>("scanStatus")->isVisible());
  QVERIFY(f.prompter.messages.isEmpty());
  // Rescan empties the list first: the same two rows, not four.
  const int scans = f.page->scanCount();
  f.click("rescanButton");
  QCOMPARE(f.page->scanCount(), scans + 1);
  QCOMPARE(list->topLevelItemCount(), 2);
  // Coming back to the page rescans.
  f.page->hide();
  f.page->show();
  QCOMPARE(f.page->scanCount(), scans + 2);
}

void TestHostPages::driverInstallKeepsTheRowsFoundBeforeAFailure() {
  useStation("unreadable-node");
  auto module = simulate(false);
  PageFixture<CPageInstall> f(*module);
  auto* list = f.find<QTreeWidget>("deviceList");
  QVERIFY(list->topLevelItemCount() >= 1);
  bool dragonfly = false;
  for (int i = 0; i < list->topLevelItemCount(); ++i)
    dragonfly = dragonfly || row(list->topLevelItem(i)).join(' ').contains("Dragonfly");
  QVERIFY(dragonfly);
  QCOMPARE(f.prompter.messages.size(), 1);
  QVERIFY(f.prompter.messages[0].text.contains("fw2.0/specifier_id"));
}

void TestHostPages::driverInstallWithoutTheStackSaysHowToLoadIt() {
  useStation("no-firewire");
  auto module = simulate(false);
  PageFixture<CPageInstall> f(*module);
  QCOMPARE(f.find<QTreeWidget>("deviceList")->topLevelItemCount(), 0);
  QVERIFY(f.find<QLabel>("scanStatus")->text().contains("modprobe firewire-ohci"));
  QVERIFY(f.prompter.messages.isEmpty());
  useStation("empty-bus");
  f.click("rescanButton");
  QVERIFY(f.find<QLabel>("scanStatus")->text().startsWith("No IIDC camera is seen by the kernel."));
}

void TestHostPages::permissionsDialogShowsTheRuleAndCopiesIt() {
  useStation("ti-bridge-two-cameras");
  auto module = simulate(false);
  PageFixture<CPageInstall> f(*module);
  QString shown;
  whenModalDialogRuns([&shown](QDialog* dialog) {
    QCOMPARE(dialog->windowTitle(), QString("Device Permissions"));
    shown = dialog->findChild<QPlainTextEdit*>("permissionsText")->toPlainText();
    QTest::mouseClick(dialog->findChild<QPushButton*>("copyButton"), Qt::LeftButton);
    dialog->reject();
  });
  f.click("permissionsButton");
  QVERIFY(shown.contains("SUBSYSTEM==\"firewire\", ATTR{units}==\"*0x00a02d:*\", GROUP=\"video\""));
  QVERIFY(shown.contains("video"));
  QCOMPARE(QApplication::clipboard()->text(), shown);
}

void TestHostPages::topologyShowsAdaptersParentsAndCameras() {
  useStation("ti-bridge-two-cameras");
  auto module = simulate(false);
  CPageServices services;
  vxCameraList cameras(*module);
  CRecordingPrompter prompter;
  services.cameras = &cameras;
  services.prompter = &prompter;
  auto* source = new FakeEventSource;
  CPageTopology page(services, nullptr, std::unique_ptr<vxDeviceEventSource>(source));
  auto* tree = page.findChild<QTreeWidget*>("topologyTree");
  QCOMPARE(tree->headerItem()->text(0), QString("PCI and DCAM Device Topology"));
  QCOMPARE(page.topology().adapters.size(), 1u);
  // The parent chain from the PCI root down, then the adapter, then its cameras.
  QTreeWidgetItem* item = tree->topLevelItem(0);
  QVERIFY(item);
  int depth = 0;
  while (item->childCount() == 1 && item->child(0)->childCount() > 0) {
    item = item->child(0);
    ++depth;
  }
  QCOMPARE(depth, int(page.topology().adapters[0].info.parents.size()));
  QCOMPARE(item->childCount(), int(page.topology().adapters[0].cameras.size()));
  QVERIFY(item->childCount() >= 1);
  // Selecting an item shows its details.
  tree->setCurrentItem(item->child(0));
  const QString detail = page.findChild<QPlainTextEdit*>("detailText")->toPlainText();
  QVERIFY2(detail.contains("GUID"), qPrintable(detail));
  tree->setCurrentItem(item);
  QVERIFY(page.findChild<QPlainTextEdit*>("detailText")->toPlainText().contains("DMA channels: 4"));

  services.legacy = true;
  CPageTopology legacy(services, nullptr, std::make_unique<FakeEventSource>());
  QCOMPARE(legacy.findChild<QTreeWidget*>("topologyTree")->headerItem()->text(0),
           QString("PCI and DCAM Device Topology - Legacy Ordering"));
}

void TestHostPages::topologyLogsArrivalsAndRescans() {
  useStation("ti-bridge-two-cameras");
  auto module = simulate(false);
  CPageServices services;
  vxCameraList cameras(*module);
  CRecordingPrompter prompter;
  services.cameras = &cameras;
  services.prompter = &prompter;
  auto* source = new FakeEventSource;
  {
    CPageTopology page(services, nullptr, std::unique_ptr<vxDeviceEventSource>(source));
    QSignalSpy shown(&page, &CPageTopology::deviceEventShown);
    vxDeviceEvent event;
    event.kind = vxDeviceEvent::Kind::Arrived;
    event.node = "fw3";
    event.description = "Basler A602f";
    source->send(event);
    QVERIFY(shown.wait(5000));
    const QString log = page.findChild<QPlainTextEdit*>("eventLog")->toPlainText();
    QVERIFY(QRegularExpression(R"(\d\d/\d\d-\d\d:\d\d:\d\d-:Device arrived: fw3 \(Basler A602f\))")
                .match(log)
                .hasMatch());
    QVERIFY(log.contains("-:Watching firewire device arrivals and removals."));
    event.kind = vxDeviceEvent::Kind::Removed;
    source->send(event);
    QVERIFY(shown.wait(5000));
    QVERIFY(page.findChild<QPlainTextEdit*>("eventLog")->toPlainText().contains("fw3"));
  }
}

void TestHostPages::aCameraPluggedInIsListedLoggedAndSelectable() {
  useStation("empty-bus");
  auto module = simulate(true);
  vxCameraList cameras(*module);
  CRecordingPrompter prompter;
  CPageServices services;
  services.cameras = &cameras;
  services.prompter = &prompter;
  // The list is rebuilt on the GUI thread when the module tells of a bus change.
  QObject receiver;
  CQueuedCalls calls(&receiver);
  cameras.setBusChangeListener([post = calls.poster(), &cameras] { post([&cameras] { cameras.refresh(); }); });
  CBusEventLog log;
  cameras.setLogWindow(log.logWindow());
  CPageTopology topology(services, nullptr, std::make_unique<FakeEventSource>());
  CSimBusDlg window(*module->simControl(), cameras, log);
  window.show();

  auto* list = window.findChild<QListWidget*>("simCameraList");
  auto* profiles = window.findChild<QComboBox*>("simProfileCombo");
  QCOMPARE(list->count(), 1);
  QVERIFY(profiles->findText("korvane-kv640m") >= 0);
  profiles->setCurrentIndex(profiles->findText("mirelle-mo320c"));
  QVERIFY(profiles->currentIndex() >= 0);
  QTest::mouseClick(window.findChild<QPushButton*>("plugNewButton"), Qt::LeftButton);
  QCOMPARE(window.findChild<QLabel*>("plugStatus")->text(), QString("Camera 1 (mirelle-mo320c) plugged in."));
  QCOMPARE(list->count(), 2);
  QCOMPARE(list->currentRow(), 1);

  // The camera list takes it in; the first camera keeps its number.
  QTRY_COMPARE(cameras.size(), size_t(2));
  QVERIFY(QString::fromStdString(cameras.entry(1)->displayName()).startsWith("Mirelle Optics"));
  QVERIFY(QString::fromStdString(cameras.entry(0)->displayName()).startsWith("Korvane Imaging"));
  QTRY_VERIFY(list->item(1)->text().contains("Mirelle Optics"));
  // The topology page logs the arrival and shows the camera on the simulated adapter.
  auto* eventLog = topology.findChild<QPlainTextEdit*>("eventLog");
  QTRY_VERIFY(eventLog->toPlainText().contains("-:Device arrived: simulated camera 1 (Mirelle Optics"));
  const auto& adapters = topology.topology().adapters;
  const auto simulated = std::find_if(adapters.begin(), adapters.end(), [](const auto& a) { return a.simulated; });
  QVERIFY(simulated != adapters.end());
  QCOMPARE(simulated->cameras.size(), 2u);

  // The selection dialog offers it as a responding camera.
  {
    CSelectDCAMDlg select(cameras, prompter, false);
    auto* choices = select.findChild<QListWidget*>("cameraList");
    QVERIFY(choices);
    QCOMPARE(choices->count(), 2);
    QCOMPARE(choices->item(1)->text(), QString::fromStdString(cameras.entry(1)->displayName()));
  }

  // Unplugging it is logged as a removal; a profile that is not there is refused in words.
  module->simControl()->unplug(1);
  QTRY_VERIFY(eventLog->toPlainText().contains("-:Device removed: simulated camera 1"));
  {
    CSelectDCAMDlg select(cameras, prompter, false);
    QVERIFY(select.findChild<QListWidget*>("cameraList")->item(1)->text().endsWith(" (not-responding)"));
  }
  profiles->setEditable(true);
  profiles->setEditText("no-such-camera");
  QTest::mouseClick(window.findChild<QPushButton*>("plugNewButton"), Qt::LeftButton);
  QVERIFY(window.findChild<QLabel*>("plugStatus")->text().startsWith("no-such-camera could not be plugged in: "));
  QCOMPARE(list->count(), 2);
  cameras.setBusChangeListener({});
  cameras.setLogWindow({});
  calls.close();
}

QTEST_MAIN(TestHostPages)
#include "host_pages_test.moc"
