// One pralix subcommand: it declares its options, then runs.
#pragma once

#include <memory>
#include <vector>

#include <CLI/CLI.hpp>

#include "cli/cli_context.h"

class CliCommand {
 public:
  virtual ~CliCommand() = default;
  // Adds the subcommand with its options to the application.
  virtual CLI::App* setup(CLI::App& app) = 0;
  virtual int run(CliContext& context) = 0;
};

// Every subcommand of pralix, in the order --help lists them.
std::vector<std::unique_ptr<CliCommand>> makeCommands();

// Runs pralix with the arguments; what main() does, but testable.
int runPralix(int argc, const char* const* argv, std::ostream& out, std::ostream& err);
