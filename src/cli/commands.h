// The pralix subcommands, one class each.
#pragma once

#include <string>

#include "cli/command.h"

class ListCommand : public CliCommand {
 public:
  CLI::App* setup(CLI::App& app) override;
  int run(CliContext& context) override;

 private:
  bool m_json = false;
};

class ReadCommand : public CliCommand {
 public:
  CLI::App* setup(CLI::App& app) override;
  int run(CliContext& context) override;

 private:
  std::string m_address;
  int m_camera = 0;
  bool m_json = false;
};

class WriteCommand : public CliCommand {
 public:
  CLI::App* setup(CLI::App& app) override;
  int run(CliContext& context) override;

 private:
  std::string m_address;
  std::string m_value;
  int m_camera = 0;
};

class ResetCommand : public CliCommand {
 public:
  CLI::App* setup(CLI::App& app) override;
  int run(CliContext& context) override;

 private:
  int m_camera = 0;
};

class RegmapCommand : public CliCommand {
 public:
  CLI::App* setup(CLI::App& app) override;
  int run(CliContext& context) override;

 private:
  int m_camera = 0;
};

class RegsCommand : public CliCommand {
 public:
  CLI::App* setup(CLI::App& app) override;
  int run(CliContext& context) override;

 private:
  int m_camera = 0;
  bool m_json = false;
};
