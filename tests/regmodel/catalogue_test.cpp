// The DCAM register catalogue: order, counts, addresses read from the camera, real ROMs.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "fake_camera.h"
#include "regmodel/dcam_camera.h"

namespace {

std::vector<std::string> childNames(const vxDiagObject* node) {
  std::vector<std::string> names;
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

std::vector<std::string> namesOf(const std::vector<vxRegister*>& regs) {
  std::vector<std::string> names;
  for (const vxRegister* reg : regs) names.push_back(reg->name());
  return names;
}

std::vector<std::string> fieldNames(const vxRegister* reg) {
  std::vector<std::string> names;
  for (const auto& field : reg->bitFields()) names.push_back(field->name());
  return names;
}

int countAt(const vxDcamCamera& camera, uint32_t address) {
  int count = 0;
  for (const vxRegister* reg : camera.registers().registers()) count += reg->address() == address ? 1 : 0;
  return count;
}

class Catalogue : public ::testing::Test {
 protected:
  FakeModule module;
  FakeCamera& device = module.addCamera();
};

constexpr size_t kPlainRegisterCount = 19 + 1 + 40 + 8 + 16 + 13 + 16 + 15;

}  // namespace

TEST_F(Catalogue, GroupsComeInTheirFixedOrder) {
  vxDcamCamera camera(0, &module);
  const std::vector<std::string> top = {
      "Config ROM Registers",           "Camera Initialize Register",
      "Video Inquiry Registers",        "Basic Function Inquiry Registers",
      "Function/Feature Inquiry Registers", "Camera Control and Status Registers",
      "Feature Control and Status Registers", "Format7 Control and Status Registers"};
  EXPECT_EQ(childNames(&camera), top);
  for (int i = 0; i < vxDcamCamera::kGroupCount; ++i) {
    EXPECT_EQ(camera.group(static_cast<vxDcamCamera::Group>(i)), camera.children()[static_cast<size_t>(i)]);
  }
  EXPECT_EQ(camera.pioGroup(), nullptr);
  EXPECT_EQ(camera.strobeGroup(), nullptr);
  EXPECT_EQ(camera.kind(), "DCAM");

  EXPECT_EQ(childNames(camera.group(vxDcamCamera::kConfigRom)),
            (std::vector<std::string>{"Bus Info Block", "Root Directory"}));
  const vxDiagObject* video = camera.group(vxDcamCamera::kVideoInquiry);
  EXPECT_EQ(childNames(video), (std::vector<std::string>{"Video Format Inquiry Registers",
                                                         "Video Mode Inquiry Registers",
                                                         "Video Rate Inquiry Registers"}));
  EXPECT_EQ(childNames(video->children()[2]),
            (std::vector<std::string>{"Format 0", "Format 1", "Format 2", "Format 7"}));
  EXPECT_EQ(childNames(camera.group(vxDcamCamera::kFormat7)), (std::vector<std::string>{"Mode 0"}));

  // The array holds the registers in the order a walk of the tree meets them.
  EXPECT_EQ(camera.registers().size(), kPlainRegisterCount);
  EXPECT_EQ(registersUnder(&camera), camera.registers().registers());
  for (const vxRegister* reg : camera.registers().registers()) {
    EXPECT_EQ(reg->kind(), "DCAM");
    EXPECT_EQ(reg->width(), 32u);
    EXPECT_EQ(reg->value(), 0u);
    EXPECT_EQ(reg->secondValue(), 0u);
  }
}

TEST_F(Catalogue, ConfigRomAndInitializeRegisters) {
  vxDcamCamera camera(0, &module);
  const auto rom = registersUnder(camera.group(vxDcamCamera::kConfigRom));
  ASSERT_EQ(rom.size(), 19u);
  const std::vector<std::string> first = {"Header",   "Bus Name",         "Bus Characteristics", "Node Vendor ID",
                                          "Chip ID Lo", "Reserved",       "Module_Vendor_Id",    "Node_Capabilities",
                                          "Node_Unique_Id"};
  for (size_t i = 0; i < rom.size(); ++i) {
    EXPECT_EQ(rom[i]->name(), i < first.size() ? first[i] : "Reserved") << i;
    EXPECT_EQ(rom[i]->address(), 0xF0000400u + 4u * static_cast<uint32_t>(i)) << i;
  }
  EXPECT_EQ(fieldNames(rom[0]), (std::vector<std::string>{"info_length", "crc_length", "rom_crc_value"}));
  for (const auto& field : rom[0]->bitFields()) EXPECT_TRUE(field->isReadOnly());
  EXPECT_NE(rom[1]->bitFields()[0]->description().find("1394"), std::string::npos);
  EXPECT_EQ(rom[1]->bitFields()[0]->maxValue(), 0xFFFFFFFFu);
  const vxBitField* imrc = rom[2]->bitFields()[0].get();
  EXPECT_EQ(imrc->name(), "imrc");
  EXPECT_EQ(imrc->description(), "Isochronous resource manager capable");
  EXPECT_EQ(rom[2]->bitFields()[1]->description(), "Cycle master capable");
  EXPECT_EQ(rom[2]->bitFields()[2]->description(), "Isochronous capable");

  const auto init = registersUnder(camera.group(vxDcamCamera::kCameraInitialize));
  ASSERT_EQ(init.size(), 1u);
  EXPECT_EQ(init[0]->name(), "INITIALIZE");
  EXPECT_EQ(init[0]->address(), 0xF0F00000u);
  ASSERT_EQ(init[0]->bitFields().size(), 2u);
  const vxBitField* reset = init[0]->bitFields()[0].get();
  EXPECT_EQ(reset->name(), "Initialize");
  EXPECT_EQ(reset->access(), kAccessWriteOnly);
  EXPECT_EQ(reset->mask(), 0x80000000u);
  EXPECT_EQ(reset->description(), "Set to reset camera to initial state. Bit is self clearing.");
  EXPECT_EQ(init[0]->bitFields()[1]->name(), "Reserved");
  EXPECT_EQ(init[0]->bitFields()[1]->access(), kAccessReadOnly);
}

TEST_F(Catalogue, VideoInquiryRegistersCoverModesRatesAndFormat7Offsets) {
  vxDcamCamera camera(0, &module);
  const auto video = registersUnder(camera.group(vxDcamCamera::kVideoInquiry));
  ASSERT_EQ(video.size(), 40u);
  EXPECT_EQ(video[0]->name(), "V_FORMAT_INQ");
  EXPECT_EQ(fieldNames(video[0]),
            (std::vector<std::string>{"Format_0", "Format_1", "Format_2", "Reserved", "Format_6", "Format_7", "Reserved"}));
  EXPECT_EQ(video[0]->bitFields()[4]->description(), "Still image format");
  for (uint32_t format = 0; format < 8; ++format) {
    const vxRegister* mode = video[1 + format];
    EXPECT_EQ(mode->name(), "V_MODE_INQ_" + std::to_string(format));
    EXPECT_EQ(mode->address(), 0xF0F00180u + 4 * format);
    EXPECT_EQ(mode->bitFields().size(), format == 0 ? 8u : 9u);
    EXPECT_EQ(mode->bitFields()[3]->name(), "Mode_3");
    EXPECT_EQ(mode->bitFields()[3]->startBit(), 3u);
    EXPECT_EQ(mode->bitFields().back()->name(), "Reserved");
    EXPECT_EQ(mode->bitFields().back()->startBit(), 8u);
  }
  EXPECT_EQ(video[1]->bitFields()[3]->description(), "640 X 480 YUV(4:2:2) Mode (16bit/pixel)");

  const auto rates = namesOf(std::vector<vxRegister*>(video.begin() + 9, video.end()));
  ASSERT_EQ(rates.size(), 31u);
  EXPECT_EQ(rates[0], "V_RATE_INQ_0_0");
  EXPECT_EQ(rates[6], "V_RATE_INQ_0_6");
  EXPECT_EQ(rates[7], "V_RATE_INQ_1_0");
  EXPECT_EQ(rates[22], "V_RATE_INQ_2_7");
  EXPECT_EQ(rates[23], "V_CSR_INQ_7_0");
  EXPECT_EQ(video[9 + 6]->address(), 0xF0F00218u);
  EXPECT_EQ(video[9 + 7]->address(), 0xF0F00220u);
  EXPECT_EQ(video[9 + 14]->address(), 0xF0F0023Cu);
  EXPECT_EQ(video[9 + 22]->address(), 0xF0F0025Cu);
  EXPECT_EQ(video[9 + 23]->address(), 0xF0F002E0u);
  EXPECT_EQ(video[39]->address(), 0xF0F002FCu);
  EXPECT_EQ(video[9]->bitFields().size(), 8u);
  EXPECT_EQ(video[9]->bitFields()[7]->name(), "FrameRate_7");
  EXPECT_EQ(video[39]->bitFields()[0]->description(), "CSR quadlet offset for Format_7 Mode_7");
  EXPECT_EQ(video[39]->bitFields()[0]->maxValue(), 0xFFFFFFFFu);
}

TEST_F(Catalogue, InquiryRegistersOfBasicFunctionsAndFeatures) {
  vxDcamCamera camera(0, &module);
  const auto basic = registersUnder(camera.group(vxDcamCamera::kBasicFunctionInquiry));
  EXPECT_EQ(namesOf(basic), (std::vector<std::string>{"BASIC_FUNC_INQ", "Feature_Hi_Inq", "Feature_Lo_Inq",
                                                      "Opt_Function_Inq", "Advanced_Feature_Inq",
                                                      "PIO_Control_CSR_Inq", "SIO_Control_CSR_Inq",
                                                      "Strobe_Output_CSR_Inq"}));
  const uint32_t basicAddresses[] = {0x400, 0x404, 0x408, 0x40C, 0x480, 0x484, 0x488, 0x48C};
  for (size_t i = 0; i < basic.size(); ++i) {
    EXPECT_EQ(basic[i]->address(), 0xF0F00000u + basicAddresses[i]);
    for (const auto& field : basic[i]->bitFields()) EXPECT_TRUE(field->isReadOnly()) << field->name();
  }
  // The capability bits the reports test sit where the register map has them.
  EXPECT_EQ(basic[0]->findBitField("Cam_Pwr_Ctrl") ? 1 : 0, 0);
  EXPECT_EQ(basic[0]->findBitField("Cam_Power_Cntl")->mask(), 1u << 15);
  EXPECT_EQ(basic[0]->findBitField("One_Shot_Inq")->mask(), 1u << 12);
  EXPECT_EQ(basic[0]->findBitField("Multi_Shot_Inq")->mask(), 1u << 11);
  EXPECT_EQ(basic[3]->findBitField("PIO")->mask(), vxDcamCamera::kOptFunctionPio);
  EXPECT_EQ(basic[3]->findBitField("Strobe_out")->mask(), vxDcamCamera::kOptFunctionStrobe);

  const auto inquiry = registersUnder(camera.group(vxDcamCamera::kFeatureInquiry));
  ASSERT_EQ(inquiry.size(), 16u);
  for (size_t n = 0; n < inquiry.size(); ++n) {
    EXPECT_EQ(inquiry[n]->name(), vxDcamCamera::kFeatureInquiryNames[n]);
    EXPECT_EQ(inquiry[n]->address(), 0xF0F00500u + 4u * static_cast<uint32_t>(n));
  }
  EXPECT_EQ(inquiry[15]->name(), "FRAME_RATE_INQ");
  EXPECT_EQ(camera.findRegister("ZOOM_INQ"), nullptr);
  EXPECT_EQ(camera.findRegister("CAPTURE_QUANTITY_INQ"), nullptr);
  EXPECT_EQ(fieldNames(inquiry[0]),
            (std::vector<std::string>{"Presence_Inq", "Abs_Control_Inq", "Reserved", "One_Push_Inq", "Readout_Inq",
                                      "On/Off_Inq", "Auto_Inq", "Manual_Inq", "Min_Value", "Max_Value"}));
  EXPECT_EQ(inquiry[0]->findBitField("Max_Value")->mask(), 0xFFFu);
  EXPECT_EQ(inquiry[0]->findBitField("Min_Value")->mask(), 0xFFF000u);

  const vxRegister* trigger = inquiry[12];
  EXPECT_EQ(trigger->name(), "TRIGGER_INQ");
  EXPECT_EQ(trigger->findBitField("Min_Value"), nullptr);
  EXPECT_EQ(trigger->findBitField("Trigger_Source3_Inq")->startBit(), 11u);
  EXPECT_EQ(trigger->findBitField("Trigger_Source3_Inq")->description(), "Presence of Trigger Source 3");
  EXPECT_EQ(trigger->findBitField("Software_Trigger_Inq")->startBit(), 15u);
  EXPECT_EQ(trigger->findBitField("Trigger_Mode5_Inq")->startBit(), 21u);
  EXPECT_EQ(trigger->findBitField("Trigger_Mode14_inq")->mask(), 0x2u);
  EXPECT_EQ(trigger->findBitField("Trigger_Mode15_inq")->mask(), 0x1u);
}

TEST_F(Catalogue, ControlAndFeatureRegisters) {
  vxDcamCamera camera(0, &module);
  const auto control = registersUnder(camera.group(vxDcamCamera::kCameraControl));
  EXPECT_EQ(namesOf(control),
            (std::vector<std::string>{"CURRENT_FRAME_RATE", "CURRENT_VIDEO_MODE", "CURRENT_VIDEO_FORMAT",
                                      "ISO_CHANNEL/ISO_SPEED", "CAMERA_POWER", "ISO_EN/CONTINOUS_SHOT", "MEMORY_SAVE",
                                      "ONE_SHOT/MULTI_SHOT", "MEM_SAVE_CH", "CUR_SAVE_CH", "VMODE_ERROR_STATUS",
                                      "SOFTWARE_TRIGGER", "DATA_DEPTH"}));
  for (size_t i = 0; i < control.size(); ++i) EXPECT_EQ(control[i]->address(), 0xF0F00600u + 4u * i);
  EXPECT_EQ(fieldNames(control[3]),
            (std::vector<std::string>{"ISO_Channel", "Reserved", "ISO_Speed", "Reserved", "Operation_Mode", "Reserved",
                                      "ISO_Channel_B", "Reserved", "ISO_Speed_B"}));
  EXPECT_EQ(control[4]->findBitField("Camera_Power_Status")->access(), kAccessReadOnly);
  EXPECT_EQ(control[4]->findBitField("Cam_Pwr_Ctrl")->access(), kAccessReadWrite);
  EXPECT_EQ(control[7]->findBitField("Count_Number")->mask(), 0xFFFFu);
  EXPECT_EQ(control[10]->findBitField("Vmode_Error_Status")->access(), kAccessReadOnly);

  const auto features = registersUnder(camera.group(vxDcamCamera::kFeatureControl));
  ASSERT_EQ(features.size(), 16u);
  for (size_t n = 0; n < features.size(); ++n) {
    EXPECT_EQ(features[n]->name(), vxDcamCamera::kFeatureControlNames[n]);
    EXPECT_EQ(features[n]->address(), 0xF0F00800u + 4u * n);
  }
  EXPECT_EQ(fieldNames(features[0]), (std::vector<std::string>{"Presence_Inq", "Abs_Control", "Reserved", "One_Push",
                                                               "ON_OFF", "A_M_Mode", "Reserved", "Value"}));
  EXPECT_EQ(features[0]->findBitField("ON_OFF")->description(), "Switch this feature, 0: off, 1: on");
  EXPECT_EQ(features[0]->findBitField("A_M_Mode")->description(), "0: manual, 1: auto");
  EXPECT_EQ(features[3]->findBitField("U_Value / B_Value")->description(), "U value / B value");
  EXPECT_EQ(features[3]->findBitField("V_Value / R_Value")->mask(), 0xFFFu);
  EXPECT_EQ(features[3]->findBitField("Value"), nullptr);
  EXPECT_EQ(features[14]->findBitField("R-Value")->description(), "Red channel compensation value");
  EXPECT_EQ(features[14]->findBitField("R-Value")->mask(), 0x00FF0000u);
  EXPECT_EQ(features[12]->findBitField("Trigger_Mode")->description(), "Trigger mode, 0-15");
  EXPECT_EQ(features[12]->findBitField("Trigger_Mode")->maxValue(), 15u);
  EXPECT_EQ(camera.findRegister("pan"), nullptr);
  EXPECT_EQ(camera.findRegister("brightness"), features[0]);
}

TEST_F(Catalogue, NoFieldsOverlapAndAllSitInsideTheirRegister) {
  device.set(0xF0F0040C, vxDcamCamera::kOptFunctionPio | vxDcamCamera::kOptFunctionStrobe);
  device.set(0xF0F0048C, 0x003C3000);
  device.set(0xF0F0C000, 0xF0000000);
  vxDcamCamera camera(0, &module);
  for (const vxRegister* reg : camera.registers().registers()) {
    uint32_t covered = 0;
    for (const auto& field : reg->bitFields()) {
      EXPECT_EQ(covered & field->mask(), 0u) << reg->name() << " " << field->name();
      covered |= field->mask();
      EXPECT_EQ(field->parent(), reg);
      EXPECT_EQ(field->reg(), reg);
    }
  }
}

TEST_F(Catalogue, Format7RegistersSitAtTheOffsetTheCameraReports) {
  device.set(0xF0F002E0, 0x003C0000);
  vxDcamCamera camera(0, &module);
  const auto mode0 = registersUnder(camera.group(vxDcamCamera::kFormat7));
  EXPECT_EQ(namesOf(mode0), (std::vector<std::string>{"V_CSR_INQ_7_0", "MAX_IMAGE_SIZE_INQ", "UNIT_SIZE_INQ",
                                                      "IMAGE_POSITION", "IMAGE_SIZE", "COLOR_CODING_ID",
                                                      "COLOR_CODING_INQ", "PIXEL_NUMBER_INQ", "TOTAL_BYTES_HI_INQ",
                                                      "TOTAL_BYTES_LO_INQ", "PACKET_PARA_INQ", "BYTE_PER_PACKET",
                                                      "PACKET_PER_FRAME_INQ", "UNIT_POSITION_INQ", "VALUE_SETTING"}));
  const uint32_t offsets[] = {0x00, 0x04, 0x08, 0x0C, 0x10, 0x14, 0x34, 0x38, 0x3C, 0x40, 0x44, 0x48, 0x4C, 0x7C};
  EXPECT_EQ(mode0[0]->address(), 0xF0F002E0u);
  for (size_t i = 0; i < 14; ++i) EXPECT_EQ(mode0[i + 1]->address(), 0xF0F00000u + offsets[i]) << mode0[i + 1]->name();
  EXPECT_EQ(mode0[1]->findBitField("Hmax")->mask(), 0xFFFF0000u);

  // An offset of 0 is used as it stands.
  FakeModule zero;
  zero.addCamera();
  vxDcamCamera other(0, &zero);
  EXPECT_EQ(other.findRegister("MAX_IMAGE_SIZE_INQ")->address(), 0xF0000000u);
  EXPECT_EQ(other.findRegister("VALUE_SETTING")->address(), 0xF000007Cu);
}

TEST_F(Catalogue, PioWithoutStrobeStopsAfterThePioGroup) {
  device.set(0xF0F0040C, vxDcamCamera::kOptFunctionPio);
  device.set(0xF0F00484, 0x003C2000);
  vxDcamCamera camera(0, &module);
  ASSERT_NE(camera.pioGroup(), nullptr);
  EXPECT_EQ(camera.strobeGroup(), nullptr);
  EXPECT_EQ(camera.children().size(), 9u);
  EXPECT_EQ(camera.pioGroup()->name(), "PIO Control and Configuration");
  const auto pio = registersUnder(camera.pioGroup());
  EXPECT_EQ(namesOf(pio), (std::vector<std::string>{"PIO_Control_CSR_Inq", "PIO_OUTPUT", "PIO_INPUT"}));
  EXPECT_EQ(pio[0]->address(), 0xF0F00484u);
  EXPECT_EQ(pio[1]->address(), 0xF0F08000u);
  EXPECT_EQ(pio[2]->address(), 0xF0F08004u);
  EXPECT_EQ(camera.registers().size(), kPlainRegisterCount + 3);
  // The optional-function register read for the decision is not catalogued twice.
  EXPECT_EQ(countAt(camera, 0xF0F0040C), 1);
  EXPECT_EQ(device.readAddresses,
            (std::vector<uint32_t>{0xF0F002E0, 0xF0F0040C, 0xF0F00484, 0xF0F0040C}));
}

TEST_F(Catalogue, StrobeRegistersOnlyForTheStrobesThatArePresent) {
  device.set(0xF0F0040C, vxDcamCamera::kOptFunctionStrobe);
  device.set(0xF0F0048C, 0x003C3000);
  device.set(0xF0F0C000, 0xA0000000);
  vxDcamCamera camera(0, &module);
  EXPECT_EQ(camera.pioGroup(), nullptr);
  ASSERT_NE(camera.strobeGroup(), nullptr);
  EXPECT_EQ(camera.children().back(), camera.strobeGroup());
  EXPECT_EQ(camera.strobeGroup()->name(), "Strobe Control and Configuration");
  const auto strobe = registersUnder(camera.strobeGroup());
  EXPECT_EQ(namesOf(strobe), (std::vector<std::string>{"Strobe_Output_CSR_Inq", "Strobe_CNTL_Inq", "Strobe_0_Inq",
                                                       "Strobe_0_Cnt", "Strobe_2_Inq", "Strobe_2_Cnt"}));
  EXPECT_EQ(strobe[0]->address(), 0xF0F0048Cu);
  EXPECT_EQ(strobe[1]->address(), 0xF0F0C000u);
  EXPECT_EQ(strobe[2]->address(), 0xF0F0C100u);
  EXPECT_EQ(strobe[3]->address(), 0xF0F0C200u);
  EXPECT_EQ(strobe[4]->address(), 0xF0F0C108u);
  EXPECT_EQ(strobe[5]->address(), 0xF0F0C208u);
  EXPECT_EQ(strobe[2]->bitFields()[0]->description(), "Presence of this function");
  EXPECT_EQ(camera.registers().size(), kPlainRegisterCount + 6);
  EXPECT_EQ(countAt(camera, 0xF0F0040C), 1);
}

TEST_F(Catalogue, AllFourStrobesAndPioTogether) {
  device.set(0xF0F0040C, vxDcamCamera::kOptFunctionPio | vxDcamCamera::kOptFunctionStrobe);
  device.set(0xF0F00484, 0x003C2000);
  device.set(0xF0F0048C, 0x003C3000);
  device.set(0xF0F0C000, 0xF0000000);
  vxDcamCamera camera(0, &module);
  EXPECT_EQ(camera.children().size(), 10u);
  EXPECT_EQ(registersUnder(camera.strobeGroup()).size(), 10u);
  EXPECT_EQ(camera.findRegister("Strobe_3_Cnt")->address(), 0xF0F0C20Cu);
  EXPECT_EQ(registersUnder(&camera), camera.registers().registers());
}

TEST_F(Catalogue, ConstructionFailsWhenTheCameraDoesNotAnswer) {
  device.failAt(0xF0F002E0);
  try {
    vxDcamCamera camera(0, &module);
    FAIL() << "built without the Format_7 offset";
  } catch (const vxRegister::Error& e) {
    EXPECT_NE(e.message().find("V_CSR_INQ_7_0"), std::string::npos) << e.message();
    EXPECT_NE(e.message().find("0xF0F002E0"), std::string::npos) << e.message();
    EXPECT_NE(e.message().find("no answer at 0xF0F002E0"), std::string::npos) << e.message();
  }
  device.heal();
  device.failAt(0xF0F0040C);
  EXPECT_THROW(vxDcamCamera(0, &module), vxRegister::Error);
  EXPECT_THROW(vxDcamCamera(1, &module), vx_DcamModule::Error);
}

TEST_F(Catalogue, EveryReadGoesToTheCameraAgain) {
  vxDcamCamera camera(0, &module);
  vxRegister* rate = camera.findRegister("CURRENT_FRAME_RATE");
  const int lookups = module.lookups;
  const int reads = device.reads;
  device.set(0x600, 0x80000000);
  EXPECT_EQ(rate->read32(), 0x80000000u);
  device.set(0x600, 0x40000000);
  EXPECT_EQ(rate->read32(), 0x40000000u);
  EXPECT_EQ(device.reads - reads, 2);
  EXPECT_EQ(module.lookups - lookups, 2);

  vxBitField* field = rate->findBitField("Cur_V_Frm_rate");
  ASSERT_TRUE(field->setStagedValue(5));
  EXPECT_TRUE(field->commit());
  EXPECT_EQ(device.get(0x600), 0xA0000000u);
  device.failAt(0x600);
  EXPECT_FALSE(rate->write(0));
  EXPECT_THROW(rate->read(), vxRegister::Error);
}

TEST_F(Catalogue, PrintsCatalogueAndValueLines) {
  device.set(0xF0000404, 0x31333934);
  device.failAt(0xF0F00600);
  vxDcamCamera camera(0, &module);
  std::string text;
  camera.registers().printCatalogue(text, true);
  std::istringstream lines(text);
  std::string line;
  size_t count = 0;
  while (std::getline(lines, line)) ++count;
  EXPECT_EQ(count, camera.registers().size());
  EXPECT_EQ(text.substr(0, text.find('\n') + 1),
            "DCAM       Header" + std::string(42, ' ') + " 0xF0000400 32 0x00000000 0x00000000\n");

  camera.registers().printValues(text, true);
  EXPECT_NE(text.find("\n0xF0000404 = 0x31333934 Bus Name\n"), std::string::npos);
  EXPECT_NE(text.find("\n0xF0F00604 = 0x0000 CURRENT_VIDEO_MODE"), std::string::npos);
  EXPECT_NE(text.find("Reading register CURRENT_FRAME_RATE at 0xF0F00600 failed"), std::string::npos);
}

TEST(CatalogueOfRealCameras, BuildsOverEveryConfigRom) {
  const std::filesystem::path dir = std::filesystem::path(PRALIX_SHARED_DATA_DIR) / "config-roms";
  int roms = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    if (entry.path().extension() != ".txt") continue;
    SCOPED_TRACE(entry.path().filename().string());
    FakeModule module;
    FakeCamera& device = module.addCamera();
    std::ifstream in(entry.path());
    std::string line;
    std::map<uint32_t, uint32_t> rom;
    while (std::getline(in, line)) {
      if (line.empty() || line[0] == '#') continue;
      std::istringstream fields(line);
      uint32_t address = 0;
      uint32_t value = 0;
      if (fields >> std::hex >> address >> value) {
        rom[address] = value;
        device.set(address, value);
      }
    }
    ASSERT_GT(rom.size(), 10u);
    ++roms;
    vxDcamCamera camera(0, &module);
    std::string text;
    camera.registers().printCatalogue(text, true);
    EXPECT_FALSE(text.empty());
    camera.registers().printValues(text, true);
    EXPECT_NE(text.find("Header"), std::string::npos);
    for (vxRegister* reg : registersUnder(camera.group(vxDcamCamera::kConfigRom))) {
      const auto it = rom.find(reg->address());
      EXPECT_EQ(reg->read32(), it == rom.end() ? 0u : it->second) << reg->name();
    }
    EXPECT_EQ(camera.findRegister("Bus Name")->read32(), 0x31333934u);
  }
  EXPECT_EQ(roms, 9);
}
