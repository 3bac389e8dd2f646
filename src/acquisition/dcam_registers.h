// IIDC register helpers shared by the reports and the acquisition FIFO.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "acquisition/dcam_camera.h"

// Offsets from the command register base of the registers used here.
namespace vxDcamReg {
constexpr uint32_t kInitialize = 0x000;
constexpr uint32_t kVFormatInq = 0x100;
constexpr uint32_t kVModeInq = 0x180;  // + 4 * format
constexpr uint32_t kVRateInq = 0x200;  // + 0x20 * format + 4 * mode
constexpr uint32_t kVCsrInq7 = 0x2E0;  // + 4 * mode
constexpr uint32_t kBasicFuncInq = 0x400;
constexpr uint32_t kFeatureHiInq = 0x404;
constexpr uint32_t kOptFunctionInq = 0x40C;
constexpr uint32_t kStrobeOutputCsrInq = 0x48C;
constexpr uint32_t kFeatureInq = 0x500;  // + 4 * feature
constexpr uint32_t kCurFrameRate = 0x600;
constexpr uint32_t kCurVideoMode = 0x604;
constexpr uint32_t kCurVideoFormat = 0x608;
constexpr uint32_t kIsoEn = 0x614;
constexpr uint32_t kOneShot = 0x61C;
constexpr uint32_t kVmodeErrorStatus = 0x628;
constexpr uint32_t kSoftwareTrigger = 0x62C;
constexpr uint32_t kAbsCsrInq = 0x700;       // + 4 * feature
constexpr uint32_t kFeatureControl = 0x800;  // + 4 * feature

// Offsets inside a Format_7 mode's CSR block.
constexpr uint32_t kF7MaxImageSize = 0x00;
constexpr uint32_t kF7UnitSize = 0x04;
constexpr uint32_t kF7ImagePosition = 0x08;
constexpr uint32_t kF7ImageSize = 0x0C;
constexpr uint32_t kF7ColorCodingId = 0x10;
constexpr uint32_t kF7ColorCodingInq = 0x14;
constexpr uint32_t kF7PixelNumber = 0x34;
constexpr uint32_t kF7TotalBytesHi = 0x38;
constexpr uint32_t kF7TotalBytesLo = 0x3C;
constexpr uint32_t kF7PacketPara = 0x40;
constexpr uint32_t kF7BytePerPacket = 0x44;
constexpr uint32_t kF7PacketPerFrame = 0x48;
constexpr uint32_t kF7UnitPosition = 0x4C;
constexpr uint32_t kF7ValueSetting = 0x7C;

// Bits, counted with 31 as the most significant.
constexpr uint32_t kInitializeFlag = 1u << 31;  // INITIALIZE: back to power-on settings
constexpr uint32_t kOn = 1u << 31;  // ISO_EN, ONE_SHOT, SOFTWARE_TRIGGER, VMODE error
constexpr uint32_t kMultiShot = 1u << 30;
constexpr uint32_t kFeaturePresent = 1u << 31;
constexpr uint32_t kFeatureAbsControl = 1u << 30;
constexpr uint32_t kFeatureOnOff = 1u << 25;
constexpr uint32_t kFeatureAuto = 1u << 24;
constexpr uint32_t kTriggerPolarity = 1u << 24;
constexpr uint32_t kValueSettingPresent = 1u << 31;
constexpr uint32_t kValueSettingSetting1 = 1u << 30;
constexpr uint32_t kValueSettingError1 = 1u << 23;
constexpr uint32_t kOptStrobe = 1u << 28;
constexpr uint32_t kBasicOneShot = 1u << 12;
constexpr uint32_t kBasicMultiShot = 1u << 11;
}  // namespace vxDcamReg

// Feature numbers: the register's index in the feature inquiry and control
// blocks.
enum class vxDcamFeature : uint32_t {
  Brightness = 0,
  AutoExposure = 1,
  Sharpness = 2,
  WhiteBalance = 3,
  Hue = 4,
  Saturation = 5,
  Gamma = 6,
  Shutter = 7,
  Gain = 8,
  Iris = 9,
  Focus = 10,
  Temperature = 11,
  Trigger = 12,
  TriggerDelay = 13,
  WhiteShading = 14,
  FrameRate = 15,
};

// An inquiry register that holds a quadlet offset names this address.
constexpr uint32_t vxDcamQuadletAddress(uint32_t quadletOffset) {
  return quadletOffset * 4u + kCsrSpaceBase;
}

// Whether the camera offers format/mode/rate: V_FORMAT_INQ, V_MODE_INQ_n and,
// for formats with a rate table (0 to 5), V_RATE_INQ_f_m. Formats 6 and 7
// have no rate table and ignore rate. A failed read counts as unsupported.
bool vxDcamIsSupported(vx1394DCAM& camera, uint32_t format, uint32_t mode, uint32_t rate);

// The same test for many combinations, reading each inquiry register at most
// once: they describe the camera and do not change while it is on the bus,
// so a report that walks every format, mode and rate asks the bus only once.
class vxDcamSupportTable {
 public:
  explicit vxDcamSupportTable(vx1394DCAM& camera) : m_camera(camera) {}
  bool isSupported(uint32_t format, uint32_t mode, uint32_t rate);
  vx1394DCAM& camera() const { return m_camera; }

 private:
  bool inquiry(uint32_t address, uint32_t& value);

  vx1394DCAM& m_camera;
  std::map<uint32_t, std::optional<uint32_t>> m_values;
};

// Writes the current format, mode and (below format 6) rate, then checks
// VMODE_ERROR_STATUS. False with a reason when a write fails or the camera
// refuses the combination.
bool vxDcamSetVideoMode(vx1394DCAM& camera, uint32_t format, uint32_t mode, uint32_t rate,
                        std::string* error = nullptr);

// A Format_7 mode as its CSR block describes it.
struct vxDcamFormat7Mode {
  uint32_t mode = 0;
  uint32_t csrOffset = 0;    // V_CSR_INQ_7_n as read (a quadlet offset)
  uint32_t baseAddress = 0;  // absolute address of the block
  uint32_t maxWidth = 0, maxHeight = 0;
  uint32_t unitWidth = 1, unitHeight = 1;  // size units
  uint32_t unitPosX = 1, unitPosY = 1;     // position units (size units when not given)
  uint32_t left = 0, top = 0, width = 0, height = 0;
  uint32_t colorCodingId = 0;
  uint32_t colorCodingInq = 0;  // bit 31 - id set for each coding offered
  uint32_t pixelCount = 0;
  uint64_t totalBytes = 0;
  uint32_t unitBytesPerPacket = 0, maxBytesPerPacket = 0;
  uint32_t bytesPerPacket = 0, recBytesPerPacket = 0;
  uint32_t packetsPerFrame = 0;
  uint32_t valueSetting = 0;  // VALUE_SETTING as read, 0 when absent

  bool supportsColorCoding(uint32_t id) const {
    return id < 32 && (colorCodingInq & (1u << (31 - id))) != 0;
  }
  bool hasValueSetting() const { return (valueSetting & vxDcamReg::kValueSettingPresent) != 0; }
  uint32_t address(uint32_t offset) const { return baseAddress + offset; }
};

// The descriptor of Format_7 mode n; nothing when the camera does not offer
// the mode or its block cannot be read. Other registers of the block that
// fail to read leave their figures 0.
std::optional<vxDcamFormat7Mode> vxDcamReadFormat7Mode(vx1394DCAM& camera, uint32_t mode);
// As above, asking the table whether the mode is offered.
std::optional<vxDcamFormat7Mode> vxDcamReadFormat7Mode(vxDcamSupportTable& support, uint32_t mode);

// Programs a Format_7 mode's region: the position first goes to (0, 0) so
// every intermediate state the camera sees is valid, then the size, then the
// position. Sizes and positions must already be multiples of the units.
bool vxDcamWriteFormat7Region(vx1394DCAM& camera, const vxDcamFormat7Mode& mode, uint32_t left,
                              uint32_t top, uint32_t width, uint32_t height,
                              std::string* error = nullptr);
bool vxDcamWriteFormat7Coding(vx1394DCAM& camera, const vxDcamFormat7Mode& mode, uint32_t id,
                              std::string* error = nullptr);
// Makes the camera take up the values written, through VALUE_SETTING when the
// mode has it (waits for Setting_1 to clear and checks ErrorFlag_1).
bool vxDcamLatchFormat7(vx1394DCAM& camera, const vxDcamFormat7Mode& mode,
                        std::string* error = nullptr);
bool vxDcamWriteBytesPerPacket(vx1394DCAM& camera, const vxDcamFormat7Mode& mode,
                               uint32_t bytesPerPacket, std::string* error = nullptr);

// One strobe output line.
struct vxDcamStrobeLine {
  bool present = false;
  // Strobe_n_Inq
  bool readOut = false, onOff = false, polarityChange = false;
  uint32_t minValue = 0, maxValue = 0;
  // Strobe_n_Cnt
  bool on = false;
  bool polarityHigh = false;  // low to high
  uint32_t delay = 0, duration = 0;
  uint32_t inqAddress = 0, cntAddress = 0;
};

// The strobe block named by Strobe_Output_CSR_Inq.
struct vxDcamStrobeInfo {
  uint32_t baseAddress = 0;
  uint32_t control = 0;  // Strobe_CNTL_Inq as read
  std::array<vxDcamStrobeLine, 4> lines{};
  bool isPresent(int line) const { return line >= 0 && line < 4 && lines[size_t(line)].present; }
};

// Nothing when the camera has no strobe output (Opt_Function_Inq) or the
// block cannot be read.
std::optional<vxDcamStrobeInfo> vxDcamReadStrobeInfo(vx1394DCAM& camera);

// Writes Strobe_n_Cnt of a present line.
bool vxDcamWriteStrobe(vx1394DCAM& camera, const vxDcamStrobeLine& line, bool on, bool polarityHigh,
                       uint32_t delay, uint32_t duration, std::string* error = nullptr);

// The absolute CSR address of the camera's command registers, as its
// unit-dependent directory names it (command_regs_base); the IIDC default
// 0xF0F00000 when the bus layer does not know it.
uint32_t vxDcamCommandBase(const vx1394DCAM& camera);

// Sets the Initialize flag of INITIALIZE at the camera's own command base:
// the camera goes back to its power-on settings.
bool vxDcamInitialize(vx1394DCAM& camera, std::string* error = nullptr);

// 0x100, 0x101 or 0x102 as the unit's software version says; 0 when the
// camera gives another value.
uint32_t vxDcamVersionNumber(const vx1394DCAM& camera);

// A feature's inquiry register.
struct vxDcamFeatureInfo {
  bool present = false, absControl = false, onePush = false, readOut = false, onOff = false,
       autoMode = false, manual = false;
  uint32_t minValue = 0, maxValue = 0;
};
std::optional<vxDcamFeatureInfo> vxDcamReadFeature(vx1394DCAM& camera, vxDcamFeature feature);

// The value bits (0..11) of the feature's control register.
std::optional<uint32_t> vxDcamReadFeatureValue(vx1394DCAM& camera, vxDcamFeature feature);
// Sets the feature on, manual, raw (absolute control off) with this value.
bool vxDcamWriteFeatureValue(vx1394DCAM& camera, vxDcamFeature feature, uint32_t value,
                             std::string* error = nullptr);

// A feature's absolute-value block (IEEE floats).
struct vxDcamAbsRange {
  uint32_t baseAddress = 0;
  float minValue = 0, maxValue = 0;
};
std::optional<vxDcamAbsRange> vxDcamReadAbsRange(vx1394DCAM& camera, vxDcamFeature feature);
std::optional<float> vxDcamReadAbsValue(vx1394DCAM& camera, vxDcamFeature feature);
// Sets the feature on, manual, absolute control on, then writes VALUE.
bool vxDcamWriteAbsValue(vx1394DCAM& camera, vxDcamFeature feature, float value,
                         std::string* error = nullptr);

// TRIGGER_INQ.
struct vxDcamTriggerInfo {
  bool present = false, absControl = false, readOut = false, onOff = false, polarity = false;
  bool softwareTrigger = false;
  uint32_t sources = 0;  // bit n: trigger source n
  uint32_t modes = 0;    // bit n: trigger mode n
};
std::optional<vxDcamTriggerInfo> vxDcamReadTrigger(vx1394DCAM& camera);

// TRIGGER_MODE: on/off, polarity, source (7 = software) and mode.
bool vxDcamWriteTriggerMode(vx1394DCAM& camera, bool on, bool polarityHigh, uint32_t source,
                            uint32_t mode, std::string* error = nullptr);
constexpr uint32_t kDcamSoftwareTriggerSource = 7;

// Single quadlet writes and reads of a bit register at an offset.
bool vxDcamWriteFlag(vx1394DCAM& camera, uint32_t offset, bool on, std::string* error = nullptr);
