// The synthetic scene the simulated camera images, rendered in any IIDC pixel coding.
#include "modules/qrvnvdcam/sim/scene.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "base/format.h"

namespace {

// Radiance runs 0..1023; at unity exposure and gain 1023 just reaches white.
constexpr uint16_t kRadianceMax = 1023;
constexpr uint16_t kCheckerStep = 300;
constexpr uint16_t kWedgeDark = 80;
constexpr uint16_t kWedgeLight = 900;
constexpr uint16_t kRowShade = 150;
// Frames for one turn of the circling disc, and checker pixels scrolled per frame.
constexpr uint64_t kOrbitFrames = 240;
constexpr uint64_t kScrollPerFrame = 3;

constexpr uint32_t luma(uint32_t r, uint32_t g, uint32_t b) {
  return (299 * r + 587 * g + 114 * b) / 1000;
}

inline uint8_t clamp8(int v) {
  return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
}

inline void put16(uint8_t* dst, uint16_t v) {
  dst[0] = static_cast<uint8_t>(v >> 8);
  dst[1] = static_cast<uint8_t>(v);
}

// Rec. 601 colour differences of 8-bit RGB, scaled to fit U and V around 128
// (0.564 and 0.713 in 16-bit fixed point).
inline int colourU(int b, int y) {
  return ((b - y) * 36962 + 32768) >> 16;
}
inline int colourV(int r, int y) {
  return ((r - y) * 46727 + 32768) >> 16;
}

bool isMono(vxPixelCoding coding) {
  return coding == vxPixelCoding::Mono8 || coding == vxPixelCoding::Mono16 ||
         coding == vxPixelCoding::SignedMono16;
}

}  // namespace

size_t vx_SimScene::rowBytes(uint32_t width, vxPixelCoding coding) {
  if (coding == vxPixelCoding::YUV411 && width % 4 != 0)
    throw BadSize(vxFormat("YUV 4:1:1 needs a width that is a multiple of 4, not %u", width));
  if (coding == vxPixelCoding::YUV422 && width % 2 != 0)
    throw BadSize(vxFormat("YUV 4:2:2 needs an even width, not %u", width));
  return static_cast<size_t>(width) * vxBitsPerPixel(coding) / 8;
}

size_t vx_SimScene::frameBytes(uint32_t width, uint32_t height, vxPixelCoding coding) {
  return rowBytes(width, coding) * height;
}

void vx_SimScene::prepareGeometry(uint32_t width, uint32_t height) {
  if (width == m_width && height == m_height) return;
  m_width = width;
  m_height = height;
  m_cell = std::max<uint32_t>(4, height / 12);
  m_bandRows = height / 8;

  for (int c = 0; c < kChannels; ++c) {
    m_column[c].resize(width);
    m_bars[c].resize(width);
    m_level[c].resize(width);
  }
  m_wedge.resize(width);
  m_ramp.resize(width);
  m_checker.resize(width);

  // Colours of the bars, 8-bit: white, yellow, cyan, green, magenta, red, blue, black.
  static constexpr uint8_t kBarColours[8][3] = {{255, 255, 255}, {255, 255, 0}, {0, 255, 255},
                                                {0, 255, 0},     {255, 0, 255}, {255, 0, 0},
                                                {0, 0, 255},     {0, 0, 0}};
  const double span = width > 1 ? width - 1 : 1;
  for (uint32_t x = 0; x < width; ++x) {
    const double t = x / span;
    const auto r = static_cast<uint16_t>(100 + 400 * t);
    const auto g = static_cast<uint16_t>(150 + 300 * t);
    const auto b = static_cast<uint16_t>(500 - 400 * t);
    m_column[kR][x] = r;
    m_column[kG][x] = g;
    m_column[kB][x] = b;
    m_column[kY][x] = static_cast<uint16_t>(luma(r, g, b));
    // Instantaneous frequency x / (2 width) cycles per pixel: zero at the
    // left edge, the pixel pitch's limit at the right.
    m_wedge[x] = std::sin(std::numbers::pi * x * x / (2.0 * width)) >= 0 ? 1 : 0;

    const uint8_t* bar = kBarColours[size_t{x} * 8 / width];
    for (int c = 0; c < 3; ++c) m_bars[c][x] = static_cast<uint16_t>(bar[c] * 257);
    m_bars[kY][x] = static_cast<uint16_t>(luma(bar[0], bar[1], bar[2]) * 257);
    m_ramp[x] = static_cast<uint16_t>(size_t{x} * 256 / width * 257);
  }
}

void vx_SimScene::prepareFrame(uint64_t frame, const vx_SimSceneParams& params) {
  m_testPattern = params.testPattern;
  if (m_testPattern) return;

  const uint64_t shift = frame * kScrollPerFrame % (2 * m_cell);
  for (uint32_t x = 0; x < m_width; ++x) m_checker[x] = ((x + shift) / m_cell) & 1;

  const double angle = 2 * std::numbers::pi * static_cast<double>(frame % kOrbitFrames) /
                       static_cast<double>(kOrbitFrames);
  m_moving.cx = static_cast<int>(m_width / 2.0 + 0.3 * m_width * std::cos(angle));
  m_moving.cy = static_cast<int>(m_height / 2.0 + 0.25 * m_height * std::sin(angle));
  m_moving.r = static_cast<int>(std::max<uint32_t>(2, m_height / 8));
  m_moving.value = {1000, 700, 300, static_cast<uint16_t>(luma(1000, 700, 300))};
  m_fixed.cx = static_cast<int>(m_width / 5);
  m_fixed.cy = static_cast<int>(m_height * 3 / 4);
  m_fixed.r = static_cast<int>(std::max<uint32_t>(2, m_height / 10));
  m_fixed.value = {60, 90, 260, static_cast<uint16_t>(luma(60, 90, 260))};

  // Negative or NaN controls act as zero: std::max keeps its first argument then.
  const double exposure = std::max(0.0, params.exposure);
  const double gain = std::max(0.0, params.gain);
  const double brightness = std::isfinite(params.brightness) ? params.brightness : 0.0;
  const double scale = exposure * gain * 65535.0 / kRadianceMax;
  const double offset = brightness * 257.0;
  for (size_t r = 0; r < m_lut.size(); ++r) {
    const double level = std::clamp(static_cast<double>(r) * scale + offset, 0.0, 65535.0);
    m_lut[r] = static_cast<uint16_t>(std::lround(level));
  }
}

void vx_SimScene::sceneRow(uint32_t y, Channel c) {
  uint16_t* level = m_level[c].data();
  if (y < m_bandRows) {
    const uint16_t dark = m_lut[kWedgeDark], light = m_lut[kWedgeLight];
    for (uint32_t x = 0; x < m_width; ++x) level[x] = m_wedge[x] ? light : dark;
  } else {
    const uint32_t shade =
        m_height > 1 ? kRowShade * (m_height - 1 - y) / (m_height - 1) : kRowShade;
    const uint8_t parity = (y / m_cell) & 1;
    const uint16_t* column = m_column[c].data();
    const uint8_t* checker = m_checker.data();
    for (uint32_t x = 0; x < m_width; ++x) {
      const uint32_t radiance = column[x] + shade + ((checker[x] ^ parity) ? kCheckerStep : 0);
      level[x] = m_lut[radiance];
    }
  }
  for (const Disc* disc : {&m_fixed, &m_moving}) {
    const int dy = static_cast<int>(y) - disc->cy;
    if (dy < -disc->r || dy > disc->r) continue;
    const int half = static_cast<int>(std::sqrt(static_cast<double>(disc->r * disc->r - dy * dy)));
    const int x0 = std::max(0, disc->cx - half);
    const int x1 = std::min(static_cast<int>(m_width) - 1, disc->cx + half);
    if (x0 <= x1) std::fill(level + x0, level + x1 + 1, m_lut[disc->value[c]]);
  }
}

void vx_SimScene::patternRow(uint32_t y, Channel c) {
  const std::vector<uint16_t>& source = y < m_height - m_height / 4 ? m_bars[c] : m_ramp;
  std::copy(source.begin(), source.end(), m_level[c].begin());
}

void vx_SimScene::packRow(uint32_t y, vxPixelCoding coding, uint8_t* dst) const {
  const uint32_t w = m_width;
  const uint16_t* lr = m_level[kR].data();
  const uint16_t* lg = m_level[kG].data();
  const uint16_t* lb = m_level[kB].data();
  const uint16_t* ly = m_level[kY].data();
  // RGGB mosaic: even rows R G R G ..., odd rows G B G B ...
  const uint16_t* even = (y & 1) ? lg : lr;
  const uint16_t* odd = (y & 1) ? lb : lg;

  switch (coding) {
    case vxPixelCoding::Mono8:
      for (uint32_t x = 0; x < w; ++x) dst[x] = static_cast<uint8_t>(ly[x] >> 8);
      return;
    case vxPixelCoding::Mono16:
      for (uint32_t x = 0; x < w; ++x) put16(dst + 2 * x, ly[x]);
      return;
    case vxPixelCoding::SignedMono16:
      for (uint32_t x = 0; x < w; ++x) put16(dst + 2 * x, static_cast<uint16_t>(ly[x] ^ 0x8000));
      return;
    case vxPixelCoding::Raw8:
      for (uint32_t x = 0; x < w; ++x)
        dst[x] = static_cast<uint8_t>(((x & 1) ? odd[x] : even[x]) >> 8);
      return;
    case vxPixelCoding::Raw16:
      for (uint32_t x = 0; x < w; ++x) put16(dst + 2 * x, (x & 1) ? odd[x] : even[x]);
      return;
    case vxPixelCoding::RGB8:
      for (uint32_t x = 0; x < w; ++x, dst += 3) {
        dst[0] = static_cast<uint8_t>(lr[x] >> 8);
        dst[1] = static_cast<uint8_t>(lg[x] >> 8);
        dst[2] = static_cast<uint8_t>(lb[x] >> 8);
      }
      return;
    case vxPixelCoding::RGB16:
    case vxPixelCoding::SignedRGB16: {
      const uint16_t flip = coding == vxPixelCoding::SignedRGB16 ? 0x8000 : 0;
      for (uint32_t x = 0; x < w; ++x, dst += 6) {
        put16(dst, static_cast<uint16_t>(lr[x] ^ flip));
        put16(dst + 2, static_cast<uint16_t>(lg[x] ^ flip));
        put16(dst + 4, static_cast<uint16_t>(lb[x] ^ flip));
      }
      return;
    }
    case vxPixelCoding::YUV444:
    case vxPixelCoding::YUV422:
    case vxPixelCoding::YUV411: {
      // Pixels per shared U, V pair: 1, 2 or 4; the pair is the group's mean.
      const uint32_t group =
          coding == vxPixelCoding::YUV444 ? 1 : (coding == vxPixelCoding::YUV422 ? 2 : 4);
      for (uint32_t x = 0; x < w; x += group) {
        int ys[4];
        int u = 0, v = 0;
        for (uint32_t i = 0; i < group; ++i) {
          const int r = lr[x + i] >> 8, g = lg[x + i] >> 8, b = lb[x + i] >> 8;
          ys[i] = static_cast<int>(
              luma(static_cast<uint32_t>(r), static_cast<uint32_t>(g), static_cast<uint32_t>(b)));
          u += colourU(b, ys[i]);
          v += colourV(r, ys[i]);
        }
        const uint8_t cu = clamp8(128 + u / static_cast<int>(group));
        const uint8_t cv = clamp8(128 + v / static_cast<int>(group));
        if (group == 1) {
          dst[0] = cu, dst[1] = static_cast<uint8_t>(ys[0]), dst[2] = cv;
          dst += 3;
        } else if (group == 2) {
          dst[0] = cu, dst[1] = static_cast<uint8_t>(ys[0]);
          dst[2] = cv, dst[3] = static_cast<uint8_t>(ys[1]);
          dst += 4;
        } else {
          dst[0] = cu, dst[1] = static_cast<uint8_t>(ys[0]), dst[2] = static_cast<uint8_t>(ys[1]);
          dst[3] = cv, dst[4] = static_cast<uint8_t>(ys[2]), dst[5] = static_cast<uint8_t>(ys[3]);
          dst += 6;
        }
      }
      return;
    }
  }
}

void vx_SimScene::render(uint64_t frame, uint32_t width, uint32_t height, vxPixelCoding coding,
                         const vx_SimSceneParams& params, uint8_t* out, size_t outSize) {
  const size_t row = rowBytes(width, coding);
  if (outSize < row * height)
    throw BadSize(vxFormat("A %ux%u frame needs %zu bytes, the buffer holds %zu", width, height,
                           row * height, outSize));
  if (width == 0 || height == 0) return;
  prepareGeometry(width, height);
  prepareFrame(frame, params);

  const bool mono = isMono(coding);
  for (uint32_t y = 0; y < height; ++y) {
    for (Channel c : {kR, kG, kB, kY}) {
      if ((c == kY) != mono) continue;
      if (m_testPattern)
        patternRow(y, c);
      else
        sceneRow(y, c);
    }
    packRow(y, coding, out + y * row);
  }
}
