// IIDC camera features as objects over their inquiry, control and absolute-value registers.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "acquisition/dcam_module.h"

class vx_RegisterAccessor;
class vx_DCAMRegisterAccessorPralix;

// Register offsets from the command register base shared by every feature.
constexpr uint32_t kFeatureHiInq = 0x404;         // presence bits of features 0..31
constexpr uint32_t kFeatureLoInq = 0x408;         // presence bits of zoom, pan, tilt, ...
constexpr uint32_t kFeatureHiErrorStatus = 0x640;
constexpr uint32_t kFeatureLoErrorStatus = 0x644;

// Where one feature's bits live. The "high" features (index n) use 0x500 + 4n,
// 0x800 + 4n and 0x700 + 4n; the "low" ones (zoom, pan, ...) 0x580 + 4m and so on.
struct DcamFeatureRegisters {
  uint32_t presenceRegister = 0;
  uint32_t inquiryRegister = 0;
  uint32_t controlRegister = 0;
  uint32_t absOffsetRegister = 0;
  uint32_t errorRegister = 0;
  uint32_t bitIndex = 0;

  static DcamFeatureRegisters high(uint32_t index);
  static DcamFeatureRegisters low(uint32_t index);
};

// Indexes of the high features that the reports name directly.
constexpr uint32_t kFeatureBrightness = 0;
constexpr uint32_t kFeatureShutter = 7;
constexpr uint32_t kFeatureGain = 8;
constexpr uint32_t kFeatureTrigger = 12;

// Labels that the write operations of a feature carry into their errors.
inline constexpr const char* kLabelAbsControl = "Absolute Control";
inline constexpr const char* kLabelOn = "Property ON";
inline constexpr const char* kLabelOnePush = "OnePush";
inline constexpr const char* kLabelAuto = "Set Auto Mode";
inline constexpr const char* kLabelValue = "Value";
inline constexpr const char* kLabelValue2 = "Value 2";
inline constexpr const char* kLabelAbsValue = "Advanced Value";

// One feature of one camera, as the properties page works on it. Every
// operation goes to the camera: nothing is cached, so the page always shows
// what the camera holds. A transfer that fails raises vx_DcamModule::Error
// whose text starts with the operation's label, so the user learns which
// operation failed.
class DcamFeature {
 public:
  DcamFeature(uint32_t presenceRegister, uint32_t inquiryRegister, uint32_t controlRegister,
              uint32_t absOffsetRegister, uint32_t errorRegister, uint32_t bitIndex,
              vx_DCAMRegisterAccessorPralix& camera);
  DcamFeature(const DcamFeatureRegisters& registers, vx_DCAMRegisterAccessorPralix& camera);

  const DcamFeatureRegisters& registers() const { return m_regs; }

  bool present();
  bool controlError();
  bool absInquiry();
  bool onePushInquiry();
  bool readOutInquiry();
  bool onOffInquiry();
  bool autoInquiry();
  bool manualInquiry();
  uint32_t minValue();
  uint32_t maxValue();

  bool absControl();
  bool isOn();
  bool onePush();
  bool isAuto();
  uint32_t value();
  uint32_t value2();
  // Read from the block the absolute-value offset register names, afresh each time.
  float absMin();
  float absMax();
  float absValue();

  void setAbsControl(bool on);
  void setOn(bool on);
  void setOnePush(bool start);
  void setAuto(bool on);
  // The number is ORed in as given: a number above 4095 spills into the bits
  // above the field. The page passes what the user typed, unchecked, on purpose.
  void setValue(int value);
  void setValue2(int value);
  void setAbsValue(float value);

 private:
  uint32_t read(uint32_t address, const char* label);
  void write(uint32_t address, uint32_t value, const char* label);
  bool inquiryBit(int bit, const char* label);
  bool controlBit(int bit, const char* label);
  void setControlBits(uint32_t mask, uint32_t bits, const char* label);
  uint32_t absBlock(const char* label);

  DcamFeatureRegisters m_regs;
  vx_DCAMRegisterAccessorPralix& m_camera;
};

// One row of the properties page's feature table.
struct DcamFeatureInfo {
  const char* listedName;
  DcamFeatureRegisters registers;
  const char* valueLabels;  // labels of the value boxes, separated by ";"
  int fieldCount;
};

// The features the properties page offers, in the order it lists them. The
// shutter is listed as "Exposure"; the trigger is left out (it has its own
// property class and the acquisition module drives it).
const std::vector<DcamFeatureInfo>& dcamFeatureTable();

// One record per row of the feature table, all on one camera.
class DcamFeatureSet {
 public:
  explicit DcamFeatureSet(vx_DCAMRegisterAccessorPralix& camera);
  ~DcamFeatureSet();
  DcamFeatureSet(const DcamFeatureSet&) = delete;
  DcamFeatureSet& operator=(const DcamFeatureSet&) = delete;

  size_t size() const { return m_features.size(); }
  DcamFeature& feature(size_t index) { return *m_features[index]; }
  const DcamFeatureInfo& info(size_t index) const { return dcamFeatureTable()[index]; }
  // Indexes of the features whose presence bit is set, in table order.
  std::vector<size_t> presentFeatures();

 private:
  std::vector<std::unique_ptr<DcamFeature>> m_features;
};

// The same bits as classes over any register accessor. These follow the
// accessor's own failure rule: a failed transfer does not raise, it clears the
// accessor's ok flag and reads as 0, and a read-modify-write whose read failed
// writes nothing. The reports rely on this: a failed read shows as "not
// possible" or 0 and the report goes on.
class vx_DCAMProp {
 public:
  vx_DCAMProp(uint32_t presenceRegister, uint32_t inquiryRegister, uint32_t controlRegister,
              uint32_t absOffsetRegister, uint32_t errorRegister, uint32_t bitIndex,
              vx_RegisterAccessor& accessor);
  vx_DCAMProp(const DcamFeatureRegisters& registers, vx_RegisterAccessor& accessor);
  virtual ~vx_DCAMProp();

  virtual bool isPresent();
  virtual bool onePushPossible();
  virtual bool readable();
  virtual bool absControlPossible();
  virtual bool absControl();
  virtual void setAbsControl(bool on);
  virtual bool onOffPossible();
  virtual bool isOn();
  virtual void setOn(bool on);
  virtual float absMin();
  virtual float absMax();
  virtual float absValue();
  virtual void setAbsValue(float value);
  virtual bool controlError();

  const DcamFeatureRegisters& registers() const { return m_regs; }

 protected:
  uint32_t read(uint32_t address);
  bool write(uint32_t address, uint32_t value);
  bool bit(uint32_t address, int bit);
  uint32_t field(uint32_t address, int shift, uint32_t mask);
  // Replaces the bits of mask in the control register, keeping the rest.
  void setControlBits(uint32_t mask, uint32_t bits);
  // Absolute address of the absolute-value block; false when the offset
  // register could not be read.
  bool absBlock(uint32_t& address);
  float absFloat(uint32_t offset);

  DcamFeatureRegisters m_regs;
  vx_RegisterAccessor& m_accessor;
};

class vx_DCAMBasicProp : public vx_DCAMProp {
 public:
  using vx_DCAMProp::vx_DCAMProp;

  virtual bool autoPossible();
  virtual bool manualPossible();
  virtual uint32_t minValue();
  virtual uint32_t maxValue();
  virtual void setOnePush(bool start);
  virtual bool onePush();
  virtual void setAuto(bool on);
  virtual bool isAuto();
  // Confined to the 12-bit field, unlike the page's feature record.
  virtual void setValue(uint32_t value);
  virtual uint32_t value();
};

class vx_DCAMTriggerProp : public vx_DCAMProp {
 public:
  explicit vx_DCAMTriggerProp(vx_RegisterAccessor& accessor);
  using vx_DCAMProp::vx_DCAMProp;

  virtual bool triggerModePossible(int mode);  // mode 0..15
  virtual void setTriggerMode(uint32_t mode);
  virtual uint32_t triggerMode();
  virtual bool polarityPossible();
  virtual void setPolarity(bool high);
  virtual bool polarity();
  virtual void setParameter(uint32_t parameter);
  virtual uint32_t parameter();
  virtual bool valueReadable();
  // Sources 0..3 are the trigger inputs; 7 is the software trigger.
  virtual bool triggerSourcePossible(int source);
  virtual void setTriggerSource(uint32_t source);
  virtual uint32_t triggerSource();
  virtual bool triggerValue();
};
