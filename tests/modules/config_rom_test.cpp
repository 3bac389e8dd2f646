// Configuration ROMs: the CRC against real cameras' ROMs, and the simulated ROM's layout.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>

#include "modules/qrvnvdcam/sim/config_rom.h"
#include "modules/qrvnvdcam/sim/sim_camera.h"
#include "sim_test_util.h"

namespace {

using Rom = std::map<uint32_t, uint32_t>;

Rom loadRealRom(const std::string& name) {
  std::ifstream in(pralix_test::testDataDir() + "/config-roms/" + name);
  EXPECT_TRUE(in.good()) << name;
  Rom rom;
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    uint32_t address = 0, value = 0;
    fields >> std::hex >> address >> value;
    rom[address] = value;
  }
  return rom;
}

Rom romOf(const std::vector<uint32_t>& quadlets) {
  Rom rom;
  for (size_t i = 0; i < quadlets.size(); ++i)
    rom[0xF0000400u + 4u * static_cast<uint32_t>(i)] = quadlets[i];
  return rom;
}

// What a reader of any IIDC camera's ROM finds by following its directories.
struct Walk {
  bool crcsOk = true;
  uint64_t guid = 0;
  uint32_t linkSpeed = 0;
  std::vector<uint32_t> rootKeys;
  uint32_t specId = 0;
  uint32_t swVersion = 0;
  uint32_t subSwVersion = 0;
  uint32_t commandBase = 0;
  std::string vendor;
  std::string model;
};

uint32_t at(const Rom& rom, uint32_t address) {
  auto it = rom.find(address);
  return it == rom.end() ? 0 : it->second;
}

void checkBlock(const Rom& rom, uint32_t address, Walk& walk) {
  const uint32_t header = at(rom, address);
  std::vector<uint32_t> body;
  for (uint32_t i = 1; i <= header >> 16; ++i) body.push_back(at(rom, address + 4 * i));
  if (vxIeee1212Crc16(body.data(), body.size()) != (header & 0xFFFF)) walk.crcsOk = false;
}

std::string leafText(const Rom& rom, uint32_t address, Walk& walk) {
  checkBlock(rom, address, walk);
  std::string text;
  for (uint32_t i = 3; i <= at(rom, address) >> 16; ++i)
    for (int shift = 24; shift >= 0; shift -= 8) {
      const char c = static_cast<char>(at(rom, address + 4 * i) >> shift & 0xFF);
      if (c == 0) return text;
      text += c;
    }
  return text;
}

Walk walkRom(const Rom& rom) {
  Walk walk;
  const uint32_t header = at(rom, 0xF0000400);
  std::vector<uint32_t> covered;
  for (uint32_t i = 1; i <= (header >> 16 & 0xFF); ++i)
    covered.push_back(at(rom, 0xF0000400 + 4 * i));
  if (vxIeee1212Crc16(covered.data(), covered.size()) != (header & 0xFFFF)) walk.crcsOk = false;
  walk.guid = static_cast<uint64_t>(at(rom, 0xF000040C)) << 32 | at(rom, 0xF0000410);
  walk.linkSpeed = at(rom, 0xF0000408) & 7;

  auto directory = [&](uint32_t address, auto&& visit) {
    checkBlock(rom, address, walk);
    for (uint32_t i = 1; i <= at(rom, address) >> 16; ++i) {
      const uint32_t entryAddress = address + 4 * i;
      const uint32_t entry = at(rom, entryAddress);
      visit(entry >> 24, entry & 0xFFFFFF, entryAddress + 4 * (entry & 0xFFFFFF));
    }
  };
  uint32_t unit = 0;
  directory(0xF0000414, [&](uint32_t key, uint32_t, uint32_t target) {
    walk.rootKeys.push_back(key);
    if (key == 0xD1 && unit == 0) unit = target;
  });
  uint32_t dependent = 0;
  directory(unit, [&](uint32_t key, uint32_t value, uint32_t target) {
    if (key == 0x12) walk.specId = value;
    if (key == 0x13) walk.swVersion = value;
    if (key == 0xD4) dependent = target;
  });
  directory(dependent, [&](uint32_t key, uint32_t value, uint32_t target) {
    if (key == 0x40) walk.commandBase = 0xF0000000u + 4 * value;
    if (key == 0x81) walk.vendor = leafText(rom, target, walk);
    if (key == 0x82) walk.model = leafText(rom, target, walk);
    if (key == 0x38) walk.subSwVersion = value;
  });
  return walk;
}

}  // namespace

TEST(ConfigRomCrc, AgreesWithRealCamerasAndCatchesBadOnes) {
  // These cameras' ROMs carry correct CRCs in every block...
  for (const char* name : {"basler-a602f.txt", "point-grey-flea2-fl2-08s2c.txt",
                           "point-grey-grasshopper-gras-50s5c.txt", "hamamatsu-c8484-05g.txt"})
    EXPECT_TRUE(walkRom(loadRealRom(name)).crcsOk) << name;
  // ...this one does not, and the check must notice.
  EXPECT_FALSE(walkRom(loadRealRom("coolstream-isweet.txt")).crcsOk);
  const uint32_t none[1] = {0};
  EXPECT_EQ(vxIeee1212Crc16(none, 0), 0);
}

TEST(ConfigRomLayout, RealRomIsReadByTheSameWalk) {
  const Walk flea = walkRom(loadRealRom("point-grey-flea2-fl2-08s2c.txt"));
  EXPECT_EQ(flea.vendor, "Point Grey Research");
  EXPECT_EQ(flea.model, "Flea2 FL2-08S2C");
  EXPECT_EQ(flea.specId, 0x00A02Du);
  EXPECT_EQ(flea.commandBase, 0xF0F00000u);
  EXPECT_EQ(flea.subSwVersion, 0x10u);
}

TEST(ConfigRomLayout, SimulatedRomHasTheDirectoriesOfAnIidcCamera) {
  // The sub-version entry follows the IIDC version: 1.30, 1.31, 1.32.
  const std::pair<const char*, uint32_t> profiles[] = {
      {"korvane-kv640m", 0u}, {"tessaly-f7flex", 0x10u}, {"orbel-ux1600b", 0x20u}};
  for (const auto& [name, subSwVersion] : profiles) {
    SCOPED_TRACE(name);
    const vx_SimProfile profile = shippedProfile(name);
    vx_SimCamera camera(profile);
    const Walk walk = walkRom(romOf(camera.configRom()));
    EXPECT_TRUE(walk.crcsOk);
    EXPECT_EQ(walk.guid, profile.guid);
    EXPECT_EQ(walk.vendor, profile.vendor);
    EXPECT_EQ(walk.model, profile.model);
    EXPECT_EQ(walk.specId, 0x00A02Du);
    EXPECT_EQ(walk.swVersion, 0x102u);
    EXPECT_EQ(walk.subSwVersion, subSwVersion);
    EXPECT_EQ(walk.commandBase, 0xF0F00000u);
    // Vendor id, node capabilities, EUI-64 leaf and unit directory, where
    // the register catalogue expects them.
    EXPECT_EQ(walk.rootKeys, (std::vector<uint32_t>{0x03, 0x0C, 0x8D, 0xD1}));
    EXPECT_EQ(readOk(camera, 0xF0000404), 0x31333934u);  // "1394"
    EXPECT_EQ(readOk(camera, 0xF0000418), 0x03000000u | static_cast<uint32_t>(profile.guid >> 40));
    EXPECT_EQ(walk.linkSpeed, profile.ieee1394b ? 3u : 2u);
    // The rest of the 1 KiB ROM window reads as zeros.
    EXPECT_EQ(readOk(camera, 0xF00007FC), 0u);
  }
}

TEST(ConfigRomLayout, VersionEntriesAndTextLeaves) {
  EXPECT_EQ(vxIidcUnitSwVersion(104), 0x100u);
  EXPECT_EQ(vxIidcUnitSwVersion(120), 0x101u);

  // Texts whose length is a multiple of four still end in a NUL.
  vx_ConfigRomInfo info;
  info.guid = 0x0012340000000001ull;
  info.vendor = "ABCD";
  info.model = "Model 12";
  const Walk walk = walkRom(romOf(vxBuildConfigRom(info)));
  EXPECT_TRUE(walk.crcsOk);
  EXPECT_EQ(walk.vendor, "ABCD");
  EXPECT_EQ(walk.model, "Model 12");
}
