// Choosing a camera's video format by the name a user types.
#include "acquisition/format_choice.h"

#include <algorithm>
#include <cctype>
#include <cmath>

#include "base/format.h"

namespace {

constexpr double kCyclesPerSecond = 8000.0;

std::string lower(const std::string& text) {
  std::string out = text;
  std::transform(out.begin(), out.end(), out.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return out;
}

// Whether the tables name a format, or a standard mode without its rate, so.
bool knownName(const std::string& wanted) {
  for (uint32_t format = 0; format <= 2; ++format)
    for (uint32_t mode = 0; mode < 8; ++mode) {
      const char* modeName = vxVideoFormat::modeName(format, mode);
      if (!modeName) continue;
      if (lower(modeName) == wanted) return true;
      for (uint32_t rate = 0; rate < 8; ++rate)
        if (lower(vxVideoFormat::standardName(format, mode, rate)) == wanted) return true;
    }
  for (uint32_t mode = 0; mode < 8; ++mode)
    for (uint32_t id = 0; vxVideoFormat::colorCodingName(id); ++id)
      if (lower(vxVideoFormat::format7Name(mode, id)) == wanted) return true;
  return false;
}

}  // namespace

uint32_t vxIsoBytesPerCycle(const vxVideoFormat& format) {
  const double fps = format.framesPerSecond();
  if (format.isFormat7() || fps <= 0.0) return 0;
  const double frameBytes =
      double(format.width()) * double(format.height()) * vxBitsPerPixel(format.coding()) / 8.0;
  const double cycles = std::max(1.0, std::round(kCyclesPerSecond / fps));
  return uint32_t(std::ceil(frameBytes / cycles));
}

vxVideoFormatChoice vxChooseVideoFormat(vx1394DCAM& camera, const std::string& name,
                                        uint32_t budget) {
  const std::string wanted = lower(name);
  const std::vector<vxPtrHandle<vxVideoFormat>> formats = vxVideoFormat::supportedFormats(camera);
  std::vector<vxPtrHandle<vxVideoFormat>> rates;  // the mode's, when the name has no rate
  for (const auto& format : formats) {
    const std::string candidate = lower(format->name());
    if (candidate == wanted) return {format, {}};
    const char* rate = vxVideoFormat::rateName(format->rate());
    if (format->isStandard() && rate && candidate == wanted + " " + lower(rate))
      rates.push_back(format);
  }
  if (!rates.empty()) {
    std::sort(rates.begin(), rates.end(),
              [](const auto& a, const auto& b) { return a->rate() > b->rate(); });
    for (const auto& format : rates) {
      const uint32_t bytes = vxIsoBytesPerCycle(*format);
      if (bytes <= budget)
        return {format,
                vxFormat("No rate given: %s is the fastest rate of the mode whose stream fits the "
                         "bus (%u of %u bytes per cycle).",
                         vxVideoFormat::rateName(format->rate()), bytes, budget)};
    }
    const auto& slowest = rates.back();
    return {slowest,
            vxFormat("No rate given, and no rate of the mode fits the bus (%u bytes per cycle): "
                     "taking the slowest, %s.",
                     budget, vxVideoFormat::rateName(slowest->rate()))};
  }
  if (knownName(wanted))
    throw vxVideoFormat::NotSupported(
        vxFormat("Video format '%s' is not offered by this camera.", name.c_str()));
  throw vxVideoFormat::NotFound(vxFormat("Unknown video format '%s'.", name.c_str()));
}
