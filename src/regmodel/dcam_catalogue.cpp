// The DCAM register catalogue: groups, registers and fields of the IIDC register map.
#include <string>

#include "acquisition/config_rom_reader.h"
#include "base/format.h"
#include "regmodel/dcam_camera.h"

namespace {

constexpr uint32_t kRo = kAccessReadOnly;
constexpr uint32_t kRw = kAccessReadWrite;

constexpr uint32_t kConfigRomBase = 0xF0000400u;
// Places of the catalogue's Root Directory registers after the header.
constexpr uint32_t kRootDirectoryPlaces = 13;

const char* const kFrameRateNames[8] = {"1.875 fps", "3.75 fps", "7.5 fps", "15 fps",
                                        "30 fps",    "60 fps",   "120 fps", "240 fps"};

// Mode descriptions of the fixed-size formats 0 to 2.
const char* const kModeDescriptions[3][8] = {
    {"160 X 120 YUV(4:4:4) Mode (24bit/pixel)", "320 X 240 YUV(4:2:2) Mode (16bit/pixel)",
     "640 X 480 YUV(4:1:1) Mode (12bit/pixel)", "640 X 480 YUV(4:2:2) Mode (16bit/pixel)",
     "640 X 480 RGB Mode (24bit/pixel)", "640 X 480 Y (Mono) Mode (8bit/pixel)",
     "640 X 480 Y (Mono16) Mode (16bit/pixel)", ""},
    {"800 X 600 YUV(4:2:2) Mode (16bit/pixel)", "800 X 600 RGB Mode (24bit/pixel)",
     "800 X 600 Y (Mono) Mode (8bit/pixel)", "1024 X 768 YUV(4:2:2) Mode (16bit/pixel)",
     "1024 X 768 RGB Mode (24bit/pixel)", "1024 X 768 Y (Mono) Mode (8bit/pixel)",
     "800 X 600 Y (Mono16) Mode (16bit/pixel)", "1024 X 768 Y (Mono16) Mode (16bit/pixel)"},
    {"1280 X 960 YUV(4:2:2) Mode (16bit/pixel)", "1280 X 960 RGB Mode (24bit/pixel)",
     "1280 X 960 Y (Mono) Mode (8bit/pixel)", "1600 X 1200 YUV(4:2:2) Mode (16bit/pixel)",
     "1600 X 1200 RGB Mode (24bit/pixel)", "1600 X 1200 Y (Mono) Mode (8bit/pixel)",
     "1280 X 960 Y (Mono16) Mode (16bit/pixel)", "1600 X 1200 Y (Mono16) Mode (16bit/pixel)"},
};

const char* const kFeatureHiNames[16] = {"Brightness", "Auto_Exposure", "Sharpness",   "White_Balance",
                                         "Hue",        "Saturation",    "Gamma",       "Shutter",
                                         "Gain",       "Iris",          "Focus",       "Temperature",
                                         "Trigger",    "Trigger_Delay", "White_Shading", "Frame_Rate"};
const char* const kFeatureHiDescriptions[16] = {
    "Presence of Brightness control",    "Presence of Auto Exposure control",
    "Presence of Sharpness control",     "Presence of White Balance control",
    "Presence of Hue control",           "Presence of Saturation control",
    "Presence of Gamma control",         "Presence of Shutter control",
    "Presence of Gain control",          "Presence of Iris control",
    "Presence of Focus control",         "Presence of Temperature control",
    "Presence of Trigger control",       "Presence of Trigger Delay control",
    "Presence of White Shading control", "Presence of Frame Rate control"};

const char* const kColorCodingNames[11] = {"Mono8",         "YUV411",        "YUV422", "YUV444",
                                           "RGB8",          "Mono16",        "RGB16",  "Signed_Mono16",
                                           "Signed_RGB16",  "Raw8",          "Raw16"};
const char* const kColorCodingDescriptions[11] = {
    "Y only, 8bit/pixel",          "YUV(4:1:1), 12bit/pixel",     "YUV(4:2:2), 16bit/pixel",
    "YUV(4:4:4), 24bit/pixel",     "RGB, 24bit/pixel",            "Y only, 16bit/pixel",
    "RGB, 48bit/pixel",            "Signed Y only, 16bit/pixel",  "Signed RGB, 48bit/pixel",
    "Raw sensor data, 8bit/pixel", "Raw sensor data, 16bit/pixel"};

}  // namespace

const char* const vxDcamCamera::kGroupNames[kGroupCount] = {
    "Config ROM Registers",
    "Camera Initialize Register",
    "Video Inquiry Registers",
    "Basic Function Inquiry Registers",
    "Function/Feature Inquiry Registers",
    "Camera Control and Status Registers",
    "Feature Control and Status Registers",
    "Format7 Control and Status Registers",
};

const char* const vxDcamCamera::kFeatureInquiryNames[kFeatureTableSize] = {
    "BRIGHTNESS_INQ", "AUTO_EXPOSURE_INQ", "SHARPNESS_INQ",      "WHITE_BAL_INQ",
    "HUE_INQ",        "SATURATION_INQ",    "GAMMA_INQ",          "SHUTTER_INQ",
    "GAIN_INQ",       "IRIS_INQ",          "FOCUS_INQ",          "TEMPERATURE_INQ",
    "TRIGGER_INQ",    "TRIGGER_DLY_INQ",   "WHITE_SHD_INQ",      "FRAME_RATE_INQ",
    "ZOOM_INQ",       "PAN_INQ",           "TILT_INQ",           "OPTICAL_FILTER_INQ",
    "CAPTURE_SIZE_INQ", "CAPTURE_QUANTITY_INQ"};

const char* const vxDcamCamera::kFeatureControlNames[kFeatureTableSize] = {
    "BRIGHTNESS",   "AUTO_EXPOSURE", "SHARPNESS",     "WHITE_BALANCE",  "HUE",
    "SATURATION",   "GAMMA",         "SHUTTER",       "GAIN",           "IRIS",
    "FOCUS",        "TEMPERATURE",   "TRIGGER_MODE",  "TRIGGER_DELAY",  "WHITE_SHADING",
    "FRAME_RATE",   "ZOOM",          "PAN",           "TILT",           "OPTICAL_FILTER",
    "CAPTURE_SIZE", "CAPTURE_QUANTITY"};

void vxDcamCamera::offsetField(const std::string& name, const std::string& description) {
  field(name, 0, 32, kRo, description);
}

void vxDcamCamera::inquiryBits(const char* const* names, const char* const* descriptions, int count) {
  for (int bit = 0; bit < count; ++bit) field(names[bit], static_cast<uint32_t>(bit), 1, kRo, descriptions[bit]);
}

void vxDcamCamera::buildCatalogue() {
  for (int i = 0; i < kGroupCount; ++i) {
    m_groups[i] = beginGroup(this, kGroupNames[i]);
  }
  buildConfigRom();
  buildInitialize();
  buildVideoInquiry();
  buildBasicFunctionInquiry();
  buildFeatureInquiry();
  buildCameraControl();
  buildFeatureControl();
  buildFormat7();
  buildOptionalFunctions();
  m_currentGroup = nullptr;
  m_currentRegister = nullptr;
}

// IEEE 1212 configuration ROM: bus information block and root directory.
void vxDcamCamera::buildConfigRom() {
  beginGroup(m_groups[kConfigRom], "Bus Info Block");
  addRegister("Header", kConfigRomBase);
  field("info_length", 0, 8, kRo, "Length of the bus information block in quadlets");
  field("crc_length", 8, 8, kRo, "Number of configuration ROM quadlets covered by the CRC");
  field("rom_crc_value", 16, 16, kRo, "CRC of the quadlets covered by crc_length");

  addRegister("Bus Name", kConfigRomBase + 0x04);
  field("bus_name", 0, 32, kRo, "Bus name, the ASCII text \"1394\" (0x31333934)");

  addRegister("Bus Characteristics", kConfigRomBase + 0x08);
  field("imrc", 0, 1, kRo, "Isochronous resource manager capable");
  field("cmc", 1, 1, kRo, "Cycle master capable");
  field("isc", 2, 1, kRo, "Isochronous capable");
  field("bmc", 3, 1, kRo, "Bus manager capable");
  field("pmc", 4, 1, kRo, "Power manager capable");
  reserved(5, 3);
  field("cyc_clk_acc", 8, 8, kRo, "Cycle master clock accuracy in parts per million");
  field("max_rec", 16, 4, kRo, "Largest asynchronous write payload accepted: 2^(max_rec+1) bytes");
  reserved(20, 2);
  field("max_ROM", 22, 2, kRo, "Largest configuration ROM read: 0 quadlet, 1 64 bytes, 2 1024 bytes");
  field("generation", 24, 4, kRo, "Configuration ROM generation, changed whenever the ROM changes");
  reserved(28, 1);
  field("link_spd", 29, 3, kRo, "Link speed: 0 S100, 1 S200, 2 S400, 3 S800");

  addRegister("Node Vendor ID", kConfigRomBase + 0x0C);
  field("node_vendor_id", 0, 24, kRo, "Company ID (IEEE OUI) of the node vendor");
  field("chip_id_hi", 24, 8, kRo, "Most significant 8 bits of the chip ID");

  addRegister("Chip ID Lo", kConfigRomBase + 0x10);
  field("chip_id_lo", 0, 32, kRo, "Least significant 32 bits of the chip ID");

  beginGroup(m_groups[kConfigRom], "Root Directory");
  addRegister("Reserved", kConfigRomBase + 0x14);
  field("root_length", 0, 16, kRo, "Number of quadlets in the root directory");
  field("root_crc", 16, 16, kRo, "CRC of the root directory");

  // The registers keep their places; each entry of the root directory is
  // named and described by its own key, since cameras order their entries
  // as they please. Quadlets past the directory's length are not entries.
  uint32_t rootHeader = 0;
  const uint32_t rootLength = readQuadlet(kConfigRomBase + 0x14, rootHeader) ? rootHeader >> 16 : 0;
  for (uint32_t i = 0; i < kRootDirectoryPlaces; ++i) {
    const uint32_t address = kConfigRomBase + 0x18 + 4 * i;
    uint32_t entry = 0;
    const bool isEntry = i < rootLength && readQuadlet(address, entry);
    const vxRomKeyMeaning meaning =
        isEntry ? vxRomKeyMeaningOf(entry, vxRomDirectoryKind::Root)
                : vxRomKeyMeaning{"Reserved", "entry_value",
                                  "Immediate value or quadlet offset of the entry"};
    addRegister(meaning.name, address);
    field("key_type", 0, 2, kRo, "Entry type: 0 immediate, 1 CSR offset, 2 leaf, 3 directory");
    field("key_id", 2, 6, kRo, "Entry key id");
    field(meaning.field, 8, 24, kRo, meaning.description);
  }
}

void vxDcamCamera::buildInitialize() {
  m_currentGroup = m_groups[kCameraInitialize];
  addRegister("INITIALIZE", m_commandBase);
  field("Initialize", 0, 1, kAccessWriteOnly, "Set to reset camera to initial state. Bit is self clearing.");
  reserved(1, 31);
}

void vxDcamCamera::buildVideoInquiry() {
  vxDiagData* video = m_groups[kVideoInquiry];
  beginGroup(video, "Video Format Inquiry Registers");
  addRegister("V_FORMAT_INQ", m_commandBase + 0x100);
  field("Format_0", 0, 1, kRo, "VGA non-compressed (160x120 to 640x480)");
  field("Format_1", 1, 1, kRo, "Super VGA non-compressed (800x600 to 1024x768)");
  field("Format_2", 2, 1, kRo, "Super VGA non-compressed (1280x960 to 1600x1200)");
  reserved(3, 3);
  field("Format_6", 6, 1, kRo, "Still image format");
  field("Format_7", 7, 1, kRo, "Partial image size format");
  reserved(8, 24);

  beginGroup(video, "Video Mode Inquiry Registers");
  for (uint32_t format = 0; format < 8; ++format) {
    addRegister(vxFormat("V_MODE_INQ_%u", format), m_commandBase + 0x180 + 4 * format);
    const uint32_t modes = format == 0 ? 7 : 8;
    for (uint32_t mode = 0; mode < modes; ++mode) {
      const std::string name = vxFormat("Mode_%u", mode);
      if (format <= 2) {
        field(name, mode, 1, kRo, kModeDescriptions[format][mode]);
      } else if (format == 6 && mode == 0) {
        field(name, mode, 1, kRo, "Exif format");
      } else if (format == 7) {
        field(name, mode, 1, kRo, vxFormat("Format_7 Mode_%u (partial image size)", mode));
      } else {
        field(name, mode, 1, kRo);
      }
    }
    reserved(8, 24);
  }

  vxDiagData* rates = beginGroup(video, "Video Rate Inquiry Registers");
  for (uint32_t format = 0; format < 3; ++format) {
    beginGroup(rates, vxFormat("Format %u", format));
    const uint32_t modes = format == 0 ? 7 : 8;
    for (uint32_t mode = 0; mode < modes; ++mode) {
      addRegister(vxFormat("V_RATE_INQ_%u_%u", format, mode),
                  m_commandBase + 0x200 + 0x20 * format + 4 * mode);
      for (uint32_t rate = 0; rate < 8; ++rate) field(vxFormat("FrameRate_%u", rate), rate, 1, kRo, kFrameRateNames[rate]);
    }
  }
  beginGroup(rates, "Format 7");
  for (uint32_t mode = 0; mode < 8; ++mode) {
    addRegister(vxFormat("V_CSR_INQ_7_%u", mode), m_commandBase + 0x2E0 + 4 * mode);
    offsetField("CSR_Quadlet_Offset", vxFormat("CSR quadlet offset for Format_7 Mode_%u", mode));
  }
}

void vxDcamCamera::buildBasicFunctionInquiry() {
  m_currentGroup = m_groups[kBasicFunctionInquiry];
  addRegister("BASIC_FUNC_INQ", m_commandBase + 0x400);
  field("Advanced_Feature_Inq", 0, 1, kRo, "Inquiry for existence of Advanced feature CSR");
  field("Vmode_Error_Status_Inq", 1, 1, kRo, "Inquiry for existence of Vmode_Error_Status register");
  field("Feature_Control_Error_Status_Inq", 2, 1, kRo,
        "Inquiry for existence of Feature_Control_Error_Status register");
  field("Opt_Func_CSR_Inq", 3, 1, kRo, "Inquiry for existence of Opt_Func_CSR");
  reserved(4, 4);
  field("1394b_mode_Capability", 8, 1, kRo, "Inquiry for 1394b mode capability");
  reserved(9, 7);
  field("Cam_Power_Cntl", 16, 1, kRo, "Camera process power ON/OFF capability");
  reserved(17, 2);
  field("One_Shot_Inq", 19, 1, kRo, "One shot transmission capability");
  field("Multi_Shot_Inq", 20, 1, kRo, "Multi shot transmission capability");
  reserved(21, 7);
  field("Memory_Channel", 28, 4, kRo, "Maximum memory channel number for saving camera settings");

  addRegister("Feature_Hi_Inq", m_commandBase + 0x404);
  inquiryBits(kFeatureHiNames, kFeatureHiDescriptions, 16);
  reserved(16, 16);

  addRegister("Feature_Lo_Inq", m_commandBase + 0x408);
  field("Zoom", 0, 1, kRo, "Presence of Zoom control");
  field("Pan", 1, 1, kRo, "Presence of Pan control");
  field("Tilt", 2, 1, kRo, "Presence of Tilt control");
  field("Optical_Filter", 3, 1, kRo, "Presence of Optical Filter control");
  reserved(4, 12);
  field("Capture_Size", 16, 1, kRo, "Presence of Capture Size control (Format_6 only)");
  field("Capture_Quality", 17, 1, kRo, "Presence of Capture Quality control (Format_6 only)");
  reserved(18, 14);

  addRegister("Opt_Function_Inq", m_commandBase + 0x40C);
  reserved(0, 1);
  field("PIO", 1, 1, kRo, "Parallel input/output control");
  field("SIO", 2, 1, kRo, "Serial input/output control");
  field("Strobe_out", 3, 1, kRo, "Strobe signal output");
  reserved(4, 28);

  addRegister("Advanced_Feature_Inq", m_commandBase + 0x480);
  offsetField("Advanced_Feature_Quadlet_Offset", "Quadlet offset of the advanced feature registers from 0xF0000000");
  addRegister("PIO_Control_CSR_Inq", m_commandBase + 0x484);
  offsetField("PIO_Control_Quadlet_Offset", "Quadlet offset of the PIO control registers from 0xF0000000");
  addRegister("SIO_Control_CSR_Inq", m_commandBase + 0x488);
  offsetField("SIO_Control_Quadlet_Offset", "Quadlet offset of the SIO control registers from 0xF0000000");
  addRegister("Strobe_Output_CSR_Inq", m_commandBase + 0x48C);
  offsetField("Strobe_Output_Quadlet_Offset", "Quadlet offset of the strobe output registers from 0xF0000000");
}

void vxDcamCamera::buildFeatureInquiry() {
  m_currentGroup = m_groups[kFeatureInquiry];
  // The name table is longer; the catalogue covers the first sixteen features only.
  for (int n = 0; n < kCatalogueFeatureCount; ++n) {
    const std::string name = kFeatureInquiryNames[n];
    addRegister(name, m_commandBase + 0x500 + 4u * static_cast<uint32_t>(n));
    if (name == "TRIGGER_INQ") {
      field("Presence_Inq", 0, 1, kRo, "Presence of this feature");
      field("Abs_Control_Inq", 1, 1, kRo, "Capability of control with absolute value");
      reserved(2, 2);
      field("Readout_Inq", 4, 1, kRo, "Capability to read the value of this feature");
      field("On/Off_Inq", 5, 1, kRo, "Capability to switch this feature ON and OFF");
      field("Polarity_Inq", 6, 1, kRo, "Capability to change the polarity of the trigger input");
      field("Value_Read_Inq", 7, 1, kRo, "Capability to read the raw trigger input");
      for (uint32_t source = 0; source < 4; ++source) {
        field(vxFormat("Trigger_Source%u_Inq", source), 8 + source, 1, kRo,
              vxFormat("Presence of Trigger Source %u", source));
      }
      reserved(12, 3);
      field("Software_Trigger_Inq", 15, 1, kRo, "Presence of Software Trigger");
      for (uint32_t mode = 0; mode < 6; ++mode) {
        field(vxFormat("Trigger_Mode%u_Inq", mode), 16 + mode, 1, kRo, vxFormat("Presence of Trigger Mode %u", mode));
      }
      reserved(22, 8);
      field("Trigger_Mode14_inq", 30, 1, kRo, "Presence of Trigger Mode 14");
      field("Trigger_Mode15_inq", 31, 1, kRo, "Presence of Trigger Mode 15");
      continue;
    }
    field("Presence_Inq", 0, 1, kRo, "Presence of this feature");
    field("Abs_Control_Inq", 1, 1, kRo, "Capability of control with absolute value");
    reserved(2, 1);
    field("One_Push_Inq", 3, 1, kRo, "One push auto mode (Controlled automatically by camera only once)");
    field("Readout_Inq", 4, 1, kRo, "Capability to read the value of this feature");
    field("On/Off_Inq", 5, 1, kRo, "Capability to switch this feature ON and OFF");
    field("Auto_Inq", 6, 1, kRo, "Auto mode (Controlled automatically by camera)");
    field("Manual_Inq", 7, 1, kRo, "Manual mode (Controlled by user)");
    field("Min_Value", 8, 12, kRo, "Minimum value for this feature control");
    field("Max_Value", 20, 12, kRo, "Maximum value for this feature control");
  }
}

void vxDcamCamera::buildCameraControl() {
  m_currentGroup = m_groups[kCameraControl];
  addRegister("CURRENT_FRAME_RATE", m_commandBase + 0x600);
  field("Cur_V_Frm_rate", 0, 3, kRw, "Current frame rate");
  reserved(3, 29);
  addRegister("CURRENT_VIDEO_MODE", m_commandBase + 0x604);
  field("Cur_V_Mode", 0, 3, kRw, "Current video mode");
  reserved(3, 29);
  addRegister("CURRENT_VIDEO_FORMAT", m_commandBase + 0x608);
  field("Cur_V_Format", 0, 3, kRw, "Current video format");
  reserved(3, 29);

  addRegister("ISO_CHANNEL/ISO_SPEED", m_commandBase + 0x60C);
  field("ISO_Channel", 0, 4, kRw, "Isochronous channel number for video data (legacy mode)");
  reserved(4, 2);
  field("ISO_Speed", 6, 2, kRw, "Isochronous speed (legacy mode): 0 S100, 1 S200, 2 S400");
  reserved(8, 8);
  field("Operation_Mode", 16, 1, kRw, "0: legacy mode, 1: 1394b mode");
  reserved(17, 1);
  field("ISO_Channel_B", 18, 6, kRw, "Isochronous channel number for video data (1394b mode)");
  reserved(24, 5);
  field("ISO_Speed_B", 29, 3, kRw, "Isochronous speed (1394b mode): 0 S100 to 5 S3200");

  addRegister("CAMERA_POWER", m_commandBase + 0x610);
  field("Cam_Pwr_Ctrl", 0, 1, kRw, "Camera power, 0: off, 1: on");
  reserved(1, 30);
  field("Camera_Power_Status", 31, 1, kRo, "Camera power status, 0: off, 1: on");

  addRegister("ISO_EN/CONTINOUS_SHOT", m_commandBase + 0x614);
  field("ISO_EN/Continuous_Shot", 0, 1, kRw, "Start (1) or stop (0) isochronous transmission of video data");
  reserved(1, 31);

  addRegister("MEMORY_SAVE", m_commandBase + 0x618);
  field("Memory_Save", 0, 1, kRw, "Save the current settings to the channel in MEM_SAVE_CH; self clearing");
  reserved(1, 31);

  addRegister("ONE_SHOT/MULTI_SHOT", m_commandBase + 0x61C);
  field("One_Shot", 0, 1, kRw, "Transmit one frame of video data; self clearing");
  field("Multi_Shot", 1, 1, kRw, "Transmit Count_Number frames of video data; self clearing");
  reserved(2, 14);
  field("Count_Number", 16, 16, kRw, "Number of frames for multi shot");

  addRegister("MEM_SAVE_CH", m_commandBase + 0x620);
  field("Mem_Save_Ch", 0, 4, kRw, "Memory channel that Memory_Save writes to");
  reserved(4, 28);
  addRegister("CUR_SAVE_CH", m_commandBase + 0x624);
  field("Cur_Save_Ch", 0, 4, kRw, "Memory channel to load settings from");
  reserved(4, 28);

  addRegister("VMODE_ERROR_STATUS", m_commandBase + 0x628);
  field("Vmode_Error_Status", 0, 1, kRo, "Error in the combination of video format, mode and frame rate");
  reserved(1, 31);

  addRegister("SOFTWARE_TRIGGER", m_commandBase + 0x62C);
  field("Software_Trigger", 0, 1, kRw, "Write 1 to raise the software trigger");
  reserved(1, 31);

  addRegister("DATA_DEPTH", m_commandBase + 0x630);
  field("Data_Depth", 0, 8, kRw, "Effective data depth of the current video mode in bits per pixel");
  reserved(8, 24);
}

void vxDcamCamera::buildFeatureControl() {
  m_currentGroup = m_groups[kFeatureControl];
  for (int n = 0; n < kCatalogueFeatureCount; ++n) {
    const std::string name = kFeatureControlNames[n];
    addRegister(name, m_commandBase + 0x800 + 4u * static_cast<uint32_t>(n));
    field("Presence_Inq", 0, 1, kRo, "Presence of this feature");
    field("Abs_Control", 1, 1, kRw, "Control with absolute value, 0: off, 1: on");
    if (name == "TRIGGER_MODE") {
      reserved(2, 4);
      field("ON_OFF", 6, 1, kRw, "Switch this feature, 0: off, 1: on");
      field("Trigger_Polarity", 7, 1, kRw, "Trigger polarity, 0: low active, 1: high active");
      field("Trigger_Source", 8, 3, kRw, "Trigger source, 0-3: Trigger_Source0-3, 7: software trigger");
      field("Trigger_Value", 11, 1, kRo, "Raw level of the trigger input");
      field("Trigger_Mode", 12, 4, kRw, "Trigger mode, 0-15");
      reserved(16, 4);
      field("Parameter", 20, 12, kRw, "Parameter of the trigger mode, where the mode needs one");
      continue;
    }
    reserved(2, 3);
    field("One_Push", 5, 1, kRw, "Write 1 to start one push auto mode; self clearing");
    field("ON_OFF", 6, 1, kRw, "Switch this feature, 0: off, 1: on");
    field("A_M_Mode", 7, 1, kRw, "0: manual, 1: auto");
    if (name == "WHITE_BALANCE") {
      field("U_Value / B_Value", 8, 12, kRw, "U value / B value");
      field("V_Value / R_Value", 20, 12, kRw, "V value / R value");
    } else if (name == "WHITE_SHADING") {
      field("R-Value", 8, 8, kRw, "Red channel compensation value");
      field("G-Value", 16, 8, kRw, "Green channel compensation value");
      field("B-Value", 24, 8, kRw, "Blue channel compensation value");
    } else {
      reserved(8, 12);
      field("Value", 20, 12, kRw, "Value of this feature");
    }
  }
}

void vxDcamCamera::buildFormat7() {
  beginGroup(m_groups[kFormat7], "Mode 0");
  vxDcamRegister* offsetRegister = addRegister("V_CSR_INQ_7_0", m_commandBase + 0x2E0);
  offsetField("CSR_Quadlet_Offset", "CSR quadlet offset for Format_7 Mode_0");
  const uint32_t base = offsetAddress(offsetRegister->read32());

  addRegister("MAX_IMAGE_SIZE_INQ", base + 0x00);
  field("Hmax", 0, 16, kRo, "Maximum horizontal pixel number");
  field("Vmax", 16, 16, kRo, "Maximum vertical pixel number");
  addRegister("UNIT_SIZE_INQ", base + 0x04);
  field("Hunit", 0, 16, kRo, "Horizontal unit pixel number");
  field("Vunit", 16, 16, kRo, "Vertical unit pixel number");
  addRegister("IMAGE_POSITION", base + 0x08);
  field("Left", 0, 16, kRw, "Left position of the requested image region in pixels");
  field("Top", 16, 16, kRw, "Top position of the requested image region in pixels");
  addRegister("IMAGE_SIZE", base + 0x0C);
  field("Width", 0, 16, kRw, "Width of the requested image region in pixels");
  field("Height", 16, 16, kRw, "Height of the requested image region in pixels");
  addRegister("COLOR_CODING_ID", base + 0x10);
  field("Coding_ID", 0, 8, kRw, "Color coding ID from COLOR_CODING_INQ");
  reserved(8, 24);
  addRegister("COLOR_CODING_INQ", base + 0x14);
  inquiryBits(kColorCodingNames, kColorCodingDescriptions, 11);
  reserved(11, 21);
  addRegister("PIXEL_NUMBER_INQ", base + 0x34);
  offsetField("PixelNumber", "Number of pixels per frame");
  addRegister("TOTAL_BYTES_HI_INQ", base + 0x38);
  offsetField("BytesHi", "Higher quadlet of the total bytes of image data per frame");
  addRegister("TOTAL_BYTES_LO_INQ", base + 0x3C);
  offsetField("BytesLo", "Lower quadlet of the total bytes of image data per frame");
  addRegister("PACKET_PARA_INQ", base + 0x40);
  field("UnitBytePerPacket", 0, 16, kRo, "Minimum bytes per packet; packet sizes are multiples of it");
  field("MaxBytePerPacket", 16, 16, kRo, "Maximum bytes per packet");
  addRegister("BYTE_PER_PACKET", base + 0x44);
  field("BytePerPacket", 0, 16, kRw, "Packet size in bytes");
  field("RecBytePerPacket", 16, 16, kRo, "Recommended bytes per packet");
  addRegister("PACKET_PER_FRAME_INQ", base + 0x48);
  offsetField("PacketPerFrame", "Number of packets per frame");
  addRegister("UNIT_POSITION_INQ", base + 0x4C);
  field("Hposunit", 0, 16, kRo, "Horizontal unit number for position");
  field("Vposunit", 16, 16, kRo, "Vertical unit number for position");
  addRegister("VALUE_SETTING", base + 0x7C);
  field("Presence_Inq", 0, 1, kRo, "Presence of the value setting function");
  field("Setting_1", 1, 1, kRw, "Write 1 to apply the image settings; self clearing");
  reserved(2, 6);
  field("ErrorFlag_1", 8, 1, kRo, "Error in image position, size or color coding");
  field("ErrorFlag_2", 9, 1, kRo, "Error in bytes per packet");
  reserved(10, 22);
}

void vxDcamCamera::buildOptionalFunctions() {
  auto optFunction = temporary("Opt_Function_Inq", m_commandBase + 0x40C);
  if ((optFunction->read32() & kOptFunctionPio) != 0) {
    m_pioGroup = beginGroup(this, "PIO Control and Configuration");
    vxDcamRegister* inquiry = addRegister("PIO_Control_CSR_Inq", m_commandBase + 0x484);
    offsetField("PIO_Control_Quadlet_Offset", "Quadlet offset of the PIO control registers from 0xF0000000");
    const uint32_t base = offsetAddress(inquiry->read32());
    addRegister("PIO_OUTPUT", base);
    field("Pout", 0, 32, kRw, "Levels of the parallel output lines, bit 0 for line 0");
    addRegister("PIO_INPUT", base + 4);
    field("Pin", 0, 32, kRo, "Levels of the parallel input lines, bit 0 for line 0");
  }
  if ((optFunction->read32() & kOptFunctionStrobe) == 0) return;

  m_strobeGroup = beginGroup(this, "Strobe Control and Configuration");
  vxDcamRegister* inquiry = addRegister("Strobe_Output_CSR_Inq", m_commandBase + 0x48C);
  offsetField("Strobe_Output_Quadlet_Offset", "Quadlet offset of the strobe output registers from 0xF0000000");
  const uint32_t base = offsetAddress(inquiry->read32());
  vxDcamRegister* control = addRegister("Strobe_CNTL_Inq", base);
  for (uint32_t n = 0; n < 4; ++n) field(vxFormat("Strobe_%u_Inq", n), n, 1, kRo, vxFormat("Presence of strobe signal %u", n));
  reserved(4, 28);
  const uint32_t present = control->read32();
  for (uint32_t n = 0; n < 4; ++n) {
    if ((present & (1u << (31 - n))) == 0) continue;
    addRegister(vxFormat("Strobe_%u_Inq", n), base + 0x100 + 4 * n);
    field("Presence_Inq", 0, 1, kRo, "Presence of this function");
    reserved(1, 3);
    field("ReadOut_Inq", 4, 1, kRo, "Capability to read the value of this function");
    field("On/Off_Inq", 5, 1, kRo, "Capability to switch this function ON and OFF");
    field("Polarity_Inq", 6, 1, kRo, "Capability to change the signal polarity");
    reserved(7, 1);
    field("Min_Value", 8, 12, kRo, "Minimum value for the delay and duration");
    field("Max_Value", 20, 12, kRo, "Maximum value for the delay and duration");
    addRegister(vxFormat("Strobe_%u_Cnt", n), base + 0x200 + 4 * n);
    field("Presence_Inq", 0, 1, kRo, "Presence of this function");
    reserved(1, 5);
    field("ON_OFF", 6, 1, kRw, "Strobe signal output, 0: off, 1: on");
    field("Signal_Polarity", 7, 1, kRw, "Strobe signal polarity, 0: low active, 1: high active");
    field("Delay_Value", 8, 12, kRw, "Delay from the start of exposure to the strobe signal");
    field("Duration_Value", 20, 12, kRw, "Duration of the strobe signal");
  }
}
