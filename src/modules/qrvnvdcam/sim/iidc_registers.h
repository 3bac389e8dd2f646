// Offsets and bits of the IIDC command registers the simulated camera answers.
#pragma once

#include <cstdint>

// Offsets from the command register base unless named absolute. Bit masks are
// given as values (IIDC's bit 0 is the most significant bit, 0x80000000).
namespace vx_Iidc {

constexpr uint32_t kRomStart = 0xF0000400u;  // absolute
constexpr uint32_t kRomEnd = 0xF0000800u;    // absolute, exclusive

constexpr uint32_t kInitialize = 0x000;
constexpr uint32_t kVFormatInq = 0x100;
constexpr uint32_t kVModeInq = 0x180;  // + 4 * format
constexpr uint32_t kVRateInq = 0x200;  // + 32 * format + 4 * mode, formats 0..2
constexpr uint32_t kVCsrInq7 = 0x2E0;  // + 4 * mode
constexpr uint32_t kBasicFuncInq = 0x400;
constexpr uint32_t kFeatureHiInq = 0x404;
constexpr uint32_t kFeatureLoInq = 0x408;
constexpr uint32_t kOptFunctionInq = 0x40C;
constexpr uint32_t kAdvancedFeatureInq = 0x480;
constexpr uint32_t kPioControlCsrInq = 0x484;
constexpr uint32_t kSioControlCsrInq = 0x488;
constexpr uint32_t kStrobeOutputCsrInq = 0x48C;
constexpr uint32_t kFeatureInq = 0x500;  // + 4 * feature (low features from 0x580)
constexpr uint32_t kCurFrameRate = 0x600;
constexpr uint32_t kCurVideoMode = 0x604;
constexpr uint32_t kCurVideoFormat = 0x608;
constexpr uint32_t kIsoChannel = 0x60C;
constexpr uint32_t kCameraPower = 0x610;
constexpr uint32_t kIsoEnable = 0x614;
constexpr uint32_t kMemorySave = 0x618;
constexpr uint32_t kOneShot = 0x61C;
constexpr uint32_t kMemSaveCh = 0x620;
constexpr uint32_t kCurSaveCh = 0x624;
constexpr uint32_t kVmodeErrorStatus = 0x628;
constexpr uint32_t kSoftwareTrigger = 0x62C;
constexpr uint32_t kDataDepth = 0x630;
constexpr uint32_t kFeatureErrorStatusHi = 0x640;
constexpr uint32_t kFeatureErrorStatusLo = 0x644;
constexpr uint32_t kAbsCsrInq = 0x700;       // + 4 * feature (low features from 0x780)
constexpr uint32_t kFeatureControl = 0x800;  // + 4 * feature (low features from 0x880)

// Offsets of a feature's registers: high features 0..15 in a row, the low
// ones (numbered from 16 here) 0x80 further on.
constexpr uint32_t featureOffset(int feature) {
  return feature < 16 ? 4u * static_cast<uint32_t>(feature)
                      : 0x80u + 4u * static_cast<uint32_t>(feature - 16);
}

// Where the simulated camera keeps its capability blocks (absolute).
constexpr uint32_t kAbsBlockBase = 0xF0F10000u;      // + 0x10 * feature
constexpr uint32_t kFormat7BlockBase = 0xF0F20000u;  // + 0x100 * mode
constexpr uint32_t kPioBlock = 0xF0F30000u;
constexpr uint32_t kStrobeBlock = 0xF0F40000u;

// Absolute value block.
constexpr uint32_t kAbsMin = 0x000;
constexpr uint32_t kAbsMax = 0x004;
constexpr uint32_t kAbsValue = 0x008;

// Format_7 block.
constexpr uint32_t kF7MaxImageSizeInq = 0x000;
constexpr uint32_t kF7UnitSizeInq = 0x004;
constexpr uint32_t kF7ImagePosition = 0x008;
constexpr uint32_t kF7ImageSize = 0x00C;
constexpr uint32_t kF7ColorCodingId = 0x010;
constexpr uint32_t kF7ColorCodingInq = 0x014;
constexpr uint32_t kF7PixelNumberInq = 0x034;
constexpr uint32_t kF7TotalBytesHiInq = 0x038;
constexpr uint32_t kF7TotalBytesLoInq = 0x03C;
constexpr uint32_t kF7PacketParaInq = 0x040;
constexpr uint32_t kF7BytePerPacket = 0x044;
constexpr uint32_t kF7PacketPerFrameInq = 0x048;
constexpr uint32_t kF7UnitPositionInq = 0x04C;
constexpr uint32_t kF7FrameIntervalInq = 0x050;
constexpr uint32_t kF7DataDepthInq = 0x054;
constexpr uint32_t kF7ColorFilterId = 0x058;
constexpr uint32_t kF7ValueSetting = 0x07C;
constexpr uint32_t kF7BlockSize = 0x080;

// Strobe block.
constexpr uint32_t kStrobeCntlInq = 0x000;
constexpr uint32_t kStrobeInq = 0x100;  // + 4 * line
constexpr uint32_t kStrobeCnt = 0x200;  // + 4 * line

// Bits.
constexpr uint32_t kPresence = 0x80000000u;
constexpr uint32_t kInitializeBit = 0x80000000u;
constexpr uint32_t kInqAbsControl = 0x40000000u;
constexpr uint32_t kInqOnePush = 0x10000000u;
constexpr uint32_t kInqReadout = 0x08000000u;
constexpr uint32_t kInqOnOff = 0x04000000u;
constexpr uint32_t kInqAuto = 0x02000000u;
constexpr uint32_t kInqManual = 0x01000000u;
constexpr uint32_t kCtlAbsControl = 0x40000000u;
constexpr uint32_t kCtlOnePush = 0x04000000u;
constexpr uint32_t kCtlOnOff = 0x02000000u;
constexpr uint32_t kCtlAuto = 0x01000000u;
constexpr uint32_t kCtlHighValue = 0x00FFF000u;
constexpr uint32_t kCtlValue = 0x00000FFFu;
constexpr uint32_t kTriggerPolarity = 0x01000000u;
constexpr uint32_t kTriggerSource = 0x00E00000u;
constexpr uint32_t kTriggerValue = 0x00100000u;
constexpr uint32_t kTriggerMode = 0x000F0000u;
constexpr uint32_t kTriggerParameter = 0x00000FFFu;
constexpr uint32_t kTriggerSoftwareSource = 7;
constexpr uint32_t kOptPio = 0x40000000u;
constexpr uint32_t kOptSio = 0x20000000u;
constexpr uint32_t kOptStrobe = 0x10000000u;
constexpr uint32_t kValueSettingSet = 0x40000000u;
constexpr uint32_t kValueSettingError1 = 0x00800000u;
constexpr uint32_t kValueSettingError2 = 0x00400000u;

}  // namespace vx_Iidc
