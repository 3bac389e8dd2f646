// The acquisition FIFO: images from one camera in one video format.
#include "acquisition/acq_fifo.h"

#include <algorithm>
#include <cmath>
#include <thread>

#include "base/format.h"

namespace {

using Clock = std::chrono::steady_clock;
using Kind = vxTriggerModel::Kind;

// A retry after a failed transaction is worth this much waiting.
constexpr auto kRetryPause = std::chrono::milliseconds(10);
// prepare() never retries longer than this, even when told to wait forever.
constexpr double kMaxPrepareWait = 10.0;
// One isochronous cycle carries one packet per stream.
constexpr double kCyclesPerSecond = 8000.0;

uint32_t alignDown(uint32_t value, uint32_t unit) {
  return unit > 1 ? value - value % unit : value;
}

}  // namespace

vxPtrHandle<vxAcqFifo> vxAcqFifo::create(vx1394DCAM& camera, const vxVideoFormat& format) {
  if (!camera.isPlugged())
    throw CouldNotCreate("The camera has left the bus; no FIFO can be made for it.");
  // A fresh copy of the format carries the size the camera gives a Format_7 mode.
  vxPtrHandle<const vxVideoFormat> own = vxVideoFormat::find(camera, format.name());
  vxPtrHandle<vxAcqFifo> fifo;
  if (own->isStandard())
    fifo.reset(own->isGrey() ? new vxStdGreyAcqFifo(camera, own) : new vxStdAcqFifo(camera, own));
  else
    fifo.reset(own->isGrey() ? new vxGreyAcqFifo(camera, own) : new vxAcqFifo(camera, own));
  fifo->configure();
  return fifo;
}

vxAcqFifo::vxAcqFifo(vx1394DCAM& camera, vxPtrHandle<const vxVideoFormat> format)
    : m_camera(camera), m_format(std::move(format)) {
  m_fullWidth = m_format->width();
  m_fullHeight = m_format->height();
  readCamera();
  attachProps();
}

vxAcqFifo::~vxAcqFifo() {
  if (m_isoOn && m_camera.isPlugged()) vxDcamWriteFlag(m_camera, vxDcamReg::kIsoEn, false);
  stopStream();
  if (auto master = m_master.lock())
    std::erase_if(master->m_slaves, [this](const std::weak_ptr<vxAcqFifo>& s) {
      auto p = s.lock();
      return !p || p.get() == this;
    });
}

void vxAcqFifo::readCamera() {
  if (m_format->isFormat7()) m_f7 = vxDcamReadFormat7Mode(m_camera, m_format->mode());
  m_shutter = vxDcamReadFeature(m_camera, vxDcamFeature::Shutter);
  if (m_shutter && !m_shutter->present) m_shutter.reset();
  m_hasShutter = m_shutter.has_value();
  if (m_shutter && m_shutter->absControl)
    m_absShutter = vxDcamReadAbsRange(m_camera, vxDcamFeature::Shutter);
  m_gain = vxDcamReadFeature(m_camera, vxDcamFeature::Gain);
  if (m_gain && !m_gain->present) m_gain.reset();
  m_brightness = vxDcamReadFeature(m_camera, vxDcamFeature::Brightness);
  if (m_brightness && !m_brightness->present) m_brightness.reset();
  m_triggerInfo = vxDcamReadTrigger(m_camera);
  if (m_triggerInfo && !m_triggerInfo->present) m_triggerInfo.reset();
  m_triggerDelayFeature = vxDcamReadFeature(m_camera, vxDcamFeature::TriggerDelay);
  if (m_triggerDelayFeature && !m_triggerDelayFeature->present) m_triggerDelayFeature.reset();
  if (m_triggerDelayFeature && m_triggerDelayFeature->absControl)
    m_absTriggerDelay = vxDcamReadAbsRange(m_camera, vxDcamFeature::TriggerDelay);
  m_strobeInfo = vxDcamReadStrobeInfo(m_camera);
  uint32_t basic = 0;
  m_oneShot =
      m_camera.readQuadlet(vxDcamReg::kBasicFuncInq, basic) && (basic & vxDcamReg::kBasicOneShot);

  if (m_absShutter) {
    m_exposureRange =
        std::make_pair(double(m_absShutter->minValue), double(m_absShutter->maxValue));
    if (auto v = vxDcamReadAbsValue(m_camera, vxDcamFeature::Shutter)) m_exposure.reset(*v);
  } else if (m_shutter) {
    m_exposureRange = std::make_pair(double(m_shutter->minValue), double(m_shutter->maxValue));
    if (auto v = vxDcamReadFeatureValue(m_camera, vxDcamFeature::Shutter)) m_exposure.reset(*v);
  }
  // The properties start from the camera's own settings.
  auto fraction = [this](const std::optional<vxDcamFeatureInfo>& info, vxDcamFeature feature) {
    if (!info || info->maxValue <= info->minValue) return 0.0;
    const auto raw = vxDcamReadFeatureValue(m_camera, feature);
    if (!raw) return 0.0;
    const double f = (double(*raw) - info->minValue) / double(info->maxValue - info->minValue);
    return std::clamp(f, 0.0, 1.0);
  };
  m_contrastBrightness.reset(
      {fraction(m_gain, vxDcamFeature::Gain), fraction(m_brightness, vxDcamFeature::Brightness)});
  m_roi.reset({0, 0, int(m_fullWidth), int(m_fullHeight)});
  if (m_strobeInfo) {
    // The strobe property starts on the camera's first line, as that line is set.
    for (int n = 0; n < 4; ++n)
      if (m_strobeInfo->isPresent(n)) {
        const vxDcamStrobeLine& line = m_strobeInfo->lines[size_t(n)];
        m_strobe.reset({line.on, n, line.polarityHigh, line.duration * kStrobeCountSeconds});
        m_strobeDelay.reset(line.delay * kStrobeCountSeconds);
        break;
      }
  }
}

void vxAcqFifo::attachProps() {
  if (m_hasShutter) m_exposure.attach([this](double v) { onExposure(v); });
  if (m_gain || m_brightness)
    m_contrastBrightness.attach([this](const vxContrastBrightness& v) { onContrastBrightness(v); });
  m_bandwidth.attach([this](double share) {
    if (share != m_bandwidth.bandwidth()) m_geometryDirty = true;
  });
  m_trigger.attach([this](const vxTriggerSettings& v) { onTrigger(v); });
  if (m_strobeInfo) {
    m_strobe.attach(
        [this](const vxStrobeSettings& v) { onStrobe(v, m_strobeDelay.strobeDelay(), false); });
    m_strobeDelay.attach([this](double delay) { onStrobe(m_strobe.current(), delay, true); });
  }
  m_roi.attach([this](const vxRoi& roi) {
    // Only Format_7 cuts the region in the camera; other formats crop each image.
    if (m_f7 && !(roi == m_roi.roi())) m_geometryDirty = true;
  });
}

void vxAcqFifo::configure() {
  std::string error;
  if (!vxDcamWriteFlag(m_camera, vxDcamReg::kIsoEn, false, &error))
    throw CouldNotCreate("The camera does not answer: " + error);
  if (m_format->isFormat7() && !m_f7)
    throw CouldNotCreate(
        vxFormat("The camera's Format_7 mode %u cannot be read.", m_format->mode()));
  vx_StreamParams params;
  if (!programGeometry(params, error))
    throw CouldNotCreate("The camera refuses the video format: " + error);
}

vxAcqFifo::Region vxAcqFifo::region() const {
  const vxRoi& r = m_roi.roi();
  Region out;
  if (r.width <= 0 || r.height <= 0) {
    out = {0, 0, m_fullWidth, m_fullHeight, true};
    return out;
  }
  if (uint64_t(r.x) + uint64_t(r.width) > m_fullWidth ||
      uint64_t(r.y) + uint64_t(r.height) > m_fullHeight)
    return out;  // not valid
  uint32_t posX = 1, posY = 1, unitW = 1, unitH = 1;
  if (m_f7) {
    posX = std::max(1u, m_f7->unitPosX);
    posY = std::max(1u, m_f7->unitPosY);
    unitW = std::max(1u, m_f7->unitWidth);
    unitH = std::max(1u, m_f7->unitHeight);
  } else {
    posX = unitW = vxAcqImage::pixelGroup(m_format->coding());
  }
  out.width = std::max(unitW, alignDown(uint32_t(r.width), unitW));
  out.height = std::max(unitH, alignDown(uint32_t(r.height), unitH));
  if (out.width > m_fullWidth || out.height > m_fullHeight) return out;
  out.x = std::min(alignDown(uint32_t(r.x), posX), alignDown(m_fullWidth - out.width, posX));
  out.y = std::min(alignDown(uint32_t(r.y), posY), alignDown(m_fullHeight - out.height, posY));
  out.valid = true;
  return out;
}

uint32_t vxAcqFifo::rateForShare(double share) const {
  const uint32_t base = m_format->rate();
  for (uint32_t r = base + 1; r-- > 0;)
    if (std::ldexp(1.0, int(r) - int(base)) <= share + 1e-9 &&
        vxDcamIsSupported(m_camera, m_format->format(), m_format->mode(), r))
      return r;
  // No rate is slow enough: the slowest one the camera has.
  for (uint32_t r = 0; r < base; ++r)
    if (vxDcamIsSupported(m_camera, m_format->format(), m_format->mode(), r)) return r;
  return base;
}

bool vxAcqFifo::programGeometry(vx_StreamParams& params, std::string& error) {
  params.format = m_format->format();
  params.mode = m_format->mode();
  params.coding = m_format->coding();
  if (!m_f7) {
    // Standard formats have fixed packets; a smaller bandwidth share means a
    // slower frame rate.
    params.rate = rateForShare(m_bandwidth.bandwidth());
    if (!vxDcamSetVideoMode(m_camera, params.format, params.mode, params.rate, &error))
      return false;
    params.width = m_fullWidth;
    params.height = m_fullHeight;
    params.frameBytes = vxAcqImage::rowBytes(params.coding, params.width) * params.height;
    const double fps = 1.875 * std::ldexp(1.0, int(params.rate));
    params.packetsPerFrame = uint32_t(std::lround(kCyclesPerSecond / fps));
    params.bytesPerPacket = uint32_t((params.frameBytes + params.packetsPerFrame - 1) /
                                     std::max(1u, params.packetsPerFrame));
    m_programmed = {0, 0, m_fullWidth, m_fullHeight, true};
  } else {
    Region roi = region();
    if (!roi.valid) roi = {0, 0, m_fullWidth, m_fullHeight, true};
    vxDcamFormat7Mode& mode = *m_f7;
    if (!vxDcamSetVideoMode(m_camera, vxVideoFormat::kFormat7, params.mode, 0, &error) ||
        !vxDcamWriteFormat7Coding(m_camera, mode, m_format->colorCodingId(), &error) ||
        !vxDcamWriteFormat7Region(m_camera, mode, roi.x, roi.y, roi.width, roi.height, &error) ||
        !vxDcamLatchFormat7(m_camera, mode, &error))
      return false;
    // The packet limits follow the region; read them again.
    auto fresh = vxDcamReadFormat7Mode(m_camera, params.mode);
    if (!fresh) {
      error = "the Format_7 registers cannot be read";
      return false;
    }
    const uint32_t unit = fresh->unitBytesPerPacket ? fresh->unitBytesPerPacket : 4;
    const uint32_t maximum = fresh->maxBytesPerPacket ? fresh->maxBytesPerPacket : unit;
    const uint32_t bpp =
        std::max(unit, alignDown(uint32_t(double(maximum) * m_bandwidth.bandwidth()), unit));
    if (!vxDcamWriteBytesPerPacket(m_camera, *fresh, bpp, &error) ||
        !vxDcamLatchFormat7(m_camera, *fresh, &error))
      return false;
    fresh = vxDcamReadFormat7Mode(m_camera, params.mode);
    if (!fresh) {
      error = "the Format_7 registers cannot be read";
      return false;
    }
    m_f7 = fresh;
    params.width = fresh->width;
    params.height = fresh->height;
    params.frameBytes = vxAcqImage::rowBytes(params.coding, params.width) * params.height;
    params.bytesPerPacket = fresh->bytesPerPacket;
    params.packetsPerFrame = fresh->packetsPerFrame ? fresh->packetsPerFrame
                                                    : uint32_t((params.frameBytes + bpp - 1) / bpp);
    m_programmed = {fresh->left, fresh->top, fresh->width, fresh->height, true};
  }
  m_geometryDirty = false;
  return true;
}

bool vxAcqFifo::setUp(std::string& error) {
  markUnprepared();
  if (!m_camera.isPlugged()) {
    error = "the camera has left the bus";
    return false;
  }
  if (!vxDcamWriteFlag(m_camera, vxDcamReg::kIsoEn, false, &error)) return false;
  m_isoOn = false;

  vx_StreamParams params;
  if (!programGeometry(params, error)) return false;

  auto stream = m_camera.openStream(params);
  if (!stream) {
    error = "the bus layer cannot receive images from this camera";
    m_setUpFinal = true;
    return false;
  }
  if (!stream->start(kBufferCount, &error)) return false;
  {
    std::lock_guard lock(m_streamMutex);
    m_stream = std::move(stream);
  }
  if (!programTrigger(error)) return false;
  m_outstanding = m_pending = 0;
  m_inFlight = false;
  m_haveSequence = false;
  m_lastTrigger.reset();
  m_prepared = true;
  if (!applyRunState(&error)) {
    m_prepared = false;
    return false;
  }
  return true;
}

bool vxAcqFifo::prepare(double waitSeconds) {
  double limit = std::isnan(waitSeconds) || waitSeconds < 0 ? kWaitForever : waitSeconds;
  limit = std::min(limit, kMaxPrepareWait);
  const auto deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                           std::chrono::duration<double>(limit));
  if (m_prepared && !m_geometryDirty && !m_triggerDirty && m_camera.isPlugged()) return true;
  for (;;) {
    std::string error;
    m_setUpFinal = false;
    if (setUp(error)) {
      m_lastError.clear();
      return true;
    }
    m_lastError = error;
    // A camera that is gone or lacks what the FIFO needs does not change by
    // waiting; one that did not answer or refused a setting is tried again.
    if (!m_camera.isPlugged() || m_setUpFinal || Clock::now() + kRetryPause >= deadline)
      return false;
    std::this_thread::sleep_for(kRetryPause);
  }
}

bool vxAcqFifo::programTrigger(std::string& error) {
  const vxTriggerSettings& t = m_trigger.current();
  const Kind kind = t.model->kind();
  const bool hasTrigger = m_triggerInfo.has_value();
  bool ok = true;
  if (kind == Kind::Auto || kind == Kind::Semi) {
    if (!hasTrigger || !(m_triggerInfo->modes & 1u)) {
      error = "the camera has no hardware trigger";
      m_setUpFinal = true;
      return false;
    }
    ok = vxDcamWriteTriggerMode(m_camera, true, t.polarityHigh, 0, 0, &error);
  } else if (kind == Kind::Manual && hasTrigger && m_triggerInfo->softwareTrigger &&
             (m_triggerInfo->modes & 1u)) {
    m_manual = ManualMethod::SoftwareTrigger;
    ok = vxDcamWriteTriggerMode(m_camera, true, t.polarityHigh, kDcamSoftwareTriggerSource, 0,
                                &error);
  } else {
    if (kind == Kind::Manual) m_manual = m_oneShot ? ManualMethod::OneShot : ManualMethod::Gated;
    if (hasTrigger) ok = vxDcamWriteTriggerMode(m_camera, false, t.polarityHigh, 0, 0, &error);
  }
  if (ok) m_triggerDirty = false;
  return ok;
}

bool vxAcqFifo::canArrive() const {
  const vxTriggerSettings& t = m_trigger.current();
  if (!t.enable) return false;
  const Kind kind = t.model->kind();
  return kind == Kind::Auto || kind == Kind::FreeRun || m_outstanding > 0;
}

bool vxAcqFifo::applyRunState(std::string* error) {
  if (!m_prepared) return true;
  const vxTriggerSettings& t = m_trigger.current();
  bool want = false;
  switch (t.model->kind()) {
    case Kind::FreeRun:
    case Kind::Auto:
      want = t.enable;
      break;
    case Kind::Semi:
      want = t.enable && m_outstanding > 0;
      break;
    case Kind::Manual:
      want = m_manual == ManualMethod::SoftwareTrigger ? t.enable
             : m_manual == ManualMethod::Gated         ? t.enable && m_outstanding > 0
                                                       : false;
      break;
  }
  if (want == m_isoOn) return true;
  // Images that came before the camera was switched on again are stale.
  if (want && m_stream) m_stream->flush();
  if (!vxDcamWriteFlag(m_camera, vxDcamReg::kIsoEn, want, error)) return false;
  m_isoOn = want;
  return true;
}

bool vxAcqFifo::pumpTriggers(std::string* error) {
  if (!m_prepared || m_trigger.current().model->kind() != Kind::Manual) return true;
  if (m_manual == ManualMethod::Gated || !m_trigger.current().enable) return true;
  // One trigger at a time: a camera busy with an exposure ignores another.
  if (m_inFlight || m_pending == 0) return true;
  const uint32_t reg =
      m_manual == ManualMethod::SoftwareTrigger ? vxDcamReg::kSoftwareTrigger : vxDcamReg::kOneShot;
  if (!vxDcamWriteFlag(m_camera, reg, true, error)) return false;
  --m_pending;
  m_inFlight = true;
  return true;
}

void vxAcqFifo::markUnprepared() {
  m_prepared = false;
  m_geometryDirty = true;
  m_triggerDirty = true;
  stopStream();
}

void vxAcqFifo::stopStream() {
  std::unique_ptr<vx_DcamStream> old;
  {
    std::lock_guard lock(m_streamMutex);
    old = std::move(m_stream);
  }
  if (old) old->stop();
}

void vxAcqFifo::start() {
  if (!m_camera.isPlugged()) throw StartNotAllowed("The camera has left the bus.");
  if ((!m_prepared || m_geometryDirty || m_triggerDirty) && !prepare(0.0))
    throw StartNotAllowed("The FIFO cannot be prepared: " + m_lastError);
  if (m_outstanding >= kMaxOutstanding)
    throw StartNotAllowed(
        vxFormat("%d acquisitions are already waiting for completion.", m_outstanding));
  const vxTriggerSettings& t = m_trigger.current();
  if (t.model->needsStarts()) {
    ++m_outstanding;
    const bool manual = t.model->kind() == Kind::Manual && m_manual != ManualMethod::Gated;
    if (manual) ++m_pending;
    std::string error;
    if (!applyRunState(&error) || !pumpTriggers(&error)) {
      --m_outstanding;
      if (manual && m_pending > 0) --m_pending;
      throw StartNotAllowed("The camera does not take the start: " + error);
    }
  }
  for (const auto& weak : std::vector(m_slaves))
    if (auto slave = weak.lock()) slave->start();
}

vxAcqResult vxAcqFifo::complete(double waitSeconds) {
  vxAcqResult result;
  vxAcquireInfo& info = result.info;
  auto finish = [&]() -> vxAcqResult {
    if (m_callback) m_callback(info);
    return result;
  };
  // An interrupt left over from a cancel that came between two completions
  // is not meant for this one.
  const uint64_t cancelsAtEntry = m_cancels.load();
  if (!m_camera.isPlugged()) {
    markUnprepared();
    info.setAbnormal(vxAcquireInfo::kAbnormalCameraGone);
    return finish();
  }
  if ((!m_prepared || m_geometryDirty || m_triggerDirty) && !prepare(0.0)) {
    info.setOtherFifoError();
    return finish();
  }
  const Region roi = region();
  if (!roi.valid) {
    info.setInvalidROI();
    return finish();
  }
  if (!pumpTriggers(nullptr)) {
    info.setAbnormal(vxAcquireInfo::kAbnormalBusFailure);
    return finish();
  }
  double limit = std::isnan(waitSeconds) || waitSeconds < 0 ? kWaitForever : waitSeconds;
  limit = std::min(limit, m_timeout.timeout());
  if (!canArrive() && std::isinf(limit)) {
    info.setOtherFifoError();
    return finish();
  }
  const bool forever = std::isinf(limit);
  const auto deadline = forever ? Clock::time_point::max()
                                : Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                                     std::chrono::duration<double>(limit));
  const vxTriggerSettings& t = m_trigger.current();
  const bool needsStarts = t.model->needsStarts();
  auto abandonOldest = [&] {
    if (!needsStarts || m_outstanding == 0) return;
    --m_outstanding;
    if (m_inFlight)
      m_inFlight = false;
    else if (m_pending > 0)
      --m_pending;
  };

  for (;;) {
    double remaining = -1.0;
    if (!forever) {
      remaining = std::chrono::duration<double>(deadline - Clock::now()).count();
      if (remaining <= 0) {
        info.setTimeOut();
        abandonOldest();
        break;
      }
    }
    std::optional<vx_DcamFrame> frame = m_stream->waitFrame(remaining);
    if (!frame) {
      info.setTimeOut();
      abandonOldest();
      break;
    }
    if (frame->has(vx_DcamFrame::kUnplugged)) {
      markUnprepared();
      info.setAbnormal(vxAcquireInfo::kAbnormalCameraGone);
      break;
    }
    if (frame->has(vx_DcamFrame::kInterrupted)) {
      if (m_cancels.load() == cancelsAtEntry) continue;
      info.setOtherFifoError();
      break;
    }
    const bool gap = m_haveSequence && frame->sequence > m_lastSequence + 1;
    m_lastSequence = frame->sequence;
    m_haveSequence = true;
    // Images nobody asked for (after a time-out, or from before a flush).
    if (!canArrive()) continue;
    const double filter = m_triggerFilter.triggerFilter();
    if (t.model->isHardware() && filter > 0 && m_lastTrigger &&
        std::chrono::duration<double>(frame->timestamp - *m_lastTrigger).count() < filter)
      continue;
    m_lastTrigger = frame->timestamp;
    if (needsStarts) {
      --m_outstanding;
      m_inFlight = false;
    }
    if (frame->has(vx_DcamFrame::kOverrun))
      info.setOverrun();
    else if (gap)
      info.setMissed();
    if (frame->has(vx_DcamFrame::kIncomplete)) info.setIncomplete();
    if (frame->has(vx_DcamFrame::kTiming)) info.setTiming();
    if (frame->hasImage()) {
      try {
        result.image = imageOf(*frame, roi);
      } catch (const vxException&) {
        info.setOtherFifoError();
      }
    } else {
      info.setOtherFifoError();
    }
    break;
  }
  // With queued starts the FIFO keeps its queue as deep as the program
  // filled it: every acquisition that ends is started again.
  if (m_prepared && m_queuedStarts && needsStarts && !info.isTimeOut() &&
      m_outstanding < kMaxOutstanding) {
    ++m_outstanding;
    if (t.model->kind() == Kind::Manual && m_manual != ManualMethod::Gated) ++m_pending;
  }
  if (m_prepared && (!applyRunState(nullptr) || !pumpTriggers(nullptr)) && !info.anyFailure())
    info.setAbnormal(vxAcquireInfo::kAbnormalBusFailure);
  return finish();
}

vxPtrHandle<vxAcqImage> vxAcqFifo::imageOf(const vx_DcamFrame& frame, const Region& roi) const {
  auto image = std::make_shared<vxAcqImage>(frame.data, frame.width, frame.height, frame.coding,
                                            frame.timestamp);
  // Format_7 cameras cut the region themselves.
  if (m_f7 || (roi.x == 0 && roi.y == 0 && roi.width == frame.width && roi.height == frame.height))
    return image;
  return image->cropped(roi.x, roi.y, roi.width, roi.height);
}

void vxAcqFifo::cancelComplete() {
  std::lock_guard lock(m_streamMutex);
  ++m_cancels;
  if (m_stream) m_stream->interrupt();
}

void vxAcqFifo::flush() {
  if (m_stream) m_stream->flush();
  m_outstanding = m_pending = 0;
  m_inFlight = false;
  m_haveSequence = false;
  applyRunState(nullptr);
}

void vxAcqFifo::setMaster(const vxPtrHandle<vxAcqFifo>& master) {
  if (master) {
    if (master.get() == this) throw InvalidMaster("A FIFO cannot be its own master.");
    if (&master->m_camera == &m_camera)
      throw InvalidMaster("A master FIFO must acquire from another camera.");
    if (master->m_master.lock()) throw InvalidMaster("The master FIFO is itself a slave.");
    for (const auto& s : m_slaves)
      if (s.lock()) throw InvalidMaster("A FIFO with slaves cannot become a slave.");
  }
  if (auto old = m_master.lock())
    std::erase_if(old->m_slaves, [this](const std::weak_ptr<vxAcqFifo>& s) {
      auto p = s.lock();
      return !p || p.get() == this;
    });
  m_master = master;
  if (master) master->m_slaves.push_back(weak_from_this());
}

void vxAcqFifo::onExposure(double value) {
  // A value the camera cannot take is the caller's to correct: it is refused,
  // not quietly moved to the nearest one.
  std::string error;
  bool ok = false;
  if (m_absShutter) {
    // Compared as the camera holds them, in single precision.
    if (float(value) < m_absShutter->minValue || float(value) > m_absShutter->maxValue)
      throw vxExposureProp::BadParams(
          vxFormat("The exposure %g s lies outside the camera's %g to %g s.", value,
                   double(m_absShutter->minValue), double(m_absShutter->maxValue)));
    ok = vxDcamWriteAbsValue(m_camera, vxDcamFeature::Shutter, float(value), &error);
  } else if (m_shutter) {
    const double units = std::round(value);
    if (units < double(m_shutter->minValue) || units > double(m_shutter->maxValue))
      throw vxExposureProp::BadParams(
          vxFormat("The exposure %g lies outside the camera's shutter range %u to %u.", value,
                   m_shutter->minValue, m_shutter->maxValue));
    ok = vxDcamWriteFeatureValue(m_camera, vxDcamFeature::Shutter, uint32_t(units), &error);
  }
  if (!ok) throw vx_AcqModule::Error("The exposure could not be set: " + error);
}

void vxAcqFifo::onContrastBrightness(const vxContrastBrightness& value) {
  // Raw value = min + (max - min) * fraction, truncated.
  auto raw = [](const vxDcamFeatureInfo& f, double fraction) {
    return uint32_t(double(f.maxValue) - double(f.minValue) > 0
                        ? double(f.maxValue - f.minValue) * fraction + double(f.minValue)
                        : double(f.minValue));
  };
  std::string error;
  if (m_gain &&
      !vxDcamWriteFeatureValue(m_camera, vxDcamFeature::Gain, raw(*m_gain, value.contrast), &error))
    throw vx_AcqModule::Error("The contrast could not be set: " + error);
  if (m_brightness && !vxDcamWriteFeatureValue(m_camera, vxDcamFeature::Brightness,
                                               raw(*m_brightness, value.brightness), &error))
    throw vx_AcqModule::Error("The brightness could not be set: " + error);
}

void vxAcqFifo::onTrigger(const vxTriggerSettings& value) {
  const vxTriggerSettings old = m_trigger.current();
  if (value.delay != old.delay) {
    if (!m_triggerDelayFeature || (value.delay > 0 && !m_absTriggerDelay))
      throw vxTriggerProp::BadParams(
          value.delay > 0 ? "The camera cannot delay its trigger by a time in seconds."
                          : "The camera has no trigger delay.");
    std::string error;
    bool ok = true;
    if (m_absTriggerDelay) {
      if (value.delay < m_absTriggerDelay->minValue || value.delay > m_absTriggerDelay->maxValue)
        throw vxTriggerProp::BadParams(
            vxFormat("The trigger delay %g s lies outside the camera's %g to %g s.", value.delay,
                     double(m_absTriggerDelay->minValue), double(m_absTriggerDelay->maxValue)));
      ok = vxDcamWriteAbsValue(m_camera, vxDcamFeature::TriggerDelay, float(value.delay), &error);
    } else {
      ok = vxDcamWriteFeatureValue(m_camera, vxDcamFeature::TriggerDelay,
                                   m_triggerDelayFeature->minValue, &error);
    }
    if (!ok) throw vx_AcqModule::Error("The trigger delay could not be set: " + error);
  }
  const bool modelChanged =
      value.model->kind() != old.model->kind() || value.polarityHigh != old.polarityHigh;
  if (modelChanged) {
    // Outstanding acquisitions belong to the old model.
    m_triggerDirty = true;
    m_outstanding = m_pending = 0;
    m_inFlight = false;
  }
  // The settings are read from the property by the helpers below; the
  // property keeps them only after this returns, so work on a copy.
  m_trigger.reset(value);
  if (m_prepared && modelChanged) {
    std::string error;
    if (!vxDcamWriteFlag(m_camera, vxDcamReg::kIsoEn, false, &error)) {
      markUnprepared();
    } else {
      m_isoOn = false;
      if (m_stream) m_stream->flush();
      if (!programTrigger(error)) markUnprepared();
    }
  }
  // Register failures show at the next start or completion.
  if (m_prepared && !m_triggerDirty) {
    applyRunState(nullptr);
    pumpTriggers(nullptr);
  }
}

void vxAcqFifo::onStrobe(const vxStrobeSettings& strobe, double delay, bool fromDelay) {
  const vxDcamStrobeLine& line = m_strobeInfo->lines[size_t(strobe.line)];
  if (!line.present) {
    const std::string text = vxFormat("The camera has no strobe line %d.", strobe.line);
    if (fromDelay) throw vxStrobeDelayProp::BadParams(text);
    throw vxStrobeProp::BadParams(text);
  }
  const long delayCount = std::lround(delay / kStrobeCountSeconds);
  const long durationCount = std::lround(strobe.duration / kStrobeCountSeconds);
  auto outside = [&](long count) {
    return count != 0 && (count < long(line.minValue) || count > long(line.maxValue));
  };
  if (outside(delayCount))
    throw vxStrobeDelayProp::BadParams(
        vxFormat("The strobe delay %g s lies outside the line's %u to %u us.", delay, line.minValue,
                 line.maxValue));
  if (outside(durationCount))
    throw vxStrobeProp::BadParams(
        vxFormat("The strobe duration %g s lies outside the line's %u to %u us.", strobe.duration,
                 line.minValue, line.maxValue));
  std::string error;
  if (!vxDcamWriteStrobe(m_camera, line, strobe.on, strobe.polarityHigh, uint32_t(delayCount),
                         uint32_t(durationCount), &error))
    throw vx_AcqModule::Error("The strobe could not be set: " + error);
}
