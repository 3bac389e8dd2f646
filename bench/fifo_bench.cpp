// Acquisition FIFO throughput on the simulated camera without pacing, and its pacing accuracy.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <memory>
#include <string>

#include "acquisition/acq_fifo.h"
#include "acquisition/sim_control.h"
#include "acquisition/trigger_model.h"
#include "modules/qrvnvdcam/module.h"

namespace {

std::unique_ptr<vx_QrvnvDcamModule> simModule(const std::string& profile, double timeScale) {
  vx_ModuleOptions options;
  options.simulate = true;
  options.realBus = false;
  options.simulatedProfiles = {profile};
  options.profileDirs = {std::string(PRALIX_SOURCE_DATA_DIR) + "/profiles"};
  auto module = std::make_unique<vx_QrvnvDcamModule>(options);
  module->simControl()->setTimeScale(timeScale);
  return module;
}

vxPtrHandle<vxAcqFifo> freeRunFifo(vx1394DCAM& camera, const std::string& format) {
  auto fifo = vxAcqFifo::create(camera, *vxVideoFormat::find(camera, format));
  fifo->triggerProp().triggerModel(vxTriggerModel::freeRun());
  fifo->triggerProp().triggerEnable(true);
  if (!fifo->prepare(0.0)) return nullptr;
  return fifo;
}

// Images per second through complete() with the camera unpaced: rendering,
// the stream's buffers and the FIFO's bookkeeping.
void BM_FifoCompleteUnpaced(benchmark::State& state, const std::string& profile,
                            const std::string& format) {
  auto module = simModule(profile, 0.0);
  auto fifo = freeRunFifo(module->camera(0), format);
  if (!fifo) {
    state.SkipWithError("the FIFO could not be prepared");
    return;
  }
  int64_t failed = 0;
  for (auto _ : state) {
    vxAcqResult r = fifo->complete(5.0);
    if (!r.succeeded()) ++failed;
    benchmark::DoNotOptimize(r.image);
  }
  state.counters["fps"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
  state.counters["failed"] = static_cast<double>(failed);
}

// A 30 fps format at time scale 1 over 300 frames: the rate measured from the
// images' time stamps against the format's.
void BM_FifoPacing30Fps(benchmark::State& state) {
  constexpr int kFrames = 300;
  constexpr double kNominal = 30.0;
  auto module = simModule("korvane-kv640m", 1.0);
  auto fifo = freeRunFifo(module->camera(0), "640x480 Mono 30 FPS");
  if (!fifo) {
    state.SkipWithError("the FIFO could not be prepared");
    return;
  }
  double measured = 0.0;
  int64_t failed = 0;
  for (auto _ : state) {
    fifo->flush();
    std::chrono::steady_clock::time_point first{}, last{};
    for (int i = 0; i < kFrames; ++i) {
      vxAcqResult r = fifo->complete(1.0);
      if (!r.succeeded()) {
        ++failed;
        continue;
      }
      if (i == 0) first = r.image->timestamp();
      last = r.image->timestamp();
    }
    const double seconds = std::chrono::duration<double>(last - first).count();
    measured = seconds > 0 ? (kFrames - 1) / seconds : 0.0;
  }
  state.counters["fps"] = measured;
  state.counters["error_pct"] = 100.0 * std::abs(measured - kNominal) / kNominal;
  state.counters["failed"] = static_cast<double>(failed);
}

}  // namespace

BENCHMARK_CAPTURE(BM_FifoCompleteUnpaced, 640x480_Mono8, std::string("korvane-kv640m"),
                  std::string("640x480 Mono 30 FPS"))
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_FifoCompleteUnpaced, 1600x1200_Mono8, std::string("orbel-ux1600b"),
                  std::string("1600x1200 Mono 15 FPS"))
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_FifoPacing30Fps)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

BENCHMARK_MAIN();
