// pralix acquire: a run of acquisitions from one camera, with failures, timing and image
// statistics.
#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <csignal>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <ostream>
#include <thread>

#include <nlohmann/json.hpp>

#include "acquisition/acq_fifo.h"
#include "acquisition/continuous_acquisition.h"
#include "acquisition/dcam_registers.h"
#include "acquisition/format_choice.h"
#include "acquisition/sim_control.h"
#include "acquisition/trigger_model.h"
#include "acquisition/video_format.h"
#include "base/format.h"
#include "topology/bus_bandwidth.h"
#include "cli/cli_options.h"
#include "cli/commands.h"
#include "cli/interrupt.h"
#include "cli/image_file.h"
#include "imaging/histogram.h"

namespace {

using Clock = std::chrono::steady_clock;

// How often the watcher looks at Ctrl-C, bus events and the unplug rehearsal.
constexpr auto kWatchPeriod = std::chrono::milliseconds(10);
// After a bus event the FIFO gets this long to end the waiting completion
// with its own account of the failure before the wait is cancelled.
constexpr auto kBusEventGrace = std::chrono::milliseconds(250);

// "FreeRun Trigger - Software", "freerun" and "free-run" are one name.
std::string nameKey(const std::string& name) {
  std::string key;
  for (unsigned char c : name)
    if (std::isalnum(c)) key += static_cast<char>(std::tolower(c));
  return key;
}

std::optional<vxTriggerModel::Kind> triggerKind(const std::string& text) {
  using Kind = vxTriggerModel::Kind;
  const std::string key = nameKey(text);
  if (key == "manual") return Kind::Manual;
  if (key == "auto") return Kind::Auto;
  if (key == "semi") return Kind::Semi;
  if (key == "freerun") return Kind::FreeRun;
  const auto& names = vxTriggerModel::names();
  for (size_t i = 0; i < names.size(); ++i)
    if (nameKey(names[i]) == key) return static_cast<Kind>(i);
  return std::nullopt;
}

bool isSimulated(vx_SimBusControl* sim, int camera) {
  if (!sim) return false;
  const std::vector<int> simulated = sim->cameraNumbers();
  return std::find(simulated.begin(), simulated.end(), camera) != simulated.end();
}

nlohmann::json statsJson(const vxImageStats& s) {
  return {{"mean", s.mean},
          {"min", s.minLevel},
          {"max", s.maxLevel},
          {"mode", s.mode},
          {"stdDev", s.stdDev}};
}

// What the bus event callback tells the run; shared so that a callback
// still on its way after unregistering finds it alive.
struct BusEvents {
  std::atomic<bool> unplugged{false};
  std::atomic<int> busResets{0};
  std::atomic<bool> seen{false};
  std::atomic<int64_t> firstAt{0};  // steady clock ticks of the first event
};

// Runs beside the acquisition loop. Neither the signal handler nor the
// module's callback thread may call into the FIFO, so this thread turns
// Ctrl-C and bus events into cancelled waits. It also plays the simulated
// unplug when its image count is reached, so the unplug lands while the loop
// waits for a completion, as a real one would.
class AcquireWatcher {
 public:
  AcquireWatcher(vxPtrHandle<vxAcqFifo> fifo, std::shared_ptr<BusEvents> events,
                 std::function<void()> unplug, int unplugAfter)
      : m_fifo(std::move(fifo)),
        m_events(std::move(events)),
        m_unplug(std::move(unplug)),
        m_unplugAfter(unplugAfter),
        m_thread([this] { loop(); }) {}
  ~AcquireWatcher() {
    {
      std::lock_guard lock(m_mutex);
      m_done = true;
    }
    m_wake.notify_one();
    m_thread.join();
  }
  AcquireWatcher(const AcquireWatcher&) = delete;
  AcquireWatcher& operator=(const AcquireWatcher&) = delete;

  void imageAcquired() { ++m_acquired; }

 private:
  void loop() {
    std::unique_lock lock(m_mutex);
    bool unplugged = false;
    while (!m_wake.wait_for(lock, kWatchPeriod, [this] { return m_done; })) {
      if (m_unplugAfter > 0 && !unplugged && m_acquired.load() >= m_unplugAfter) {
        unplugged = true;
        m_unplug();
      }
      bool cancel = g_interrupted.load();
      if (m_events->seen.load()) {
        const Clock::time_point at{Clock::duration(m_events->firstAt.load())};
        cancel = cancel || Clock::now() - at >= kBusEventGrace;
      }
      // Again on every pass: a cancel that comes while the loop is between
      // two completions does not reach the next one.
      if (cancel) m_fifo->cancelComplete();
    }
  }

  vxPtrHandle<vxAcqFifo> m_fifo;
  std::shared_ptr<BusEvents> m_events;
  std::function<void()> m_unplug;
  const int m_unplugAfter;
  std::atomic<int> m_acquired{0};
  std::mutex m_mutex;
  std::condition_variable m_wake;
  bool m_done = false;
  std::thread m_thread;  // last: it starts once everything above is ready
};

// Registration of the run's bus event callback for as long as the run lasts.
class BusEventRegistration {
 public:
  BusEventRegistration(vx_DcamModule& module, int camera, const std::shared_ptr<BusEvents>& events)
      : m_module(module) {
    m_id = module.registerBusEventCallback(camera, [events](const vxDcamBusEventInfo& info) {
      if (info.isUnplugged()) events->unplugged.store(true);
      if (info.isBusReset()) ++events->busResets;
      if (!events->seen.exchange(true))
        events->firstAt.store(Clock::now().time_since_epoch().count());
    });
  }
  ~BusEventRegistration() { m_module.unregisterBusEventCallback(m_id); }
  BusEventRegistration(const BusEventRegistration&) = delete;
  BusEventRegistration& operator=(const BusEventRegistration&) = delete;

 private:
  vx_DcamModule& m_module;
  int m_id = 0;
};

// What the run keeps beside the loop's statistics: when images arrived and
// the last one.
struct RunSummary {
  std::optional<Clock::time_point> firstImage, lastImage;
  int lastImageNumber = 0;
  vxPtrHandle<vxAcqImage> lastImageData;

  // Images per second between the first and the last image's arrival.
  double rate(int acquired) const {
    if (acquired < 2 || !firstImage || !lastImage) return 0.0;
    const double seconds = std::chrono::duration<double>(*lastImage - *firstImage).count();
    return seconds > 0 ? (acquired - 1) / seconds : 0.0;
  }
};

}  // namespace

CLI::App* AcquireCommand::setup(CLI::App& app) {
  CLI::App* sub = app.add_subcommand(
      "acquire",
      "Acquire images from a camera as the acquisition window's continuous run does: each failure "
      "is "
      "reported in the window's words, then the frame rate achieved and the shortest and longest "
      "acquisition time. Ctrl-C stops the run and still prints the summary");
  sub->add_option("-c,--camera", m_camera, "Camera number, as `pralix list` shows it")
      ->default_val(0)
      ->check(vxAtLeast(0));
  sub->add_option(
      "-f,--format", m_format,
      "Video format as `pralix formats` lists it; a standard mode without its rate "
      "(\"640x480 Mono\") takes the mode's fastest rate whose stream fits the bus. Default: the "
      "camera's first format");
  sub->add_option("-n,--count", m_count, "Number of acquisitions")
      ->default_val(10)
      ->check(vxAtLeast(1));
  sub->add_option(
         "-t,--trigger", m_trigger,
         "Trigger model: manual (software trigger per acquisition), auto (each hardware "
         "trigger), semi (each acquisition armed for one hardware trigger) or freerun; the "
         "window's full names (\"Manual Trigger - Software\" ...) are accepted too")
      ->default_val("freerun");
  sub->add_option("--timeout", m_timeout,
                  "Seconds each acquisition may take before it counts as timed out")
      ->default_val(5.0)
      ->check(vxAbove(0));
  m_exposureOption =
      sub->add_option(
             "--exposure", m_exposure,
             "Exposure time in seconds on cameras with absolute shutter control, otherwise "
             "in the camera's shutter units")
          ->check(vxAtLeast(0));
  sub->add_option(
      "--save", m_save,
      "Write the last image acquired to this file: .pgm (grey) or .ppm (colour) always, "
      ".png and other image formats when pralix is built with Qt");
  sub->add_flag("--stats", m_stats, "Print the statistics line of every image acquired");
  sub->add_flag("--queue-starts", m_queued,
                "Queued starts: three starts before the first wait, then every completion starts "
                "the next acquisition itself");
  sub->add_flag("--json", m_json, "Print per-image records and the summary as JSON");
  sub->add_option(
         "--sim-unplug-after", m_simUnplugAfter,
         "Rehearsal aid for simulated cameras: unplug the camera once this many images are "
         "acquired, to see how the run ends")
      ->check(vxAtLeast(1))
      ->group("Developer options");
  return sub;
}

int AcquireCommand::run(CliContext& context) {
  const std::optional<vxTriggerModel::Kind> kind = triggerKind(m_trigger);
  if (!kind) {
    context.err() << "Unknown trigger model '" << m_trigger
                  << "'. Valid: manual, auto, semi, freerun";
    for (const std::string& name : vxTriggerModel::names()) context.err() << ", \"" << name << '"';
    context.err() << ".\n";
    return kExitUsage;
  }
  std::string why;
  if (!m_save.empty() && !vxCanWriteImageFile(m_save, &why)) {
    context.err() << why << '\n';
    return kExitUsage;
  }
  if (!context.checkCamera(m_camera)) return kExitFailure;
  vx_DcamModule& module = context.module();
  vx1394DCAM& camera = module.camera(m_camera);
  if (m_exposureOption->count() > 0) {
    // Without absolute shutter control the value is in the camera's shutter
    // units, which are whole numbers: a fraction would be cut off unseen.
    const std::optional<vxDcamFeatureInfo> shutter =
        vxDcamReadFeature(camera, vxDcamFeature::Shutter);
    if (shutter && shutter->present && !shutter->absControl &&
        m_exposure != std::floor(m_exposure)) {
      context.err() << vxFormat(
          "--exposure %g: camera %d has no absolute shutter control, so --exposure is in its "
          "shutter units, a whole number from %u to %u.\n",
          m_exposure, m_camera, shutter->minValue, shutter->maxValue);
      return kExitUsage;
    }
  }
  vx_SimBusControl* sim = module.simControl();
  if (m_simUnplugAfter > 0) {
    if (!isSimulated(sim, m_camera)) {
      context.err() << vxFormat(
          "--sim-unplug-after needs a simulated camera; camera %d is not one.\n", m_camera);
      return kExitUsage;
    }
  }

  const std::vector<vxPtrHandle<vxVideoFormat>> formats = vxVideoFormat::supportedFormats(camera);
  if (formats.empty())
    return context.fail(
        vxFormat("Camera %d lists no video format; it may not be responding.", m_camera));
  vxPtrHandle<vxVideoFormat> format = formats.front();
  if (!m_format.empty()) {
    // A name no table knows is a typing slip; a format the camera lacks is the camera's limit.
    auto listFormats = [&](const std::string& reason) {
      context.err() << vxFormat("%s Camera %d offers:\n", reason.c_str(), m_camera);
      for (const auto& f : formats) context.err() << "  " << f->name() << '\n';
    };
    try {
      const vxVideoFormatChoice choice = vxChooseVideoFormat(camera, m_format);
      format = choice.format;
      if (!choice.note.empty()) context.err() << "pralix: " << choice.note << '\n';
    } catch (const vxVideoFormat::NotFound& e) {
      listFormats(e.what());
      return kExitUsage;
    } catch (const vxVideoFormat::NotSupported& e) {
      listFormats(e.what());
      return kExitFailure;
    }
  }

  // Set up as the window's "Initialize Acquisition" does: triggers off, the
  // model chosen, then prepared without waiting.
  const vxPtrHandle<vxAcqFifo> fifo = vxAcqFifo::create(camera, *format);
  fifo->triggerProp().triggerEnable(false);
  fifo->triggerProp().triggerModel(vxTriggerModel::make(*kind));
  if (!fifo->prepare(0.0))
    return context.fail("Fifo creation failed. Fifo prepare returned false.\n" + fifo->lastError());
  if (m_exposureOption->count() > 0) {
    vxExposureProp* exposure = fifo->exposureProp();
    if (!exposure)
      return context.fail(
          vxFormat("Camera %d has no shutter; --exposure does not apply.", m_camera));
    // The property refuses a value outside the camera's range; the command
    // line takes the nearest one the camera can do, and says so.
    double value = m_exposure;
    const auto range = fifo->exposureRange();
    if (range && (float(value) < float(range->first) || float(value) > float(range->second))) {
      value = std::clamp(value, range->first, range->second);
      context.err() << vxFormat(
          "pralix: the exposure %g lies outside the camera's %g to %g; using %g.\n", m_exposure,
          range->first, range->second, value);
    }
    try {
      exposure->exposure(value);
    } catch (const vxExposureProp::BadParams& e) {
      return context.fail(e.what());
    }
  }
  fifo->queuedStarts(m_queued);

  const std::string triggerName = vxTriggerModel::make(*kind)->name();
  if (!m_json) {
    context.out() << vxFormat("Camera %d: %s, %s, %d acquisition%s\n", m_camera,
                              format->name().c_str(), triggerName.c_str(), m_count,
                              m_count == 1 ? "" : "s")
                  << std::flush;
  }

  InterruptHandler interruptHandler;
  auto events = std::make_shared<BusEvents>();
  BusEventRegistration registration(module, m_camera, events);
  const int cameraNumber = m_camera;
  AcquireWatcher watcher(
      fifo, events,
      [sim, cameraNumber] {
        if (sim) sim->unplug(cameraNumber);
      },
      m_simUnplugAfter);

  RunSummary summary;
  nlohmann::json records = nlohmann::json::array();
  bool interrupted = false;
  auto record = [&](int number, bool ok, const std::vector<std::string>& failures,
                    std::optional<double> ms, const std::optional<vxImageStats>& stats) {
    if (!m_json) return;
    records.push_back({{"index", number},
                       {"ok", ok},
                       {"failures", failures},
                       {"time", ms ? nlohmann::json(*ms) : nlohmann::json()},
                       {"stats", stats ? statsJson(*stats) : nlohmann::json()}});
  };

  vxAcqStatistics statistics;
  vxContinuousAcquisition loop(*fifo, statistics, m_timeout, [] { return g_interrupted.load(); });
  const vxContinuousAcquisition::Begin begun = loop.begin();
  if (!begun.refused.empty()) {
    if (!m_json) context.out() << "Queued starts failed: " << begun.refused << '\n';
    record(0, false, {begun.refused}, std::nullopt, std::nullopt);
  }

  bool explainedBandwidth = false;
  for (int number = 1; number <= m_count; ++number) {
    // The window's stop request, read once per pass.
    if (g_interrupted.load()) {
      interrupted = true;
      break;
    }
    if (events->seen.load()) break;
    const vxContinuousAcquisition::Pass pass = loop.next();
    if (!pass.refused.empty()) {
      if (!m_json)
        context.out() << vxFormat("Acquire %d failed:\n  %s\n", number, pass.refused.c_str());
      record(number, false, {pass.refused}, std::nullopt, std::nullopt);
      break;
    }
    // A wait that Ctrl-C cancelled is no acquisition.
    if (pass.cancelled) {
      interrupted = true;
      break;
    }
    const vxAcqResult& result = pass.result;
    const double ms = pass.ms;
    if (!result.succeeded()) {
      if (!m_json)
        context.out() << vxFormat("Acquire %d failed:\n  %s\n", number,
                                  vxAcquireFailureLine(result.info, number).c_str())
                      << std::flush;
      // A timing failure is most often a bus out of bandwidth: said once a run.
      if (result.info.isTiming() && !explainedBandwidth && !m_json) {
        explainedBandwidth = true;
        const std::string shortfall = vxBandwidthShortfallFor(context.module(), camera.cameraNumber());
        if (!shortfall.empty()) context.out() << "  " << shortfall << "\n";
      }
      record(number, false, vxAcquireFailureWords(result.info), ms, std::nullopt);
      // Nothing more comes from a camera that has left the bus.
      if (!camera.isPlugged() || result.info.abnormalCode() == vxAcquireInfo::kAbnormalCameraGone)
        break;
      continue;
    }
    watcher.imageAcquired();
    const Clock::time_point end = Clock::now();
    const Clock::time_point arrived =
        result.image->timestamp() == Clock::time_point{} ? end : result.image->timestamp();
    if (!summary.firstImage) summary.firstImage = arrived;
    summary.lastImage = arrived;
    summary.lastImageNumber = number;
    summary.lastImageData = result.image;
    std::optional<vxImageStats> stats;
    if (m_stats) {
      const vxHistogram histogram = vxHistogram::fromImage(result.image->view());
      stats = histogram.stats();
      // Each line as it comes, also when the output goes to a pipe.
      if (!m_json)
        context.out() << vxFormat("Image %d: %s\n", number,
                                  vxStatisticsLine(histogram, false).c_str())
                      << std::flush;
    }
    record(number, true, {}, ms, stats);
  }
  loop.end();
  const vxAcqStatistics::Snapshot counts = statistics.snapshot();
  const int acquired = static_cast<int>(counts.acquired);
  const int failedCount = static_cast<int>(counts.failed);
  const vxAcqTiming& timing = counts.timing;
  const bool unplugged = events->unplugged.load() || !camera.isPlugged();
  const int busResets = events->busResets.load();

  bool saved = false;
  std::string saveError;
  if (!m_save.empty()) {
    if (!summary.lastImageData)
      saveError = "No image was acquired; nothing saved.";
    else
      saved = vxWriteImageFile(m_save, *summary.lastImageData, &saveError);
  }

  const double formatRate = format->framesPerSecond();
  // A simulated camera paced faster than real time delivers that much faster.
  const double timeScale = isSimulated(sim, m_camera) ? sim->timeScale() : 1.0;
  if (m_json) {
    nlohmann::json j{{"camera", m_camera},
                     {"format", format->name()},
                     {"trigger", triggerName},
                     {"images", records}};
    j["summary"] = {
        {"requested", m_count},
        {"acquired", acquired},
        {"failed", failedCount},
        {"rate", summary.rate(acquired)},
        {"formatRate", formatRate > 0 ? nlohmann::json(formatRate) : nlohmann::json()},
        {"timeScale", timeScale},
        {"shortestMs", timing.completed ? nlohmann::json(timing.shortestMs) : nlohmann::json()},
        {"longestMs", timing.completed ? nlohmann::json(timing.longestMs) : nlohmann::json()},
        {"interrupted", interrupted},
        {"unplugged", unplugged},
        {"busResets", busResets},
        {"saved", saved ? nlohmann::json(m_save) : nlohmann::json()}};
    context.out() << j.dump(2) << '\n';
  } else {
    std::ostream& out = context.out();
    if (unplugged) out << "Warning: the camera has been unplugged!\n";
    for (int i = 1; i <= busResets; ++i)
      out << vxFormat("Warning: a 1394 bus reset occurred (%d)\n", i);
    if (interrupted) out << "Interrupted.\n";
    out << vxFormat("Stopped acquisition, %d images acquired\n", acquired);
    out << vxFormat("Failed acquisitions: %d\n", failedCount);
    out << vxFormat("Frame rate: %.2f fps", summary.rate(acquired));
    if (formatRate > 0) out << vxFormat(" (format: %g fps", formatRate);
    if (formatRate > 0 && timeScale != 1.0)
      out << vxFormat(", simulated time running %gx", timeScale);
    if (formatRate > 0) out << ')';
    out << '\n';
    if (timing.completed) {
      out << vxFormat("Shortest acquisition time: %3.2fms\n", timing.shortestMs);
      out << vxFormat("Longest acquisition time: %3.2fms\n", timing.longestMs);
    }
    if (saved) out << vxFormat("Saved image %d to %s\n", summary.lastImageNumber, m_save.c_str());
  }
  if (!saveError.empty()) context.err() << saveError << '\n';
  const bool failed = failedCount > 0 || unplugged || busResets > 0 || !saveError.empty();
  return failed ? kExitFailure : kExitOk;
}
