// Pictures of acquisition windows at work.
#include "gui/acq_screenshots.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QElapsedTimer>
#include <QImage>
#include <QSpinBox>

#include <algorithm>

#include "acquisition/sim_control.h"
#include "app/camera_list.h"
#include "gui/acq_dialog.h"
#include "gui/acq_windows.h"
#include "gui/display_console.h"
#include "gui/histogram_wnd.h"

namespace {

// Formats that show each kind of display well, in order of preference.
const char* const kPreferredFormats[] = {"640x480 Mono 30 FPS", "Format7 Mode 0 Bayer RAW8",
                                         "640x480 24bit RGB 15 FPS", "640x480 Mono 15 FPS"};

void runEvents(int milliseconds) {
  QElapsedTimer timer;
  timer.start();
  while (timer.elapsed() < milliseconds) QApplication::processEvents(QEventLoop::AllEvents, 20);
}

void chooseFormat(CAcqDialog& window, int preference) {
  auto* formats = window.findChild<QComboBox*>("videoFormatList");
  if (!formats || formats->count() == 0) return;
  for (int i = 0; i < 4; ++i) {
    const int index = formats->findText(kPreferredFormats[(preference + i) % 4]);
    if (index >= 0) {
      formats->setCurrentIndex(index);
      return;
    }
  }
}

}  // namespace

int saveAcquisitionScreenshots(CAcqWindows& windows, vxCameraList& cameras, const QDir& dir) {
  int saved = 0;
  auto save = [&](QWidget* widget, const QString& name) {
    if (widget && widget->grab().save(dir.filePath(name))) ++saved;
  };
  QList<CAcqDialog*> opened;
  const size_t count = std::min<size_t>(cameras.size(), 3);
  for (size_t i = 0; i < count; ++i) {
    if (cameras.entry(i)->isUnplugged()) continue;
    CAcqDialog* window = windows.open();
    window->move(40 + 60 * static_cast<int>(i), 40 + 60 * static_cast<int>(i));
    window->useCamera(cameras.entry(i));
    chooseFormat(*window, static_cast<int>(i));
    window->initializeAcquisition();
    // A Format_7 camera takes a quarter of the bus, so that the three
    // streams fit in its bandwidth together.
    if (auto* packet = window->findChild<QSpinBox*>("bytesPerPacket");
        packet && packet->isEnabled()) {
      packet->setValue(packet->maximum() / 4);
      emit packet->editingFinished();
    }
    window->startContinuous();
    opened.append(window);
  }
  if (opened.isEmpty()) return 0;
  runEvents(2500);
  for (int i = 0; i < opened.size(); ++i)
    save(opened[i], QString("acquisition-window-%1.png").arg(i + 1));
  save(opened.first()->console(), "acquisition-display_console.png");
  if (opened.size() > 1) save(opened[1]->console(), "acquisition-display_console-2.png");
  if (opened.size() > 2) save(opened[2]->console(), "acquisition-display_console-3.png");
  save(opened.first()->histogram(), "acquisition-histogram.png");

  // Unplugging one camera stops only its window.
  vx_SimBusControl* sim = cameras.module().simControl();
  int unplugged = -1;
  if (sim && opened.size() > 1) {
    unplugged = opened[1]->camera()->cameraNumber();
    sim->unplug(unplugged);
    runEvents(1500);
    save(opened[1], "acquisition-window-unplugged.png");
    save(opened[0], "acquisition-window-beside-unplugged.png");
  }
  for (CAcqDialog* window : opened) window->stopContinuous();
  windows.closeAll();
  if (unplugged >= 0) sim->replug(unplugged);
  return saved;
}
