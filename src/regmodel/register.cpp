// Registers, bit fields and register arrays: geometry, staging and printing.
#include "regmodel/register.h"

#include <cmath>
#include <stdexcept>
#include <strings.h>
#include <utility>

#include "base/format.h"

const char* vxAccessName(uint32_t access) {
  switch (access) {
    case kAccessReadWrite: return "RW";
    case kAccessReadOnly: return "RO";
    case kAccessWriteOnly: return "WO";
    default: return "?";
  }
}

namespace {

uint32_t maxValueFor(uint32_t width, vxBitField::MaxForm form) {
  if (width >= 64) return 0xFFFFFFFFu;
  if (form == vxBitField::MaxForm::Power) {
    // 2^width - 1 is exact in a double for every width below 64.
    return static_cast<uint32_t>(static_cast<uint64_t>(std::pow(2.0, static_cast<double>(width)) - 1.0));
  }
  return static_cast<uint32_t>((uint64_t{1} << width) - 1);
}

}  // namespace

vxBitField::vxBitField(vxRegister* reg, std::string name, std::string description, uint32_t startBit,
                       uint32_t width, uint32_t access, MaxForm form)
    : vxDiagData(name, startBit, width),
      m_register(reg),
      m_description(std::move(description)),
      m_startBit(startBit),
      m_width(width),
      m_access(access) {
  const uint32_t regWidth = reg->width();
  if (width == 0 || width > 32 || startBit >= regWidth || width > regWidth - startBit) {
    throw std::invalid_argument(vxFormat("Bit field %s (%u/%u) does not fit register %s of %u bits",
                                         name.c_str(), startBit, width, reg->regName(), regWidth));
  }
  m_maxValue = maxValueFor(width, form);
  m_shift = regWidth - startBit - width;
  m_mask = static_cast<uint32_t>(uint64_t{m_maxValue} << m_shift);
}

uint64_t vxBitField::withValue(uint64_t word, uint32_t value) const {
  return (uint64_t{value} << m_shift) | (word & ~uint64_t{m_mask});
}

std::string vxBitField::tooLargeMessage(uint64_t value) const {
  return vxFormat("Value 0x%llX to large for bit field %s (max 0x%X).",
                  static_cast<unsigned long long>(value), name().c_str(), m_maxValue);
}

uint32_t vxBitField::stagedValue() const { return valueIn(m_register->value()); }

bool vxBitField::setStagedValue(uint64_t value) {
  if (!accepts(value)) return false;
  m_register->setValue(withValue(m_register->value(), static_cast<uint32_t>(value)));
  return true;
}

bool vxBitField::commit() {
  const uint64_t device = m_register->read();
  const uint64_t word = (m_register->value() & m_mask) | (device & ~uint64_t{m_mask});
  return m_register->write(word);
}

vxRegister::vxRegister(std::string kind, std::string name, uint32_t address, uint64_t value,
                       uint64_t secondValue, uint32_t width)
    : vxDiagData(name, address * 8u, width),
      m_kind(std::move(kind)),
      m_regName(std::move(name)),
      m_address(address),
      m_value(value),
      m_secondValue(secondValue),
      m_width(width),
      m_widthMask(widthMaskFor(width)) {}

vxRegister::~vxRegister() = default;

uint64_t vxRegister::widthMaskFor(uint32_t width) {
  switch (width) {
    case 8: return 0xFFu;
    case 16: return 0xFFFFu;
    case 32: return 0xFFFFFFFFu;
    case 64: return ~uint64_t{0};
    default: return 0;
  }
}

int vxRegister::valueDigits(uint32_t width) {
  switch (width) {
    case 8: return 2;
    case 16: return 4;
    case 32: return 4;
    default: return 8;
  }
}

vxBitField* vxRegister::attachField(std::unique_ptr<vxBitField> field) {
  vxBitField* raw = field.get();
  setParent(raw, this, false);
  m_bitFields.push_back(std::move(field));
  return raw;
}

vxBitField* vxRegister::addBitField(const std::string& name, uint32_t startBit, uint32_t width,
                                    uint32_t access) {
  return attachField(std::make_unique<vxBitField>(this, name, std::string(), startBit, width, access,
                                                  vxBitField::MaxForm::Power));
}

vxBitField* vxRegister::addBitField(const std::string& name, uint32_t startBit, uint32_t width,
                                    uint32_t access, const std::string& description) {
  return attachField(std::make_unique<vxBitField>(this, name, description, startBit, width, access,
                                                  vxBitField::MaxForm::Shift));
}

vxBitField* vxRegister::findBitField(const std::string& name) const {
  for (const auto& field : m_bitFields) {
    if (field->name() == name) return field.get();
  }
  return nullptr;
}

std::string vxRegister::valueLine() {
  try {
    const uint32_t value = read32();
    return vxFormat("\n0x%08X = 0x%0*X %s", m_address, valueDigits(m_width), value, m_regName.c_str());
  } catch (const vxException& e) {
    // A bad camera number raises the module's exception rather than Error;
    // either way the reason is what the list shows.
    return e.message();
  }
}

std::string vxRegister::catalogueLine() const {
  return vxFormat("%-10s %-48s 0x%08X %2u 0x%08X 0x%08X\n", m_kind.c_str(), m_regName.c_str(), m_address,
                  m_width, static_cast<uint32_t>(m_secondValue), static_cast<uint32_t>(m_value));
}

vxRegisterArray::~vxRegisterArray() { clear(); }

void vxRegisterArray::clear() {
  for (vxRegister* reg : m_registers) delete reg;
  m_registers.clear();
}

void vxRegisterArray::add(vxRegister* reg) {
  if (reg != nullptr) m_registers.push_back(reg);
}

vxRegister* vxRegisterArray::at(size_t index) const {
  return index < m_registers.size() ? m_registers[index] : nullptr;
}

vxRegister* vxRegisterArray::findByAddress(uint32_t address) const {
  for (vxRegister* reg : m_registers) {
    if (reg->address() == address) return reg;
  }
  return nullptr;
}

vxRegister* vxRegisterArray::findByName(const std::string& name) const {
  for (vxRegister* reg : m_registers) {
    if (strcasecmp(reg->regName(), name.c_str()) == 0) return reg;
  }
  return nullptr;
}

void vxRegisterArray::printValues(std::string& out, bool clear) const {
  if (clear) out.clear();
  for (vxRegister* reg : m_registers) out += reg->valueLine();
}

void vxRegisterArray::printCatalogue(std::string& out, bool clear) const {
  if (clear) out.clear();
  for (vxRegister* reg : m_registers) out += reg->catalogueLine();
}
