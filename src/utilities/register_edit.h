// The register editor's model: the current register read into its bit
// fields, the edit in progress, and writing it back.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class vxRegister;

// A whole text read as an unsigned number in C notation: decimal, "0x"
// hexadecimal or leading-zero octal. Anything else (signs, spaces, trailing
// characters, an empty text, a number beyond 64 bits) is refused.
bool vxParseCNumber(const std::string& text, uint64_t& value);

// "0x" and width÷4 upper-case hexadecimal digits, zero-padded.
std::string vxRegisterValueText(uint64_t value, uint32_t width);
// A field's value: "0x" and (width+3)÷4 digits.
std::string vxFieldValueText(uint32_t value, uint32_t fieldWidth);

// One row of the field list as shown.
struct vxFieldRow {
  std::string value;
  std::string name;
  std::string bits;    // "first:last"
  std::string access;  // "RW", "RO", "WO"
  std::string description;
};

// The current register of the editor. Only the user-interface thread uses it.
class vxRegisterEdit {
 public:
  // Makes the register current (null: no register) and reads it. The edit
  // of the register before is dropped.
  void load(vxRegister* reg);
  // Reads the current register again, dropping the edit.
  void reread();

  vxRegister* current() const { return m_register; }
  bool readOk() const { return m_readOk; }
  const std::string& readError() const { return m_readError; }
  uint64_t valueRead() const { return m_valueRead; }
  uint64_t editedValue() const { return m_edited; }
  // An edit is waiting to be written.
  bool changed() const { return m_changed; }
  // The write control should take the focus at the next chance.
  bool pendingFocus() const { return m_pendingFocus; }
  void clearPendingFocus() { m_pendingFocus = false; }
  // False when every bit field is read-only (or nothing could be read).
  bool writable() const;

  // The fields with their values in the edited word; a field the user
  // changed shows as "0x%X".
  std::vector<vxFieldRow> fieldRows() const;

  // A new value typed into a field's value cell. Answers "" when accepted,
  // else the message to show; a refused value changes nothing.
  std::string editField(size_t index, const std::string& text);
  // A new whole value. Answers "" when accepted, else the message to show;
  // a refused text drops the edit of the whole value.
  std::string editWhole(const std::string& text);

  // Writes the edited value through the register, then reads it again.
  // False with the reason when the write failed.
  bool write(std::string* error);

 private:
  vxRegister* m_register = nullptr;
  bool m_readOk = false;
  std::string m_readError;
  uint64_t m_valueRead = 0;
  uint64_t m_edited = 0;
  bool m_changed = false;
  bool m_pendingFocus = false;
  std::vector<bool> m_fieldEdited;
};
