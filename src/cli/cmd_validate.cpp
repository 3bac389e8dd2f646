// pralix validate: the validation suite on one camera and format, with a JUnit report.
#include <fstream>
#include <nlohmann/json.hpp>

#include "acquisition/sim_control.h"
#include "acquisition/video_format.h"
#include "app/camera_list.h"
#include "base/format.h"
#include "cli/commands.h"
#include "validation/validation_report.h"
#include "validation/validation_suite.h"

CLI::App* ValidateCommand::setup(CLI::App& app) {
  CLI::App* sub = app.add_subcommand(
      "validate",
      "Run the validation suite against a camera and print its report: basic, queued and free-run "
      "acquisition, exposure, region-of-interest rates, brightness, contrast, bandwidth and external "
      "trigger tests. Exit status 0 when every test passed or was skipped, 1 when one failed");
  sub->add_option("-c,--camera", m_camera, "Camera number, as `pralix list` shows it")
      ->default_val(0)
      ->check(CLI::NonNegativeNumber);
  sub->add_option("--format", m_format, "Video format name as `pralix formats` prints it; the first by default");
  sub->add_option("--test", m_test, "Run only this test")->check(CLI::IsMember(vxValidationSuite::keys()));
  sub->add_option("--junit", m_junit, "Also write the results as a JUnit XML file");
  sub->add_flag("--json", m_json, "Print the results as JSON instead of the report");
  return sub;
}

int ValidateCommand::run(CliContext& context) {
  if (!context.checkCamera(m_camera)) return kExitFailure;
  vx_DcamModule& module = context.module();
  vx1394DCAM& camera = module.camera(m_camera);
  std::string format = m_format;
  if (format.empty()) {
    const std::vector<std::string> names = vxVideoFormat::supportedNames(camera);
    if (names.empty())
      return context.fail(vxFormat("Camera %d lists no video format; it may not be responding.", m_camera));
    format = names.front();
  }

  vxValidationTarget target;
  target.module = &module;
  target.camera = &camera;
  target.cameraDescription = vxCameraList::displayNameFor(camera.identity());
  target.formatText = format;
  target.programVersion = vxValidationVersionText(PRALIX_VERSION);

  std::string report;
  const bool live = !m_json;
  vxValidationSuite suite(target, [&](std::string line) {
    const std::string text = vxValidationLineText(line);
    report += text + "\n";
    if (live) context.out() << text << '\n' << std::flush;
  });
  if (vx_SimBusControl* sim = module.simControl();
      sim && camera.identity().busLayer == "simulated")
    suite.followTimeScale(sim->timeScale());
  const bool passed = suite.run(!m_test.empty(), m_test.empty() ? "reportInfo" : m_test);

  if (!m_junit.empty()) {
    std::ofstream file(m_junit, std::ios::binary);
    file << vxValidationJUnit("pralix validate " + format, suite.outcomes(), report);
    if (!file.flush()) return context.fail("Cannot write " + m_junit);
  }
  if (m_json) {
    nlohmann::json tests = nlohmann::json::array();
    for (const vxValidationOutcome& outcome : suite.outcomes()) {
      if (!outcome.ran) continue;
      nlohmann::json lines = nlohmann::json::array();
      for (const std::string& line : outcome.lines) lines.push_back(vxValidationLineText(line));
      tests.push_back({{"key", outcome.key},
                       {"passed", outcome.passed},
                       {"skipped", outcome.skipped},
                       {"seconds", outcome.seconds},
                       {"lines", lines}});
    }
    nlohmann::json result = {{"camera", m_camera}, {"format", format}, {"passed", passed}, {"tests", tests}};
    context.out() << result.dump(2) << '\n';
  }
  return passed ? kExitOk : kExitFailure;
}
