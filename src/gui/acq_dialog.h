// CAcqDialog: the "DCAM Image Acquisition" window. One camera, one FIFO, a
// worker that acquires, a live display console, the histogram, statistics
// and a time-stamped log of what happened, bus events included.
#pragma once

#include <QDialog>
#include <QStringList>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "acquisition/acq_fifo.h"
#include "acquisition/bus_event.h"
#include "acquisition/continuous_acquisition.h"
#include "base/time_stamp.h"
#include "gui/page_services.h"
#include "gui/queued_calls.h"
#include "imaging/histogram.h"

class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QSlider;
class QSpinBox;
class QTimer;
class CDisplayConsole;
class CDisplayFeed;
class CHistogramWnd;
class vxCameraEntry;

class CAcqDialog : public QDialog {
  Q_OBJECT
 public:
  static constexpr const char* kTitle = "DCAM Image Acquisition";
  static constexpr const char* kErrorCaption = "Error";
  static constexpr const char* kNotResponding =
      "Camera is not responding, it may have been unplugged!";
  // The reason a control that needs the camera's registers is disabled.
  static constexpr const char* kCameraGone = "The camera is not responding.";
  static constexpr const char* kStopBeforeExit = "Please stop image acquisition before exiting.";
  // The statistics timer's period.
  static constexpr int kStatisticsPeriodMs = 1000;
  // The log keeps this many of its last lines in view.
  static constexpr int kLogLinesInView = 13;
  static constexpr double kInitialTimeoutSeconds = 5.0;
  // How long the "30fps Clamp" keeps starts apart.
  static constexpr double kClampPeriodSeconds = 1.0 / 30.0;

  // services.cameras and services.prompter must outlive the window.
  explicit CAcqDialog(const CPageServices& services, QWidget* parent = nullptr);
  ~CAcqDialog() override;

  bool isAcquiring() const { return m_running; }
  bool isBusy() const { return m_workerRunning; }
  double timeoutSeconds() const { return m_timeout; }
  int busResetCount() const { return m_busResets; }
  const std::shared_ptr<vxCameraEntry>& camera() const { return m_entry; }
  const vxPtrHandle<vxAcqFifo>& fifo() const { return m_fifo; }
  QStringList logLines() const;
  CDisplayConsole* console() const { return m_console.get(); }
  CHistogramWnd* histogram() const { return m_histogram; }
  vxAcqStatistics::Snapshot statistics() const { return m_statistics.snapshot(); }

  // How the user is asked for a file name to save to; tests answer it.
  using FileNamePrompt =
      std::function<QString(QWidget*, const QString& caption, const QString& filter)>;
  void setFileNamePrompt(FileNamePrompt prompt) { m_fileNamePrompt = std::move(prompt); }

 public slots:
  void selectCamera();
  // Binds the window to a camera as a choice in the selection dialog does.
  void useCamera(std::shared_ptr<vxCameraEntry> entry);
  void initializeAcquisition();
  void singleImage();
  // The "Continuous" button: starts, or stops when running.
  void toggleContinuous();
  void startContinuous();
  void stopContinuous();
  // The statistics timer's work.
  void updateStatistics();
  void onBusEvent(int cameraNumber, vxDcamBusEventInfo info);
  void saveImage();
  void copyLog();
  void saveLog();

 signals:
  // Continuous acquisition began or ended.
  void acquisitionStarted();
  void acquisitionStopped();
  // The worker finished a single image or a run.
  void workerFinished();

 protected:
  void closeEvent(QCloseEvent* event) override;
  void reject() override;

 private:
  // Log text, "\r\n" separated lines; "%s-:" stamps are made by the caller.
  void appendLog(const std::string& text);
  // Worker side: queues text for the log and, once per batch, a call that
  // appends it on the GUI thread.
  void postLog(std::string text);
  // Appends what the worker has queued so far.
  void drainLog();
  std::string stamped(const char* format) const;
  void error(const QString& text);
  bool cameraResponds() const;
  void showConnection(bool responding);
  void bindCamera(std::shared_ptr<vxCameraEntry> entry);
  void releaseCamera();
  void releaseFifo();
  void setUpExposure();
  void setUpControls();
  void setSetupEnabled(bool enabled);
  void readTimeout();
  void applyExposure();
  void applyTriggerDelay();
  void applyProperty(const std::function<void(vxAcqFifo&)>& set);
  void propertyChanged();

  // The worker: one image or a continuous run on its own thread.
  void startWorker(bool continuous);
  void workerMain(vxPtrHandle<vxAcqFifo> fifo, bool continuous, double timeout, int generation);
  void deliver(const vxPtrHandle<vxAcqImage>& image);
  void clampPace(std::chrono::steady_clock::time_point& last);
  // Ends the worker within a short time even when the camera stalls.
  void joinWorker();
  // generation tells a late report of an earlier worker from the current one's.
  void onWorkerDone(int generation);
  void finishRun();

  CPageServices m_services;
  std::shared_ptr<vxCameraEntry> m_entry;
  vxPtrHandle<vxAcqFifo> m_fifo;
  vxAcqStatistics m_statistics;
  double m_timeout = kInitialTimeoutSeconds;
  int m_busResets = 0;
  bool m_unplugged = false;
  bool m_running = false;  // continuous acquisition, as the user interface sees it
  uint32_t m_lastRateCount = 0;
  vxStopwatch m_rateWatch;
  FileNamePrompt m_fileNamePrompt;

  // Shared with the worker.
  std::thread m_worker;
  int m_workerGeneration = 0;
  std::atomic<bool> m_workerRunning{false};
  std::atomic<bool> m_stopRequested{false};
  std::atomic<bool> m_displayOn{true};
  std::atomic<bool> m_clamp{false};
  std::mutex m_workerMutex;
  std::condition_variable m_workerDone;
  bool m_workerEnded = true;
  std::mutex m_logMutex;
  std::vector<std::string> m_pendingLog;
  bool m_drainPosted = false;
  mutable std::mutex m_imageMutex;
  vxPtrHandle<vxAcqImage> m_lastImage;
  struct HistogramMailbox {
    std::mutex mutex;
    vxHistogram histogram;
    bool posted = false;
  };
  std::shared_ptr<HistogramMailbox> m_histogramMailbox = std::make_shared<HistogramMailbox>();

  // Widgets.
  QPushButton* m_selectButton;
  QLabel* m_cameraName;
  QComboBox* m_formatList;
  QPushButton* m_initializeButton;
  QCheckBox* m_queueStarts;
  QComboBox* m_triggerModels;
  QLineEdit* m_imagesField;
  QLineEdit* m_rateField;
  QLineEdit* m_shortestField;
  QLineEdit* m_longestField;
  QLineEdit* m_timeoutEdit;
  QSpinBox* m_bytesPerPacket;
  QSpinBox* m_roiHeight;
  QCheckBox* m_clampCheck;
  QCheckBox* m_testPattern;
  QCheckBox* m_autoSnap;
  QLineEdit* m_exposureEdit;
  QLabel* m_exposureRange;
  QSlider* m_brightness;
  QCheckBox* m_displayEnable;
  QLineEdit* m_triggerDelay;
  QCheckBox* m_triggerPolarity;
  QCheckBox* m_strobeEnable;
  QSpinBox* m_strobeDuration;
  QSpinBox* m_strobeDelay;
  QCheckBox* m_strobePolarity;
  QPushButton* m_singleButton;
  QPushButton* m_continuousButton;
  CHistogramWnd* m_histogram;
  QLabel* m_imageStats;
  QLabel* m_connectionPicture;
  QLabel* m_connectionText;
  QPlainTextEdit* m_log;
  QTimer* m_statisticsTimer;

  std::unique_ptr<CDisplayConsole> m_console;
  std::unique_ptr<CDisplayFeed> m_feed;
  CQueuedCalls m_calls{this};
};
