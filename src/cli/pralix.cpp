// The pralix command line: global options, subcommand dispatch, exit codes.
#include <algorithm>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "cli/cli_options.h"
#include "cli/command.h"
#include "cli/commands.h"
#include "cli/cmd_state.h"

std::vector<std::unique_ptr<CliCommand>> makeCommands() {
  std::vector<std::unique_ptr<CliCommand>> commands;
  commands.push_back(std::make_unique<ListCommand>());
  commands.push_back(std::make_unique<ReadCommand>());
  commands.push_back(std::make_unique<WriteCommand>());
  commands.push_back(std::make_unique<ResetCommand>());
  commands.push_back(std::make_unique<RegmapCommand>());
  commands.push_back(std::make_unique<RegsCommand>());
  commands.push_back(std::make_unique<FeaturesCommand>());
  commands.push_back(std::make_unique<FeatureCommand>());
  commands.push_back(std::make_unique<DumpCommand>());
  commands.push_back(std::make_unique<CapsCommand>());
  commands.push_back(std::make_unique<FormatsCommand>());
  commands.push_back(std::make_unique<AcquireCommand>());
  commands.push_back(std::make_unique<HostCommand>());
  commands.push_back(std::make_unique<TopologyCommand>());
  commands.push_back(std::make_unique<BusCommand>());
  commands.push_back(std::make_unique<ValidateCommand>());
  commands.push_back(std::make_unique<SaveCommand>());
  commands.push_back(std::make_unique<DiffCommand>());
  commands.push_back(std::make_unique<RestoreCommand>());
  commands.push_back(std::make_unique<WatchCommand>());
  return commands;
}

int runPralix(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
  CLI::App app{"pralix: diagnostics for IIDC (DCAM) cameras on IEEE 1394.\n"
               "Lists cameras, reads, writes and resets their registers, prints the register "
               "catalogue, shows and changes camera features and writes the register dump and "
               "capabilities reports, lists video formats, acquires images, runs the validation "
               "suite, saves, compares and restores a camera's state, watches registers, and "
               "shows the host's adapters, drivers, bus topology and isochronous bandwidth.",
               "pralix"};
  app.require_subcommand(1);
  app.fallthrough();
  app.failure_message(vxPralixFailureMessage);
  std::string simulate;
  CLI::Option* simulateOption =
      app.add_option("--simulate", simulate,
                     "Add simulated cameras: a comma-separated list of profile names or .json files; "
                     "without a value the built-in profiles. PRALIX_SIMULATE does the same.")
          ->expected(0, 1);
  app.set_version_flag("--version", std::string("pralix ") + PRALIX_VERSION);
  app.footer(
      "Register addresses and values (read, write) are hexadecimal, with or without 0x; feature "
      "values are decimal. Addresses from F0000000 up are absolute CSR addresses; smaller ones are "
      "offsets from the camera's command register base (F0F00000 on most cameras; register names "
      "use it too). --camera and --json may come before or after the command name.\n"
      "Exit status: 0 success, 1 camera, register access or acquisition failed (or a simulated camera "
      "profile was refused), 2 usage error.\n");

  auto commands = makeCommands();
  std::vector<std::pair<CLI::App*, CliCommand*>> subs;
  for (auto& command : commands) subs.emplace_back(command->setup(app), command.get());

  // --camera and --json may come before the command name as well.
  std::set<std::string> names;
  for (const auto& [sub, command] : subs) names.insert(sub->get_name());
  std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + argc);
  args = vxCommandOptionsAfterName(args, names);
  try {
    // CLI11 takes the arguments last first.
    std::reverse(args.begin(), args.end());
    app.parse(args);
  } catch (const CLI::ParseError& e) {
    const int code = app.exit(e, out, err);
    return code == 0 ? kExitOk : kExitUsage;
  }

  CliContext context(out, err);
  if (simulateOption->count() > 0) context.setSimulate(simulate);
  for (auto& [sub, command] : subs) {
    if (!sub->parsed()) continue;
    try {
      const int status = command->run(context);
      // A simulated camera profile that was refused makes the run a failure
      // even when the command could work on the other cameras.
      return status == kExitOk && context.refusedProfiles() ? kExitFailure : status;
    } catch (const CLI::ParseError& e) {
      app.exit(e, out, err);
      return kExitUsage;
    } catch (const std::exception& e) {
      return context.fail(e.what());
    }
  }
  return kExitUsage;
}
