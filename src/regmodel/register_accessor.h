// Quadlet access by address for code that holds only a camera number.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

class vx_DcamModule;

// An accessor to a register space. Only the quadlet read and write do
// anything for DCAM cameras; the other operations belong to other spaces.
class vx_RegisterAccessor {
 public:
  virtual uint32_t readQuadlet(uint64_t address) = 0;
  virtual uint16_t nodeId() { return 0; }
  virtual bool isBusy() { return false; }
  virtual bool writeQuadlet(uint64_t address, uint32_t value) = 0;
  virtual void spare4() {}
  virtual void spare5() {}
  virtual void spare6() {}
  virtual void spare7() {}
  virtual void spare8() {}
  virtual void spare9() {}
  virtual void spare10() {}
  virtual void spare11() {}
  virtual ~vx_RegisterAccessor() = default;
};

// Failed transfers never raise here: they clear the ok flag, which only the
// owner sets again, so the owner learns that something failed since it last
// looked. A camera number the module does not know still raises the
// module's vx_DcamModule::Error from the lookup.
class vx_DCAMRegisterAccessorPralix : public vx_RegisterAccessor {
 public:
  // module null means the process's module (vxAcquisitionModule()) at each access.
  explicit vx_DCAMRegisterAccessorPralix(int cameraNumber, vx_DcamModule* module = nullptr);

  // The quadlet at the low 32 bits of address; 0 and ok cleared on failure.
  uint32_t readQuadlet(uint64_t address) override;
  uint16_t nodeId() override { return 0; }
  bool isBusy() override { return false; }
  // false and ok cleared on failure.
  bool writeQuadlet(uint64_t address, uint32_t value) override;

  bool ok() const { return m_ok; }
  void setOk(bool ok) { m_ok = ok; }
  int cameraNumber() const { return m_cameraNumber; }

  // Told of every failed transfer with the address as given and the bus
  // layer's reason, so a report can list what failed beside its text.
  using FailureListener =
      std::function<void(bool write, uint32_t address, const std::string& reason)>;
  void setFailureListener(FailureListener listener) { m_failureListener = std::move(listener); }
  // The reason the last failed transfer gave ("" when the bus layer gave none).
  const std::string& lastError() const { return m_lastError; }

 private:
  vx_DcamModule& module() const;
  void failed(bool write, uint64_t address, const std::string& reason);

  FailureListener m_failureListener;
  std::string m_lastError;
  int32_t m_cameraNumber;
  bool m_ok = true;
  vx_DcamModule* m_module;
};
