// The register dump report: general features, formats, properties, Format_7, I/O, ROM and raw registers.
#include "utilities/register_dump.h"

#include <optional>

#include "acquisition/dcam_registers.h"
#include "base/format.h"
#include "regmodel/dcam_camera.h"
#include "regmodel/register_accessor.h"
#include "utilities/feature_props.h"

namespace {

constexpr uint32_t kConfigRomBase = 0xF0000400u;
constexpr uint32_t kUnitDirectoryEntry = 0xF0000424u;
// The unit directory offset is counted from 0xF0000430, twelve bytes past the
// entry that holds it. Kept as the program has always walked it.
constexpr uint32_t kUnitDirectoryBase = 0xF0000430u;

constexpr uint32_t kRawFirst = 0x100;
constexpr uint32_t kRawEnd = 2047;       // the raw dump reads while the offset is below this
constexpr uint32_t kFormat7RawSpan = 0x7C;

constexpr int kFormat7Modes = 7;         // Format_7 modes 0..6
constexpr int kModesPerFormat = 7;       // modes 0..6 of formats 0..2
constexpr int kRates = 8;

const char* possible(bool yes) { return yes ? "Possible" : "Not Possible"; }

bool bitSet(uint32_t value, int bit) { return (value & (1u << bit)) != 0; }

// The first colour coding id the mode offers; 0 for a mode that names none.
uint32_t firstColorCoding(const vxDcamFormat7Mode& mode) {
  for (uint32_t id = 0; id < 32; ++id)
    if (mode.supportsColorCoding(id)) return id;
  return 0;
}

}  // namespace

struct vxRegisterDumpBuilder::Context {
  vxReportText out;
  vxReportProgressSink progress;
  vxDcamCamera& diag;
  vx1394DCAM& camera;
  vx_DCAMRegisterAccessorPralix& accessor;
  vxReportFailures& failures;
  // The format, mode and rate inquiry registers, read once for the report.
  vxDcamSupportTable support{camera};

  // A quadlet that failed to read counts as 0. The raw sweeps pass listed
  // false: an address a camera does not implement is no failure there.
  uint32_t read(uint32_t address, bool listed = true) {
    uint32_t value = 0;
    std::string reason;
    if (!diag.readQuadlet(address, value, &reason)) {
      value = 0;
      if (listed) failures.add(false, address, reason);
    }
    return value;
  }
  void write(uint32_t address, uint32_t value) {
    std::string reason;
    if (!camera.writeQuadlet(address, value, &reason)) failures.add(true, address, reason);
  }
};

const char* vxRegisterDumpBuilder::changesWarning() {
  return "The register dump changes the camera and leaves it changed: the current video format, "
         "mode and rate end as the last mode the dump visits (the last Format_7 mode, when the "
         "camera has any); the brightness, gain and shutter features are left switched on, in "
         "manual mode, with absolute control off; and each Format_7 mode is left at image "
         "position 0,0, with its size set to its maximum less its former position and the first "
         "colour coding it offers.";
}

vxRegisterDumpBuilder::vxRegisterDumpBuilder(int cameraNumber, vx_DcamModule& module)
    : m_cameraNumber(cameraNumber), m_module(module) {}

std::string vxRegisterDumpBuilder::build(const vxReportProgress& progress) {
  m_failures = {};
  vxDcamCamera diag(m_cameraNumber, &m_module);
  vx_DCAMRegisterAccessorPralix accessor(m_cameraNumber, &m_module);
  accessor.setFailureListener([this](bool write, uint32_t address, const std::string& reason) {
    m_failures.add(write, address, reason);
  });
  Context c{{}, vxReportProgressSink(progress), diag, diag.device(), accessor, m_failures};
  c.progress.report(0.0);

  moduleInfo(c);
  generalFeatures(c);
  supportedFormats(c);
  c.progress.report(0.40);
  properties(c);
  c.progress.report(0.45);
  format7Information(c);
  c.progress.report(0.55);
  ioSection(c);
  configRom(c);
  c.progress.report(0.60);
  rawRegisters(c);
  format7Raw(c);
  c.progress.report(1.0);
  return c.out.take();
}

void vxRegisterDumpBuilder::moduleInfo(Context& c) {
  c.out.banner("********* QORVEL DCAM MODULE INFO ********** \r\n");
  c.out.line(vxFormat("Running %s version %s", m_module.name().c_str(), m_module.version().c_str()));
  c.out.blank();
}

void vxRegisterDumpBuilder::generalFeatures(Context& c) {
  const uint32_t basic = c.read(vxDcamReg::kBasicFuncInq);
  c.out.banner("************* GENERAL FEATURES ************* \r\n");
  const struct {
    const char* label;
    int bit;
  } lines[] = {
      {"Advance Features are ", 31}, {"VideoError Status is ", 30},
      {"Feature Error Status is ", 29}, {"Camera Power control is ", 15},
      {"One Shot ", 12}, {"MultiShot ", 11}, {"1394b mode ", 23},
  };
  for (const auto& l : lines) c.out.line(std::string(l.label) + possible(bitSet(basic, l.bit)));
}

void vxRegisterDumpBuilder::supportedFormats(Context& c) {
  c.out.banner("\r\n************* SUPPORTED FORMATS ************* \r\n");
  const uint32_t formats[] = {0, 1, 2, 7};
  for (size_t i = 0; i < 4; ++i) {
    const uint32_t format = formats[i];
    c.out.line(vxFormat("FORMAT : %d", int(format)));
    // Format_7 has no frame-rate table: only rate 0 is asked about, and its
    // modes are set later, in the Format 7 section.
    const int rates = format == 7 ? 1 : kRates;
    for (int mode = 0; mode < kModesPerFormat; ++mode) {
      bool printed = false;
      for (int rate = 0; rate < rates; ++rate) {
        if (!c.support.isSupported(format, uint32_t(mode), uint32_t(rate))) continue;
        printed = true;
        c.out.line(vxFormat("Format : %d, Mode : %d, Fps : %d", int(format), mode, rate));
        if (format <= 2 && !vxDcamSetVideoMode(c.camera, format, uint32_t(mode), uint32_t(rate)))
          c.out.line("Setting this format failed!");
      }
      if (printed) c.out.blank();
    }
    c.progress.report(0.05 + 0.35 * double(i + 1) / 4.0);
  }
}

void vxRegisterDumpBuilder::properties(Context& c) {
  c.out.banner("************* PROPERTIES *************\r\n");
  const struct {
    const char* header;
    uint32_t feature;
  } features[] = {
      {"BRIGHTNESS PROPERTY\r\n ", kFeatureBrightness},
      {"GAIN PROPERTY\r\n ", kFeatureGain},
      {"SHUTTER PROPERTY\r\n ", kFeatureShutter},
  };
  for (const auto& f : features) {
    c.out.line(f.header);
    vx_DCAMBasicProp prop(DcamFeatureRegisters::high(f.feature), c.accessor);
    if (!prop.isPresent()) continue;
    c.out.line("Feature is Present");
    prop.setOn(true);
    c.out.line(prop.isOn() ? "Property is On" : "Property is Off");
    c.out.line(prop.autoPossible() ? "AutoControl is Possible" : "AutoControl is not Possible");
    c.out.line(prop.onePushPossible() ? "One Push is Possible" : "One Push is not Possible");
    c.out.line(prop.readable() ? "Reading is Possible" : "Reading is Not Possible");
    c.out.line(prop.manualPossible() ? "Manual Control is Possible"
                                     : "Manual control is not possible");
    c.out.line(prop.onOffPossible() ? "ONOFF is Possible" : "ONOFF is not Possible");
    const bool wasAuto = prop.isAuto();
    c.out.line(wasAuto ? "Auto Mode is on" : "Auto Mode is off");
    if (wasAuto) {
      prop.setAuto(false);
      c.out.line(prop.isAuto() ? "Auto Mode is on" : "Auto Mode is off");
    }
    if (prop.absControlPossible()) {
      c.out.line("Absolute Control is Possible\r\n");
      prop.setAbsControl(true);
      c.out.line(vxFormat("Absolute value Min : %f", double(prop.absMin())));
      c.out.line(vxFormat("Absolute value Max : %f", double(prop.absMax())));
      c.out.line(vxFormat("Absolute value (Default) : %f", double(prop.absValue())));
      prop.setAbsControl(false);
    } else {
      c.out.line("Absolute Control is Impossible\r\n");
    }
    c.out.line(vxFormat("Value Min : %d", int(prop.minValue())));
    c.out.line(vxFormat("Value Max : %d", int(prop.maxValue())));
    c.out.line(vxFormat("Value (default) : %d", int(prop.value())));
  }

  c.out.line("TRIGGER PROPERTY");
  vx_DCAMTriggerProp trigger(c.accessor);
  if (trigger.isPresent()) {
    c.out.line("Feature is Present");
    c.out.line(trigger.absControlPossible() ? "Absolute Control is Possible"
                                            : "Absolute Control is Impossible");
    c.out.line(trigger.onePushPossible() ? "One Push is Possible" : "One Push is not Possible");
    c.out.line(trigger.readable() ? "Reading is Possible" : "Reading is Not Possible");
    c.out.line(trigger.onOffPossible() ? "ONOFF is Possible" : "ONOFF is not Possible");
    c.out.line(vxFormat("Trigger Mode : %d", int(trigger.triggerMode())));
    c.out.line(trigger.isOn() ? "Property is On" : "Property is Off");
    for (int mode = 0; mode < 4; ++mode)
      c.out.line(vxFormat(trigger.triggerModePossible(mode) ? "Trigger mode %d is Possible"
                                                            : "Trigger mode %d is Not Possible",
                          mode));
    c.out.line(trigger.polarityPossible() ? "Trigger polarity is Possible"
                                          : "Trigger polarity is not Possible");
  }
  c.out.blank();
}

void vxRegisterDumpBuilder::format7Information(Context& c) {
  c.out.banner("************* FORMAT 7 INFORMATION ************\r\n");
  const bool valueSettingKnown = vxDcamVersionNumber(c.camera) >= 0x102;
  for (int n = 0; n < kFormat7Modes; ++n) {
    const auto mode = uint32_t(n);
    if (!c.support.isSupported(7, mode, 0)) continue;
    const std::optional<vxDcamFormat7Mode> before = vxDcamReadFormat7Mode(c.support, mode);
    if (!before) continue;

    vxDcamSetVideoMode(c.camera, 7, mode, 0);
    c.out.line(vxFormat("Format 7 Mode %d", n));
    c.out.blank();
    c.out.line(vxFormat("Quadlet Offset Address : 0x%X", before->csrOffset));
    c.out.line(vxFormat("Absolute Address : 0x%X", before->baseAddress));
    c.out.blank();
    c.out.line(vxFormat("Maximum Horizontal Pixels : %d", int(before->maxWidth)));
    c.out.line(vxFormat("Maximum Vertical Pixels : %d", int(before->maxHeight)));
    c.out.blank();

    // Full area: the size is the maximum less the current position (so the
    // camera never sees a region reaching past its sensor), then the
    // position goes to the origin; then the mode's first colour coding (a
    // coding the mode does not offer would leave it in error).
    const uint32_t width = before->maxWidth - before->left;
    const uint32_t height = before->maxHeight - before->top;
    c.write(before->address(vxDcamReg::kF7ImageSize), (width << 16) | (height & 0xFFFF));
    c.write(before->address(vxDcamReg::kF7ImagePosition), 0);
    c.write(before->address(vxDcamReg::kF7ColorCodingId), firstColorCoding(*before) << 24);

    const vxDcamFormat7Mode m = vxDcamReadFormat7Mode(c.support, mode).value_or(*before);
    if (valueSettingKnown)
      c.out.line(m.hasValueSetting() ? "Value Setting isPresent" : "Value Setting is Absent");
    c.out.line(vxFormat("HUNIT Position size : %d", int(m.unitPosX)));
    c.out.line(vxFormat("VUNIT Position size : %d", int(m.unitPosY)));
    c.out.line(vxFormat("Color Coding : %d", int(m.colorCodingId)));
    c.out.line(vxFormat("Top X : %d", int(m.left)));
    c.out.line(vxFormat("Top Y : %d", int(m.top)));
    c.out.line(vxFormat("HUNIT Size : %d", int(m.unitWidth)));
    c.out.line(vxFormat("VUNIT Size : %d", int(m.unitHeight)));
    c.out.line(vxFormat("Total Pixels : %d", int(m.pixelCount)));
    c.out.line(vxFormat("Maximum BytesPerPacket : %d", int(m.maxBytesPerPacket)));
    c.out.line(vxFormat("Rec BytesPerPacket : %d", int(m.recBytesPerPacket)));
    c.out.line(vxFormat("Packets Per Frame : %d", int(m.packetsPerFrame)));
    c.out.line(vxFormat("UnitBytesPerPacket: %d", int(m.unitBytesPerPacket)));
    c.out.line(vxFormat("Current BytesPerPacket : %d", int(m.bytesPerPacket)));
    c.out.line(vxFormat("Current Width : %d", int(m.width)));
    c.out.line(vxFormat("Current Height : %d", int(m.height)));
    c.out.blank();
    for (uint32_t id = 0; id < 10; ++id)
      c.out.line(vxFormat(m.supportsColorCoding(id) ? "Color coding %d is possible"
                                                    : "Color coding %d is not possible",
                          int(id)));
    c.out.blank();
  }
}

void vxRegisterDumpBuilder::ioSection(Context& c) {
  c.out.banner("\r\n************* IO SECTION ************\r\n");
  const uint32_t opt = c.read(vxDcamReg::kOptFunctionInq);
  if (bitSet(opt, 30)) c.out.line("Optional Programmable IO is possible");
  if (bitSet(opt, 29)) c.out.line("Optional Serial IO is possible");
  if (!bitSet(opt, 28)) return;
  c.out.line("Optional Strobe Output is possible");
  const std::optional<vxDcamStrobeInfo> strobe = vxDcamReadStrobeInfo(c.camera);
  if (!strobe) return;
  for (int k = 0; k < 4; ++k) {
    if (!strobe->isPresent(k)) continue;
    const vxDcamStrobeLine& s = strobe->lines[size_t(k)];
    c.out.line(vxFormat("\r\nStrobe Line %d is available for output.", k));
    c.out.line(s.readOut ? "Reading is possible" : "Reading is impossible");
    c.out.line(s.onOff ? "ON OFF is possible" : "ON OFF is impossible");
    c.out.line(s.polarityChange ? "Polarity change is possible" : "Polarity change is impossible");
    c.out.line(s.on ? "Strobe is ON" : "Strobe is OFF");
    c.out.line(s.polarityHigh ? "Current strobe signal polarity is low to high"
                              : "Current strobe signal polarity is high to low");
    c.out.line(vxFormat("Min Strobe Value %d", int(s.minValue)));
    c.out.line(vxFormat("Max Strobe Value %d", int(s.maxValue)));
    c.out.line(vxFormat("Current Strobe Duration %d", int(s.duration)));
    c.out.line(vxFormat("Current Strobe Delay %d", int(s.delay)));
  }
}

void vxRegisterDumpBuilder::configRom(Context& c) {
  c.out.banner("\r\n************* CONFIGURATION ROM SECTION ************\r\n");
  c.out.line(vxFormat("Config ROM Base Address is : 0x%X", kConfigRomBase));

  const uint32_t v1 = c.read(kUnitDirectoryEntry);
  c.out.line(vxFormat("Reading Unit Directory Offset: %X Value : %X", kUnitDirectoryEntry, v1));
  const uint32_t unitDir = kUnitDirectoryBase + 4u * (v1 & 0xFFFFFFu);
  const uint32_t v2 = c.read(unitDir);
  c.out.line(vxFormat("Reading Unit Dependent Directory Offset: %X Value : %X", unitDir, v2));
  const uint32_t dependentDir = unitDir + 4u * (v2 & 0xFFFFFFu);
  const uint32_t v3 = c.read(dependentDir);
  c.out.line(vxFormat("Reading Unit Dependent Directory Root: %X Value : %X", dependentDir, v3));
  const uint32_t entries = v3 >> 16;
  c.out.line(vxFormat("Number of Unit Dependent Directory Entries: %d", int(entries)));
  for (uint32_t i = 0; i < entries; ++i) {
    const uint32_t address = dependentDir + 4u + 4u * i;
    c.out.line(vxFormat("Reading Unit Dependent Directory Entry # %d : %X Value : %X", int(i),
                        address, c.read(address)));
  }
}

void vxRegisterDumpBuilder::rawRegisters(Context& c) {
  c.out.blank();
  c.out.banner("************* DUMPING RAW REGISTERS ************\r\n");
  for (uint32_t offset = kRawFirst; offset < kRawEnd; offset += 4) {
    c.out.line(vxFormat("Reading : %X Value : %X", offset, c.read(offset, false)));
    if (offset % 0x100 == 0) c.progress.report(0.60 + 0.35 * double(offset) / double(kRawEnd));
  }
}

void vxRegisterDumpBuilder::format7Raw(Context& c) {
  c.out.banner("\r\n************* FORMAT 7 RAW REGISTER DUMP ************\r\n");
  for (int n = 0; n < kFormat7Modes; ++n) {
    const auto mode = uint32_t(n);
    if (!c.support.isSupported(7, mode, 0)) continue;
    const std::optional<vxDcamFormat7Mode> m = vxDcamReadFormat7Mode(c.support, mode);
    if (!m) continue;
    const uint32_t base = m->baseAddress;
    c.out.line(vxFormat("Format 7 Mode %d", n));
    c.out.blank();
    c.out.line(vxFormat("Absolute Address : 0x%X", base));
    c.out.blank();
    // Unlike the raw dump above, an address that does not answer is left out.
    for (uint32_t address = base; address < base + kFormat7RawSpan; address += 4) {
      uint32_t value = 0;
      if (c.diag.readQuadlet(address, value))
        c.out.line(vxFormat("Reading : %X Value : %X", address, value));
    }
  }
}
