// DcamPralixDlg: the main dialog, hosting the page tree, the module
// information and the simulated-bus control window.
#pragma once

#include <QDialog>
#include <QPointer>

#include "base/handle.h"
#include "gui/page_services.h"
#include "gui/queued_calls.h"
#include "gui/sim_bus_dlg.h"

class QAction;
class QDir;
class QLabel;
class CAcqWindows;
class CBusEventLog;
class CDcamPralixApp;
class DcamPralixPropSheet;

class DcamPralixDlg : public QDialog {
  Q_OBJECT
 public:
  static constexpr const char* kSheetCaption = "Caption";
  static constexpr const char* kStopAcquisitionFirst =
      "Please stop all image acquisition before exiting DCAM Pralix.";

  DcamPralixDlg(CDcamPralixApp& app, const CPageServices& services, QWidget* parent = nullptr);
  ~DcamPralixDlg() override;

  DcamPralixPropSheet* sheet() const { return m_sheet; }
  CBusEventLog* busEventLog() const { return m_log; }
  CSimBusDlg* simBusWindow() const { return m_simBus; }
  CAcqWindows* acquisitionWindows() const { return m_acqWindows; }

  // Text of the module and bus layer information.
  QString moduleInformation() const;

  // Saves a PNG of every page of the tree (and of the simulated-bus window
  // when there is one) into the folder, then of the pages at work on the
  // first camera: a finished register dump, a finished capabilities report
  // and the properties page showing Gain. Returns how many were saved.
  int saveScreenshots(const QString& directory);

  // Closing is refused while an acquisition runs.
  void reject() override;
  void done(int result) override;

 public slots:
  void showModuleInformation();
  void showSimulatedBus();
  // Asks for a camera and opens a register editor on it.
  void showRegisterEditor();

 signals:
  // The window has been put on screen and drawn for the first time.
  void firstShown();

 protected:
  void showEvent(QShowEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  // The pictures of pages that show a camera's data; returns how many were saved.
  int saveCameraScreenshots(const QDir& dir);
  int saveSelectionScreenshot(const QDir& dir);

  CDcamPralixApp& m_app;
  CPageServices m_services;
  QWidget* m_parentWindow;
  vxPtrHandle<void> m_handle;  // empty until the pages need a library object
  DcamPralixPropSheet* m_sheet;
  CBusEventLog* m_log;
  // Bus resets reach the camera list's rebuild on this thread through here.
  CQueuedCalls m_busChangeCalls{this};
  CAcqWindows* m_acqWindows;
  QPointer<CSimBusDlg> m_simBus;
  QAction* m_simulatedBusAction;
  bool m_watchingFirstExpose = false;
  bool m_firstShown = false;
};
