// pralix formats: the video formats a camera offers, by name.
#include <nlohmann/json.hpp>

#include "acquisition/video_format.h"
#include "base/format.h"
#include "cli/cli_options.h"
#include "cli/commands.h"

CLI::App* FormatsCommand::setup(CLI::App& app) {
  CLI::App* sub = app.add_subcommand(
      "formats",
      "List the camera's video formats, one name per line: standard modes with each frame rate, "
      "then Format_7 modes with each colour coding. These are the names `pralix acquire --format` "
      "takes");
  sub->add_option("-c,--camera", m_camera, "Camera number, as `pralix list` shows it")
      ->default_val(0)
      ->check(vxAtLeast(0));
  sub->add_flag("--json", m_json, "Print the names as a JSON array");
  return sub;
}

int FormatsCommand::run(CliContext& context) {
  if (!context.checkCamera(m_camera)) return kExitFailure;
  vx1394DCAM& camera = context.module().camera(m_camera);
  const std::vector<std::string> names = vxVideoFormat::supportedNames(camera);
  // Every DCAM camera offers at least one format; none means its inquiry
  // registers did not answer.
  if (names.empty())
    return context.fail(
        vxFormat("Camera %d lists no video format; it may not be responding.", m_camera));
  if (m_json) {
    context.out() << nlohmann::json(names).dump(2) << '\n';
    return kExitOk;
  }
  for (const std::string& name : names) context.out() << name << '\n';
  return kExitOk;
}
