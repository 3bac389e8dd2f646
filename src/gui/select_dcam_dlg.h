// CSelectDCAMDlg: the dialog in which the user picks one camera of the list.
#pragma once

#include <QDialog>

#include <memory>

class CPrompter;
class QLineEdit;
class QLabel;
class QListWidget;
class QPushButton;
class vxCameraEntry;
class vxCameraList;
struct CPageServices;

class CSelectDCAMDlg : public QDialog {
  Q_OBJECT
 public:
  // Shown in place of the list when the module knows no camera.
  static constexpr const char* kNoCamerasText =
      "No DCAM cameras were found. Check that the camera is connected and powered and that "
      "this user may open /dev/fw* (Help, Module and bus layers tells what the program "
      "found), or start the program with --simulate to use simulated cameras.";

  // exclusive: the caller needs the camera for itself, so a camera that an
  // acquisition window holds is marked and refused.
  CSelectDCAMDlg(vxCameraList& cameras, CPrompter& prompter, bool exclusive,
                 QWidget* parent = nullptr);

  // The row chosen at OK; -1 when none.
  int selectedIndex() const { return m_selected; }
  // The entry chosen at OK; null when none.
  std::shared_ptr<vxCameraEntry> selectedEntry() const;

  void accept() override;

 private:
  bool isResponding(const vxCameraEntry& entry) const;
  void fitListToItems();

  static constexpr int kMinimumListWidth = 320;

  vxCameraList& m_cameras;
  CPrompter& m_prompter;
  const bool m_exclusive;
  QListWidget* m_list;
  QLabel* m_emptyText;
  int m_selected = -1;
};

// A camera page's "Select ..." button: runs the dialog (not exclusive) and,
// when the user picks a camera, shows its name in the page's camera field
// and returns it. Null when the user cancelled or picked none: the page then
// keeps the camera it had.
std::shared_ptr<vxCameraEntry> chooseCameraForPage(const CPageServices& services, QWidget* page,
                                                   QLineEdit* cameraName);
