// Camera nodes and the build cursors of the DCAM catalogue.
#include "regmodel/dcam_camera.h"

#include <utility>

#include "acquisition/module_loader.h"
#include "base/format.h"

vxCamera::vxCamera(std::string name, int cameraNumber, std::string kind, vx_DcamModule* module)
    : vxDiagData(std::move(name), 0, 0),
      m_cameraNumber(cameraNumber),
      m_kind(std::move(kind)),
      m_module(module) {}

vxCamera::~vxCamera() = default;

vx_DcamModule& vxCamera::module() const {
  return m_module != nullptr ? *m_module : vxAcquisitionModule();
}

vx1394DCAM& vxCamera::device() const { return module().camera(m_cameraNumber); }

uint32_t vxCamera::commandBase() const {
  const uint32_t base = device().identity().commandRegsBase;
  return base != 0 ? base : kDefaultCommandRegsBase;
}

uint32_t vxCamera::absoluteAddress(uint32_t address) const {
  return address >= kCsrSpaceBase ? address : commandBase() + address;
}

bool vxCamera::readQuadlet(uint32_t address, uint32_t& value, std::string* error) const {
  return device().readQuadlet(address, value, error);
}

bool vxCamera::writeQuadlet(uint32_t address, uint32_t value, std::string* error) const {
  return device().writeQuadlet(address, value, error);
}

vxDcamCamera::vxDcamCamera(int cameraNumber, vx_DcamModule* module, const std::string& name)
    : vxCamera(name.empty() ? vxFormat("DCAM Camera %d", cameraNumber) : name, cameraNumber, "DCAM",
               module),
      m_commandBase(commandBase()) {
  buildCatalogue();
}

vxDcamCamera::~vxDcamCamera() = default;

vxDiagData* vxDcamCamera::beginGroup(vxDiagObject* parent, const std::string& name) {
  vxDiagData* group = vxDiagData::newGroup(name, 0, 0);
  setParent(group, parent, true);
  m_currentGroup = group;
  return group;
}

vxDcamRegister* vxDcamCamera::addRegister(const std::string& name, uint32_t address) {
  auto* reg = new vxDcamRegister(this, name, address, 0, 0, 32);
  registers().add(reg);
  setParent(reg, m_currentGroup, false);
  m_currentRegister = reg;
  return reg;
}

void vxDcamCamera::field(const std::string& name, uint32_t start, uint32_t width, uint32_t access) {
  m_currentRegister->addBitField(name, start, width, access);
}

void vxDcamCamera::field(const std::string& name, uint32_t start, uint32_t width, uint32_t access,
                         const std::string& description) {
  m_currentRegister->addBitField(name, start, width, access, description);
}

void vxDcamCamera::reserved(uint32_t start, uint32_t width) {
  m_currentRegister->addBitField("Reserved", start, width, kAccessReadOnly);
}

std::unique_ptr<vxDcamRegister> vxDcamCamera::temporary(const std::string& name, uint32_t address) {
  return std::make_unique<vxDcamRegister>(this, name, address, 0, 0, 32);
}
