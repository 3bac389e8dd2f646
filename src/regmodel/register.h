// Registers, their bit fields and ordered register arrays.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/exception.h"
#include "regmodel/diag_object.h"

class vxRegister;

// Access codes of a bit field.
constexpr uint32_t kAccessReadWrite = 0;
constexpr uint32_t kAccessReadOnly = 1;
constexpr uint32_t kAccessWriteOnly = 4;  // an action bit, such as the camera reset

// The short name of an access code, as the register editor lists it.
const char* vxAccessName(uint32_t access);

// One field of a register. Start bits count from the register's most
// significant bit, as the IIDC register tables do.
class vxBitField : public vxDiagData {
 public:
  // How the largest value was computed; both give 2^width - 1 for 1 to 32 bits.
  enum class MaxForm { Power, Shift };

  vxBitField(vxRegister* reg, std::string name, std::string description, uint32_t startBit,
             uint32_t width, uint32_t access, MaxForm form);

  bool isBitField() const override { return true; }

  vxRegister* reg() const { return m_register; }
  const std::string& description() const { return m_description; }
  uint32_t startBit() const { return m_startBit; }
  uint32_t width() const { return m_width; }
  uint32_t access() const { return m_access; }
  bool isReadOnly() const { return m_access == kAccessReadOnly; }
  uint32_t mask() const { return m_mask; }
  uint32_t shift() const { return m_shift; }
  uint32_t maxValue() const { return m_maxValue; }

  // The field's value inside a register word, and a word with the field set.
  uint32_t valueIn(uint64_t word) const { return static_cast<uint32_t>((word & m_mask) >> m_shift); }
  uint64_t withValue(uint64_t word, uint32_t value) const;

  // Whether value fits the field; when not, the text the user is shown.
  bool accepts(uint64_t value) const { return value <= m_maxValue; }
  std::string tooLargeMessage(uint64_t value) const;

  // The field inside the register's staged value. set refuses (returns
  // false, staged value unchanged) a value the field cannot hold.
  uint32_t stagedValue() const;
  bool setStagedValue(uint64_t value);

  // Writes this field of the staged value into the device, keeping the
  // device's other bits: reads the register, merges, writes the word.
  // Throws what the register's read throws; false when the write failed.
  bool commit();

 private:
  vxRegister* m_register;
  std::string m_description;
  uint32_t m_startBit;
  uint32_t m_width;
  uint32_t m_access;
  uint32_t m_mask;
  uint32_t m_shift;
  uint32_t m_maxValue;
};

// A register at a bus address. Reading and writing belong to the register
// space (see vxDcamRegister); this class knows widths, fields and printing.
class vxRegister : public vxDiagData {
 public:
  // A read that could not reach the device.
  class Error : public vxException {
   public:
    using vxException::vxException;
  };

  vxRegister(std::string kind, std::string name, uint32_t address, uint64_t value,
             uint64_t secondValue, uint32_t width);
  ~vxRegister() override;

  bool isRegister() const override { return true; }

  // The device's value ANDed with the width mask; throws Error on failure.
  virtual uint64_t read() = 0;
  virtual uint32_t read32() { return static_cast<uint32_t>(read()); }
  // value is ANDed with the width mask before it goes out; false on failure.
  virtual bool write(uint64_t value) = 0;
  virtual bool writeValue(uint64_t value) { return write(value); }
  // Further write entries for register spaces that need another write path.
  virtual bool writeAlternate(uint64_t value) = 0;
  virtual bool writeImmediate(uint64_t value) = 0;
  virtual std::string typeName() const { return "register"; }

  const std::string& kind() const { return m_kind; }
  const char* regName() const { return m_regName.c_str(); }
  uint32_t address() const { return m_address; }
  uint32_t width() const { return m_width; }
  uint64_t widthMask() const { return m_widthMask; }
  uint64_t value() const { return m_value; }
  void setValue(uint64_t value) { m_value = value; }
  uint64_t secondValue() const { return m_secondValue; }

  // Adds a field: without a description the largest value is computed in
  // floating point, with one by shifting; see vxBitField::MaxForm.
  // Throws std::invalid_argument for a field that does not fit the register.
  vxBitField* addBitField(const std::string& name, uint32_t startBit, uint32_t width, uint32_t access);
  vxBitField* addBitField(const std::string& name, uint32_t startBit, uint32_t width, uint32_t access,
                          const std::string& description);
  const std::vector<std::unique_ptr<vxBitField>>& bitFields() const { return m_bitFields; }
  vxBitField* findBitField(const std::string& name) const;

  // "\n0x%08X = 0x%0*X name" after reading the device; on a failed read the
  // exception's message stands in for the line.
  std::string valueLine();
  // The catalogue line: kind, name, address, width, second value, value.
  std::string catalogueLine() const;

  static uint64_t widthMaskFor(uint32_t width);
  // Digits of the value column: 8 bits → 2, 16 and 32 bits → 4, else 8.
  // 32-bit values below 0x10000 print with four digits, wider ones with as
  // many as they need; that is the established look of the value lists.
  static int valueDigits(uint32_t width);

 protected:
  uint64_t maskToWidth(uint64_t value) const { return value & m_widthMask; }

 private:
  vxBitField* attachField(std::unique_ptr<vxBitField> field);

  std::string m_kind;
  std::string m_regName;
  uint32_t m_address;
  uint64_t m_value;
  uint64_t m_secondValue;
  uint32_t m_width;
  uint64_t m_widthMask;
  std::vector<std::unique_ptr<vxBitField>> m_bitFields;
};

// An ordered list of registers that owns them.
class vxRegisterArray {
 public:
  vxRegisterArray() = default;
  ~vxRegisterArray();
  vxRegisterArray(const vxRegisterArray&) = delete;
  vxRegisterArray& operator=(const vxRegisterArray&) = delete;

  // Takes ownership.
  void add(vxRegister* reg);
  size_t size() const { return m_registers.size(); }
  bool empty() const { return m_registers.empty(); }
  // Null past the end.
  vxRegister* at(size_t index) const;
  // The first register at address, or null.
  vxRegister* findByAddress(uint32_t address) const;
  // The first register of that name, compared without regard to case, or null.
  vxRegister* findByName(const std::string& name) const;
  const std::vector<vxRegister*>& registers() const { return m_registers; }

  // Appends every register's value line (reading each) or catalogue line,
  // in array order; clear empties out first.
  void printValues(std::string& out, bool clear) const;
  void printCatalogue(std::string& out, bool clear) const;

  // Deletes every register and empties the list.
  void clear();

 private:
  std::vector<vxRegister*> m_registers;
};
