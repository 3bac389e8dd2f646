// Named nodes of the diagnostic tree.
#include "regmodel/diag_object.h"

#include <utility>

vxDiagObject::vxDiagObject(std::string name) : m_name(std::move(name)) {}

vxDiagObject::~vxDiagObject() {
  // Later children may refer to earlier ones, so they go first.
  for (auto it = m_owned.rbegin(); it != m_owned.rend(); ++it) delete *it;
}

void vxDiagObject::addChild(vxDiagObject* child, bool owned) {
  if (child == nullptr) return;
  m_children.push_back(child);
  if (owned) m_owned.push_back(child);
  child->m_parent = this;
}

void vxDiagObject::setParent(vxDiagObject* child, vxDiagObject* parent, bool owned) {
  if (child == nullptr) return;
  child->m_parent = parent;
  if (parent != nullptr) parent->addChild(child, owned);
}

vxDiagData::vxDiagData(std::string name, uint32_t bitOffset, uint32_t bitWidth)
    : vxDiagObject(std::move(name)), m_bitOffset(bitOffset), m_bitWidth(bitWidth) {}

vxDiagData* vxDiagData::newGroup(const std::string& name, uint32_t byteOffset, uint32_t byteSize) {
  return new vxDiagData(name, byteOffset * 8, byteSize * 8);
}
