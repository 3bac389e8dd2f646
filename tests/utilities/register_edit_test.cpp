// The register editor's model: C-notation numbers, value texts, field and whole-value edits, writes.
#include <gtest/gtest.h>

#include <stdexcept>

#include "regmodel/register.h"
#include "utilities/register_edit.h"

namespace {

// A register held in memory that can be told to fail.
class MemoryRegister : public vxRegister {
 public:
  MemoryRegister() : vxRegister("DCAM", "TEST_REG", 0xF0F00604, 0, 0, 32) {}
  uint64_t read() override {
    ++reads;
    if (failRead) throw Error("Reading register TEST_REG at 0xF0F00604 failed: no answer");
    return device;
  }
  bool write(uint64_t value) override {
    if (failWrite) return false;
    device = maskToWidth(value);
    return true;
  }
  bool writeAlternate(uint64_t value) override { return write(value); }
  bool writeImmediate(uint64_t value) override { return write(value); }

  uint64_t device = 0xA0000005;
  bool failRead = false;
  bool failWrite = false;
  int reads = 0;
};

}  // namespace

TEST(RegisterEditNumbers, CNotationWholeTextOnly) {
  uint64_t v = 99;
  EXPECT_TRUE(vxParseCNumber("42", v));
  EXPECT_EQ(v, 42u);
  EXPECT_TRUE(vxParseCNumber("0x1F", v));
  EXPECT_EQ(v, 0x1Fu);
  EXPECT_TRUE(vxParseCNumber("0XaB", v));
  EXPECT_EQ(v, 0xABu);
  EXPECT_TRUE(vxParseCNumber("017", v));
  EXPECT_EQ(v, 15u);
  EXPECT_TRUE(vxParseCNumber("0", v));
  EXPECT_EQ(v, 0u);
  EXPECT_TRUE(vxParseCNumber("0xFFFFFFFFFFFFFFFF", v));
  EXPECT_EQ(v, UINT64_MAX);
  v = 7;
  for (const char* bad : {"", "12abc", "0x", "08", "-1", "+1", " 1", "1 ", "0x1G", "abc", "0x10000000000000000"}) {
    EXPECT_FALSE(vxParseCNumber(bad, v)) << bad;
    EXPECT_EQ(v, 7u) << bad;
  }
  EXPECT_EQ(vxRegisterValueText(0x1A, 32), "0x0000001A");
  EXPECT_EQ(vxRegisterValueText(0xBEEF, 16), "0xBEEF");
  EXPECT_EQ(vxRegisterValueText(0x5, 8), "0x05");
  EXPECT_EQ(vxFieldValueText(5, 3), "0x5");
  EXPECT_EQ(vxFieldValueText(5, 12), "0x005");
  EXPECT_EQ(vxFieldValueText(1, 1), "0x1");
}

TEST(RegisterEditModel, FieldEditsMergeIntoTheWordAndRefusalsChangeNothing) {
  MemoryRegister reg;
  reg.addBitField("Mode", 0, 3, kAccessReadWrite, "Current video mode");
  reg.addBitField("Nibble", 4, 4, kAccessReadWrite, "Four bits");
  reg.addBitField("Status", 31, 1, kAccessReadOnly, "Read only");
  vxRegisterEdit edit;
  edit.load(&reg);
  ASSERT_TRUE(edit.readOk());
  EXPECT_EQ(edit.valueRead(), 0xA0000005u);
  auto rows = edit.fieldRows();
  ASSERT_EQ(rows.size(), 3u);
  EXPECT_EQ(rows[0].value, "0x5");
  EXPECT_EQ(rows[0].bits, "0:2");
  EXPECT_EQ(rows[1].value, "0x0");
  EXPECT_EQ(rows[1].bits, "4:7");
  EXPECT_EQ(rows[2].access, "RO");
  EXPECT_TRUE(edit.writable());

  EXPECT_EQ(edit.editField(1, "0x1F"), "Value 0x1F to large for bit field Nibble (max 0xF).");
  EXPECT_FALSE(edit.changed());
  EXPECT_EQ(edit.editedValue(), 0xA0000005u);
  EXPECT_EQ(edit.editField(1, "012"), "");
  EXPECT_TRUE(edit.changed());
  EXPECT_TRUE(edit.pendingFocus());
  EXPECT_EQ(edit.editedValue(), 0xA0000005u | (10u << 24));
  rows = edit.fieldRows();
  EXPECT_EQ(rows[1].value, "0xA");  // an edited field shows plain
  EXPECT_EQ(reg.device, 0xA0000005u);  // nothing written yet

  std::string error;
  ASSERT_TRUE(edit.write(&error));
  EXPECT_EQ(reg.device, 0xAA000005u);
  EXPECT_FALSE(edit.changed());
  EXPECT_EQ(edit.valueRead(), 0xAA000005u);  // re-read after the write

  EXPECT_EQ(edit.editWhole("12abc"), "Invalid new register value (12abc).");
  EXPECT_FALSE(edit.changed());
  EXPECT_EQ(edit.editWhole("0x1"), "");
  reg.failWrite = true;
  EXPECT_FALSE(edit.write(&error));
  EXPECT_EQ(error, "Register write failed!");
  EXPECT_EQ(reg.device, 0xAA000005u);
}

TEST(RegisterEditModel, ReadOnlyUnreadableAndNoRegister) {
  MemoryRegister ro;
  ro.addBitField("A", 0, 16, kAccessReadOnly);
  ro.addBitField("B", 16, 16, kAccessReadOnly);
  vxRegisterEdit edit;
  edit.load(&ro);
  EXPECT_FALSE(edit.writable());

  MemoryRegister broken;
  broken.failRead = true;
  edit.load(&broken);
  EXPECT_FALSE(edit.readOk());
  EXPECT_NE(edit.readError().find("no answer"), std::string::npos);
  EXPECT_FALSE(edit.writable());
  EXPECT_TRUE(edit.fieldRows().empty());
  EXPECT_EQ(edit.editWhole("1"), "");
  EXPECT_FALSE(edit.changed());
  broken.failRead = false;
  edit.reread();
  EXPECT_TRUE(edit.readOk());

  edit.load(nullptr);
  EXPECT_EQ(edit.current(), nullptr);
  EXPECT_FALSE(edit.writable());
  std::string error;
  EXPECT_FALSE(edit.write(&error));
}
