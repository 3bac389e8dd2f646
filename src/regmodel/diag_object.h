// Named nodes of the diagnostic tree: groups, registers, bit fields and cameras.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Any named node. Children are kept in insertion order; only those added as
// owned are deleted with the node, because registers hang in the group tree
// while their register array owns them.
class vxDiagObject {
 public:
  explicit vxDiagObject(std::string name = {});
  virtual ~vxDiagObject();
  vxDiagObject(const vxDiagObject&) = delete;
  vxDiagObject& operator=(const vxDiagObject&) = delete;

  virtual bool isBitField() const { return false; }
  virtual bool isRegister() const { return false; }
  // Kinds of node this program never creates; kept so every node answers them.
  virtual bool isKindA() const { return false; }
  virtual bool isKindB() const { return false; }
  virtual bool hasLink() const { return false; }

  const std::string& name() const { return m_name; }
  void setName(const std::string& name) { m_name = name; }
  const std::string& detail() const { return m_detail; }
  void setDetail(const std::string& text) { m_detail = text; }
  const std::string& note() const { return m_note; }
  void setNote(const std::string& text) { m_note = text; }
  uint32_t word(int index) const { return m_words[index]; }
  void setWord(int index, uint32_t value) { m_words[index] = value; }

  vxDiagObject* parent() const { return m_parent; }
  const std::vector<vxDiagObject*>& children() const { return m_children; }
  const std::vector<vxDiagObject*>& ownedChildren() const { return m_owned; }

  // Appends child to the children (and, when owned, to the owned list) and
  // makes this node its parent.
  void addChild(vxDiagObject* child, bool owned);
  // Sets child's parent; a non-null parent also takes the child as above.
  static void setParent(vxDiagObject* child, vxDiagObject* parent, bool owned);

 private:
  std::string m_name;
  std::string m_detail;
  vxDiagObject* m_parent = nullptr;
  std::vector<vxDiagObject*> m_children;
  std::vector<vxDiagObject*> m_owned;
  std::string m_note;
  uint32_t m_words[3] = {0, 0, 0};
};

// A node that covers a span of bits: a register (address × 8, width), a bit
// field (start bit, width), a group (byte offset × 8, byte size × 8) or a
// camera. The offset is 32 bits wide, so for CSR addresses it wraps; nothing
// locates a register by it, the register's own address does that.
class vxDiagData : public vxDiagObject {
 public:
  vxDiagData(std::string name, uint32_t bitOffset, uint32_t bitWidth);

  // A group node: offset and size are given in bytes.
  static vxDiagData* newGroup(const std::string& name, uint32_t byteOffset = 0, uint32_t byteSize = 0);

  bool hasLink() const override { return m_link != nullptr; }

  uint32_t bitOffset() const { return m_bitOffset; }
  uint32_t bitWidth() const { return m_bitWidth; }
  void* link() const { return m_link; }
  void setLink(void* link) { m_link = link; }
  uint32_t extraWord(int index) const { return m_extra[index]; }
  void setExtraWord(int index, uint32_t value) { m_extra[index] = value; }

 protected:
  void setBitSpan(uint32_t bitOffset, uint32_t bitWidth) {
    m_bitOffset = bitOffset;
    m_bitWidth = bitWidth;
  }

 private:
  uint32_t m_bitOffset;
  uint32_t m_bitWidth;
  void* m_link = nullptr;
  uint32_t m_extra[2] = {0, 0};
};
