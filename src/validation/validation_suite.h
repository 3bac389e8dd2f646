// The validation suite: the tests that check how well a camera works with the acquisition layer.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "acquisition/dcam_module.h"

class vxAcqFifo;

// The camera and format the suite runs on. A null camera means no camera is
// selected: the header then says nothing and every acquisition test fails.
struct vxValidationTarget {
  vx_DcamModule* module = nullptr;
  vx1394DCAM* camera = nullptr;
  std::string cameraDescription;  // the selected camera's line
  std::string formatText;         // the video format as the format list shows it
  std::string programVersion;     // "%d.%d.%d.%d"
};

// What the runner does with one key.
struct vxValidationOutcome {
  std::string key;
  bool ran = false;      // false when the stop flag or "Specify Test" passed it over
  bool passed = false;   // a skipped test counts as passed
  bool skipped = false;  // the test said "Skipping test."
  double seconds = 0.0;
  std::vector<std::string> lines;  // what the test itself posted, runner lines left out
};

// Runs the tests on the calling thread (the worker) and speaks only through
// the sink, which receives every line as an owned string the moment it is
// posted. Lines that end a block are followed by a line holding only CR LF.
class vxValidationSuite {
 public:
  using Sink = std::function<void(std::string line)>;

  // The test keys in the order the suite runs them and the list shows them.
  static const std::vector<std::string>& keys();

  vxValidationSuite(vxValidationTarget target, Sink sink);
  ~vxValidationSuite();

  // How long each trigger test waits for an image that must not come.
  void setTriggerTimeout(double seconds) { m_triggerTimeout = seconds; }
  // Converts stopwatch seconds into camera seconds; the simulated bus runs
  // its clock this many times faster than real time.
  void setClockScale(double scale) { m_clockScale = scale; }
  // Both of the above for a camera whose clock runs timeScale times faster
  // than real time (0: unpaced, frames come as fast as they can be taken).
  void followTimeScale(double timeScale) {
    m_clockScale = timeScale;
    m_triggerTimeout = timeScale > 0.0 ? 2.0 / timeScale : 0.01;
  }

  // Frames the ROI test times at the full region and at each partial one
  // (200 and 1000). A rehearsal on an unpaced simulated camera may take
  // fewer: the rates come from the camera's clock either way.
  void setRoiFrameCounts(int full, int partial) {
    m_roiFullFrames = full;
    m_roiPartialFrames = partial;
  }

  // Read between tests: a test in progress finishes. Any thread may call it.
  void requestStop() { m_stop.store(true); }
  bool stopRequested() const { return m_stop.load(); }

  // The runner over every key; true when every test that ran passed.
  bool run(bool specifyTest, const std::string& selectedKey);
  const std::vector<vxValidationOutcome>& outcomes() const { return m_outcomes; }

  // One test alone, without the runner's lines: 0 passed (or skipped), 1 failed.
  int runTest(const std::string& key);

  // The rule of the bandwidth test: a lower share may not run more than
  // 2.0 frames per second faster than the share before it.
  static bool rateRoseTooMuch(double previousRate, double rate) { return rate - previousRate > 2.0; }
  // The gain or brightness register value a setting of 0..1 must give.
  static uint32_t expectedRaw(uint32_t minimum, uint32_t maximum, double setting);
  // Whether a measured exposure matches the requested one.
  static bool exposureMatches(double requested, double actual);

 private:
  void post(std::string line);
  void runOne(const std::string& key, bool specifyTest, const std::string& selectedKey, bool& allPassed);

  int reportInfo();
  int basicAcq();
  int exposureTest();
  int roiMetrics();
  int brightnessChange();
  int contrastChange();
  int cameraBWAdjust();
  int trigAuto();

  enum class Exceptions { Unexpected, Exposure, Trigger };
  int withFifo(const char* opening, Exceptions kind, const std::function<int(vxAcqFifo&)>& body);
  int gainOrBrightness(bool gain);
  int externalTrigger(bool semi);
  bool verifyExposure(vxAcqFifo& fifo, double requested);
  bool measureRate(vxAcqFifo& fifo, int frames, double& rate);
  double cameraSeconds(double stopwatchSeconds) const;

  vxValidationTarget m_target;
  Sink m_sink;
  std::atomic<bool> m_stop{false};
  double m_triggerTimeout = 2.0;
  double m_clockScale = 1.0;
  int m_roiFullFrames = 200;
  int m_roiPartialFrames = 1000;
  std::vector<vxValidationOutcome> m_outcomes;
  std::vector<std::string>* m_capture = nullptr;
};

// The program version as the report header gives it: the first four numbers
// of a dotted version, missing ones 0.
std::string vxValidationVersionText(const std::string& dottedVersion);

// A posted line without its trailing CR LF; a block-ending line becomes empty.
std::string vxValidationLineText(const std::string& posted);
