// IIDC register helpers shared by the reports and the acquisition FIFO.
#include "acquisition/dcam_registers.h"

#include <bit>
#include <chrono>
#include <thread>

#include "base/format.h"

namespace {

bool bitSet(uint32_t value, unsigned bit) {
  return (value & (1u << bit)) != 0;
}
uint32_t high16(uint32_t value) {
  return value >> 16;
}
uint32_t low16(uint32_t value) {
  return value & 0xFFFFu;
}

bool read(vx1394DCAM& camera, uint32_t address, uint32_t& value) {
  return camera.readQuadlet(address, value, nullptr);
}

bool write(vx1394DCAM& camera, uint32_t address, uint32_t value, std::string* error) {
  std::string why;
  if (camera.writeQuadlet(address, value, &why)) return true;
  if (error)
    *error = vxFormat("writing 0x%08X to register 0x%X failed: %s", value, address, why.c_str());
  return false;
}

void fail(std::string* error, const std::string& text) {
  if (error) *error = text;
}

uint32_t featureInqAddress(vxDcamFeature feature) {
  return vxDcamReg::kFeatureInq + 4 * static_cast<uint32_t>(feature);
}
uint32_t featureControlAddress(vxDcamFeature feature) {
  return vxDcamReg::kFeatureControl + 4 * static_cast<uint32_t>(feature);
}

// Formats 0 to 5 carry a rate inquiry table, 6 (still image) and 7 do not.
constexpr uint32_t kFormatsWithRates = 6;

}  // namespace

bool vxDcamIsSupported(vx1394DCAM& camera, uint32_t format, uint32_t mode, uint32_t rate) {
  vxDcamSupportTable table(camera);
  return table.isSupported(format, mode, rate);
}

bool vxDcamSupportTable::inquiry(uint32_t address, uint32_t& value) {
  auto [it, added] = m_values.try_emplace(address);
  if (added) {
    uint32_t readValue = 0;
    if (read(m_camera, address, readValue)) it->second = readValue;
  }
  if (!it->second) return false;
  value = *it->second;
  return true;
}

bool vxDcamSupportTable::isSupported(uint32_t format, uint32_t mode, uint32_t rate) {
  if (format > 7 || mode > 7 || rate > 7) return false;
  uint32_t formats = 0, modes = 0;
  if (!inquiry(vxDcamReg::kVFormatInq, formats) || !bitSet(formats, 31 - format)) return false;
  if (!inquiry(vxDcamReg::kVModeInq + 4 * format, modes) || !bitSet(modes, 31 - mode)) return false;
  if (format >= kFormatsWithRates) return true;
  uint32_t rates = 0;
  return inquiry(vxDcamReg::kVRateInq + 0x20 * format + 4 * mode, rates) && bitSet(rates, 31 - rate);
}

bool vxDcamSetVideoMode(vx1394DCAM& camera, uint32_t format, uint32_t mode, uint32_t rate,
                        std::string* error) {
  if (!write(camera, vxDcamReg::kCurVideoFormat, format << 29, error)) return false;
  if (!write(camera, vxDcamReg::kCurVideoMode, mode << 29, error)) return false;
  if (format < kFormatsWithRates && !write(camera, vxDcamReg::kCurFrameRate, rate << 29, error))
    return false;
  uint32_t status = 0;
  if (!read(camera, vxDcamReg::kVmodeErrorStatus, status)) {
    fail(error, "VMODE_ERROR_STATUS could not be read");
    return false;
  }
  if (status & vxDcamReg::kOn) {
    fail(error, vxFormat("the camera refuses format %u, mode %u, rate %u", format, mode, rate));
    return false;
  }
  return true;
}

std::optional<vxDcamFormat7Mode> vxDcamReadFormat7Mode(vx1394DCAM& camera, uint32_t mode) {
  vxDcamSupportTable support(camera);
  return vxDcamReadFormat7Mode(support, mode);
}

std::optional<vxDcamFormat7Mode> vxDcamReadFormat7Mode(vxDcamSupportTable& support, uint32_t mode) {
  vx1394DCAM& camera = support.camera();
  if (!support.isSupported(7, mode, 0)) return std::nullopt;
  vxDcamFormat7Mode d;
  d.mode = mode;
  if (!read(camera, vxDcamReg::kVCsrInq7 + 4 * mode, d.csrOffset)) return std::nullopt;
  d.baseAddress = vxDcamQuadletAddress(d.csrOffset);
  uint32_t v = 0;
  if (!read(camera, d.address(vxDcamReg::kF7MaxImageSize), v)) return std::nullopt;
  d.maxWidth = high16(v);
  d.maxHeight = low16(v);
  auto field = [&](uint32_t offset) {
    uint32_t value = 0;
    read(camera, d.address(offset), value);
    return value;
  };
  v = field(vxDcamReg::kF7UnitSize);
  d.unitWidth = high16(v);
  d.unitHeight = low16(v);
  v = field(vxDcamReg::kF7UnitPosition);
  // Cameras before IIDC 1.31 have no position units: positions then step by
  // the size units.
  d.unitPosX = high16(v) ? high16(v) : d.unitWidth;
  d.unitPosY = low16(v) ? low16(v) : d.unitHeight;
  v = field(vxDcamReg::kF7ImagePosition);
  d.left = high16(v);
  d.top = low16(v);
  v = field(vxDcamReg::kF7ImageSize);
  d.width = high16(v);
  d.height = low16(v);
  d.colorCodingId = field(vxDcamReg::kF7ColorCodingId) >> 24;
  d.colorCodingInq = field(vxDcamReg::kF7ColorCodingInq);
  d.pixelCount = field(vxDcamReg::kF7PixelNumber);
  d.totalBytes =
      (uint64_t(field(vxDcamReg::kF7TotalBytesHi)) << 32) | field(vxDcamReg::kF7TotalBytesLo);
  v = field(vxDcamReg::kF7PacketPara);
  d.unitBytesPerPacket = high16(v);
  d.maxBytesPerPacket = low16(v);
  v = field(vxDcamReg::kF7BytePerPacket);
  d.bytesPerPacket = high16(v);
  d.recBytesPerPacket = low16(v);
  d.packetsPerFrame = field(vxDcamReg::kF7PacketPerFrame);
  d.valueSetting = field(vxDcamReg::kF7ValueSetting);
  return d;
}

bool vxDcamWriteFormat7Region(vx1394DCAM& camera, const vxDcamFormat7Mode& mode, uint32_t left,
                              uint32_t top, uint32_t width, uint32_t height, std::string* error) {
  return write(camera, mode.address(vxDcamReg::kF7ImagePosition), 0, error) &&
         write(camera, mode.address(vxDcamReg::kF7ImageSize), (width << 16) | (height & 0xFFFFu),
               error) &&
         write(camera, mode.address(vxDcamReg::kF7ImagePosition), (left << 16) | (top & 0xFFFFu),
               error);
}

bool vxDcamWriteFormat7Coding(vx1394DCAM& camera, const vxDcamFormat7Mode& mode, uint32_t id,
                              std::string* error) {
  return write(camera, mode.address(vxDcamReg::kF7ColorCodingId), id << 24, error);
}

bool vxDcamLatchFormat7(vx1394DCAM& camera, const vxDcamFormat7Mode& mode, std::string* error) {
  if (!mode.hasValueSetting()) return true;
  const uint32_t address = mode.address(vxDcamReg::kF7ValueSetting);
  if (!write(camera, address, vxDcamReg::kValueSettingSetting1, error)) return false;
  // The camera clears Setting_1 once it has taken the values up; it takes a
  // few milliseconds at most on real cameras.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
  uint32_t value = 0;
  for (;;) {
    if (!read(camera, address, value)) {
      fail(error, "VALUE_SETTING could not be read");
      return false;
    }
    if (!(value & vxDcamReg::kValueSettingSetting1)) break;
    if (std::chrono::steady_clock::now() > deadline) {
      fail(error, "the camera did not take up the Format_7 values");
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  if (value & vxDcamReg::kValueSettingError1) {
    fail(error, "the camera refuses the Format_7 region or colour coding");
    return false;
  }
  return true;
}

bool vxDcamWriteBytesPerPacket(vx1394DCAM& camera, const vxDcamFormat7Mode& mode,
                               uint32_t bytesPerPacket, std::string* error) {
  return write(camera, mode.address(vxDcamReg::kF7BytePerPacket), bytesPerPacket << 16, error);
}

std::optional<vxDcamStrobeInfo> vxDcamReadStrobeInfo(vx1394DCAM& camera) {
  uint32_t opt = 0, offset = 0;
  if (!read(camera, vxDcamReg::kOptFunctionInq, opt) || !(opt & vxDcamReg::kOptStrobe))
    return std::nullopt;
  if (!read(camera, vxDcamReg::kStrobeOutputCsrInq, offset)) return std::nullopt;
  vxDcamStrobeInfo info;
  info.baseAddress = vxDcamQuadletAddress(offset);
  if (!read(camera, info.baseAddress, info.control)) return std::nullopt;
  for (uint32_t n = 0; n < 4; ++n) {
    vxDcamStrobeLine& line = info.lines[n];
    line.inqAddress = info.baseAddress + 0x100 + 4 * n;
    line.cntAddress = info.baseAddress + 0x200 + 4 * n;
    if (!bitSet(info.control, 31 - n)) continue;
    uint32_t inq = 0, cnt = 0;
    if (!read(camera, line.inqAddress, inq)) continue;
    line.present = true;
    line.readOut = bitSet(inq, 27);
    line.onOff = bitSet(inq, 26);
    line.polarityChange = bitSet(inq, 25);
    line.minValue = (inq >> 12) & 0xFFFu;
    line.maxValue = inq & 0xFFFu;
    if (read(camera, line.cntAddress, cnt)) {
      line.on = bitSet(cnt, 25);
      line.polarityHigh = bitSet(cnt, 24);
      line.delay = (cnt >> 12) & 0xFFFu;
      line.duration = cnt & 0xFFFu;
    }
  }
  return info;
}

bool vxDcamWriteStrobe(vx1394DCAM& camera, const vxDcamStrobeLine& line, bool on, bool polarityHigh,
                       uint32_t delay, uint32_t duration, std::string* error) {
  const uint32_t value = (on ? 1u << 25 : 0u) | (polarityHigh ? 1u << 24 : 0u) |
                         ((delay & 0xFFFu) << 12) | (duration & 0xFFFu);
  return write(camera, line.cntAddress, value, error);
}

uint32_t vxDcamCommandBase(const vx1394DCAM& camera) {
  const uint32_t base = camera.identity().commandRegsBase;
  return base != 0 ? base : kDefaultCommandRegsBase;
}

bool vxDcamInitialize(vx1394DCAM& camera, std::string* error) {
  return write(camera, vxDcamCommandBase(camera) + vxDcamReg::kInitialize,
               vxDcamReg::kInitializeFlag, error);
}

uint32_t vxDcamVersionNumber(const vx1394DCAM& camera) {
  const uint32_t version = camera.identity().unitSwVersion;
  return (version >= 0x100 && version <= 0x102) ? version : 0;
}

std::optional<vxDcamFeatureInfo> vxDcamReadFeature(vx1394DCAM& camera, vxDcamFeature feature) {
  uint32_t v = 0;
  if (!read(camera, featureInqAddress(feature), v)) return std::nullopt;
  vxDcamFeatureInfo info;
  info.present = bitSet(v, 31);
  info.absControl = bitSet(v, 30);
  info.onePush = bitSet(v, 28);
  info.readOut = bitSet(v, 27);
  info.onOff = bitSet(v, 26);
  info.autoMode = bitSet(v, 25);
  info.manual = bitSet(v, 24);
  info.minValue = (v >> 12) & 0xFFFu;
  info.maxValue = v & 0xFFFu;
  return info;
}

std::optional<uint32_t> vxDcamReadFeatureValue(vx1394DCAM& camera, vxDcamFeature feature) {
  uint32_t v = 0;
  if (!read(camera, featureControlAddress(feature), v)) return std::nullopt;
  return v & 0xFFFu;
}

bool vxDcamWriteFeatureValue(vx1394DCAM& camera, vxDcamFeature feature, uint32_t value,
                             std::string* error) {
  uint32_t control = 0;
  const uint32_t address = featureControlAddress(feature);
  if (!read(camera, address, control)) {
    fail(error, vxFormat("register 0x%X could not be read", address));
    return false;
  }
  control &= ~(vxDcamReg::kFeatureAbsControl | vxDcamReg::kFeatureAuto | 0xFFFu);
  control |= vxDcamReg::kFeatureOnOff | (value & 0xFFFu);
  return write(camera, address, control, error);
}

std::optional<vxDcamAbsRange> vxDcamReadAbsRange(vx1394DCAM& camera, vxDcamFeature feature) {
  uint32_t offset = 0, lo = 0, hi = 0;
  if (!read(camera, vxDcamReg::kAbsCsrInq + 4 * static_cast<uint32_t>(feature), offset))
    return std::nullopt;
  vxDcamAbsRange range;
  range.baseAddress = vxDcamQuadletAddress(offset);
  if (!read(camera, range.baseAddress, lo) || !read(camera, range.baseAddress + 4, hi))
    return std::nullopt;
  range.minValue = std::bit_cast<float>(lo);
  range.maxValue = std::bit_cast<float>(hi);
  return range;
}

std::optional<float> vxDcamReadAbsValue(vx1394DCAM& camera, vxDcamFeature feature) {
  const auto range = vxDcamReadAbsRange(camera, feature);
  uint32_t v = 0;
  if (!range || !read(camera, range->baseAddress + 8, v)) return std::nullopt;
  return std::bit_cast<float>(v);
}

bool vxDcamWriteAbsValue(vx1394DCAM& camera, vxDcamFeature feature, float value,
                         std::string* error) {
  const auto range = vxDcamReadAbsRange(camera, feature);
  if (!range) {
    fail(error, "the absolute value block could not be read");
    return false;
  }
  uint32_t control = 0;
  const uint32_t address = featureControlAddress(feature);
  if (!read(camera, address, control)) {
    fail(error, vxFormat("register 0x%X could not be read", address));
    return false;
  }
  control &= ~vxDcamReg::kFeatureAuto;
  control |= vxDcamReg::kFeatureAbsControl | vxDcamReg::kFeatureOnOff;
  return write(camera, address, control, error) &&
         write(camera, range->baseAddress + 8, std::bit_cast<uint32_t>(value), error);
}

std::optional<vxDcamTriggerInfo> vxDcamReadTrigger(vx1394DCAM& camera) {
  uint32_t v = 0;
  if (!read(camera, featureInqAddress(vxDcamFeature::Trigger), v)) return std::nullopt;
  vxDcamTriggerInfo info;
  info.present = bitSet(v, 31);
  info.absControl = bitSet(v, 30);
  info.readOut = bitSet(v, 27);
  info.onOff = bitSet(v, 26);
  info.polarity = bitSet(v, 25);
  for (unsigned k = 0; k < 4; ++k)
    if (bitSet(v, 23 - k)) info.sources |= 1u << k;
  info.softwareTrigger = bitSet(v, 16);
  for (unsigned k = 0; k < 6; ++k)
    if (bitSet(v, 15 - k)) info.modes |= 1u << k;
  if (bitSet(v, 1)) info.modes |= 1u << 14;
  if (bitSet(v, 0)) info.modes |= 1u << 15;
  return info;
}

bool vxDcamWriteTriggerMode(vx1394DCAM& camera, bool on, bool polarityHigh, uint32_t source,
                            uint32_t mode, std::string* error) {
  const uint32_t value = (on ? vxDcamReg::kFeatureOnOff : 0u) |
                         (polarityHigh ? vxDcamReg::kTriggerPolarity : 0u) | ((source & 7u) << 21) |
                         ((mode & 0xFu) << 16);
  return write(camera, featureControlAddress(vxDcamFeature::Trigger), value, error);
}

bool vxDcamWriteFlag(vx1394DCAM& camera, uint32_t offset, bool on, std::string* error) {
  return write(camera, offset, on ? vxDcamReg::kOn : 0u, error);
}
