// pralix save and diff: a camera's register state in a file, and what changed since.
#include "cli/cmd_state.h"

#include <fstream>
#include <memory>
#include <sstream>

#include "cli/cli_context.h"
#include "cli/cli_options.h"
#include "regmodel/dcam_camera.h"
#include "utilities/camera_state.h"

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
