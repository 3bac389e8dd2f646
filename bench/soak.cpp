// Fault soak: four simulated cameras stream at once while faults are injected
// at random (unplug and replug, bus resets, read and write failures,
// incomplete and missed frames, stalls that end in time-outs) and a reader
// thread runs the register dump and the feature listing against them. At the
// end it prints what was injected and what the acquisition saw, and exits 1
// when an image with a failure flag was accepted, a stop took longer than a
// second. Library exceptions are counted: the worker starts again after one.
//
//   soak [SECONDS] [SEED] [quiet]   (defaults: 60 s, seed from the clock; quiet: no reader)
#include <algorithm>
#include <cstdint>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "acquisition/acq_fifo.h"
#include "acquisition/continuous_acquisition.h"
#include "acquisition/dcam_module.h"
#include "acquisition/format_choice.h"
#include "acquisition/sim_control.h"
#include "acquisition/trigger_model.h"
#include "acquisition/video_format.h"
#include "modules/qrvnvdcam/module.h"
#include "regmodel/register_accessor.h"
#include "utilities/feature_props.h"
#include "utilities/register_dump.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Counts {
  std::atomic<uint64_t> accepted{0};
  std::atomic<uint64_t> flagged{0};          // results with a failure flag, not accepted
  std::atomic<uint64_t> acceptedBad{0};      // accepted images that break their record
  std::atomic<uint64_t> startsRefused{0};    // prepare or FIFO creation refused
  std::atomic<uint64_t> workerExceptions{0};
  std::atomic<uint64_t> reports{0};
  std::atomic<uint64_t> reportFailures{0};
  std::atomic<uint64_t> slowStops{0};
  std::atomic<double> longestStopMs{0.0};
  std::mutex kindsMutex;
  std::map<std::string, uint64_t> failureKinds;  // by the first failure word
};

// One camera's acquisition loop: free run on its first format, a new FIFO
// whenever the old one fails for good (the camera left, the bus reset).
void stream(vx_DcamModule& module, int number, const std::atomic<bool>& stop, Counts& counts,
            std::mutex& fifoMutex, std::map<int, vxPtrHandle<vxAcqFifo>>& fifos) {
  while (!stop) {
    vxPtrHandle<vxAcqFifo> fifo;
    try {
      vx1394DCAM& camera = module.camera(number);
      const auto formats = vxVideoFormat::supportedFormats(camera);
      if (formats.empty()) throw vx_DcamModule::Error("no format");
      // The standard format lightest on the bus, so that the four streams
      // share one S400 bus; a Format_7-only camera takes its first mode.
      vxPtrHandle<vxVideoFormat> light = formats.front();
      uint32_t lightest = UINT32_MAX;
      for (const auto& format : formats) {
        const uint32_t bytes = format->isStandard() ? vxIsoBytesPerCycle(*format) : 0;
        if (bytes != 0 && bytes < lightest) {
          lightest = bytes;
          light = format;
        }
      }
      fifo = vxAcqFifo::create(camera, *light);
      fifo->triggerProp().triggerModel(vxTriggerModel::freeRun());
      fifo->triggerProp().triggerEnable(true);
      if (!fifo->prepare(0.0)) throw vx_DcamModule::Error("prepare refused");
    } catch (const std::exception&) {
      ++counts.startsRefused;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      continue;
    }
    {
      std::lock_guard lock(fifoMutex);
      fifos[number] = fifo;
    }
    int failuresInARow = 0;
    try {
      while (!stop && failuresInARow < 5) {
        const vxAcqResult r = fifo->complete(0.5);
        if (r.succeeded()) {
          ++counts.accepted;
          failuresInARow = 0;
          // An accepted image is whole: the record clean, the geometry the FIFO's.
          if (r.info.anyFailure() || r.image->width() != fifo->imageWidth() ||
              r.image->height() != fifo->imageHeight())
            ++counts.acceptedBad;
        } else {
          ++counts.flagged;
          ++failuresInARow;
          const std::vector<std::string> words = vxAcquireFailureWords(r.info);
          std::lock_guard lock(counts.kindsMutex);
          ++counts.failureKinds[words.empty() ? std::string("no image") : words.front()];
        }
      }
    } catch (const std::exception&) {
      ++counts.workerExceptions;
    }
    std::lock_guard lock(fifoMutex);
    fifos.erase(number);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const double seconds = argc > 1 ? std::atof(argv[1]) : 60.0;
  const unsigned seed =
      argc > 2 ? unsigned(std::strtoul(argv[2], nullptr, 10)) : unsigned(Clock::now().time_since_epoch().count());
  vx_ModuleOptions options;
  options.simulate = true;
  options.realBus = false;
  options.simulatedProfiles = {"korvane-kv640m", "korvane-kv640m", "orbel-ux1600b", "tessaly-f7flex"};
  options.profileDirs = {std::string(PRALIX_SOURCE_DATA_DIR) + "/profiles"};
  vx_QrvnvDcamModule module(options);
  vx_SimBusControl& sim = *module.simControl();
  const std::vector<int> cameras = sim.cameraNumbers();

  Counts counts;
  std::atomic<bool> stop{false};
  std::mutex fifoMutex;
  std::map<int, vxPtrHandle<vxAcqFifo>> fifos;
  std::vector<std::thread> workers;
  for (int number : cameras)
    workers.emplace_back(stream, std::ref(module), number, std::cref(stop), std::ref(counts),
                         std::ref(fifoMutex), std::ref(fifos));

  // soak S SEED quiet: no reader, to compare.
  const bool withReader = !(argc > 3 && std::string(argv[3]) == "quiet");
  // The reader: the reports a support engineer runs while the cameras stream.
  std::thread reader([&] {
    size_t next = 0;
    while (!stop && withReader) {
      const int number = cameras[next++ % cameras.size()];
      try {
        (void)vxRegisterDumpBuilder::build(number, module, vxReportProgress{});
        vx_DCAMRegisterAccessorPralix accessor(number, &module);
        DcamFeatureSet set(accessor);
        for (size_t i = 0; i < set.size(); ++i) {
          try {
            if (set.feature(i).present()) (void)set.feature(i).value();
          } catch (const std::exception&) {
            ++counts.reportFailures;
          }
        }
      } catch (const std::exception&) {
        ++counts.reportFailures;
      }
      ++counts.reports;
    }
  });

  // The injector.
  std::mt19937 random(seed);
  std::map<std::string, uint64_t> injected;
  const Clock::time_point end =
      Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
  auto pick = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(random); };
  while (Clock::now() < end) {
    const int camera = cameras[size_t(pick(int(cameras.size())))];
    switch (pick(7)) {
      case 0:
        sim.unplug(camera);
        std::this_thread::sleep_for(std::chrono::milliseconds(50 + pick(300)));
        sim.replug(camera);
        ++injected["unplug and replug"];
        break;
      case 1:
        sim.busReset();
        ++injected["bus reset"];
        break;
      case 2:
        sim.setReadFaults(camera, 0xF0F00800u, 0xF0F0081Cu, true);
        std::this_thread::sleep_for(std::chrono::milliseconds(50 + pick(200)));
        sim.clearFaults(camera);
        ++injected["read failures"];
        break;
      case 3:
        sim.setWriteFaults(camera, 0xF0F00600u, 0xF0F00614u, true);
        std::this_thread::sleep_for(std::chrono::milliseconds(50 + pick(200)));
        sim.clearFaults(camera);
        ++injected["write failures"];
        break;
      case 4:
        sim.setIncompleteRatio(camera, 0.25);
        std::this_thread::sleep_for(std::chrono::milliseconds(100 + pick(300)));
        sim.setIncompleteRatio(camera, 0.0);
        ++injected["incomplete frames"];
        break;
      case 5:
        sim.setMissedTriggerRatio(camera, 0.25);
        std::this_thread::sleep_for(std::chrono::milliseconds(100 + pick(300)));
        sim.setMissedTriggerRatio(camera, 0.0);
        ++injected["missed frames"];
        break;
      default:
        // Longer than the workers' 0.5 s wait: a time-out.
        sim.setStalled(camera, true);
        std::this_thread::sleep_for(std::chrono::milliseconds(600 + pick(300)));
        sim.setStalled(camera, false);
        ++injected["stall (time-out)"];
        break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(pick(150)));
  }

  // Stop: each pending wait is cancelled; every thread must be back within 1 s.
  const Clock::time_point stopAsked = Clock::now();
  stop = true;
  {
    std::lock_guard lock(fifoMutex);
    for (auto& [number, fifo] : fifos) fifo->cancelComplete();
  }
  for (std::thread& worker : workers) {
    worker.join();
    const double ms = std::chrono::duration<double, std::milli>(Clock::now() - stopAsked).count();
    if (ms > 1000.0) ++counts.slowStops;
    counts.longestStopMs = std::max(counts.longestStopMs.load(), ms);
  }
  reader.join();

  uint64_t total = 0;
  std::printf("soak: %.0f s, seed %u, %zu cameras\n", seconds, seed, cameras.size());
  for (const auto& [kind, n] : injected) {
    std::printf("  injected %-20s %llu\n", kind.c_str(), static_cast<unsigned long long>(n));
    total += n;
  }
  std::printf("  faults injected        %llu\n", static_cast<unsigned long long>(total));
  std::printf("  images accepted        %llu\n", static_cast<unsigned long long>(counts.accepted.load()));
  std::printf("  results with a failure %llu (not accepted)\n",
              static_cast<unsigned long long>(counts.flagged.load()));
  for (const auto& [kind, n] : counts.failureKinds)
    std::printf("    %-28s %llu\n", kind.c_str(), static_cast<unsigned long long>(n));
  std::printf("  accepted but flawed    %llu\n", static_cast<unsigned long long>(counts.acceptedBad.load()));
  std::printf("  starts refused         %llu\n", static_cast<unsigned long long>(counts.startsRefused.load()));
  std::printf("  worker exceptions      %llu\n",
              static_cast<unsigned long long>(counts.workerExceptions.load()));
  std::printf("  reports run            %llu (%llu reads failed)\n",
              static_cast<unsigned long long>(counts.reports.load()),
              static_cast<unsigned long long>(counts.reportFailures.load()));
  std::printf("  stops over 1 s         %llu (longest %.1f ms after the stop was asked)\n",
              static_cast<unsigned long long>(counts.slowStops.load()), counts.longestStopMs.load());
  const bool ok = counts.acceptedBad == 0 && counts.slowStops == 0;
  std::printf("%s\n", ok ? "soak: passed" : "soak: FAILED");
  return ok ? 0 : 1;
}
