// The result record of one completed acquisition.
#pragma once

#include <cstdint>

#include "base/callback.h"

// Independent failure flags; several may be set at once. An acquisition
// succeeded when the completion returned an image and no flag is set.
class vxAcquireInfo {
 public:
  // Codes that go with isAbnormal.
  static constexpr uint32_t kAbnormalCameraGone = 0x1;  // the camera left the bus
  static constexpr uint32_t kAbnormalBusFailure = 0x2;  // the camera's registers stopped answering

  bool isTiming() const { return has(kTiming); }
  bool isTimeOut() const { return has(kTimeOut); }
  bool isMissed() const { return has(kMissed); }
  bool isOverrun() const { return has(kOverrun); }
  bool isAbnormal() const { return has(kAbnormal); }
  bool isIncomplete() const { return has(kIncomplete); }
  bool isInvalidROI() const { return has(kInvalidROI); }
  bool isOtherFifoError() const { return has(kOtherFifoError); }
  uint32_t abnormalCode() const { return m_abnormalCode; }

  bool anyFailure() const { return m_flags != 0; }

  void setTiming() { m_flags |= kTiming; }
  void setTimeOut() { m_flags |= kTimeOut; }
  void setMissed() { m_flags |= kMissed; }
  void setOverrun() { m_flags |= kOverrun; }
  void setAbnormal(uint32_t code) {
    m_flags |= kAbnormal;
    m_abnormalCode = code;
  }
  void setIncomplete() { m_flags |= kIncomplete; }
  void setInvalidROI() { m_flags |= kInvalidROI; }
  void setOtherFifoError() { m_flags |= kOtherFifoError; }

 private:
  static constexpr uint32_t kTiming = 1u << 0;
  static constexpr uint32_t kTimeOut = 1u << 1;
  static constexpr uint32_t kMissed = 1u << 2;
  static constexpr uint32_t kOverrun = 1u << 3;
  static constexpr uint32_t kAbnormal = 1u << 4;
  static constexpr uint32_t kIncomplete = 1u << 5;
  static constexpr uint32_t kInvalidROI = 1u << 6;
  static constexpr uint32_t kOtherFifoError = 1u << 7;

  bool has(uint32_t flag) const { return (m_flags & flag) != 0; }

  uint32_t m_flags = 0;
  uint32_t m_abnormalCode = 0;
};

using vxAcquireCallback = vxCallback1<const vxAcquireInfo&>;
