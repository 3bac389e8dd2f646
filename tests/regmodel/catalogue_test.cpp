// The DCAM register catalogue: order, counts, addresses read from the camera, real ROMs.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "regmodel/dcam_camera.h"
#include "support/fake_camera.h"
#include "support/test_paths.h"

namespace {

using Names = std::vector<std::string>;

Names childNames(const vxDiagObject* node) {
  Names names;
  for (const vxDiagObject* child : node->children()) names.push_back(child->name());
  return names;
}

std::vector<vxRegister*> registersUnder(const vxDiagObject* node) {
  std::vector<vxRegister*> out;
  for (vxDiagObject* child : node->children()) {
    if (child->isRegister()) {
      out.push_back(static_cast<vxRegister*>(child));
    } else {
      auto sub = registersUnder(child);
      out.insert(out.end(), sub.begin(), sub.end());
    }
  }
  return out;
}

Names namesOf(const std::vector<vxRegister*>& regs) {
  Names names;
  for (const vxRegister* reg : regs) names.push_back(reg->name());
  return names;
}

std::vector<uint32_t> addressesOf(const std::vector<vxRegister*>& regs) {
  std::vector<uint32_t> addresses;
  for (const vxRegister* reg : regs) addresses.push_back(reg->address());
  return addresses;
}

// A lenient camera: every register the test does not set reads 0.
class Catalogue : public ::testing::Test {
 protected:
  FakeModule module{1, false, false};
  FakeCamera& device = module.fake(0);
};

// Registers of the groups every camera has: ROM, initialize, video inquiry,
// basic inquiry, feature inquiry, camera control, feature control, Format_7 mode 0.
constexpr size_t kGroupSizes[] = {19, 1, 40, 8, 16, 13, 16, 15};
constexpr size_t kPlainRegisterCount = 19 + 1 + 40 + 8 + 16 + 13 + 16 + 15;

}  // namespace

TEST_F(Catalogue, GroupsComeInTheirFixedOrderWithTheirRegisterCounts) {
  vxDcamCamera camera(0, &module);
  EXPECT_EQ(childNames(&camera),
            (Names{"Config ROM Registers", "Camera Initialize Register", "Video Inquiry Registers",
                   "Basic Function Inquiry Registers", "Function/Feature Inquiry Registers",
                   "Camera Control and Status Registers", "Feature Control and Status Registers",
                   "Format7 Control and Status Registers"}));
  for (int i = 0; i < vxDcamCamera::kGroupCount; ++i) {
    const vxDiagObject* group = camera.group(static_cast<vxDcamCamera::Group>(i));
    EXPECT_EQ(group, camera.children()[static_cast<size_t>(i)]);
    EXPECT_EQ(registersUnder(group).size(), kGroupSizes[i]) << group->name();
  }
  EXPECT_EQ(camera.pioGroup(), nullptr);
  EXPECT_EQ(camera.strobeGroup(), nullptr);
  EXPECT_EQ(childNames(camera.group(vxDcamCamera::kVideoInquiry)->children()[2]),
            (Names{"Format 0", "Format 1", "Format 2", "Format 7"}));

  // The array holds the registers in the order a walk of the tree meets them.
  EXPECT_EQ(camera.registers().size(), kPlainRegisterCount);
  EXPECT_EQ(registersUnder(&camera), camera.registers().registers());
  for (const vxRegister* reg : camera.registers().registers()) {
    EXPECT_EQ(reg->kind(), "DCAM");
    EXPECT_EQ(reg->width(), 32u);
  }
}

TEST_F(Catalogue, RegistersSitAtTheirAddressesInTheirOrder) {
  vxDcamCamera camera(0, &module);
  const auto rom = registersUnder(camera.group(vxDcamCamera::kConfigRom));
  for (size_t i = 0; i < rom.size(); ++i) EXPECT_EQ(rom[i]->address(), 0xF0000400u + 4u * i) << i;
  // A root directory of no entries: its places are not named by any key.
  EXPECT_EQ(rom[6]->name(), "Reserved");
  EXPECT_EQ(rom[18]->name(), "Reserved");

  // Video inquiry: format, eight mode registers, the rates of Formats 0..2 and
  // the eight Format_7 offsets.
  const auto video = registersUnder(camera.group(vxDcamCamera::kVideoInquiry));
  const Names names = namesOf(video);
  EXPECT_EQ(names[1], "V_MODE_INQ_0");
  EXPECT_EQ(names[9], "V_RATE_INQ_0_0");
  EXPECT_EQ(names[16], "V_RATE_INQ_1_0");
  EXPECT_EQ(names[31], "V_RATE_INQ_2_7");
  EXPECT_EQ(names[32], "V_CSR_INQ_7_0");
  const std::vector<uint32_t> at = addressesOf(video);
  EXPECT_EQ(at[8], 0xF0F0019Cu);
  EXPECT_EQ(at[15], 0xF0F00218u);
  EXPECT_EQ(at[16], 0xF0F00220u);
  EXPECT_EQ(at[31], 0xF0F0025Cu);
  EXPECT_EQ(at[32], 0xF0F002E0u);
  EXPECT_EQ(at[39], 0xF0F002FCu);
  // Format_0 has seven modes: its mode register has one field less.
  EXPECT_EQ(video[1]->bitFields().size(), 8u);
  EXPECT_EQ(video[2]->bitFields().size(), 9u);

  const auto basic = registersUnder(camera.group(vxDcamCamera::kBasicFunctionInquiry));
  EXPECT_EQ(addressesOf(basic), (std::vector<uint32_t>{0xF0F00400, 0xF0F00404, 0xF0F00408, 0xF0F0040C,
                                                       0xF0F00480, 0xF0F00484, 0xF0F00488, 0xF0F0048C}));
  const auto inquiry = registersUnder(camera.group(vxDcamCamera::kFeatureInquiry));
  const auto control = registersUnder(camera.group(vxDcamCamera::kCameraControl));
  const auto features = registersUnder(camera.group(vxDcamCamera::kFeatureControl));
  for (size_t n = 0; n < 16; ++n) {
    EXPECT_EQ(inquiry[n]->name(), vxDcamCamera::kFeatureInquiryNames[n]);
    EXPECT_EQ(inquiry[n]->address(), 0xF0F00500u + 4u * n);
    EXPECT_EQ(features[n]->name(), vxDcamCamera::kFeatureControlNames[n]);
    EXPECT_EQ(features[n]->address(), 0xF0F00800u + 4u * n);
    if (n < control.size()) {
      EXPECT_EQ(control[n]->address(), 0xF0F00600u + 4u * n);
    }
  }
  EXPECT_EQ(control[5]->name(), "ISO_EN/CONTINOUS_SHOT");
  EXPECT_EQ(control[12]->name(), "DATA_DEPTH");
  EXPECT_EQ(camera.findRegister("ZOOM_INQ"), nullptr);
  EXPECT_EQ(camera.findRegister("brightness"), features[0]);
}

TEST_F(Catalogue, FieldsTheProgramReliesOn) {
  vxDcamCamera camera(0, &module);
  auto field = [&](const char* reg, const char* name) {
    const vxBitField* f = camera.findRegister(reg)->findBitField(name);
    if (!f) throw std::runtime_error(std::string(reg) + " has no field " + name);
    return f;
  };
  EXPECT_EQ(field("BASIC_FUNC_INQ", "Cam_Power_Cntl")->mask(), 1u << 15);
  EXPECT_EQ(field("BASIC_FUNC_INQ", "One_Shot_Inq")->mask(), 1u << 12);
  EXPECT_EQ(field("Opt_Function_Inq", "PIO")->mask(), vxDcamCamera::kOptFunctionPio);
  EXPECT_EQ(field("Opt_Function_Inq", "Strobe_out")->mask(), vxDcamCamera::kOptFunctionStrobe);
  EXPECT_EQ(field("BRIGHTNESS_INQ", "Min_Value")->mask(), 0xFFF000u);
  EXPECT_EQ(field("TRIGGER_INQ", "Trigger_Mode15_inq")->mask(), 0x1u);
  EXPECT_EQ(field("TRIGGER_MODE", "Trigger_Mode")->maxValue(), 15u);
  EXPECT_EQ(field("WHITE_SHADING", "R-Value")->mask(), 0x00FF0000u);
  EXPECT_EQ(field("INITIALIZE", "Initialize")->access(), kAccessWriteOnly);
  EXPECT_EQ(field("CAMERA_POWER", "Camera_Power_Status")->access(), kAccessReadOnly);
  EXPECT_EQ(field("CAMERA_POWER", "Cam_Pwr_Ctrl")->access(), kAccessReadWrite);
  for (const vxRegister* reg : registersUnder(camera.group(vxDcamCamera::kBasicFunctionInquiry)))
    for (const auto& f : reg->bitFields()) EXPECT_TRUE(f->isReadOnly()) << f->name();
}

TEST_F(Catalogue, NoFieldsOverlapAndAllSitInsideTheirRegister) {
  device.set(0x40C, vxDcamCamera::kOptFunctionPio | vxDcamCamera::kOptFunctionStrobe);
  device.set(0x48C, 0x003C3000);
  device.set(0xF0F0C000, 0xF0000000);
  vxDcamCamera camera(0, &module);
  for (const vxRegister* reg : camera.registers().registers()) {
    uint32_t covered = 0;
    for (const auto& field : reg->bitFields()) {
      EXPECT_EQ(covered & field->mask(), 0u) << reg->name() << " " << field->name();
      covered |= field->mask();
      EXPECT_EQ(field->reg(), reg);
    }
  }
}

TEST_F(Catalogue, Format7RegistersSitAtTheOffsetTheCameraReports) {
  const uint32_t offsets[] = {0x00, 0x04, 0x08, 0x0C, 0x10, 0x14, 0x34, 0x38, 0x3C, 0x40, 0x44, 0x48, 0x4C, 0x7C};
  // 0x003C0000 quadlets from 0xF0000000 is the command base; an offset of 0 is used as it stands.
  for (const uint32_t offset : {0x003C0000u, 0u}) {
    FakeModule other(1, false, false);
    other.fake(0).set(0x2E0, offset);
    vxDcamCamera camera(0, &other);
    const auto mode0 = registersUnder(camera.group(vxDcamCamera::kFormat7));
    ASSERT_EQ(mode0.size(), 15u);
    EXPECT_EQ(mode0[0]->name(), "V_CSR_INQ_7_0");
    EXPECT_EQ(mode0[14]->name(), "VALUE_SETTING");
    for (size_t i = 0; i < 14; ++i)
      EXPECT_EQ(mode0[i + 1]->address(), 0xF0000000u + offset * 4 + offsets[i]) << mode0[i + 1]->name();
  }
}

TEST_F(Catalogue, PioWithoutStrobeStopsAfterThePioGroup) {
  device.set(0x40C, vxDcamCamera::kOptFunctionPio);
  device.set(0x484, 0x003C2000);
  vxDcamCamera camera(0, &module);
  ASSERT_NE(camera.pioGroup(), nullptr);
  EXPECT_EQ(camera.strobeGroup(), nullptr);
  EXPECT_EQ(camera.children().size(), 9u);
  const auto pio = registersUnder(camera.pioGroup());
  EXPECT_EQ(namesOf(pio), (Names{"PIO_Control_CSR_Inq", "PIO_OUTPUT", "PIO_INPUT"}));
  EXPECT_EQ(addressesOf(pio), (std::vector<uint32_t>{0xF0F00484, 0xF0F08000, 0xF0F08004}));
  EXPECT_EQ(camera.registers().size(), kPlainRegisterCount + 3);
  // The root directory's length (its entries are named by their keys; it has
  // none here), then the registers that place the blocks. The optional-function
  // register read for the decision is not catalogued twice.
  EXPECT_EQ(device.readAddresses(),
            (std::vector<uint32_t>{0xF0000414, 0xF0F002E0, 0xF0F0040C, 0xF0F00484, 0xF0F0040C}));
}

TEST_F(Catalogue, StrobeRegistersOnlyForTheStrobesThatArePresent) {
  device.set(0x40C, vxDcamCamera::kOptFunctionStrobe);
  device.set(0x48C, 0x003C3000);
  device.set(0xF0F0C000, 0xA0000000);  // lines 0 and 2
  vxDcamCamera camera(0, &module);
  EXPECT_EQ(camera.pioGroup(), nullptr);
  ASSERT_NE(camera.strobeGroup(), nullptr);
  EXPECT_EQ(camera.children().back(), camera.strobeGroup());
  const auto strobe = registersUnder(camera.strobeGroup());
  EXPECT_EQ(namesOf(strobe), (Names{"Strobe_Output_CSR_Inq", "Strobe_CNTL_Inq", "Strobe_0_Inq", "Strobe_0_Cnt",
                                    "Strobe_2_Inq", "Strobe_2_Cnt"}));
  EXPECT_EQ(addressesOf(strobe), (std::vector<uint32_t>{0xF0F0048C, 0xF0F0C000, 0xF0F0C100, 0xF0F0C200,
                                                        0xF0F0C108, 0xF0F0C208}));
  EXPECT_EQ(camera.registers().size(), kPlainRegisterCount + 6);

  // All four strobes and PIO together.
  device.set(0x40C, vxDcamCamera::kOptFunctionPio | vxDcamCamera::kOptFunctionStrobe);
  device.set(0x484, 0x003C2000);
  device.set(0xF0F0C000, 0xF0000000);
  vxDcamCamera full(0, &module);
  EXPECT_EQ(full.children().size(), 10u);
  EXPECT_EQ(registersUnder(full.strobeGroup()).size(), 10u);
  EXPECT_EQ(full.findRegister("Strobe_3_Cnt")->address(), 0xF0F0C20Cu);
  EXPECT_EQ(registersUnder(&full), full.registers().registers());
}

TEST_F(Catalogue, ConstructionFailsWhenTheCameraDoesNotAnswer) {
  device.failReads(0x2E0);
  try {
    vxDcamCamera camera(0, &module);
    FAIL() << "built without the Format_7 offset";
  } catch (const vxRegister::Error& e) {
    EXPECT_NE(e.message().find("V_CSR_INQ_7_0"), std::string::npos) << e.message();
    EXPECT_NE(e.message().find("no answer at 0xF0F002E0"), std::string::npos) << e.message();
  }
  device.heal();
  device.failReads(0x40C);
  EXPECT_THROW(vxDcamCamera(0, &module), vxRegister::Error);
  EXPECT_THROW(vxDcamCamera(1, &module), vx_DcamModule::Error);
}

TEST_F(Catalogue, EveryReadGoesToTheCameraAgain) {
  vxDcamCamera camera(0, &module);
  vxRegister* rate = camera.findRegister("CURRENT_FRAME_RATE");
  const int lookups = module.lookups;
  const int reads = device.reads();
  device.set(0x600, 0x80000000);
  EXPECT_EQ(rate->read32(), 0x80000000u);
  device.set(0x600, 0x40000000);
  EXPECT_EQ(rate->read32(), 0x40000000u);
  EXPECT_EQ(device.reads() - reads, 2);
  EXPECT_EQ(module.lookups - lookups, 2);

  ASSERT_TRUE(rate->findBitField("Cur_V_Frm_rate")->setStagedValue(5));
  EXPECT_TRUE(rate->findBitField("Cur_V_Frm_rate")->commit());
  EXPECT_EQ(device.get(0x600), 0xA0000000u);
  device.failAt(0x600);
  EXPECT_FALSE(rate->write(0));
  EXPECT_THROW(rate->read(), vxRegister::Error);
}

TEST_F(Catalogue, PrintsCatalogueAndValueLines) {
  device.set(0xF0000404, 0x31333934);
  device.failReads(0x600);
  vxDcamCamera camera(0, &module);
  std::string text;
  camera.registers().printCatalogue(text, true);
  EXPECT_EQ(static_cast<size_t>(std::count(text.begin(), text.end(), '\n')), camera.registers().size());
  EXPECT_EQ(text.substr(0, text.find('\n') + 1),
            "DCAM       Header" + std::string(42, ' ') + " 0xF0000400 32 0x00000000 0x00000000\n");

  camera.registers().printValues(text, true);
  EXPECT_NE(text.find("\n0xF0000404 = 0x31333934 Bus Name\n"), std::string::npos);
  EXPECT_NE(text.find("\n0xF0F00604 = 0x0000 CURRENT_VIDEO_MODE"), std::string::npos);
  EXPECT_NE(text.find("Reading register CURRENT_FRAME_RATE at 0xF0F00600 failed"), std::string::npos);
}

TEST(CatalogueOfRealCameras, BuildsOverEveryConfigRomAndNamesRootEntriesByTheirKeys) {
  // The Root Directory registers keep their places; each one is named after
  // the key of the entry there, in whatever order the camera lists them.
  const std::map<std::string, std::map<size_t, std::pair<std::string, uint32_t>>> expected = {
      {"apple-isight.txt",
       {{6, {"Module_Vendor_Id", 0x080007}},
        {8, {"Node_Capabilities", 0x0083C0}},
        {9, {"Model_Id", 0x000008}},
        {11, {"Unit_Directory", 0x000004}},
        {15, {"Reserved", 0}}}},
      {"basler-a602f.txt",
       {{7, {"Node_Capabilities", 0x0083C0}}, {8, {"Node_Unique_Id", 3}}, {10, {"Keyword", 0x1B}}}},
      {"coolstream-isweet.txt",
       {{6, {"Module_Vendor_Id", 0x0002F0}}, {7, {"Module_Sw_Version", 0x070198}}}},
      {"dage-mti-xl16c.txt",
       {{8, {"Node_Hw_Version", 1}}, {9, {"Unit_Directory", 1}}, {10, {"Reserved", 0}}}},
      {"hamamatsu-c8484-05g.txt",
       {{6, {"Module_Vendor_Id", 0x009006}}, {8, {"Node_Unique_Id", 2}}}},
      {"imaging-source-dbm-21bf04.txt",
       {{6, {"Module_Vendor_Id", 0x000748}}, {8, {"Node_Unique_Id", 2}}}},
      {"imaging-source-dmm-21bf04.txt", {{7, {"Module_Sw_Version", 0x070198}}}},
      {"point-grey-flea2-fl2-08s2c.txt",
       {{7, {"Textual_Descriptor", 0x0E}}, {8, {"Node_Capabilities", 0x0083C0}}}},
      {"point-grey-grasshopper-gras-50s5c.txt",
       {{6, {"Node_Capabilities", 0x0083C0}},
        {7, {"Module_Vendor_Id", 0x00B09D}},
        {8, {"Textual_Descriptor", 0x0D}}}},
  };
  const std::filesystem::path dir = std::filesystem::path(pralix_test::testDataDir()) / "config-roms";
  int roms = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    if (entry.path().extension() != ".txt") continue;
    const std::string file = entry.path().filename().string();
    SCOPED_TRACE(file);
    FakeModule module(1, false, false);
    std::ifstream in(entry.path());
    std::map<uint32_t, uint32_t> rom;
    for (std::string line; std::getline(in, line);) {
      std::istringstream fields(line);
      uint32_t address = 0, value = 0;
      if (!line.empty() && line[0] != '#' && fields >> std::hex >> address >> value) {
        rom[address] = value;
        module.fake(0).set(address, value);
      }
    }
    ASSERT_GT(rom.size(), 10u);
    ++roms;
    vxDcamCamera camera(0, &module);
    const auto registers = registersUnder(camera.group(vxDcamCamera::kConfigRom));
    for (vxRegister* reg : registers) {
      const auto it = rom.find(reg->address());
      EXPECT_EQ(reg->read32(), it == rom.end() ? 0u : it->second) << reg->name();
    }
    EXPECT_EQ(camera.findRegister("Bus Name")->read32(), 0x31333934u);
    ASSERT_TRUE(expected.count(file));
    for (const auto& [index, nameAndValue] : expected.at(file)) {
      vxRegister* reg = registers.at(index);
      EXPECT_EQ(reg->name(), nameAndValue.first) << index;
      // The value field, after the key type and id, named after the key too.
      ASSERT_EQ(reg->bitFields().size(), 3u);
      const vxBitField& value = *reg->bitFields()[2];
      if (nameAndValue.first != "Reserved") {
        EXPECT_EQ(value.valueIn(reg->read32()), nameAndValue.second) << index;
        EXPECT_NE(value.name(), "entry_value") << index;
      }
    }
  }
  EXPECT_EQ(roms, 9);
}
