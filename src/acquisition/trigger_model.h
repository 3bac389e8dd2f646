// Trigger models: how acquisitions of a FIFO are started.
#pragma once

#include <string>
#include <vector>

#include "base/exception.h"
#include "base/handle.h"

// Handed to a FIFO's trigger property. Manual: each start triggers one
// acquisition by software. Auto: each hardware trigger makes an
// acquisition, no starts needed. Semi: each start arms the camera for one
// hardware trigger. Free run: the camera acquires continuously.
class vxTriggerModel {
 public:
  class BadParams : public vxException {
   public:
    using vxException::vxException;
  };

  enum class Kind { Manual, Auto, Semi, FreeRun };

  static vxPtrHandle<const vxTriggerModel> manual();
  static vxPtrHandle<const vxTriggerModel> automatic();
  static vxPtrHandle<const vxTriggerModel> semiAutomatic();
  static vxPtrHandle<const vxTriggerModel> freeRun();
  static vxPtrHandle<const vxTriggerModel> make(Kind kind);
  // From the names the acquisition window lists; BadParams for any other.
  static vxPtrHandle<const vxTriggerModel> fromName(const std::string& name);
  // "Manual Trigger - Software", "Auto Trigger - Hardware", "Semi Trigger -
  // Hardware", "FreeRun Trigger - Software", in this order.
  static const std::vector<std::string>& names();

  Kind kind() const { return m_kind; }
  const std::string& name() const;
  bool isHardware() const { return m_kind == Kind::Auto || m_kind == Kind::Semi; }
  // Acquisitions happen only for starts.
  bool needsStarts() const { return m_kind == Kind::Manual || m_kind == Kind::Semi; }

 private:
  explicit vxTriggerModel(Kind kind) : m_kind(kind) {}
  Kind m_kind;
};
