// The simulated camera's synthetic scene: sizes, response to the controls, motion, test pattern.
#include "modules/qrvnvdcam/sim/scene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "imaging/histogram.h"

namespace {

constexpr uint32_t kW = 64;
constexpr uint32_t kH = 48;
constexpr uint8_t kGuard = 0xA5;

const vxPixelCoding kAllCodings[] = {
    vxPixelCoding::Mono8,  vxPixelCoding::YUV411,       vxPixelCoding::YUV422,
    vxPixelCoding::YUV444, vxPixelCoding::RGB8,         vxPixelCoding::Mono16,
    vxPixelCoding::RGB16,  vxPixelCoding::SignedMono16, vxPixelCoding::SignedRGB16,
    vxPixelCoding::Raw8,   vxPixelCoding::Raw16};

struct Frame {
  std::vector<uint8_t> bytes;
  vxPixelCoding coding;
  uint32_t width, height;
  vxImageView view() const {
    return {bytes.data(), width, height, vx_SimScene::rowBytes(width, coding), coding};
  }
};

Frame render(vx_SimScene& scene, vxPixelCoding coding, const vx_SimSceneParams& params,
             uint64_t frame = 0, uint32_t w = kW, uint32_t h = kH) {
  Frame f{std::vector<uint8_t>(vx_SimScene::frameBytes(w, h, coding)), coding, w, h};
  scene.render(frame, w, h, coding, params, f.bytes.data(), f.bytes.size());
  return f;
}

double meanOf(const Frame& f) {
  return vxHistogram::fromImage(f.view()).stats().mean;
}

}  // namespace

TEST(SimScene, EveryCodingFillsExactlyItsFrame) {
  const size_t expected[] = {3072, 4608, 6144, 9216, 9216, 6144, 18432, 6144, 18432, 3072, 6144};
  vx_SimScene scene;
  for (size_t i = 0; i < std::size(kAllCodings); ++i) {
    const vxPixelCoding coding = kAllCodings[i];
    SCOPED_TRACE(static_cast<int>(coding));
    const size_t bytes = vx_SimScene::frameBytes(kW, kH, coding);
    ASSERT_EQ(bytes, expected[i]);
    // The scene must write every byte of the frame and not one byte past it:
    // two renders over different fillings agree up to the end and keep the rest.
    std::vector<uint8_t> buffer(bytes + 16, kGuard);
    std::vector<uint8_t> other(bytes + 16, static_cast<uint8_t>(~kGuard));
    scene.render(5, kW, kH, coding, {}, buffer.data(), bytes);
    scene.render(5, kW, kH, coding, {}, other.data(), bytes);
    ASSERT_TRUE(
        std::equal(buffer.begin(), buffer.begin() + static_cast<long>(bytes), other.begin()));
    for (size_t b = bytes; b < buffer.size(); ++b) ASSERT_EQ(buffer[b], kGuard);

    const vxImageStats stats =
        vxHistogram::fromImage({buffer.data(), kW, kH, vx_SimScene::rowBytes(kW, coding), coding})
            .stats();
    EXPECT_GT(stats.stdDev, 20.0) << "a scene with detail, not a flat frame";
    EXPECT_GT(stats.mean, 60.0);
    EXPECT_LT(stats.mean, 200.0);
  }
}

TEST(SimScene, RefusesSizesTheCodingCannotPackAndShortBuffers) {
  vx_SimScene scene;
  std::vector<uint8_t> buffer(10000);
  EXPECT_THROW(scene.render(0, 6, 4, vxPixelCoding::YUV411, {}, buffer.data(), buffer.size()),
               vx_SimScene::BadSize);
  EXPECT_THROW(scene.render(0, 5, 4, vxPixelCoding::YUV422, {}, buffer.data(), buffer.size()),
               vx_SimScene::BadSize);
  EXPECT_THROW(scene.render(0, 64, 48, vxPixelCoding::Mono8, {}, buffer.data(), 64 * 48 - 1),
               vx_SimScene::BadSize);
  EXPECT_NO_THROW(scene.render(0, 1, 1, vxPixelCoding::RGB16, {}, buffer.data(), 6));
}

TEST(SimScene, ExposureGainAndBrightnessRaiseTheMeanInEveryCoding) {
  vx_SimScene scene;
  for (const vxPixelCoding coding : kAllCodings) {
    SCOPED_TRACE(static_cast<int>(coding));
    double last = -1.0;
    for (double exposure : {0.1, 0.3, 0.6, 1.0, 1.4}) {
      vx_SimSceneParams p;
      p.exposure = exposure;
      const double mean = meanOf(render(scene, coding, p));
      EXPECT_GT(mean, last) << "exposure " << exposure;
      last = mean;
    }
    last = -1.0;
    for (double gain : {0.2, 0.5, 1.0, 1.3}) {
      vx_SimSceneParams p;
      p.gain = gain;
      const double mean = meanOf(render(scene, coding, p));
      EXPECT_GT(mean, last) << "gain " << gain;
      last = mean;
    }
    vx_SimSceneParams dark, bright;
    dark.brightness = -30;
    bright.brightness = 30;
    const double base = meanOf(render(scene, coding, {}));
    EXPECT_LT(meanOf(render(scene, coding, dark)), base);
    EXPECT_GT(meanOf(render(scene, coding, bright)), base);
  }
}

TEST(SimScene, NoLightIsBlackAndTooMuchSaturates) {
  vx_SimScene scene;
  vx_SimSceneParams none;
  none.exposure = 0.0;
  vxHistogram h = vxHistogram::fromImage(render(scene, vxPixelCoding::Mono16, none).view());
  EXPECT_EQ(h.count(0), kW * kH);
  none.brightness = 40;  // the black level alone
  h = vxHistogram::fromImage(render(scene, vxPixelCoding::Mono8, none).view());
  EXPECT_EQ(h.count(40), kW * kH);

  vx_SimSceneParams blinding;
  blinding.gain = 50.0;
  h = vxHistogram::fromImage(render(scene, vxPixelCoding::RGB8, blinding).view());
  EXPECT_EQ(h.count(255), kW * kH);
}

TEST(SimScene, FramesMoveAndRepeatForTheSameNumber) {
  vx_SimScene scene;
  for (const vxPixelCoding coding : {vxPixelCoding::Mono8, vxPixelCoding::YUV422}) {
    const Frame first = render(scene, coding, {}, 10, 160, 120);
    const Frame next = render(scene, coding, {}, 11, 160, 120);
    const Frame again = render(scene, coding, {}, 10, 160, 120);
    EXPECT_NE(first.bytes, next.bytes);
    EXPECT_EQ(first.bytes, again.bytes);
  }
}

TEST(SimScene, TestPatternIsFixedBarsOverARamp) {
  vx_SimScene scene;
  vx_SimSceneParams pattern;
  pattern.testPattern = true;
  const Frame bars = render(scene, vxPixelCoding::RGB8, pattern);
  EXPECT_NE(bars.bytes, render(scene, vxPixelCoding::RGB8, {}).bytes);

  // The pattern ignores the controls and the frame number.
  vx_SimSceneParams other = pattern;
  other.exposure = 0.2;
  other.gain = 3.0;
  other.brightness = 50;
  EXPECT_EQ(render(scene, vxPixelCoding::RGB8, other, 99).bytes, bars.bytes);

  // Eight bars of 8 pixels: white, yellow, cyan, green, magenta, red, blue, black.
  const uint8_t* row = bars.bytes.data();
  const uint8_t expected[8][3] = {{255, 255, 255}, {255, 255, 0}, {0, 255, 255}, {0, 255, 0},
                                  {255, 0, 255},   {255, 0, 0},   {0, 0, 255},   {0, 0, 0}};
  for (int bar = 0; bar < 8; ++bar)
    for (int c = 0; c < 3; ++c) EXPECT_EQ(row[(bar * 8 + 4) * 3 + c], expected[bar][c]) << bar;
  // The last rows ramp from black to white.
  const uint8_t* last = bars.bytes.data() + (kH - 1) * kW * 3;
  EXPECT_EQ(last[0], 0);
  EXPECT_EQ(last[(kW - 1) * 3], 252);
  EXPECT_LT(last[30 * 3], last[31 * 3]);

  // A mono camera shows the bars' luma.
  const Frame grey = render(scene, vxPixelCoding::Mono8, pattern);
  EXPECT_EQ(grey.bytes[0], 255);
  EXPECT_EQ(grey.bytes[5 * 8], 76);
}

TEST(SimScene, CodingsAgreeWithEachOther) {
  vx_SimScene scene;
  const Frame rgb = render(scene, vxPixelCoding::RGB8, {}, 7);
  const Frame rgb16 = render(scene, vxPixelCoding::RGB16, {}, 7);
  const Frame signedRgb = render(scene, vxPixelCoding::SignedRGB16, {}, 7);
  const Frame raw = render(scene, vxPixelCoding::Raw8, {}, 7);
  const Frame raw16 = render(scene, vxPixelCoding::Raw16, {}, 7);
  const Frame yuv = render(scene, vxPixelCoding::YUV444, {}, 7);
  const Frame mono = render(scene, vxPixelCoding::Mono16, {}, 7);
  const Frame signedMono = render(scene, vxPixelCoding::SignedMono16, {}, 7);

  for (uint32_t y = 0; y < kH; ++y) {
    for (uint32_t x = 0; x < kW; ++x) {
      const size_t p = y * kW + x;
      // RGGB mosaic samples the colour image's channels.
      const int channel = (y % 2 == 0) ? (x % 2 == 0 ? 0 : 1) : (x % 2 == 0 ? 1 : 2);
      ASSERT_EQ(raw.bytes[p], rgb.bytes[p * 3 + static_cast<size_t>(channel)]) << x << "," << y;
      ASSERT_EQ(raw16.bytes[2 * p], raw.bytes[p]);
      ASSERT_EQ(rgb16.bytes[6 * p + 2], rgb.bytes[3 * p + 1]);
      // Signed codings are the unsigned level minus 32768.
      ASSERT_EQ(signedRgb.bytes[6 * p + 2], rgb16.bytes[6 * p + 2] ^ 0x80);
      ASSERT_EQ(signedRgb.bytes[6 * p + 3], rgb16.bytes[6 * p + 3]);
      ASSERT_EQ(signedMono.bytes[2 * p], mono.bytes[2 * p] ^ 0x80);
      // YUV's Y is the luma of the same colours.
      const uint8_t* c = &rgb.bytes[3 * p];
      ASSERT_EQ(yuv.bytes[3 * p + 1], (299 * c[0] + 587 * c[1] + 114 * c[2]) / 1000);
    }
  }
  // Mono and colour renderings of one scene look alike to the histogram.
  EXPECT_NEAR(meanOf(mono), meanOf(rgb), 3.0);
}
