// IIDC camera features: the page's feature records, the feature table and the property classes.
#include "utilities/feature_props.h"

#include <bit>

#include "base/format.h"
#include "regmodel/register_accessor.h"

namespace {

// Bits of the element-inquiry register (bit 31 is the most significant).
constexpr int kInqAbsControl = 30;
constexpr int kInqOnePush = 28;
constexpr int kInqReadOut = 27;
constexpr int kInqOnOff = 26;
constexpr int kInqAuto = 25;
constexpr int kInqManual = 24;
// Bits of the status/control register.
constexpr int kCtlAbsControl = 30;
constexpr int kCtlOnePush = 26;
constexpr int kCtlOn = 25;
constexpr int kCtlAuto = 24;
constexpr uint32_t kValueMask = 0xFFFu;
constexpr int kValue2Shift = 12;

// The absolute-value block: three IEEE-754 singles.
constexpr uint32_t kAbsMinOffset = 0x0;
constexpr uint32_t kAbsMaxOffset = 0x4;
constexpr uint32_t kAbsValueOffset = 0x8;

constexpr uint32_t bitMask(int bit) { return 1u << bit; }

// A quadlet offset names the address offset x 4 + 0xF0000000, in 32 bits.
constexpr uint32_t absBlockAddress(uint32_t quadletOffset) {
  return quadletOffset * 4u + kCsrSpaceBase;
}

// The accessor's ok flag tells the owner that something failed since it last
// set the flag. To learn about one transfer without hiding earlier failures
// from that owner, the flag is set for the transfer and the earlier state is
// put back, still cleared if either failed.
class TransferCheck {
 public:
  explicit TransferCheck(vx_RegisterAccessor& accessor)
      : m_accessor(dynamic_cast<vx_DCAMRegisterAccessorPralix*>(&accessor)) {
    if (m_accessor) {
      m_before = m_accessor->ok();
      m_accessor->setOk(true);
    }
  }
  ~TransferCheck() {
    if (m_accessor) m_accessor->setOk(m_before && m_accessor->ok());
  }
  TransferCheck(const TransferCheck&) = delete;
  TransferCheck& operator=(const TransferCheck&) = delete;
  // An accessor that keeps no ok flag cannot report failures; its transfers count as done.
  bool ok() const { return !m_accessor || m_accessor->ok(); }

 private:
  vx_DCAMRegisterAccessorPralix* m_accessor;
  bool m_before = true;
};

// The bus layer's reason, when it gave one, after the operation's own words.
std::string withReason(const std::string& reason) {
  return reason.empty() ? std::string() : " (" + reason + ")";
}

}  // namespace

DcamFeatureRegisters DcamFeatureRegisters::high(uint32_t index) {
  return {kFeatureHiInq,  0x500 + 4 * index, 0x800 + 4 * index, 0x700 + 4 * index,
          kFeatureHiErrorStatus, index};
}

DcamFeatureRegisters DcamFeatureRegisters::low(uint32_t index) {
  return {kFeatureLoInq,  0x580 + 4 * index, 0x880 + 4 * index, 0x780 + 4 * index,
          kFeatureLoErrorStatus, index};
}

// ---------------------------------------------------------------- DcamFeature

DcamFeature::DcamFeature(uint32_t presenceRegister, uint32_t inquiryRegister,
                         uint32_t controlRegister, uint32_t absOffsetRegister,
                         uint32_t errorRegister, uint32_t bitIndex,
                         vx_DCAMRegisterAccessorPralix& camera)
    : m_regs{presenceRegister, inquiryRegister, controlRegister,
             absOffsetRegister, errorRegister,  bitIndex},
      m_camera(camera) {}

DcamFeature::DcamFeature(const DcamFeatureRegisters& registers,
                         vx_DCAMRegisterAccessorPralix& camera)
    : m_regs(registers), m_camera(camera) {}

uint32_t DcamFeature::read(uint32_t address, const char* label) {
  TransferCheck check(m_camera);
  const uint32_t value = m_camera.readQuadlet(address);
  if (!check.ok())
    throw vx_DcamModule::Error(vxFormat("%s: reading register 0x%X failed", label, address) +
                               withReason(m_camera.lastError()));
  return value;
}

void DcamFeature::write(uint32_t address, uint32_t value, const char* label) {
  TransferCheck check(m_camera);
  const bool written = m_camera.writeQuadlet(address, value);
  if (!written || !check.ok())
    throw vx_DcamModule::Error(vxFormat("%s: writing register 0x%X failed", label, address) +
                               withReason(m_camera.lastError()));
}

bool DcamFeature::inquiryBit(int bit, const char* label) {
  return (read(m_regs.inquiryRegister, label) & bitMask(bit)) != 0;
}

bool DcamFeature::controlBit(int bit, const char* label) {
  return (read(m_regs.controlRegister, label) & bitMask(bit)) != 0;
}

void DcamFeature::setControlBits(uint32_t mask, uint32_t bits, const char* label) {
  const uint32_t control = read(m_regs.controlRegister, label);
  write(m_regs.controlRegister, (control & ~mask) | bits, label);
}

uint32_t DcamFeature::absBlock(const char* label) {
  return absBlockAddress(read(m_regs.absOffsetRegister, label));
}

bool DcamFeature::present() {
  return (read(m_regs.presenceRegister, "Presence") & bitMask(31 - int(m_regs.bitIndex))) != 0;
}

bool DcamFeature::controlError() {
  return (read(m_regs.errorRegister, "Control Error") & bitMask(31 - int(m_regs.bitIndex))) != 0;
}

bool DcamFeature::absInquiry() { return inquiryBit(kInqAbsControl, "Absolute Control Inquiry"); }
bool DcamFeature::onePushInquiry() { return inquiryBit(kInqOnePush, "OnePush Inquiry"); }
bool DcamFeature::readOutInquiry() { return inquiryBit(kInqReadOut, "Readout Inquiry"); }
bool DcamFeature::onOffInquiry() { return inquiryBit(kInqOnOff, "ON/OFF Inquiry"); }
bool DcamFeature::autoInquiry() { return inquiryBit(kInqAuto, "Auto Inquiry"); }
bool DcamFeature::manualInquiry() { return inquiryBit(kInqManual, "Manual Inquiry"); }

uint32_t DcamFeature::minValue() {
  return (read(m_regs.inquiryRegister, "Minimum Value") >> 12) & kValueMask;
}

uint32_t DcamFeature::maxValue() {
  return read(m_regs.inquiryRegister, "Maximum Value") & kValueMask;
}

bool DcamFeature::absControl() { return controlBit(kCtlAbsControl, kLabelAbsControl); }
bool DcamFeature::isOn() { return controlBit(kCtlOn, kLabelOn); }
bool DcamFeature::onePush() { return controlBit(kCtlOnePush, kLabelOnePush); }
bool DcamFeature::isAuto() { return controlBit(kCtlAuto, kLabelAuto); }

uint32_t DcamFeature::value() { return read(m_regs.controlRegister, kLabelValue) & kValueMask; }

uint32_t DcamFeature::value2() {
  return (read(m_regs.controlRegister, kLabelValue2) >> kValue2Shift) & kValueMask;
}

float DcamFeature::absMin() {
  const char* label = "Absolute Minimum";
  return std::bit_cast<float>(read(absBlock(label) + kAbsMinOffset, label));
}

float DcamFeature::absMax() {
  const char* label = "Absolute Maximum";
  return std::bit_cast<float>(read(absBlock(label) + kAbsMaxOffset, label));
}

float DcamFeature::absValue() {
  return std::bit_cast<float>(read(absBlock(kLabelAbsValue) + kAbsValueOffset, kLabelAbsValue));
}

void DcamFeature::setAbsControl(bool on) {
  setControlBits(bitMask(kCtlAbsControl), on ? bitMask(kCtlAbsControl) : 0, kLabelAbsControl);
}

void DcamFeature::setOn(bool on) {
  setControlBits(bitMask(kCtlOn), on ? bitMask(kCtlOn) : 0, kLabelOn);
}

void DcamFeature::setOnePush(bool start) {
  setControlBits(bitMask(kCtlOnePush), start ? bitMask(kCtlOnePush) : 0, kLabelOnePush);
}

void DcamFeature::setAuto(bool on) {
  setControlBits(bitMask(kCtlAuto), on ? bitMask(kCtlAuto) : 0, kLabelAuto);
}

void DcamFeature::setValue(int value) {
  setControlBits(kValueMask, static_cast<uint32_t>(value), kLabelValue);
}

void DcamFeature::setValue2(int value) {
  setControlBits(kValueMask << kValue2Shift, static_cast<uint32_t>(value) << kValue2Shift,
                 kLabelValue2);
}

void DcamFeature::setAbsValue(float value) {
  write(absBlock(kLabelAbsValue) + kAbsValueOffset, std::bit_cast<uint32_t>(value),
        kLabelAbsValue);
}

// ------------------------------------------------------------- feature table

const std::vector<DcamFeatureInfo>& dcamFeatureTable() {
  using R = DcamFeatureRegisters;
  static const std::vector<DcamFeatureInfo> table = {
      {"Sharpness", R::high(2), "Value", 1},
      {"Hue", R::high(4), "Value", 1},
      {"Saturation", R::high(5), "Value", 1},
      {"White Balance", R::high(3), "V/R Value;U/B Value", 2},
      {"Exposure", R::high(kFeatureShutter), "Exposure", 1},
      {"Brightness", R::high(kFeatureBrightness), "Brightness", 1},
      {"Gain", R::high(kFeatureGain), "Gain", 1},
      {"Iris", R::high(9), "Value", 1},
      {"Focus", R::high(10), "Value", 1},
      {"Temperature", R::high(11), "Temperature;Target Temperature", 2},
      {"Trigger Delay", R::high(13), "Delay", 1},
      {"White Shading", R::high(14), "B-Value;G-Value;R-Value", 3},
      {"Frame Rate", R::high(15), "Rate", 1},
      {"Auto Exposure", R::high(1), "Value", 1},
      {"Gamma", R::high(6), "Gamma", 1},
      {"Zoom", R::low(0), "Value", 1},
      {"Pan", R::low(1), "Value", 1},
      {"Tilt", R::low(2), "Value", 1},
      {"Optical Filter", R::low(3), "Value", 1},
  };
  return table;
}

DcamFeatureSet::DcamFeatureSet(vx_DCAMRegisterAccessorPralix& camera) {
  for (const DcamFeatureInfo& info : dcamFeatureTable())
    m_features.push_back(std::make_unique<DcamFeature>(info.registers, camera));
}

DcamFeatureSet::~DcamFeatureSet() = default;

std::vector<size_t> DcamFeatureSet::presentFeatures() {
  std::vector<size_t> present;
  for (size_t i = 0; i < m_features.size(); ++i)
    if (m_features[i]->present()) present.push_back(i);
  return present;
}

// ---------------------------------------------------------------- vx_DCAMProp

vx_DCAMProp::vx_DCAMProp(uint32_t presenceRegister, uint32_t inquiryRegister,
                         uint32_t controlRegister, uint32_t absOffsetRegister,
                         uint32_t errorRegister, uint32_t bitIndex,
                         vx_RegisterAccessor& accessor)
    : m_regs{presenceRegister, inquiryRegister, controlRegister,
             absOffsetRegister, errorRegister,  bitIndex},
      m_accessor(accessor) {}

vx_DCAMProp::vx_DCAMProp(const DcamFeatureRegisters& registers, vx_RegisterAccessor& accessor)
    : m_regs(registers), m_accessor(accessor) {}

vx_DCAMProp::~vx_DCAMProp() = default;

uint32_t vx_DCAMProp::read(uint32_t address) { return m_accessor.readQuadlet(address); }

bool vx_DCAMProp::write(uint32_t address, uint32_t value) {
  return m_accessor.writeQuadlet(address, value);
}

bool vx_DCAMProp::bit(uint32_t address, int bitNumber) {
  return (read(address) & bitMask(bitNumber)) != 0;
}

uint32_t vx_DCAMProp::field(uint32_t address, int shift, uint32_t mask) {
  return (read(address) >> shift) & mask;
}

void vx_DCAMProp::setControlBits(uint32_t mask, uint32_t bits) {
  uint32_t control = 0;
  {
    TransferCheck check(m_accessor);
    control = read(m_regs.controlRegister);
    // Writing back a register that was not read would clobber its other bits.
    if (!check.ok()) return;
  }
  write(m_regs.controlRegister, (control & ~mask) | (bits & mask));
}

bool vx_DCAMProp::absBlock(uint32_t& address) {
  TransferCheck check(m_accessor);
  address = absBlockAddress(read(m_regs.absOffsetRegister));
  return check.ok();
}

float vx_DCAMProp::absFloat(uint32_t offset) {
  uint32_t block = 0;
  if (!absBlock(block)) return 0.0f;
  return std::bit_cast<float>(read(block + offset));
}

bool vx_DCAMProp::isPresent() { return bit(m_regs.presenceRegister, 31 - int(m_regs.bitIndex)); }
bool vx_DCAMProp::onePushPossible() { return bit(m_regs.inquiryRegister, kInqOnePush); }
bool vx_DCAMProp::readable() { return bit(m_regs.inquiryRegister, kInqReadOut); }
bool vx_DCAMProp::absControlPossible() { return bit(m_regs.inquiryRegister, kInqAbsControl); }
bool vx_DCAMProp::absControl() { return bit(m_regs.controlRegister, kCtlAbsControl); }

void vx_DCAMProp::setAbsControl(bool on) {
  setControlBits(bitMask(kCtlAbsControl), on ? ~0u : 0u);
}

bool vx_DCAMProp::onOffPossible() { return bit(m_regs.inquiryRegister, kInqOnOff); }
bool vx_DCAMProp::isOn() { return bit(m_regs.controlRegister, kCtlOn); }
void vx_DCAMProp::setOn(bool on) { setControlBits(bitMask(kCtlOn), on ? ~0u : 0u); }
float vx_DCAMProp::absMin() { return absFloat(kAbsMinOffset); }
float vx_DCAMProp::absMax() { return absFloat(kAbsMaxOffset); }
float vx_DCAMProp::absValue() { return absFloat(kAbsValueOffset); }

void vx_DCAMProp::setAbsValue(float value) {
  uint32_t block = 0;
  if (absBlock(block)) write(block + kAbsValueOffset, std::bit_cast<uint32_t>(value));
}

bool vx_DCAMProp::controlError() { return bit(m_regs.errorRegister, 31 - int(m_regs.bitIndex)); }

// ----------------------------------------------------------- vx_DCAMBasicProp

bool vx_DCAMBasicProp::autoPossible() { return bit(m_regs.inquiryRegister, kInqAuto); }
bool vx_DCAMBasicProp::manualPossible() { return bit(m_regs.inquiryRegister, kInqManual); }
uint32_t vx_DCAMBasicProp::minValue() { return field(m_regs.inquiryRegister, 12, kValueMask); }
uint32_t vx_DCAMBasicProp::maxValue() { return field(m_regs.inquiryRegister, 0, kValueMask); }

void vx_DCAMBasicProp::setOnePush(bool start) {
  setControlBits(bitMask(kCtlOnePush), start ? ~0u : 0u);
}

bool vx_DCAMBasicProp::onePush() { return bit(m_regs.controlRegister, kCtlOnePush); }
void vx_DCAMBasicProp::setAuto(bool on) { setControlBits(bitMask(kCtlAuto), on ? ~0u : 0u); }
bool vx_DCAMBasicProp::isAuto() { return bit(m_regs.controlRegister, kCtlAuto); }
void vx_DCAMBasicProp::setValue(uint32_t value) { setControlBits(kValueMask, value); }
uint32_t vx_DCAMBasicProp::value() { return field(m_regs.controlRegister, 0, kValueMask); }

// --------------------------------------------------------- vx_DCAMTriggerProp

namespace {
constexpr int kTrgInqPolarity = 25;
constexpr int kTrgInqValueRead = 24;
constexpr int kTrgCtlPolarity = 24;
constexpr int kTrgModeShift = 16;
constexpr uint32_t kTrgModeMask = 0xFu;
constexpr int kTrgSourceShift = 21;
constexpr uint32_t kTrgSourceMask = 0x7u;
constexpr int kTrgCtlValue = 20;
}  // namespace

vx_DCAMTriggerProp::vx_DCAMTriggerProp(vx_RegisterAccessor& accessor)
    : vx_DCAMProp(DcamFeatureRegisters::high(kFeatureTrigger), accessor) {}

bool vx_DCAMTriggerProp::triggerModePossible(int mode) {
  if (mode < 0 || mode > 15) return false;
  return bit(m_regs.inquiryRegister, 15 - mode);
}

void vx_DCAMTriggerProp::setTriggerMode(uint32_t mode) {
  setControlBits(kTrgModeMask << kTrgModeShift, mode << kTrgModeShift);
}

uint32_t vx_DCAMTriggerProp::triggerMode() {
  return field(m_regs.controlRegister, kTrgModeShift, kTrgModeMask);
}

bool vx_DCAMTriggerProp::polarityPossible() { return bit(m_regs.inquiryRegister, kTrgInqPolarity); }

void vx_DCAMTriggerProp::setPolarity(bool high) {
  setControlBits(bitMask(kTrgCtlPolarity), high ? ~0u : 0u);
}

bool vx_DCAMTriggerProp::polarity() { return bit(m_regs.controlRegister, kTrgCtlPolarity); }
void vx_DCAMTriggerProp::setParameter(uint32_t parameter) { setControlBits(kValueMask, parameter); }
uint32_t vx_DCAMTriggerProp::parameter() { return field(m_regs.controlRegister, 0, kValueMask); }
bool vx_DCAMTriggerProp::valueReadable() { return bit(m_regs.inquiryRegister, kTrgInqValueRead); }

bool vx_DCAMTriggerProp::triggerSourcePossible(int source) {
  if (source < 0 || source > 7) return false;
  return bit(m_regs.inquiryRegister, 23 - source);
}

void vx_DCAMTriggerProp::setTriggerSource(uint32_t source) {
  setControlBits(kTrgSourceMask << kTrgSourceShift, source << kTrgSourceShift);
}

uint32_t vx_DCAMTriggerProp::triggerSource() {
  return field(m_regs.controlRegister, kTrgSourceShift, kTrgSourceMask);
}

bool vx_DCAMTriggerProp::triggerValue() { return bit(m_regs.controlRegister, kTrgCtlValue); }
