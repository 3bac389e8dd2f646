// The configuration ROM of a simulated IIDC camera.
#include "modules/qrvnvdcam/sim/config_rom.h"

namespace {

constexpr uint32_t entry(uint32_t key, uint32_t value) {
  return key << 24 | (value & 0xFFFFFFu);
}

// A directory or leaf: header with length and CRC, then its quadlets.
void appendBlock(std::vector<uint32_t>& rom, const std::vector<uint32_t>& body) {
  const uint32_t length = static_cast<uint32_t>(body.size());
  rom.push_back(length << 16 | vxIeee1212Crc16(body.data(), body.size()));
  rom.insert(rom.end(), body.begin(), body.end());
}

// A textual descriptor leaf: descriptor type/specifier and character set
// quadlets (all zero: minimal ASCII), then the text, padded with NULs so that
// at least one terminates it.
std::vector<uint32_t> textLeaf(const std::string& text) {
  std::vector<uint32_t> body = {0, 0};
  const size_t quadlets = (text.size() + 4) / 4;
  for (size_t q = 0; q < quadlets; ++q) {
    uint32_t word = 0;
    for (size_t b = 0; b < 4; ++b) {
      const size_t i = q * 4 + b;
      const uint8_t c = i < text.size() ? static_cast<uint8_t>(text[i]) : 0;
      word |= static_cast<uint32_t>(c) << (24 - 8 * b);
    }
    body.push_back(word);
  }
  return body;
}

}  // namespace

uint32_t vxIidcUnitSwVersion(int iidcVersion) {
  if (iidcVersion < 120) return 0x100;
  if (iidcVersion < 130) return 0x101;
  return 0x102;
}

uint32_t vxIidcUnitSubSwVersion(int iidcVersion) {
  // IIDC 1.31 and later keep software version 0x102 and tell themselves apart
  // by the sub-version: 0x10 for 1.31, 0x20 for 1.32.
  if (iidcVersion >= 132) return 0x20;
  if (iidcVersion >= 131) return 0x10;
  return 0;
}

std::vector<uint32_t> vxBuildConfigRom(const vx_ConfigRomInfo& info) {
  const uint32_t vendorId = static_cast<uint32_t>(info.guid >> 40);
  std::vector<uint32_t> rom;
  // Bus info block; the header is filled in last, once the length is known.
  rom.push_back(0);
  rom.push_back(0x31333934);  // "1394"
  // isc, cyc_clk_acc 0xFF, max_rec 6 (512-byte asynchronous payloads),
  // max_ROM 0 (quadlet reads only), link speed.
  rom.push_back(1u << 29 | 0xFFu << 16 | 6u << 12 | (info.linkSpeed & 7));
  rom.push_back(vendorId << 8 | static_cast<uint32_t>(info.guid >> 32 & 0xFF));
  rom.push_back(static_cast<uint32_t>(info.guid));

  // Root directory at index 5 with four entries (indexes 6..9); the EUI-64
  // leaf follows at 10, the unit directory at 13. Offsets count quadlets from
  // the entry that holds them.
  const size_t rootAt = rom.size();
  const size_t euiAt = rootAt + 5;
  const size_t unitAt = euiAt + 3;
  appendBlock(rom, {entry(0x03, vendorId), entry(0x0C, 0x0083C0),
                    entry(0x8D, static_cast<uint32_t>(euiAt - (rootAt + 3))),
                    entry(0xD1, static_cast<uint32_t>(unitAt - (rootAt + 4)))});
  appendBlock(rom, {static_cast<uint32_t>(info.guid >> 32), static_cast<uint32_t>(info.guid)});

  const size_t dependentAt = unitAt + 4;
  appendBlock(rom, {entry(0x12, info.unitSpecId), entry(0x13, info.unitSwVersion),
                    entry(0xD4, static_cast<uint32_t>(dependentAt - (unitAt + 3)))});

  const std::vector<uint32_t> vendorLeaf = textLeaf(info.vendor);
  const std::vector<uint32_t> modelLeaf = textLeaf(info.model);
  const size_t dependentEntries = info.unitSubSwVersion ? 4 : 3;
  const size_t vendorAt = dependentAt + 1 + dependentEntries;
  const size_t modelAt = vendorAt + 1 + vendorLeaf.size();
  std::vector<uint32_t> dependent = {
      entry(0x40, (info.commandRegsBase - 0xF0000000u) / 4),
      entry(0x81, static_cast<uint32_t>(vendorAt - (dependentAt + 2))),
      entry(0x82, static_cast<uint32_t>(modelAt - (dependentAt + 3)))};
  if (info.unitSubSwVersion) dependent.push_back(entry(0x38, info.unitSubSwVersion));
  appendBlock(rom, dependent);
  appendBlock(rom, vendorLeaf);
  appendBlock(rom, modelLeaf);

  const uint32_t crcLength = static_cast<uint32_t>(rom.size() - 1);
  rom[0] = 4u << 24 | (crcLength & 0xFF) << 16 | vxIeee1212Crc16(rom.data() + 1, crcLength);
  return rom;
}
