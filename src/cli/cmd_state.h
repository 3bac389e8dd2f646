// pralix save and diff: a camera's register state in a file, and what changed since.
#pragma once

#include <string>

#include "cli/command.h"

class SaveCommand : public CliCommand {
 public:
  CLI::App* setup(CLI::App& app) override;
  int run(CliContext& context) override;

 private:
  std::string m_file;
  int m_camera = 0;
};

class RestoreCommand : public CliCommand {
 public:
  CLI::App* setup(CLI::App& app) override;
  int run(CliContext& context) override;

 private:
  std::string m_file;
  int m_camera = 0;
  bool m_dryRun = false;
  bool m_force = false;
};

class DiffCommand : public CliCommand {
 public:
  CLI::App* setup(CLI::App& app) override;
  int run(CliContext& context) override;

 private:
  std::string m_file;
  std::string m_file2;
  int m_camera = 0;
};
