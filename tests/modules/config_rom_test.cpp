// Configuration ROMs: the CRC against real cameras' ROMs, and the simulated ROM's layout.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <tuple>

#include "acquisition/config_rom_reader.h"
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

vxConfigRom readRom(const Rom& rom) {
  return vxReadConfigRom([&rom](uint32_t address, uint32_t& value) {
    const auto it = rom.find(address);
    value = it == rom.end() ? 0 : it->second;
    return it != rom.end();
  });
}

std::vector<uint32_t> rootKeys(const vxConfigRom& rom) {
  std::vector<uint32_t> keys;
  for (const vxRomEntry& entry : rom.root.entries) keys.push_back(entry.key());
  return keys;
}

std::vector<std::string> rootNames(const vxConfigRom& rom) {
  std::vector<std::string> names;
  for (const vxRomEntry& entry : rom.root.entries)
    names.push_back(vxRomKeyMeaningOf(entry.quadlet, vxRomDirectoryKind::Root).name);
  return names;
}

}  // namespace

TEST(ConfigRomCrc, AgreesWithRealCamerasAndCatchesBadOnes) {
  // These cameras' ROMs carry correct CRCs in every block...
  for (const char* name : {"basler-a602f.txt", "point-grey-flea2-fl2-08s2c.txt",
                           "point-grey-grasshopper-gras-50s5c.txt", "hamamatsu-c8484-05g.txt"})
    EXPECT_TRUE(readRom(loadRealRom(name)).crcsOk) << name;
  // ...these do not, and the reader must notice yet read them on.
  for (const char* name : {"coolstream-isweet.txt", "apple-isight.txt", "dage-mti-xl16c.txt"})
    EXPECT_FALSE(readRom(loadRealRom(name)).crcsOk) << name;
  EXPECT_FALSE(readRom(loadRealRom("dage-mti-xl16c.txt")).busInfoCrcOk);
  const uint32_t none[1] = {0};
  EXPECT_EQ(vxIeee1212Crc16(none, 0), 0);
}

// Every real camera's ROM as the program reads it: root entries named by
// their keys whatever their order, the IIDC unit found among others, its
// command register base, version and text leaves.
TEST(ConfigRomReader, NamesEveryRealCamerasEntriesByTheirKeys) {
  struct Expected {
    const char* file;
    std::vector<std::string> root;
    uint32_t vendorId;
    size_t units;
    uint32_t swVersion;
    uint32_t commandBase;
    const char* vendor;
    const char* model;
  };
  const Expected cameras[] = {
      {"apple-isight.txt",
       {"Module_Vendor_Id", "Textual_Descriptor", "Node_Capabilities", "Model_Id",
        "Textual_Descriptor", "Unit_Directory", "Unit_Directory", "Unit_Directory",
        "Unit_Directory"},
       0x080007,
       4,
       0x102,
       0xF0010000u,
       "Apple Computer, Inc.",
       "iSight"},
      {"basler-a602f.txt",
       {"Module_Vendor_Id", "Node_Capabilities", "Node_Unique_Id", "Unit_Directory", "Keyword"},
       0x003053,
       1,
       0x102,
       0xF0F00000u,
       "Basler",
       "A602f"},
      {"coolstream-isweet.txt",
       {"Module_Vendor_Id", "Module_Sw_Version", "Node_Unique_Id", "Unit_Directory"},
       0x0002F0,
       1,
       0x100,
       0xF0F00000u,
       "COOL STREAM",
       "iSweet"},
      {"dage-mti-xl16c.txt",
       {"Module_Vendor_Id", "Module_Sw_Version", "Node_Hw_Version", "Unit_Directory"},
       0x0013FF,
       1,
       0x102,
       0xF0F00000u,
       "DageMTI",
       "XL16"},
      {"hamamatsu-c8484-05g.txt",
       {"Module_Vendor_Id", "Node_Capabilities", "Node_Unique_Id", "Unit_Directory"},
       0x009006,
       1,
       0x102,
       0xF0F00000u,
       "HAMAMATSU",
       "C8484-05G v2.0"},
      {"imaging-source-dbm-21bf04.txt",
       {"Module_Vendor_Id", "Module_Sw_Version", "Node_Unique_Id", "Unit_Directory"},
       0x000748,
       1,
       0x102,
       0xF0F00000u,
       "Imaging Source",
       "DBx 21BF04"},
      {"imaging-source-dmm-21bf04.txt",
       {"Module_Vendor_Id", "Module_Sw_Version", "Node_Unique_Id", "Unit_Directory"},
       0x000748,
       1,
       0x102,
       0xF0F00000u,
       "OEM",
       "BFWCAM VM"},
      {"point-grey-flea2-fl2-08s2c.txt",
       {"Module_Vendor_Id", "Textual_Descriptor", "Node_Capabilities", "Unit_Directory"},
       0x00B09D,
       1,
       0x102,
       0xF0F00000u,
       "Point Grey Research",
       "Flea2 FL2-08S2C"},
      {"point-grey-grasshopper-gras-50s5c.txt",
       {"Node_Capabilities", "Module_Vendor_Id", "Textual_Descriptor", "Unit_Directory"},
       0x00B09D,
       1,
       0x102,
       0xF0F00000u,
       "Point Grey Research",
       "Grasshopper GRAS-50S5C"},
  };
  for (const Expected& e : cameras) {
    SCOPED_TRACE(e.file);
    const vxConfigRom rom = readRom(loadRealRom(e.file));
    ASSERT_TRUE(rom.readable);
    EXPECT_EQ(rootNames(rom), e.root);
    for (const vxRomEntry& entry : rom.root.entries) {
      const vxRomKeyMeaning meaning = vxRomKeyMeaningOf(entry.quadlet, vxRomDirectoryKind::Root);
      if (meaning.name == "Module_Vendor_Id") {
        EXPECT_EQ(entry.value(), e.vendorId);
      }
      if (meaning.name == "Node_Capabilities") {
        EXPECT_EQ(entry.value(), 0x0083C0u);
      }
      // Offsets point inside the ROM.
      if (entry.type() == vxRomEntry::Leaf || entry.type() == vxRomEntry::Directory) {
        EXPECT_GT(entry.target(), entry.address);
        EXPECT_LT(entry.target(), kConfigRomEnd);
      }
    }
    EXPECT_EQ(rom.units.size(), e.units);
    const vxRomUnit* unit = rom.iidcUnit();
    ASSERT_NE(unit, nullptr);
    EXPECT_EQ(unit->swVersion, e.swVersion);
    EXPECT_EQ(unit->commandRegsBase, e.commandBase);
    EXPECT_EQ(unit->vendor, e.vendor);
    EXPECT_EQ(unit->model, e.model);
  }
  // The iSight's three other units are not IIDC ones.
  const vxConfigRom isight = readRom(loadRealRom("apple-isight.txt"));
  int iidcUnits = 0;
  for (const vxRomUnit& unit : isight.units) iidcUnits += unit.isIidc();
  EXPECT_EQ(iidcUnits, 1);
  EXPECT_EQ(isight.units[1].specId, 0x000A27u);
  // The Flea2 says it is an IIDC 1.31 camera in its sub-version.
  EXPECT_EQ(readRom(loadRealRom("point-grey-flea2-fl2-08s2c.txt")).iidcUnit()->subSwVersion, 0x10u);
}

TEST(ConfigRomReader, KeysNamedByTypeAndIdAndUnknownOnesSaySo) {
  EXPECT_EQ(vxRomKeyMeaningOf(0x0C0083C0, vxRomDirectoryKind::Root).field, "node_capabilities");
  // The same key id as a leaf is another entry: 0x81 describes the entry before it.
  EXPECT_EQ(vxRomKeyMeaningOf(0x8100000E, vxRomDirectoryKind::Root).name, "Textual_Descriptor");
  // In an IIDC unit-dependent directory 0x81 and 0x82 are the vendor and model leaves.
  EXPECT_EQ(vxRomKeyMeaningOf(0x81000004, vxRomDirectoryKind::UnitDependent).name,
            "Vendor_Name_Leaf");
  EXPECT_EQ(vxRomKeyMeaningOf(0x82000006, vxRomDirectoryKind::UnitDependent).name,
            "Model_Name_Leaf");
  EXPECT_EQ(vxRomKeyMeaningOf(0x40004000, vxRomDirectoryKind::UnitDependent).name,
            "Command_Regs_Base");
  const vxRomKeyMeaning unknown = vxRomKeyMeaningOf(0x2A000001, vxRomDirectoryKind::Root);
  EXPECT_EQ(unknown.name, "Key_2A");
  EXPECT_NE(unknown.description.find("key id 0x2A"), std::string::npos) << unknown.description;
  EXPECT_EQ(vxRomKeyMeaningOf(0x7A000001, vxRomDirectoryKind::Root).name, "Vendor_Key_7A");
  // A CSR offset counts quadlets from 0xF0000000; a leaf from the entry.
  EXPECT_EQ((vxRomEntry{0xF0000450, 0x40004000}.target()), 0xF0010000u);
  EXPECT_EQ((vxRomEntry{0xF0000420, 0x8D000002}.target()), 0xF0000428u);
}

TEST(ConfigRomReader, StaysInsideTheRomWhateverTheOffsets) {
  // A root directory whose entries point far outside the ROM and a unit
  // directory that claims to be longer than the ROM: read without leaving it.
  Rom rom;
  rom[0xF0000400] = 0x04040000;
  rom[0xF0000414] = 0x00020000;
  rom[0xF0000418] = 0xD1FFFFFF;
  rom[0xF000041C] = 0xD1000001;
  rom[0xF0000420] = 0xFFFF0000;
  std::vector<uint32_t> asked;
  const vxConfigRom read = vxReadConfigRom([&](uint32_t address, uint32_t& value) {
    asked.push_back(address);
    const auto it = rom.find(address);
    value = it == rom.end() ? 0 : it->second;
    return true;
  });
  ASSERT_EQ(read.units.size(), 2u);
  EXPECT_FALSE(read.units[0].directory.block.complete);
  EXPECT_FALSE(read.units[1].directory.block.complete);
  EXPECT_FALSE(read.crcsOk);
  for (uint32_t address : asked) {
    EXPECT_GE(address, kConfigRomStart);
    EXPECT_LT(address, kConfigRomEnd);
  }
}

TEST(ConfigRomLayout, SimulatedRomHasTheDirectoriesOfAnIidcCamera) {
  // The sub-version entry follows the IIDC version: 1.30, 1.31, 1.32; the
  // command register base the profile's.
  const std::tuple<const char*, uint32_t, uint32_t> profiles[] = {
      {"korvane-kv640m", 0u, 0xF0F00000u},
      {"tessaly-f7flex", 0x10u, 0xF0F00000u},
      {"orbel-ux1600b", 0x20u, 0xF0F00000u},
      {"mirelle-mo320c", 0x10u, 0xF0010000u}};
  for (const auto& [name, subSwVersion, commandBase] : profiles) {
    SCOPED_TRACE(name);
    const vx_SimProfile profile = shippedProfile(name);
    vx_SimCamera camera(profile);
    const vxConfigRom rom = readRom(romOf(camera.configRom()));
    EXPECT_TRUE(rom.crcsOk);
    EXPECT_EQ(rom.guid, profile.guid);
    ASSERT_NE(rom.iidcUnit(), nullptr);
    const vxRomUnit& unit = *rom.iidcUnit();
    EXPECT_EQ(unit.vendor, profile.vendor);
    EXPECT_EQ(unit.model, profile.model);
    EXPECT_EQ(unit.swVersion, 0x102u);
    EXPECT_EQ(unit.subSwVersion, subSwVersion);
    EXPECT_EQ(unit.commandRegsBase, commandBase);
    EXPECT_EQ(camera.identity().commandRegsBase, commandBase);
    // Vendor id, node capabilities, EUI-64 leaf and unit directory.
    EXPECT_EQ(rootKeys(rom), (std::vector<uint32_t>{0x03, 0x0C, 0x8D, 0xD1}));
    EXPECT_EQ(readOk(camera, 0xF0000404), 0x31333934u);  // "1394"
    EXPECT_EQ(readOk(camera, 0xF0000418), 0x03000000u | static_cast<uint32_t>(profile.guid >> 40));
    EXPECT_EQ(rom.linkSpeed, profile.ieee1394b ? 3u : 2u);
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
  const vxConfigRom rom = readRom(romOf(vxBuildConfigRom(info)));
  EXPECT_TRUE(rom.crcsOk);
  ASSERT_NE(rom.iidcUnit(), nullptr);
  EXPECT_EQ(rom.iidcUnit()->vendor, "ABCD");
  EXPECT_EQ(rom.iidcUnit()->model, "Model 12");
}
