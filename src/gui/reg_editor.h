// The register editor: a window with three pages sharing one current
// register — its attributes and bit fields, the register map, and a watch
// list re-read on demand or twice a second.
#pragma once

#include <QTimer>
#include <QWidget>

#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <utility>
#include <vector>

#include "utilities/register_edit.h"

class QCheckBox;
class vxRePropSheet;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QSpinBox;
class QTableWidget;
class QTabWidget;
class QTreeWidget;
class QTreeWidgetItem;
class CPrompter;
class vxDcamCamera;
class vxRegister;
class vx_DcamModule;
class WatchListPp;

// "Register Attributes": the current register's name, address, width and
// value, its bit fields (a field's value cell is editable), a new whole
// value, Write and Reread.
class RegEditDlg : public QWidget {
  Q_OBJECT
 public:
  static constexpr int kFocusTimerMs = 333;

  RegEditDlg(CPrompter& prompter, QWidget* parent = nullptr);

  // Makes the register current (null: none). While an edit is pending the
  // user is asked "Discard register changes?" first; false when they keep it.
  bool setCurrentRegister(vxRegister* reg);
  vxRegister* currentRegister() const { return m_edit.current(); }
  const vxRegisterEdit& edit() const { return m_edit; }
  // Absolute-value registers show their float beside the hexadecimal value.
  void setFloatAddresses(std::set<uint32_t> addresses) { m_floatAddresses = std::move(addresses); }

 public slots:
  void writeRegister();
  void reread();
  // One tick of the focus timer: a field edit that ended moves the focus to Write.
  void focusTick();

 private:
  void show();
  void showMessage(const QString& text);
  void fieldEdited(QTreeWidgetItem* item, int column);
  void wholeValueEdited();

  CPrompter& m_prompter;
  vxRegisterEdit m_edit;
  std::set<uint32_t> m_floatAddresses;
  bool m_filling = false;
  QLabel* m_name;
  QLabel* m_address;
  QLabel* m_width;
  QLabel* m_value;
  QLabel* m_float;
  QCheckBox* m_showFloat;
  QTreeWidget* m_fields;
  QLineEdit* m_newValue;
  QPushButton* m_writeButton;
  QPushButton* m_rereadButton;
  QLabel* m_message;
  QTimer m_focusTimer;
};

// "DCAM Register Map": the camera's register catalogue as a tree of groups
// and registers. Selecting a register makes it current; the watch action
// adds a register to the watch list or takes it out again (its entry is
// bold while it is watched).
class TreeCtrlPp : public QWidget {
  Q_OBJECT
 public:
  TreeCtrlPp(vxDcamCamera& camera, RegEditDlg& editor, WatchListPp& watch, QWidget* parent = nullptr);

  QTreeWidgetItem* itemFor(vxRegister* reg) const;
  void setBold(vxRegister* reg, bool bold);

 public slots:
  // Adds the selected register to the watch list, or removes it when it is there.
  void toggleWatch();

 private:
  void fill(QTreeWidgetItem* parent, const class vxDiagObject& node);
  void selectionChanged();

  RegEditDlg& m_editor;
  WatchListPp& m_watch;
  QTreeWidget* m_tree;
  QPushButton* m_toggleButton;
  bool m_reverting = false;
};

// "Register Watch List": registers re-read by "Refresh List" or, with
// "Auto Refresh", every 500 ms while the page is shown.
class WatchListPp : public QWidget {
  Q_OBJECT
 public:
  static constexpr int kRefreshMs = 500;

  WatchListPp(vxDcamCamera& camera, RegEditDlg& editor, QWidget* parent = nullptr);
  ~WatchListPp() override;

  void setTree(TreeCtrlPp* tree) { m_tree = tree; }
  bool contains(vxRegister* reg) const;
  // Appends the register with its value; false when it is already there.
  bool add(vxRegister* reg);
  void remove(vxRegister* reg);
  int count() const;
  // Reads count quadlets from address (an offset from the command base or
  // an absolute address) into the list as registers of their own.
  void addBlock(uint32_t address, int count);
  bool isActive() const { return m_active; }
  // The number of refreshes made, for those who check the timer's rule.
  int refreshCount() const { return m_refreshes; }

 public slots:
  void refreshList();
  void removeItem();
  // One tick of the refresh timer.
  void timerTick();
  // Removes every item: Auto Refresh off, controls disabled, no current register.
  void removeAll();

 protected:
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;

 private:
  void updateControls();
  void fitColumns();
  void readBlock();

  vxDcamCamera& m_camera;
  RegEditDlg& m_editor;
  TreeCtrlPp* m_tree = nullptr;
  // The items, against refreshes and removals. Recursive: removing a row
  // changes the selection, whose handler reads the items too.
  mutable std::recursive_mutex m_mutex;
  std::vector<vxRegister*> m_items;
  std::vector<std::unique_ptr<vxRegister>> m_blockRegisters;  // registers outside the catalogue
  bool m_active = false;
  int m_refreshes = 0;
  QTableWidget* m_list;
  QPushButton* m_removeButton;
  QPushButton* m_refreshButton;
  QCheckBox* m_autoRefresh;
  QLineEdit* m_blockAddress;
  QSpinBox* m_blockCount;
  QPushButton* m_blockButton;
  QLabel* m_blockMessage;
  QTimer m_timer;
};

class vxCameraEntry;

// Opens a register editor on the camera in a window of its own, owned by
// parent's window; several may be open at once. A camera that cannot be
// read is reported through the prompter and nothing opens (null).
vxRePropSheet* openRegisterEditor(const vxCameraEntry& camera, CPrompter& prompter, QWidget* parent);

// Pictures of the three pages at work on the camera, for review:
// register_editor-attributes.png, -map.png and -watch_list.png. Answers how
// many were saved.
int saveRegisterEditorScreenshots(const vxCameraEntry& camera, CPrompter& prompter, QWidget* parent,
                                  const class QDir& dir);

// "DCAM Register Editor": the three pages over one camera's catalogue, in
// a window of its own beside the main one.
class vxRePropSheet : public QWidget {
  Q_OBJECT
 public:
  static constexpr const char* kTitle = "DCAM Register Editor";

  // Builds the camera's catalogue, which reads the camera: throws what the
  // catalogue throws when the camera does not answer.
  vxRePropSheet(vx_DcamModule& module, int cameraNumber, const QString& cameraName,
                CPrompter& prompter, QWidget* parent = nullptr);
  ~vxRePropSheet() override;

  // Asks for a file name to open (save false) or save (save true); empty cancels.
  using FilePrompt = std::function<QString(QWidget* parent, bool save)>;
  void setFilePrompt(FilePrompt prompt) { m_filePrompt = std::move(prompt); }
  // What the last Save State, Compare with File or Restore State reported.
  const QString& lastStateReport() const { return m_lastStateReport; }

  vxDcamCamera& camera() const { return *m_camera; }
  RegEditDlg* attributes() const { return m_attributes; }
  TreeCtrlPp* registerMap() const { return m_map; }
  WatchListPp* watchList() const { return m_watch; }
  QTabWidget* tabs() const { return m_tabs; }

 public slots:
  // The camera's register state into a file, as `pralix save` writes it.
  void saveState();
  // A saved state against the camera now, one line per differing register.
  void compareWithFile();
  // A saved state written back, as `pralix restore` does, after a confirmation.
  void restoreState();

 private:
  void report(const QString& title, const QString& text);

  CPrompter& m_prompter;
  FilePrompt m_filePrompt;
  QString m_lastStateReport;
  QPlainTextEdit* m_stateText;
  std::unique_ptr<vxDcamCamera> m_camera;
  QTabWidget* m_tabs;
  RegEditDlg* m_attributes;
  TreeCtrlPp* m_map;
  WatchListPp* m_watch;
};
