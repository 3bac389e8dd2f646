// CSimBusDlg: a small control window over the simulated camera bus, to
// unplug and replug cameras and cause bus resets while watching the events.
#pragma once

#include <QDialog>

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
  // Re-reads the cameras' plug state and the shared bus figures.
  void refresh();

 private:
  int selectedCameraNumber() const;

  vx_SimBusControl& m_sim;
  vxCameraList& m_cameras;
  QListWidget* m_cameraList;
  QPlainTextEdit* m_log;
  QLabel* m_statistics;
};
