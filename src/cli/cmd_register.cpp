// pralix read, write and reset: single quadlets of one camera.
#include <nlohmann/json.hpp>

#include "base/format.h"
#include "cli/commands.h"
#include "regmodel/dcam_camera.h"
#include "regmodel/register_accessor.h"

namespace {

constexpr uint32_t kInitializeRegister = 0xF0F00000u;
constexpr uint32_t kInitializeBit = 0x80000000u;

void addCameraOption(CLI::App* sub, int& camera) {
  sub->add_option("-c,--camera", camera, "Camera number, as `pralix list` shows it")
      ->default_val(0)
      ->check(CLI::NonNegativeNumber);
}

}  // namespace

CLI::App* ReadCommand::setup(CLI::App& app) {
  CLI::App* sub = app.add_subcommand("read", "Read one quadlet of the camera");
  sub->add_option("address", m_address,
                  "Register address in hexadecimal: absolute (F0F00600) or an offset from the command "
                  "register base (600); or a register name of the catalogue (CURRENT_FRAME_RATE)")
      ->required();
  addCameraOption(sub, m_camera);
  sub->add_flag("--json", m_json, "Print the result as JSON");
  return sub;
}

int ReadCommand::run(CliContext& context) {
  uint32_t address = 0;
  const bool looksHex = m_address.find_first_not_of("0123456789abcdefABCDEFxX") == std::string::npos;
  if (looksHex) {
    address = static_cast<uint32_t>(parseHexArgument(m_address, "address", 0xFFFFFFFFull));
    if (!context.checkCamera(m_camera)) return kExitFailure;
  } else {
    // A register name from the catalogue (CURRENT_VIDEO_MODE, GAIN ...).
    if (!context.checkCamera(m_camera)) return kExitFailure;
    vxDcamCamera catalogue(m_camera, &context.module());
    const vxRegister* reg = catalogue.findRegister(m_address);
    if (!reg)
      throw CLI::ValidationError("address", "'" + m_address +
                                                "' is neither a hexadecimal address nor a register "
                                                "name of the catalogue (see `pralix regmap`)");
    address = reg->address();
  }
  vx_DCAMRegisterAccessorPralix accessor(m_camera, &context.module());
  const uint32_t value = accessor.readQuadlet(address);
  if (!accessor.ok()) return context.fail("Register read failed!");
  if (m_json)
    context.out() << nlohmann::json{{"camera", m_camera},
                                    {"address", vxFormat("%08X", address)},
                                    {"value", vxFormat("%08X", value)}}
                         .dump(2)
                  << '\n';
  else
    context.out() << vxFormat("%08X\n", value);
  return kExitOk;
}

CLI::App* WriteCommand::setup(CLI::App& app) {
  CLI::App* sub = app.add_subcommand("write", "Write one quadlet to the camera");
  sub->add_option("address", m_address, "Register address in hexadecimal")->required();
  sub->add_option("value", m_value, "Value in hexadecimal, at most FFFFFFFF")->required();
  addCameraOption(sub, m_camera);
  return sub;
}

int WriteCommand::run(CliContext& context) {
  const auto address = static_cast<uint32_t>(parseHexArgument(m_address, "address", 0xFFFFFFFFull));
  const auto value = static_cast<uint32_t>(parseHexArgument(m_value, "value", 0xFFFFFFFFull));
  if (!context.checkCamera(m_camera)) return kExitFailure;
  vx_DCAMRegisterAccessorPralix accessor(m_camera, &context.module());
  if (!accessor.writeQuadlet(address, value) || !accessor.ok()) return context.fail("Register write failed!");
  return kExitOk;
}

CLI::App* ResetCommand::setup(CLI::App& app) {
  CLI::App* sub = app.add_subcommand(
      "reset", "Reset the camera to its power-on state (sets the Initialize bit of INITIALIZE)");
  addCameraOption(sub, m_camera);
  return sub;
}

int ResetCommand::run(CliContext& context) {
  if (!context.checkCamera(m_camera)) return kExitFailure;
  vx_DCAMRegisterAccessorPralix accessor(m_camera, &context.module());
  if (!accessor.writeQuadlet(kInitializeRegister, kInitializeBit) || !accessor.ok())
    return context.fail("Register write failed!");
  return kExitOk;
}
