// The pralix subcommands, one class each.
#pragma once

#include <string>
#include <vector>

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
  int m_count = 1;
  bool m_float = false;
};

class WatchCommand : public CliCommand {
 public:
  CLI::App* setup(CLI::App& app) override;
  int run(CliContext& context) override;

 private:
  std::vector<std::string> m_registers;
  int m_camera = 0;
  int m_interval = 500;
  int m_count = 0;
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

class FeaturesCommand : public CliCommand {
 public:
  CLI::App* setup(CLI::App& app) override;
  int run(CliContext& context) override;

 private:
  int m_camera = 0;
  bool m_json = false;
};

// One feature: the actions asked for, in a fixed order, then its state read back.
class FeatureCommand : public CliCommand {
 public:
  CLI::App* setup(CLI::App& app) override;
  int run(CliContext& context) override;

 private:
  // Why the camera cannot do what was asked of the feature, or "".
  std::string refuseUnsupported(class DcamFeature& feature,
                                const struct DcamFeatureInfo& info) const;

  std::string m_name;
  int m_camera = 0;
  bool m_on = false;
  bool m_off = false;
  bool m_auto = false;
  bool m_manual = false;
  bool m_onePush = false;
  int m_value = 0;
  int m_value2 = 0;
  float m_abs = 0.0f;
  CLI::Option* m_valueOption = nullptr;
  CLI::Option* m_value2Option = nullptr;
  CLI::Option* m_absOption = nullptr;
  bool m_json = false;
};

// The register dump and the capabilities report share their output handling.
class ReportCommand : public CliCommand {
 public:
  int run(CliContext& context) override;

 protected:
  CLI::App* addReportOptions(CLI::App* sub);
  // Says on standard error what the report will do to the camera, if anything.
  virtual void warnBeforeBuilding(CliContext& context) { (void)context; }
  virtual std::string build(CliContext& context) = 0;

  int m_camera = 0;
  // Register accesses that failed while building, with their reasons.
  std::vector<std::string> m_failures;

 private:
  std::string m_outputFile;
  bool m_crlf = false;
};

class DumpCommand : public ReportCommand {
 public:
  CLI::App* setup(CLI::App& app) override;

 protected:
  void warnBeforeBuilding(CliContext& context) override;
  std::string build(CliContext& context) override;
};

class CapsCommand : public ReportCommand {
 public:
  CLI::App* setup(CLI::App& app) override;

 protected:
  std::string build(CliContext& context) override;
};

class FormatsCommand : public CliCommand {
 public:
  CLI::App* setup(CLI::App& app) override;
  int run(CliContext& context) override;

 private:
  int m_camera = 0;
  bool m_json = false;
};

// Acquires a number of images the way the acquisition window's continuous
// run does and reports failures, timing and statistics.
class AcquireCommand : public CliCommand {
 public:
  CLI::App* setup(CLI::App& app) override;
  int run(CliContext& context) override;

 private:
  int m_camera = 0;
  std::string m_format;
  int m_count = 10;
  std::string m_trigger = "freerun";
  double m_timeout = 5.0;
  double m_exposure = 0.0;
  CLI::Option* m_exposureOption = nullptr;
  std::string m_save;
  bool m_stats = false;
  bool m_json = false;
  bool m_queued = false;
  int m_simUnplugAfter = 0;
};

// The host's versions, the IIDC units with their drivers and the 1394 adapters.
class HostCommand : public CliCommand {
 public:
  CLI::App* setup(CLI::App& app) override;
  int run(CliContext& context) override;

 private:
  bool m_json = false;
};

// The adapters with their parents and the cameras on each bus.
class TopologyCommand : public CliCommand {
 public:
  CLI::App* setup(CLI::App& app) override;
  int run(CliContext& context) override;

 private:
  bool m_json = false;
  bool m_legacy = false;
};

// Runs the validation suite on a camera and format, printing the report as it
// grows; optionally a JUnit file for a station's automated checks.
class ValidateCommand : public CliCommand {
 public:
  CLI::App* setup(CLI::App& app) override;
  int run(CliContext& context) override;

 private:
  int m_camera = 0;
  std::string m_format;
  std::string m_test;
  std::string m_junit;
  bool m_json = false;
};

class BusCommand : public CliCommand {
 public:
  CLI::App* setup(CLI::App& app) override;
  int run(CliContext& context) override;

 private:
  bool m_json = false;
};
