// The property objects a FIFO carries: each keeps its last value and hands
// every set on to the FIFO it is attached to.
#pragma once

#include <cmath>
#include <functional>
#include <limits>
#include <utility>

#include "acquisition/trigger_model.h"
#include "base/exception.h"
#include "base/handle.h"

// What every property shares. A property that no FIFO is attached to only
// stores what it is set to. An attached FIFO sees the new value before the
// property keeps it, so a value the FIFO refuses (by throwing) is not kept.
template <typename Value>
class vx_FifoProp {
 public:
  using Sink = std::function<void(const Value&)>;

  // The FIFO side: attach on creation, detach when the FIFO goes.
  void attach(Sink sink) { m_sink = std::move(sink); }
  void detach() { m_sink = nullptr; }
  bool isAttached() const { return static_cast<bool>(m_sink); }
  // Sets the value without handing it on, for the FIFO to report the
  // camera's own state.
  void reset(const Value& value) { m_value = value; }
  const Value& current() const { return m_value; }

 protected:
  explicit vx_FifoProp(Value initial) : m_value(std::move(initial)) {}
  void store(const Value& value) {
    if (m_sink) m_sink(value);
    m_value = value;
  }

 private:
  Value m_value;
  Sink m_sink;
};

namespace vx_PropCheck {
inline bool isTime(double seconds) {
  return std::isfinite(seconds) && seconds >= 0.0;
}
inline bool isFraction(double value) {
  return std::isfinite(value) && value >= 0.0 && value <= 1.0;
}
}  // namespace vx_PropCheck

// Exposure time in seconds, or in the camera's register units when the
// camera has no absolute shutter control (the FIFO's exposure range says
// which). The camera takes the nearest value it can.
class vxExposureProp : public vx_FifoProp<double> {
 public:
  class BadParams : public vxException {
   public:
    using vxException::vxException;
  };
  vxExposureProp() : vx_FifoProp(0.010) {}
  // BadParams for a negative or non-finite value.
  void exposure(double value);
  double exposure() const { return current(); }
};

struct vxContrastBrightness {
  double contrast = 0.0;
  double brightness = 0.0;
  bool operator==(const vxContrastBrightness&) const = default;
};

// Contrast (gain) and brightness (offset), each 0 to 1 of the camera's range.
class vxContrastBrightnessProp : public vx_FifoProp<vxContrastBrightness> {
 public:
  class BadParams : public vxException {
   public:
    using vxException::vxException;
  };
  vxContrastBrightnessProp() : vx_FifoProp({}) {}
  // BadParams when either is outside 0 to 1.
  void contrastBrightness(double contrast, double brightness);
  double contrast() const { return current().contrast; }
  double brightness() const { return current().brightness; }
};

// The share of the bus bandwidth the camera's stream may take, above 0 and at
// most 1. Lower shares mean smaller packets and so a lower frame rate.
class vxCameraBandwidthProp : public vx_FifoProp<double> {
 public:
  class BadParams : public vxException {
   public:
    using vxException::vxException;
  };
  vxCameraBandwidthProp() : vx_FifoProp(1.0) {}
  void bandwidth(double share);
  double bandwidth() const { return current(); }
};

struct vxTriggerSettings {
  vxPtrHandle<const vxTriggerModel> model = vxTriggerModel::manual();
  bool enable = true;
  double delay = 0.0;        // seconds from the trigger to the exposure
  bool polarityHigh = true;  // hardware trigger active high
};

// The trigger model and whether triggers are accepted, with the hardware
// trigger's delay and polarity.
class vxTriggerProp : public vx_FifoProp<vxTriggerSettings> {
 public:
  class BadParams : public vxException {
   public:
    using vxException::vxException;
  };
  vxTriggerProp() : vx_FifoProp({}) {}
  // BadParams for a null model.
  void triggerModel(vxPtrHandle<const vxTriggerModel> model);
  const vxPtrHandle<const vxTriggerModel>& triggerModel() const { return current().model; }
  void triggerEnable(bool enable);
  bool triggerEnable() const { return current().enable; }
  // BadParams for a negative or non-finite delay.
  void triggerDelay(double seconds);
  double triggerDelay() const { return current().delay; }
  void triggerPolarity(bool activeHigh);
  bool triggerPolarity() const { return current().polarityHigh; }
};

struct vxStrobeSettings {
  bool on = false;
  int line = 0;              // strobe output line 0 to 3
  bool polarityHigh = true;  // active high
  double duration = 0.0;     // seconds; 0 lets the strobe follow the exposure
  bool operator==(const vxStrobeSettings&) const = default;
};

// The strobe output: on or off, on which line, its polarity and duration.
class vxStrobeProp : public vx_FifoProp<vxStrobeSettings> {
 public:
  class BadParams : public vxException {
   public:
    using vxException::vxException;
  };
  vxStrobeProp() : vx_FifoProp({}) {}
  void strobe(bool on);
  bool strobe() const { return current().on; }
  // BadParams outside 0 to 3.
  void strobeLine(int line);
  int strobeLine() const { return current().line; }
  void strobePolarity(bool activeHigh);
  bool strobePolarity() const { return current().polarityHigh; }
  // BadParams for a negative or non-finite duration.
  void strobeDuration(double seconds);
  double strobeDuration() const { return current().duration; }
};

// Delay from the start of the exposure to the strobe, in seconds.
class vxStrobeDelayProp : public vx_FifoProp<double> {
 public:
  class BadParams : public vxException {
   public:
    using vxException::vxException;
  };
  vxStrobeDelayProp() : vx_FifoProp(0.0) {}
  void strobeDelay(double seconds);
  double strobeDelay() const { return current(); }
};

struct vxRoi {
  int x = 0, y = 0, width = 0, height = 0;  // width 0: the whole image
  bool operator==(const vxRoi&) const = default;
};

// Region of interest in pixels of the format's image.
class vxRoiProp : public vx_FifoProp<vxRoi> {
 public:
  class BadParams : public vxException {
   public:
    using vxException::vxException;
  };
  vxRoiProp() : vx_FifoProp({}) {}
  // BadParams for a negative corner or a width or height below 1.
  void roi(int x, int y, int width, int height);
  const vxRoi& roi() const { return current(); }
};

// How long an acquisition may take before it counts as timed out, in
// seconds; infinite by default.
class vxTimeoutProp : public vx_FifoProp<double> {
 public:
  class BadParams : public vxException {
   public:
    using vxException::vxException;
  };
  vxTimeoutProp() : vx_FifoProp(std::numeric_limits<double>::infinity()) {}
  // BadParams unless above 0 (infinity allowed).
  void timeout(double seconds);
  double timeout() const { return current(); }
};

// Hardware triggers that follow the last accepted one closer than this many
// seconds are taken for contact bounce and their images dropped.
class vxTriggerFilterProp : public vx_FifoProp<double> {
 public:
  class BadParams : public vxException {
   public:
    using vxException::vxException;
  };
  vxTriggerFilterProp() : vx_FifoProp(0.0) {}
  void triggerFilter(double seconds);
  double triggerFilter() const { return current(); }
};
