// One simulated IIDC camera: its CSR space, register behaviour and fault switches.
#include "modules/qrvnvdcam/sim/sim_camera.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <thread>

#include "base/format.h"
#include "modules/qrvnvdcam/sim/config_rom.h"
#include "modules/qrvnvdcam/sim/iidc_registers.h"

using namespace vx_Iidc;

namespace {

// The granularity of BYTE_PER_PACKET, and the number of packets per frame the
// recommended packet size aims at (a frame in about 1/30 s of 125 us cycles).
constexpr uint32_t kPacketUnit = 4;
constexpr uint32_t kRecommendedPackets = 267;

uint32_t bit(int msbIndex) {
  return 0x80000000u >> msbIndex;
}
uint32_t quadletOffset(uint32_t absolute) {
  return (absolute - kCsrSpaceBase) / 4;
}
uint32_t featureAbsBlock(int feature) {
  return kAbsBlockBase + 0x10u * static_cast<uint32_t>(feature);
}
uint32_t format7Block(int mode) {
  return kFormat7BlockBase + 0x100u * static_cast<uint32_t>(mode);
}
uint32_t floatBits(float f) {
  return std::bit_cast<uint32_t>(f);
}
float bitsFloat(uint32_t u) {
  return std::bit_cast<float>(u);
}

// Bits per sample: 16 for the 16-bit codings, 8 for all others.
uint32_t sampleDepth(vxPixelCoding coding) {
  switch (coding) {
    case vxPixelCoding::Mono16:
    case vxPixelCoding::RGB16:
    case vxPixelCoding::SignedMono16:
    case vxPixelCoding::SignedRGB16:
    case vxPixelCoding::Raw16:
      return 16;
    default:
      return 8;
  }
}

bool contains(const std::vector<int>& list, int v) {
  return std::find(list.begin(), list.end(), v) != list.end();
}

}  // namespace

vx_SimCamera::vx_SimCamera(vx_SimProfile profile)
    : m_profile(std::move(profile)), m_base(m_profile.commandRegsBase) {
  vx_ConfigRomInfo info;
  info.guid = m_profile.guid;
  info.unitSwVersion = vxIidcUnitSwVersion(m_profile.iidcVersion);
  info.unitSubSwVersion = vxIidcUnitSubSwVersion(m_profile.iidcVersion);
  info.commandRegsBase = m_base;
  info.vendor = m_profile.vendor;
  info.model = m_profile.model;
  info.linkSpeed = m_profile.ieee1394b ? 3 : 2;
  m_rom = vxBuildConfigRom(info);
  buildPowerOn();
  m_powerOn = m_regs;
  for (const vx_SimAddressRange& range : m_profile.readFaults)
    for (uint64_t a = range.first; a <= range.last; a += 4) setReadFault(uint32_t(a), true);
  for (const vx_SimAddressRange& range : m_profile.writeFaults)
    for (uint64_t a = range.first; a <= range.last; a += 4) setWriteFault(uint32_t(a), true);
  for (const vx_SimAddressRange& range : m_profile.ignoredWrites)
    for (uint64_t a = range.first; a <= range.last; a += 4) setIgnoredWrite(uint32_t(a), true);
  for (const auto& [feature, ceiling] : m_profile.valueCeilings)
    setValueCeiling(m_base + kFeatureControl + featureOffset(feature), ceiling);
}

vxDcamIdentity vx_SimCamera::identity() const {
  vxDcamIdentity id;
  id.vendor = m_profile.vendor;
  id.model = m_profile.model;
  id.guid = m_profile.guid;
  id.unitSpecId = 0x00A02D;
  id.unitSwVersion = vxIidcUnitSwVersion(m_profile.iidcVersion);
  id.unitSubSwVersion = vxIidcUnitSubSwVersion(m_profile.iidcVersion);
  id.commandRegsBase = m_base;
  id.busLayer = "simulated";
  return id;
}

void vx_SimCamera::add(uint32_t absolute, uint32_t value, uint32_t writeMask, Kind kind,
                       int index) {
  m_regs[absolute] = Reg{value, writeMask, kind, index};
}

void vx_SimCamera::buildPowerOn() {
  const vx_SimProfile& p = m_profile;
  m_regs.clear();
  // The whole 1 KiB configuration ROM window answers; beyond the ROM's
  // contents it reads as zeros.
  for (uint32_t a = kRomStart; a < kRomEnd; a += 4) {
    const size_t i = (a - kRomStart) / 4;
    add(a, i < m_rom.size() ? m_rom[i] : 0);
  }

  addCommand(kInitialize, 0, kInitializeBit, Kind::Initialize);

  // Video inquiry.
  uint32_t formats = 0;
  for (int f = 0; f < 3; ++f) {
    uint32_t modes = 0;
    for (int m = 0; m < 8; ++m) {
      if (p.rates[f][m]) modes |= bit(m);
      uint32_t rates = 0;
      for (int r = 0; r < 8; ++r)
        if (p.rates[f][m] & (1u << r)) rates |= bit(r);
      addCommand(kVRateInq + 32u * f + 4u * m, rates);
    }
    if (modes) formats |= bit(f);
    addCommand(kVModeInq + 4u * f, modes);
  }
  uint32_t f7Modes = 0;
  for (int m = 0; m < 8; ++m) {
    const vx_SimFormat7Mode* mode = p.format7Mode(m);
    if (mode) f7Modes |= bit(m);
    addCommand(kVCsrInq7 + 4u * m, mode ? quadletOffset(format7Block(m)) : 0);
  }
  if (f7Modes) formats |= bit(7);
  for (int f = 3; f < 7; ++f) addCommand(kVModeInq + 4u * f, 0);
  addCommand(kVModeInq + 4u * 7, f7Modes);
  addCommand(kVFormatInq, formats);

  // Basic function inquiry.
  const bool optional = p.pio || p.strobe.present;
  uint32_t basic = bit(1);                    // Vmode_Error_Status_Inq
  if (p.iidcVersion >= 131) basic |= bit(2);  // Feature_Control_Error_Status_Inq
  if (optional) basic |= bit(3);
  if (p.ieee1394b) basic |= bit(8);
  if (p.cameraPower) basic |= bit(16);
  if (p.oneShot) basic |= bit(19);
  if (p.multiShot) basic |= bit(20);
  basic |= p.memoryChannels & 0xF;
  addCommand(kBasicFuncInq, basic);
  uint32_t hi = 0;
  uint32_t lo = 0;
  for (int n = 0; n < kSimFeatureCount; ++n) {
    const bool present = n == kSimTrigger ? p.trigger.present : p.features[n].present;
    if (present) (n < 16 ? hi : lo) |= bit(n < 16 ? n : n - 16);
  }
  addCommand(kFeatureHiInq, hi);
  addCommand(kFeatureLoInq, lo);
  addCommand(kOptFunctionInq, (p.pio ? kOptPio : 0) | (p.strobe.present ? kOptStrobe : 0));
  addCommand(kAdvancedFeatureInq, 0);
  addCommand(kPioControlCsrInq, p.pio ? quadletOffset(kPioBlock) : 0);
  addCommand(kSioControlCsrInq, 0);
  addCommand(kStrobeOutputCsrInq, p.strobe.present ? quadletOffset(kStrobeBlock) : 0);

  // Camera control and status.
  const uint32_t video = 0xE0000000u;
  addCommand(kCurFrameRate, static_cast<uint32_t>(p.defaultRate) << 29, video, Kind::VideoSetting);
  addCommand(kCurVideoMode, static_cast<uint32_t>(p.defaultMode) << 29, video, Kind::VideoSetting);
  addCommand(kCurVideoFormat, static_cast<uint32_t>(p.defaultFormat) << 29, video,
             Kind::VideoSetting);
  // Channel 0 at S400 in legacy operation; a 1394b camera may switch to B mode.
  addCommand(kIsoChannel, 0x02000000u, p.ieee1394b ? 0xF300BF07u : 0xF3000000u, Kind::IsoChannel);
  addCommand(kCameraPower, 0x80000001u, p.cameraPower ? 0x80000000u : 0, Kind::CameraPower);
  addCommand(kIsoEnable, 0, 0x80000000u, Kind::Shot);
  addCommand(kMemorySave, 0, p.memoryChannels ? 0x80000000u : 0, Kind::SelfClearing);
  addCommand(kOneShot, 0, (p.oneShot ? bit(0) : 0) | (p.multiShot ? bit(1) | 0xFFFFu : 0),
             Kind::Shot);
  addCommand(kMemSaveCh, 0, p.memoryChannels ? 0xF0000000u : 0);
  addCommand(kCurSaveCh, 0, p.memoryChannels ? 0xF0000000u : 0);
  addCommand(kVmodeErrorStatus, 0);
  addCommand(kSoftwareTrigger, 0, p.trigger.software ? 0x80000000u : 0, Kind::Shot);
  addCommand(kDataDepth, 8u << 24);
  if (p.iidcVersion >= 131) {
    addCommand(kFeatureErrorStatusHi, 0);
    addCommand(kFeatureErrorStatusLo, 0);
  }

  for (int n = 0; n < kSimFeatureCount; ++n) {
    if (n == kSimTrigger)
      addTrigger();
    else
      addFeature(n);
  }
  for (const vx_SimFormat7Mode& mode : p.format7) addFormat7(mode);

  if (p.pio) {
    const uint32_t outputs = p.pioOutputs >= 32 ? 0xFFFFFFFFu : ~(0xFFFFFFFFu >> p.pioOutputs);
    add(kPioBlock, 0, outputs);
    add(kPioBlock + 4, p.pioInputValue);
  }
  if (p.strobe.present) {
    const vx_SimStrobeProfile& s = p.strobe;
    uint32_t lines = 0;
    for (int line : s.lines) lines |= bit(line);
    add(kStrobeBlock + kStrobeCntlInq, lines);
    for (int line = 0; line < 4; ++line) {
      const bool present = contains(s.lines, line);
      uint32_t inq = 0;
      uint32_t control = 0;
      uint32_t mask = 0;
      if (present) {
        inq = kPresence | (s.readout ? bit(4) : 0) | (s.onOff ? bit(5) : 0) |
              (s.polarity ? bit(6) : 0) | s.min << 12 | s.max;
        control = kPresence | s.min << 12 | s.min;
        mask = (s.onOff ? bit(6) : 0) | (s.polarity ? bit(7) : 0) | 0x00FFFFFFu;
      }
      add(kStrobeBlock + kStrobeInq + 4u * line, inq);
      add(kStrobeBlock + kStrobeCnt + 4u * line, control, mask);
    }
  }
  updateVideoStatus();
}

void vx_SimCamera::addFeature(int n) {
  const vx_SimFeatureProfile& f = m_profile.features[n];
  const uint32_t off = featureOffset(n);
  if (!f.present) {
    addCommand(kFeatureInq + off, 0);
    addCommand(kAbsCsrInq + off, 0);
    addCommand(kFeatureControl + off, 0);
    return;
  }
  const uint32_t inq = kPresence | (f.absolute ? kInqAbsControl : 0) |
                       (f.onePush ? kInqOnePush : 0) | (f.readout ? kInqReadout : 0) |
                       (f.onOff ? kInqOnOff : 0) | (f.autoMode ? kInqAuto : 0) |
                       (f.manual ? kInqManual : 0) | f.min << 12 | f.max;
  addCommand(kFeatureInq + off, inq);
  addCommand(kAbsCsrInq + off, f.absolute ? quadletOffset(featureAbsBlock(n)) : 0);

  // A feature without an on/off switch is always on.
  uint32_t control = kPresence | ((!f.onOff || f.onAtPowerOn) ? kCtlOnOff : 0);
  uint32_t mask = (f.absolute ? kCtlAbsControl : 0) | (f.onePush ? kCtlOnePush : 0) |
                  (f.onOff ? kCtlOnOff : 0) | (f.autoMode ? kCtlAuto : 0);
  switch (n) {
    case kSimWhiteBalance:
      control |= f.value[0] << 12 | f.value[1];
      mask |= kCtlHighValue | kCtlValue;
      break;
    case kSimWhiteShading:
      control |= f.value[0] << 16 | f.value[1] << 8 | f.value[2];
      mask |= 0x00FFFFFFu;
      break;
    case kSimTemperature:
      // The target is set by the user; the current reading is the camera's.
      control |= f.value[0] << 12 | f.value[1];
      mask |= kCtlHighValue;
      break;
    default:
      control |= f.value[0];
      mask |= kCtlValue;
      break;
  }
  addCommand(kFeatureControl + off, control, mask, Kind::FeatureControl, n);
  if (f.absolute) {
    const uint32_t block = featureAbsBlock(n);
    add(block + kAbsMin, floatBits(f.absMin));
    add(block + kAbsMax, floatBits(f.absMax));
    add(block + kAbsValue, 0, 0xFFFFFFFFu, Kind::AbsValue, n);
    rawToAbsolute(n);
  }
}

void vx_SimCamera::addTrigger() {
  const vx_SimTriggerProfile& t = m_profile.trigger;
  const uint32_t off = featureOffset(kSimTrigger);
  addCommand(kAbsCsrInq + off, 0);
  if (!t.present) {
    addCommand(kFeatureInq + off, 0);
    addCommand(kFeatureControl + off, 0);
    return;
  }
  uint32_t inq = kPresence | (t.readout ? bit(4) : 0) | (t.onOff ? bit(5) : 0) |
                 (t.polarity ? bit(6) : 0) | (t.valueRead ? bit(7) : 0) |
                 (t.software ? bit(15) : 0);
  for (int s : t.sources) inq |= bit(8 + s);
  for (int m : t.modes) inq |= m <= 5 ? bit(16 + m) : bit(m == 14 ? 30 : 31);
  addCommand(kFeatureInq + off, inq);
  const uint32_t source =
      t.sources.empty() ? kTriggerSoftwareSource : static_cast<uint32_t>(t.sources.front());
  const uint32_t control = kPresence | (t.onOff ? 0 : kCtlOnOff) | source << 21 |
                           static_cast<uint32_t>(t.modes.front()) << 16;
  const uint32_t mask = (t.onOff ? kCtlOnOff : 0) | (t.polarity ? kTriggerPolarity : 0) |
                        kTriggerSource | kTriggerMode | kTriggerParameter;
  addCommand(kFeatureControl + off, control, mask, Kind::FeatureControl, kSimTrigger);
}

void vx_SimCamera::addFormat7(const vx_SimFormat7Mode& m) {
  const uint32_t block = format7Block(m.mode);
  for (uint32_t off = 0; off < kF7BlockSize; off += 4) add(block + off, 0);
  add(block + kF7MaxImageSizeInq, m.maxWidth << 16 | m.maxHeight);
  add(block + kF7UnitSizeInq, m.unitWidth << 16 | m.unitHeight);
  add(block + kF7ImagePosition, 0, 0xFFFFFFFFu, Kind::Format7Geometry, m.mode);
  add(block + kF7ImageSize, m.maxWidth << 16 | m.maxHeight, 0xFFFFFFFFu, Kind::Format7Geometry,
      m.mode);
  add(block + kF7ColorCodingId, static_cast<uint32_t>(m.codings.front()) << 24, 0xFF000000u,
      Kind::Format7Geometry, m.mode);
  uint32_t codings = 0;
  for (vxPixelCoding c : m.codings) codings |= bit(static_cast<int>(c));
  add(block + kF7ColorCodingInq, codings);
  add(block + kF7BytePerPacket, 0, 0xFFFF0000u, Kind::Format7Packet, m.mode);
  add(block + kF7UnitPositionInq, m.unitPosX << 16 | m.unitPosY);
  if (m_profile.valueSetting)
    add(block + kF7ValueSetting, kPresence, kValueSettingSet, Kind::Format7ValueSetting, m.mode);
  // Start with the recommended packet size.
  recomputeFormat7(m.mode);
  reg(block + kF7BytePerPacket) = (regValue(block + kF7BytePerPacket) & 0xFFFFu) * 0x10001u;
  recomputeFormat7(m.mode);
}

uint32_t vx_SimCamera::maxBytesPerPacket() const {
  const uint32_t iso = regValue(m_base + kIsoChannel);
  const bool bMode = m_profile.ieee1394b && (iso & 0x00008000u);
  const uint32_t speed = bMode ? (iso & 7) : (iso >> 24 & 3);
  const uint32_t cameraMax = m_profile.ieee1394b ? 8192 : 4096;
  return std::min(1024u << std::min(speed, 3u), cameraMax);
}

void vx_SimCamera::recomputeFormat7(int mode) {
  const vx_SimFormat7Mode* m = m_profile.format7Mode(mode);
  if (!m) return;
  const uint32_t block = format7Block(mode);
  const uint32_t position = regValue(block + kF7ImagePosition);
  const uint32_t size = regValue(block + kF7ImageSize);
  const uint32_t left = position >> 16, top = position & 0xFFFF;
  const uint32_t width = size >> 16, height = size & 0xFFFF;
  const uint32_t codingId = regValue(block + kF7ColorCodingId) >> 24;
  const bool codingOk = std::any_of(m->codings.begin(), m->codings.end(), [&](vxPixelCoding c) {
    return static_cast<uint32_t>(c) == codingId;
  });
  const bool geometryOk = codingOk && width > 0 && height > 0 && width % m->unitWidth == 0 &&
                          height % m->unitHeight == 0 && left % m->unitPosX == 0 &&
                          top % m->unitPosY == 0 && left + width <= m->maxWidth &&
                          top + height <= m->maxHeight;
  const uint32_t maxBpp = maxBytesPerPacket();
  reg(block + kF7PacketParaInq) = kPacketUnit << 16 | maxBpp;

  if (geometryOk) {
    const uint64_t pixels = static_cast<uint64_t>(width) * height;
    const uint64_t total = (pixels * vxBitsPerPixel(static_cast<vxPixelCoding>(codingId)) + 7) / 8;
    reg(block + kF7PixelNumberInq) = static_cast<uint32_t>(pixels);
    reg(block + kF7TotalBytesHiInq) = static_cast<uint32_t>(total >> 32);
    reg(block + kF7TotalBytesLoInq) = static_cast<uint32_t>(total);
    reg(block + kF7DataDepthInq) = sampleDepth(static_cast<vxPixelCoding>(codingId)) << 24;
  }
  const uint64_t total = static_cast<uint64_t>(regValue(block + kF7TotalBytesHiInq)) << 32 |
                         regValue(block + kF7TotalBytesLoInq);
  uint64_t rec = (total + kRecommendedPackets - 1) / kRecommendedPackets;
  rec = (rec + kPacketUnit - 1) / kPacketUnit * kPacketUnit;
  rec = std::clamp<uint64_t>(rec, kPacketUnit, maxBpp);
  uint32_t& bpp = reg(block + kF7BytePerPacket);
  bpp = (bpp & 0xFFFF0000u) | static_cast<uint32_t>(rec);
  const uint32_t bytes = bpp >> 16;
  const bool packetOk = bytes > 0 && bytes % kPacketUnit == 0 && bytes <= maxBpp;
  if (geometryOk && packetOk) {
    const uint32_t packets = static_cast<uint32_t>((total + bytes - 1) / bytes);
    reg(block + kF7PacketPerFrameInq) = packets;
    reg(block + kF7FrameIntervalInq) = floatBits(static_cast<float>(packets) * 125e-6f);
  }
  if (m_profile.valueSetting) {
    uint32_t& vs = reg(block + kF7ValueSetting);
    vs = (vs & ~(kValueSettingError1 | kValueSettingError2)) |
         (geometryOk ? 0 : kValueSettingError1) | (packetOk ? 0 : kValueSettingError2);
  }
}

void vx_SimCamera::rawToAbsolute(int feature) {
  const vx_SimFeatureProfile& f = m_profile.features[feature];
  const uint32_t raw = std::clamp(
      regValue(m_base + kFeatureControl + featureOffset(feature)) & kCtlValue, f.min, f.max);
  const double share = static_cast<double>(raw - f.min) / static_cast<double>(f.max - f.min);
  reg(featureAbsBlock(feature) + kAbsValue) =
      floatBits(static_cast<float>(f.absMin + share * (f.absMax - f.absMin)));
}

void vx_SimCamera::absoluteToRaw(int feature, uint32_t previousBits) {
  const vx_SimFeatureProfile& f = m_profile.features[feature];
  uint32_t& bits = reg(featureAbsBlock(feature) + kAbsValue);
  const float written = bitsFloat(bits);
  if (std::isnan(written)) {
    bits = previousBits;
    return;
  }
  const double v = std::clamp(static_cast<double>(written), static_cast<double>(f.absMin),
                              static_cast<double>(f.absMax));
  const double share = (v - f.absMin) / (static_cast<double>(f.absMax) - f.absMin);
  const auto raw = static_cast<uint32_t>(std::lround(f.min + share * (f.max - f.min)));
  uint32_t& control = reg(m_base + kFeatureControl + featureOffset(feature));
  control = (control & ~kCtlValue) | raw;
  // The camera works in raw steps; the absolute value reads back the step it
  // landed on, so both registers always describe the same setting.
  rawToAbsolute(feature);
}

void vx_SimCamera::checkFeature(int feature, uint32_t value) {
  if (m_profile.iidcVersion < 131) return;
  bool ok = true;
  if (feature == kSimTrigger) {
    const vx_SimTriggerProfile& t = m_profile.trigger;
    const int mode = static_cast<int>(value >> 16 & 0xF);
    const int source = static_cast<int>(value >> 21 & 7);
    ok = contains(t.modes, mode) &&
         (contains(t.sources, source) ||
          (t.software && source == static_cast<int>(kTriggerSoftwareSource)));
  } else {
    const vx_SimFeatureProfile& f = m_profile.features[feature];
    auto inRange = [&](uint32_t v) { return v >= f.min && v <= f.max; };
    switch (feature) {
      case kSimWhiteBalance:
        ok = inRange(value >> 12 & 0xFFF) && inRange(value & 0xFFF);
        break;
      case kSimWhiteShading:
        ok = inRange(value >> 16 & 0xFF) && inRange(value >> 8 & 0xFF) && inRange(value & 0xFF);
        break;
      case kSimTemperature:
        ok = inRange(value >> 12 & 0xFFF);
        break;
      default:
        ok = inRange(value & 0xFFF);
        break;
    }
  }
  uint32_t& status = reg(m_base + (feature < 16 ? kFeatureErrorStatusHi : kFeatureErrorStatusLo));
  const uint32_t flag = bit(feature < 16 ? feature : feature - 16);
  status = ok ? status & ~flag : status | flag;
}

void vx_SimCamera::updateVideoStatus() {
  const int format = static_cast<int>(regValue(m_base + kCurVideoFormat) >> 29);
  const int mode = static_cast<int>(regValue(m_base + kCurVideoMode) >> 29);
  const int rate = static_cast<int>(regValue(m_base + kCurFrameRate) >> 29);
  const bool ok =
      format == 7 ? m_profile.modeSupported(7, mode) : m_profile.rateSupported(format, mode, rate);
  reg(m_base + kVmodeErrorStatus) = ok ? 0 : 0x80000000u;
  if (!ok) return;
  vxPixelCoding coding = vxPixelCoding::Mono8;
  if (format == 7)
    coding = static_cast<vxPixelCoding>(regValue(format7Block(mode) + kF7ColorCodingId) >> 24);
  else
    coding = vxSimStandardMode(format, mode)->coding;
  reg(m_base + kDataDepth) = sampleDepth(coding) << 24;
}

void vx_SimCamera::restorePowerOn() {
  m_regs = m_powerOn;
}

bool vx_SimCamera::absoluteAddress(uint32_t address, uint32_t commandBase, uint32_t& absolute) {
  const uint64_t a =
      address >= kCsrSpaceBase ? address : static_cast<uint64_t>(commandBase) + address;
  if (a > 0xFFFFFFFFull || (a & 3) != 0) return false;
  absolute = static_cast<uint32_t>(a);
  return true;
}

bool vx_SimCamera::resolve(uint32_t address, uint32_t& absolute, std::string* error) const {
  if (!m_plugged) {
    if (error) *error = "the camera has been unplugged";
    return false;
  }
  if (!absoluteAddress(address, m_base, absolute)) {
    // The same reasons the libdc1394 layer gives.
    if (error)
      *error =
          address % 4 != 0
              ? vxFormat("0x%08X is not a quadlet address", address)
              : vxFormat("0x%08X lies beyond the camera's CSR space (command registers at 0x%08X)",
                         address, m_base);
    return false;
  }
  if (m_regs.find(absolute) == m_regs.end()) {
    if (error) *error = vxFormat("no register answers at 0x%08X", absolute);
    return false;
  }
  return true;
}

bool vx_SimCamera::readQuadlet(uint32_t address, uint32_t& value, std::string* error) {
  std::lock_guard lock(m_mutex);
  if (m_readLatency.count() > 0) std::this_thread::sleep_for(m_readLatency);
  ++m_transactions;
  uint32_t absolute = 0;
  if (!resolve(address, absolute, error)) return false;
  if (m_readFaults.count(absolute)) {
    if (error) *error = vxFormat("simulated read failure at 0x%08X", absolute);
    return false;
  }
  value = m_regs[absolute].value;
  return true;
}

bool vx_SimCamera::writeQuadlet(uint32_t address, uint32_t value, std::string* error) {
  std::vector<std::pair<vx_SimShotControl, uint32_t>> shots;
  std::vector<std::pair<ShotHookId, ShotHook>> hooks;
  {
    std::lock_guard lock(m_mutex);
    if (m_writeLatency.count() > 0) std::this_thread::sleep_for(m_writeLatency);
    ++m_transactions;
    uint32_t absolute = 0;
    if (!resolve(address, absolute, error)) return false;
    if (m_writeFaults.count(absolute)) {
      if (error) *error = vxFormat("simulated write failure at 0x%08X", absolute);
      return false;
    }
    // A node's configuration ROM is read-only: the write is answered with an error.
    if (absolute >= kRomStart && absolute < kRomEnd) {
      if (error) *error = vxFormat("0x%08X is in the read-only configuration ROM", absolute);
      return false;
    }
    // A camera that ignores the register acknowledges the write all the same.
    if (m_ignoredWrites.count(absolute)) return true;
    Reg& r = m_regs[absolute];
    const uint32_t previous = r.value;
    r.value = (r.value & ~r.writeMask) | (value & r.writeMask);
    afterWrite(absolute, previous, shots);
    if (shots.empty() || m_shotHooks.empty()) return true;
    hooks = m_shotHooks;
    ++m_hookCalls;
  }
  for (const auto& [control, v] : shots)
    for (const auto& [id, hook] : hooks) hook(control, v);
  {
    std::lock_guard lock(m_mutex);
    --m_hookCalls;
  }
  m_hooksIdle.notify_all();
  return true;
}

void vx_SimCamera::afterWrite(uint32_t absolute, uint32_t previous,
                              std::vector<std::pair<vx_SimShotControl, uint32_t>>& shots) {
  Reg& r = m_regs[absolute];
  switch (r.kind) {
    case Kind::Plain:
      break;
    case Kind::Initialize:
      if (r.value & kInitializeBit) {
        const bool streaming = regValue(m_base + kIsoEnable) & 0x80000000u;
        restorePowerOn();  // r is gone from here on
        if (streaming) shots.emplace_back(vx_SimShotControl::IsoEnable, 0);
      }
      break;
    case Kind::VideoSetting:
      updateVideoStatus();
      break;
    case Kind::IsoChannel:
      for (const vx_SimFormat7Mode& m : m_profile.format7) recomputeFormat7(m.mode);
      break;
    case Kind::CameraPower:
      r.value = (r.value & ~1u) | (r.value >> 31);
      break;
    case Kind::SelfClearing:
      r.value &= ~0x80000000u;
      break;
    case Kind::Shot: {
      const uint32_t offset = absolute - m_base;
      if (offset == kIsoEnable) shots.emplace_back(vx_SimShotControl::IsoEnable, r.value);
      if (offset == kOneShot && (r.value & bit(0)))
        shots.emplace_back(vx_SimShotControl::OneShot, r.value);
      if (offset == kOneShot && (r.value & bit(1)))
        shots.emplace_back(vx_SimShotControl::MultiShot, r.value);
      if (offset == kSoftwareTrigger && (r.value & bit(0)))
        shots.emplace_back(vx_SimShotControl::SoftwareTrigger, r.value);
      // With nobody to deliver images, a requested shot is served at once.
      if (m_shotHooks.empty() && offset != kIsoEnable) r.value &= ~(bit(0) | bit(1));
      break;
    }
    case Kind::FeatureControl:
      // One push finishes at once in the simulation.
      if (r.index != kSimTrigger) r.value &= ~kCtlOnePush;
      checkFeature(r.index, r.value);
      applyCeiling(r.index);
      if (r.index != kSimTrigger && m_profile.features[r.index].absolute) rawToAbsolute(r.index);
      break;
    case Kind::AbsValue:
      absoluteToRaw(r.index, previous);
      if (applyCeiling(r.index)) rawToAbsolute(r.index);
      break;
    case Kind::Format7ValueSetting:
      // Settings take effect as they are written; Setting_1 only confirms.
      r.value &= ~kValueSettingSet;
      [[fallthrough]];
    case Kind::Format7Geometry:
    case Kind::Format7Packet:
      recomputeFormat7(r.index);
      updateVideoStatus();
      break;
  }
}

void vx_SimCamera::setPlugged(bool plugged) {
  std::lock_guard lock(m_mutex);
  if (plugged && !m_plugged) restorePowerOn();
  m_plugged = plugged;
}

bool vx_SimCamera::isPlugged() const {
  std::lock_guard lock(m_mutex);
  return m_plugged;
}

void vx_SimCamera::setReadFault(uint32_t address, bool fail) {
  uint32_t absolute = 0;
  if (!absoluteAddress(address, m_base, absolute)) return;
  std::lock_guard lock(m_mutex);
  if (fail)
    m_readFaults.insert(absolute);
  else
    m_readFaults.erase(absolute);
}

void vx_SimCamera::setWriteFault(uint32_t address, bool fail) {
  uint32_t absolute = 0;
  if (!absoluteAddress(address, m_base, absolute)) return;
  std::lock_guard lock(m_mutex);
  if (fail)
    m_writeFaults.insert(absolute);
  else
    m_writeFaults.erase(absolute);
}

void vx_SimCamera::setIgnoredWrite(uint32_t address, bool ignore) {
  uint32_t absolute = 0;
  if (!absoluteAddress(address, m_base, absolute)) return;
  std::lock_guard lock(m_mutex);
  if (ignore)
    m_ignoredWrites.insert(absolute);
  else
    m_ignoredWrites.erase(absolute);
}

void vx_SimCamera::setValueCeiling(uint32_t address, uint32_t ceiling) {
  uint32_t absolute = 0;
  if (!absoluteAddress(address, m_base, absolute)) return;
  std::lock_guard lock(m_mutex);
  auto it = m_regs.find(absolute);
  if (it == m_regs.end() || it->second.kind != Kind::FeatureControl || it->second.index == kSimTrigger)
    return;
  if (ceiling >= kCtlValue)
    m_ceilings.erase(it->second.index);
  else
    m_ceilings[it->second.index] = ceiling;
}

bool vx_SimCamera::applyCeiling(int feature) {
  auto it = m_ceilings.find(feature);
  if (it == m_ceilings.end()) return false;
  uint32_t& control = reg(m_base + kFeatureControl + featureOffset(feature));
  if ((control & kCtlValue) <= it->second) return false;
  control = (control & ~kCtlValue) | it->second;
  return true;
}

void vx_SimCamera::clearFaults() {
  std::lock_guard lock(m_mutex);
  m_readFaults.clear();
  m_writeFaults.clear();
  m_ignoredWrites.clear();
  m_ceilings.clear();
}

void vx_SimCamera::setLatency(std::chrono::microseconds read, std::chrono::microseconds write) {
  std::lock_guard lock(m_mutex);
  m_readLatency = std::max(read, std::chrono::microseconds(0));
  m_writeLatency = std::max(write, std::chrono::microseconds(0));
}

uint64_t vx_SimCamera::transactionCount() const {
  std::lock_guard lock(m_mutex);
  return m_transactions;
}

void vx_SimCamera::resetTransactionCount() {
  std::lock_guard lock(m_mutex);
  m_transactions = 0;
}

uint32_t vx_SimCamera::featureValue(int feature) const {
  if (feature < 0 || feature >= kSimFeatureCount) return 0;
  std::lock_guard lock(m_mutex);
  return regValue(m_base + kFeatureControl + featureOffset(feature)) & kCtlValue;
}

bool vx_SimCamera::featureOn(int feature) const {
  if (feature < 0 || feature >= kSimFeatureCount) return false;
  std::lock_guard lock(m_mutex);
  return (regValue(m_base + kFeatureControl + featureOffset(feature)) & kCtlOnOff) != 0;
}

vx_SimVideoSetting vx_SimCamera::videoSetting() const {
  std::lock_guard lock(m_mutex);
  vx_SimVideoSetting s;
  s.format = static_cast<int>(regValue(m_base + kCurVideoFormat) >> 29);
  s.mode = static_cast<int>(regValue(m_base + kCurVideoMode) >> 29);
  s.rate = static_cast<int>(regValue(m_base + kCurFrameRate) >> 29);
  s.valid = regValue(m_base + kVmodeErrorStatus) == 0;
  s.isoEnabled = (regValue(m_base + kIsoEnable) & 0x80000000u) != 0;
  if (!s.valid) return s;
  if (s.format == 7) {
    const uint32_t block = format7Block(s.mode);
    const uint32_t position = regValue(block + kF7ImagePosition);
    const uint32_t size = regValue(block + kF7ImageSize);
    s.left = position >> 16;
    s.top = position & 0xFFFF;
    s.width = size >> 16;
    s.height = size & 0xFFFF;
    s.coding = static_cast<vxPixelCoding>(regValue(block + kF7ColorCodingId) >> 24);
    s.bytesPerPacket = regValue(block + kF7BytePerPacket) >> 16;
    s.packetsPerFrame = regValue(block + kF7PacketPerFrameInq);
  } else {
    const auto mode = vxSimStandardMode(s.format, s.mode);
    s.width = mode->width;
    s.height = mode->height;
    s.coding = mode->coding;
  }
  return s;
}

vx_SimTriggerSetting vx_SimCamera::triggerSetting() const {
  std::lock_guard lock(m_mutex);
  vx_SimTriggerSetting t;
  if (!m_profile.trigger.present) return t;
  const uint32_t v = regValue(m_base + kFeatureControl + featureOffset(kSimTrigger));
  t.on = (v & kCtlOnOff) != 0;
  t.polarityHigh = (v & kTriggerPolarity) != 0;
  t.source = static_cast<int>((v & kTriggerSource) >> 21);
  t.mode = static_cast<int>((v & kTriggerMode) >> 16);
  return t;
}

uint32_t vx_SimCamera::powerOnFeatureValue(int feature) const {
  if (feature < 0 || feature >= kSimFeatureCount) return 0;
  return m_powerOn.at(m_base + kFeatureControl + featureOffset(feature)).value & kCtlValue;
}

vx_SimCamera::ShotHookId vx_SimCamera::addShotHook(ShotHook hook) {
  std::lock_guard lock(m_mutex);
  const ShotHookId id = m_nextHookId++;
  m_shotHooks.emplace_back(id, std::move(hook));
  return id;
}

void vx_SimCamera::removeShotHook(ShotHookId id) {
  std::unique_lock lock(m_mutex);
  std::erase_if(m_shotHooks, [id](const auto& entry) { return entry.first == id; });
  // A write that copied the list before may still be calling the hook.
  m_hooksIdle.wait(lock, [this] { return m_hookCalls == 0; });
}

void vx_SimCamera::finishShot() {
  std::lock_guard lock(m_mutex);
  reg(m_base + kOneShot) &= ~(bit(0) | bit(1));
  reg(m_base + kSoftwareTrigger) &= ~bit(0);
}

void vx_SimCamera::haltTransmission() {
  std::lock_guard lock(m_mutex);
  reg(m_base + kIsoEnable) = 0;
  reg(m_base + kOneShot) &= ~(bit(0) | bit(1));
  reg(m_base + kSoftwareTrigger) &= ~bit(0);
}
