// Cost of the register access path: a catalogue register read through
// vxDcamRegister (camera lookup by number, module, bus layer) against a read
// made directly on the simulated camera.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "modules/qrvnvdcam/module.h"
#include "modules/qrvnvdcam/sim/profile.h"
#include "modules/qrvnvdcam/sim/sim_camera.h"
#include "regmodel/dcam_camera.h"
#include "regmodel/register_accessor.h"

namespace {

constexpr uint32_t kGainRegister = 0xF0F00820u;

std::string profilePath() { return std::string(PRALIX_SOURCE_DATA_DIR) + "/profiles/korvane-kv640m.json"; }

vx_ModuleOptions simOptions() {
  vx_ModuleOptions options;
  options.simulate = true;
  options.realBus = false;
  options.simulatedProfiles = {profilePath()};
  return options;
}

void DirectSimRead(benchmark::State& state) {
  vx_SimCamera camera(vxLoadSimProfile(profilePath()));
  uint32_t value = 0;
  for (auto _ : state) {
    camera.readQuadlet(kGainRegister, value, nullptr);
    benchmark::DoNotOptimize(value);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(DirectSimRead);

void ModuleCameraRead(benchmark::State& state) {
  vx_QrvnvDcamModule module(simOptions());
  uint32_t value = 0;
  for (auto _ : state) {
    module.camera(0).readQuadlet(kGainRegister, value, nullptr);
    benchmark::DoNotOptimize(value);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(ModuleCameraRead);

void CatalogueRegisterRead(benchmark::State& state) {
  vx_QrvnvDcamModule module(simOptions());
  vxDcamCamera camera(0, &module);
  vxRegister* gain = camera.findRegister("GAIN");
  if (!gain) {
    state.SkipWithError("no GAIN register in the catalogue");
    return;
  }
  for (auto _ : state) benchmark::DoNotOptimize(gain->read());
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(CatalogueRegisterRead);

void AccessorRead(benchmark::State& state) {
  vx_QrvnvDcamModule module(simOptions());
  vx_DCAMRegisterAccessorPralix accessor(0, &module);
  for (auto _ : state) benchmark::DoNotOptimize(accessor.readQuadlet(kGainRegister));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(AccessorRead);

}  // namespace

BENCHMARK_MAIN();
