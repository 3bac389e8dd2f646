// CSelectDCAMDlg: the dialog in which the user picks one camera of the list.
#pragma once

#include <QDialog>

#include <memory>

class CPrompter;
class QLineEdit;
class QListWidget;
class QPushButton;
class vxCameraEntry;
class vxCameraList;
struct CPageServices;

class CSelectDCAMDlg : public QDialog {
  Q_OBJECT
 public:
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

  vxCameraList& m_cameras;
  CPrompter& m_prompter;
  const bool m_exclusive;
  QListWidget* m_list;
  int m_selected = -1;
};

// A camera page's "Select ..." button: runs the dialog (not exclusive) and,
// when the user picks a camera, shows its name in the page's camera field
// and returns it. Null when the user cancelled or picked none: the page then
// keeps the camera it had.
std::shared_ptr<vxCameraEntry> chooseCameraForPage(const CPageServices& services, QWidget* page,
                                                   QLineEdit* cameraName);
