// The 256-bin grey-level histogram of an image, its statistics and their text.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "base/exception.h"
#include "base/pixel_coding.h"

// Statistics of the grey levels a histogram counts. Levels are 0..255; an
// empty histogram gives all zeros.
struct vxImageStats {
  uint64_t pixels = 0;
  double mean = 0.0;
  int minLevel = 0;     // smallest occupied level
  int maxLevel = 0;     // largest occupied level
  int mode = 0;         // most frequent level; the lowest one on a tie
  double stdDev = 0.0;  // population standard deviation
};

// Initial marker bins of the histogram display.
constexpr int kRedMarkerBin = 64;
constexpr int kBlueMarkerBin = 192;

class vxHistogram {
 public:
  static constexpr int kBins = 256;
  using Bins = std::array<uint32_t, kBins>;

  // The image handed in has no pixel buffer.
  class BadPointer : public vxException {
   public:
    using vxException::vxException;
  };

  vxHistogram() = default;
  explicit vxHistogram(const Bins& bins) : m_bins(bins) {}

  // Counts the grey levels of an image of any coding, reduced to grey by the
  // rule of vxGreyConverter. Throws BadPointer for an image without a buffer
  // and vxGreyConverter::BadImage for a geometry the coding cannot have.
  static vxHistogram fromImage(const vxImageView& image);

  const Bins& bins() const { return m_bins; }
  // The count of a level; 0 for a level outside 0..255, so a marker placed
  // off the scale reads as empty.
  uint32_t count(int level) const {
    return level >= 0 && level < kBins ? m_bins[static_cast<size_t>(level)] : 0;
  }
  uint64_t total() const;
  uint32_t largestCount() const;
  vxImageStats stats() const;

  bool operator==(const vxHistogram&) const = default;

 private:
  Bins m_bins{};
};

// "Mean: ...   Min: ...   Max: ...   Mode: ...   StdDev: ..." for the statistics.
std::string vxStatisticsText(const vxImageStats& stats);
// "   Red: bin - count   Blue: bin - count" for the two marker bins.
std::string vxMarkerText(const vxHistogram& histogram, int redBin, int blueBin);
// The statistics line under the histogram plot, with the marker text appended
// when the markers are shown.
std::string vxStatisticsLine(const vxHistogram& histogram, bool showMarkers,
                             int redBin = kRedMarkerBin, int blueBin = kBlueMarkerBin);
