// The bus event record the module hands to registered callbacks.
#pragma once

#include <cstdint>

#include "base/callback.h"

// Five words, in this order, as the module delivers them once per unplug and
// once per bus reset. The camera concerned is known from the registration.
struct vxDcamBusEventInfo {
  static constexpr uint32_t kBusReset = 1u << 0;
  static constexpr uint32_t kUnplugged = 1u << 4;

  uint32_t eventFlags = 0;
  uint32_t initiatorNodeNo = 0;
  uint32_t hostNodeNo = 0;
  uint32_t busNodeCount = 0;
  uint32_t busGenerationCount = 0;

  bool isBusReset() const { return (eventFlags & kBusReset) != 0; }
  bool isUnplugged() const { return (eventFlags & kUnplugged) != 0; }
};

using vxDcamBusEventCallback = vxCallback1<const vxDcamBusEventInfo&>;

// A camera came onto the bus or left it, as the module tells whoever watches
// the whole bus rather than one camera.
struct vxDcamPresenceEvent {
  int cameraNumber = -1;
  bool arrived = false;  // false: it left the bus
  // Arrived under a number the module had not handed out before; false for
  // a camera that comes back under its old number.
  bool isNew = false;
};

using vxDcamPresenceCallback = vxCallback1<const vxDcamPresenceEvent&>;

// Binds a callback to the camera it was registered for, so one receiver can
// tell the cameras apart.
class vxDcamBusEventInfoCallbackWrap {
 public:
  vxDcamBusEventInfoCallbackWrap(int cameraNumber, vxDcamBusEventCallback callback)
      : m_cameraNumber(cameraNumber), m_callback(std::move(callback)) {}
  int cameraNumber() const { return m_cameraNumber; }
  void operator()(const vxDcamBusEventInfo& info) const { m_callback(info); }

 private:
  int m_cameraNumber;
  vxDcamBusEventCallback m_callback;
};
