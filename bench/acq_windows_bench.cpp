// Acquisition windows under load: four windows on simulated 1600x1200 Mono
// cameras at 15 fps and one on a 640x480 Mono camera at 60 fps acquire
// together for a while (60 s unless PRALIX_BENCH_SECONDS says otherwise).
// Reports images acquired against images expected, pictures painted per
// second in each display console, the GUI thread's event-loop lag and the
// process's CPU use. Run it under Xvfb (bench/acq_windows_bench.sh).
#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QTimer>

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "acquisition/sim_control.h"
#include "app/camera_list.h"
#include "gui/acq_dialog.h"
#include "gui/acq_windows.h"
#include "gui/display_console.h"
#include "gui/prompter.h"
#include "modules/qrvnvdcam/module.h"

namespace {

double cpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  auto seconds = [](const timeval& t) { return double(t.tv_sec) + double(t.tv_usec) * 1e-6; };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

class SilentPrompter : public CPrompter {
 public:
  void message(QWidget*, const QString& text, const QString&, Icon) override {
    std::fprintf(stderr, "message: %s\n", qPrintable(text));
  }
  bool askYesNo(QWidget*, const QString&, const QString&) override { return false; }
};

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  const double seconds = qEnvironmentVariableIsSet("PRALIX_BENCH_SECONDS")
                             ? qEnvironmentVariable("PRALIX_BENCH_SECONDS").toDouble()
                             : 60.0;
  vx_ModuleOptions options;
  options.simulate = true;
  options.realBus = false;
  options.simulatedProfiles = {"orbel-ux1600b", "orbel-ux1600b", "orbel-ux1600b", "orbel-ux1600b",
                               "korvane-kv640m"};
  options.profileDirs = {std::string(PRALIX_SOURCE_DATA_DIR) + "/profiles"};
  vx_QrvnvDcamModule module(options);
  vx_SimBusControl& sim = *module.simControl();
  sim.setTimeScale(1.0);
  // Four 1600x1200 streams at 15 fps need 14400 bytes per 125 us cycle, more
  // than one S400 bus carries: the cameras stand on a bus of 64 KiB per cycle
  // here, as they would on several adapters.
  sim.setBusBandwidth(65536);
  vxCameraList cameras(module);
  SilentPrompter prompter;
  CPageServices services;
  services.cameras = &cameras;
  services.prompter = &prompter;
  CAcqWindows windows(services);

  struct Run {
    CAcqDialog* window;
    double fps;
  };
  std::vector<Run> runs;
  for (int i = 0; i < 5; ++i) {
    const bool small = i == 4;
    CAcqDialog* window = windows.open();
    window->useCamera(cameras.entry(static_cast<size_t>(i)));
    auto* formats = window->findChild<QComboBox*>("videoFormatList");
    formats->setCurrentIndex(
        formats->findText(small ? "640x480 Mono 60 FPS" : "1600x1200 Mono 15 FPS"));
    window->initializeAcquisition();
    if (!window->fifo()) {
      std::fprintf(stderr, "window %d: no FIFO\n", i + 1);
      return 1;
    }
    runs.push_back({window, small ? 60.0 : 15.0});
  }

  // The event loop's lag: how late a 10 ms timer fires.
  std::vector<double> lags;
  QElapsedTimer clock;
  qint64 due = 0;
  QTimer probe;
  probe.setTimerType(Qt::PreciseTimer);
  QObject::connect(&probe, &QTimer::timeout, [&] {
    const qint64 now = clock.nsecsElapsed();
    if (due) lags.push_back(std::max<qint64>(0, now - due) / 1e6);
    due = now + 10'000'000;
  });

  std::vector<uint64_t> paintedBefore;
  double cpuBefore = 0;
  QTimer::singleShot(0, [&] {
    for (Run& run : runs) {
      paintedBefore.push_back(run.window->console()->picturesPainted());
      run.window->startContinuous();
    }
    cpuBefore = cpuSeconds();
    clock.start();
    probe.start(10);
  });
  QTimer::singleShot(static_cast<int>(seconds * 1000) + 100, [&] {
    probe.stop();
    const double elapsed = clock.nsecsElapsed() / 1e9;
    const double cpu = cpuSeconds() - cpuBefore;
    for (Run& run : runs) run.window->stopContinuous();
    uint64_t acquired = 0;
    double expected = 0;
    for (size_t i = 0; i < runs.size(); ++i) {
      const auto stats = runs[i].window->statistics();
      const double painted =
          double(runs[i].window->console()->picturesPainted() - paintedBefore[i]) / elapsed;
      std::printf("window %zu: %u images acquired, %.0f expected, %u failed, %.1f pictures/s\n",
                  i + 1, stats.acquired, runs[i].fps * elapsed, stats.failed, painted);
      acquired += stats.acquired;
      expected += runs[i].fps * elapsed;
    }
    std::sort(lags.begin(), lags.end());
    auto percentile = [&](double p) {
      return lags.empty() ? 0.0 : lags[std::min(lags.size() - 1, size_t(p * double(lags.size())))];
    };
    std::printf("all: %llu images acquired of %.0f expected in %.1f s\n",
                static_cast<unsigned long long>(acquired), expected, elapsed);
    std::printf("event-loop lag: median %.2f ms, 99th percentile %.2f ms, max %.2f ms\n",
                percentile(0.5), percentile(0.99), lags.empty() ? 0.0 : lags.back());
    std::printf("CPU: %.1f s in %.1f s (%.0f%% of one core)\n", cpu, elapsed,
                100.0 * cpu / elapsed);
    windows.closeAll();
    QApplication::quit();
  });
  return application.exec();
}
