// Camera nodes: a camera number, its register array and the DCAM catalogue.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "acquisition/dcam_module.h"
#include "regmodel/dcam_register.h"
#include "regmodel/register.h"

// A camera of the diagnostic tree. It keeps only the camera number and finds
// the module's camera object again for every access.
class vxCamera : public vxDiagData {
 public:
  // module null means the process's module (vxAcquisitionModule()) at each access.
  vxCamera(std::string name, int cameraNumber, std::string kind, vx_DcamModule* module = nullptr);
  ~vxCamera() override;

  int cameraNumber() const { return m_cameraNumber; }
  const std::string& kind() const { return m_kind; }
  vxRegisterArray& registers() { return m_registers; }
  const vxRegisterArray& registers() const { return m_registers; }

  vx_DcamModule& module() const;
  // The module's camera for this number; throws vx_DcamModule::Error when
  // the module has no such camera.
  vx1394DCAM& device() const;

  // The absolute CSR address of the camera's command registers, from its
  // unit-dependent directory (command_regs_base); the IIDC default when the
  // bus layer does not know it. The lookup may throw as device() does.
  uint32_t commandBase() const;
  // An address as the user gives it: 0xF0000000 and above stays as it is,
  // a smaller one is an offset from the camera's command register base.
  // Wraps past 0xFFFFFFFF as the 32-bit CSR space does.
  uint32_t absoluteAddress(uint32_t address) const;

  // Raw quadlet access at an absolute CSR address or an offset from the
  // command register base. The lookup may throw as device() does.
  bool readQuadlet(uint32_t address, uint32_t& value, std::string* error = nullptr) const;
  bool writeQuadlet(uint32_t address, uint32_t value, std::string* error = nullptr) const;

  // The first catalogue register of that name (case ignored) or address.
  vxRegister* findRegister(const std::string& name) const { return m_registers.findByName(name); }
  vxRegister* findRegister(uint32_t address) const { return m_registers.findByAddress(address); }

 private:
  int m_cameraNumber;
  vxRegisterArray m_registers;
  std::string m_kind;
  vx_DcamModule* m_module;
};

// A DCAM camera with its register catalogue. The constructor builds the
// catalogue and reads the camera while doing so, because the places of the
// Format_7, PIO and strobe registers are held in inquiry registers; a read
// failure there ends construction with vxRegister::Error (or the module's
// error for a bad camera number).
class vxDcamCamera : public vxCamera {
 public:
  enum Group {
    kConfigRom,
    kCameraInitialize,
    kVideoInquiry,
    kBasicFunctionInquiry,
    kFeatureInquiry,
    kCameraControl,
    kFeatureControl,
    kFormat7,
    kGroupCount
  };
  static const char* const kGroupNames[kGroupCount];

  // The feature tables hold 22 names; the catalogue creates the first 16.
  static constexpr int kFeatureTableSize = 22;
  static constexpr int kCatalogueFeatureCount = 16;
  static const char* const kFeatureInquiryNames[kFeatureTableSize];
  static const char* const kFeatureControlNames[kFeatureTableSize];

  static constexpr uint32_t kOptFunctionPio = 0x40000000u;
  static constexpr uint32_t kOptFunctionStrobe = 0x10000000u;

  explicit vxDcamCamera(int cameraNumber, vx_DcamModule* module = nullptr, const std::string& name = {});
  ~vxDcamCamera() override;

  // One of the eight groups every catalogue has.
  vxDiagData* group(Group which) const { return m_groups[which]; }
  // The optional groups; null when the camera has no PIO or no strobe.
  vxDiagData* pioGroup() const { return m_pioGroup; }
  vxDiagData* strobeGroup() const { return m_strobeGroup; }

  // The byte address a quadlet offset read from an inquiry register names.
  static uint32_t offsetAddress(uint32_t quadletOffset) { return quadletOffset * 4u + kCsrSpaceBase; }

  // The command register base the catalogue's command registers were placed at.
  uint32_t catalogueCommandBase() const { return m_commandBase; }

 private:
  void buildCatalogue();
  void buildConfigRom();
  void buildInitialize();
  void buildVideoInquiry();
  void buildBasicFunctionInquiry();
  void buildFeatureInquiry();
  void buildCameraControl();
  void buildFeatureControl();
  void buildFormat7();
  void buildOptionalFunctions();

  // Build cursors: a new group under parent becomes the current group; a new
  // register joins the current group and the array and becomes current;
  // fields go to the current register.
  vxDiagData* beginGroup(vxDiagObject* parent, const std::string& name);
  vxDcamRegister* addRegister(const std::string& name, uint32_t address);
  void field(const std::string& name, uint32_t start, uint32_t width, uint32_t access);
  void field(const std::string& name, uint32_t start, uint32_t width, uint32_t access,
             const std::string& description);
  void reserved(uint32_t start, uint32_t width);
  void offsetField(const std::string& name, const std::string& description);
  void inquiryBits(const char* const* names, const char* const* descriptions, int count);
  // A register outside the catalogue, for the build's decisions only.
  std::unique_ptr<vxDcamRegister> temporary(const std::string& name, uint32_t address);

  uint32_t m_commandBase = kDefaultCommandRegsBase;
  vxDiagData* m_groups[kGroupCount] = {};
  vxDiagData* m_pioGroup = nullptr;
  vxDiagData* m_strobeGroup = nullptr;
  vxDiagData* m_currentGroup = nullptr;
  vxDcamRegister* m_currentRegister = nullptr;
};
