// pralix save and diff: a camera's register state in a file, and what changed since.
#include "cli/cmd_state.h"

#include <fstream>
#include <memory>
#include <sstream>

#include "cli/cli_context.h"
#include "cli/cli_options.h"
#include "regmodel/dcam_camera.h"
#include "utilities/camera_state.h"
#include "utilities/camera_state_restore.h"

namespace {

void addCameraOption(CLI::App* sub, int& camera) {
  sub->add_option("-c,--camera", camera, "Camera number, as `pralix list` shows it")
      ->default_val(0)
      ->check(vxAtLeast(0));
}

// The state in a file; false with the message said when it cannot be used.
bool loadState(CliContext& context, const std::string& path, vxCameraState& state) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    context.err() << "Cannot open " << path << '\n';
    return false;
  }
  std::ostringstream text;
  text << in.rdbuf();
  try {
    state = vxCameraStateFromJson(text.str());
  } catch (const vxCameraStateError& e) {
    context.err() << path << ": " << e.what() << '\n';
    return false;
  }
  return true;
}

}  // namespace

CLI::App* SaveCommand::setup(CLI::App& app) {
  CLI::App* sub = app.add_subcommand(
      "save", "Save every readable register of the camera with its identity in a JSON file");
  sub->add_option("file", m_file, "The state file to write")->required();
  addCameraOption(sub, m_camera);
  return sub;
}

int SaveCommand::run(CliContext& context) {
  if (!context.checkCamera(m_camera)) return kExitFailure;
  vxCameraState state;
  try {
    vxDcamCamera camera(m_camera, &context.module());
    state = vxCaptureCameraState(camera);
  } catch (const vxException& e) {
    context.err() << "Reading the camera's registers failed!\n" << e.what() << '\n';
    return kExitFailure;
  }
  std::ofstream out(m_file, std::ios::binary | std::ios::trunc);
  out << vxCameraStateToJson(state);
  out.close();
  if (!out) {
    context.err() << "Cannot write " << m_file << '\n';
    return kExitFailure;
  }
  size_t failed = 0;
  for (const auto& reg : state.registers) failed += reg.readOk ? 0 : 1;
  context.out() << "Saved " << state.registers.size() << " registers of " << state.vendor << ' '
                << state.model << " to " << m_file;
  if (failed) context.out() << " (" << failed << " failed to read)";
  context.out() << '\n';
  return kExitOk;
}

CLI::App* DiffCommand::setup(CLI::App& app) {
  CLI::App* sub = app.add_subcommand(
      "diff", "Compare a saved camera state with the camera now, or with a second file");
  sub->add_option("file", m_file, "The saved state")->required();
  sub->add_option("file2", m_file2, "A second saved state to compare with instead of the camera");
  addCameraOption(sub, m_camera);
  return sub;
}

int DiffCommand::run(CliContext& context) {
  vxCameraState before;
  if (!loadState(context, m_file, before)) return kExitFailure;
  vxCameraState after;
  std::unique_ptr<vxDcamCamera> camera;
  if (!m_file2.empty()) {
    if (!loadState(context, m_file2, after)) return kExitFailure;
  } else {
    if (!context.checkCamera(m_camera)) return kExitFailure;
    try {
      camera = std::make_unique<vxDcamCamera>(m_camera, &context.module());
      after = vxCaptureCameraState(*camera);
    } catch (const vxException& e) {
      context.err() << "Reading the camera's registers failed!\n" << e.what() << '\n';
      return kExitFailure;
    }
  }
  if (before.model != after.model)
    context.out() << "Camera model differs: " << before.model << " / " << after.model << '\n';
  const auto differences = vxDiffCameraStates(before, after, camera ? &camera->registers() : nullptr);
  for (const auto& difference : differences) context.out() << vxDifferenceLine(difference) << '\n';
  context.out() << differences.size() << " registers differ\n";
  return kExitOk;
}

CLI::App* RestoreCommand::setup(CLI::App& app) {
  CLI::App* sub = app.add_subcommand(
      "restore",
      "Write a saved camera state back: the writable control registers that differ, isochronous "
      "transmission stopped first, format, mode and rate before Format_7 settings, features after");
  sub->add_option("file", m_file, "The saved state (from `pralix save`)")->required();
  addCameraOption(sub, m_camera);
  sub->add_flag("-n,--dry-run", m_dryRun, "Print the writes without making them");
  sub->add_flag("--force", m_force, "Restore a state saved from another camera model");
  return sub;
}

int RestoreCommand::run(CliContext& context) {
  vxCameraState saved;
  if (!loadState(context, m_file, saved)) return kExitFailure;
  if (!context.checkCamera(m_camera)) return kExitFailure;
  std::unique_ptr<vxDcamCamera> camera;
  vxCameraState now;
  try {
    camera = std::make_unique<vxDcamCamera>(m_camera, &context.module());
    now = vxCaptureCameraState(*camera);
  } catch (const vxException& e) {
    context.err() << "Reading the camera's registers failed!\n" << e.what() << '\n';
    return kExitFailure;
  }
  vxRestorePlan plan;
  try {
    plan = vxPlanRestore(saved, now, *camera, m_force);
  } catch (const vxCameraStateError& e) {
    context.err() << m_file << ": " << e.what() << '\n';
    return kExitFailure;
  }
  int failed = 0;
  if (!m_dryRun) failed = vxExecuteRestore(plan, *camera);
  for (const vxRestoreWrite& write : plan.writes) context.out() << vxRestoreLine(write) << '\n';
  const size_t total = plan.writes.size();
  if (m_dryRun)
    context.out() << total << " writes planned, none made (dry run)";
  else
    context.out() << total - static_cast<size_t>(failed) << " of " << total << " writes succeeded";
  if (plan.skipped) context.out() << "; " << plan.skipped << " differing registers are not restored (read-only or action registers)";
  context.out() << '\n';
  return failed ? kExitFailure : kExitOk;
}
