// IEEE 1212 configuration ROMs read quadlet by quadlet: entries named by their keys, units and
// their IIDC entries.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

// The CRC-16 of IEEE 1212 over whole quadlets, as bus info blocks, directories
// and leaves carry it.
uint16_t vxIeee1212Crc16(const uint32_t* quadlets, size_t count);

// Where the configuration ROM lies in the CSR space (absolute, the end exclusive).
constexpr uint32_t kConfigRomStart = 0xF0000400u;
constexpr uint32_t kConfigRomEnd = 0xF0000800u;
constexpr uint32_t kRootDirectoryAddress =
    0xF0000414u;  // after the usual five-quadlet bus info block
constexpr uint32_t kIidcUnitSpecId = 0x00A02D;

// The directory an entry sits in: some keys mean other things in an IIDC
// unit-dependent directory (0x81 and 0x82 name the vendor and model leaves).
enum class vxRomDirectoryKind { Root, Unit, UnitDependent };

// One directory entry: a quadlet whose top two bits are the key type and
// next six the key id, the low 24 bits its value.
struct vxRomEntry {
  enum Type : uint32_t { Immediate = 0, CsrOffset = 1, Leaf = 2, Directory = 3 };

  uint32_t address = 0;  // where the entry sits
  uint32_t quadlet = 0;

  uint32_t key() const { return quadlet >> 24; }
  Type type() const { return static_cast<Type>(quadlet >> 30); }
  uint32_t keyId() const { return quadlet >> 24 & 0x3F; }
  uint32_t value() const { return quadlet & 0xFFFFFF; }
  // The absolute address a CSR offset, leaf or directory entry names: a CSR
  // offset counts quadlets from 0xF0000000, a leaf or directory quadlets
  // from the entry itself. Wraps past 0xFFFFFFFF as the CSR space does.
  uint32_t target() const;
};

// What a key means in a directory: the entry's name ("Node_Capabilities"),
// its value field's name ("node_capabilities") and a description. Keys the
// program does not know get names that still give their type and id.
struct vxRomKeyMeaning {
  std::string name;
  std::string field;
  std::string description;
};
vxRomKeyMeaning vxRomKeyMeaningOf(uint32_t quadlet, vxRomDirectoryKind kind);

// A directory or leaf block: header (length in quadlets, CRC), then the body.
struct vxRomBlock {
  uint32_t address = 0;
  uint32_t length = 0;
  bool complete = false;  // every quadlet of the block could be read
  bool crcOk = false;
};

struct vxRomDirectory {
  vxRomBlock block;
  std::vector<vxRomEntry> entries;
};

struct vxRomUnit {
  vxRomDirectory directory;
  uint32_t specId = 0;
  uint32_t swVersion = 0;
  // The unit-dependent directory and, for an IIDC unit, what it holds.
  std::optional<vxRomDirectory> dependent;
  uint32_t commandRegsBase = 0;  // absolute; 0 when the directory gives none
  uint32_t subSwVersion = 0;
  std::string vendor;
  std::string model;

  bool isIidc() const { return specId == kIidcUnitSpecId; }
};

struct vxConfigRom {
  bool readable = false;  // the bus info block's header could be read
  uint32_t busInfoLength = 0;
  bool busInfoCrcOk = false;
  uint64_t guid = 0;
  uint32_t linkSpeed = 0;
  vxRomDirectory root;
  std::vector<vxRomUnit> units;
  // Every block reached (bus info, directories, leaves) read whole and its CRC verified.
  bool crcsOk = false;

  // The first unit with the IIDC specifier; null when there is none.
  const vxRomUnit* iidcUnit() const;
};

// Reads a quadlet at an absolute address; false when the read failed.
using vxRomQuadletReader = std::function<bool(uint32_t address, uint32_t& value)>;

// Follows the ROM from its bus info block: root directory, every unit
// directory and the IIDC entries of their unit-dependent directories. Reads
// stay inside the ROM's 1 KiB; blocks that cannot be read whole are kept as
// far as they were read.
vxConfigRom vxReadConfigRom(const vxRomQuadletReader& read);

// The text of a textual descriptor leaf (minimal ASCII), up to its first NUL.
std::string vxReadRomTextLeaf(const vxRomQuadletReader& read, uint32_t address,
                              vxRomBlock* block = nullptr);
