// The 256-bin grey-level histogram of an image, its statistics and their text.
#include "imaging/histogram.h"

#include <cmath>
#include <cstring>
#include <vector>

#include "base/format.h"
#include "imaging/grey_convert.h"

namespace {

// Partial histograms filled in turn: consecutive equal pixels (the common
// case in flat image areas) then increment different counters, so the store
// of one increment does not stall the load of the next. Pixels are read
// eight at a time as one 64-bit word and taken apart with shifts, which
// leaves the load ports to the counters.
struct PartialCounts {
  static constexpr int kTables = 4;
  uint32_t c[kTables][vxHistogram::kBins] = {};

  void add(const uint8_t* p, size_t n) {
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
      uint64_t a;
      uint64_t b;
      std::memcpy(&a, p + i, 8);
      std::memcpy(&b, p + i + 8, 8);
      ++c[0][a & 0xFF];
      ++c[1][(a >> 8) & 0xFF];
      ++c[2][(a >> 16) & 0xFF];
      ++c[3][(a >> 24) & 0xFF];
      ++c[0][(a >> 32) & 0xFF];
      ++c[1][(a >> 40) & 0xFF];
      ++c[2][(a >> 48) & 0xFF];
      ++c[3][a >> 56];
      ++c[0][b & 0xFF];
      ++c[1][(b >> 8) & 0xFF];
      ++c[2][(b >> 16) & 0xFF];
      ++c[3][(b >> 24) & 0xFF];
      ++c[0][(b >> 32) & 0xFF];
      ++c[1][(b >> 40) & 0xFF];
      ++c[2][(b >> 48) & 0xFF];
      ++c[3][b >> 56];
    }
    for (; i < n; ++i) ++c[0][p[i]];
  }

  uint32_t bin(int b) const {
    uint32_t sum = 0;
    for (int t = 0; t < kTables; ++t) sum += c[t][b];
    return sum;
  }
};

}  // namespace

vxHistogram vxHistogram::fromImage(const vxImageView& image) {
  if (image.data == nullptr) throw BadPointer("The image has no grey pel buffer");
  vxGreyConverter::check(image);

  PartialCounts counts;
  const bool direct = image.coding == vxPixelCoding::Mono8 || image.coding == vxPixelCoding::Raw8;
  if (direct && image.stride == image.width) {
    counts.add(image.data, size_t{image.width} * image.height);
  } else if (direct) {
    for (uint32_t y = 0; y < image.height; ++y)
      counts.add(image.data + y * image.stride, image.width);
  } else {
    std::vector<uint8_t> grey(image.width);
    for (uint32_t y = 0; y < image.height; ++y) {
      vxGreyConverter::greyRow(image.data + y * image.stride, image.width, image.coding,
                               grey.data());
      counts.add(grey.data(), grey.size());
    }
  }

  vxHistogram result;
  for (int b = 0; b < kBins; ++b)
    result.m_bins[static_cast<size_t>(b)] = counts.bin(b);
  return result;
}

uint64_t vxHistogram::total() const {
  uint64_t n = 0;
  for (uint32_t c : m_bins) n += c;
  return n;
}

uint32_t vxHistogram::largestCount() const {
  uint32_t largest = 0;
  for (uint32_t c : m_bins) largest = c > largest ? c : largest;
  return largest;
}

vxImageStats vxHistogram::stats() const {
  vxImageStats s;
  uint64_t sum = 0;
  int minLevel = -1;
  for (int level = 0; level < kBins; ++level) {
    const uint32_t c = m_bins[static_cast<size_t>(level)];
    if (c == 0) continue;
    if (minLevel < 0) minLevel = level;
    s.maxLevel = level;
    s.pixels += c;
    sum += uint64_t{c} * static_cast<uint64_t>(level);
    if (c > m_bins[static_cast<size_t>(s.mode)]) s.mode = level;
  }
  if (s.pixels == 0) return s;
  s.minLevel = minLevel;
  s.mean = static_cast<double>(sum) / static_cast<double>(s.pixels);
  // Second pass over the 256 bins rather than sum-of-squares arithmetic,
  // which loses the variance of large, nearly flat images to cancellation.
  double squares = 0.0;
  for (int level = s.minLevel; level <= s.maxLevel; ++level) {
    const double d = level - s.mean;
    squares += d * d * m_bins[static_cast<size_t>(level)];
  }
  s.stdDev = std::sqrt(squares / static_cast<double>(s.pixels));
  return s;
}

std::string vxStatisticsText(const vxImageStats& stats) {
  return vxFormat("Mean: %3.2f   Min: %3d   Max: %3d   Mode: %d   StdDev: %3.2f", stats.mean,
                  stats.minLevel, stats.maxLevel, stats.mode, stats.stdDev);
}

std::string vxMarkerText(const vxHistogram& histogram, int redBin, int blueBin) {
  return vxFormat("   Red: %d - %d   Blue: %d - %d", redBin,
                  static_cast<int>(histogram.count(redBin)), blueBin,
                  static_cast<int>(histogram.count(blueBin)));
}

std::string vxStatisticsLine(const vxHistogram& histogram, bool showMarkers, int redBin,
                             int blueBin) {
  std::string line = vxStatisticsText(histogram.stats());
  if (showMarkers) line += vxMarkerText(histogram, redBin, blueBin);
  return line;
}
