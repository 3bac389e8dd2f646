// Camera profiles of the simulated bus: what one simulated IIDC camera offers, read from JSON.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/exception.h"
#include "base/pixel_coding.h"

// Feature numbers in IIDC register order: 0..15 are the high features
// (BRIGHTNESS at 0x800 ... FRAME_RATE at 0x83C), 16..19 the low ones (ZOOM at
// 0x880 ... OPTICAL_FILTER at 0x88C).
enum vx_SimFeatureId : int {
  kSimBrightness = 0,
  kSimAutoExposure = 1,
  kSimSharpness = 2,
  kSimWhiteBalance = 3,
  kSimHue = 4,
  kSimSaturation = 5,
  kSimGamma = 6,
  kSimShutter = 7,
  kSimGain = 8,
  kSimIris = 9,
  kSimFocus = 10,
  kSimTemperature = 11,
  kSimTrigger = 12,
  kSimTriggerDelay = 13,
  kSimWhiteShading = 14,
  kSimFrameRate = 15,
  kSimZoom = 16,
  kSimPan = 17,
  kSimTilt = 18,
  kSimOpticalFilter = 19,
};
constexpr int kSimFeatureCount = 20;

// The profile's name of each feature ("brightness", "white_balance" ...).
const char* vxSimFeatureName(int feature);

struct vx_SimFeatureProfile {
  bool present = false;
  uint32_t min = 0;
  uint32_t max = 0;
  // Power-on value fields: one for an ordinary feature, two for white balance
  // (U/B then V/R), three for white shading (R, G, B), and for temperature the
  // target then the current reading.
  std::array<uint32_t, 3> value{};
  bool manual = false;
  bool autoMode = false;
  bool onePush = false;
  bool onOff = false;
  bool readout = false;
  bool onAtPowerOn = true;
  // Absolute control: the feature's range in its own unit.
  bool absolute = false;
  float absMin = 0.0f;
  float absMax = 0.0f;
};

struct vx_SimTriggerProfile {
  bool present = false;
  std::vector<int> modes;    // 0..5, 14, 15
  std::vector<int> sources;  // hardware sources 0..3
  bool software = false;     // software trigger (source 7 and SOFTWARE_TRIGGER)
  bool polarity = false;
  bool onOff = true;
  bool readout = true;
  bool valueRead = false;
};

struct vx_SimFormat7Mode {
  int mode = 0;
  uint32_t maxWidth = 0;
  uint32_t maxHeight = 0;
  uint32_t unitWidth = 1;
  uint32_t unitHeight = 1;
  uint32_t unitPosX = 1;
  uint32_t unitPosY = 1;
  std::vector<vxPixelCoding> codings;  // the first is the power-on coding
};

struct vx_SimStrobeProfile {
  bool present = false;
  std::vector<int> lines;  // 0..3
  uint32_t min = 0;        // delay and duration range
  uint32_t max = 0;
  bool onOff = true;
  bool polarity = false;
  bool readout = true;
};

// Quadlet addresses first to last, inclusive; offsets from the command
// register base below 0xF0000000, absolute CSR addresses from there up.
struct vx_SimAddressRange {
  uint32_t first = 0;
  uint32_t last = 0;
};

struct vx_SimProfile {
  class Error : public vxException {
   public:
    using vxException::vxException;
  };

  std::string name;  // the file's base name, e.g. "korvane-kv640m"
  std::string file;
  std::string vendor;
  std::string model;
  uint64_t guid = 0;
  // 104, 120, 130, 131, 132 for IIDC 1.04 ... 1.32.
  int iidcVersion = 130;
  bool ieee1394b = false;
  // Absolute CSR address of the command registers, as the unit-dependent
  // directory's command_regs_base names it.
  uint32_t commandRegsBase = 0xF0F00000u;

  // rates[format][mode]: bit r set when frame rate r is offered; formats 0..2.
  std::array<std::array<uint8_t, 8>, 3> rates{};
  std::vector<vx_SimFormat7Mode> format7;
  bool valueSetting = false;

  std::array<vx_SimFeatureProfile, kSimFeatureCount> features{};
  vx_SimTriggerProfile trigger;

  bool pio = false;
  uint32_t pioOutputs = 0;
  uint32_t pioInputs = 0;
  uint32_t pioInputValue = 0;
  vx_SimStrobeProfile strobe;

  bool oneShot = true;
  bool multiShot = false;
  bool cameraPower = false;
  uint32_t memoryChannels = 0;

  int defaultFormat = 0;
  int defaultMode = 0;
  int defaultRate = 0;

  // Registers that fail every read or write from power-on, to rehearse a
  // camera with broken registers.
  std::vector<vx_SimAddressRange> readFaults;
  std::vector<vx_SimAddressRange> writeFaults;
  // Writes that are acknowledged but change nothing (a camera that ignores
  // its shutter setting, say).
  std::vector<vx_SimAddressRange> ignoredWrites;
  // Features whose value field the camera keeps at or below a ceiling, even
  // where its inquiry register promises more: (feature, ceiling).
  std::vector<std::pair<int, uint32_t>> valueCeilings;
  // A trigger line is connected: in hardware trigger mode the camera takes a
  // frame every frame period by itself.
  bool triggerLineConnected = false;
  // Shares (0..1) of the free-running frames lost on the bus and of all
  // frames arriving with packets missing.
  double droppedFrames = 0.0;
  double incompleteFrames = 0.0;

  bool modeSupported(int format, int mode) const;
  bool rateSupported(int format, int mode, int rate) const;
  const vx_SimFormat7Mode* format7Mode(int mode) const;
};

// Parses a profile; text is the file's contents, file names it in messages.
// Throws vx_SimProfile::Error with a message that names the file and the
// problem.
vx_SimProfile vxParseSimProfile(const std::string& text, const std::string& file);
vx_SimProfile vxLoadSimProfile(const std::string& path);

// The profiles used when none are named.
const std::vector<std::string>& vxBuiltinSimProfiles();

// A profile given by name is looked up as NAME.json in dirs, in order; a name
// that is a path to an existing file (or ends in .json) is taken as it is.
// Throws vx_SimProfile::Error when nothing is found.
std::string vxResolveSimProfile(const std::string& nameOrPath,
                                const std::vector<std::string>& dirs);

// Image geometry of the standard Format_0..2 modes.
struct vx_SimStandardMode {
  uint32_t width = 0;
  uint32_t height = 0;
  vxPixelCoding coding = vxPixelCoding::Mono8;
};
std::optional<vx_SimStandardMode> vxSimStandardMode(int format, int mode);

// Names of the colour codings in profiles: "Mono8", "YUV411", ... "Raw16".
const char* vxSimCodingName(vxPixelCoding coding);
