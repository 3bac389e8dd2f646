// CSimBusDlg: a small control window over the simulated camera bus, to
// unplug and replug cameras and cause bus resets while watching the events.
#pragma once

#include <QDialog>

class QComboBox;
class QLabel;
class QListWidget;
class QPlainTextEdit;
class QPushButton;
class CBusEventLog;
class vx_SimBusControl;
class vxCameraList;

class CSimBusDlg : public QDialog {
  Q_OBJECT
 public:
  CSimBusDlg(vx_SimBusControl& sim, vxCameraList& cameras, CBusEventLog& log,
             QWidget* parent = nullptr);

 public slots:
  void unplugSelected();
  void replugSelected();
  void busReset();
  // Plugs a new camera of the profile chosen beside the button into the bus.
  void plugNewCamera();
  // Re-reads the cameras' plug state and the shared bus figures.
  void refresh();

 private:
  int selectedCameraNumber() const;
  // One row per simulated camera, cameras plugged in since included.
  void fillCameraList();

  vx_SimBusControl& m_sim;
  vxCameraList& m_cameras;
  QListWidget* m_cameraList;
  QPlainTextEdit* m_log;
  QLabel* m_statistics;
  QComboBox* m_profiles;
  QLabel* m_plugStatus;
};
