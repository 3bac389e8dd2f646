// CAcqDialog: the "DCAM Image Acquisition" window.
#include "gui/acq_dialog.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QCloseEvent>
#include <QComboBox>
#include <QFile>
#include <QFileDialog>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QSlider>
#include <QSpinBox>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <fstream>

#include "acquisition/dcam_registers.h"
#include "acquisition/sim_control.h"
#include "acquisition/trigger_model.h"
#include "acquisition/video_format.h"
#include "app/camera_list.h"
#include "base/format.h"
#include "topology/bus_bandwidth.h"
#include "gui/display_console.h"
#include "gui/histogram_wnd.h"
#include "gui/page_widgets.h"
#include "gui/prompter.h"
#include "gui/select_dcam_dlg.h"
#include "imaging/display_picture.h"
#include "regmodel/camera_access.h"

namespace {

using Clock = std::chrono::steady_clock;

// How often a stop cancels the pending completion again while it waits for
// the worker: a cancel that lands between two completions reaches nothing.
constexpr auto kCancelRepeat = std::chrono::milliseconds(20);
// Format_7 strobe counts are microseconds.
constexpr double kMicrosecond = 1e-6;

QLineEdit* readOnlyField(const char* name, const QString& text) {
  auto* field = new QLineEdit(text);
  field->setObjectName(name);
  field->setReadOnly(true);
  return field;
}

QCheckBox* check(const char* text, const char* name, bool on = false) {
  auto* box = new QCheckBox(text);
  box->setObjectName(name);
  box->setChecked(on);
  return box;
}

QPixmap connectionPixmap(bool responding) {
  QPixmap pixmap(20, 20);
  pixmap.fill(Qt::transparent);
  QPainter painter(&pixmap);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setBrush(responding ? QColor(0, 170, 0) : QColor(200, 0, 0));
  painter.setPen(Qt::black);
  painter.drawEllipse(2, 2, 16, 16);
  return pixmap;
}

// Disables a control that the camera or format cannot honour and says why.
void allow(QWidget* control, bool allowed, const QString& reason) {
  control->setEnabled(allowed);
  control->setToolTip(allowed ? QString() : reason);
}

bool isSixteenBitGrey(vxPixelCoding coding) {
  return coding == vxPixelCoding::Mono16 || coding == vxPixelCoding::Raw16 ||
         coding == vxPixelCoding::SignedMono16;
}

}  // namespace

CAcqDialog::CAcqDialog(const CPageServices& services, QWidget* parent)
    : QDialog(parent, Qt::Window), m_services(services) {
  setObjectName("acqDialog");
  setWindowTitle(kTitle);
  setAttribute(Qt::WA_DeleteOnClose);
  m_fileNamePrompt = [](QWidget* owner, const QString& caption, const QString& filter) {
    return QFileDialog::getSaveFileName(owner, caption, QString(), filter);
  };

  // Acquisition Setup.
  auto* setup = new QGroupBox("Acquisition Setup");
  auto* setupLayout = new QFormLayout(setup);
  m_selectButton = new QPushButton("Select Camera ...");
  m_selectButton->setObjectName("selectCameraButton");
  m_cameraName = new QLabel(kPleaseSelectCamera);
  m_cameraName->setObjectName("cameraName");
  setupLayout->addRow(m_selectButton, m_cameraName);
  m_formatList = new QComboBox;
  m_formatList->setObjectName("videoFormatList");
  setupLayout->addRow("Video format:", m_formatList);
  m_triggerModels = new QComboBox;
  m_triggerModels->setObjectName("triggerModelList");
  for (const std::string& name : vxTriggerModel::names())
    m_triggerModels->addItem(QString::fromStdString(name));
  m_triggerModels->setCurrentIndex(static_cast<int>(vxTriggerModel::Kind::FreeRun));
  setupLayout->addRow("Trigger:", m_triggerModels);
  m_initializeButton = new QPushButton("Initialize Acquisition");
  m_initializeButton->setObjectName("initializeButton");
  m_queueStarts = check("Queue Starts", "queueStartsCheck");
  setupLayout->addRow(m_initializeButton, m_queueStarts);

  // Acquisition Statistics.
  auto* stats = new QGroupBox("Acquisition Statistics");
  auto* statsLayout = new QFormLayout(stats);
  m_imagesField = readOnlyField("imagesAcquired", "0");
  m_rateField = readOnlyField("acquisitionRate", "0fps");
  m_shortestField =
      readOnlyField("shortestTime", vxFormat("%3.2fms", vxAcqTiming::kInitialShortestMs).c_str());
  m_longestField = readOnlyField("longestTime", vxFormat("%3.2fms", 0.0).c_str());
  m_timeoutEdit = new QLineEdit(QString::number(m_timeout));
  m_timeoutEdit->setObjectName("timeoutEdit");
  m_timeoutEdit->setMaxLength(10);
  statsLayout->addRow("Images acquired:", m_imagesField);
  statsLayout->addRow("Rate:", m_rateField);
  statsLayout->addRow("Shortest time:", m_shortestField);
  statsLayout->addRow("Longest time:", m_longestField);
  statsLayout->addRow("Time-out (seconds):", m_timeoutEdit);

  // Acquisition Properties.
  auto* props = new QGroupBox("Acquisition Properties");
  auto* propsLayout = new QFormLayout(props);
  m_bytesPerPacket = new QSpinBox;
  m_bytesPerPacket->setObjectName("bytesPerPacket");
  propsLayout->addRow("Bytes Per Packet", m_bytesPerPacket);
  m_roiHeight = new QSpinBox;
  m_roiHeight->setObjectName("roiHeight");
  propsLayout->addRow("ROI height:", m_roiHeight);
  m_exposureEdit = new QLineEdit("0.010");
  m_exposureEdit->setObjectName("exposureEdit");
  m_exposureRange = new QLabel;
  m_exposureRange->setObjectName("exposureRange");
  propsLayout->addRow("Exposure:", m_exposureEdit);
  propsLayout->addRow("", m_exposureRange);
  m_brightness = new QSlider(Qt::Horizontal);
  m_brightness->setObjectName("brightnessSlider");
  m_brightness->setRange(0, 100);
  propsLayout->addRow("Brightness:", m_brightness);
  m_clampCheck = check("30fps Clamp", "clampCheck");
  m_testPattern = check("Acquire Camera Test Pattern", "testPatternCheck");
  m_autoSnap = check("Auto snap on property change", "autoSnapCheck");
  propsLayout->addRow(m_clampCheck);
  propsLayout->addRow(m_testPattern);
  propsLayout->addRow(m_autoSnap);

  // Acquisition Control and Display Control.
  auto* control = new QGroupBox("Acquisition Control");
  auto* controlLayout = new QHBoxLayout(control);
  m_singleButton = new QPushButton("Single Image");
  m_singleButton->setObjectName("singleImageButton");
  m_continuousButton = new QPushButton("Continuous");
  m_continuousButton->setObjectName("continuousButton");
  m_continuousButton->setCheckable(true);
  controlLayout->addWidget(m_singleButton);
  controlLayout->addWidget(m_continuousButton);
  auto* display = new QGroupBox("Display Control");
  auto* displayLayout = new QHBoxLayout(display);
  m_displayEnable = check("Display Enable", "displayEnableCheck", true);
  displayLayout->addWidget(m_displayEnable);

  // Trigger Control and Strobe Control.
  auto* trigger = new QGroupBox("Trigger Control");
  auto* triggerLayout = new QFormLayout(trigger);
  m_triggerDelay = new QLineEdit("0.0");
  m_triggerDelay->setObjectName("triggerDelayEdit");
  triggerLayout->addRow("Trigger delay in seconds:", m_triggerDelay);
  m_triggerPolarity = check("Trigger polarity active-high", "triggerPolarityCheck", true);
  triggerLayout->addRow(m_triggerPolarity);
  auto* strobe = new QGroupBox("Strobe Control - Format7 Only (Beta)");
  auto* strobeLayout = new QFormLayout(strobe);
  m_strobeEnable = check("Strobe enable", "strobeEnableCheck");
  strobeLayout->addRow(m_strobeEnable);
  m_strobeDuration = new QSpinBox;
  m_strobeDuration->setObjectName("strobeDuration");
  m_strobeDuration->setSuffix(" us");
  m_strobeDelay = new QSpinBox;
  m_strobeDelay->setObjectName("strobeDelay");
  m_strobeDelay->setSuffix(" us");
  strobeLayout->addRow("Strobe duration:", m_strobeDuration);
  strobeLayout->addRow("Strobe delay:", m_strobeDelay);
  m_strobePolarity = check("Strobe polarity active-high", "strobePolarityCheck", true);
  strobeLayout->addRow(m_strobePolarity);

  // Image Histogram, Image Stats, Connection Status.
  auto* histogramBox = new QGroupBox("Image Histogram");
  auto* histogramLayout = new QVBoxLayout(histogramBox);
  m_histogram = new CHistogramWnd;
  histogramLayout->addWidget(m_histogram);
  auto* imageStatsBox = new QGroupBox("Image Stats");
  auto* imageStatsLayout = new QVBoxLayout(imageStatsBox);
  m_imageStats = new QLabel;
  m_imageStats->setObjectName("imageStats");
  m_imageStats->setWordWrap(true);
  imageStatsLayout->addWidget(m_imageStats);
  auto* connection = new QGroupBox("Connection Status");
  auto* connectionLayout = new QHBoxLayout(connection);
  m_connectionPicture = new QLabel;
  m_connectionPicture->setObjectName("connectionPicture");
  m_connectionText = new QLabel;
  m_connectionText->setObjectName("connectionText");
  connectionLayout->addWidget(m_connectionPicture);
  connectionLayout->addWidget(m_connectionText, 1);

  // The log and its buttons.
  m_log = new QPlainTextEdit;
  m_log->setObjectName("acqLog");
  m_log->setReadOnly(true);
  m_log->setLineWrapMode(QPlainTextEdit::NoWrap);
  auto* logButtons = new QHBoxLayout;
  auto* saveImageButton = new QPushButton("Save Image ...");
  saveImageButton->setObjectName("saveImageButton");
  auto* copyLogButton = new QPushButton("Copy Log");
  copyLogButton->setObjectName("copyLogButton");
  auto* saveLogButton = new QPushButton("Save Log ...");
  saveLogButton->setObjectName("saveLogButton");
  logButtons->addWidget(saveImageButton);
  logButtons->addStretch(1);
  logButtons->addWidget(copyLogButton);
  logButtons->addWidget(saveLogButton);

  auto* grid = new QGridLayout;
  auto* left = new QVBoxLayout;
  left->addWidget(setup);
  left->addWidget(stats);
  left->addStretch(1);
  auto* middle = new QVBoxLayout;
  middle->addWidget(props);
  middle->addWidget(control);
  middle->addWidget(display);
  middle->addStretch(1);
  auto* right = new QVBoxLayout;
  right->addWidget(trigger);
  right->addWidget(strobe);
  right->addWidget(connection);
  right->addStretch(1);
  auto* plots = new QVBoxLayout;
  plots->addWidget(histogramBox, 1);
  plots->addWidget(imageStatsBox);
  grid->addLayout(left, 0, 0);
  grid->addLayout(middle, 0, 1);
  grid->addLayout(right, 0, 2);
  grid->addLayout(plots, 0, 3);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(grid);
  layout->addWidget(m_log, 1);
  layout->addLayout(logButtons);

  m_statisticsTimer = new QTimer(this);
  m_statisticsTimer->setInterval(kStatisticsPeriodMs);
  connect(m_statisticsTimer, &QTimer::timeout, this, &CAcqDialog::updateStatistics);

  connect(m_selectButton, &QPushButton::clicked, this, &CAcqDialog::selectCamera);
  connect(m_initializeButton, &QPushButton::clicked, this, &CAcqDialog::initializeAcquisition);
  connect(m_singleButton, &QPushButton::clicked, this, &CAcqDialog::singleImage);
  connect(m_continuousButton, &QPushButton::clicked, this, &CAcqDialog::toggleContinuous);
  connect(m_timeoutEdit, &QLineEdit::editingFinished, this, &CAcqDialog::readTimeout);
  connect(m_exposureEdit, &QLineEdit::editingFinished, this, &CAcqDialog::applyExposure);
  connect(m_triggerDelay, &QLineEdit::editingFinished, this, &CAcqDialog::applyTriggerDelay);
  connect(m_displayEnable, &QCheckBox::toggled, this, [this](bool on) { m_displayOn = on; });
  connect(m_clampCheck, &QCheckBox::toggled, this, [this](bool on) { m_clamp = on; });
  connect(m_queueStarts, &QCheckBox::toggled, this, [this](bool on) {
    if (m_fifo && !m_workerRunning) m_fifo->queuedStarts(on);
  });
  connect(m_triggerPolarity, &QCheckBox::toggled, this, [this](bool on) {
    applyProperty([on](vxAcqFifo& fifo) { fifo.triggerProp().triggerPolarity(on); });
  });
  connect(m_brightness, &QSlider::valueChanged, this, [this](int value) {
    applyProperty([value](vxAcqFifo& fifo) {
      vxContrastBrightnessProp* prop = fifo.contrastBrightnessProp();
      if (prop) prop->contrastBrightness(prop->contrast(), value / 100.0);
    });
  });
  connect(m_bytesPerPacket, &QSpinBox::editingFinished, this, [this] {
    const double share =
        static_cast<double>(m_bytesPerPacket->value()) / std::max(1, m_bytesPerPacket->maximum());
    applyProperty([share](vxAcqFifo& fifo) { fifo.bandwidthProp()->bandwidth(share); });
  });
  connect(m_roiHeight, &QSpinBox::editingFinished, this, [this] {
    const int height = m_roiHeight->value();
    applyProperty([height](vxAcqFifo& fifo) {
      fifo.roiProp().roi(0, 0, static_cast<int>(fifo.imageWidth()), height);
    });
  });
  connect(m_strobeEnable, &QCheckBox::toggled, this, [this](bool on) {
    applyProperty([on](vxAcqFifo& fifo) {
      if (fifo.strobeProp()) fifo.strobeProp()->strobe(on);
    });
  });
  connect(m_strobePolarity, &QCheckBox::toggled, this, [this](bool on) {
    applyProperty([on](vxAcqFifo& fifo) {
      if (fifo.strobeProp()) fifo.strobeProp()->strobePolarity(on);
    });
  });
  connect(m_strobeDuration, &QSpinBox::editingFinished, this, [this] {
    const double seconds = m_strobeDuration->value() * kMicrosecond;
    applyProperty([seconds](vxAcqFifo& fifo) {
      if (fifo.strobeProp()) fifo.strobeProp()->strobeDuration(seconds);
    });
  });
  connect(m_strobeDelay, &QSpinBox::editingFinished, this, [this] {
    const double seconds = m_strobeDelay->value() * kMicrosecond;
    applyProperty([seconds](vxAcqFifo& fifo) {
      if (fifo.strobeDelayProp()) fifo.strobeDelayProp()->strobeDelay(seconds);
    });
  });
  connect(m_testPattern, &QCheckBox::toggled, this, [this](bool on) {
    vx_SimBusControl* sim = m_services.cameras->module().simControl();
    if (sim && m_entry) sim->setTestPattern(m_entry->cameraNumber(), on);
    propertyChanged();
  });
  connect(saveImageButton, &QPushButton::clicked, this, &CAcqDialog::saveImage);
  connect(copyLogButton, &QPushButton::clicked, this, &CAcqDialog::copyLog);
  connect(saveLogButton, &QPushButton::clicked, this, &CAcqDialog::saveLog);

  showConnection(false);
  m_connectionText->setText("No camera selected");
  setUpControls();
  resize(1180, 640);
}

CAcqDialog::~CAcqDialog() {
  m_stopRequested = true;
  joinWorker();
  if (m_running) {
    m_running = false;
    emit acquisitionStopped();
  }
  m_calls.close();
  m_feed.reset();
  m_console.reset();
  releaseCamera();
}

QStringList CAcqDialog::logLines() const {
  return m_log->toPlainText().split('\n', Qt::SkipEmptyParts);
}

void CAcqDialog::appendLog(const std::string& text) {
  QString lines = QString::fromStdString(text);
  lines.replace("\r\n", "\n");
  if (lines.endsWith('\n')) lines.chop(1);
  for (const QString& line : lines.split('\n')) m_log->appendPlainText(line);
  // The last lines stay in view, whatever the user scrolled to.
  QScrollBar* bar = m_log->verticalScrollBar();
  bar->setValue(bar->maximum());
}

void CAcqDialog::postLog(std::string text) {
  std::lock_guard lock(m_logMutex);
  m_pendingLog.push_back(std::move(text));
  if (m_drainPosted) return;
  m_drainPosted = true;
  m_calls.poster()([this] { drainLog(); });
}

void CAcqDialog::drainLog() {
  std::vector<std::string> lines;
  {
    std::lock_guard lock(m_logMutex);
    lines.swap(m_pendingLog);
    m_drainPosted = false;
  }
  for (const std::string& text : lines) appendLog(text);
}

std::string CAcqDialog::stamped(const char* format) const {
  std::string text = format;
  const size_t at = text.find("%s");
  if (at != std::string::npos) text.replace(at, 2, vxTimeStamp());
  return text;
}

void CAcqDialog::error(const QString& text) {
  m_services.prompter->message(this, text, kErrorCaption, CPrompter::Icon::Exclamation);
}

bool CAcqDialog::cameraResponds() const {
  if (!m_entry) return false;
  return vxIsCameraResponding(m_services.cameras->module(), m_entry->cameraNumber(),
                              m_unplugged || m_entry->isUnplugged());
}

void CAcqDialog::showConnection(bool responding) {
  m_connectionPicture->setPixmap(connectionPixmap(responding));
  m_connectionPicture->setProperty("responding", responding);
  m_connectionText->setText(responding ? "Camera responding" : "Camera not responding");
}

void CAcqDialog::selectCamera() {
  if (m_workerRunning) return;
  vxCameraList& cameras = *m_services.cameras;
  if (cameras.empty()) {
    error("No cameras available");
    return;
  }
  CSelectDCAMDlg dialog(cameras, *m_services.prompter, true, this);
  std::shared_ptr<vxCameraEntry> entry;
  if (dialog.exec() == QDialog::Accepted) entry = dialog.selectedEntry();
  if (!entry) {
    error(kPleaseSelectCamera);
    return;
  }
  bindCamera(std::move(entry));
}

void CAcqDialog::useCamera(std::shared_ptr<vxCameraEntry> entry) {
  if (m_workerRunning || !entry) return;
  bindCamera(std::move(entry));
}

void CAcqDialog::bindCamera(std::shared_ptr<vxCameraEntry> entry) {
  releaseCamera();
  m_entry = std::move(entry);
  m_unplugged = m_entry->isUnplugged();
  m_busResets = 0;
  m_entry->setAcquisitionWindow(
      [post = m_calls.poster(), this](int number, vxDcamBusEventInfo info) {
        post([this, number, info] { onBusEvent(number, info); });
      });
  const QString name = QString::fromStdString(m_entry->displayName());
  m_cameraName->setText(name);
  setWindowTitle(QString("%1 - %2").arg(kTitle, name));
  m_formatList->clear();
  try {
    for (const std::string& format : vxVideoFormat::supportedNames(
             m_services.cameras->module().camera(m_entry->cameraNumber())))
      m_formatList->addItem(QString::fromStdString(format));
  } catch (const std::exception& e) {
    appendLog(std::string(e.what()) + "\r\n");
  }
  appendLog(vxFormat("Camera: %s\r\n", m_entry->displayName().c_str()));
  showConnection(cameraResponds());
  setUpControls();
}

void CAcqDialog::releaseCamera() {
  releaseFifo();
  if (m_entry) {
    m_entry->setAcquisitionWindow({});
    vx_SimBusControl* sim = m_services.cameras->module().simControl();
    if (sim && m_testPattern->isChecked()) sim->setTestPattern(m_entry->cameraNumber(), false);
  }
  m_entry.reset();
}

void CAcqDialog::releaseFifo() {
  m_fifo.reset();
}

void CAcqDialog::initializeAcquisition() {
  if (m_workerRunning) return;
  if (!m_entry) {
    error(kPleaseSelectCamera);
    return;
  }
  if (m_formatList->currentIndex() < 0) {
    error("No Video format Selected.");
    return;
  }
  releaseFifo();
  try {
    vx1394DCAM& camera = m_services.cameras->module().camera(m_entry->cameraNumber());
    const vxPtrHandle<vxVideoFormat> format =
        vxVideoFormat::find(camera, m_formatList->currentText().toStdString());
    vxPtrHandle<vxAcqFifo> fifo = vxAcqFifo::create(camera, *format);
    fifo->triggerProp().triggerEnable(false);
    fifo->triggerProp().triggerModel(
        vxTriggerModel::fromName(m_triggerModels->currentText().toStdString()));
    fifo->queuedStarts(m_queueStarts->isChecked());
    if (!fifo->prepare(0.0)) {
      appendLog("Fifo creation failed. Fifo prepare returned false.\r\n");
      if (!fifo->lastError().empty()) appendLog(fifo->lastError() + "\r\n");
    } else {
      m_fifo = std::move(fifo);
      appendLog("Acquisition initialized, fifo created.\r\n");
    }
  } catch (const std::exception& e) {
    appendLog(std::string(e.what()) + "\r\n");
  }
  setUpExposure();
  setUpControls();
  if (m_fifo && !m_console) {
    m_console = std::make_unique<CDisplayConsole>();
    m_feed = std::make_unique<CDisplayFeed>(m_console.get());
  }
  if (m_fifo && m_displayEnable->isChecked()) m_console->show();
}

void CAcqDialog::setUpExposure() {
  if (!m_fifo) {
    m_exposureEdit->setText("0.010");
    return;
  }
  vx1394DCAM& camera = m_fifo->camera();
  const std::optional<vxDcamFeatureInfo> shutter =
      vxDcamReadFeature(camera, vxDcamFeature::Shutter);
  if (!shutter || !shutter->present) {
    allow(m_exposureEdit, false, "The camera has no shutter (exposure) feature.");
    m_exposureRange->clear();
    return;
  }
  allow(m_exposureEdit, true, {});
  std::optional<std::pair<double, double>> range;
  if (shutter->absControl) {
    if (auto abs = vxDcamReadAbsRange(camera, vxDcamFeature::Shutter))
      range = std::pair<double, double>(abs->minValue, abs->maxValue);
  }
  if (!range) range = m_fifo->exposureRange();
  if (!range) range = std::pair<double, double>(shutter->minValue, shutter->maxValue);
  if (range->first < 1.0 && range->second < 50.0) {
    appendLog(vxFormat("Exposure range: %7.6f to %7.6f seconds\r\n", range->first, range->second));
    m_exposureRange->setText(
        QString::fromStdString(vxFormat("%7.6f to %7.6f", range->first, range->second)));
    m_exposureEdit->setText("0.010");
  } else {
    const int low = static_cast<int>(range->first), high = static_cast<int>(range->second);
    appendLog(vxFormat("Exposure range: %d to %d\r\n", low, high));
    m_exposureRange->setText(QString::fromStdString(vxFormat("range: %d to %d", low, high)));
    m_exposureEdit->setText(
        QString::fromStdString(vxFormat("%d", static_cast<int>(0.15 * range->second))));
  }
}

void CAcqDialog::setUpControls() {
  const bool haveFifo = static_cast<bool>(m_fifo);
  const QString noFifo = "Initialize Acquisition first.";
  // An unplugged camera answers no register reads: every control that needs
  // one is refused for that reason, not for a feature the camera lacks.
  const bool gone = m_unplugged || (m_entry && m_entry->isUnplugged());
  auto because = [&](const QString& reason) {
    return !haveFifo ? noFifo : gone ? QString(kCameraGone) : reason;
  };
  std::optional<vxDcamFormat7Mode> f7;
  std::optional<vxDcamTriggerInfo> triggerInfo;
  if (haveFifo && !gone && m_fifo->videoFormat().isFormat7())
    f7 = vxDcamReadFormat7Mode(m_fifo->camera(), m_fifo->videoFormat().mode());
  if (haveFifo && !gone) triggerInfo = vxDcamReadTrigger(m_fifo->camera());

  if (f7 && f7->maxBytesPerPacket > 0) {
    const int unit = static_cast<int>(std::max(f7->unitBytesPerPacket, 1u));
    m_bytesPerPacket->setRange(unit, static_cast<int>(f7->maxBytesPerPacket));
    m_bytesPerPacket->setSingleStep(unit);
    m_bytesPerPacket->setValue(
        static_cast<int>(f7->bytesPerPacket ? f7->bytesPerPacket : f7->maxBytesPerPacket));
    allow(m_bytesPerPacket, true, {});
  } else {
    allow(m_bytesPerPacket, false,
          because("The packet size is fixed by the format; only Format_7 modes set it."));
  }
  if (haveFifo) {
    m_roiHeight->setRange(1, static_cast<int>(m_fifo->imageHeight()));
    m_roiHeight->setSingleStep(f7 ? static_cast<int>(std::max(f7->unitHeight, 1u)) : 1);
    m_roiHeight->setValue(static_cast<int>(m_fifo->imageHeight()));
  }
  allow(m_roiHeight, haveFifo, noFifo);

  const bool needsStarts = haveFifo && m_fifo->triggerProp().triggerModel() &&
                           m_fifo->triggerProp().triggerModel()->needsStarts();
  allow(m_clampCheck, needsStarts,
        haveFifo
            ? "The trigger model acquires without starts; the camera's frame rate sets the pace."
            : noFifo);

  vx_SimBusControl* sim = m_services.cameras->module().simControl();
  bool simulated = false;
  if (sim && m_entry) {
    const std::vector<int> numbers = sim->cameraNumbers();
    simulated = std::find(numbers.begin(), numbers.end(), m_entry->cameraNumber()) != numbers.end();
  }
  allow(m_testPattern, simulated,
        m_entry ? "The program knows no way to switch this camera's test pattern."
                : "Select a camera first.");

  allow(m_brightness, haveFifo && m_fifo->contrastBrightnessProp(),
        haveFifo ? "The camera has no brightness feature." : noFifo);
  if (haveFifo && m_fifo->contrastBrightnessProp()) {
    const QSignalBlocker block(m_brightness);
    m_brightness->setValue(
        static_cast<int>(std::lround(m_fifo->contrastBrightnessProp()->brightness() * 100)));
  }
  if (!haveFifo) allow(m_exposureEdit, false, noFifo);

  const bool hasTrigger = triggerInfo && triggerInfo->present;
  allow(m_triggerDelay, haveFifo && hasTrigger, because("The camera has no trigger feature."));
  allow(m_triggerPolarity, haveFifo && hasTrigger && triggerInfo->polarity,
        because("The camera cannot change its trigger polarity."));

  const bool strobe = haveFifo && m_fifo->strobeProp();
  const QString noStrobe = because(!strobe ? QString("The camera has no strobe output.")
                                           : QString("Strobe control works in Format_7 modes only."));
  const bool strobeAllowed = strobe && !gone && m_fifo->videoFormat().isFormat7();
  if (strobeAllowed) {
    std::optional<vxDcamStrobeInfo> info = vxDcamReadStrobeInfo(m_fifo->camera());
    const int line = m_fifo->strobeProp()->strobeLine();
    if (info && info->isPresent(line)) {
      const vxDcamStrobeLine& l = info->lines[static_cast<size_t>(line)];
      m_strobeDuration->setRange(static_cast<int>(l.minValue), static_cast<int>(l.maxValue));
      m_strobeDelay->setRange(static_cast<int>(l.minValue), static_cast<int>(l.maxValue));
      allow(m_strobePolarity, l.polarityChange, "The strobe's polarity is fixed.");
    }
  } else {
    allow(m_strobePolarity, false, noStrobe);
  }
  for (QWidget* w : {static_cast<QWidget*>(m_strobeEnable), static_cast<QWidget*>(m_strobeDuration),
                     static_cast<QWidget*>(m_strobeDelay)})
    allow(w, strobeAllowed, noStrobe);
}

void CAcqDialog::setSetupEnabled(bool enabled) {
  for (QWidget* w :
       {static_cast<QWidget*>(m_selectButton), static_cast<QWidget*>(m_formatList),
        static_cast<QWidget*>(m_initializeButton), static_cast<QWidget*>(m_queueStarts),
        static_cast<QWidget*>(m_triggerModels), static_cast<QWidget*>(m_singleButton),
        static_cast<QWidget*>(m_bytesPerPacket), static_cast<QWidget*>(m_roiHeight)})
    w->setEnabled(enabled);
  if (enabled) setUpControls();
}

void CAcqDialog::readTimeout() {
  bool ok = false;
  const double value = m_timeoutEdit->text().left(10).toDouble(&ok);
  if (ok && value > 0.0)
    m_timeout = value;
  else
    m_timeoutEdit->setText(QString::number(m_timeout));
}

void CAcqDialog::applyProperty(const std::function<void(vxAcqFifo&)>& set) {
  if (!m_fifo) return;
  // While the worker acquires, the FIFO is its own; the change waits.
  if (m_workerRunning) {
    appendLog("Stop acquisition to change the FIFO's properties.\r\n");
    return;
  }
  try {
    set(*m_fifo);
  } catch (const std::exception& e) {
    appendLog(std::string(e.what()) + "\r\n");
    return;
  }
  propertyChanged();
}

void CAcqDialog::propertyChanged() {
  if (m_autoSnap->isChecked() && m_fifo && !m_workerRunning) singleImage();
}

void CAcqDialog::applyExposure() {
  bool ok = false;
  const double value = m_exposureEdit->text().toDouble(&ok);
  if (!ok) return;
  applyProperty([value](vxAcqFifo& fifo) {
    if (fifo.exposureProp()) fifo.exposureProp()->exposure(value);
  });
}

void CAcqDialog::applyTriggerDelay() {
  if (!m_fifo || m_workerRunning) return;
  bool ok = false;
  const double value = m_triggerDelay->text().toDouble(&ok);
  try {
    if (!ok) throw vxTriggerProp::BadParams("not a number");
    m_fifo->triggerProp().triggerDelay(value);
  } catch (const std::exception&) {
    error("Trigger delay setter failed!");
    return;
  }
  propertyChanged();
}

void CAcqDialog::singleImage() {
  if (m_workerRunning) return;
  if (!m_fifo) {
    error("Create Fifo First");
    return;
  }
  if (!cameraResponds()) {
    error(kNotResponding);
    return;
  }
  startWorker(false);
}

void CAcqDialog::toggleContinuous() {
  if (m_running)
    stopContinuous();
  else
    startContinuous();
}

void CAcqDialog::startContinuous() {
  if (m_workerRunning) {
    m_continuousButton->setChecked(m_running);
    return;
  }
  if (!m_fifo) {
    m_continuousButton->setChecked(false);
    error("Please Create Fifo First");
    return;
  }
  if (!cameraResponds()) {
    m_continuousButton->setChecked(false);
    error(kNotResponding);
    showConnection(false);
    return;
  }
  m_continuousButton->setText("Stop");
  m_continuousButton->setChecked(true);
  setSetupEnabled(false);
  m_running = true;
  emit acquisitionStarted();
  appendLog(stamped("%s-: Starting continuous acquisition\r\n"));
  m_lastRateCount = m_statistics.snapshot().acquired;
  m_rateWatch.restart();
  m_statisticsTimer->start();
  startWorker(true);
}

void CAcqDialog::stopContinuous() {
  if (!m_running) return;
  QApplication::setOverrideCursor(Qt::WaitCursor);
  m_stopRequested = true;
  joinWorker();
  finishRun();
  QApplication::restoreOverrideCursor();
}

void CAcqDialog::finishRun() {
  if (!m_running) return;
  m_running = false;
  m_statisticsTimer->stop();
  updateStatistics();
  m_continuousButton->setText("Continuous");
  m_continuousButton->setChecked(false);
  setSetupEnabled(true);
  emit acquisitionStopped();
}

void CAcqDialog::updateStatistics() {
  const vxAcqStatistics::Snapshot s = m_statistics.snapshot();
  m_imagesField->setText(QString::fromStdString(vxFormat("%d", static_cast<int>(s.acquired))));
  if (s.acquired != 0) {
    const double seconds = m_rateWatch.seconds();
    const int rate = seconds > 0 ? static_cast<int>((s.acquired - m_lastRateCount) / seconds) : 0;
    m_rateField->setText(QString::fromStdString(vxFormat("%dfps", rate)));
    m_rateWatch.restart();
    m_lastRateCount = s.acquired;
  } else {
    m_rateField->setText("0fps");
  }
  m_shortestField->setText(QString::fromStdString(vxFormat("%3.2fms", s.timing.shortestMs)));
  m_longestField->setText(QString::fromStdString(vxFormat("%3.2fms", s.timing.longestMs)));
}

void CAcqDialog::startWorker(bool continuous) {
  joinWorker();
  m_stopRequested = false;
  m_workerRunning = true;
  {
    std::lock_guard lock(m_workerMutex);
    m_workerEnded = false;
  }
  m_singleButton->setEnabled(false);
  m_worker = std::thread(&CAcqDialog::workerMain, this, m_fifo, continuous, m_timeout,
                         ++m_workerGeneration);
}

void CAcqDialog::workerMain(vxPtrHandle<vxAcqFifo> fifo, bool continuous, double timeout,
                            int generation) {
  const CQueuedCalls::Post post = m_calls.poster();
  auto log = [this](std::string text) { postLog(std::move(text)); };
  auto stampNow = [](const char* format, auto... args) {
    return vxFormat(format, vxTimeStamp().c_str(), args...);
  };
  try {
    if (!continuous) {
      const vxContinuousAcquisition::Pass pass =
          vxContinuousAcquisition::single(*fifo, m_statistics, timeout);
      if (pass.succeeded()) {
        deliver(pass.result.image);
        log(stampNow("%s-: Acquired one image.\r\n"));
      } else {
        const std::string why =
            pass.refused.empty() ? vxAcquireFailureWords(pass.result.info).front() : pass.refused;
        log(stampNow("%s-: Acquire failed: %s\r\n", why.c_str()));
        if (pass.result.info.isTiming()) {
          const std::string shortfall = vxBandwidthShortfallFor(m_services.cameras->module(), fifo->camera().cameraNumber());
          if (!shortfall.empty()) log("  " + shortfall + "\r\n");
        }
      }
    } else {
      vxContinuousAcquisition loop(*fifo, m_statistics, timeout,
                                   [this] { return m_stopRequested.load(); });
      const vxContinuousAcquisition::Begin begun = loop.begin();
      if (begun.queued) log(stampNow("%s-:   queued starts\r\n"));
      if (!begun.refused.empty()) log(stampNow("%s-: %s\r\n", begun.refused.c_str()));
      Clock::time_point lastStart{};
      // A timing failure is most often a bus out of bandwidth: said once a run.
      bool explainedBandwidth = false;
      while (!m_stopRequested) {
        if (m_clamp) clampPace(lastStart);
        if (m_stopRequested) break;
        const vxContinuousAcquisition::Pass pass = loop.next();
        if (pass.cancelled) break;
        if (!pass.refused.empty()) {
          log(stampNow("%s-: Acquire %d failed:\r\n", pass.number) + "  " + pass.refused + " \r\n");
          break;
        }
        if (pass.succeeded()) {
          deliver(pass.result.image);
          continue;
        }
        log(stampNow("%s-: Acquire %d failed:\r\n", pass.number) + "  " +
            vxAcquireFailureLine(pass.result.info, pass.number) + " \r\n");
        if (pass.result.info.isTiming() && !explainedBandwidth) {
          explainedBandwidth = true;
          const std::string why = vxBandwidthShortfallFor(m_services.cameras->module(), fifo->camera().cameraNumber());
          if (!why.empty()) log("  " + why + "\r\n");
        }
        // Nothing more comes from a camera that has left the bus.
        if (pass.result.info.abnormalCode() == vxAcquireInfo::kAbnormalCameraGone ||
            !fifo->camera().isPlugged())
          break;
      }
      loop.end();
      log(stampNow("%s-: Stopped acquisition, %d images acquired\r\n",
                   static_cast<int>(m_statistics.snapshot().acquired)));
    }
  } catch (const std::exception& e) {
    log(std::string(e.what()) + "\r\n");
  }
  {
    std::lock_guard lock(m_workerMutex);
    m_workerEnded = true;
  }
  m_workerDone.notify_all();
  post([this, generation] { onWorkerDone(generation); });
}

void CAcqDialog::clampPace(Clock::time_point& last) {
  const auto period = std::chrono::duration_cast<Clock::duration>(
      std::chrono::duration<double>(kClampPeriodSeconds));
  const Clock::time_point due = last + period;
  std::unique_lock lock(m_workerMutex);
  m_workerDone.wait_until(lock, due, [this] { return m_stopRequested.load(); });
  last = Clock::now();
}

void CAcqDialog::deliver(const vxPtrHandle<vxAcqImage>& image) {
  {
    std::lock_guard lock(m_imageMutex);
    m_lastImage = image;
  }
  if (m_displayOn && m_feed) m_feed->offer(image);
  if (!m_histogram->isEnabledForImages()) return;
  vxHistogram histogram;
  try {
    histogram = vxHistogram::fromImage(image->view());
  } catch (const std::exception&) {
    return;
  }
  // Only the newest histogram is drawn; one queued call carries it.
  std::lock_guard lock(m_histogramMailbox->mutex);
  m_histogramMailbox->histogram = histogram;
  if (m_histogramMailbox->posted) return;
  m_histogramMailbox->posted = true;
  m_calls.poster()([this, mailbox = m_histogramMailbox] {
    vxHistogram shown;
    {
      std::lock_guard inner(mailbox->mutex);
      shown = mailbox->histogram;
      mailbox->posted = false;
    }
    m_histogram->setHistogram(shown);
    m_imageStats->setText(QString::fromStdString(vxStatisticsText(shown.stats())));
  });
}

void CAcqDialog::joinWorker() {
  if (!m_worker.joinable()) return;
  std::unique_lock lock(m_workerMutex);
  while (!m_workerEnded) {
    m_workerDone.notify_all();  // wakes a clamp wait
    lock.unlock();
    if (m_fifo && m_stopRequested) m_fifo->cancelComplete();
    lock.lock();
    m_workerDone.wait_for(lock, kCancelRepeat, [this] { return m_workerEnded; });
  }
  lock.unlock();
  m_worker.join();
  m_workerRunning = false;
  // The worker's lines, its stop line last, come before anything the
  // window logs after the stop.
  drainLog();
}

void CAcqDialog::onWorkerDone(int generation) {
  // A worker that a stop joined already may report after the next one began.
  if (generation != m_workerGeneration) return;
  // A run that ended by itself (the camera went) ends as a stop does.
  if (m_worker.joinable()) {
    joinWorker();
    finishRun();
  }
  m_singleButton->setEnabled(!m_running);
  emit workerFinished();
}

void CAcqDialog::onBusEvent(int cameraNumber, vxDcamBusEventInfo info) {
  const bool responding = cameraResponds() && !info.isUnplugged();
  showConnection(responding);
  if (m_running) stopContinuous();
  if (m_entry && cameraNumber == m_entry->cameraNumber()) {
    if (info.isUnplugged()) {
      m_unplugged = true;
      appendLog(stamped("%s-: Warning: the camera has been unplugged!\r\n"));
      // The controls were set up while the camera still seemed present.
      if (!m_workerRunning) setUpControls();
    } else if (info.isBusReset()) {
      ++m_busResets;
      appendLog(vxFormat("%s-: Warning: a 1394 bus reset occurred (%d)\r\n", vxTimeStamp().c_str(),
                         m_busResets));
    }
  }
  if (!responding && !info.isUnplugged())
    appendLog(stamped("%s-: Warning: camera is not responding\r\n"));
}

void CAcqDialog::closeEvent(QCloseEvent* event) {
  if (m_running) {
    m_services.prompter->message(this, kStopBeforeExit, kErrorCaption,
                                 CPrompter::Icon::Exclamation);
    event->ignore();
    return;
  }
  m_stopRequested = true;
  joinWorker();
  if (m_console) m_console->close();
  event->accept();
}

void CAcqDialog::reject() {
  close();
}

void CAcqDialog::saveImage() {
  vxPtrHandle<vxAcqImage> image;
  {
    std::lock_guard lock(m_imageMutex);
    image = m_lastImage;
  }
  if (!image) {
    error("No image acquired yet.");
    return;
  }
  const bool sixteen = isSixteenBitGrey(image->coding()) ||
                       image->coding() == vxPixelCoding::RGB16 ||
                       image->coding() == vxPixelCoding::SignedRGB16;
  const QString filter =
      sixteen ? "Raw 16-bit (*.pgm *.ppm);;PNG image (*.png)" : "PNG image (*.png)";
  const QString path = m_fileNamePrompt(this, "Save Image", filter);
  if (path.isEmpty()) return;
  const bool raw = sixteen && (path.endsWith(".pgm", Qt::CaseInsensitive) ||
                               path.endsWith(".ppm", Qt::CaseInsensitive));
  bool ok = false;
  if (raw) {
    // 16-bit samples are big-endian on the wire, as the netpbm formats want.
    const bool grey = isSixteenBitGrey(image->coding());
    std::ofstream out(path.toStdString(), std::ios::binary);
    out << (grey ? "P5" : "P6") << '\n' << image->width() << ' ' << image->height() << "\n65535\n";
    const size_t rowBytes = vxAcqImage::rowBytes(image->coding(), image->width());
    for (uint32_t y = 0; y < image->height(); ++y)
      out.write(reinterpret_cast<const char*>(image->data() + y * image->stride()),
                static_cast<std::streamsize>(rowBytes));
    ok = static_cast<bool>(out);
  } else {
    QImage picture(static_cast<int>(image->width()), static_cast<int>(image->height()),
                   QImage::Format_RGB888);
    try {
      vxDrawDisplayPicture(image->view(), image->width(), image->height(), picture.bits(),
                           static_cast<size_t>(picture.bytesPerLine()));
      ok = picture.save(path);
    } catch (const std::exception&) {
      ok = false;
    }
  }
  if (!ok) error(QString("Could not save the image to %1.").arg(path));
}

void CAcqDialog::copyLog() {
  QApplication::clipboard()->setText(m_log->toPlainText());
}

void CAcqDialog::saveLog() {
  const QString path = m_fileNamePrompt(this, "Save Log", "Text files (*.txt);;All files (*)");
  if (path.isEmpty()) return;
  QFile file(path);
  if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
      file.write(m_log->toPlainText().toUtf8() + '\n') < 0)
    error(QString("Could not save the log to %1.").arg(path));
}
