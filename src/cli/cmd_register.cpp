// pralix read, write and reset: single quadlets of one camera.
#include <bit>
#include <chrono>
#include <nlohmann/json.hpp>
#include <thread>

#include "acquisition/dcam_registers.h"
#include "base/format.h"
#include "base/time_stamp.h"
#include "cli/cli_options.h"
#include "cli/commands.h"
#include "cli/interrupt.h"
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
  sub->add_option("-n,--count", m_count, "Read a block of this many quadlets from the address on")
      ->default_val(1)
      ->check(CLI::Range(1, 4096));
  sub->add_flag("--float", m_float, "Also show each quadlet as an IEEE single-precision float");
  return sub;
}

int ReadCommand::run(CliContext& context) {
  if (!context.checkCamera(m_camera)) return kExitFailure;
  const RegisterArgument reg = resolveRegister(context, m_camera, m_address);
  std::vector<uint32_t> values;
  for (int i = 0; i < m_count; ++i) {
    uint32_t value = 0;
    std::string reason;
    bool done = false;
    const uint32_t address = reg.address + 4u * static_cast<uint32_t>(i);
    try {
      done = context.module().camera(m_camera).readQuadlet(address, value, &reason);
    } catch (const vxException& e) {
      reason = e.what();
    }
    if (!done) {
      if (m_count > 1) reason = vxFormat("at 0x%08X: ", static_cast<uint32_t>(reg.absolute + 4u * i)) + reason;
      return failWithReason(context, "Register read failed!", reason);
    }
    values.push_back(value);
  }
  auto asFloat = [](uint32_t bits) { return static_cast<double>(std::bit_cast<float>(bits)); };
  if (m_count > 1 || m_float) {
    if (m_json) {
      nlohmann::json list = nlohmann::json::array();
      for (size_t i = 0; i < values.size(); ++i) {
        nlohmann::json entry = {{"address", vxFormat("%08X", static_cast<uint32_t>(reg.absolute + 4 * i))},
                                {"value", vxFormat("%08X", values[i])}};
        if (m_float) entry["float"] = asFloat(values[i]);
        list.push_back(entry);
      }
      context.out() << nlohmann::json{{"camera", m_camera}, {"input", m_address}, {"quadlets", list}}.dump(2)
                    << '\n';
      return kExitOk;
    }
    for (size_t i = 0; i < values.size(); ++i) {
      context.out() << vxFormat("%08X  %08X", static_cast<uint32_t>(reg.absolute + 4 * i), values[i]);
      if (m_float) context.out() << vxFormat("  %.9g", asFloat(values[i]));
      context.out() << '\n';
    }
    return kExitOk;
  }
  const uint32_t value = values.front();
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

CLI::App* WatchCommand::setup(CLI::App& app) {
  CLI::App* sub = app.add_subcommand(
      "watch",
      "Print a time-stamped line whenever a watched register changes, until Ctrl-C (the first "
      "values are printed at the start)");
  sub->add_option("registers", m_registers, "Register names or hexadecimal addresses")->required();
  addCameraOption(sub, m_camera);
  sub->add_option("-i,--interval", m_interval, "Milliseconds between two reads of the registers")
      ->default_val(500)
      ->check(CLI::Range(1, 3600000));
  sub->add_option("-n,--count", m_count, "End after this many change lines (0: until Ctrl-C)")
      ->default_val(0)
      ->check(CLI::NonNegativeNumber);
  return sub;
}

int WatchCommand::run(CliContext& context) {
  if (!context.checkCamera(m_camera)) return kExitFailure;
  struct Watched {
    std::string name;
    RegisterArgument reg;
    bool known = false;
    bool ok = false;
    uint32_t value = 0;
    std::string error;
  };
  std::vector<Watched> watched;
  for (const std::string& text : m_registers) {
    Watched w;
    w.reg = resolveRegister(context, m_camera, text);
    w.name = text;
    watched.push_back(w);
  }
  // "%m/%d-%H:%M:%S" and milliseconds: changes a few milliseconds apart stay apart.
  auto stamp = [] {
    const auto now = std::chrono::system_clock::now();
    const auto ms =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    return vxTimeStamp(now) + vxFormat(".%03d", static_cast<int>(ms));
  };
  auto describe = [](const Watched& w) {
    return w.ok ? vxFormat("0x%08X", w.value) : "unreadable (" + w.error + ")";
  };
  InterruptHandler interrupt;
  int changes = 0;
  while (!g_interrupted.load()) {
    for (Watched& w : watched) {
      uint32_t value = 0;
      std::string reason;
      bool ok = false;
      try {
        ok = context.module().camera(m_camera).readQuadlet(w.reg.address, value, &reason);
      } catch (const vxException& e) {
        reason = e.what();
      }
      const bool changed = !w.known || ok != w.ok || (ok && value != w.value);
      if (!changed) continue;
      const std::string before = describe(w);
      const bool wasKnown = w.known;
      w.known = true;
      w.ok = ok;
      w.value = value;
      w.error = reason;
      const std::string label = vxFormat("%s (0x%08X)", w.name.c_str(), static_cast<uint32_t>(w.reg.absolute));
      if (!wasKnown) {
        context.out() << stamp() << "  " << label << " = " << describe(w) << '\n';
      } else {
        context.out() << stamp() << "  " << label << ": " << before << " -> " << describe(w) << '\n';
        ++changes;
      }
      context.out().flush();
      if (m_count > 0 && changes >= m_count) return kExitOk;
    }
    // Sleeps in short steps so that Ctrl-C ends the watch at once.
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(m_interval);
    while (!g_interrupted.load() && std::chrono::steady_clock::now() < until)
      std::this_thread::sleep_for(std::min<std::chrono::steady_clock::duration>(
          std::chrono::milliseconds(20), until - std::chrono::steady_clock::now()));
  }
  return kExitOk;
}
