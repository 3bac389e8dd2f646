// The register editor's model.
#include "utilities/register_edit.h"

#include <cctype>
#include <exception>

#include "base/format.h"
#include "regmodel/register.h"

bool vxParseCNumber(const std::string& text, uint64_t& value) {
  if (text.empty()) return false;
  unsigned base = 10;
  size_t at = 0;
  if (text.size() > 1 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    base = 16;
    at = 2;
    if (text.size() == 2) return false;
  } else if (text.size() > 1 && text[0] == '0') {
    base = 8;
    at = 1;
  }
  uint64_t result = 0;
  for (; at < text.size(); ++at) {
    const unsigned char c = static_cast<unsigned char>(text[at]);
    unsigned digit = 0;
    if (std::isdigit(c))
      digit = c - '0';
    else if (base == 16 && std::isxdigit(c))
      digit = static_cast<unsigned>(std::tolower(c) - 'a' + 10);
    else
      return false;
    if (digit >= base) return false;
    if (result > (UINT64_MAX - digit) / base) return false;
    result = result * base + digit;
  }
  value = result;
  return true;
}

std::string vxRegisterValueText(uint64_t value, uint32_t width) {
  return vxFormat("0x%0*llX", static_cast<int>(width / 4), static_cast<unsigned long long>(value));
}

std::string vxFieldValueText(uint32_t value, uint32_t fieldWidth) {
  return vxFormat("0x%0*X", static_cast<int>((fieldWidth + 3) / 4), value);
}

void vxRegisterEdit::load(vxRegister* reg) {
  m_register = reg;
  reread();
}

void vxRegisterEdit::reread() {
  m_changed = false;
  m_pendingFocus = false;
  m_readOk = false;
  m_readError.clear();
  m_valueRead = 0;
  m_edited = 0;
  m_fieldEdited.assign(m_register ? m_register->bitFields().size() : 0, false);
  if (!m_register) return;
  try {
    m_valueRead = m_register->read();
    m_register->setValue(m_valueRead);
    m_edited = m_valueRead;
    m_readOk = true;
  } catch (const std::exception& e) {
    m_readError = e.what();
  }
}

bool vxRegisterEdit::writable() const {
  if (!m_register || !m_readOk) return false;
  const auto& fields = m_register->bitFields();
  if (fields.empty()) return true;
  for (const auto& field : fields)
    if (!field->isReadOnly()) return true;
  return false;
}

std::vector<vxFieldRow> vxRegisterEdit::fieldRows() const {
  std::vector<vxFieldRow> rows;
  if (!m_register || !m_readOk) return rows;
  const auto& fields = m_register->bitFields();
  for (size_t i = 0; i < fields.size(); ++i) {
    const vxBitField& field = *fields[i];
    vxFieldRow row;
    const uint32_t value = field.valueIn(m_edited);
    row.value = m_fieldEdited[i] ? vxFormat("0x%X", value) : vxFieldValueText(value, field.width());
    row.name = field.name();
    row.bits = vxFormat("%u:%u", field.startBit(), field.startBit() + field.width() - 1);
    row.access = vxAccessName(field.access());
    row.description = field.description();
    rows.push_back(std::move(row));
  }
  return rows;
}

std::string vxRegisterEdit::editField(size_t index, const std::string& text) {
  if (!m_register || !m_readOk || index >= m_register->bitFields().size()) return {};
  const vxBitField& field = *m_register->bitFields()[index];
  uint64_t number = 0;
  const bool isNumber = vxParseCNumber(text, number);
  if (!isNumber || !field.accepts(number)) return field.tooLargeMessage(number);
  m_edited = field.withValue(m_edited, static_cast<uint32_t>(number)) & m_register->widthMask();
  m_fieldEdited[index] = true;
  m_changed = true;
  m_pendingFocus = true;
  return {};
}

std::string vxRegisterEdit::editWhole(const std::string& text) {
  if (!m_register || !m_readOk) return {};
  uint64_t number = 0;
  if (!vxParseCNumber(text, number)) {
    m_changed = false;
    return vxFormat("Invalid new register value (%s).", text.c_str());
  }
  m_edited = number & m_register->widthMask();
  m_fieldEdited.assign(m_fieldEdited.size(), false);
  m_changed = true;
  m_pendingFocus = true;
  return {};
}

bool vxRegisterEdit::write(std::string* error) {
  if (!m_register || !m_readOk) return false;
  bool done = false;
  std::string reason;
  try {
    done = m_register->write(m_edited);
    if (!done) reason = "Register write failed!";
  } catch (const std::exception& e) {
    reason = e.what();
  }
  if (!done && error) *error = reason;
  reread();
  return done;
}
