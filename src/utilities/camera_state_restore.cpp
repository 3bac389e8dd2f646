// Writing a saved camera state back.
#include "utilities/camera_state_restore.h"

#include <algorithm>
#include <map>

#include "base/format.h"
#include "regmodel/dcam_camera.h"
#include "regmodel/register.h"

namespace {

vxRestoreWrite makeWrite(const std::string& name, uint32_t address, uint32_t value) {
  vxRestoreWrite write;
  write.name = name;
  write.address = address;
  write.value = value;
  return write;
}

constexpr uint32_t kIsoOn = 0x80000000u;
constexpr uint32_t kAbsControl = 0x40000000u;
constexpr uint32_t kOnePush = 0x04000000u;

// Where a register's write goes in the order; -1 for a register restore
// never writes.
enum Step : int {
  kNever = -1,
  kStopIso = 0,
  kFormat,
  kMode,
  kRate,
  kCameraControl,
  kFormat7,
  kFeature,
  kAbsoluteValue,
  kOther,
};

bool hasWritableField(const vxRegister& reg) {
  for (const auto& field : reg.bitFields())
    if (field->access() == kAccessReadWrite) return true;
  return false;
}

bool inGroup(const vxRegister& reg, const vxDiagObject* group) {
  for (const vxDiagObject* node = reg.parent(); node; node = node->parent())
    if (node == group) return true;
  return false;
}

Step stepOf(const vxDcamCamera& camera, const vxRegister& reg) {
  const uint32_t base = camera.catalogueCommandBase();
  const uint32_t offset = reg.address() - base;
  switch (offset) {
    case 0x000:  // INITIALIZE
    case 0x610:  // CAMERA_POWER: switching the camera is the user's decision
    case 0x614:  // ISO_EN: only ever stopped, as the first write
    case 0x618:  // MEMORY_SAVE
    case 0x61C:  // ONE_SHOT / MULTI_SHOT
    case 0x62C:  // SOFTWARE_TRIGGER
      return kNever;
    case 0x608:
      return kFormat;
    case 0x604:
      return kMode;
    case 0x600:
      return kRate;
    default:
      break;
  }
  if (std::string(reg.regName()) == "VALUE_SETTING" || !hasWritableField(reg)) return kNever;
  if (inGroup(reg, camera.group(vxDcamCamera::kCameraControl))) return kCameraControl;
  if (inGroup(reg, camera.group(vxDcamCamera::kFormat7))) return kFormat7;
  if (inGroup(reg, camera.group(vxDcamCamera::kFeatureControl))) return kFeature;
  return kOther;
}

}  // namespace

vxRestorePlan vxPlanRestore(const vxCameraState& saved, const vxCameraState& now, const vxDcamCamera& camera,
                            bool force) {
  if (!force && (saved.vendor != now.vendor || saved.model != now.model))
    throw vxCameraStateError(vxFormat(
        "The file holds the state of a %s %s; this camera is a %s %s. Use --force to restore it all the same.",
        saved.vendor.c_str(), saved.model.c_str(), now.vendor.c_str(), now.model.c_str()));
  std::vector<std::string> unknown;
  for (const vxStateRegister& reg : saved.registers)
    if (!now.find(reg.address)) unknown.push_back(vxFormat("%s (0x%08X)", reg.name.c_str(), reg.address));
  if (!unknown.empty()) {
    std::string list;
    for (size_t i = 0; i < unknown.size() && i < 5; ++i) list += (i ? ", " : "") + unknown[i];
    if (unknown.size() > 5) list += vxFormat(" and %zu more", unknown.size() - 5);
    throw vxCameraStateError("The file names registers this camera does not have: " + list +
                             ". Nothing was written.");
  }

  // Absolute values belong to the feature whose control register is 0x100
  // above the block's inquiry register; the capture names them after it.
  std::map<std::string, uint32_t> savedControls;
  for (const vxStateRegister& reg : saved.registers)
    if (reg.readOk) savedControls[reg.name] = reg.value;

  vxRestorePlan plan;
  std::vector<std::pair<int, vxRestoreWrite>> ordered;
  const vxStateRegister* iso = now.find(camera.absoluteAddress(0x614));
  if (iso && iso->readOk && (iso->value & kIsoOn))
    ordered.push_back({kStopIso, makeWrite("ISO_EN/CONTINOUS_SHOT", iso->address, iso->value & ~kIsoOn)});

  for (const vxStateRegister& reg : saved.registers) {
    const vxStateRegister* current = now.find(reg.address);
    if (!reg.readOk || !current->readOk || current->value == reg.value) continue;
    int step = kNever;
    uint32_t value = reg.value;
    if (const vxRegister* known = camera.findRegister(reg.address)) {
      step = stepOf(camera, *known);
      if (step == kFeature) value &= ~kOnePush;  // a saved one-push request is not repeated
    } else if (reg.name.size() > 10 && reg.name.compare(reg.name.size() - 10, 10, "_ABS_VALUE") == 0) {
      const auto control = savedControls.find(reg.name.substr(0, reg.name.size() - 10));
      if (control != savedControls.end() && (control->second & kAbsControl)) step = kAbsoluteValue;
    }
    if (step == kNever) {
      ++plan.skipped;
      continue;
    }
    ordered.push_back({step, makeWrite(reg.name, reg.address, value)});
  }
  std::stable_sort(ordered.begin(), ordered.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  for (auto& [step, write] : ordered) plan.writes.push_back(std::move(write));
  return plan;
}

int vxExecuteRestore(vxRestorePlan& plan, vxDcamCamera& camera) {
  int failed = 0;
  for (vxRestoreWrite& write : plan.writes) {
    write.attempted = true;
    try {
      write.ok = camera.writeQuadlet(write.address, write.value, &write.error);
    } catch (const std::exception& e) {
      write.ok = false;
      write.error = e.what();
    }
    if (!write.ok) {
      if (write.error.empty()) write.error = "Register write failed!";
      ++failed;
    }
  }
  return failed;
}

std::string vxRestoreLine(const vxRestoreWrite& write) {
  std::string line = vxFormat("%s (0x%08X) <- 0x%08X", write.name.c_str(), write.address, write.value);
  if (write.attempted) line += write.ok ? ": ok" : ": failed: " + write.error;
  return line;
}
