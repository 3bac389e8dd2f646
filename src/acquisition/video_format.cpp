// Video formats: the DCAM formats, modes, rates and Format_7 codings by name.
#include "acquisition/video_format.h"

#include <map>
#include <mutex>

#include "acquisition/dcam_registers.h"
#include "base/format.h"

namespace {

struct StdMode {
  const char* name;
  uint32_t width, height;
  vxPixelCoding coding;
};

using C = vxPixelCoding;
constexpr StdMode kFormat0[] = {
    {"160x120 YUV(4:4:4)", 160, 120, C::YUV444}, {"320x240 YUV(4:2:2)", 320, 240, C::YUV422},
    {"640x480 YUV(4:1:1)", 640, 480, C::YUV411}, {"640x480 YUV(4:2:2)", 640, 480, C::YUV422},
    {"640x480 24bit RGB", 640, 480, C::RGB8},    {"640x480 Mono", 640, 480, C::Mono8},
    {"640x480 Mono16", 640, 480, C::Mono16},
};
constexpr StdMode kFormat1[] = {
    {"800x600 YUV(4:2:2)", 800, 600, C::YUV422}, {"800x600 24bit RGB", 800, 600, C::RGB8},
    {"800x600 Mono", 800, 600, C::Mono8},        {"1024x768 YUV(4:2:2)", 1024, 768, C::YUV422},
    {"1024x768 24bit RGB", 1024, 768, C::RGB8},  {"1024x768 Mono", 1024, 768, C::Mono8},
    {"800x600 Mono16", 800, 600, C::Mono16},     {"1024x768 Mono16", 1024, 768, C::Mono16},
};
constexpr StdMode kFormat2[] = {
    {"1280x960 YUV(4:2:2)", 1280, 960, C::YUV422}, {"1280x960 24bit RGB", 1280, 960, C::RGB8},
    {"1280x960 Mono", 1280, 960, C::Mono8},        {"1600x1200 YUV(4:2:2)", 1600, 1200, C::YUV422},
    {"1600x1200 24bit RGB", 1600, 1200, C::RGB8},  {"1600x1200 Mono", 1600, 1200, C::Mono8},
    {"1280x960 Mono16", 1280, 960, C::Mono16},     {"1600x1200 Mono16", 1600, 1200, C::Mono16},
};
constexpr const char* kRateNames[] = {"1.875 FPS", "3.75 FPS", "7.5 FPS", "15 FPS",
                                      "30 FPS",    "60 FPS",   "120 FPS", "240 FPS"};
constexpr const char* kCodingNames[] = {
    "Mono",      "YUV (4:1:1)",   "YUV (4:2:2)",  "YUV (4:4:4)", "24bit RGB",  "Mono16",
    "48bit RGB", "Signed Mono16", "Signed RGB16", "Bayer RAW8",  "Bayer RAW16"};

const StdMode* stdMode(uint32_t format, uint32_t mode) {
  switch (format) {
    case 0:
      return mode < std::size(kFormat0) ? &kFormat0[mode] : nullptr;
    case 1:
      return mode < std::size(kFormat1) ? &kFormat1[mode] : nullptr;
    case 2:
      return mode < std::size(kFormat2) ? &kFormat2[mode] : nullptr;
    default:
      return nullptr;
  }
}

struct Key {
  uint32_t format, mode, third;
};

// Every name there is, built once.
const std::map<std::string, Key>& nameTable() {
  static const std::map<std::string, Key> table = [] {
    std::map<std::string, Key> t;
    for (uint32_t f = 0; f < 3; ++f)
      for (uint32_t m = 0; m < 8; ++m)
        if (stdMode(f, m))
          for (uint32_t r = 0; r < 8; ++r) t[vxVideoFormat::standardName(f, m, r)] = {f, m, r};
    for (uint32_t m = 0; m < 8; ++m)
      for (uint32_t c = 0; c < uint32_t(kPixelCodingCount); ++c)
        t[vxVideoFormat::format7Name(m, c)] = {vxVideoFormat::kFormat7, m, c};
    return t;
  }();
  return table;
}

}  // namespace

// Builds the variant that fits the format.
class vx_VideoFormatFactory {
 public:
  static vxPtrHandle<vxVideoFormat> build(std::string name, uint32_t format, uint32_t mode,
                                          uint32_t rate, vxPixelCoding coding, uint32_t width,
                                          uint32_t height) {
    const bool grey = vxIsGreyCoding(coding);
    if (format == vxVideoFormat::kFormat7) {
      if (grey)
        return vxPtrHandle<vxVideoFormat>(
            new vxGreyVideoFormat(std::move(name), format, mode, 0, coding, width, height));
      return vxPtrHandle<vxVideoFormat>(
          new vxVideoFormat(std::move(name), format, mode, 0, coding, width, height));
    }
    if (grey)
      return vxPtrHandle<vxVideoFormat>(
          new vxStdGreyVideoFormat(std::move(name), format, mode, rate, coding, width, height));
    return vxPtrHandle<vxVideoFormat>(
        new vxStdVideoFormat(std::move(name), format, mode, rate, coding, width, height));
  }
};

bool vxIsGreyCoding(vxPixelCoding coding) {
  switch (coding) {
    case vxPixelCoding::Mono8:
    case vxPixelCoding::Mono16:
    case vxPixelCoding::SignedMono16:
    case vxPixelCoding::Raw8:
    case vxPixelCoding::Raw16:
      return true;
    default:
      return false;
  }
}

vxVideoFormat::vxVideoFormat(std::string name, uint32_t format, uint32_t mode, uint32_t rate,
                             vxPixelCoding coding, uint32_t width, uint32_t height)
    : m_name(std::move(name)),
      m_format(format),
      m_mode(mode),
      m_rate(rate),
      m_coding(coding),
      m_width(width),
      m_height(height) {}

double vxVideoFormat::framesPerSecond() const {
  if (isFormat7() || m_rate > 7) return 0.0;
  return 1.875 * double(1u << m_rate);
}

const char* vxVideoFormat::modeName(uint32_t format, uint32_t mode) {
  const StdMode* m = stdMode(format, mode);
  return m ? m->name : nullptr;
}

const char* vxVideoFormat::rateName(uint32_t rate) {
  return rate < std::size(kRateNames) ? kRateNames[rate] : nullptr;
}

const char* vxVideoFormat::colorCodingName(uint32_t id) {
  return id < std::size(kCodingNames) ? kCodingNames[id] : nullptr;
}

bool vxVideoFormat::standardCoding(uint32_t format, uint32_t mode, vxPixelCoding& coding) {
  const StdMode* m = stdMode(format, mode);
  if (!m) return false;
  coding = m->coding;
  return true;
}

std::string vxVideoFormat::standardName(uint32_t format, uint32_t mode, uint32_t rate) {
  const char* m = modeName(format, mode);
  const char* r = rateName(rate);
  return (m && r) ? vxFormat("%s %s", m, r) : std::string();
}

std::string vxVideoFormat::format7Name(uint32_t mode, uint32_t colorCodingId) {
  const char* c = colorCodingName(colorCodingId);
  return (mode < 8 && c) ? vxFormat("Format7 Mode %u %s", mode, c) : std::string();
}

vxPtrHandle<vxVideoFormat> vxVideoFormat::make(uint32_t format, uint32_t mode,
                                               uint32_t rateOrCoding) {
  if (format == kFormat7) {
    const std::string name = format7Name(mode, rateOrCoding);
    if (name.empty())
      throw NotFound(
          vxFormat("No Format_7 format for mode %u, colour coding %u.", mode, rateOrCoding));
    return vx_VideoFormatFactory::build(name, format, mode, 0,
                                        static_cast<vxPixelCoding>(rateOrCoding), 0, 0);
  }
  const StdMode* m = stdMode(format, mode);
  const std::string name = standardName(format, mode, rateOrCoding);
  if (!m || name.empty())
    throw NotFound(
        vxFormat("No video format for format %u, mode %u, rate %u.", format, mode, rateOrCoding));
  return vx_VideoFormatFactory::build(name, format, mode, rateOrCoding, m->coding, m->width,
                                      m->height);
}

vxPtrHandle<vxVideoFormat> vxVideoFormat::find(const std::string& name) {
  const auto& table = nameTable();
  const auto it = table.find(name);
  if (it == table.end()) throw NotFound(vxFormat("Unknown video format \"%s\".", name.c_str()));
  return make(it->second.format, it->second.mode, it->second.third);
}

vxPtrHandle<vxVideoFormat> vxVideoFormat::find(vx1394DCAM& camera, const std::string& name) {
  vxPtrHandle<vxVideoFormat> format = find(name);
  format->requireSupport(camera);
  if (format->isFormat7()) {
    const auto mode = vxDcamReadFormat7Mode(camera, format->mode());
    if (!mode)
      throw NotSupported(vxFormat("The camera's Format_7 mode %u cannot be read.", format->mode()));
    format->m_width = mode->maxWidth;
    format->m_height = mode->maxHeight;
  }
  return format;
}

bool vxVideoFormat::isSupportedBy(vx1394DCAM& camera) const {
  if (!isFormat7()) return vxDcamIsSupported(camera, m_format, m_mode, m_rate);
  const auto mode = vxDcamReadFormat7Mode(camera, m_mode);
  return mode && mode->supportsColorCoding(colorCodingId());
}

void vxVideoFormat::requireSupport(vx1394DCAM& camera) const {
  if (!isSupportedBy(camera))
    throw NotSupported(
        vxFormat("The camera does not support the video format \"%s\".", m_name.c_str()));
}

std::vector<vxPtrHandle<vxVideoFormat>> vxVideoFormat::supportedFormats(vx1394DCAM& camera) {
  std::vector<vxPtrHandle<vxVideoFormat>> out;
  // Each inquiry register is read once: on a slow bus the list costs a few
  // dozen reads rather than hundreds.
  uint32_t formats = 0;
  if (!camera.readQuadlet(vxDcamReg::kVFormatInq, formats)) return out;
  for (uint32_t f = 0; f < 3; ++f) {
    uint32_t modes = 0;
    if (!(formats & (1u << (31 - f))) || !camera.readQuadlet(vxDcamReg::kVModeInq + 4 * f, modes))
      continue;
    for (uint32_t m = 0; m < 8; ++m) {
      uint32_t rates = 0;
      if (!stdMode(f, m) || !(modes & (1u << (31 - m))) ||
          !camera.readQuadlet(vxDcamReg::kVRateInq + 0x20 * f + 4 * m, rates))
        continue;
      for (uint32_t r = 0; r < 8; ++r)
        if (rates & (1u << (31 - r))) out.push_back(make(f, m, r));
    }
  }
  if (!(formats & (1u << (31 - kFormat7)))) return out;
  for (uint32_t m = 0; m < 8; ++m) {
    const auto mode = vxDcamReadFormat7Mode(camera, m);
    if (!mode) continue;
    for (uint32_t c = 0; c < uint32_t(kPixelCodingCount); ++c) {
      if (!mode->supportsColorCoding(c)) continue;
      vxPtrHandle<vxVideoFormat> format = make(kFormat7, m, c);
      format->m_width = mode->maxWidth;
      format->m_height = mode->maxHeight;
      out.push_back(std::move(format));
    }
  }
  return out;
}

std::vector<std::string> vxVideoFormat::supportedNames(vx1394DCAM& camera) {
  std::vector<std::string> names;
  for (const auto& format : supportedFormats(camera)) names.push_back(format->name());
  return names;
}
