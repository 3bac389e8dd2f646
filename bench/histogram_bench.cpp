// Histogram cost per acquired frame against a plain read of the same buffer.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "imaging/grey_convert.h"
#include "imaging/histogram.h"

namespace {

// A frame of pseudo-random bytes: no long runs, the worst case for counting.
std::vector<uint8_t> noiseFrame(size_t bytes) {
  std::vector<uint8_t> data(bytes);
  uint32_t state = 0x12345678u;
  for (uint8_t& b : data) {
    state = state * 1664525u + 1013904223u;
    b = static_cast<uint8_t>(state >> 24);
  }
  return data;
}

vxImageView frameView(const std::vector<uint8_t>& data, uint32_t w, uint32_t h,
                      vxPixelCoding coding) {
  return {data.data(), w, h, vxGreyConverter::rowBytes(w, coding), coding};
}

// The floor: read every byte once and sum them.
void BM_PlainRead(benchmark::State& state) {
  const auto w = static_cast<uint32_t>(state.range(0));
  const auto h = static_cast<uint32_t>(state.range(1));
  const std::vector<uint8_t> data = noiseFrame(size_t{w} * h);
  for (auto _ : state) {
    uint64_t sum = 0;
    for (uint8_t b : data) sum += b;
    benchmark::DoNotOptimize(sum);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(data.size()));
}

// The true memory floor: one pass of 64-bit loads over the same buffer. The
// words are combined so that no load can be dropped, with as little work per
// word as a pass can have.
void BM_PlainRead64(benchmark::State& state) {
  const auto w = static_cast<uint32_t>(state.range(0));
  const auto h = static_cast<uint32_t>(state.range(1));
  const std::vector<uint8_t> data = noiseFrame(size_t{w} * h);
  const size_t words = data.size() / sizeof(uint64_t);
  for (auto _ : state) {
    uint64_t x = 0;
    for (size_t i = 0; i < words; ++i) {
      uint64_t word;
      std::memcpy(&word, data.data() + i * sizeof(uint64_t), sizeof word);
      x ^= word;
    }
    benchmark::DoNotOptimize(x);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(data.size()));
}

template <vxPixelCoding kCoding>
void BM_Histogram(benchmark::State& state) {
  const auto w = static_cast<uint32_t>(state.range(0));
  const auto h = static_cast<uint32_t>(state.range(1));
  const std::vector<uint8_t> data = noiseFrame(vxGreyConverter::rowBytes(w, kCoding) * h);
  const vxImageView view = frameView(data, w, h, kCoding);
  for (auto _ : state) {
    vxHistogram histogram = vxHistogram::fromImage(view);
    benchmark::DoNotOptimize(histogram);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(data.size()));
}

void BM_HistogramAndStatisticsLine(benchmark::State& state) {
  const std::vector<uint8_t> data = noiseFrame(640 * 480);
  const vxImageView view = frameView(data, 640, 480, vxPixelCoding::Mono8);
  for (auto _ : state) {
    std::string line = vxStatisticsLine(vxHistogram::fromImage(view), true);
    benchmark::DoNotOptimize(line);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(data.size()));
}

void frameSizes(benchmark::internal::Benchmark* b) {
  b->Args({640, 480})->Args({1600, 1200});
}

}  // namespace

BENCHMARK(BM_PlainRead)->Apply(frameSizes);
BENCHMARK(BM_PlainRead64)->Apply(frameSizes);
BENCHMARK(BM_Histogram<vxPixelCoding::Mono8>)->Name("BM_Histogram_Mono8")->Apply(frameSizes);
BENCHMARK(BM_Histogram<vxPixelCoding::Mono16>)->Name("BM_Histogram_Mono16")->Apply(frameSizes);
BENCHMARK(BM_Histogram<vxPixelCoding::YUV422>)->Name("BM_Histogram_YUV422")->Apply(frameSizes);
BENCHMARK(BM_Histogram<vxPixelCoding::RGB8>)->Name("BM_Histogram_RGB8")->Apply(frameSizes);
BENCHMARK(BM_HistogramAndStatisticsLine);

BENCHMARK_MAIN();
