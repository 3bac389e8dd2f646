// The register editor window and its three pages.
#include "gui/reg_editor.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QPlainTextEdit>
#include <QFont>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QShowEvent>
#include <QSpinBox>
#include <QTabWidget>
#include <QTableWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <bit>
#include <cstring>
#include <exception>

#include "app/camera_list.h"
#include "base/format.h"
#include "gui/page_widgets.h"
#include "gui/prompter.h"
#include "regmodel/dcam_camera.h"
#include "utilities/camera_state.h"
#include "utilities/camera_state_restore.h"

namespace {

constexpr const char* kEditorCaption = "Register Editor";
constexpr int kRegisterRole = Qt::UserRole + 1;

QString qs(const std::string& text) { return QString::fromStdString(text); }

vxRegister* registerOf(const QTreeWidgetItem* item) {
  return item ? static_cast<vxRegister*>(item->data(0, kRegisterRole).value<void*>()) : nullptr;
}

QString floatText(uint64_t value) {
  const float f = std::bit_cast<float>(static_cast<uint32_t>(value));
  return QString::number(static_cast<double>(f), 'g', 9);
}

}  // namespace

// ---- RegEditDlg ----

RegEditDlg::RegEditDlg(CPrompter& prompter, QWidget* parent) : QWidget(parent), m_prompter(prompter) {
  setWindowTitle("Register Attributes");
  auto* layout = new QVBoxLayout(this);
  auto* form = new QFormLayout;
  m_name = new QLabel;
  m_name->setObjectName("registerName");
  QFont bold = m_name->font();
  bold.setBold(true);
  m_name->setFont(bold);
  m_address = new QLabel;
  m_address->setObjectName("registerAddress");
  m_width = new QLabel;
  m_width->setObjectName("registerWidth");
  m_value = new QLabel;
  m_value->setObjectName("registerValue");
  m_value->setTextInteractionFlags(Qt::TextSelectableByMouse);
  m_float = new QLabel;
  m_float->setObjectName("floatValue");
  m_showFloat = new QCheckBox("Show as IEEE float");
  m_showFloat->setObjectName("showFloat");
  auto* valueRow = new QHBoxLayout;
  valueRow->addWidget(m_value);
  valueRow->addSpacing(16);
  valueRow->addWidget(m_float);
  valueRow->addStretch(1);
  valueRow->addWidget(m_showFloat);
  form->addRow("Name:", m_name);
  form->addRow("Address:", m_address);
  form->addRow("Width:", m_width);
  form->addRow("Value:", valueRow);
  layout->addLayout(form);

  m_fields = new QTreeWidget;
  m_fields->setObjectName("fieldList");
  m_fields->setRootIsDecorated(false);
  m_fields->setAllColumnsShowFocus(true);
  m_fields->setEditTriggers(QAbstractItemView::NoEditTriggers);
  m_fields->header()->setStretchLastSection(false);
  layout->addWidget(m_fields, 1);

  auto* writeRow = new QHBoxLayout;
  auto* newLabel = new QLabel("New value:");
  m_newValue = new QLineEdit;
  m_newValue->setObjectName("newValue");
  newLabel->setBuddy(m_newValue);
  m_writeButton = makeButton("Write", "writeButton");
  m_rereadButton = makeButton("Reread", "rereadButton");
  writeRow->addWidget(newLabel);
  writeRow->addWidget(m_newValue, 1);
  writeRow->addWidget(m_writeButton);
  writeRow->addWidget(m_rereadButton);
  layout->addLayout(writeRow);
  m_message = new QLabel;
  m_message->setObjectName("messageLine");
  m_message->setWordWrap(true);
  layout->addWidget(m_message);

  connect(m_writeButton, &QPushButton::clicked, this, &RegEditDlg::writeRegister);
  connect(m_rereadButton, &QPushButton::clicked, this, &RegEditDlg::reread);
  connect(m_newValue, &QLineEdit::returnPressed, this, &RegEditDlg::wholeValueEdited);
  connect(m_newValue, &QLineEdit::editingFinished, this, [this] {
    if (!m_newValue->text().isEmpty() && !m_edit.changed()) wholeValueEdited();
  });
  connect(m_showFloat, &QCheckBox::toggled, this, [this] { show(); });
  connect(m_fields, &QTreeWidget::itemChanged, this, &RegEditDlg::fieldEdited);
  auto startEdit = [this](QTreeWidgetItem* item, int) {
    if (!m_edit.writable()) return;
    const int index = m_fields->indexOfTopLevelItem(item);
    const auto& fields = m_edit.current()->bitFields();
    if (index >= 0 && size_t(index) < fields.size() && !fields[size_t(index)]->isReadOnly())
      m_fields->editItem(item, 0);
  };
  connect(m_fields, &QTreeWidget::itemDoubleClicked, this, startEdit);
  connect(m_fields, &QTreeWidget::itemActivated, this, startEdit);

  m_focusTimer.setInterval(kFocusTimerMs);
  connect(&m_focusTimer, &QTimer::timeout, this, &RegEditDlg::focusTick);
  m_focusTimer.start();
  show();
}

bool RegEditDlg::setCurrentRegister(vxRegister* reg) {
  if (reg == m_edit.current()) return true;
  if (!m_newValue->text().isEmpty() &&
      !m_prompter.askYesNo(this, "Discard register changes?", kEditorCaption))
    return false;
  m_edit.load(reg);
  m_newValue->clear();
  m_message->clear();
  show();
  return true;
}

void RegEditDlg::show() {
  m_filling = true;
  vxRegister* reg = m_edit.current();
  m_fields->clear();
  if (!reg) {
    m_name->setText("No Register Selected");
    m_address->clear();
    m_width->clear();
    m_value->clear();
    m_float->clear();
    m_fields->setColumnCount(1);
    m_fields->setHeaderLabels({""});
    for (QWidget* w : std::initializer_list<QWidget*>{m_fields, m_newValue, m_writeButton, m_rereadButton,
                                                      m_showFloat})
      w->setEnabled(false);
    m_filling = false;
    return;
  }
  m_name->setText(reg->regName());
  m_address->setText(qs(vxFormat("0x%X", reg->address())));
  m_width->setText(QString::number(reg->width()));
  m_rereadButton->setEnabled(true);
  m_showFloat->setEnabled(true);
  if (!m_edit.readOk()) {
    m_value->clear();
    m_float->clear();
    m_fields->setColumnCount(1);
    m_fields->setHeaderLabels({"Error"});
    new QTreeWidgetItem(m_fields, {qs(m_edit.readError())});
    m_fields->setEnabled(true);
    m_newValue->setEnabled(false);
    m_writeButton->setEnabled(false);
    m_filling = false;
    return;
  }
  m_value->setText(qs(vxRegisterValueText(m_edit.valueRead(), reg->width())));
  const bool asFloat = reg->width() == 32 &&
                       (m_showFloat->isChecked() || m_floatAddresses.count(reg->address()) > 0);
  m_float->setText(asFloat ? "= " + floatText(m_edit.valueRead()) : QString());
  m_fields->setColumnCount(5);
  m_fields->setHeaderLabels({"Value", "Name", "Bits", "Access", "Description"});
  const int widths[] = {60, 200, 40, 50, 60};
  for (int c = 0; c < 5; ++c) m_fields->setColumnWidth(c, widths[c]);
  for (const vxFieldRow& row : m_edit.fieldRows()) {
    auto* item = new QTreeWidgetItem(m_fields, {qs(row.value), qs(row.name), qs(row.bits), qs(row.access),
                                                qs(row.description)});
    item->setFlags(item->flags() | Qt::ItemIsEditable);
  }
  const bool writable = m_edit.writable();
  m_fields->setEnabled(!reg->bitFields().empty());
  m_newValue->setEnabled(writable);
  m_writeButton->setEnabled(writable && m_edit.changed());
  m_filling = false;
}

void RegEditDlg::showMessage(const QString& text) { m_message->setText(text); }

void RegEditDlg::fieldEdited(QTreeWidgetItem* item, int column) {
  if (m_filling || column != 0) return;
  const int index = m_fields->indexOfTopLevelItem(item);
  if (index < 0) return;
  const std::string message = m_edit.editField(size_t(index), item->text(0).trimmed().toStdString());
  if (!message.empty()) {
    showMessage(qs(message));
    show();  // the old value back in its cell
    return;
  }
  showMessage({});
  const uint64_t edited = m_edit.editedValue();
  show();
  m_newValue->setText(qs(vxRegisterValueText(edited, m_edit.current()->width())));
  m_writeButton->setEnabled(true);
}

void RegEditDlg::wholeValueEdited() {
  if (!m_edit.current() || !m_edit.readOk()) return;
  const QString text = m_newValue->text().trimmed();
  const std::string message = m_edit.editWhole(text.toStdString());
  if (!message.empty()) {
    showMessage(qs(message));
    m_newValue->clear();
    m_writeButton->setEnabled(false);
    return;
  }
  showMessage({});
  show();
  m_newValue->setText(text);
  m_writeButton->setEnabled(true);
  m_writeButton->setFocus();
  m_edit.clearPendingFocus();
}

void RegEditDlg::writeRegister() {
  if (!m_edit.current() || !m_edit.readOk()) return;
  // A value typed but not yet entered is taken as it stands.
  if (!m_edit.changed() && !m_newValue->text().isEmpty()) {
    wholeValueEdited();
    if (!m_edit.changed()) return;
  }
  std::string error;
  const bool written = m_edit.write(&error);
  m_newValue->clear();
  showMessage(written ? QString() : qs(error));
  if (!written) m_prompter.error(this, qs(error));
  show();
}

void RegEditDlg::reread() {
  if (!m_edit.current()) return;
  m_edit.reread();
  m_newValue->clear();
  showMessage({});
  show();
}

void RegEditDlg::focusTick() {
  if (!m_edit.pendingFocus()) return;
  // The move waits for the list to end its in-place edit.
  if (QWidget* focus = QApplication::focusWidget(); focus && focus != m_fields && m_fields->isAncestorOf(focus))
    return;
  m_writeButton->setFocus();
  m_edit.clearPendingFocus();
}

// ---- TreeCtrlPp ----

TreeCtrlPp::TreeCtrlPp(vxDcamCamera& camera, RegEditDlg& editor, WatchListPp& watch, QWidget* parent)
    : QWidget(parent), m_editor(editor), m_watch(watch) {
  setWindowTitle("DCAM Register Map");
  auto* layout = new QVBoxLayout(this);
  m_tree = new QTreeWidget;
  m_tree->setObjectName("registerTree");
  m_tree->setColumnCount(2);
  m_tree->setHeaderLabels({"Register", "Address"});
  m_tree->setColumnWidth(0, 320);
  layout->addWidget(m_tree, 1);
  auto* row = new QHBoxLayout;
  m_toggleButton = makeButton("Add/Remove Watch", "watchToggle");
  m_toggleButton->setToolTip("Adds the register to the watch list, or takes it out when it is there (Space)");
  row->addStretch(1);
  row->addWidget(m_toggleButton);
  layout->addLayout(row);

  for (const vxDiagObject* child : camera.children()) fill(nullptr, *child);

  connect(m_tree, &QTreeWidget::itemSelectionChanged, this, &TreeCtrlPp::selectionChanged);
  connect(m_tree, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem* item, int) {
    if (registerOf(item)) toggleWatch();
  });
  connect(m_toggleButton, &QPushButton::clicked, this, &TreeCtrlPp::toggleWatch);
  auto* space = new QAction(this);
  space->setShortcut(Qt::Key_Space);
  space->setShortcutContext(Qt::WidgetWithChildrenShortcut);
  connect(space, &QAction::triggered, this, &TreeCtrlPp::toggleWatch);
  m_tree->addAction(space);
  m_toggleButton->setEnabled(false);
}

void TreeCtrlPp::fill(QTreeWidgetItem* parent, const vxDiagObject& node) {
  QTreeWidgetItem* item = parent ? new QTreeWidgetItem(parent) : new QTreeWidgetItem(m_tree);
  if (node.isRegister()) {
    const auto& reg = static_cast<const vxRegister&>(node);
    item->setText(0, reg.regName());
    item->setText(1, qs(vxFormat("0x%08X", reg.address())));
    item->setData(0, kRegisterRole, QVariant::fromValue(static_cast<void*>(const_cast<vxRegister*>(&reg))));
    return;
  }
  item->setText(0, qs(node.name()));
  for (const vxDiagObject* child : node.children()) fill(item, *child);
}

QTreeWidgetItem* TreeCtrlPp::itemFor(vxRegister* reg) const {
  for (QTreeWidgetItemIterator it(m_tree); *it; ++it)
    if (registerOf(*it) == reg) return *it;
  return nullptr;
}

void TreeCtrlPp::setBold(vxRegister* reg, bool bold) {
  if (QTreeWidgetItem* item = itemFor(reg)) {
    QFont font = item->font(0);
    font.setBold(bold);
    item->setFont(0, font);
    item->setFont(1, font);
  }
}

void TreeCtrlPp::selectionChanged() {
  if (m_reverting) return;
  QTreeWidgetItem* item = m_tree->currentItem();
  vxRegister* reg = registerOf(item);
  m_toggleButton->setEnabled(reg != nullptr);
  if (!reg) return;
  if (!m_editor.setCurrentRegister(reg)) {
    // The user kept the edit: the tree goes back to the register being edited.
    m_reverting = true;
    if (QTreeWidgetItem* old = itemFor(m_editor.currentRegister())) m_tree->setCurrentItem(old);
    m_reverting = false;
  }
}

void TreeCtrlPp::toggleWatch() {
  vxRegister* reg = registerOf(m_tree->currentItem());
  if (!reg) return;
  if (m_watch.contains(reg))
    m_watch.remove(reg);
  else
    m_watch.add(reg);
}

// ---- WatchListPp ----

WatchListPp::WatchListPp(vxDcamCamera& camera, RegEditDlg& editor, QWidget* parent)
    : QWidget(parent), m_camera(camera), m_editor(editor) {
  setWindowTitle("Register Watch List");
  auto* layout = new QVBoxLayout(this);
  m_list = new QTableWidget(0, 2);
  m_list->setObjectName("watchList");
  m_list->setHorizontalHeaderLabels({"Name", "Value"});
  m_list->setColumnWidth(0, 200);
  m_list->setColumnWidth(1, 80);
  m_list->setSelectionBehavior(QAbstractItemView::SelectRows);
  m_list->setSelectionMode(QAbstractItemView::SingleSelection);
  m_list->setShowGrid(true);
  m_list->setEditTriggers(QAbstractItemView::NoEditTriggers);
  m_list->verticalHeader()->setVisible(false);
  m_list->horizontalHeader()->setStretchLastSection(true);
  layout->addWidget(m_list, 1);

  auto* controls = new QHBoxLayout;
  m_removeButton = makeButton("Remove Item", "removeButton");
  m_refreshButton = makeButton("Refresh List", "refreshButton");
  m_autoRefresh = new QCheckBox("Auto Refresh");
  m_autoRefresh->setObjectName("autoRefresh");
  controls->addWidget(m_removeButton);
  controls->addWidget(m_refreshButton);
  controls->addWidget(m_autoRefresh);
  controls->addStretch(1);
  layout->addLayout(controls);

  auto* block = new QHBoxLayout;
  auto* blockLabel = new QLabel("Quadlets from address:");
  m_blockAddress = new QLineEdit;
  m_blockAddress->setObjectName("blockAddress");
  m_blockAddress->setPlaceholderText("e.g. F0F00800 or 800");
  blockLabel->setBuddy(m_blockAddress);
  m_blockCount = new QSpinBox;
  m_blockCount->setObjectName("blockCount");
  m_blockCount->setRange(1, 256);
  m_blockCount->setValue(4);
  m_blockButton = makeButton("Add Block", "blockButton");
  block->addWidget(blockLabel);
  block->addWidget(m_blockAddress, 1);
  block->addWidget(new QLabel("Count:"));
  block->addWidget(m_blockCount);
  block->addWidget(m_blockButton);
  layout->addLayout(block);
  m_blockMessage = new QLabel;
  m_blockMessage->setObjectName("blockMessage");
  layout->addWidget(m_blockMessage);

  connect(m_removeButton, &QPushButton::clicked, this, &WatchListPp::removeItem);
  connect(m_refreshButton, &QPushButton::clicked, this, &WatchListPp::refreshList);
  connect(m_blockButton, &QPushButton::clicked, this, &WatchListPp::readBlock);
  connect(m_list, &QTableWidget::itemSelectionChanged, this, [this] {
    const int row = m_list->currentRow();
    std::lock_guard lock(m_mutex);
    if (row >= 0 && size_t(row) < m_items.size()) m_editor.setCurrentRegister(m_items[size_t(row)]);
  });
  m_timer.setInterval(kRefreshMs);
  connect(&m_timer, &QTimer::timeout, this, &WatchListPp::timerTick);
  m_timer.start();
  updateControls();
}

WatchListPp::~WatchListPp() {
  removeAll();
  m_timer.stop();
}

bool WatchListPp::contains(vxRegister* reg) const {
  std::lock_guard lock(m_mutex);
  return std::find(m_items.begin(), m_items.end(), reg) != m_items.end();
}

int WatchListPp::count() const {
  std::lock_guard lock(m_mutex);
  return static_cast<int>(m_items.size());
}

bool WatchListPp::add(vxRegister* reg) {
  if (!reg || contains(reg)) return false;
  {
    std::lock_guard lock(m_mutex);
    m_items.push_back(reg);
    const int row = m_list->rowCount();
    m_list->insertRow(row);
    m_list->setItem(row, 0, new QTableWidgetItem(reg->regName()));
    QString value;
    try {
      value = qs(vxRegisterValueText(reg->read(), reg->width()));
    } catch (const std::exception& e) {
      value = qs(e.what());
    }
    m_list->setItem(row, 1, new QTableWidgetItem(value));
  }
  if (m_tree) m_tree->setBold(reg, true);
  fitColumns();
  updateControls();
  return true;
}

void WatchListPp::remove(vxRegister* reg) {
  {
    std::lock_guard lock(m_mutex);
    auto it = std::find(m_items.begin(), m_items.end(), reg);
    if (it == m_items.end()) return;
    m_list->removeRow(static_cast<int>(it - m_items.begin()));
    m_items.erase(it);
  }
  if (m_tree) m_tree->setBold(reg, false);
  fitColumns();
  if (count() == 0) m_editor.setCurrentRegister(nullptr);
  updateControls();
}

void WatchListPp::removeItem() {
  const QList<QTableWidgetItem*> selected = m_list->selectedItems();
  int row = selected.isEmpty() ? m_list->currentRow() : selected.first()->row();
  vxRegister* reg = nullptr;
  {
    std::lock_guard lock(m_mutex);
    if (row < 0 || size_t(row) >= m_items.size()) return;
    reg = m_items[size_t(row)];
  }
  remove(reg);
}

void WatchListPp::removeAll() {
  m_autoRefresh->setChecked(false);
  m_editor.setCurrentRegister(nullptr);
  std::vector<vxRegister*> items;
  {
    std::lock_guard lock(m_mutex);
    items.swap(m_items);
    m_list->setRowCount(0);
  }
  if (m_tree)
    for (vxRegister* reg : items) m_tree->setBold(reg, false);
  updateControls();
}

void WatchListPp::refreshList() {
  std::lock_guard lock(m_mutex);
  ++m_refreshes;
  for (size_t i = 0; i < m_items.size(); ++i) {
    vxRegister* reg = m_items[i];
    QString value;
    try {
      value = qs(vxRegisterValueText(reg->read(), reg->width()));
    } catch (const std::exception& e) {
      value = qs(e.what());
    }
    if (QTableWidgetItem* cell = m_list->item(static_cast<int>(i), 1); cell && cell->text() != value)
      cell->setText(value);
  }
}

void WatchListPp::timerTick() {
  if (m_autoRefresh->isChecked() && m_active && count() > 0) refreshList();
}

void WatchListPp::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  m_active = true;
  updateControls();
}

void WatchListPp::hideEvent(QHideEvent* event) {
  QWidget::hideEvent(event);
  m_active = false;
}

void WatchListPp::updateControls() {
  const bool any = count() > 0;
  m_removeButton->setEnabled(any);
  m_refreshButton->setEnabled(any);
  m_autoRefresh->setEnabled(any);
}

void WatchListPp::fitColumns() { m_list->resizeColumnToContents(0); }

void WatchListPp::addBlock(uint32_t address, int quadlets) {
  const uint32_t first = m_camera.absoluteAddress(address);
  for (int i = 0; i < quadlets; ++i) {
    const uint32_t at = first + 4u * static_cast<uint32_t>(i);
    vxRegister* existing = m_camera.findRegister(at);
    if (!existing) {
      for (const auto& own : m_blockRegisters)
        if (own->address() == at) existing = own.get();
    }
    if (!existing) {
      m_blockRegisters.push_back(
          std::make_unique<vxDcamRegister>(&m_camera, vxFormat("Q_%08X", at), at));
      existing = m_blockRegisters.back().get();
    }
    add(existing);
  }
}

void WatchListPp::readBlock() {
  const QString text = m_blockAddress->text().trimmed();
  bool ok = false;
  const uint32_t address = text.toUInt(&ok, 16);
  if (!ok) {
    m_blockMessage->setText(QString("\"%1\" is not a hexadecimal address.").arg(text));
    m_blockAddress->selectAll();
    m_blockAddress->setFocus();
    return;
  }
  m_blockMessage->clear();
  addBlock(address, m_blockCount->value());
}

// ---- vxRePropSheet ----

vxRePropSheet::vxRePropSheet(vx_DcamModule& module, int cameraNumber, const QString& cameraName,
                             CPrompter& prompter, QWidget* parent)
    : QWidget(parent, Qt::Window),
      m_prompter(prompter),
      m_filePrompt([](QWidget* owner, bool save) {
        const QString filter = "Camera state files (*.json);;All files (*)";
        return save ? QFileDialog::getSaveFileName(owner, "Save State", QDir::home().filePath("camera-state.json"),
                                                   filter)
                    : QFileDialog::getOpenFileName(owner, "Open Camera State", QDir::homePath(), filter);
      }),
      m_camera(std::make_unique<vxDcamCamera>(cameraNumber, &module, cameraName.toStdString())) {
  setObjectName("RegEdit Prop Sheet");
  setWindowTitle(QString(kTitle) + " - " + cameraName);
  auto* layout = new QVBoxLayout(this);
  m_tabs = new QTabWidget;
  m_tabs->setObjectName("editorTabs");
  m_attributes = new RegEditDlg(prompter);
  m_watch = new WatchListPp(*m_camera, *m_attributes);
  m_map = new TreeCtrlPp(*m_camera, *m_attributes, *m_watch);
  m_watch->setTree(m_map);
  m_tabs->addTab(m_attributes, m_attributes->windowTitle());
  m_tabs->addTab(m_map, m_map->windowTitle());
  m_tabs->addTab(m_watch, m_watch->windowTitle());
  layout->addWidget(m_tabs, 1);
  auto* stateRow = new QHBoxLayout;
  QPushButton* save = makeButton("Save State...", "saveStateButton");
  QPushButton* compare = makeButton("Compare with File...", "compareButton");
  QPushButton* restore = makeButton("Restore State...", "restoreButton");
  save->setToolTip("Save every register of the camera in a JSON file");
  compare->setToolTip("List the registers that differ between a saved state and the camera now");
  restore->setToolTip("Write a saved state back to the camera");
  stateRow->addWidget(save);
  stateRow->addWidget(compare);
  stateRow->addWidget(restore);
  stateRow->addStretch(1);
  layout->addLayout(stateRow);
  m_stateText = new QPlainTextEdit;
  m_stateText->setObjectName("stateReport");
  m_stateText->setReadOnly(true);
  m_stateText->setMaximumHeight(120);
  m_stateText->setVisible(false);
  layout->addWidget(m_stateText);
  connect(save, &QPushButton::clicked, this, &vxRePropSheet::saveState);
  connect(compare, &QPushButton::clicked, this, &vxRePropSheet::compareWithFile);
  connect(restore, &QPushButton::clicked, this, &vxRePropSheet::restoreState);
  resize(640, 560);

  // The absolute-value blocks the camera's inquiry registers point at show
  // their values as floats.
  std::set<uint32_t> floats;
  for (uint32_t feature = 0; feature < 32; ++feature) {
    uint32_t offset = 0;
    if (m_camera->readQuadlet(0x700 + 4 * feature, offset) && offset != 0) {
      const uint32_t block = vxDcamCamera::offsetAddress(offset);
      for (uint32_t at = block; at < block + 12; at += 4) floats.insert(at);
    }
  }
  m_attributes->setFloatAddresses(std::move(floats));
}

vxRePropSheet::~vxRePropSheet() {
  // The watch list leaves first: its clean-up reaches the tree and the
  // attributes page.
  delete m_watch;
}

void vxRePropSheet::report(const QString& title, const QString& text) {
  m_lastStateReport = title + "\n" + text;
  m_stateText->setPlainText(m_lastStateReport);
  m_stateText->setVisible(true);
}

namespace {

// A saved state from a file; throws vxCameraStateError with the reason.
vxCameraState loadStateFile(const QString& fileName) {
  QFile file(fileName);
  if (!file.open(QIODevice::ReadOnly))
    throw vxCameraStateError("Cannot open " + fileName.toStdString() + ": " + file.errorString().toStdString());
  return vxCameraStateFromJson(file.readAll().toStdString());
}

}  // namespace

void vxRePropSheet::saveState() {
  const QString fileName = m_filePrompt(this, true);
  if (fileName.isEmpty()) return;
  try {
    const vxCameraState state = vxCaptureCameraState(*m_camera);
    QString reason;
    if (!writeTextFile(fileName, qs(vxCameraStateToJson(state)), &reason)) {
      m_prompter.error(this, QString("The state could not be saved to \"%1\": %2").arg(fileName, reason));
      return;
    }
    int failed = 0;
    for (const auto& reg : state.registers) failed += reg.readOk ? 0 : 1;
    report("Save State", QString("Saved %1 registers to %2%3")
                             .arg(state.registers.size())
                             .arg(fileName)
                             .arg(failed ? QString(" (%1 failed to read)").arg(failed) : QString()));
  } catch (const std::exception& e) {
    m_prompter.error(this, QString("Reading the camera's registers failed: %1").arg(e.what()));
  }
}

void vxRePropSheet::compareWithFile() {
  const QString fileName = m_filePrompt(this, false);
  if (fileName.isEmpty()) return;
  try {
    const vxCameraState saved = loadStateFile(fileName);
    const auto differences = vxDiffCameraStates(saved, vxCaptureCameraState(*m_camera), &m_camera->registers());
    QStringList lines;
    for (const auto& difference : differences) lines << qs(vxDifferenceLine(difference));
    lines << QString("%1 registers differ").arg(differences.size());
    report("Compare with " + fileName, lines.join("\n"));
  } catch (const std::exception& e) {
    m_prompter.error(this, QString("%1: %2").arg(fileName, e.what()));
  }
}

void vxRePropSheet::restoreState() {
  const QString fileName = m_filePrompt(this, false);
  if (fileName.isEmpty()) return;
  try {
    const vxCameraState saved = loadStateFile(fileName);
    vxRestorePlan plan = vxPlanRestore(saved, vxCaptureCameraState(*m_camera), *m_camera, false);
    if (plan.writes.empty()) {
      report("Restore " + fileName, "The camera already holds the saved state: nothing to write.");
      return;
    }
    if (!m_prompter.askYesNo(this, QString("Write %1 registers of %2 to the camera?").arg(plan.writes.size()).arg(fileName),
                             kEditorCaption))
      return;
    const int failed = vxExecuteRestore(plan, *m_camera);
    QStringList lines;
    for (const auto& write : plan.writes) lines << qs(vxRestoreLine(write));
    lines << QString("%1 of %2 writes succeeded").arg(plan.writes.size() - size_t(failed)).arg(plan.writes.size());
    report("Restore " + fileName, lines.join("\n"));
    m_attributes->reread();
    m_watch->refreshList();
  } catch (const std::exception& e) {
    m_prompter.error(this, QString("%1: %2").arg(fileName, e.what()));
  }
}

vxRePropSheet* openRegisterEditor(const vxCameraEntry& camera, CPrompter& prompter, QWidget* parent) {
  QWidget* owner = parent ? parent->window() : nullptr;
  vxRePropSheet* sheet = nullptr;
  try {
    sheet = new vxRePropSheet(camera.module(), camera.cameraNumber(), qs(camera.displayName()), prompter,
                              owner);
  } catch (const std::exception& e) {
    prompter.error(parent, QString("The register editor could not read the camera's registers: %1")
                               .arg(QString::fromStdString(e.what())));
    return nullptr;
  }
  sheet->setAttribute(Qt::WA_DeleteOnClose);
  sheet->show();
  sheet->raise();
  return sheet;
}

int saveRegisterEditorScreenshots(const vxCameraEntry& camera, CPrompter& prompter, QWidget* parent,
                                  const QDir& dir) {
  vxRePropSheet* sheet = openRegisterEditor(camera, prompter, parent);
  if (!sheet) return 0;
  int saved = 0;
  auto shoot = [&](int tab, const char* name) {
    sheet->tabs()->setCurrentIndex(tab);
    QApplication::processEvents();
    if (sheet->grab().save(dir.filePath(QString("register_editor-%1.png").arg(name)))) ++saved;
  };
  auto* tree = sheet->findChild<QTreeWidget*>("registerTree");
  auto pick = [&](const char* name) {
    const auto items = tree->findItems(name, Qt::MatchExactly | Qt::MatchRecursive, 0);
    if (!items.isEmpty()) tree->setCurrentItem(items.first());
    return !items.isEmpty();
  };
  sheet->tabs()->setCurrentIndex(1);
  for (const char* name : {"BRIGHTNESS", "GAIN", "SHUTTER"})
    if (pick(name)) sheet->registerMap()->toggleWatch();
  pick("CURRENT_VIDEO_MODE");
  shoot(0, "attributes");
  shoot(1, "map");
  shoot(2, "watch_list");
  sheet->close();
  return saved;
}
