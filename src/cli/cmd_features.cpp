// pralix features and feature: the camera's IIDC features, read and changed by name.
#include <cctype>
#include <chrono>
#include <cmath>
#include <optional>
#include <thread>

#include <nlohmann/json.hpp>

#include "base/format.h"
#include "cli/cli_options.h"
#include "cli/commands.h"
#include "regmodel/register_accessor.h"
#include "utilities/feature_props.h"

namespace {

constexpr uint32_t kBasicFuncInq = 0x400;
constexpr uint32_t kFeatureErrorStatusBit = 1u << 29;
constexpr int kMaxRawValue = 0xFFF;  // the 12-bit value fields of the control register
// Cameras take a moment to act on a new value or mode, as on the properties page.
constexpr std::chrono::milliseconds kSettleTime{250};

void addCameraOption(CLI::App* sub, int& camera) {
  sub->add_option("-c,--camera", camera, "Camera number, as `pralix list` shows it")
      ->default_val(0)
      ->check(vxAtLeast(0));
}

// "White Balance", "white_balance" and "WHITE-BALANCE" are one name.
std::string nameKey(const std::string& name) {
  std::string key;
  for (unsigned char c : name)
    if (c != ' ' && c != '_' && c != '-') key += static_cast<char>(std::tolower(c));
  return key;
}

// Index into the feature table; the shutter is listed as "Exposure" but its
// IIDC name is accepted too.
std::optional<size_t> findFeature(const std::string& name) {
  const std::string key = nameKey(name);
  const auto& table = dcamFeatureTable();
  for (size_t i = 0; i < table.size(); ++i)
    if (nameKey(table[i].listedName) == key) return i;
  if (key == "shutter") {
    for (size_t i = 0; i < table.size(); ++i)
      if (table[i].registers.bitIndex == kFeatureShutter &&
          table[i].registers.presenceRegister == kFeatureHiInq)
        return i;
  }
  return std::nullopt;
}

std::string validNames() {
  std::string names;
  for (const DcamFeatureInfo& info : dcamFeatureTable()) {
    if (!names.empty()) names += ", ";
    names += info.listedName;
  }
  return names;
}

// The value labels as the properties page splits them: the text before the
// first ";" labels the first value, the rest the second.
std::vector<std::string> valueLabels(const DcamFeatureInfo& info) {
  const std::string labels = info.valueLabels;
  if (info.fieldCount < 2) return {labels};
  const size_t split = labels.find(';');
  if (split == std::string::npos) return {labels, labels};
  return {labels.substr(0, split), labels.substr(split + 1)};
}

// Everything the commands show of one present feature, read from the camera.
struct FeatureState {
  std::string name;
  std::vector<std::string> labels;
  bool onOffPossible = false;
  bool autoPossible = false;
  bool manualPossible = false;
  bool onePushPossible = false;
  bool readable = false;
  bool absPossible = false;
  bool on = false;
  bool autoMode = false;
  bool onePushRunning = false;
  bool absInUse = false;
  std::optional<bool> controlError;  // only cameras with feature error status tell
  uint32_t min = 0;
  uint32_t max = 0;
  std::vector<uint32_t> values;
  float absMin = 0;
  float absMax = 0;
  float absValue = 0;
  // Set when the feature's registers could not be read: the reason.
  std::string error;
};

// Whether the camera has the feature control-error registers (feature error
// status in BASIC_FUNC_INQ); older cameras answer no read there. Nothing when
// BASIC_FUNC_INQ cannot be read: the features are listed without it.
std::optional<bool> hasFeatureErrorStatus(vx_DCAMRegisterAccessorPralix& accessor) {
  accessor.setOk(true);
  const uint32_t basic = accessor.readQuadlet(kBasicFuncInq);
  if (!accessor.ok()) return std::nullopt;
  return (basic & kFeatureErrorStatusBit) != 0;
}

FeatureState readFeature(DcamFeature& feature, const DcamFeatureInfo& info, bool errorStatus) {
  FeatureState s;
  s.name = info.listedName;
  s.labels = valueLabels(info);
  s.onOffPossible = feature.onOffInquiry();
  s.autoPossible = feature.autoInquiry();
  s.manualPossible = feature.manualInquiry();
  s.onePushPossible = feature.onePushInquiry();
  s.readable = feature.readOutInquiry();
  s.absPossible = feature.absInquiry();
  s.on = feature.isOn();
  s.autoMode = feature.isAuto();
  s.onePushRunning = feature.onePush();
  s.absInUse = feature.absControl();
  if (errorStatus) s.controlError = feature.controlError();
  s.min = feature.minValue();
  s.max = feature.maxValue();
  s.values.push_back(feature.value());
  if (info.fieldCount > 1) s.values.push_back(feature.value2());
  // The absolute-value block exists only where the camera offers absolute control.
  if (s.absPossible) {
    s.absMin = feature.absMin();
    s.absMax = feature.absMax();
    s.absValue = feature.absValue();
  }
  return s;
}

nlohmann::json toJson(const FeatureState& s) {
  if (!s.error.empty()) return {{"name", s.name}, {"error", s.error}};
  nlohmann::json values = nlohmann::json::array();
  for (size_t i = 0; i < s.values.size(); ++i)
    values.push_back({{"label", s.labels[i]}, {"value", s.values[i]}});
  nlohmann::json j{{"name", s.name},
                   {"on", s.on},
                   {"auto", s.autoMode},
                   {"onePushRunning", s.onePushRunning},
                   {"values", values},
                   {"min", s.min},
                   {"max", s.max},
                   {"controlError", s.controlError ? nlohmann::json(*s.controlError) : nlohmann::json()},
                   {"capabilities",
                    {{"onOff", s.onOffPossible},
                     {"auto", s.autoPossible},
                     {"manual", s.manualPossible},
                     {"onePush", s.onePushPossible},
                     {"readOut", s.readable},
                     {"absolute", s.absPossible}}}};
  if (s.absPossible)
    j["absolute"] = {{"inUse", s.absInUse}, {"value", s.absValue}, {"min", s.absMin}, {"max", s.absMax}};
  else
    j["absolute"] = nullptr;
  return j;
}

constexpr const char* kTableHeader = "Feature         State  Mode    Value        Range          Absolute\n";

// Absolute values span many decades (an exposure of 2e-5 s, a gain of 24 dB):
// they are printed with significant digits, not a fixed number of decimals.
std::string absoluteText(float value) {
  return vxFormat("%.6g", double(value));
}

std::string toText(const FeatureState& s) {
  if (!s.error.empty()) return vxFormat("%-15s read failed: %s\n", s.name.c_str(), s.error.c_str());
  std::string values;
  for (uint32_t v : s.values) values += (values.empty() ? "" : "/") + std::to_string(v);
  std::string line = vxFormat("%-15s %-6s %-7s %-12s %-14s", s.name.c_str(), s.on ? "on" : "off",
                              s.autoMode ? "auto" : "manual", values.c_str(),
                              vxFormat("%u to %u", s.min, s.max).c_str());
  if (s.absPossible)
    line += vxFormat(" %s (%s to %s)%s", absoluteText(s.absValue).c_str(),
                     absoluteText(s.absMin).c_str(), absoluteText(s.absMax).c_str(),
                     s.absInUse ? " in use" : "");
  if (s.onePushRunning) line += " [one-push running]";
  if (s.controlError.value_or(false)) line += " [control error]";
  // Trailing padding of the last column is noise.
  while (!line.empty() && line.back() == ' ') line.pop_back();
  return line + '\n';
}

}  // namespace

CLI::App* FeaturesCommand::setup(CLI::App& app) {
  CLI::App* sub = app.add_subcommand(
      "features",
      "List the camera's present IIDC features: on/off, auto or manual, raw value(s) and their "
      "range, and the absolute value with its range where the camera offers one");
  addCameraOption(sub, m_camera);
  sub->add_flag("--json", m_json, "Print the features as JSON");
  return sub;
}

int FeaturesCommand::run(CliContext& context) {
  if (!context.checkCamera(m_camera)) return kExitFailure;
  vx_DCAMRegisterAccessorPralix accessor(m_camera, &context.module());
  DcamFeatureSet set(accessor);
  // One feature whose registers fail does not end the listing: it is listed
  // with the reason, the rest as read, and the command fails at the end.
  std::vector<FeatureState> states;
  size_t failed = 0;
  const std::optional<bool> errorStatus = hasFeatureErrorStatus(accessor);
  for (size_t index = 0; index < set.size(); ++index) {
    FeatureState state;
    try {
      if (!set.feature(index).present()) continue;
      state = readFeature(set.feature(index), set.info(index), errorStatus.value_or(false));
    } catch (const std::exception& e) {
      state = FeatureState{};
      state.name = set.info(index).listedName;
      state.error = e.what();
      ++failed;
    }
    states.push_back(std::move(state));
  }
  if (m_json) {
    nlohmann::json list = nlohmann::json::array();
    for (const FeatureState& s : states) list.push_back(toJson(s));
    context.out() << nlohmann::json{{"camera", m_camera}, {"features", list}}.dump(2) << '\n';
  } else if (states.empty()) {
    context.out() << "The camera has none of the features.\n";
  } else {
    context.out() << kTableHeader;
    for (const FeatureState& s : states) context.out() << toText(s);
  }
  if (failed == 0 && errorStatus) return kExitOk;
  context.out() << std::flush;
  if (!errorStatus)
    context.err() << vxFormat(
                         "Reading BASIC_FUNC_INQ (0x%X) failed%s; control errors are not shown.",
                         kBasicFuncInq,
                         accessor.lastError().empty() ? "" : (": " + accessor.lastError()).c_str())
                  << '\n';
  if (failed == 0) return kExitFailure;
  return context.fail(vxFormat("%zu feature%s could not be read.", failed, failed == 1 ? "" : "s"));
}

std::string FeatureCommand::refuseUnsupported(DcamFeature& feature,
                                              const DcamFeatureInfo& info) const {
  const std::string name = vxFormat("%s of camera %d", info.listedName, m_camera);
  const bool valueAsked = m_valueOption->count() > 0 || m_value2Option->count() > 0;
  if ((m_on || m_off) && !feature.onOffInquiry())
    return name + " has no on/off switch; --on and --off do not apply.";
  if (m_auto && !feature.autoInquiry())
    return name + " has no automatic mode; --auto does not apply.";
  if (m_manual && !feature.manualInquiry())
    return name + " has no manual control; --manual does not apply.";
  if (m_onePush && !feature.onePushInquiry())
    return name + " has no one-push adjustment; --one-push does not apply.";
  if ((valueAsked || m_absOption->count() > 0) && !feature.manualInquiry())
    return name + " has no manual control; its value cannot be set.";
  if (valueAsked) {
    const uint32_t min = feature.minValue();
    const uint32_t max = feature.maxValue();
    for (const auto& [option, value] :
         {std::pair{m_valueOption, m_value}, std::pair{m_value2Option, m_value2}})
      if (option->count() > 0 && (uint32_t(value) < min || uint32_t(value) > max))
        return vxFormat("%s: %s %d is outside the range %u to %u.", name.c_str(),
                        option->get_name().c_str(), value, min, max);
  }
  if (m_absOption->count() > 0) {
    if (!std::isfinite(m_abs)) return name + ": --abs must be a finite number.";
    const float min = feature.absMin();
    const float max = feature.absMax();
    if (m_abs < min || m_abs > max)
      return vxFormat("%s: --abs %.6g is outside the range %.6g to %.6g.", name.c_str(),
                      double(m_abs), double(min), double(max));
  }
  return {};
}

CLI::App* FeatureCommand::setup(CLI::App& app) {
  CLI::App* sub = app.add_subcommand(
      "feature",
      "Change one feature, then print it as read back from the camera. The actions apply in the "
      "order on/off, auto/manual, one-push, value, value 2, absolute value");
  sub->add_option("name", m_name,
                  "Feature name as `pralix features` lists it (Gain, Exposure, \"White Balance\"); "
                  "case, spaces, '_' and '-' do not matter")
      ->required();
  CLI::Option* on = sub->add_flag("--on", m_on, "Switch the feature on");
  CLI::Option* off = sub->add_flag("--off", m_off, "Switch the feature off");
  on->excludes(off);
  CLI::Option* autoMode = sub->add_flag("--auto", m_auto, "Let the camera control the feature");
  CLI::Option* manual = sub->add_flag("--manual", m_manual, "Take the feature out of automatic mode");
  autoMode->excludes(manual);
  sub->add_flag("--one-push", m_onePush, "Start a one-push adjustment");
  m_valueOption =
      sub->add_option("--value", m_value,
                      "Raw register value (0 to 4095); switches absolute control off first")
          ->check(vxWithin(0, kMaxRawValue));
  m_value2Option = sub->add_option("--value2", m_value2,
                                   "Second raw value of two-value features (U/B of White Balance, "
                                   "target of Temperature ...), 0 to 4095")
                       ->check(vxWithin(0, kMaxRawValue));
  m_absOption =
      sub->add_option("--abs", m_abs,
                      "Absolute value in the feature's unit; switches absolute control on first")
          ->check(vxFiniteNumber());
  addCameraOption(sub, m_camera);
  sub->add_flag("--json", m_json, "Print the feature as JSON");
  return sub;
}

int FeatureCommand::run(CliContext& context) {
  const std::optional<size_t> index = findFeature(m_name);
  if (!index) {
    context.err() << "Unknown feature '" << m_name << "'. Valid names: " << validNames() << ".\n";
    return kExitUsage;
  }
  if (!context.checkCamera(m_camera)) return kExitFailure;
  vx_DCAMRegisterAccessorPralix accessor(m_camera, &context.module());
  DcamFeatureSet set(accessor);
  DcamFeature& feature = set.feature(*index);
  const DcamFeatureInfo& info = set.info(*index);
  if (!feature.present())
    return context.fail(vxFormat("Camera %d has no %s feature.", m_camera, info.listedName));
  const bool twoValues = info.fieldCount > 1;
  if (m_value2Option->count() > 0 && !twoValues)
    return context.fail(vxFormat("%s has a single value; --value2 does not apply.", info.listedName));
  // Without absolute control the offset register names no block; writing
  // through it would hit whatever lies at its address.
  if (m_absOption->count() > 0 && !feature.absInquiry())
    return context.fail(vxFormat("%s of camera %d has no absolute control.", info.listedName, m_camera));
  // Every other action needs its capability too: a camera ignores a bit it
  // does not implement, and the command would report success for nothing.
  if (const std::string refusal = refuseUnsupported(feature, info); !refusal.empty())
    return context.fail(refusal);

  bool settle = false;
  if (m_on || m_off) feature.setOn(m_on);
  if (m_auto || m_manual) {
    feature.setAuto(m_auto);
    settle = true;
  }
  if (m_onePush) {
    feature.setOnePush(true);
    settle = true;
  }
  const bool rawValue = m_valueOption->count() > 0 || m_value2Option->count() > 0;
  // The raw value fields count only while absolute control is off.
  if (rawValue && feature.absControl()) feature.setAbsControl(false);
  if (m_valueOption->count() > 0) feature.setValue(m_value);
  if (m_value2Option->count() > 0) feature.setValue2(m_value2);
  if (m_absOption->count() > 0) {
    if (!feature.absControl()) feature.setAbsControl(true);
    feature.setAbsValue(m_abs);
  }
  settle = settle || rawValue || m_absOption->count() > 0;
  if (settle) std::this_thread::sleep_for(kSettleTime);

  const FeatureState state =
      readFeature(feature, info, hasFeatureErrorStatus(accessor).value_or(false));
  if (m_json) {
    nlohmann::json j = toJson(state);
    j["camera"] = m_camera;
    context.out() << j.dump(2) << '\n';
  } else {
    context.out() << kTableHeader << toText(state);
  }
  return kExitOk;
}
