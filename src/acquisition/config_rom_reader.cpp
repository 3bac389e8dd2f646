// IEEE 1212 configuration ROMs read quadlet by quadlet: entries named by their keys, units and
// their IIDC entries.
#include "acquisition/config_rom_reader.h"

#include <algorithm>

#include "base/format.h"

namespace {

// No ROM block of a 1 KiB ROM can be longer than this.
constexpr uint32_t kMaxBlockLength = (kConfigRomEnd - kConfigRomStart) / 4;

struct KeyName {
  uint32_t key;  // type and id, the entry's top byte
  const char* name;
  const char* field;
  const char* description;
};

// IEEE 1212 keys as they appear in root and unit directories.
constexpr KeyName kKeys[] = {
    {0x81, "Textual_Descriptor", "descriptor_offset",
     "Quadlet offset from this entry to a textual descriptor leaf of the entry before"},
    {0xC1, "Descriptor_Directory", "descriptor_offset",
     "Quadlet offset from this entry to a descriptor directory of the entry before"},
    {0x02, "Bus_Dependent_Info", "bus_dependent_info", "Bus-dependent information"},
    {0x82, "Bus_Dependent_Info", "bus_dependent_info_offset",
     "Quadlet offset from this entry to a bus-dependent information leaf"},
    {0xC2, "Bus_Dependent_Info", "bus_dependent_info_offset",
     "Quadlet offset from this entry to a bus-dependent information directory"},
    {0x03, "Module_Vendor_Id", "module_vendor_id", "Company ID (IEEE OUI) of the module vendor"},
    {0x04, "Hardware_Version", "hardware_version", "Hardware version of the module"},
    {0x05, "Module_Spec_Id", "module_spec_id", "Organisation that specifies the module"},
    {0x06, "Module_Sw_Version", "module_sw_version", "Software version of the module"},
    {0x07, "Module_Dependent_Info", "module_dependent_info", "Module-dependent information"},
    {0x08, "Node_Vendor_Id", "node_vendor_id", "Company ID (IEEE OUI) of the node vendor"},
    {0x09, "Node_Hw_Version", "node_hw_version", "Hardware version of the node"},
    {0x0A, "Node_Spec_Id", "node_spec_id", "Organisation that specifies the node"},
    {0x0B, "Node_Sw_Version", "node_sw_version", "Software version of the node"},
    {0x0C, "Node_Capabilities", "node_capabilities",
     "CSR architecture features implemented by the node (0x0083C0 for IEEE 1394 nodes)"},
    {0x8D, "Node_Unique_Id", "indirect_offset",
     "Quadlet offset from this entry to the Node_Unique_Id leaf (EUI-64)"},
    {0x0E, "Node_Units_Extent", "node_units_extent", "Extent of the node's units space"},
    {0x0F, "Node_Memory_Extent", "node_memory_extent", "Extent of the node's memory space"},
    {0xD1, "Unit_Directory", "unit_directory_offset",
     "Quadlet offset from this entry to a unit directory"},
    {0x12, "Unit_Spec_Id", "unit_spec_id",
     "Organisation that specifies the unit (0x00A02D for IIDC)"},
    {0x13, "Unit_Sw_Version", "unit_sw_version",
     "Software version of the unit (0x100 IIDC 1.04, 0x101 1.20, 0x102 1.30 and later)"},
    {0xD4, "Unit_Dependent_Directory", "unit_dependent_offset",
     "Quadlet offset from this entry to the unit-dependent directory"},
    {0x15, "Unit_Location", "unit_location", "Location of the unit's registers"},
    {0x17, "Model_Id", "model_id", "Model identifier given by the vendor"},
    {0x18, "Instance", "instance", "Instance"},
    {0x99, "Keyword", "keyword_offset", "Quadlet offset from this entry to a keyword leaf"},
    {0x21, "Revision", "revision", "Revision"},
};

// IIDC keys of a unit-dependent directory.
constexpr KeyName kIidcKeys[] = {
    {0x40, "Command_Regs_Base", "command_regs_base",
     "Quadlet offset from 0xF0000000 of the IIDC command registers"},
    {0x81, "Vendor_Name_Leaf", "vendor_name_offset",
     "Quadlet offset from this entry to the vendor name leaf"},
    {0x82, "Model_Name_Leaf", "model_name_offset",
     "Quadlet offset from this entry to the model name leaf"},
    {0x38, "Unit_Sub_Sw_Version", "unit_sub_sw_version",
     "IIDC minor version (0x10 for 1.31, 0x20 for 1.32 ...)"},
};

const char* const kTypeNames[4] = {"immediate", "CSR offset", "leaf", "directory"};

// Reads a block at address; body gets its quadlets as far as they could be read.
vxRomBlock readBlock(const vxRomQuadletReader& read, uint32_t address,
                     std::vector<uint32_t>& body) {
  vxRomBlock block;
  block.address = address;
  body.clear();
  uint32_t header = 0;
  if (address < kConfigRomStart || address >= kConfigRomEnd || address % 4 != 0 ||
      !read(address, header))
    return block;
  block.length = header >> 16;
  const uint32_t readable =
      std::min(block.length, std::min(kMaxBlockLength, (kConfigRomEnd - address) / 4 - 1));
  for (uint32_t i = 1; i <= readable; ++i) {
    uint32_t value = 0;
    if (!read(address + 4 * i, value)) return block;
    body.push_back(value);
  }
  block.complete = body.size() == block.length;
  block.crcOk = block.complete && vxIeee1212Crc16(body.data(), body.size()) == (header & 0xFFFF);
  return block;
}

vxRomDirectory readDirectory(const vxRomQuadletReader& read, uint32_t address, bool& crcsOk) {
  vxRomDirectory directory;
  std::vector<uint32_t> body;
  directory.block = readBlock(read, address, body);
  crcsOk = crcsOk && directory.block.crcOk;
  for (size_t i = 0; i < body.size(); ++i)
    directory.entries.push_back({address + 4 * static_cast<uint32_t>(i + 1), body[i]});
  return directory;
}

}  // namespace

uint16_t vxIeee1212Crc16(const uint32_t* quadlets, size_t count) {
  uint32_t crc = 0;
  for (size_t i = 0; i < count; ++i) {
    const uint32_t data = quadlets[i];
    for (int shift = 28; shift >= 0; shift -= 4) {
      const uint32_t sum = ((crc >> 12) ^ (data >> shift)) & 0xF;
      crc = (crc << 4) ^ (sum << 12) ^ (sum << 5) ^ sum;
    }
    crc &= 0xFFFF;
  }
  return static_cast<uint16_t>(crc);
}

uint32_t vxRomEntry::target() const {
  switch (type()) {
    case CsrOffset:
      return 0xF0000000u + 4u * value();
    case Leaf:
    case Directory:
      return address + 4u * value();
    default:
      return 0;
  }
}

vxRomKeyMeaning vxRomKeyMeaningOf(uint32_t quadlet, vxRomDirectoryKind kind) {
  const uint32_t key = quadlet >> 24;
  if (kind == vxRomDirectoryKind::UnitDependent)
    for (const KeyName& k : kIidcKeys)
      if (k.key == key) return {k.name, k.field, k.description};
  for (const KeyName& k : kKeys)
    if (k.key == key) return {k.name, k.field, k.description};
  const uint32_t id = key & 0x3F;
  const char* type = kTypeNames[key >> 6];
  if (id >= 0x38)
    return {vxFormat("Vendor_Key_%02X", key), "entry_value",
            vxFormat("Vendor-defined entry (key type %s, key id 0x%02X)", type, id)};
  return {vxFormat("Key_%02X", key), "entry_value",
          vxFormat("Entry of key type %s, key id 0x%02X", type, id)};
}

std::string vxReadRomTextLeaf(const vxRomQuadletReader& read, uint32_t address, vxRomBlock* block) {
  std::vector<uint32_t> body;
  const vxRomBlock leaf = readBlock(read, address, body);
  if (block) *block = leaf;
  std::string text;
  // Two quadlets of descriptor type and character set, then the text.
  for (size_t i = 2; i < body.size(); ++i)
    for (int shift = 24; shift >= 0; shift -= 8) {
      const char c = static_cast<char>(body[i] >> shift & 0xFF);
      if (c == 0) return text;
      text += c;
    }
  return text;
}

const vxRomUnit* vxConfigRom::iidcUnit() const {
  for (const vxRomUnit& unit : units)
    if (unit.isIidc()) return &unit;
  return nullptr;
}

vxConfigRom vxReadConfigRom(const vxRomQuadletReader& read) {
  vxConfigRom rom;
  uint32_t header = 0;
  if (!read(kConfigRomStart, header)) return rom;
  rom.readable = true;
  rom.busInfoLength = header >> 24;
  // The bus info block's CRC covers crc_length quadlets after its header.
  std::vector<uint32_t> covered;
  bool crcsOk = true;
  for (uint32_t i = 1; i <= (header >> 16 & 0xFF) && kConfigRomStart + 4 * i < kConfigRomEnd; ++i) {
    uint32_t value = 0;
    if (!read(kConfigRomStart + 4 * i, value)) break;
    covered.push_back(value);
  }
  rom.busInfoCrcOk = covered.size() == (header >> 16 & 0xFF) &&
                     vxIeee1212Crc16(covered.data(), covered.size()) == (header & 0xFFFF);
  crcsOk = rom.busInfoCrcOk;
  uint32_t hi = 0, lo = 0, characteristics = 0;
  if (read(kConfigRomStart + 0x0C, hi) && read(kConfigRomStart + 0x10, lo))
    rom.guid = static_cast<uint64_t>(hi) << 32 | lo;
  if (read(kConfigRomStart + 0x08, characteristics)) rom.linkSpeed = characteristics & 7;

  // The root directory follows the bus info block.
  rom.root = readDirectory(read, kConfigRomStart + 4 * (1 + rom.busInfoLength), crcsOk);
  for (const vxRomEntry& entry : rom.root.entries) {
    if (entry.key() != 0xD1) continue;
    vxRomUnit unit;
    unit.directory = readDirectory(read, entry.target(), crcsOk);
    for (const vxRomEntry& e : unit.directory.entries) {
      if (e.key() == 0x12) unit.specId = e.value();
      if (e.key() == 0x13) unit.swVersion = e.value();
      if (e.key() == 0xD4 && !unit.dependent)
        unit.dependent = readDirectory(read, e.target(), crcsOk);
    }
    if (unit.dependent && unit.isIidc()) {
      // Some cameras (the iSight) give their model as a second 0x81 leaf
      // instead of an 0x82 one.
      std::vector<uint32_t> vendorLeaves;
      std::optional<uint32_t> modelLeaf;
      for (const vxRomEntry& e : unit.dependent->entries) {
        if (e.key() == 0x40) unit.commandRegsBase = e.target();
        if (e.key() == 0x38) unit.subSwVersion = e.value();
        if (e.key() == 0x81) vendorLeaves.push_back(e.target());
        if (e.key() == 0x82 && !modelLeaf) modelLeaf = e.target();
      }
      if (!modelLeaf && vendorLeaves.size() > 1) modelLeaf = vendorLeaves[1];
      vxRomBlock leaf;
      if (!vendorLeaves.empty()) {
        unit.vendor = vxReadRomTextLeaf(read, vendorLeaves[0], &leaf);
        crcsOk = crcsOk && leaf.crcOk;
      }
      if (modelLeaf) {
        unit.model = vxReadRomTextLeaf(read, *modelLeaf, &leaf);
        crcsOk = crcsOk && leaf.crcOk;
      }
    }
    rom.units.push_back(std::move(unit));
  }
  rom.crcsOk = crcsOk;
  return rom;
}
