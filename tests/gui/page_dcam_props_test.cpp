// The DCAM properties page driven through its widgets over a fake camera's registers.
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QtTest>

#include <chrono>

#include "gui/page_dcam_props.h"
#include "page_fixture.h"

namespace {

// Element-inquiry bits.
constexpr uint32_t kInqAbsolute = 1u << 30;
constexpr uint32_t kInqOnePush = 1u << 28;
constexpr uint32_t kInqReadOut = 1u << 27;
constexpr uint32_t kInqOnOff = 1u << 26;
constexpr uint32_t kInqAuto = 1u << 25;
constexpr uint32_t kInqManual = 1u << 24;
constexpr uint32_t kInqAll = kInqOnePush | kInqReadOut | kInqOnOff | kInqAuto | kInqManual;
// Status/control bits.
constexpr uint32_t kAbsoluteOn = 1u << 30;
constexpr uint32_t kOnePushOn = 1u << 26;
constexpr uint32_t kOn = 1u << 25;
constexpr uint32_t kAutoOn = 1u << 24;

// Indexes of the high features used here.
constexpr uint32_t kBrightness = 0, kWhiteBalance = 3, kShutter = 7, kGain = 8, kTemperature = 11,
                   kWhiteShading = 14;
// Where the gain's absolute values lie, and the quadlet offset that names it.
constexpr uint32_t kGainBlock = 0xF0F10000u;
constexpr uint32_t kGainBlockOffset = (kGainBlock - 0xF0000000u) / 4;

uint32_t inquiry(uint32_t flags, uint32_t min, uint32_t max) {
  return flags | min << 12 | max;
}

// One fake camera with no feature until a test adds some.
struct PropsFixture : FakePageFixture<CPageDCAMProps> {
  PropsFixture() : FakePageFixture(1), camera(module.fake(0)) {
    page->setSettleTime(std::chrono::milliseconds(0));
    camera.set(0x404, 0);
    camera.set(0x408, 0);
  }

  void addFeature(uint32_t index, uint32_t inquiryValue, uint32_t control) {
    camera.set(0x404, camera.get(0x404) | 1u << (31 - index));
    camera.set(0x500 + 4 * index, inquiryValue);
    camera.set(0x800 + 4 * index, control);
  }
  void addAbsoluteGain(uint32_t control, float min, float max, float value) {
    addFeature(kGain, inquiry(kInqAll | kInqAbsolute, 0, 1023), control);
    camera.set(0x720, kGainBlockOffset);
    camera.setFloat(kGainBlock, min);
    camera.setFloat(kGainBlock + 4, max);
    camera.setFloat(kGainBlock + 8, value);
  }
  float absValue() { return camera.getFloat(kGainBlock + 8); }

  QListWidget* list() const { return find<QListWidget>("featureList"); }
  QCheckBox* check(const char* name) const { return find<QCheckBox>(name); }
  QRadioButton* radio(const char* name) const { return find<QRadioButton>(name); }
  QString label(const char* name) const { return find<QLabel>(name)->text(); }
  bool enabled(const char* name) const { return find<QWidget>(name)->isEnabled(); }

  QStringList listed() const {
    QStringList names;
    for (int i = 0; i < list()->count(); ++i) names.append(list()->item(i)->text());
    return names;
  }
  void pick(const QString& feature) const {
    const QList<QListWidgetItem*> items = list()->findItems(feature, Qt::MatchExactly);
    if (items.size() != 1) qFatal("no feature %s", qPrintable(feature));
    QTest::mouseClick(list()->viewport(), Qt::LeftButton, {},
                      list()->visualItemRect(items[0]).center());
  }
  void clickBox(QAbstractButton* box) const {
    QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(5, box->height() / 2));
  }

  FakeCamera& camera;
};

const char* const kValueControls[] = {"relativeRadio", "absoluteRadio", "minEdit",    "maxEdit",
                                      "valueEdit",     "value2Edit",    "applyButton"};

}  // namespace

class TestPageDCAMProps : public QObject {
  Q_OBJECT

 private slots:
  void everythingIsDisabledUntilAFeatureIsChosen() {
    PropsFixture f;
    QCOMPARE(f.page->windowTitle(), QString("DCAM Utilites::DCAM Properties"));
    QCOMPARE(f.edit("selectedCamera")->text(), QString("Please select a camera"));
    QVERIFY(f.enabled("selectButton"));
    QVERIFY(!f.enabled("featureList"));
    for (const char* name : kValueControls) QVERIFY2(!f.enabled(name), name);
    for (const char* name : {"onCheck", "autoCheck", "onePushButton"})
      QVERIFY2(!f.enabled(name), name);

    // A camera without any feature lists nothing and opens nothing.
    f.chooseCamera(0);
    QCOMPARE(f.edit("selectedCamera")->text(), QString("Acme Cam0 (0000000000001000)"));
    QCOMPARE(f.list()->count(), 0);
    for (const char* name : kValueControls) QVERIFY2(!f.enabled(name), name);
    QVERIFY(!f.enabled("onCheck"));
    QVERIFY(f.prompter.messages.isEmpty());
  }

  void presentFeaturesAreListedInTheTableOrder() {
    PropsFixture f;
    f.addFeature(kGain, 0, 0);
    f.addFeature(kBrightness, 0, 0);
    f.addFeature(kShutter, 0, 0);
    f.addFeature(kWhiteBalance, 0, 0);
    f.camera.set(0x408, 1u << 31);  // zoom, the first of the low features
    f.camera.set(0x580, 0);
    f.camera.set(0x880, 0);
    f.chooseCamera(0);
    QCOMPARE(f.listed(), (QStringList{"White Balance", "Exposure", "Brightness", "Gain", "Zoom"}));

    // A new selection builds the list afresh from what the camera has now.
    f.camera.set(0x404, 1u << (31 - kGain));
    f.camera.set(0x408, 0);
    f.chooseCamera(0);
    QCOMPARE(f.listed(), QStringList{"Gain"});
  }

  void aManualFeatureShowsIntegersAndOpensItsControls() {
    PropsFixture f;
    f.addFeature(kBrightness, inquiry(kInqAll, 16, 4000), kOn | 300);
    f.chooseCamera(0);
    f.pick("Brightness");
    QVERIFY(f.check("onCheck")->isChecked());
    QVERIFY(f.enabled("onCheck"));
    QVERIFY(!f.check("autoCheck")->isChecked());
    QVERIFY(f.enabled("autoCheck"));
    QCOMPARE(f.edit("minEdit")->text(), QString("16"));
    QCOMPARE(f.edit("maxEdit")->text(), QString("4000"));
    QCOMPARE(f.edit("valueEdit")->text(), QString("300"));
    QCOMPARE(f.label("valueLabel"), QString("Brightness"));
    QVERIFY(f.find<QLabel>("valueLabel")->isVisible());
    QVERIFY(f.radio("relativeRadio")->isChecked());
    QVERIFY(f.enabled("relativeRadio"));
    QVERIFY(!f.enabled("absoluteRadio"));  // the feature has no absolute control
    QVERIFY(f.enabled("valueEdit"));
    QVERIFY(f.enabled("applyButton"));
    QVERIFY(f.enabled("onePushButton"));
    QVERIFY(!f.edit("value2Edit")->isVisible());

    f.click("onePushButton");
    QVERIFY(f.camera.get(0x800) & kOnePushOn);
  }

  void aFeatureInAutoModeShowsItsValuesButTakesNoEditing() {
    PropsFixture f;
    f.addFeature(kBrightness, inquiry(kInqAll, 0, 4095), kOn | kAutoOn | 812);
    f.chooseCamera(0);
    f.pick("Brightness");
    QCOMPARE(f.edit("valueEdit")->text(), QString("812"));
    QVERIFY(f.check("autoCheck")->isChecked());
    for (const char* name : kValueControls) QVERIFY2(!f.enabled(name), name);
    QVERIFY(!f.enabled("onePushButton"));
    QVERIFY(f.enabled("onCheck"));
    QVERIFY(f.enabled("autoCheck"));
    const uint32_t control = f.camera.get(0x800);
    f.click("applyButton");
    f.click("onePushButton");
    QCOMPARE(f.camera.get(0x800), control);

    // Leaving auto mode opens the value controls, read back from the camera.
    f.clickBox(f.check("autoCheck"));
    QCOMPARE(f.camera.get(0x800), kOn | 812);
    QVERIFY(!f.check("autoCheck")->isChecked());
    QVERIFY(f.enabled("valueEdit"));
    QVERIFY(f.enabled("applyButton"));
    QVERIFY(f.enabled("onePushButton"));
  }

  void aFeatureThatIsOffOffersOnlyItsOnSwitch() {
    PropsFixture f;
    f.addFeature(kBrightness, inquiry(kInqAll, 0, 4095), 5);
    f.chooseCamera(0);
    f.pick("Brightness");
    QVERIFY(!f.check("onCheck")->isChecked());
    QVERIFY(f.enabled("onCheck"));
    QVERIFY(!f.enabled("autoCheck"));
    QVERIFY(!f.enabled("onePushButton"));
    for (const char* name : kValueControls) QVERIFY2(!f.enabled(name), name);

    f.clickBox(f.check("onCheck"));
    QCOMPARE(f.camera.get(0x800), kOn | 5);
    QVERIFY(f.check("onCheck")->isChecked());
    QVERIFY(f.enabled("valueEdit"));
    QVERIFY(f.enabled("autoCheck"));
  }

  void valuesAreWrittenUnmaskedAndLeniently() {
    PropsFixture f;
    f.addFeature(kBrightness, inquiry(kInqAll, 0, 4095), kOn | 100);
    f.chooseCamera(0);
    f.pick("Brightness");

    // 5000 does not fit the 12-bit field: it spills into bit 12 and above.
    f.type("valueEdit", "5000");
    f.click("applyButton");
    QCOMPARE(f.camera.get(0x800), kOn | 5000u);
    QCOMPARE(f.edit("valueEdit")->text(), QString::number(5000 & 0xFFF));  // read back

    f.type("valueEdit", "no number");
    f.click("applyButton");
    QCOMPARE(f.camera.get(0x800), kOn | (5000u & ~0xFFFu));
    QCOMPARE(f.edit("valueEdit")->text(), QString("0"));

    f.type("valueEdit", "  42 and more");
    f.click("applyButton");
    QCOMPARE(f.camera.get(0x800) & 0xFFFu, 42u);
    QVERIFY(f.prompter.messages.isEmpty());
  }

  void twoFieldFeaturesSplitTheirLabels() {
    PropsFixture f;
    f.addFeature(kWhiteBalance, inquiry(kInqAll, 0, 1023), kOn | 33 << 12 | 44);
    f.addFeature(kTemperature, inquiry(kInqAll, 0, 4095), kOn | 7 << 12 | 8);
    f.addFeature(kWhiteShading, inquiry(kInqAll, 0, 255), kOn | 2 << 12 | 1);
    f.chooseCamera(0);

    f.pick("White Balance");
    QCOMPARE(f.label("valueLabel"), QString("V/R Value"));
    QCOMPARE(f.label("value2Label"), QString("U/B Value"));
    QCOMPARE(f.edit("valueEdit")->text(), QString("44"));
    QCOMPARE(f.edit("value2Edit")->text(), QString("33"));
    QVERIFY(f.edit("value2Edit")->isVisible());
    QVERIFY(f.enabled("value2Edit"));
    f.type("valueEdit", "45");
    f.type("value2Edit", "x");
    f.click("applyButton");
    QCOMPARE(f.camera.get(0x80C), kOn | 45u);
    f.type("value2Edit", "600");
    f.click("applyButton");
    QCOMPARE(f.camera.get(0x80C), kOn | 600u << 12 | 45u);

    f.pick("Temperature");
    QCOMPARE(f.label("valueLabel"), QString("Temperature"));
    QCOMPARE(f.label("value2Label"), QString("Target Temperature"));

    // Three fields, two boxes: the second takes the rest of the labels.
    f.pick("White Shading");
    QCOMPARE(f.label("valueLabel"), QString("B-Value"));
    QCOMPARE(f.label("value2Label"), QString("G-Value;R-Value"));
    QCOMPARE(f.edit("valueEdit")->text(), QString("1"));
    QCOMPARE(f.edit("value2Edit")->text(), QString("2"));
  }

  void valueBoxesStayInOneColumnAndEnterApplies() {
    PropsFixture f;
    f.addFeature(kBrightness, inquiry(kInqAll, 0, 4095), kOn | 100);
    f.addFeature(kWhiteBalance, inquiry(kInqAll, 0, 1023), kOn | 33 << 12 | 44);
    f.addFeature(kTemperature, inquiry(kInqAll, 0, 4095), kOn | 7 << 12 | 8);
    f.chooseCamera(0);
    f.page->resize(700, 500);
    f.page->show();
    QVERIFY(QTest::qWaitForWindowExposed(f.page.get()));

    // Every feature name is read whole.
    const QFontMetrics metrics(f.list()->font());
    for (const QString& name : f.listed())
      QVERIFY2(f.list()->viewport()->width() >= metrics.horizontalAdvance(name), qPrintable(name));

    // Whatever the labels' length, the value box does not move.
    QList<int> columns;
    for (const char* feature : {"Brightness", "Temperature", "White Balance"}) {
      f.pick(feature);
      QApplication::processEvents();
      columns.append(f.edit("valueEdit")->mapTo(f.page.get(), QPoint(0, 0)).x());
    }
    QCOMPARE(columns[1], columns[0]);
    QCOMPARE(columns[2], columns[0]);

    // Min and max can be read and copied, never typed in, and look it.
    for (const char* name : {"minEdit", "maxEdit"}) {
      QLineEdit* edit = f.edit(name);
      QVERIFY(edit->isReadOnly());
      QCOMPARE(edit->palette().color(QPalette::Base), edit->palette().color(QPalette::Window));
    }
    QVERIFY(f.edit("valueEdit")->palette().color(QPalette::Base) !=
            f.edit("valueEdit")->palette().color(QPalette::Window));

    // Enter in the value box applies it.
    f.pick("Brightness");
    f.edit("valueEdit")->setFocus();
    f.edit("valueEdit")->selectAll();
    QTest::keyClicks(f.edit("valueEdit"), "321");
    QTest::keyClick(f.edit("valueEdit"), Qt::Key_Return);
    QCOMPARE(f.camera.get(0x800), kOn | 321u);
    f.pick("White Balance");
    f.edit("value2Edit")->setFocus();
    f.edit("value2Edit")->selectAll();
    QTest::keyClicks(f.edit("value2Edit"), "55");
    QTest::keyClick(f.edit("value2Edit"), Qt::Key_Enter);
    QCOMPARE(f.camera.get(0x80C), kOn | 55u << 12 | 44u);
    QVERIFY(f.prompter.messages.isEmpty());
  }

  void absoluteModeShowsThreeDecimalsAndWritesFloats() {
    PropsFixture f;
    f.addAbsoluteGain(kOn | 200, 0.5f, 24.0f, 3.25f);
    f.chooseCamera(0);
    f.pick("Gain");
    QVERIFY(f.radio("relativeRadio")->isChecked());
    QVERIFY(f.enabled("absoluteRadio"));
    QCOMPARE(f.edit("valueEdit")->text(), QString("200"));

    f.clickBox(f.radio("absoluteRadio"));
    QVERIFY(f.camera.get(0x820) & kAbsoluteOn);
    QVERIFY(f.radio("absoluteRadio")->isChecked());
    QCOMPARE(f.edit("minEdit")->text(), QString("0.500"));
    QCOMPARE(f.edit("maxEdit")->text(), QString("24.000"));
    QCOMPARE(f.edit("valueEdit")->text(), QString("3.250"));
    QCOMPARE(f.label("valueLabel"), QString("Gain"));

    f.type("valueEdit", "7.5");
    f.click("applyButton");
    QCOMPARE(f.absValue(), 7.5f);
    QCOMPARE(f.edit("valueEdit")->text(), QString("7.500"));
    QCOMPARE(f.camera.get(0x820) & 0xFFFu, 200u);  // the raw value is left alone
    f.type("valueEdit", "gain");
    f.click("applyButton");
    QCOMPARE(f.absValue(), 0.0f);
    QCOMPARE(f.edit("valueEdit")->text(), QString("0.000"));
    // Words the conversion takes for numbers but no camera can hold are refused.
    for (const char* word : {"nan", "-inf"}) {
      f.type("valueEdit", word);
      f.click("applyButton");
      QCOMPARE(f.absValue(), 0.0f);
    }
    QCOMPARE(f.prompter.messages.size(), 2);
    QCOMPARE(f.prompter.messages[1].text, QString("'-inf' is not a finite number."));

    // Selected again, the feature comes up in the mode the camera holds.
    f.pick("Gain");
    QVERIFY(f.radio("absoluteRadio")->isChecked());
    f.clickBox(f.radio("relativeRadio"));
    QVERIFY(!(f.camera.get(0x820) & kAbsoluteOn));
    QCOMPARE(f.edit("minEdit")->text(), QString("0"));
    QCOMPARE(f.edit("maxEdit")->text(), QString("1023"));
    QCOMPARE(f.edit("valueEdit")->text(), QString("200"));
  }

  void aFailedTransferIsReportedAndLeavesThePageUsable() {
    PropsFixture f;
    f.addFeature(kBrightness, inquiry(kInqAll, 0, 4095), kOn | 1);
    f.addFeature(kGain, inquiry(kInqAll, 0, 4095), kOn | 2);
    f.chooseCamera(0);
    f.camera.failWrites(0x820);
    f.pick("Gain");
    f.type("valueEdit", "9");
    f.click("applyButton");
    QCOMPARE(f.prompter.messages.size(), 1);
    QVERIFY(f.prompter.messages[0].text.startsWith("Value: "));
    QCOMPARE(f.prompter.messages[0].icon, CPrompter::Icon::Exclamation);
    QCOMPARE(f.camera.get(0x820), kOn | 2u);

    f.pick("Brightness");
    QCOMPARE(f.edit("valueEdit")->text(), QString("1"));
    QCOMPARE(f.prompter.messages.size(), 1);
  }

  void featuresWhoseRegistersFailAreListedMarkedWithTheReason() {
    // 0x800 must answer: the camera selection takes a camera that does not
    // for one that is not responding.
    PropsFixture f;
    f.addFeature(kBrightness, inquiry(kInqAll, 0, 4095), kOn | 1);
    f.addFeature(kShutter, inquiry(kInqAll, 0, 4095), kOn | 3);
    f.addFeature(kGain, inquiry(kInqAll, 0, 4095), kOn | 2);
    f.camera.failReads(0x81C);
    f.camera.failReads(0x520);
    f.chooseCamera(0);
    QCOMPARE(f.listed(),
             (QStringList{"Exposure (read failed)", "Brightness", "Gain (read failed)"}));
    QVERIFY(f.list()->item(0)->toolTip().contains("reading register 0x81C failed"));
    QVERIFY(f.list()->item(2)->toolTip().contains("0x520"));
    QVERIFY(f.prompter.messages.isEmpty());

    // The failed feature says why beside the list and opens nothing; the others work.
    f.pick("Exposure (read failed)");
    QVERIFY(f.label("featureStatus").startsWith("Exposure: "));
    QVERIFY(f.label("featureStatus").contains("0x81C"));
    for (const char* name : kValueControls) QVERIFY2(!f.enabled(name), name);
    QVERIFY(!f.enabled("onCheck"));
    QVERIFY(f.prompter.messages.isEmpty());
    f.pick("Brightness");
    QCOMPARE(f.label("featureStatus"), QString());
    QCOMPARE(f.edit("valueEdit")->text(), QString("1"));
    QVERIFY(f.enabled("applyButton"));

    // A camera that heals reads again when the feature is picked.
    f.camera.heal();
    f.pick("Exposure (read failed)");
    QCOMPARE(f.label("featureStatus"), QString());
    QCOMPARE(f.edit("valueEdit")->text(), QString("3"));
  }

  void numbersAreReadLikeTheCLibraryReadsThem() {
    QCOMPARE(CPageDCAMProps::lenientInt(" \t-12x"), -12);
    QCOMPARE(CPageDCAMProps::lenientInt("+7"), 7);
    QCOMPARE(CPageDCAMProps::lenientInt(""), 0);
    QCOMPARE(CPageDCAMProps::lenientInt("99999999999"), INT_MAX);
    QCOMPARE(CPageDCAMProps::lenientFloat(" 1.5e1 s"), 15.0f);
    QCOMPARE(CPageDCAMProps::lenientFloat("+.25"), 0.25f);
    QCOMPARE(CPageDCAMProps::lenientFloat("-2"), -2.0f);
    QCOMPARE(CPageDCAMProps::lenientFloat("1,5"), 1.0f);
    QCOMPARE(CPageDCAMProps::lenientFloat("abc"), 0.0f);
  }
};

QTEST_MAIN(TestPageDCAMProps)
#include "page_dcam_props_test.moc"
