// Camera profiles of the simulated bus: JSON reading and validation.
#include "modules/qrvnvdcam/sim/profile.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include <nlohmann/json.hpp>

#include "base/format.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

constexpr const char* kFeatureNames[kSimFeatureCount] = {
    "brightness", "auto_exposure", "sharpness", "white_balance", "hue",
    "saturation", "gamma",         "shutter",   "gain",          "iris",
    "focus",      "temperature",   "trigger",   "trigger_delay", "white_shading",
    "frame_rate", "zoom",          "pan",       "tilt",          "optical_filter"};

constexpr const char* kCodingNames[kPixelCodingCount] = {
    "Mono8", "YUV411",       "YUV422",      "YUV444", "RGB8", "Mono16",
    "RGB16", "SignedMono16", "SignedRGB16", "Raw8",   "Raw16"};

// Collects the path of the value being checked, so a message can say where
// in the file the problem is ("features.gain.max").
class Reader {
 public:
  explicit Reader(std::string file) : m_file(std::move(file)) {}

  [[noreturn]] void fail(const std::string& where, const std::string& problem) const {
    if (where.empty())
      throw vx_SimProfile::Error(vxFormat("Profile %s: %s", m_file.c_str(), problem.c_str()));
    throw vx_SimProfile::Error(
        vxFormat("Profile %s: %s: %s", m_file.c_str(), where.c_str(), problem.c_str()));
  }

  void onlyKeys(const json& object, const std::string& where,
                std::initializer_list<const char*> keys) const {
    for (const auto& item : object.items()) {
      const bool known =
          std::any_of(keys.begin(), keys.end(), [&](const char* k) { return item.key() == k; });
      if (!known) fail(join(where, item.key()), "unknown field");
    }
  }

  const json& required(const json& object, const std::string& where, const char* key) const {
    auto it = object.find(key);
    if (it == object.end()) fail(where, vxFormat("missing field \"%s\"", key));
    return *it;
  }

  const json& object(const json& value, const std::string& where) const {
    if (!value.is_object()) fail(where, "must be an object");
    return value;
  }
  const json& array(const json& value, const std::string& where) const {
    if (!value.is_array()) fail(where, "must be a list");
    return value;
  }
  std::string text(const json& value, const std::string& where) const {
    if (!value.is_string()) fail(where, "must be a text");
    return value.get<std::string>();
  }
  bool boolean(const json& value, const std::string& where) const {
    if (!value.is_boolean()) fail(where, "must be true or false");
    return value.get<bool>();
  }
  int64_t integer(const json& value, const std::string& where, int64_t min, int64_t max) const {
    if (!value.is_number_integer()) fail(where, "must be a whole number");
    const int64_t v = value.get<int64_t>();
    if (v < min || v > max)
      fail(where, vxFormat("%lld is out of range %lld to %lld", static_cast<long long>(v),
                           static_cast<long long>(min), static_cast<long long>(max)));
    return v;
  }
  float real(const json& value, const std::string& where) const {
    if (!value.is_number()) fail(where, "must be a number");
    const double v = value.get<double>();
    if (!std::isfinite(v) || std::fabs(v) > 3.0e38) fail(where, "is not a usable number");
    return static_cast<float>(v);
  }

  static std::string join(const std::string& where, const std::string& key) {
    return where.empty() ? key : where + "." + key;
  }
  static std::string index(const std::string& where, size_t i) {
    return vxFormat("%s[%zu]", where.c_str(), i);
  }

 private:
  std::string m_file;
};

bool getBool(const Reader& r, const json& o, const std::string& where, const char* key,
             bool fallback) {
  auto it = o.find(key);
  return it == o.end() ? fallback : r.boolean(*it, Reader::join(where, key));
}

uint32_t getUint(const Reader& r, const json& o, const std::string& where, const char* key,
                 uint32_t fallback, int64_t max) {
  auto it = o.find(key);
  return it == o.end() ? fallback
                       : static_cast<uint32_t>(r.integer(*it, Reader::join(where, key), 0, max));
}

std::vector<int> intList(const Reader& r, const json& value, const std::string& where, int min,
                         int max) {
  std::vector<int> out;
  r.array(value, where);
  for (size_t i = 0; i < value.size(); ++i) {
    const int v = static_cast<int>(r.integer(value[i], Reader::index(where, i), min, max));
    if (std::find(out.begin(), out.end(), v) != out.end())
      r.fail(Reader::index(where, i), "is listed twice");
    out.push_back(v);
  }
  return out;
}

int iidcVersionOf(const Reader& r, const std::string& text) {
  static const std::pair<const char*, int> kVersions[] = {
      {"1.04", 104}, {"1.20", 120}, {"1.30", 130}, {"1.31", 131}, {"1.32", 132}};
  for (const auto& [name, number] : kVersions)
    if (text == name) return number;
  r.fail("iidcVersion",
         vxFormat("\"%s\" is not an IIDC version this bus simulates (1.04, 1.20, 1.30, 1.31, 1.32)",
                  text.c_str()));
}

vxPixelCoding codingOf(const Reader& r, const json& value, const std::string& where) {
  const std::string name = r.text(value, where);
  for (int i = 0; i < kPixelCodingCount; ++i)
    if (name == kCodingNames[i]) return static_cast<vxPixelCoding>(i);
  r.fail(where, vxFormat("\"%s\" is not a colour coding", name.c_str()));
}

void readCapabilities(const Reader& r, const json& list, const std::string& where,
                      vx_SimFeatureProfile& f) {
  r.array(list, where);
  for (size_t i = 0; i < list.size(); ++i) {
    const std::string cap = r.text(list[i], Reader::index(where, i));
    if (cap == "manual")
      f.manual = true;
    else if (cap == "auto")
      f.autoMode = true;
    else if (cap == "onePush")
      f.onePush = true;
    else if (cap == "onOff")
      f.onOff = true;
    else if (cap == "readout")
      f.readout = true;
    else
      r.fail(Reader::index(where, i), vxFormat("\"%s\" is not a feature capability "
                                               "(manual, auto, onePush, onOff, readout)",
                                               cap.c_str()));
  }
}

void readFeature(const Reader& r, const json& value, const std::string& where, int id,
                 int iidcVersion, vx_SimFeatureProfile& f) {
  r.object(value, where);
  r.onlyKeys(value, where, {"min", "max", "value", "capabilities", "on", "absolute"});
  f.present = true;
  f.min = static_cast<uint32_t>(
      r.integer(r.required(value, where, "min"), Reader::join(where, "min"), 0, 4095));
  f.max = static_cast<uint32_t>(
      r.integer(r.required(value, where, "max"), Reader::join(where, "max"), 0, 4095));
  if (f.min > f.max) r.fail(where, vxFormat("min %u is greater than max %u", f.min, f.max));
  // White shading packs three 8-bit values into one register.
  if (id == kSimWhiteShading && f.max > 255)
    r.fail(Reader::join(where, "max"), "white shading values are 8-bit");
  readCapabilities(r, r.required(value, where, "capabilities"), Reader::join(where, "capabilities"),
                   f);
  f.onAtPowerOn = getBool(r, value, where, "on", true);

  const size_t fields = id == kSimWhiteBalance   ? 2
                        : id == kSimWhiteShading ? 3
                        : id == kSimTemperature  ? 2
                                                 : 1;
  f.value.fill(f.min);
  if (auto it = value.find("value"); it != value.end()) {
    const std::string vw = Reader::join(where, "value");
    if (fields == 1) {
      f.value[0] = static_cast<uint32_t>(r.integer(*it, vw, f.min, f.max));
    } else {
      r.array(*it, vw);
      if (it->size() != fields) r.fail(vw, vxFormat("must list %zu values", fields));
      for (size_t i = 0; i < fields; ++i)
        f.value[i] = static_cast<uint32_t>(r.integer((*it)[i], Reader::index(vw, i), f.min, f.max));
    }
  }
  if (auto it = value.find("absolute"); it != value.end()) {
    const std::string aw = Reader::join(where, "absolute");
    r.object(*it, aw);
    r.onlyKeys(*it, aw, {"min", "max"});
    if (iidcVersion < 130) r.fail(aw, "absolute control needs IIDC 1.30 or later");
    if (fields != 1) r.fail(aw, "this feature has no single value to control absolutely");
    f.absolute = true;
    f.absMin = r.real(r.required(*it, aw, "min"), Reader::join(aw, "min"));
    f.absMax = r.real(r.required(*it, aw, "max"), Reader::join(aw, "max"));
    if (!(f.absMin < f.absMax)) r.fail(aw, "min must be less than max");
    if (f.min == f.max) r.fail(aw, "needs a raw range of more than one value");
  }
}

void readTrigger(const Reader& r, const json& value, const std::string& where, int iidcVersion,
                 vx_SimTriggerProfile& t) {
  r.object(value, where);
  r.onlyKeys(value, where,
             {"modes", "sources", "software", "polarity", "onOff", "readout", "valueRead"});
  t.present = true;
  t.modes = intList(r, r.required(value, where, "modes"), Reader::join(where, "modes"), 0, 15);
  if (t.modes.empty()) r.fail(Reader::join(where, "modes"), "must list at least one trigger mode");
  for (size_t i = 0; i < t.modes.size(); ++i)
    if (t.modes[i] > 5 && t.modes[i] < 14)
      r.fail(Reader::index(Reader::join(where, "modes"), i),
             vxFormat("trigger mode %d does not exist (0 to 5, 14, 15)", t.modes[i]));
  if (auto it = value.find("sources"); it != value.end())
    t.sources = intList(r, *it, Reader::join(where, "sources"), 0, 3);
  else
    t.sources = {0};
  t.software = getBool(r, value, where, "software", false);
  if (t.software && iidcVersion < 131)
    r.fail(Reader::join(where, "software"), "a software trigger needs IIDC 1.31 or later");
  t.polarity = getBool(r, value, where, "polarity", false);
  t.onOff = getBool(r, value, where, "onOff", true);
  t.readout = getBool(r, value, where, "readout", true);
  t.valueRead = getBool(r, value, where, "valueRead", false);
}

// "800-81C" or "F0F00800": one address or an inclusive range, hexadecimal,
// an offset from the command register base or an absolute CSR address.
std::vector<vx_SimAddressRange> addressRanges(const Reader& r, const json& list,
                                              const std::string& where) {
  if (!list.is_array())
    r.fail(where, "must be a list of hexadecimal addresses or ranges (\"800-81C\")");
  std::vector<vx_SimAddressRange> ranges;
  for (size_t i = 0; i < list.size(); ++i) {
    const std::string item = Reader::join(where, std::to_string(i));
    const std::string text = r.text(list[i], item);
    const size_t dash = text.find('-');
    const std::string parts[2] = {text.substr(0, dash), dash == std::string::npos
                                                            ? text.substr(0, dash)
                                                            : text.substr(dash + 1)};
    unsigned long long bounds[2] = {0, 0};
    for (int b = 0; b < 2; ++b) {
      std::string digits = parts[b];
      if (digits.rfind("0x", 0) == 0 || digits.rfind("0X", 0) == 0) digits = digits.substr(2);
      if (digits.empty() || digits.size() > 8 ||
          digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos ||
          !vxParseHex(digits, bounds[b]) || (bounds[b] & 3) != 0)
        r.fail(item, vxFormat("\"%s\" is not a quadlet address or range of them", text.c_str()));
    }
    if (bounds[1] < bounds[0]) r.fail(item, "the range ends before it starts");
    ranges.push_back({uint32_t(bounds[0]), uint32_t(bounds[1])});
  }
  return ranges;
}

void readFormats(const Reader& r, const json& list, vx_SimProfile& p) {
  r.array(list, "formats");
  for (size_t i = 0; i < list.size(); ++i) {
    const std::string where = Reader::index("formats", i);
    const json& entry = r.object(list[i], where);
    r.onlyKeys(entry, where, {"format", "mode", "rates"});
    const int format = static_cast<int>(
        r.integer(r.required(entry, where, "format"), Reader::join(where, "format"), 0, 2));
    const int mode = static_cast<int>(
        r.integer(r.required(entry, where, "mode"), Reader::join(where, "mode"), 0, 7));
    if (!vxSimStandardMode(format, mode))
      r.fail(where, vxFormat("Format_%d has no mode %d", format, mode));
    if (p.rates[format][mode])
      r.fail(where, vxFormat("Format_%d mode %d is listed twice", format, mode));
    const std::vector<int> rates =
        intList(r, r.required(entry, where, "rates"), Reader::join(where, "rates"), 0, 7);
    if (rates.empty()) r.fail(Reader::join(where, "rates"), "must list at least one frame rate");
    for (int rate : rates) p.rates[format][mode] |= static_cast<uint8_t>(1u << rate);
  }
}

void readFormat7(const Reader& r, const json& list, vx_SimProfile& p) {
  r.array(list, "format7");
  for (size_t i = 0; i < list.size(); ++i) {
    const std::string where = Reader::index("format7", i);
    const json& entry = r.object(list[i], where);
    r.onlyKeys(entry, where, {"mode", "maxSize", "unitSize", "unitPosition", "codings"});
    vx_SimFormat7Mode m;
    m.mode = static_cast<int>(
        r.integer(r.required(entry, where, "mode"), Reader::join(where, "mode"), 0, 7));
    if (p.format7Mode(m.mode)) r.fail(where, vxFormat("Format_7 mode %d is listed twice", m.mode));
    auto pair = [&](const char* key, uint32_t min, uint32_t max, uint32_t& a, uint32_t& b) {
      const std::string kw = Reader::join(where, key);
      const json& v = r.array(r.required(entry, where, key), kw);
      if (v.size() != 2) r.fail(kw, "must list a width and a height");
      a = static_cast<uint32_t>(r.integer(v[0], Reader::index(kw, 0), min, max));
      b = static_cast<uint32_t>(r.integer(v[1], Reader::index(kw, 1), min, max));
    };
    pair("maxSize", 1, 0xFFFF, m.maxWidth, m.maxHeight);
    pair("unitSize", 1, 0xFFFF, m.unitWidth, m.unitHeight);
    if (entry.contains("unitPosition")) {
      pair("unitPosition", 1, 0xFFFF, m.unitPosX, m.unitPosY);
    } else {
      m.unitPosX = m.unitWidth;
      m.unitPosY = m.unitHeight;
    }
    if (m.maxWidth % m.unitWidth || m.maxHeight % m.unitHeight)
      r.fail(where, "maxSize must be a multiple of unitSize");
    const std::string cw = Reader::join(where, "codings");
    const json& codings = r.array(r.required(entry, where, "codings"), cw);
    if (codings.empty()) r.fail(cw, "must list at least one colour coding");
    for (size_t c = 0; c < codings.size(); ++c) {
      const vxPixelCoding coding = codingOf(r, codings[c], Reader::index(cw, c));
      if (std::find(m.codings.begin(), m.codings.end(), coding) != m.codings.end())
        r.fail(Reader::index(cw, c), "is listed twice");
      m.codings.push_back(coding);
    }
    p.format7.push_back(std::move(m));
  }
}

}  // namespace

const char* vxSimFeatureName(int feature) {
  return feature >= 0 && feature < kSimFeatureCount ? kFeatureNames[feature] : "";
}

const char* vxSimCodingName(vxPixelCoding coding) {
  const int i = static_cast<int>(coding);
  return i < kPixelCodingCount ? kCodingNames[i] : "";
}

std::optional<vx_SimStandardMode> vxSimStandardMode(int format, int mode) {
  using C = vxPixelCoding;
  static const vx_SimStandardMode kModes[3][8] = {{{160, 120, C::YUV444},
                                                   {320, 240, C::YUV422},
                                                   {640, 480, C::YUV411},
                                                   {640, 480, C::YUV422},
                                                   {640, 480, C::RGB8},
                                                   {640, 480, C::Mono8},
                                                   {640, 480, C::Mono16},
                                                   {0, 0, C::Mono8}},
                                                  {{800, 600, C::YUV422},
                                                   {800, 600, C::RGB8},
                                                   {800, 600, C::Mono8},
                                                   {1024, 768, C::YUV422},
                                                   {1024, 768, C::RGB8},
                                                   {1024, 768, C::Mono8},
                                                   {800, 600, C::Mono16},
                                                   {1024, 768, C::Mono16}},
                                                  {{1280, 960, C::YUV422},
                                                   {1280, 960, C::RGB8},
                                                   {1280, 960, C::Mono8},
                                                   {1600, 1200, C::YUV422},
                                                   {1600, 1200, C::RGB8},
                                                   {1600, 1200, C::Mono8},
                                                   {1280, 960, C::Mono16},
                                                   {1600, 1200, C::Mono16}}};
  if (format < 0 || format > 2 || mode < 0 || mode > 7 || kModes[format][mode].width == 0)
    return std::nullopt;
  return kModes[format][mode];
}

bool vx_SimProfile::modeSupported(int format, int mode) const {
  if (format == 7) return format7Mode(mode) != nullptr;
  return format >= 0 && format <= 2 && mode >= 0 && mode <= 7 && rates[format][mode] != 0;
}

bool vx_SimProfile::rateSupported(int format, int mode, int rate) const {
  return modeSupported(format, mode) && format <= 2 && rate >= 0 && rate <= 7 &&
         (rates[format][mode] & (1u << rate)) != 0;
}

const vx_SimFormat7Mode* vx_SimProfile::format7Mode(int mode) const {
  for (const auto& m : format7)
    if (m.mode == mode) return &m;
  return nullptr;
}

vx_SimProfile vxParseSimProfile(const std::string& text, const std::string& file) {
  Reader r(file);
  json doc;
  try {
    doc = json::parse(text);
  } catch (const json::exception& e) {
    // A syntax error, or a number too large for any JSON number type.
    r.fail("", vxFormat("not valid JSON (%s)", e.what()));
  }
  r.object(doc, "the top level");
  r.onlyKeys(doc, "",
             {"vendor", "model", "guid", "iidcVersion", "ieee1394b", "commandRegsBase", "formats",
              "format7", "valueSetting", "features", "trigger", "pio", "strobe", "oneShot",
              "multiShot", "cameraPower", "memoryChannels", "default", "comment", "faults"});
  vx_SimProfile p;
  p.file = file;
  p.name = fs::path(file).stem().string();
  p.vendor = r.text(r.required(doc, "", "vendor"), "vendor");
  p.model = r.text(r.required(doc, "", "model"), "model");
  for (const auto& [field, value] :
       {std::pair<const char*, const std::string*>{"vendor", &p.vendor}, {"model", &p.model}}) {
    if (value->empty() || value->size() > 60) r.fail(field, "must be 1 to 60 characters long");
    for (unsigned char c : *value)
      if (c < 0x20 || c > 0x7E) r.fail(field, "must be printable ASCII text");
  }
  const std::string guid = r.text(r.required(doc, "", "guid"), "guid");
  unsigned long long guidValue = 0;
  const std::string digits =
      guid.rfind("0x", 0) == 0 || guid.rfind("0X", 0) == 0 ? guid.substr(2) : guid;
  if (digits.empty() || digits.size() > 16 ||
      digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos ||
      !vxParseHex(digits, guidValue))
    r.fail("guid", vxFormat("\"%s\" is not a 64-bit hexadecimal number", guid.c_str()));
  p.guid = guidValue;
  if ((p.guid >> 40) == 0) r.fail("guid", "must carry a vendor id in its top 24 bits");
  p.iidcVersion = iidcVersionOf(r, r.text(r.required(doc, "", "iidcVersion"), "iidcVersion"));
  p.ieee1394b = getBool(r, doc, "", "ieee1394b", false);
  if (p.ieee1394b && p.iidcVersion < 131)
    r.fail("ieee1394b", "1394b operation needs IIDC 1.31 or later");
  if (auto it = doc.find("commandRegsBase"); it != doc.end()) {
    const std::string given = r.text(*it, "commandRegsBase");
    const std::string hex =
        given.rfind("0x", 0) == 0 || given.rfind("0X", 0) == 0 ? given.substr(2) : given;
    unsigned long long base = 0;
    if (hex.empty() || hex.size() > 8 ||
        hex.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos ||
        !vxParseHex(hex, base))
      r.fail("commandRegsBase",
             vxFormat("\"%s\" is not a 32-bit hexadecimal address", given.c_str()));
    // The command registers must lie past the configuration ROM and clear of
    // the blocks the simulated camera keeps from 0xF0F10000 on, quadlet aligned.
    if (base % 4 != 0 || base < 0xF0000800ull || (base > 0xF0F00000ull && base < 0xF0F50000ull) ||
        base > 0xFFFFF000ull)
      r.fail("commandRegsBase",
             vxFormat(
                 "0x%08llX cannot hold the command registers (a quadlet address from 0xF0000800 to "
                 "0xFFFFF000, outside 0xF0F00004 to 0xF0F4FFFF)",
                 base));
    p.commandRegsBase = static_cast<uint32_t>(base);
  }

  readFormats(r, r.required(doc, "", "formats"), p);
  if (auto it = doc.find("format7"); it != doc.end()) readFormat7(r, *it, p);
  p.valueSetting = getBool(r, doc, "", "valueSetting", false);
  if (p.valueSetting && p.iidcVersion < 131)
    r.fail("valueSetting", "VALUE_SETTING needs IIDC 1.31 or later");
  if (p.valueSetting && p.format7.empty())
    r.fail("valueSetting", "VALUE_SETTING needs Format_7 modes");

  bool anyMode = !p.format7.empty();
  for (const auto& f : p.rates)
    for (uint8_t m : f) anyMode = anyMode || m != 0;
  if (!anyMode) r.fail("formats", "the camera offers no video mode at all");

  if (auto it = doc.find("features"); it != doc.end()) {
    r.object(*it, "features");
    for (const auto& item : it->items()) {
      int id = -1;
      for (int i = 0; i < kSimFeatureCount; ++i)
        if (item.key() == kFeatureNames[i]) id = i;
      const std::string where = Reader::join("features", item.key());
      if (id < 0) r.fail(where, "is not a feature name");
      if (id == kSimTrigger)
        r.fail(where, "the trigger is described by the top-level field \"trigger\"");
      readFeature(r, item.value(), where, id, p.iidcVersion, p.features[id]);
    }
  }
  if (auto it = doc.find("trigger"); it != doc.end())
    readTrigger(r, *it, "trigger", p.iidcVersion, p.trigger);

  if (auto it = doc.find("pio"); it != doc.end()) {
    r.object(*it, "pio");
    r.onlyKeys(*it, "pio", {"outputs", "inputs", "inputValue"});
    if (p.iidcVersion < 130) r.fail("pio", "PIO needs IIDC 1.30 or later");
    p.pio = true;
    p.pioOutputs = getUint(r, *it, "pio", "outputs", 0, 32);
    p.pioInputs = getUint(r, *it, "pio", "inputs", 0, 32);
    p.pioInputValue = getUint(r, *it, "pio", "inputValue", 0, 0xFFFFFFFFll);
  }
  if (auto it = doc.find("strobe"); it != doc.end()) {
    r.object(*it, "strobe");
    r.onlyKeys(*it, "strobe", {"lines", "min", "max", "onOff", "polarity", "readout"});
    if (p.iidcVersion < 131) r.fail("strobe", "strobe outputs need IIDC 1.31 or later");
    vx_SimStrobeProfile& s = p.strobe;
    s.present = true;
    s.lines = intList(r, r.required(*it, "strobe", "lines"), "strobe.lines", 0, 3);
    if (s.lines.empty()) r.fail("strobe.lines", "must list at least one strobe line");
    s.min = getUint(r, *it, "strobe", "min", 0, 4095);
    s.max = getUint(r, *it, "strobe", "max", 4095, 4095);
    if (s.min > s.max) r.fail("strobe", "min is greater than max");
    s.onOff = getBool(r, *it, "strobe", "onOff", true);
    s.polarity = getBool(r, *it, "strobe", "polarity", false);
    s.readout = getBool(r, *it, "strobe", "readout", true);
  }
  p.oneShot = getBool(r, doc, "", "oneShot", true);
  p.multiShot = getBool(r, doc, "", "multiShot", false);
  p.cameraPower = getBool(r, doc, "", "cameraPower", false);
  p.memoryChannels = getUint(r, doc, "", "memoryChannels", 0, 15);
  if (auto it = doc.find("faults"); it != doc.end()) {
    r.object(*it, "faults");
    r.onlyKeys(*it, "faults",
               {"read", "write", "ignoredWrites", "ceilings", "triggerLine", "droppedFrames",
                "incompleteFrames"});
    if (auto f = it->find("read"); f != it->end())
      p.readFaults = addressRanges(r, *f, "faults.read");
    if (auto f = it->find("write"); f != it->end())
      p.writeFaults = addressRanges(r, *f, "faults.write");
    if (auto f = it->find("ignoredWrites"); f != it->end())
      p.ignoredWrites = addressRanges(r, *f, "faults.ignoredWrites");
    if (auto f = it->find("ceilings"); f != it->end()) {
      r.object(*f, "faults.ceilings");
      for (const auto& item : f->items()) {
        const std::string where = Reader::join("faults.ceilings", item.key());
        int id = -1;
        for (int i = 0; i < kSimFeatureCount; ++i)
          if (item.key() == kFeatureNames[i]) id = i;
        if (id < 0 || id == kSimTrigger) r.fail(where, "is not a feature name");
        p.valueCeilings.emplace_back(id, uint32_t(r.integer(item.value(), where, 0, 0xFFF)));
      }
    }
    p.triggerLineConnected = getBool(r, *it, "faults", "triggerLine", false);
    auto share = [&](const char* key) {
      auto f = it->find(key);
      if (f == it->end()) return 0.0;
      const std::string where = Reader::join("faults", key);
      const double value = r.real(*f, where);
      if (!(value >= 0.0 && value <= 1.0)) r.fail(where, "must be between 0 and 1");
      return value;
    };
    p.droppedFrames = share("droppedFrames");
    p.incompleteFrames = share("incompleteFrames");
  }

  // Power-on video setting: the profile's, else the first mode offered at its
  // fastest rate.
  if (auto it = doc.find("default"); it != doc.end()) {
    r.object(*it, "default");
    r.onlyKeys(*it, "default", {"format", "mode", "rate"});
    p.defaultFormat =
        static_cast<int>(r.integer(r.required(*it, "default", "format"), "default.format", 0, 7));
    p.defaultMode =
        static_cast<int>(r.integer(r.required(*it, "default", "mode"), "default.mode", 0, 7));
    p.defaultRate = static_cast<int>(getUint(r, *it, "default", "rate", 0, 7));
    const bool ok = p.defaultFormat == 7
                        ? p.modeSupported(7, p.defaultMode)
                        : p.rateSupported(p.defaultFormat, p.defaultMode, p.defaultRate);
    if (!ok) r.fail("default", "the camera does not offer this format, mode and rate");
  } else {
    bool found = false;
    for (int f = 0; f < 3 && !found; ++f)
      for (int m = 0; m < 8 && !found; ++m)
        if (p.rates[f][m]) {
          p.defaultFormat = f;
          p.defaultMode = m;
          for (int rate = 7; rate >= 0; --rate)
            if (p.rates[f][m] & (1u << rate)) {
              p.defaultRate = rate;
              break;
            }
          found = true;
        }
    if (!found) {
      p.defaultFormat = 7;
      p.defaultMode = p.format7.front().mode;
      p.defaultRate = 0;
    }
  }
  return p;
}

vx_SimProfile vxLoadSimProfile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in)
    throw vx_SimProfile::Error(vxFormat("Profile %s: the file cannot be read", path.c_str()));
  std::stringstream text;
  text << in.rdbuf();
  return vxParseSimProfile(text.str(), path);
}

const std::vector<std::string>& vxBuiltinSimProfiles() {
  static const std::vector<std::string> kNames = {"korvane-kv640m", "tessaly-f7flex",
                                                  "orbel-ux1600b"};
  return kNames;
}

std::string vxResolveSimProfile(const std::string& nameOrPath,
                                const std::vector<std::string>& dirs) {
  std::error_code ec;
  const bool looksLikePath =
      nameOrPath.find('/') != std::string::npos || fs::path(nameOrPath).extension() == ".json";
  if (looksLikePath) {
    if (fs::is_regular_file(nameOrPath, ec)) return nameOrPath;
    throw vx_SimProfile::Error(vxFormat("Profile %s: the file does not exist", nameOrPath.c_str()));
  }
  std::vector<std::string> searched = dirs;
  if (const char* env = std::getenv("PRALIX_DATA_DIR"); env && *env)
    searched.push_back((fs::path(env) / "profiles").string());
  std::string tried;
  for (const std::string& dir : searched) {
    const fs::path candidate = fs::path(dir) / (nameOrPath + ".json");
    if (fs::is_regular_file(candidate, ec)) return candidate.string();
    tried += tried.empty() ? dir : ", " + dir;
  }
  throw vx_SimProfile::Error(
      vxFormat("No simulated camera profile named \"%s\" was found (searched: %s).",
               nameOrPath.c_str(), tried.empty() ? "no profile folder" : tried.c_str()));
}
