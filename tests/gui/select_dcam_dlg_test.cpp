// The camera selection dialog driven through its widgets.
#include <QLabel>
#include <QListWidget>
#include <QScrollBar>
#include <QPushButton>
#include <QtTest>

#include "app/camera_list.h"
#include "support/fake_camera.h"
#include "gui/select_dcam_dlg.h"
#include "gui_test_support.h"

namespace {

QListWidget* listOf(QDialog& dialog) {
  return dialog.findChild<QListWidget*>("cameraList");
}

void clickOk(QDialog& dialog) {
  QTest::mouseClick(dialog.findChild<QPushButton*>("okButton"), Qt::LeftButton);
}

void clickRow(QDialog& dialog, int row) {
  QListWidget* list = listOf(dialog);
  QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                    list->visualItemRect(list->item(row)).center());
}

}  // namespace

class TestSelectDCAMDlg : public QObject {
  Q_OBJECT

 private slots:
  void firstCameraIsPreselectedOnlyWhenThereAreTwoOrMore() {
    CRecordingPrompter prompter;
    FakeModule two(2);
    vxCameraList twoCameras(two);
    CSelectDCAMDlg withTwo(twoCameras, prompter, false);
    QCOMPARE(listOf(withTwo)->count(), 2);
    QCOMPARE(listOf(withTwo)->selectedItems().size(), 1);
    QCOMPARE(listOf(withTwo)->row(listOf(withTwo)->selectedItems().first()), 0);

    FakeModule one(1);
    vxCameraList oneCamera(one);
    CSelectDCAMDlg withOne(oneCamera, prompter, false);
    QCOMPARE(listOf(withOne)->count(), 1);
    QVERIFY(listOf(withOne)->selectedItems().isEmpty());
  }

  void singleCameraMustBeClickedBeforeOk() {
    CRecordingPrompter prompter;
    FakeModule module(1);
    vxCameraList cameras(module);
    CSelectDCAMDlg dialog(cameras, prompter, false);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));

    clickOk(dialog);
    QVERIFY(dialog.isVisible());
    QCOMPARE(prompter.texts(), QStringList{"Please select a camera (or cancel)"});
    QCOMPARE(prompter.messages[0].caption, QString(kErrorCaption));
    QCOMPARE(prompter.messages[0].icon, CPrompter::Icon::Exclamation);

    clickRow(dialog, 0);
    clickOk(dialog);
    QVERIFY(!dialog.isVisible());
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QCOMPARE(dialog.selectedIndex(), 0);
    QVERIFY(dialog.selectedEntry() == cameras.entry(0));
    QCOMPARE(prompter.messages.size(), 1);
  }

  void marksNotRespondingAlwaysAndInUseOnlyWhenExclusive() {
    CRecordingPrompter prompter;
    FakeModule module(3);
    vxCameraList cameras(module);
    module.fake(1).failReads(0x800);
    cameras.entry(2)->setAcquisitionWindow([](int, vxDcamBusEventInfo) {});

    CSelectDCAMDlg shared(cameras, prompter, false);
    QCOMPARE(listOf(shared)->item(0)->text(), QString("Acme Cam0 (0000000000001000)"));
    QCOMPARE(listOf(shared)->item(1)->text(),
             QString("Acme Cam1 (0000000000001001) (not-responding)"));
    QCOMPARE(listOf(shared)->item(2)->text(), QString("Acme Cam2 (0000000000001002)"));

    CSelectDCAMDlg exclusive(cameras, prompter, true);
    QCOMPARE(listOf(exclusive)->item(1)->text(),
             QString("Acme Cam1 (0000000000001001) (not-responding)"));
    QCOMPARE(listOf(exclusive)->item(2)->text(), QString("Acme Cam2 (0000000000001002) (in-use)"));
  }

  void unplugEventShowsNotRespondingWithoutBusTraffic() {
    CRecordingPrompter prompter;
    FakeModule module(2);
    vxCameraList cameras(module);
    module.fireBusEvent(1, FakeModule::unplugEvent());
    // The camera would still answer: only the flag can make it not-responding.
    const uint64_t before = module.fake(1).transactions();
    CSelectDCAMDlg dialog(cameras, prompter, false);
    QVERIFY(listOf(dialog)->item(1)->text().endsWith(" (not-responding)"));
    QVERIFY(!listOf(dialog)->item(0)->text().endsWith(" (not-responding)"));
    QCOMPARE(module.fake(1).transactions(), before);
  }

  void okRefusesUnavailableCameras() {
    CRecordingPrompter prompter;
    FakeModule module(2);
    vxCameraList cameras(module);
    cameras.entry(1)->setAcquisitionWindow([](int, vxDcamBusEventInfo) {});

    CSelectDCAMDlg exclusive(cameras, prompter, true);
    exclusive.show();
    QVERIFY(QTest::qWaitForWindowExposed(&exclusive));
    clickRow(exclusive, 1);
    clickOk(exclusive);
    QVERIFY(exclusive.isVisible());
    QCOMPARE(prompter.texts().last(), QString("Selected camera is not available!"));

    // Outside exclusive mode a camera in use may be shared.
    CSelectDCAMDlg shared(cameras, prompter, false);
    shared.show();
    QVERIFY(QTest::qWaitForWindowExposed(&shared));
    clickRow(shared, 1);
    clickOk(shared);
    QVERIFY(!shared.isVisible());
    QCOMPARE(shared.selectedIndex(), 1);
  }

  void respondingIsAskedAgainAtOk() {
    CRecordingPrompter prompter;
    FakeModule module(2);
    vxCameraList cameras(module);
    CSelectDCAMDlg dialog(cameras, prompter, false);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QVERIFY(!listOf(dialog)->item(0)->text().contains("not-responding"));

    module.fake(0).setPlugged(false);
    clickOk(dialog);
    QVERIFY(dialog.isVisible());
    QCOMPARE(prompter.texts(),
             QStringList{"Selected camera is not available, it may have been unplugged!"});

    CSelectDCAMDlg exclusive(cameras, prompter, true);
    exclusive.show();
    QVERIFY(QTest::qWaitForWindowExposed(&exclusive));
    clickOk(exclusive);
    QCOMPARE(prompter.texts().last(), QString("Selected camera is not available!"));

    module.fake(0).setPlugged(true);
    clickOk(dialog);
    QVERIFY(!dialog.isVisible());
    QCOMPARE(dialog.selectedIndex(), 0);
  }

  void longNamesAndTheirMarksAreReadWithoutScrolling() {
    CRecordingPrompter prompter;
    FakeModule module(2);
    // Longer than the list's least width, shorter than the offscreen
    // screen's share the list may take, whatever font the machine has.
    module.fake(1).vendor = "Qorvel Machine Vision";
    module.fake(1).model = "UX-1600B/ColorPlus Inspection";
    vxCameraList cameras(module);
    module.fireBusEvent(1, FakeModule::unplugEvent());
    CSelectDCAMDlg dialog(cameras, prompter, false);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QListWidget* list = listOf(dialog);
    const QString longest = list->item(1)->text();
    QVERIFY(longest.endsWith(" (not-responding)"));
    // The whole line fits the list: no sideways scrolling hides the mark.
    QVERIFY2(list->viewport()->width() >= list->fontMetrics().horizontalAdvance(longest),
             qPrintable(QString("viewport %1").arg(list->viewport()->width())));
    QVERIFY(!list->horizontalScrollBar()->isVisible());
    QVERIFY(!dialog.findChild<QLabel*>("noCamerasText")->isVisible());
  }

  void okWithNoCameraClosesWithoutCamera() {
    CRecordingPrompter prompter;
    FakeModule module(0);
    vxCameraList cameras(module);
    CSelectDCAMDlg dialog(cameras, prompter, true);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    // The dialog says that there are no cameras instead of showing an empty list.
    QVERIFY(!listOf(dialog)->isVisible());
    auto* empty = dialog.findChild<QLabel*>("noCamerasText");
    QVERIFY(empty->isVisible());
    QVERIFY(empty->text().startsWith("No DCAM cameras were found."));
    clickOk(dialog);
    QVERIFY(!dialog.isVisible());
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QVERIFY(dialog.selectedEntry() == nullptr);
    QVERIFY(prompter.messages.isEmpty());
  }
};

QTEST_MAIN(TestSelectDCAMDlg)
#include "select_dcam_dlg_test.moc"
