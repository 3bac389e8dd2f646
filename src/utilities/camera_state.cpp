// Capture, JSON form and comparison of a camera's register state.
#include "utilities/camera_state.h"

#include <cstdio>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "acquisition/dcam_camera.h"
#include "regmodel/dcam_camera.h"
#include "regmodel/register.h"

namespace {

using nlohmann::json;

std::string hex32(uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", value);
  return text;
}

// A hexadecimal "0x..." string or a plain number as a 32-bit value.
uint32_t parseWord(const json& node, const std::string& what) {
  if (node.is_number_unsigned()) {
    const auto value = node.get<uint64_t>();
    if (value <= 0xFFFFFFFFu) return static_cast<uint32_t>(value);
  } else if (node.is_string()) {
    const std::string text = node.get<std::string>();
    if (text.size() > 2 && text.size() <= 10 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
      size_t used = 0;
      try {
        const unsigned long value = std::stoul(text.substr(2), &used, 16);
        if (used == text.size() - 2) return static_cast<uint32_t>(value);
      } catch (const std::exception&) {
      }
    }
  }
  throw vxCameraStateError("Invalid " + what + ": " + node.dump());
}

}  // namespace

const vxStateRegister* vxCameraState::find(uint32_t address) const {
  for (const auto& reg : registers)
    if (reg.address == address) return &reg;
  return nullptr;
}

vxCameraState vxCaptureCameraState(vxDcamCamera& camera) {
  vxCameraState state;
  const vxDcamIdentity identity = camera.device().identity();
  state.vendor = identity.vendor;
  state.model = identity.model;
  state.guid = identity.guid;
  // The catalogue lists a few registers in two groups; the state keeps the first.
  std::set<uint32_t> seen;
  for (vxRegister* reg : camera.registers().registers()) {
    if (!seen.insert(reg->address()).second) continue;
    vxStateRegister entry;
    entry.name = reg->regName();
    entry.address = reg->address();
    try {
      entry.value = reg->read32();
      entry.readOk = true;
    } catch (const vxRegister::Error& e) {
      entry.error = e.what();
    }
    state.registers.push_back(std::move(entry));
  }
  // The absolute-value blocks (minimum, maximum, value) of the features
  // that have one, where the feature's inquiry register points.
  for (int n = 0; n < vxDcamCamera::kCatalogueFeatureCount; ++n) {
    uint32_t offset = 0;
    if (!camera.readQuadlet(camera.absoluteAddress(0x700 + 4u * static_cast<uint32_t>(n)), offset) || offset == 0)
      continue;
    const uint32_t block = vxDcamCamera::offsetAddress(offset);
    const char* const parts[3] = {"ABS_MIN", "ABS_MAX", "ABS_VALUE"};
    for (uint32_t i = 0; i < 3; ++i) {
      vxStateRegister entry;
      entry.name = std::string(vxDcamCamera::kFeatureControlNames[n]) + "_" + parts[i];
      entry.address = block + 4 * i;
      if (!seen.insert(entry.address).second) continue;
      std::string error;
      entry.readOk = camera.readQuadlet(entry.address, entry.value, &error);
      if (!entry.readOk) entry.error = error;
      state.registers.push_back(std::move(entry));
    }
  }
  return state;
}

std::string vxCameraStateToJson(const vxCameraState& state) {
  json registers = json::array();
  for (const auto& reg : state.registers) {
    json entry = {{"name", reg.name}, {"address", hex32(reg.address)}};
    if (reg.readOk)
      entry["value"] = hex32(reg.value);
    else
      entry["error"] = reg.error;
    registers.push_back(std::move(entry));
  }
  char guid[24];
  std::snprintf(guid, sizeof guid, "0x%016llX", static_cast<unsigned long long>(state.guid));
  const json document = {
      {"schema", vxCameraState::kSchemaName},
      {"version", vxCameraState::kSchemaVersion},
      {"camera", {{"vendor", state.vendor}, {"model", state.model}, {"guid", guid}}},
      {"registers", std::move(registers)}};
  return document.dump(2) + "\n";
}

vxCameraState vxCameraStateFromJson(const std::string& text) {
  json document;
  try {
    document = json::parse(text);
  } catch (const json::parse_error& e) {
    throw vxCameraStateError(std::string("Not a JSON file: ") + e.what());
  }
  if (!document.is_object() || !document.contains("schema") || document["schema"] != vxCameraState::kSchemaName)
    throw vxCameraStateError(std::string("Not a camera state file (schema is not \"") +
                             vxCameraState::kSchemaName + "\")");
  if (!document.contains("version") || !document["version"].is_number_integer() ||
      document["version"].get<int>() != vxCameraState::kSchemaVersion)
    throw vxCameraStateError("Unsupported camera state version " +
                             (document.contains("version") ? document["version"].dump() : std::string("(none)")) +
                             " (this program reads version " +
                             std::to_string(vxCameraState::kSchemaVersion) + ")");
  vxCameraState state;
  const json& camera = document.value("camera", json());
  if (!camera.is_object() || !camera.contains("model") || !camera["model"].is_string())
    throw vxCameraStateError("Camera state file without the camera's model");
  state.model = camera["model"].get<std::string>();
  state.vendor = camera.value("vendor", std::string());
  if (camera.contains("guid")) {
    const json& guid = camera["guid"];
    bool good = false;
    if (guid.is_string()) {
      try {
        size_t used = 0;
        state.guid = std::stoull(guid.get<std::string>(), &used, 16);
        good = used == guid.get<std::string>().size();
      } catch (const std::exception&) {
      }
    }
    if (!good) throw vxCameraStateError("Invalid camera GUID: " + guid.dump());
  }
  const json& registers = document.value("registers", json());
  if (!registers.is_array()) throw vxCameraStateError("Camera state file without a register list");
  std::set<uint32_t> seen;
  for (const json& entry : registers) {
    if (!entry.is_object() || !entry.contains("name") || !entry["name"].is_string() || !entry.contains("address"))
      throw vxCameraStateError("Invalid register entry: " + entry.dump());
    vxStateRegister reg;
    reg.name = entry["name"].get<std::string>();
    reg.address = parseWord(entry["address"], "address of register " + reg.name);
    if (!seen.insert(reg.address).second)
      throw vxCameraStateError("Register " + reg.name + " at " + hex32(reg.address) + " is listed twice");
    if (entry.contains("value")) {
      reg.value = parseWord(entry["value"], "value of register " + reg.name);
      reg.readOk = true;
    } else if (entry.contains("error") && entry["error"].is_string()) {
      reg.error = entry["error"].get<std::string>();
    } else {
      throw vxCameraStateError("Register " + reg.name + " has neither a value nor an error");
    }
    state.registers.push_back(std::move(reg));
  }
  return state;
}

std::vector<vxStateDifference> vxDiffCameraStates(const vxCameraState& before, const vxCameraState& after,
                                                  const vxRegisterArray* catalogue) {
  std::vector<vxStateDifference> out;
  auto differs = [](const vxStateRegister* a, const vxStateRegister* b) {
    if (!a || !b) return true;
    if (a->readOk != b->readOk) return true;
    return a->readOk && a->value != b->value;
  };
  auto add = [&](const vxStateRegister* a, const vxStateRegister* b) {
    vxStateDifference d;
    d.name = a ? a->name : b->name;
    d.address = a ? a->address : b->address;
    d.beforeOk = a && a->readOk;
    d.before = d.beforeOk ? a->value : 0;
    d.afterOk = b && b->readOk;
    d.after = d.afterOk ? b->value : 0;
    if (d.beforeOk && d.afterOk && catalogue) {
      if (const vxRegister* reg = catalogue->findByAddress(d.address)) {
        for (const auto& field : reg->bitFields())
          if (field->valueIn(d.before) != field->valueIn(d.after)) d.fields.push_back(field->name());
      }
    }
    out.push_back(std::move(d));
  };
  for (const auto& a : before.registers) {
    const vxStateRegister* b = after.find(a.address);
    if (differs(&a, b)) add(&a, b);
  }
  for (const auto& b : after.registers)
    if (!before.find(b.address)) add(nullptr, &b);
  return out;
}

std::string vxDifferenceLine(const vxStateDifference& d) {
  auto side = [](bool ok, uint32_t value) { return ok ? hex32(value) : std::string("unreadable"); };
  std::string line = d.name + " (" + hex32(d.address) + "): " + side(d.beforeOk, d.before) + " -> " +
                     side(d.afterOk, d.after);
  if (!d.fields.empty()) {
    line += " [";
    for (size_t i = 0; i < d.fields.size(); ++i) line += (i ? ", " : "") + d.fields[i];
    line += "]";
  }
  return line;
}
