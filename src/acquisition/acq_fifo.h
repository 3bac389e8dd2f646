// The acquisition FIFO: images from one camera in one video format.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "acquisition/acq_image.h"
#include "acquisition/acq_props.h"
#include "acquisition/acquire_info.h"
#include "acquisition/dcam_camera.h"
#include "acquisition/dcam_registers.h"
#include "acquisition/video_format.h"
#include "base/handle.h"

// What one completion yields: the image (null when none came) and the
// result record.
struct vxAcqResult {
  vxPtrHandle<vxAcqImage> image;
  vxAcquireInfo info;
  bool succeeded() const { return image && !info.anyFailure(); }
};

// The FIFO programs the camera only through its IIDC registers and takes the
// image data from the camera's stream, so it works the same on every bus
// layer. Calls are made by one thread at a time; cancelComplete() may come
// from any thread.
class vxAcqFifo : public std::enable_shared_from_this<vxAcqFifo> {
 public:
  class BadParams : public vxException {
   public:
    using vxException::vxException;
  };
  class CouldNotCreate : public vxException {
   public:
    using vxException::vxException;
  };
  class InvalidMaster : public vxException {
   public:
    using vxException::vxException;
  };
  class StartNotAllowed : public vxException {
   public:
    using vxException::vxException;
  };

  static constexpr double kWaitForever = std::numeric_limits<double>::infinity();
  // Starts that may wait for their completion at once.
  static constexpr int kMaxOutstanding = 32;
  static constexpr unsigned kBufferCount = 8;
  // Strobe delay and duration counts are taken as microseconds.
  static constexpr double kStrobeCountSeconds = 1e-6;

  // Programs the camera for the format (format, mode and rate, or the
  // Format_7 mode, full size and colour coding). vxVideoFormat::NotSupported
  // when the camera does not offer the format, CouldNotCreate when the camera
  // does not answer or refuses the settings.
  static vxPtrHandle<vxAcqFifo> create(vx1394DCAM& camera, const vxVideoFormat& format);

  virtual ~vxAcqFifo();
  vxAcqFifo(const vxAcqFifo&) = delete;
  vxAcqFifo& operator=(const vxAcqFifo&) = delete;

  vx1394DCAM& camera() const { return m_camera; }
  const vxVideoFormat& videoFormat() const { return *m_format; }
  // The format's full image size (a Format_7 mode's maximum).
  uint32_t imageWidth() const { return m_fullWidth; }
  uint32_t imageHeight() const { return m_fullHeight; }

  // Sets the camera's trigger registers for the trigger model and opens and
  // starts the stream. waitSeconds is how long a camera that does not answer
  // yet is tried again. True when the FIFO is ready to acquire; the reason
  // for false is in lastError().
  bool prepare(double waitSeconds = 0.0);
  bool isPrepared() const { return m_prepared; }
  std::string lastError() const { return m_lastError; }

  // Requests one acquisition. Under the manual model a start is a software
  // trigger, under the semi-automatic model it arms the camera for one
  // hardware trigger; the automatic and free-run models acquire without
  // starts and accept them without effect. StartNotAllowed when the FIFO
  // cannot be prepared, the camera is gone or too many starts wait.
  void start();
  // Waits at most waitSeconds (and the time-out property) for the oldest
  // outstanding acquisition. A wait without limit for an acquisition that
  // cannot come (no start, triggers disabled) returns at once with
  // isOtherFifoError.
  vxAcqResult complete(double waitSeconds = kWaitForever);
  // Ends a complete() waiting on another thread; it returns with
  // isOtherFifoError. A cancel while no completion waits has no effect.
  void cancelComplete();
  // Drops outstanding starts and received images.
  void flush();
  int outstanding() const { return m_outstanding; }

  // With queued starts on, every completion under a model that needs starts
  // issues the next start itself, so the program starts a few acquisitions
  // once and then only completes.
  bool queuedStarts() const { return m_queuedStarts; }
  void queuedStarts(bool on) { m_queuedStarts = on; }

  // Called after every completion with its result record.
  void setAcquireCallback(vxAcquireCallback callback) { m_callback = std::move(callback); }

  // A slave FIFO is started with its master. InvalidMaster for the FIFO
  // itself, a FIFO on the same camera, or a master that is a slave or this
  // FIFO's own slave. A null master frees the FIFO.
  void setMaster(const vxPtrHandle<vxAcqFifo>& master);
  vxPtrHandle<vxAcqFifo> master() const { return m_master.lock(); }

  // Properties. The pointer ones are null when the camera lacks the feature.
  vxExposureProp* exposureProp() { return m_hasShutter ? &m_exposure : nullptr; }
  vxContrastBrightnessProp* contrastBrightnessProp() {
    return (m_gain || m_brightness) ? &m_contrastBrightness : nullptr;
  }
  vxCameraBandwidthProp* bandwidthProp() { return &m_bandwidth; }
  vxTriggerProp& triggerProp() { return m_trigger; }
  vxStrobeProp* strobeProp() { return m_strobeInfo ? &m_strobe : nullptr; }
  vxStrobeDelayProp* strobeDelayProp() { return m_strobeInfo ? &m_strobeDelay : nullptr; }
  vxRoiProp& roiProp() { return m_roi; }
  vxTimeoutProp& timeoutProp() { return m_timeout; }
  vxTriggerFilterProp& triggerFilterProp() { return m_triggerFilter; }

  // Exposure range in the exposure property's unit: seconds with absolute
  // shutter control, register units otherwise; nothing without a shutter.
  std::optional<std::pair<double, double>> exposureRange() const { return m_exposureRange; }
  bool hasAbsoluteExposure() const { return m_absShutter.has_value(); }

 protected:
  vxAcqFifo(vx1394DCAM& camera, vxPtrHandle<const vxVideoFormat> format);

 private:
  enum class ManualMethod { SoftwareTrigger, OneShot, Gated };
  struct Region {
    uint32_t x = 0, y = 0, width = 0, height = 0;
    bool valid = false;
  };

  void readCamera();
  void attachProps();
  void configure();  // throws CouldNotCreate with the reason
  bool programGeometry(vx_StreamParams& params, std::string& error);
  bool setUp(std::string& error);
  bool programTrigger(std::string& error);
  bool applyRunState(std::string* error);
  bool pumpTriggers(std::string* error);
  Region region() const;
  bool canArrive() const;
  void markUnprepared();
  void stopStream();
  vxPtrHandle<vxAcqImage> imageOf(const vx_DcamFrame& frame, const Region& roi) const;
  uint32_t rateForShare(double share) const;

  void onExposure(double value);
  void onContrastBrightness(const vxContrastBrightness& value);
  void onTrigger(const vxTriggerSettings& value);
  void onStrobe(const vxStrobeSettings& strobe, double delay, bool fromDelay);

  vx1394DCAM& m_camera;
  vxPtrHandle<const vxVideoFormat> m_format;
  uint32_t m_fullWidth = 0, m_fullHeight = 0;
  std::optional<vxDcamFormat7Mode> m_f7;

  // What the camera offers.
  bool m_hasShutter = false;
  std::optional<vxDcamFeatureInfo> m_shutter, m_gain, m_brightness, m_triggerDelayFeature;
  std::optional<vxDcamAbsRange> m_absShutter, m_absTriggerDelay;
  std::optional<vxDcamTriggerInfo> m_triggerInfo;
  std::optional<vxDcamStrobeInfo> m_strobeInfo;
  bool m_oneShot = false;
  std::optional<std::pair<double, double>> m_exposureRange;

  vxExposureProp m_exposure;
  vxContrastBrightnessProp m_contrastBrightness;
  vxCameraBandwidthProp m_bandwidth;
  vxTriggerProp m_trigger;
  vxStrobeProp m_strobe;
  vxStrobeDelayProp m_strobeDelay;
  vxRoiProp m_roi;
  vxTimeoutProp m_timeout;
  vxTriggerFilterProp m_triggerFilter;

  // Acquisition state.
  bool m_prepared = false;
  bool m_geometryDirty = true;
  bool m_triggerDirty = true;
  bool m_setUpFinal = false;  // the last set-up failed for a reason waiting cannot cure
  std::string m_lastError;
  Region m_programmed;  // the region the camera and stream are set up for
  ManualMethod m_manual = ManualMethod::OneShot;
  bool m_isoOn = false;
  int m_outstanding = 0;  // starts not yet completed
  int m_pending = 0;      // manual starts whose trigger is not yet issued
  bool m_inFlight = false;
  uint64_t m_lastSequence = 0;
  bool m_haveSequence = false;
  std::optional<std::chrono::steady_clock::time_point> m_lastTrigger;
  bool m_queuedStarts = false;
  vxAcquireCallback m_callback;

  std::mutex m_streamMutex;  // guards m_stream against cancelComplete()
  std::unique_ptr<vx_DcamStream> m_stream;
  std::atomic<uint64_t> m_cancels{0};  // cancelComplete() calls so far

  std::weak_ptr<vxAcqFifo> m_master;
  std::vector<std::weak_ptr<vxAcqFifo>> m_slaves;
};

// FIFOs of the format variants: standard colour, Format_7 grey, standard grey.
class vxStdAcqFifo : public vxAcqFifo {
 protected:
  using vxAcqFifo::vxAcqFifo;
  friend class vxAcqFifo;
};
class vxGreyAcqFifo : public vxAcqFifo {
 protected:
  using vxAcqFifo::vxAcqFifo;
  friend class vxAcqFifo;
};
class vxStdGreyAcqFifo : public vxStdAcqFifo {
 protected:
  using vxStdAcqFifo::vxStdAcqFifo;
  friend class vxAcqFifo;
};
