// The register model: field geometry, staging, commit, printing and arrays.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "regmodel/register.h"

namespace {

// A register whose device is one word in memory.
class MemRegister : public vxRegister {
 public:
  MemRegister(const std::string& name, uint32_t address, uint32_t width, uint64_t initial = 0)
      : vxRegister("TEST", name, address, 0, 0, width), device(initial) {}
  uint64_t read() override {
    ++reads;
    if (failRead) throw Error("Register " + name() + " did not answer");
    return maskToWidth(device);
  }
  bool write(uint64_t value) override {
    ++writes;
    if (failWrite) return false;
    device = maskToWidth(value);
    return true;
  }
  bool writeAlternate(uint64_t value) override { return write(value); }
  bool writeImmediate(uint64_t value) override { return write(value); }

  uint64_t device;
  bool failRead = false;
  bool failWrite = false;
  int reads = 0;
  int writes = 0;
};

// Counts destructions, to see who deletes what.
class CountedNode : public vxDiagData {
 public:
  CountedNode(const std::string& name, int& deaths) : vxDiagData(name, 0, 0), m_deaths(deaths) {}
  ~CountedNode() override { ++m_deaths; }

 private:
  int& m_deaths;
};

}  // namespace

TEST(BitField, GeometryCountsStartBitsFromTheMostSignificantBit) {
  MemRegister reg("R", 0xF0F00000, 32);
  vxBitField* top = reg.addBitField("Top", 0, 8, kAccessReadWrite);
  vxBitField* low = reg.addBitField("Low", 16, 16, kAccessReadWrite);
  vxBitField* bit = reg.addBitField("Bit", 31, 1, kAccessReadOnly);
  EXPECT_EQ(top->shift(), 24u);
  EXPECT_EQ(top->mask(), 0xFF000000u);
  EXPECT_EQ(low->shift(), 0u);
  EXPECT_EQ(low->mask(), 0x0000FFFFu);
  EXPECT_EQ(bit->mask(), 0x1u);
  EXPECT_EQ(top->valueIn(0xAB00CDEF), 0xABu);
  EXPECT_EQ(low->valueIn(0xAB00CDEF), 0xCDEFu);
  EXPECT_EQ(top->withValue(0x12345678, 0xFF), 0xFF345678u);

  // The field geometry follows the register's width.
  MemRegister narrow("N", 0x10, 8);
  EXPECT_EQ(narrow.addBitField("Hi", 0, 4, kAccessReadWrite)->mask(), 0xF0u);
  EXPECT_THROW(narrow.addBitField("TooWide", 4, 5, kAccessReadWrite), std::invalid_argument);
  EXPECT_THROW(narrow.addBitField("Empty", 0, 0, kAccessReadWrite), std::invalid_argument);
}

TEST(BitField, BothFormsOfTheMaximumCoverEveryWidth) {
  MemRegister reg("R", 0, 32);
  EXPECT_EQ(reg.addBitField("Whole", 0, 32, kAccessReadOnly, "all of it")->maxValue(), 0xFFFFFFFFu);
  EXPECT_EQ(reg.addBitField("WholeNoText", 0, 32, kAccessReadOnly)->maxValue(), 0xFFFFFFFFu);
  EXPECT_EQ(reg.addBitField("One", 5, 1, kAccessReadOnly, "a bit")->maxValue(), 1u);
  EXPECT_EQ(reg.addBitField("OneNoText", 5, 1, kAccessReadOnly)->maxValue(), 1u);
  EXPECT_EQ(reg.addBitField("Twelve", 20, 12, kAccessReadWrite)->maxValue(), 0xFFFu);
  EXPECT_EQ(reg.findBitField("Whole")->description(), "all of it");
  EXPECT_EQ(reg.findBitField("WholeNoText")->description(), "");
  EXPECT_EQ(reg.findBitField("Nothing"), nullptr);
}

TEST(BitField, RangeCheckRefusesValuesAboveTheMaximumWithTheUsersMessage) {
  MemRegister reg("R", 0, 32);
  vxBitField* nibble = reg.addBitField("Nibble", 4, 4, kAccessReadWrite);
  reg.setValue(0x12345678);
  EXPECT_TRUE(nibble->accepts(0xF));
  EXPECT_FALSE(nibble->accepts(0x10));
  EXPECT_EQ(nibble->tooLargeMessage(0x10), "Value 0x10 to large for bit field Nibble (max 0xF).");
  EXPECT_FALSE(nibble->setStagedValue(0x10));
  EXPECT_EQ(reg.value(), 0x12345678u);
  EXPECT_TRUE(nibble->setStagedValue(0xF));
  EXPECT_EQ(reg.value(), 0x1F345678u);
  EXPECT_EQ(nibble->stagedValue(), 0xFu);
}

TEST(BitField, CommitMergesTheStagedFieldIntoTheDevicesWord) {
  MemRegister reg("R", 0, 32, 0xAAAAAAAA);
  vxBitField* field = reg.addBitField("Mid", 8, 8, kAccessReadWrite);
  reg.setValue(0x0055FFFF);  // only the field's bits of the staged value count
  EXPECT_TRUE(field->commit());
  EXPECT_EQ(reg.device, 0xAA55AAAAu);
  EXPECT_EQ(reg.reads, 1);
  EXPECT_EQ(reg.writes, 1);

  reg.failWrite = true;
  EXPECT_FALSE(field->commit());
  reg.failRead = true;
  EXPECT_THROW(field->commit(), vxRegister::Error);
  EXPECT_EQ(reg.writes, 2);  // no write after a failed read
}

TEST(Register, WidthMaskAppliesToReadsWritesAndUnsupportedWidths) {
  EXPECT_EQ(vxRegister::widthMaskFor(8), 0xFFu);
  EXPECT_EQ(vxRegister::widthMaskFor(16), 0xFFFFu);
  EXPECT_EQ(vxRegister::widthMaskFor(32), 0xFFFFFFFFu);
  EXPECT_EQ(vxRegister::widthMaskFor(64), ~uint64_t{0});
  EXPECT_EQ(vxRegister::widthMaskFor(24), 0u);

  MemRegister byte("B", 0x100, 8, 0x1234);
  EXPECT_EQ(byte.read(), 0x34u);
  byte.write(0xABCD);
  EXPECT_EQ(byte.device, 0xCDu);
  MemRegister odd("O", 0x100, 24, 0x123456);
  EXPECT_EQ(odd.read(), 0u);
  odd.write(0xFFFFFF);
  EXPECT_EQ(odd.device, 0u);
  MemRegister wide("W", 0x100, 64, 0x1122334455667788ull);
  EXPECT_EQ(wide.read(), 0x1122334455667788ull);
  EXPECT_EQ(wide.read32(), 0x55667788u);
}

TEST(Register, IsANodeOfTheDiagnosticTree) {
  MemRegister reg("CURRENT_FRAME_RATE", 0xF0F00600, 32);
  vxBitField* field = reg.addBitField("Cur_V_Frm_rate", 0, 3, kAccessReadWrite);
  EXPECT_TRUE(reg.isRegister() && field->isBitField());
  EXPECT_FALSE(reg.isBitField() || field->isRegister());
  EXPECT_FALSE(reg.isKindA() || reg.isKindB() || reg.hasLink());
  EXPECT_EQ(reg.bitOffset(), 0xF0F00600u * 8u);
  EXPECT_EQ(field->parent(), &reg);
  ASSERT_EQ(reg.children().size(), 1u);
  EXPECT_TRUE(reg.ownedChildren().empty());  // the field list owns fields
  EXPECT_EQ(field->bitWidth(), 3u);
  int target = 0;
  reg.setLink(&target);
  EXPECT_TRUE(reg.hasLink());
}

TEST(DiagObject, DeletesOnlyOwnedChildren) {
  int deaths = 0;
  auto* kept = new CountedNode("kept", deaths);
  {
    vxDiagData root("root", 0, 0);
    auto* owned = new CountedNode("owned", deaths);
    root.addChild(owned, true);
    vxDiagObject::setParent(kept, &root, false);
    auto* orphan = new CountedNode("orphan", deaths);
    vxDiagObject::setParent(orphan, nullptr, true);  // no parent: nothing owns it
    EXPECT_EQ(orphan->parent(), nullptr);
    delete orphan;
    EXPECT_EQ(owned->parent(), &root);
    EXPECT_EQ(kept->parent(), &root);
    ASSERT_EQ(root.children().size(), 2u);
    EXPECT_EQ(root.children()[0], owned);
    EXPECT_EQ(root.ownedChildren().size(), 1u);
  }
  EXPECT_EQ(deaths, 2);  // the orphan and the owned child
  delete kept;
  EXPECT_EQ(deaths, 3);

  vxDiagData* group = vxDiagData::newGroup("g", 2, 3);
  EXPECT_EQ(group->bitOffset(), 16u);
  EXPECT_EQ(group->bitWidth(), 24u);
  delete group;
}

TEST(Register, ValueLineDigitsFollowTheWidth) {
  MemRegister small("SMALL", 0xF0F00600, 32, 0x12);
  EXPECT_EQ(small.valueLine(), "\n0xF0F00600 = 0x0012 SMALL");
  MemRegister large("LARGE", 0xF0F00604, 32, 0x12345);
  EXPECT_EQ(large.valueLine(), "\n0xF0F00604 = 0x12345 LARGE");
  MemRegister byte("BYTE", 0x10, 8, 0x5);
  EXPECT_EQ(byte.valueLine(), "\n0x00000010 = 0x05 BYTE");
  MemRegister half("HALF", 0x20, 16, 0xBEEF);
  EXPECT_EQ(half.valueLine(), "\n0x00000020 = 0xBEEF HALF");
  MemRegister wide("WIDE", 0x30, 64, 0xAB);
  EXPECT_EQ(wide.valueLine(), "\n0x00000030 = 0x000000AB WIDE");
}

TEST(Register, FailedReadPrintsTheMessageInPlaceOfTheValueLine) {
  MemRegister bad("BAD", 0x40, 32);
  bad.failRead = true;
  EXPECT_EQ(bad.valueLine(), "Register BAD did not answer");
}

TEST(Register, CatalogueLineShowsKindNameAddressWidthAndBothValues) {
  MemRegister reg("INITIALIZE", 0xF0F00000, 32);
  reg.setValue(0x80000000);
  const std::string expected = std::string("TEST       INITIALIZE") + std::string(38, ' ') +
                               " 0xF0F00000 32 0x00000000 0x80000000\n";
  EXPECT_EQ(reg.catalogueLine(), expected);
  EXPECT_EQ(reg.read(), 0u);  // staging a value does not touch the device
}

TEST(RegisterArray, LookupsAtTheEdges) {
  vxRegisterArray empty;
  EXPECT_EQ(empty.findByAddress(0xF0F00000), nullptr);
  EXPECT_EQ(empty.at(0), nullptr);
  EXPECT_EQ(empty.findByName("X"), nullptr);

  vxRegisterArray array;
  array.add(new MemRegister("A", 0x100, 32));
  array.add(new MemRegister("B", 0x104, 32));
  array.add(new MemRegister("B2", 0x104, 32));
  EXPECT_EQ(array.size(), 3u);
  EXPECT_EQ(array.at(2)->name(), "B2");
  EXPECT_EQ(array.at(3), nullptr);
  EXPECT_EQ(array.findByAddress(0x104)->name(), "B");  // the first one wins
  EXPECT_EQ(array.findByAddress(0x108), nullptr);
  EXPECT_EQ(array.findByName("b2"), array.at(2));
}

TEST(RegisterArray, PrintsInArrayOrderAndKeepsGoingPastFailures) {
  vxRegisterArray array;
  auto* first = new MemRegister("FIRST", 0x100, 32, 0x1);
  auto* broken = new MemRegister("BROKEN", 0x104, 32);
  broken->failRead = true;
  array.add(first);
  array.add(broken);
  array.add(new MemRegister("LAST", 0x108, 8, 0xFF));

  std::string out = "old";
  array.printValues(out, false);
  EXPECT_EQ(out, "old\n0x00000100 = 0x0001 FIRSTRegister BROKEN did not answer\n0x00000108 = 0xFF LAST");
  array.printValues(out, true);
  EXPECT_EQ(out.rfind("\n0x00000100", 0), 0u);

  array.printCatalogue(out, true);
  EXPECT_EQ(out, array.at(0)->catalogueLine() + array.at(1)->catalogueLine() + array.at(2)->catalogueLine());
  const std::string once = out;
  array.printCatalogue(out, false);
  EXPECT_EQ(out, once + once);

  array.clear();
  EXPECT_TRUE(array.empty());
}
