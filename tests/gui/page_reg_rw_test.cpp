// The register read/write page driven through its widgets.
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QtTest>

#include "gui/page_reg_rw.h"
#include "page_fixture.h"

using Fixture = FakePageFixture<CPageRegRW>;

class TestPageRegRW : public QObject {
  Q_OBJECT

 private slots:
  void startsWithoutCameraAndDisabledButtons() {
    Fixture f(2);
    QCOMPARE(f.page->windowTitle(), QString("DCAM Utilites::Register Read/Write"));
    QCOMPARE(f.edit("selectedCamera")->text(), QString("Please select a camera"));
    QVERIFY(f.edit("selectedCamera")->isReadOnly());
    QVERIFY(f.button("selectButton")->isEnabled());
    QVERIFY(!f.button("readButton")->isEnabled());
    QVERIFY(!f.button("writeButton")->isEnabled());
    QVERIFY(!f.button("resetButton")->isEnabled());
    // Even when called directly the actions do nothing without a camera.
    f.type("addressEdit", "800");
    f.page->readRegister();
    f.page->resetCamera();
    QVERIFY(f.prompter.messages.isEmpty());
    QCOMPARE(f.module.fake(0).transactions() + f.module.fake(1).transactions(), uint64_t(0));
  }

  void selectionEnablesButtonsAndCancelKeepsTheEarlierCamera() {
    Fixture f(2);
    f.chooseCamera(1);
    QCOMPARE(f.edit("selectedCamera")->text(), QString("Acme Cam1 (0000000000001001)"));
    QVERIFY(f.page->selectedCamera() == f.cameras.entry(1));
    QVERIFY(f.button("readButton")->isEnabled());
    QVERIFY(f.button("writeButton")->isEnabled());
    QVERIFY(f.button("resetButton")->isEnabled());

    f.chooseCamera(0, true);
    QCOMPARE(f.edit("selectedCamera")->text(), QString("Acme Cam1 (0000000000001001)"));
    QVERIFY(f.page->selectedCamera() == f.cameras.entry(1));

    f.chooseCamera(0);
    QVERIFY(f.page->selectedCamera() == f.cameras.entry(0));
    QVERIFY(f.button("readButton")->isEnabled());
  }

  void goodReadShowsEightDigitsAndSelectsTheAddress() {
    Fixture f(2);
    f.module.fake(1).set(0x604, 0x1F);
    f.chooseCamera(1);
    // The selection dialog asked both cameras whether they respond; no more.
    const uint64_t otherCamera = f.module.fake(0).transactions();
    f.type("addressEdit", "604");
    f.edit("valueEdit")->setFocus();
    f.click("readButton");
    QCOMPARE(f.edit("valueEdit")->text(), QString("0000001F"));
    QVERIFY(f.prompter.messages.isEmpty());
    QTRY_VERIFY(f.edit("addressEdit")->hasFocus());
    QCOMPARE(f.edit("addressEdit")->selectedText(), QString("604"));

    // Absolute addresses reach the same register; the other camera is untouched.
    f.type("addressEdit", "f0f00604");
    f.click("readButton");
    QCOMPARE(f.edit("valueEdit")->text(), QString("0000001F"));
    QCOMPARE(f.module.fake(0).transactions(), otherCamera);
  }

  void failedReadKeepsValueAndFocus() {
    Fixture f(2);
    f.module.fake(0).set(0x610, 0x12345678);
    f.module.fake(0).failReads(0x610);
    f.chooseCamera(0);
    f.edit("valueEdit")->setText("ABCD");
    f.type("addressEdit", "610");
    f.click("readButton");
    QCOMPARE(f.prompter.texts(), QStringList{"Register read failed!"});
    QCOMPARE(f.prompter.messages[0].caption, QString(kErrorCaption));
    QCOMPARE(f.prompter.messages[0].icon, CPrompter::Icon::Exclamation);
    QCOMPARE(f.edit("valueEdit")->text(), QString("ABCD"));
    QVERIFY(f.button("readButton")->hasFocus());
    QVERIFY(!f.edit("addressEdit")->hasFocus());
    QVERIFY(!f.edit("addressEdit")->hasSelectedText());
  }

  void onlySixteenCharactersAreScanned() {
    Fixture f(2);
    f.module.fake(0).set(0x604, 0xCAFE);
    f.chooseCamera(0);
    // Scanned whole, this would be 0x604FF, a register the camera lacks.
    f.type("addressEdit", "0000000000000604FF");
    f.click("readButton");
    QVERIFY(f.prompter.messages.isEmpty());
    QCOMPARE(f.edit("valueEdit")->text(), QString("0000CAFE"));

    f.type("valueEdit", "00000000000000AB12");
    f.click("writeButton");
    QVERIFY(f.prompter.messages.isEmpty());
    QCOMPARE(f.module.fake(0).get(0x604), 0xABu);
  }

  void textThatIsNotHexadecimalIsReportedAndNotUsed() {
    Fixture f(2);
    f.chooseCamera(0);
    const uint64_t before = f.module.fake(0).transactions();
    f.type("addressEdit", "xyz");
    f.click("readButton");
    f.edit("addressEdit")->clear();
    f.click("writeButton");
    f.type("addressEdit", "604");
    f.type("valueEdit", "value");
    f.click("writeButton");
    QCOMPARE(f.prompter.messages.size(), 3);
    QVERIFY(f.prompter.texts()[0].contains("address \"xyz\" is not a hexadecimal number"));
    QVERIFY(f.prompter.texts()[1].contains("address"));
    QVERIFY(f.prompter.texts()[2].contains("value \"value\" is not a hexadecimal number"));
    QCOMPARE(f.module.fake(0).transactions(), before);
  }

  void writeIsSilentOnSuccessAndReportsFailure() {
    Fixture f(2);
    f.chooseCamera(1);
    f.type("addressEdit", "614");
    f.type("valueEdit", "82000010");
    f.click("writeButton");
    QVERIFY(f.prompter.messages.isEmpty());
    QCOMPARE(f.module.fake(1).get(0x614), 0x82000010u);
    QVERIFY(!f.edit("addressEdit")->hasFocus());

    f.module.fake(1).failWrites(0x618);
    f.type("addressEdit", "618");
    f.click("writeButton");
    QCOMPARE(f.prompter.texts(), QStringList{"Register write failed!"});
    QCOMPARE(f.prompter.messages[0].icon, CPrompter::Icon::Exclamation);
  }

  void resetSetsTheInitializeFlagWithoutAWord() {
    Fixture f(2);
    f.chooseCamera(0);
    f.click("resetButton");
    const auto writes = f.module.fake(0).writes();
    QCOMPARE(writes.size(), size_t(1));
    QCOMPARE(writes[0].first, kDefaultCommandRegsBase);
    QCOMPARE(writes[0].second, 0x80000000u);

    // A camera that does not answer: still nothing is shown.
    f.module.fake(0).setPlugged(false);
    f.click("resetButton");
    QVERIFY(f.prompter.messages.isEmpty());
    QCOMPARE(f.module.fake(0).writes().size(), size_t(1));
  }
};

QTEST_MAIN(TestPageRegRW)
#include "page_reg_rw_test.moc"
