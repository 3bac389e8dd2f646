// The configuration ROM of a simulated IIDC camera, laid out and checksummed as IEEE 1212 asks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "acquisition/config_rom_reader.h"

struct vx_ConfigRomInfo {
  uint64_t guid = 0;  // the top 24 bits are the vendor id
  uint32_t unitSpecId = 0x00A02D;
  uint32_t unitSwVersion = 0x102;
  uint32_t unitSubSwVersion = 0;  // 0: no sub-version entry (IIDC 1.30 and older)
  uint32_t commandRegsBase = 0xF0F00000u;
  std::string vendor;
  std::string model;
  uint32_t linkSpeed = 2;  // 2 = S400, 3 = S800
};

// Quadlets from 0xF0000400 upward: bus info block, root directory (vendor id,
// node capabilities, EUI-64 leaf, unit directory), the EUI-64 leaf, the unit
// directory (specifier, version, unit-dependent directory), the unit-dependent
// directory (command_regs_base, vendor and model leaves, sub-version), and the
// two text leaves. The bus info block's CRC covers the whole ROM.
std::vector<uint32_t> vxBuildConfigRom(const vx_ConfigRomInfo& info);

// The IIDC unit software version and sub-version of an IIDC version given as
// 104, 120, 130, 131, 132.
uint32_t vxIidcUnitSwVersion(int iidcVersion);
uint32_t vxIidcUnitSubSwVersion(int iidcVersion);
