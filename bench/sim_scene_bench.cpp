// Rendering cost of the simulated camera's scene per frame, for the larger frame sizes.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "modules/qrvnvdcam/sim/scene.h"

namespace {

template <vxPixelCoding kCoding>
void BM_SceneRender(benchmark::State& state) {
  const auto w = static_cast<uint32_t>(state.range(0));
  const auto h = static_cast<uint32_t>(state.range(1));
  std::vector<uint8_t> frame(vx_SimScene::frameBytes(w, h, kCoding));
  vx_SimScene scene;
  vx_SimSceneParams params;
  params.testPattern = state.range(2) != 0;
  uint64_t n = 0;
  for (auto _ : state) {
    scene.render(n++, w, h, kCoding, params, frame.data(), frame.size());
    benchmark::ClobberMemory();
  }
  // Frames per second is the figure that counts against the camera's rate.
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(frame.size()));
}

void sizes(benchmark::internal::Benchmark* b) {
  b->ArgNames({"w", "h", "pattern"})
      ->Args({640, 480, 0})
      ->Args({1600, 1200, 0})
      ->Args({1600, 1200, 1});
}

}  // namespace

BENCHMARK(BM_SceneRender<vxPixelCoding::Mono8>)->Name("BM_SceneRender_Mono8")->Apply(sizes);
BENCHMARK(BM_SceneRender<vxPixelCoding::Mono16>)->Name("BM_SceneRender_Mono16")->Apply(sizes);
BENCHMARK(BM_SceneRender<vxPixelCoding::YUV422>)->Name("BM_SceneRender_YUV422")->Apply(sizes);
BENCHMARK(BM_SceneRender<vxPixelCoding::RGB8>)->Name("BM_SceneRender_RGB8")->Apply(sizes);
BENCHMARK(BM_SceneRender<vxPixelCoding::Raw8>)->Name("BM_SceneRender_Raw8")->Apply(sizes);

BENCHMARK_MAIN();
