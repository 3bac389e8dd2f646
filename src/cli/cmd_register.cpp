// pralix read, write and reset: single quadlets of one camera.
#include <nlohmann/json.hpp>

#include "acquisition/dcam_registers.h"
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

constexpr const char* kAddressHelp =
    "Register address in hexadecimal: absolute (F0F00600) or an offset from the camera's command "
    "register base (600); or a register name of the catalogue (CURRENT_FRAME_RATE)";

// A register as the user named it: the address handed to the module (an
// offset stays an offset, so the module resolves it against the camera's own
// command base) and the absolute address it stands for.
struct RegisterArgument {
  uint32_t address = 0;
  uint64_t absolute = 0;
};

// Takes text as a hexadecimal address or, failing that, a register name of
// the camera's catalogue. The camera must already have been checked.
RegisterArgument resolveRegister(CliContext& context, int camera, const std::string& text) {
  const bool looksHex =
      !text.empty() && text.find_first_not_of("0123456789abcdefABCDEFxX") == std::string::npos;
  vx1394DCAM& device = context.module().camera(camera);
  if (looksHex) {
    RegisterArgument arg;
    arg.address = static_cast<uint32_t>(parseHexArgument(text, "address", 0xFFFFFFFFull));
    arg.absolute = arg.address >= kCsrSpaceBase ? arg.address
                                                : uint64_t{vxDcamCommandBase(device)} + arg.address;
    return arg;
  }
  // A register name from the catalogue (CURRENT_VIDEO_MODE, GAIN ...), placed
  // at the camera's own command register base.
  vxDcamCamera catalogue(camera, &context.module());
  const vxRegister* reg = catalogue.findRegister(text);
  if (!reg)
    throw CLI::ValidationError("address", "'" + text +
                                              "' is neither a hexadecimal address nor a register "
                                              "name of the catalogue (see `pralix regmap`)");
  return {reg->address(), reg->address()};
}

// The program's message, then the module's reason on a line of its own.
int failWithReason(CliContext& context, const char* message, const std::string& reason) {
  context.err() << message << '\n';
  if (!reason.empty()) context.err() << reason << '\n';
  return kExitFailure;
}

}  // namespace

CLI::App* ReadCommand::setup(CLI::App& app) {
  CLI::App* sub = app.add_subcommand("read", "Read one quadlet of the camera");
  sub->add_option("address", m_address, kAddressHelp)->required();
  addCameraOption(sub, m_camera);
  sub->add_flag("--json", m_json, "Print the result as JSON");
  return sub;
}

int ReadCommand::run(CliContext& context) {
  if (!context.checkCamera(m_camera)) return kExitFailure;
  const RegisterArgument reg = resolveRegister(context, m_camera, m_address);
  uint32_t value = 0;
  std::string reason;
  bool done = false;
  try {
    done = context.module().camera(m_camera).readQuadlet(reg.address, value, &reason);
  } catch (const vxException& e) {
    reason = e.what();
  }
  if (!done) return failWithReason(context, "Register read failed!", reason);
  if (m_json)
    context.out() << nlohmann::json{{"camera", m_camera},
                                    {"input", m_address},
                                    {"address",
                                     vxFormat("%08X", static_cast<uint32_t>(reg.absolute))},
                                    {"value", vxFormat("%08X", value)}}
                         .dump(2)
                  << '\n';
  else
    context.out() << vxFormat("%08X\n", value);
  return kExitOk;
}

CLI::App* WriteCommand::setup(CLI::App& app) {
  CLI::App* sub = app.add_subcommand("write", "Write one quadlet to the camera");
  sub->add_option("address", m_address, kAddressHelp)->required();
  sub->add_option("value", m_value, "Value in hexadecimal, at most FFFFFFFF")->required();
  addCameraOption(sub, m_camera);
  return sub;
}

int WriteCommand::run(CliContext& context) {
  const auto value = static_cast<uint32_t>(parseHexArgument(m_value, "value", 0xFFFFFFFFull));
  if (!context.checkCamera(m_camera)) return kExitFailure;
  const RegisterArgument reg = resolveRegister(context, m_camera, m_address);
  std::string reason;
  bool done = false;
  try {
    done = context.module().camera(m_camera).writeQuadlet(reg.address, value, &reason);
  } catch (const vxException& e) {
    reason = e.what();
  }
  if (!done) return failWithReason(context, "Register write failed!", reason);
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
  std::string reason;
  bool done = false;
  try {
    done = vxDcamInitialize(context.module().camera(m_camera), &reason);
  } catch (const vxException& e) {
    reason = e.what();
  }
  if (!done) return failWithReason(context, "Register write failed!", reason);
  return kExitOk;
}
