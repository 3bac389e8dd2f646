// The validation tests, their runner and the lines they post.
#include "validation/validation_suite.h"

#include <cmath>
#include <cstdio>
#include <ctime>
#include <exception>
#include <utility>

#include "acquisition/acq_fifo.h"
#include "acquisition/trigger_model.h"
#include "acquisition/video_format.h"
#include "base/format.h"
#include "base/time_stamp.h"
#include "regmodel/register_accessor.h"
#include "utilities/feature_props.h"

namespace {

constexpr size_t kMaxFormatText = 300;
constexpr uint32_t kCurrentVideoFormat = 0x608;
constexpr uint32_t kBrightnessInquiry = 0x500, kBrightnessControl = 0x800;
constexpr uint32_t kGainInquiry = 0x520, kGainControl = 0x820;
constexpr uint32_t kBrightnessPresent = 1u << 31, kGainPresent = 1u << 23;

struct RoiRow {
  int x, y, width, height;
};
// Rows 1..12 of the region-of-interest passes; the odd sizes probe how the
// camera handles unaligned and tiny regions.
constexpr RoiRow kRoiTable[] = {
    {0, 100, 640, 200}, {0, 0, 328, 240},   {45, 34, 300, 432},   {213, 344, 35, 56},
    {448, 336, 76, 213}, {34, 45, 23, 56},  {3, 7, 4, 9},         {10, 10, 10, 10},
    {1, 1, 513, 512},   {5, 3, 1018, 1021}, {7, 9, 1270, 1012},   {3, 5, 760, 569},
};
constexpr double kBandwidthShares[] = {1.0, 0.5, 0.3, 0.2};

std::string clockText() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  return vxFormat("%02d:%02d:%02d", local.tm_hour, local.tm_min, local.tm_sec);
}

// Flushing a FIFO on the way out of a failed test must not raise again.
void flushQuietly(vxAcqFifo& fifo) {
  try {
    fifo.flush();
  } catch (const std::exception&) {
  }
}

bool readRegister(vx1394DCAM& camera, uint32_t offset, uint32_t& value) {
  return camera.readQuadlet(offset, value);
}

}  // namespace

const std::vector<std::string>& vxValidationSuite::keys() {
  static const std::vector<std::string> list = {"reportInfo",       "basicAcq",       "exposureTest",
                                                "roiMetrics",       "brightnessChange", "contrastChange",
                                                "cameraBWAdjust",   "trigAuto"};
  return list;
}

vxValidationSuite::vxValidationSuite(vxValidationTarget target, Sink sink)
    : m_target(std::move(target)), m_sink(std::move(sink)) {}

vxValidationSuite::~vxValidationSuite() = default;

void vxValidationSuite::post(std::string line) {
  if (m_capture) m_capture->push_back(line);
  if (m_sink) m_sink(std::move(line));
}

bool vxValidationSuite::run(bool specifyTest, const std::string& selectedKey) {
  m_outcomes.clear();
  bool allPassed = true;
  for (const std::string& key : keys()) runOne(key, specifyTest, selectedKey, allPassed);
  return allPassed;
}

void vxValidationSuite::runOne(const std::string& key, bool specifyTest, const std::string& selectedKey,
                               bool& allPassed) {
  vxValidationOutcome outcome;
  outcome.key = key;
  if (m_stop.load() || (specifyTest && key != selectedKey)) {
    m_outcomes.push_back(std::move(outcome));
    return;
  }
  outcome.ran = true;
  post(vxFormat("---- %s Running Test %s -------", clockText().c_str(), key.c_str()));
  post("\r\n");
  m_capture = &outcome.lines;
  const vxStopwatch stopwatch;
  const int result = runTest(key);
  outcome.seconds = stopwatch.seconds();
  m_capture = nullptr;
  outcome.passed = result == 0;
  for (const std::string& line : outcome.lines)
    if (line.find("Skipping test.") != std::string::npos) outcome.skipped = true;
  if (result != 0) {
    post(vxFormat("---- %s Test %s Failed -------", clockText().c_str(), key.c_str()));
    allPassed = false;
  } else {
    post(vxFormat("---- %s Test %s Passed -------", clockText().c_str(), key.c_str()));
  }
  post("\r\n");
  m_outcomes.push_back(std::move(outcome));
}

int vxValidationSuite::runTest(const std::string& key) {
  if (key == "reportInfo") return reportInfo();
  if (key == "basicAcq") return basicAcq();
  if (key == "exposureTest") return exposureTest();
  if (key == "roiMetrics") return roiMetrics();
  if (key == "brightnessChange") return brightnessChange();
  if (key == "contrastChange") return contrastChange();
  if (key == "cameraBWAdjust") return cameraBWAdjust();
  if (key == "trigAuto") return trigAuto();
  return 1;
}

double vxValidationSuite::cameraSeconds(double stopwatchSeconds) const {
  return m_clockScale > 0.0 ? stopwatchSeconds * m_clockScale : stopwatchSeconds;
}

uint32_t vxValidationSuite::expectedRaw(uint32_t minimum, uint32_t maximum, double setting) {
  const double value = (static_cast<double>(maximum) - static_cast<double>(minimum)) * setting + minimum;
  return static_cast<uint32_t>(value);
}

bool vxValidationSuite::exposureMatches(double requested, double actual) {
  const double tolerance = requested > 0.001 ? 0.0001 : 1e-6;
  return std::fabs(requested - actual) <= tolerance;
}

int vxValidationSuite::reportInfo() {
  if (!m_target.camera) return 0;
  post(vxFormat("Using 1394DCAM board %s", m_target.cameraDescription.c_str()));
  post("\r\n");
  post(vxFormat("Using DCAM Pralix version %s", m_target.programVersion.c_str()));
  post("\r\n");
  const std::string name = m_target.module ? m_target.module->name() : std::string();
  const std::string version = m_target.module ? m_target.module->version() : std::string();
  post(vxFormat("Using %s version %s", name.c_str(), version.c_str()));
  post("\r\n");
  post(vxFormat("Using video format: %s", m_target.formatText.substr(0, kMaxFormatText).c_str()));
  post("\r\n");
  return 0;
}

int vxValidationSuite::withFifo(const char* opening, Exceptions kind,
                                const std::function<int(vxAcqFifo&)>& body) {
  if (!m_target.camera) return 1;
  vx1394DCAM& camera = *m_target.camera;
  post(opening);
  vxPtrHandle<vxVideoFormat> format;
  try {
    format = vxVideoFormat::find(m_target.formatText.substr(0, kMaxFormatText));
  } catch (const std::exception&) {
    post("Error: Exception when getting video format.\r\n");
    return 1;
  }
  try {
    if (!format->isSupportedBy(camera)) {
      post("Board does not support format.\r\n");
      return 1;
    }
  } catch (const std::exception&) {
    post("Board does not support format.\r\n");
    return 1;
  }
  vxPtrHandle<vxAcqFifo> fifo;
  try {
    fifo = vxAcqFifo::create(camera, *format);
    const int result = body(*fifo);
    if (result != 0) flushQuietly(*fifo);
    return result;
  } catch (const vxVideoFormat::NotSupported&) {
    post(kind == Exceptions::Trigger ? "Caught Exception vxVideoFormat::NotSupported.\r\n"
         : kind == Exceptions::Exposure ? "Caught unexpected exception.\r\n"
                                        : "Unexpected exception\r\n");
  } catch (const std::exception&) {
    post(kind == Exceptions::Exposure ? "Caught unexpected exception.\r\n" : "Unexpected exception\r\n");
  }
  if (fifo) flushQuietly(*fifo);
  return 1;
}

int vxValidationSuite::basicAcq() {
  return withFifo("Running Basic Non Queued Acquisition Test.", Exceptions::Unexpected, [&](vxAcqFifo& fifo) {
    if (!fifo.prepare(vxAcqFifo::kWaitForever)) {
      post("Fifo prepare failed on this format.\r\n");
      return 1;
    }
    for (int i = 0; i < 4; ++i) {
      fifo.start();
      if (!fifo.complete().succeeded()) {
        post("Non Queued Acquire Failed.\r\n");
        return 1;
      }
    }
    post("Running Basic Queued Acquisition Test.");
    for (int i = 0; i < 4; ++i) fifo.start();
    for (int i = 0; i < 4; ++i) {
      fifo.start();
      if (!fifo.complete().succeeded()) {
        post("Queued Acquire Failed.\r\n");
        return 1;
      }
    }
    fifo.flush();
    post("Running FreeRun Trigger Acquisition Test.");
    fifo.triggerProp().triggerModel(vxTriggerModel::freeRun());
    for (int i = 0; i < 20; ++i) {
      if (!fifo.complete().succeeded()) {
        post("FreeRun Trigger Model Acquire Failed.\r\n");
        return 1;
      }
    }
    fifo.flush();
    return 0;
  });
}

bool vxValidationSuite::verifyExposure(vxAcqFifo& fifo, double requested) {
  vx_DCAMRegisterAccessorPralix accessor(m_target.camera->cameraNumber(), m_target.module);
  DcamFeatureSet features(accessor);
  DcamFeature* shutter = nullptr;
  for (size_t i = 0; i < features.size(); ++i)
    if (std::string(features.info(i).listedName) == "Exposure") shutter = &features.feature(i);
  if (!shutter || !shutter->present()) {
    post("Exposure Feature is not supported.");
    return false;
  }
  double actual = 0.0;
  if (shutter->absInquiry()) {
    actual = shutter->absValue();
  } else {
    actual = static_cast<double>(shutter->value());
    const double rawMinimum = shutter->minValue();
    const auto range = fifo.exposureRange();
    const double moduleMinimum = range ? range->first : rawMinimum;
    if (std::fabs(rawMinimum - moduleMinimum) > 1e-6 && rawMinimum != 0.0)
      actual *= moduleMinimum / rawMinimum;
  }
  post(vxFormat("Actual Exposure Value %f", actual));
  return exposureMatches(requested, actual);
}

int vxValidationSuite::exposureTest() {
  return withFifo("Running Exposure Change Test.", Exceptions::Exposure, [&](vxAcqFifo& fifo) {
    vxExposureProp* exposure = fifo.exposureProp();
    const auto range = fifo.exposureRange();
    if (!exposure || !range) {
      post("Exposure control not supported. Skipping test.\r\n");
      return 0;
    }
    post(fifo.hasAbsoluteExposure() ? "Fifo supports Absolute Control of Exposure\r\n"
                                    : "Fifo does not support Absolute Control of Exposure\r\n");
    post(vxFormat("Default Exposure is %f", exposure->exposure()));
    post("\r\n");
    for (const double value : {range->first, range->second}) {
      post(vxFormat("Setting Exposure is %f", value));
      post("\r\n");
      exposure->exposure(value);
      const bool prepared = fifo.prepare(vxAcqFifo::kWaitForever);
      if (prepared) fifo.start();
      if (!prepared || !fifo.complete().succeeded()) {
        post("Acquisition Failed!\r\n");
        return 1;
      }
      if (!verifyExposure(fifo, value)) {
        post("Exposure Setting Failed!\r\n");
        return 1;
      }
    }
    fifo.flush();
    return 0;
  });
}

bool vxValidationSuite::measureRate(vxAcqFifo& fifo, int frames, double& rate) {
  const vxStopwatch stopwatch;
  for (int i = 0; i < frames; ++i)
    if (!fifo.complete().succeeded()) return false;
  const double seconds = cameraSeconds(stopwatch.seconds());
  rate = seconds > 0.0 ? frames / seconds : 0.0;
  return true;
}

int vxValidationSuite::roiMetrics() {
  return withFifo("Running ROI Metrics Test.", Exceptions::Unexpected, [&](vxAcqFifo& fifo) {
    const int width = static_cast<int>(fifo.imageWidth());
    const int height = static_cast<int>(fifo.imageHeight());
    fifo.triggerProp().triggerEnable(false);
    fifo.triggerProp().triggerModel(vxTriggerModel::freeRun());
    fifo.prepare(0.0);
    uint32_t videoFormat = 0;
    if (!readRegister(*m_target.camera, kCurrentVideoFormat, videoFormat))
      throw vx_DcamModule::Error("video format register not readable");
    if ((videoFormat >> 29) != 0x7) {
      post("Format is not format7. Skipping test.\r\n");
      return 0;
    }
    double fullRate = 0.0;
    for (int i = 0; i <= 12; ++i) {
      const RoiRow roi = i == 0 ? RoiRow{0, 0, width, height} : kRoiTable[i - 1];
      const bool inside = roi.x + roi.width <= width && roi.y + roi.height <= height;
      if (!inside || (width * height) / (roi.width * roi.height) >= 10001) continue;
      post(vxFormat(i == 0 ? "Testing full ROI      : x=%d, y=%d, w=%d, h=%d\r\n"
                           : "Testing partial ROI : x=%d, y=%d, w=%d, h=%d\r\n",
                    roi.x, roi.y, roi.width, roi.height));
      fifo.roiProp().roi(roi.x, roi.y, roi.width, roi.height);
      if (vxExposureProp* exposure = fifo.exposureProp()) {
        if (fifo.hasAbsoluteExposure()) exposure->exposure(2e-5);
      }
      fifo.triggerProp().triggerEnable(true);
      double rate = 0.0;
      if (!fifo.prepare(vxAcqFifo::kWaitForever) || !measureRate(fifo, i == 0 ? m_roiFullFrames : m_roiPartialFrames, rate)) {
        fifo.flush();
        post("Acquisition failed when measuring rate\r\n");
        return 1;
      }
      post(vxFormat("Acq frame rate is    : %5.2f\r\n", rate));
      const bool isFull = roi.x == 0 && roi.y == 0 && roi.width == width && roi.height == height;
      if (i == 0)
        fullRate = rate;
      else if (!isFull && rate < fullRate)
        post("Warning: frame rate decrease with partial ROI\r\n");
      fifo.flush();
    }
    return 0;
  });
}

int vxValidationSuite::gainOrBrightness(bool gain) {
  const char* opening = gain ? "Running Contrast (Gain) Change Test." : "Running Brightness (Offset) Change Test.";
  return withFifo(opening, Exceptions::Unexpected, [&](vxAcqFifo& fifo) {
    vxContrastBrightnessProp* prop = fifo.contrastBrightnessProp();
    if (!prop) {
      post(gain ? "Board does not support gain property. Skipping test.\r\n"
                : "Board does not support brightness (offset) property. Skipping test.\r\n");
      return 0;
    }
    vx1394DCAM& camera = *m_target.camera;
    for (int step = 0;; ++step) {
      double setting = step * 0.1;
      if (!(setting < 1.0001)) break;
      if (setting > 1.0) setting = 1.0;
      post(vxFormat(gain ? "Using Contrast : %f\r\n" : "Using Brightness : %f\r\n", setting));
      if (gain)
        prop->contrastBrightness(setting, 0.0);
      else
        prop->contrastBrightness(0.0, setting);
      const bool prepared = fifo.prepare(vxAcqFifo::kWaitForever);
      if (prepared) fifo.start();
      if (!prepared || !fifo.complete().succeeded()) {
        post(gain ? "Acquire Failed during contrast change Test\r\n"
                  : "Acquire Failed during Brightness Change Test\r\n");
        return 1;
      }
      uint32_t presence = 0, inquiry = 0, control = 0;
      const bool read = readRegister(camera, kFeatureHiInq, presence) &&
                        readRegister(camera, gain ? kGainInquiry : kBrightnessInquiry, inquiry) &&
                        readRegister(camera, gain ? kGainControl : kBrightnessControl, control);
      const bool present = (presence & (gain ? kGainPresent : kBrightnessPresent)) != 0;
      if (!read || !present ||
          expectedRaw((inquiry >> 12) & 0xFFF, inquiry & 0xFFF, setting) != (control & 0xFFF)) {
        post(gain ? "Contrast (gain) register value different from expected value.\r\n"
                  : "Brightness register value different from expected value.\r\n");
        return 1;
      }
    }
    fifo.flush();
    return 0;
  });
}

int vxValidationSuite::contrastChange() { return gainOrBrightness(true); }
int vxValidationSuite::brightnessChange() { return gainOrBrightness(false); }

int vxValidationSuite::cameraBWAdjust() {
  return withFifo("Running Camera Bandwidth Adjust Test.", Exceptions::Unexpected, [&](vxAcqFifo& fifo) {
    fifo.triggerProp().triggerEnable(false);
    fifo.triggerProp().triggerModel(vxTriggerModel::freeRun());
    vxCameraBandwidthProp* bandwidth = fifo.bandwidthProp();
    if (!bandwidth) {
      post("Board does not support camera bandwidth property. Skipping test.\r\n");
      return 0;
    }
    double previousRate = 1000.0;
    bool first = true;
    for (const double share : kBandwidthShares) {
      bandwidth->bandwidth(share);
      if (!fifo.prepare(0.0)) {
        post("Prepare failed.\r\n");
        return 1;
      }
      const vxStopwatch stopwatch;
      fifo.triggerProp().triggerEnable(true);
      for (int i = 0; i < 100; ++i) {
        if (!fifo.complete().succeeded()) {
          post("Acquisition failed.\r\n");
          return 1;
        }
      }
      const double seconds = cameraSeconds(stopwatch.seconds());
      fifo.triggerProp().triggerEnable(false);
      const double rate = seconds > 0.0 ? 100.0 / seconds : 0.0;
      if (!first && rateRoseTooMuch(previousRate, rate)) {
        post("Unexpected Error: BW adjusted rate greater than full rate.\r\n");
        return 1;
      }
      first = false;
      previousRate = rate;
      fifo.flush();
      post(vxFormat("Camera BW Prop: %f Acq Rate : %f\r\n", share, rate));
    }
    return 0;
  });
}

int vxValidationSuite::externalTrigger(bool semi) {
  const char* opening = semi ? "Running External Trigger Test in Semi-Auto." : "Running External Trigger Test.";
  return withFifo(opening, Exceptions::Trigger, [&](vxAcqFifo& fifo) {
    post("This test will fail if you have an external trigger connected to DCAM");
    fifo.triggerProp().triggerEnable(false);
    fifo.triggerProp().triggerModel(semi ? vxTriggerModel::semiAutomatic() : vxTriggerModel::automatic());
    if (!fifo.prepare(vxAcqFifo::kWaitForever)) {
      post("Fifo prepare failed on this format.\r\n");
      return 1;
    }
    fifo.triggerProp().triggerEnable(true);
    for (int n = 1; n <= 2; ++n) {
      // Under the semi-automatic model the camera waits for a trigger only once armed.
      if (semi) fifo.start();
      const vxAcqResult result = fifo.complete(m_triggerTimeout);
      if (result.image) {
        post(vxFormat(semi ? "Got Unexpected HW trigger for acquire %d in semi-auto.\r\n"
                           : "Got Unexpected HW trigger for acquire %d.\r\n",
                      n));
        return 1;
      }
    }
    fifo.triggerProp().triggerEnable(false);
    fifo.flush();
    return 0;
  });
}

// The semi-automatic test runs under the same key, after the automatic one.
int vxValidationSuite::trigAuto() {
  const int automatic = externalTrigger(false);
  if (automatic != 0) return automatic;
  return externalTrigger(true);
}

std::string vxValidationVersionText(const std::string& dottedVersion) {
  int parts[4] = {0, 0, 0, 0};
  std::sscanf(dottedVersion.c_str(), "%d.%d.%d.%d", &parts[0], &parts[1], &parts[2], &parts[3]);
  return vxFormat("%d.%d.%d.%d", parts[0], parts[1], parts[2], parts[3]);
}

std::string vxValidationLineText(const std::string& posted) {
  std::string text = posted;
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  return text;
}
