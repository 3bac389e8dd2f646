// The sending side of a simulated camera: frames paced by its registers, bus share and faults.
#include "modules/qrvnvdcam/sim/sim_transmitter.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include "modules/qrvnvdcam/sim/sim_stream.h"

namespace {

constexpr double kCycleSeconds = 125e-6;
constexpr double kCyclesPerSecond = 8000.0;
constexpr double kGainSpanDb = 24.0;
constexpr double kBlackLevelSpan = 64.0;
constexpr uint32_t kIsoOn = 0x80000000u;
constexpr int kSoftwareSource = 7;

// Faults at a ratio come evenly spaced, so that a test can count them.
bool spread(double ratio, double& debt) {
  if (ratio <= 0.0) return false;
  debt += ratio;
  if (debt < 1.0 - 1e-9) return false;
  debt -= 1.0;
  return true;
}

double shareOf(const vx_SimFeatureProfile& f, uint32_t raw) {
  if (f.max <= f.min) return 0.0;
  return std::clamp((double(raw) - f.min) / (double(f.max) - f.min), 0.0, 1.0);
}

double rangeValue(const vx_SimFeatureProfile& f, uint32_t raw, double rawSpan) {
  const double share = shareOf(f, raw);
  return f.absolute ? f.absMin + share * (double(f.absMax) - f.absMin) : share * rawSpan;
}

}  // namespace

void vx_SimBandwidth::setCapacity(uint32_t bytesPerCycle) {
  std::lock_guard lock(m_mutex);
  m_capacity = bytesPerCycle;
}

void vx_SimBandwidth::join(const void* who, uint32_t bytesPerCycle) {
  std::lock_guard lock(m_mutex);
  for (auto& user : m_users)
    if (user.first == who) {
      user.second = bytesPerCycle;
      return;
    }
  m_users.emplace_back(who, bytesPerCycle);
}

void vx_SimBandwidth::leave(const void* who) {
  std::lock_guard lock(m_mutex);
  std::erase_if(m_users, [who](const auto& user) { return user.first == who; });
}

bool vx_SimBandwidth::fits(const void* who) const {
  std::lock_guard lock(m_mutex);
  uint64_t total = 0;
  for (const auto& user : m_users) {
    total += user.second;
    if (user.first == who) return total <= m_capacity;
  }
  return true;
}

vx_SimSceneParams vxSimSceneParams(const vx_SimCamera& camera, bool testPattern) {
  vx_SimSceneParams look;
  look.testPattern = testPattern;
  const vx_SimProfile& p = camera.profile();
  auto active = [&](int feature) {
    return p.features[feature].present && camera.featureOn(feature);
  };
  if (active(kSimShutter)) {
    const vx_SimFeatureProfile& f = p.features[kSimShutter];
    // Without absolute control the raw value is taken as a count of time steps.
    auto time = [&](uint32_t raw) {
      return f.absolute ? rangeValue(f, raw, 0.0) : double(std::max(raw, 1u));
    };
    const double nominal = time(camera.powerOnFeatureValue(kSimShutter));
    if (nominal > 0) look.exposure = time(camera.featureValue(kSimShutter)) / nominal;
  }
  if (active(kSimGain)) {
    const vx_SimFeatureProfile& f = p.features[kSimGain];
    const double db = rangeValue(f, camera.featureValue(kSimGain), kGainSpanDb) -
                      rangeValue(f, camera.powerOnFeatureValue(kSimGain), kGainSpanDb);
    look.gain = std::pow(10.0, db / 20.0);
  }
  if (active(kSimBrightness))
    look.brightness =
        kBlackLevelSpan * shareOf(p.features[kSimBrightness], camera.featureValue(kSimBrightness));
  return look;
}

double vxSimFramePeriod(const vx_SimVideoSetting& setting) {
  if (setting.format == 7) return std::max(setting.packetsPerFrame, 1u) * kCycleSeconds;
  return 1.0 / (1.875 * std::ldexp(1.0, setting.rate));
}

uint32_t vxSimBytesPerCycle(const vx_SimVideoSetting& setting) {
  if (setting.format == 7) return setting.bytesPerPacket;
  size_t bytes = 0;
  try {
    bytes = vx_SimScene::frameBytes(setting.width, setting.height, setting.coding);
  } catch (const vx_SimScene::BadSize&) {
    return 0;
  }
  const double packets = std::max(1.0, std::round(kCyclesPerSecond * vxSimFramePeriod(setting)));
  return static_cast<uint32_t>(std::ceil(double(bytes) / packets));
}

vx_SimTransmitter::vx_SimTransmitter(vx_SimCamera& camera, vx_SimBandwidth& bandwidth,
                                     double timeScale)
    : m_camera(camera),
      m_bandwidth(bandwidth),
      m_timeScale(std::max(timeScale, 0.0)),
      m_incompleteRatio(camera.profile().incompleteFrames),
      m_droppedRatio(camera.profile().droppedFrames),
      m_triggerLine(camera.profile().triggerLineConnected) {
  m_hookId = m_camera.addShotHook(
      [this](vx_SimShotControl control, uint32_t value) { onShot(control, value); });
}

vx_SimTransmitter::~vx_SimTransmitter() {
  m_camera.removeShotHook(m_hookId);
  std::lock_guard control(m_controlMutex);
  {
    std::lock_guard lock(m_mutex);
    m_quit = true;
    m_receiver = nullptr;
  }
  m_wake.notify_all();
  if (m_thread.joinable()) m_thread.join();
  m_bandwidth.leave(this);
}

bool vx_SimTransmitter::attach(vx_SimStream& stream, std::string* error) {
  std::lock_guard control(m_controlMutex);
  vx_SimStream* previous = nullptr;
  {
    std::lock_guard lock(m_mutex);
    if (!m_camera.isPlugged()) {
      if (error) *error = "the camera has left the bus";
      return false;
    }
    previous = m_receiver;
    m_receiver = &stream;
    m_quit = false;
    invalidate();
  }
  // The stream that held the channel stays alive until its own detach, which
  // waits for m_controlMutex.
  if (previous && previous != &stream) previous->release();
  if (!m_thread.joinable()) m_thread = std::thread([this] { run(); });
  return true;
}

void vx_SimTransmitter::detach(vx_SimStream& stream) {
  std::lock_guard control(m_controlMutex);
  bool last = false;
  {
    std::unique_lock lock(m_mutex);
    if (m_receiver == &stream) {
      m_receiver = nullptr;
      m_quit = true;
      last = true;
    }
    m_wake.notify_all();
    // Once this returns no frame is on its way to the stream.
    m_wake.wait(lock, [&] { return m_busyWith != &stream; });
  }
  if (!last) return;
  if (m_thread.joinable()) m_thread.join();
  bool finish = false;
  {
    std::lock_guard lock(m_mutex);
    m_quit = false;
    invalidate();
    finish = dropRequests();
    if (m_onBus) m_bandwidth.leave(this);
    m_onBus = false;
  }
  // Nobody listens any more: what the camera was asked for is over.
  if (finish) m_camera.finishShot();
}

void vx_SimTransmitter::invalidate() {
  ++m_epoch;
  m_continuous = false;
  m_shotDue.reset();
  m_wake.notify_all();
  // A frame waiting for room at its receiver is not wanted any more either.
  if (m_busyWith) m_busyWith->nudge();
}

bool vx_SimTransmitter::dropRequests() {
  const bool shots = m_shots > 0;
  m_shots = 0;
  m_triggers = 0;
  return shots;
}

void vx_SimTransmitter::onShot(vx_SimShotControl control, uint32_t value) {
  // The hook runs outside the camera's lock, so its state may be read here.
  const vx_SimVideoSetting video = m_camera.videoSetting();
  const vx_SimTriggerSetting trigger = m_camera.triggerSetting();
  bool serveNow = false;
  {
    std::lock_guard lock(m_mutex);
    const bool listening = m_receiver != nullptr;
    switch (control) {
      case vx_SimShotControl::IsoEnable:
        if (!(value & kIsoOn)) {
          invalidate();
          // The channel's bandwidth is free at once, even while the sender
          // still waits for its receiver.
          if (m_onBus) m_bandwidth.leave(this);
          m_onBus = false;
        }
        break;
      case vx_SimShotControl::OneShot:
        // A camera that is already streaming ignores ONE_SHOT.
        if (!listening || video.isoEnabled)
          serveNow = true;
        else
          ++m_shots;
        break;
      case vx_SimShotControl::MultiShot:
        if (!listening || video.isoEnabled || (value & 0xFFFFu) == 0)
          serveNow = true;
        else
          m_shots += value & 0xFFFFu;
        break;
      case vx_SimShotControl::SoftwareTrigger:
        if (!listening || !video.isoEnabled || !trigger.on || trigger.source != kSoftwareSource)
          serveNow = true;
        else
          ++m_shots;
        break;
    }
    m_wake.notify_all();
  }
  if (serveNow) m_camera.finishShot();
}

void vx_SimTransmitter::fireTrigger() {
  const vx_SimVideoSetting video = m_camera.videoSetting();
  const vx_SimTriggerSetting trigger = m_camera.triggerSetting();
  if (!video.valid || !video.isoEnabled || !trigger.on || trigger.source > 3) return;
  std::lock_guard lock(m_mutex);
  if (!m_receiver || !m_camera.isPlugged()) return;
  ++m_triggers;
  m_wake.notify_all();
}

void vx_SimTransmitter::cameraGone() {
  std::lock_guard lock(m_mutex);
  invalidate();
  dropRequests();
  if (m_onBus) m_bandwidth.leave(this);
  m_onBus = false;
  if (m_receiver) m_receiver->cameraGone();
}

void vx_SimTransmitter::busReset() {
  std::lock_guard lock(m_mutex);
  invalidate();
  dropRequests();
  if (m_onBus) m_bandwidth.leave(this);
  m_onBus = false;
  // Under the lock, so that the sender cannot see ISO_EN still on afterwards.
  m_camera.haltTransmission();
}

void vx_SimTransmitter::setTimeScale(double scale) {
  std::lock_guard lock(m_mutex);
  m_timeScale = std::isfinite(scale) ? std::max(scale, 0.0) : 1.0;
  invalidate();
}

void vx_SimTransmitter::setIncompleteRatio(double ratio) {
  std::lock_guard lock(m_mutex);
  m_incompleteRatio = std::isfinite(ratio) ? std::clamp(ratio, 0.0, 1.0) : 0.0;
  m_incompleteDebt = 0.0;
}

void vx_SimTransmitter::setMissedRatio(double ratio) {
  std::lock_guard lock(m_mutex);
  m_missedRatio = std::isfinite(ratio) ? std::clamp(ratio, 0.0, 1.0) : 0.0;
  m_missedDebt = 0.0;
}

void vx_SimTransmitter::setStalled(bool stalled) {
  std::lock_guard lock(m_mutex);
  m_stalled = stalled;
  invalidate();
}

void vx_SimTransmitter::setTriggerLine(bool connected) {
  std::lock_guard lock(m_mutex);
  m_triggerLine = connected;
  m_wake.notify_all();
}

void vx_SimTransmitter::setTestPattern(bool on) {
  std::lock_guard lock(m_mutex);
  m_testPattern = on;
}

uint64_t vx_SimTransmitter::framesTaken() const {
  std::lock_guard lock(m_mutex);
  return m_taken;
}

std::vector<uint8_t> vx_SimTransmitter::render(uint64_t frame, const vx_SimVideoSetting& setting,
                                               const vx_StreamParams& params,
                                               const vx_SimSceneParams& look) {
  std::vector<uint8_t> out(params.frameBytes);
  // A Format_7 camera cuts its region out of the whole sensor, so the scene
  // stays put when the region moves.
  const vx_SimFormat7Mode* mode =
      setting.format == 7 ? m_camera.profile().format7Mode(setting.mode) : nullptr;
  const bool cut = mode && setting.width == params.width && setting.height == params.height &&
                   setting.coding == params.coding &&
                   (setting.width < mode->maxWidth || setting.height < mode->maxHeight);
  if (cut) {
    try {
      const size_t fullRow = vx_SimScene::rowBytes(mode->maxWidth, params.coding);
      const size_t offset = vx_SimScene::rowBytes(setting.left, params.coding);
      const size_t row = vx_SimScene::rowBytes(params.width, params.coding);
      std::vector<uint8_t> full(fullRow * mode->maxHeight);
      m_scene.render(frame, mode->maxWidth, mode->maxHeight, params.coding, look, full.data(),
                     full.size());
      for (uint32_t y = 0; y < params.height; ++y)
        std::memcpy(out.data() + y * row, full.data() + (setting.top + y) * fullRow + offset, row);
      return out;
    } catch (const vx_SimScene::BadSize&) {
      // The region's edge splits a pixel group; show the scene at the region's size instead.
    }
  }
  m_scene.render(frame, params.width, params.height, params.coding, look, out.data(), out.size());
  return out;
}

void vx_SimTransmitter::run() {
  using std::chrono::duration;
  using std::chrono::duration_cast;
  std::unique_lock lock(m_mutex);
  for (;;) {
    if (m_quit) return;
    const bool plugged = m_camera.isPlugged();
    const vx_SimVideoSetting video = m_camera.videoSetting();
    const vx_SimTriggerSetting trigger = m_camera.triggerSetting();
    const bool valid = plugged && video.valid;
    const bool streaming = valid && video.isoEnabled;
    const bool continuous = streaming && !trigger.on;
    if (!continuous) m_continuous = false;
    if (!streaming) m_triggers = 0;
    // A trigger line that is connected pulses every frame period, so a camera
    // waiting for a hardware trigger is never kept waiting.
    if (m_triggerLine && streaming && trigger.on && trigger.source <= 3 && m_receiver &&
        m_triggers == 0)
      m_triggers = 1;
    if (!valid && m_shots > 0) {
      // A camera without a valid video mode cannot serve its shots.
      m_shots = 0;
      lock.unlock();
      m_camera.finishShot();
      lock.lock();
      continue;
    }
    const bool requested = m_shots > 0 || m_triggers > 0;
    const bool onBus = valid && (video.isoEnabled || requested);
    if (onBus) {
      m_bandwidth.join(this, vxSimBytesPerCycle(video));
    } else if (m_onBus) {
      m_bandwidth.leave(this);
    }
    m_onBus = onBus;

    if (m_stalled) {
      // A stalled camera takes nothing: requests are swallowed, the clock stops.
      const bool finish = dropRequests();
      if (finish) {
        lock.unlock();
        m_camera.finishShot();
        lock.lock();
      }
      m_wake.wait(lock);
      continue;
    }
    if (!m_receiver || !valid || (!continuous && !requested)) {
      m_wake.wait(lock);
      continue;
    }

    const double scale = m_timeScale;
    const double periodSeconds = scale > 0 ? vxSimFramePeriod(video) / scale : 0.0;
    auto after = [](double seconds) {
      return duration_cast<Clock::duration>(duration<double>(seconds));
    };
    const Clock::time_point now = Clock::now();
    Clock::time_point due;
    if (requested) {
      if (!m_shotDue) m_shotDue = now + after(periodSeconds);
      due = *m_shotDue;
    } else {
      if (!m_continuous) {
        m_continuous = true;
        m_anchor = now;
        m_index = 0;
      }
      due = m_anchor + after(periodSeconds * double(m_index + 1));
      // A sender that fell far behind (a debugger stop, an overloaded
      // machine) starts afresh instead of catching up in a burst.
      if (scale > 0 && now > due + after(2 * periodSeconds)) {
        m_anchor = now - after(periodSeconds);
        m_index = 0;
        due = now;
      }
    }

    const uint64_t epoch = m_epoch;
    const vx_StreamParams params = m_receiver->params();
    const vx_SimSceneParams look = vxSimSceneParams(m_camera, m_testPattern);
    const uint64_t frameNumber = m_taken;
    lock.unlock();
    std::vector<uint8_t> pixels = render(frameNumber, video, params, look);
    lock.lock();
    m_wake.wait_until(lock, due, [&] { return m_quit || m_epoch != epoch; });
    if (m_quit) return;
    if (m_epoch != epoch) continue;  // the camera changed its mind; the frame is not sent

    bool finish = false;
    if (requested) {
      if (m_shots > 0) {
        finish = --m_shots == 0;
      } else if (m_triggers > 0) {
        --m_triggers;
      }
      if (m_shots > 0 || m_triggers > 0)
        m_shotDue = *m_shotDue + after(periodSeconds);
      else
        m_shotDue.reset();
    } else {
      ++m_index;
    }
    ++m_taken;
    vx_SimStream* receiver = m_receiver;
    // Free-running frames the profile drops are lost like missed ones; the
    // receiver sees the gap in the sequence when the next frame comes.
    const bool lost = spread(m_missedRatio, m_missedDebt) ||
                      (!requested && spread(m_droppedRatio, m_droppedDebt));
    uint32_t flags = 0;
    if (!lost) {
      if (spread(m_incompleteRatio, m_incompleteDebt)) flags |= vx_DcamFrame::kIncomplete;
      // A receiver set up for another geometry cannot take what arrives whole.
      if (video.width != params.width || video.height != params.height ||
          video.coding != params.coding)
        flags |= vx_DcamFrame::kIncomplete;
      if (!m_bandwidth.fits(this)) flags |= vx_DcamFrame::kTiming;
    }
    m_busyWith = receiver;
    lock.unlock();

    if (finish) m_camera.finishShot();
    if (receiver && lost) {
      receiver->lose();
    } else if (receiver) {
      if (flags & vx_DcamFrame::kIncomplete) {
        // The packets from some point on never came.
        const size_t packet = std::max<size_t>(params.bytesPerPacket, 1);
        size_t keep = pixels.size() * 3 / 4;
        keep -= keep % packet;
        std::fill(pixels.begin() + static_cast<std::ptrdiff_t>(keep), pixels.end(), uint8_t{0});
      }
      vx_DcamFrame frame;
      frame.data = std::make_shared<const std::vector<uint8_t>>(std::move(pixels));
      frame.width = params.width;
      frame.height = params.height;
      frame.coding = params.coding;
      frame.timestamp = Clock::now();
      frame.flags = flags;
      // Without pacing the camera goes as fast as the receiver takes frames.
      if (scale <= 0)
        receiver->deliver(std::move(frame), [this, epoch] { return m_epoch.load() == epoch; });
      else
        receiver->deliver(std::move(frame));
    }

    lock.lock();
    m_busyWith = nullptr;
    m_wake.notify_all();
  }
}
