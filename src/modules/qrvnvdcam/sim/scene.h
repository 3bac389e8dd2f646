// The synthetic scene the simulated camera images, rendered in any IIDC pixel coding.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/exception.h"
#include "base/pixel_coding.h"

// What the camera's controls do to the picture. The simulated camera maps its
// SHUTTER, GAIN and BRIGHTNESS registers onto these.
struct vx_SimSceneParams {
  double exposure = 1.0;     // relative exposure; 1 is the nominal shutter time
  double gain = 1.0;         // linear gain; 1 is unity
  double brightness = 0.0;   // black level offset in 8-bit grey levels, added after gain
  bool testPattern = false;  // the camera's fixed test pattern instead of the scene
};

// The scene: a horizontal colour gradient darkening downwards, a checkerboard
// that scrolls sideways, a bright warm disc circling the frame, a dark blue
// disc that stays put, and a band of stripes along the top whose frequency
// rises from nothing at the left to the pixel pitch at the right. Light is
// linear in exposure times gain, then offset by brightness and clipped, as a
// sensor does. The test pattern is eight colour bars over a grey ramp; it
// ignores the controls and does not move, as a camera's built-in pattern does.
//
// Frames are written in IIDC byte order: 16-bit samples big-endian, YUV as
// U Y Y V Y Y (4:1:1), U Y V Y (4:2:2) and U Y V (4:4:4) with Rec. 601 YUV,
// Bayer raw as an RGGB mosaic, signed codings as the unsigned level minus
// 32768. Rows are packed without padding.
//
// One scene object renders one stream: it caches the tables of the last frame
// size, so it is not to be shared between threads without a lock.
class vx_SimScene {
 public:
  // The width cannot be packed in the coding (YUV 4:1:1 needs a multiple of 4,
  // 4:2:2 a multiple of 2) or the caller's buffer is too small.
  class BadSize : public vxException {
   public:
    using vxException::vxException;
  };

  static size_t rowBytes(uint32_t width, vxPixelCoding coding);
  static size_t frameBytes(uint32_t width, uint32_t height, vxPixelCoding coding);

  // Renders frame number frame (motion follows it) into out, which holds
  // outSize bytes, at least frameBytes(width, height, coding).
  void render(uint64_t frame, uint32_t width, uint32_t height, vxPixelCoding coding,
              const vx_SimSceneParams& params, uint8_t* out, size_t outSize);

 private:
  enum Channel { kR = 0, kG = 1, kB = 2, kY = 3, kChannels = 4 };

  struct Disc {
    int cx = 0, cy = 0, r = 0;
    std::array<uint16_t, kChannels> value{};
  };

  void prepareGeometry(uint32_t width, uint32_t height);
  void prepareFrame(uint64_t frame, const vx_SimSceneParams& params);
  // Levels (0..65535) of row y for channel c into m_level[c].
  void sceneRow(uint32_t y, Channel c);
  void patternRow(uint32_t y, Channel c);
  void packRow(uint32_t y, vxPixelCoding coding, uint8_t* dst) const;

  uint32_t m_width = 0, m_height = 0;
  // Per-column radiance (0..1023) of the gradient, per channel; the wedge
  // stripes; the test pattern's bars and ramp as 16-bit levels.
  std::array<std::vector<uint16_t>, kChannels> m_column;
  std::vector<uint8_t> m_wedge;
  std::array<std::vector<uint16_t>, kChannels> m_bars;
  std::vector<uint16_t> m_ramp;
  uint32_t m_cell = 8;
  uint32_t m_bandRows = 0;

  // Per frame: the scrolling checker phase of each column, the discs, and the
  // radiance-to-level table that carries exposure, gain and brightness.
  std::vector<uint8_t> m_checker;
  Disc m_moving, m_fixed;
  std::array<uint16_t, 1024> m_lut{};
  bool m_testPattern = false;

  std::array<std::vector<uint16_t>, kChannels> m_level;  // the row being built
};
