// pralix regmap and regs: the camera's register catalogue, as catalogue lines
// or with live values.
#include <nlohmann/json.hpp>

#include "base/format.h"
#include "cli/cli_options.h"
#include "cli/commands.h"
#include "regmodel/dcam_camera.h"

namespace {

void addCameraOption(CLI::App* sub, int& camera) {
  sub->add_option("-c,--camera", camera, "Camera number, as `pralix list` shows it")
      ->default_val(0)
      ->check(vxAtLeast(0));
}

}  // namespace

CLI::App* RegmapCommand::setup(CLI::App& app) {
  CLI::App* sub = app.add_subcommand(
      "regmap", "Print the camera's DCAM register catalogue: kind, name, address, width and values");
  addCameraOption(sub, m_camera);
  return sub;
}

int RegmapCommand::run(CliContext& context) {
  if (!context.checkCamera(m_camera)) return kExitFailure;
  // Building the catalogue reads the camera: Format_7, PIO and strobe
  // registers sit where its inquiry registers say.
  vxDcamCamera camera(m_camera, &context.module());
  std::string text;
  camera.registers().printCatalogue(text, true);
  context.out() << text;
  return kExitOk;
}

CLI::App* RegsCommand::setup(CLI::App& app) {
  CLI::App* sub =
      app.add_subcommand("regs", "Read every catalogue register of the camera and print its value line");
  addCameraOption(sub, m_camera);
  sub->add_flag("--json", m_json, "Print the registers as JSON");
  return sub;
}

int RegsCommand::run(CliContext& context) {
  if (!context.checkCamera(m_camera)) return kExitFailure;
  vxDcamCamera camera(m_camera, &context.module());
  // Every register is listed: one the camera does not answer carries the
  // reason in place of its value, and the command fails at the end.
  size_t failed = 0;
  if (m_json) {
    nlohmann::json list = nlohmann::json::array();
    for (vxRegister* reg : camera.registers().registers()) {
      nlohmann::json entry{{"name", reg->name()}, {"address", vxFormat("%08X", reg->address())}};
      try {
        entry["value"] = vxFormat("%08X", static_cast<unsigned>(reg->read()));
      } catch (const std::exception& e) {
        entry["error"] = e.what();
        ++failed;
      }
      list.push_back(std::move(entry));
    }
    context.out() << list.dump(2) << '\n';
  } else {
    for (vxRegister* reg : camera.registers().registers()) {
      // A value line starts with a line break; a failed read gives the reason instead.
      std::string line = reg->valueLine();
      if (!line.empty() && line.front() == '\n')
        line.erase(0, 1);
      else
        ++failed;
      context.out() << line << '\n';
    }
  }
  if (failed == 0) return kExitOk;
  context.out() << std::flush;
  return context.fail(vxFormat("%zu of the camera's %zu registers could not be read.", failed,
                               camera.registers().registers().size()));
}
