// The register editor on simulated cameras: browsing, field and whole-value
// edits with their messages, the discard question, the watch list's toggle,
// refresh rules and blocks, and the way it is opened.
#include <QApplication>
#include <QCheckBox>
#include <QFile>
#include <QTemporaryDir>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QTableWidget>
#include <QTreeWidget>
#include <QtTest>

#include <bit>

#include "acquisition/sim_control.h"
#include "app/camera_list.h"
#include "gui/page_dcam_props.h"
#include "gui/page_reg_rw.h"
#include "gui/reg_editor.h"
#include "modules/qrvnvdcam/module.h"
#include "page_fixture.h"
#include "regmodel/dcam_camera.h"
#include "support/test_paths.h"

namespace {

constexpr uint32_t kBase = 0xF0F00000u;

std::unique_ptr<vx_DcamModule> simulate(const std::string& profile) {
  vx_ModuleOptions options;
  options.simulate = true;
  options.realBus = false;
  options.simulatedProfiles = {profile};
  options.profileDirs = {pralix_test::profilesDir()};
  return std::make_unique<vx_QrvnvDcamModule>(options);
}

uint32_t readCamera(vx_DcamModule& module, uint32_t address) {
  uint32_t value = 0;
  if (!module.camera(0).readQuadlet(address, value)) qWarning("camera read failed at 0x%08X", address);
  return value;
}

// An editor on camera 0 of a simulated bus, driven through its widgets.
struct Editor {
  explicit Editor(const std::string& profile = "korvane-kv640m") : module(simulate(profile)) {
    sheet = std::make_unique<vxRePropSheet>(*module, 0, "Test camera", prompter);
    sheet->show();
    if (!QTest::qWaitForWindowExposed(sheet.get())) qWarning("the editor was not shown");
  }
  template <typename T>
  T* find(const char* name) const {
    T* widget = sheet->findChild<T*>(name);
    if (!widget) qFatal("no widget %s", name);
    return widget;
  }
  QString text(const char* label) const { return find<QLabel>(label)->text(); }
  QPushButton* button(const char* name) const { return find<QPushButton>(name); }
  QTreeWidget* fields() const { return find<QTreeWidget>("fieldList"); }
  QTreeWidget* tree() const { return find<QTreeWidget>("registerTree"); }
  QTableWidget* watch() const { return find<QTableWidget>("watchList"); }
  QTreeWidgetItem* treeItem(const QString& name) const {
    const auto items = tree()->findItems(name, Qt::MatchExactly | Qt::MatchRecursive, 0);
    if (items.isEmpty()) qFatal("no register %s in the tree", qPrintable(name));
    return items.first();
  }
  // Selects a register in the map, as a click on it does.
  void select(const QString& name) const {
    sheet->tabs()->setCurrentIndex(1);
    tree()->setCurrentItem(treeItem(name));
    sheet->tabs()->setCurrentIndex(0);
  }
  QTreeWidgetItem* field(const QString& name) const {
    const auto items = fields()->findItems(name, Qt::MatchExactly, 1);
    if (items.isEmpty()) qFatal("no field %s", qPrintable(name));
    return items.first();
  }
  // Types a value into a field's value cell and ends the edit.
  void editField(const QString& name, const QString& value) const { field(name)->setText(0, value); }
  void typeWhole(const QString& value) const {
    auto* box = find<QLineEdit>("newValue");
    box->clear();
    QTest::keyClicks(box, value);
    QTest::keyClick(box, Qt::Key_Return);
  }

  std::unique_ptr<vx_DcamModule> module;
  CRecordingPrompter prompter;
  std::unique_ptr<vxRePropSheet> sheet;
};

}  // namespace

class TestRegEditor : public QObject {
  Q_OBJECT
 private slots:
  void opensWithThreePagesAndNoRegister();
  void showsARegisterWithItsFields();
  void aFieldEditChangesTheCameraMode();
  void refusedEditsKeepTheRegister();
  void readOnlyAndUnreadableRegisters();
  void discardQuestionKeepsOrDropsTheEdit();
  void treeTogglesTheWatchList();
  void autoRefreshOnlyWhileShown();
  void blocksOfQuadletsAndFloats();
  void opensFromTheRegisterPageForItsCamera();
  void savesComparesAndRestoresTheCameraState();
  void watchListFollowsTheDcamPropertiesPage();
};

void TestRegEditor::opensWithThreePagesAndNoRegister() {
  Editor e;
  QVERIFY(e.sheet->windowTitle().startsWith("DCAM Register Editor"));
  QCOMPARE(e.sheet->tabs()->count(), 3);
  QCOMPARE(e.sheet->tabs()->tabText(0), QString("Register Attributes"));
  QCOMPARE(e.sheet->tabs()->tabText(1), QString("DCAM Register Map"));
  QCOMPARE(e.sheet->tabs()->tabText(2), QString("Register Watch List"));
  QCOMPARE(e.text("registerName"), QString("No Register Selected"));
  QVERIFY(e.text("registerAddress").isEmpty());
  QVERIFY(e.text("registerValue").isEmpty());
  for (const char* name : {"writeButton", "rereadButton"}) QVERIFY2(!e.button(name)->isEnabled(), name);
  QVERIFY(!e.find<QLineEdit>("newValue")->isEnabled());
  // The map holds the catalogue's groups with their registers.
  QVERIFY(e.tree()->topLevelItemCount() >= 8);
  QCOMPARE(e.treeItem("CURRENT_VIDEO_MODE")->text(1), QString("0xF0F00604"));
  // The watch list starts empty, its controls disabled.
  for (const char* name : {"removeButton", "refreshButton"}) QVERIFY2(!e.button(name)->isEnabled(), name);
  QVERIFY(!e.find<QCheckBox>("autoRefresh")->isEnabled());
  QCOMPARE(e.watch()->columnCount(), 2);
  QCOMPARE(e.watch()->horizontalHeaderItem(0)->text(), QString("Name"));
}

void TestRegEditor::showsARegisterWithItsFields() {
  Editor e;
  e.select("CURRENT_VIDEO_MODE");
  QCOMPARE(e.text("registerName"), QString("CURRENT_VIDEO_MODE"));
  QCOMPARE(e.text("registerAddress"), QString("0xF0F00604"));
  QCOMPARE(e.text("registerWidth"), QString("32"));
  const uint32_t mode = readCamera(*e.module, kBase + 0x604);
  QCOMPARE(e.text("registerValue"), QString::asprintf("0x%08X", mode));
  QTreeWidget* list = e.fields();
  QCOMPARE(list->columnCount(), 5);
  const QStringList headers = {"Value", "Name", "Bits", "Access", "Description"};
  const int widths[] = {60, 200, 40, 50, 60};
  for (int c = 0; c < 5; ++c) {
    QCOMPARE(list->headerItem()->text(c), headers[c]);
    QCOMPARE(list->columnWidth(c), widths[c]);
  }
  QTreeWidgetItem* field = e.field("Cur_V_Mode");
  QCOMPARE(field->text(0), QString::asprintf("0x%X", mode >> 29));  // 3 bits: one digit
  QCOMPARE(field->text(2), QString("0:2"));
  QCOMPARE(field->text(3), QString("RW"));
  QCOMPARE(field->text(4), QString("Current video mode"));
  QVERIFY(e.find<QLineEdit>("newValue")->isEnabled());
  QVERIFY(!e.button("writeButton")->isEnabled());  // nothing to write yet
  QVERIFY(e.button("rereadButton")->isEnabled());
}

void TestRegEditor::aFieldEditChangesTheCameraMode() {
  Editor e;
  const uint32_t before = readCamera(*e.module, kBase + 0x604) >> 29;
  const uint32_t other = before == 5 ? 6 : 5;  // the KV-640M offers Mono8 (5) and Mono16 (6)
  e.select("CURRENT_VIDEO_MODE");
  e.editField("Cur_V_Mode", QString::number(other));
  QCOMPARE(e.find<QLineEdit>("newValue")->text(), QString::asprintf("0x%08X", other << 29));
  QCOMPARE(e.field("Cur_V_Mode")->text(0), QString::asprintf("0x%X", other));
  QVERIFY(e.button("writeButton")->isEnabled());
  QVERIFY(e.sheet->attributes()->edit().pendingFocus());
  // The focus timer moves the focus to Write once the edit has ended.
  e.sheet->activateWindow();
  QVERIFY(QTest::qWaitForWindowActive(e.sheet.get()));
  e.sheet->attributes()->focusTick();
  QVERIFY(e.button("writeButton")->hasFocus());
  QVERIFY(!e.sheet->attributes()->edit().pendingFocus());
  // The camera is untouched until Write.
  QCOMPARE(readCamera(*e.module, kBase + 0x604) >> 29, before);
  QTest::mouseClick(e.button("writeButton"), Qt::LeftButton);
  QCOMPARE(readCamera(*e.module, kBase + 0x604) >> 29, other);
  // Write re-reads: the page shows what the camera now holds.
  QCOMPARE(e.text("registerValue"), QString::asprintf("0x%08X", other << 29));
  QVERIFY(e.find<QLineEdit>("newValue")->text().isEmpty());
  QVERIFY(!e.button("writeButton")->isEnabled());

  // Octal and decimal as in C: 05 is five, 0x6 six.
  e.typeWhole(QString::asprintf("0%o", before << 29));
  QTest::mouseClick(e.button("writeButton"), Qt::LeftButton);
  QCOMPARE(readCamera(*e.module, kBase + 0x604) >> 29, before);
}

void TestRegEditor::refusedEditsKeepTheRegister() {
  Editor e;
  e.select("CURRENT_VIDEO_MODE");
  const QString shown = e.text("registerValue");
  e.editField("Cur_V_Mode", "0x1F");
  QCOMPARE(e.text("messageLine"), QString("Value 0x1F to large for bit field Cur_V_Mode (max 0x7)."));
  QCOMPARE(e.field("Cur_V_Mode")->text(0), QString::asprintf("0x%X", shown.toUInt(nullptr, 16) >> 29));
  QVERIFY(e.find<QLineEdit>("newValue")->text().isEmpty());
  QVERIFY(!e.button("writeButton")->isEnabled());
  QVERIFY(!e.sheet->attributes()->edit().changed());

  e.typeWhole("12abc");
  QCOMPARE(e.text("messageLine"), QString("Invalid new register value (12abc)."));
  QVERIFY(e.find<QLineEdit>("newValue")->text().isEmpty());
  QVERIFY(!e.button("writeButton")->isEnabled());
  e.typeWhole("0x20000000");
  QVERIFY(e.text("messageLine").isEmpty());
  QVERIFY(e.button("writeButton")->isEnabled());
  QVERIFY(e.button("writeButton")->hasFocus() || !QApplication::activeWindow());
  QCOMPARE(e.text("registerValue"), shown);  // nothing written yet
}

void TestRegEditor::readOnlyAndUnreadableRegisters() {
  Editor e;
  e.select("V_FORMAT_INQ");
  QCOMPARE(e.field("Format_0")->text(3), QString("RO"));
  QVERIFY(!e.find<QLineEdit>("newValue")->isEnabled());
  QVERIFY(!e.button("writeButton")->isEnabled());
  QVERIFY(e.button("rereadButton")->isEnabled());

  e.module->simControl()->setReadFault(0, kBase + 0x800, true);
  e.select("BRIGHTNESS");
  QTreeWidget* list = e.fields();
  QCOMPARE(list->columnCount(), 1);
  QCOMPARE(list->headerItem()->text(0), QString("Error"));
  QCOMPARE(list->topLevelItemCount(), 1);
  QVERIFY(list->topLevelItem(0)->text(0).contains("BRIGHTNESS"));
  QVERIFY(!e.button("writeButton")->isEnabled());
  QVERIFY(!e.find<QLineEdit>("newValue")->isEnabled());
  // Once the register answers again, Reread shows it.
  e.module->simControl()->clearFaults(0);
  QTest::mouseClick(e.button("rereadButton"), Qt::LeftButton);
  QCOMPARE(list->columnCount(), 5);
  QVERIFY(e.find<QLineEdit>("newValue")->isEnabled());
}

void TestRegEditor::discardQuestionKeepsOrDropsTheEdit() {
  Editor e;
  e.select("BRIGHTNESS");
  auto* box = e.find<QLineEdit>("newValue");
  box->setText("0x82000040");
  e.prompter.answers = {false};
  e.select("CURRENT_VIDEO_MODE");
  QCOMPARE(e.prompter.messages.size(), 1);
  QCOMPARE(e.prompter.messages[0].text, QString("Discard register changes?"));
  QCOMPARE(e.prompter.messages[0].caption, QString("Register Editor"));
  QCOMPARE(e.text("registerName"), QString("BRIGHTNESS"));
  QCOMPARE(box->text(), QString("0x82000040"));
  QCOMPARE(e.tree()->currentItem()->text(0), QString("BRIGHTNESS"));  // the map follows back

  e.prompter.answers = {true};
  e.select("CURRENT_VIDEO_MODE");
  QCOMPARE(e.prompter.messages.size(), 2);
  QCOMPARE(e.text("registerName"), QString("CURRENT_VIDEO_MODE"));
  QVERIFY(box->text().isEmpty());
  // Without an edit there is nothing to ask.
  e.select("BRIGHTNESS");
  QCOMPARE(e.prompter.messages.size(), 2);
}

void TestRegEditor::treeTogglesTheWatchList() {
  Editor e;
  e.sheet->tabs()->setCurrentIndex(1);
  e.tree()->setCurrentItem(e.treeItem("BRIGHTNESS"));
  QTest::mouseClick(e.button("watchToggle"), Qt::LeftButton);
  QCOMPARE(e.watch()->rowCount(), 1);
  QCOMPARE(e.watch()->item(0, 0)->text(), QString("BRIGHTNESS"));
  QCOMPARE(e.watch()->item(0, 1)->text(), QString::asprintf("0x%08X", readCamera(*e.module, kBase + 0x800)));
  QVERIFY(e.treeItem("BRIGHTNESS")->font(0).bold());
  e.tree()->setCurrentItem(e.treeItem("GAIN"));
  QTest::mouseClick(e.button("watchToggle"), Qt::LeftButton);
  QCOMPARE(e.watch()->rowCount(), 2);
  QCOMPARE(e.watch()->item(1, 0)->text(), QString("GAIN"));  // appended at the end
  // The same register again takes it out.
  e.tree()->setCurrentItem(e.treeItem("BRIGHTNESS"));
  QTest::mouseClick(e.button("watchToggle"), Qt::LeftButton);
  QCOMPARE(e.watch()->rowCount(), 1);
  QVERIFY(!e.treeItem("BRIGHTNESS")->font(0).bold());
  QVERIFY(e.treeItem("GAIN")->font(0).bold());
  // A group is not a register: the action does nothing there.
  e.tree()->setCurrentItem(e.tree()->topLevelItem(0));
  QVERIFY(!e.button("watchToggle")->isEnabled());
  e.sheet->watchList()->removeAll();
  QCOMPARE(e.watch()->rowCount(), 0);
  QVERIFY(!e.treeItem("GAIN")->font(0).bold());
}

void TestRegEditor::autoRefreshOnlyWhileShown() {
  Editor e;
  WatchListPp* page = e.sheet->watchList();
  e.sheet->tabs()->setCurrentIndex(1);
  e.tree()->setCurrentItem(e.treeItem("BRIGHTNESS"));
  QTest::mouseClick(e.button("watchToggle"), Qt::LeftButton);
  e.sheet->tabs()->setCurrentIndex(2);
  QVERIFY(page->isActive());
  QVERIFY(e.button("removeButton")->isEnabled());
  auto* autoRefresh = e.find<QCheckBox>("autoRefresh");
  autoRefresh->setChecked(true);

  // The camera changes the register behind the editor's back.
  const uint32_t changed = 0x82000000u | 0x0AB;
  QVERIFY(e.module->camera(0).writeQuadlet(kBase + 0x800, changed));
  const int before = page->refreshCount();
  page->timerTick();
  QCOMPARE(page->refreshCount(), before + 1);
  QCOMPARE(e.watch()->item(0, 1)->text(), QString::asprintf("0x%08X", changed));

  // Hidden, the list is never refreshed.
  e.sheet->tabs()->setCurrentIndex(0);
  QVERIFY(!page->isActive());
  QVERIFY(e.module->camera(0).writeQuadlet(kBase + 0x800, changed + 1));
  page->timerTick();
  QCOMPARE(page->refreshCount(), before + 1);
  QCOMPARE(e.watch()->item(0, 1)->text(), QString::asprintf("0x%08X", changed));
  // Without Auto Refresh neither, but Refresh List does.
  e.sheet->tabs()->setCurrentIndex(2);
  autoRefresh->setChecked(false);
  page->timerTick();
  QCOMPARE(page->refreshCount(), before + 1);
  QTest::mouseClick(e.button("refreshButton"), Qt::LeftButton);
  QCOMPARE(e.watch()->item(0, 1)->text(), QString::asprintf("0x%08X", changed + 1));

  // Selecting an item makes it current; removing the last clears the current register.
  e.watch()->selectRow(0);
  QCOMPARE(e.text("registerName"), QString("BRIGHTNESS"));
  QTest::mouseClick(e.button("removeButton"), Qt::LeftButton);
  QCOMPARE(e.watch()->rowCount(), 0);
  QCOMPARE(e.text("registerName"), QString("No Register Selected"));
  QVERIFY(!e.button("removeButton")->isEnabled());
  QVERIFY(!e.treeItem("BRIGHTNESS")->font(0).bold());
}

void TestRegEditor::blocksOfQuadletsAndFloats() {
  Editor e("orbel-ux1600b");
  e.sheet->tabs()->setCurrentIndex(2);
  // The absolute-value block of the gain, as its inquiry register names it.
  const uint32_t offset = readCamera(*e.module, kBase + 0x700 + 4 * 8);
  QVERIFY(offset != 0);
  const uint32_t block = vxDcamCamera::offsetAddress(offset);
  e.find<QLineEdit>("blockAddress")->setText(QString::asprintf("%08X", block));
  e.find<QSpinBox>("blockCount")->setValue(3);
  QTest::mouseClick(e.button("blockButton"), Qt::LeftButton);
  QCOMPARE(e.watch()->rowCount(), 3);
  QCOMPARE(e.watch()->item(2, 0)->text(), QString::asprintf("Q_%08X", block + 8));
  // The value register of the block shows its float beside the hexadecimal.
  e.watch()->selectRow(2);
  const uint32_t bits = readCamera(*e.module, block + 8);
  QCOMPARE(e.text("registerValue"), QString::asprintf("0x%08X", bits));
  QCOMPARE(e.text("floatValue"), "= " + QString::number(double(std::bit_cast<float>(bits)), 'g', 9));
  // Other registers only on request.
  e.select("BRIGHTNESS");
  QVERIFY(e.text("floatValue").isEmpty());
  e.find<QCheckBox>("showFloat")->setChecked(true);
  QVERIFY(e.text("floatValue").startsWith("= "));

  e.find<QLineEdit>("blockAddress")->setText("not hex");
  QTest::mouseClick(e.button("blockButton"), Qt::LeftButton);
  QCOMPARE(e.watch()->rowCount(), 3);
  QCOMPARE(e.text("blockMessage"), QString("\"not hex\" is not a hexadecimal address."));
}

void TestRegEditor::opensFromTheRegisterPageForItsCamera() {
  auto module = simulate("korvane-kv640m");
  PageFixture<CPageRegRW> f(*module);
  QVERIFY(!f.button("registerEditorButton")->isEnabled());
  f.chooseCamera(0);
  QVERIFY(f.button("registerEditorButton")->isEnabled());
  f.click("registerEditorButton");
  f.click("registerEditorButton");  // several editors may be open at once
  const auto sheets = f.page->findChildren<vxRePropSheet*>();
  QCOMPARE(sheets.size(), 2);
  QVERIFY(sheets[0]->isVisible());
  QVERIFY(sheets[0]->isWindow());
  QCOMPARE(sheets[0]->camera().cameraNumber(), 0);

  // A camera that has gone cannot be edited: the page says why and opens nothing.
  module->simControl()->unplug(0);
  f.click("registerEditorButton");
  QCOMPARE(f.page->findChildren<vxRePropSheet*>().size(), 2);
  QCOMPARE(f.prompter.messages.size(), 1);
  QVERIFY(f.prompter.messages[0].text.startsWith("The register editor could not read the camera's registers: "));
}

void TestRegEditor::savesComparesAndRestoresTheCameraState() {
  Editor e;
  QTemporaryDir dir;
  const QString path = dir.filePath("state.json");
  QString next = path;
  e.sheet->setFilePrompt([&next](QWidget*, bool) { return next; });
  QTest::mouseClick(e.button("saveStateButton"), Qt::LeftButton);
  QVERIFY(e.sheet->lastStateReport().contains("Saved "));
  QVERIFY(QFile::exists(path));

  const uint32_t saved = readCamera(*e.module, kBase + 0x800);
  QVERIFY(e.module->camera(0).writeQuadlet(kBase + 0x800, saved ^ 0x11u));
  QTest::mouseClick(e.button("compareButton"), Qt::LeftButton);
  QVERIFY2(e.sheet->lastStateReport().contains("BRIGHTNESS (0xF0F00800): "), qPrintable(e.sheet->lastStateReport()));
  QVERIFY(e.sheet->lastStateReport().endsWith("1 registers differ"));

  // No at the confirmation writes nothing; Yes writes the saved value back.
  e.prompter.answers = {false};
  QTest::mouseClick(e.button("restoreButton"), Qt::LeftButton);
  QCOMPARE(readCamera(*e.module, kBase + 0x800), saved ^ 0x11u);
  QCOMPARE(e.prompter.messages.last().caption, QString("Register Editor"));
  e.prompter.answers = {true};
  QTest::mouseClick(e.button("restoreButton"), Qt::LeftButton);
  QCOMPARE(readCamera(*e.module, kBase + 0x800), saved);
  QVERIFY(e.sheet->lastStateReport().contains("BRIGHTNESS (0xF0F00800) <- "));
  QTest::mouseClick(e.button("compareButton"), Qt::LeftButton);
  QVERIFY(e.sheet->lastStateReport().endsWith("0 registers differ"));

  // A file that is not a state is refused with its reason, and nothing is written.
  next = dir.filePath("bad.json");
  QFile bad(next);
  QVERIFY(bad.open(QIODevice::WriteOnly));
  bad.write("{\"schema\": \"other\"}");
  bad.close();
  const int messages = e.prompter.messages.size();
  QTest::mouseClick(e.button("restoreButton"), Qt::LeftButton);
  QCOMPARE(e.prompter.messages.size(), messages + 1);
  QVERIFY(e.prompter.messages.last().text.startsWith(next + ": "));
  QCOMPARE(readCamera(*e.module, kBase + 0x800), saved);
}

// The watch list, auto refreshing, shows the control register of a feature
// that the DCAM Properties page changes on the same camera.
void TestRegEditor::watchListFollowsTheDcamPropertiesPage() {
  Editor e;
  PageFixture<CPageDCAMProps> props(*e.module);
  props.page->setSettleTime(std::chrono::milliseconds(0));
  props.chooseCamera(0);
  auto* features = props.find<QListWidget>("featureList");
  const auto items = features->findItems("Brightness", Qt::MatchExactly);
  QCOMPARE(items.size(), 1);
  QTest::mouseClick(features->viewport(), Qt::LeftButton, {}, features->visualItemRect(items[0]).center());

  e.sheet->tabs()->setCurrentIndex(1);
  e.tree()->setCurrentItem(e.treeItem("BRIGHTNESS"));
  QTest::mouseClick(e.button("watchToggle"), Qt::LeftButton);
  e.sheet->tabs()->setCurrentIndex(2);
  e.find<QCheckBox>("autoRefresh")->setChecked(true);
  const uint32_t before = readCamera(*e.module, kBase + 0x800);
  const uint32_t wanted = (before & 0xFFFu) == 77u ? 78u : 77u;

  props.type("valueEdit", QString::number(wanted));
  props.click("applyButton");
  QCOMPARE(readCamera(*e.module, kBase + 0x800) & 0xFFFu, wanted);
  e.sheet->watchList()->timerTick();
  QCOMPARE(e.watch()->item(0, 1)->text(), QString::asprintf("0x%08X", (before & ~0xFFFu) | wanted));
}

QTEST_MAIN(TestRegEditor)
#include "reg_editor_test.moc"
