// Command-line conveniences shared by the pralix subcommands: option order and range checks.
#include "cli/cli_options.h"

#include <cmath>

#include "base/format.h"

namespace {

bool takesValue(const std::string& arg) {
  return arg == "-c" || arg == "--camera";
}

bool isCommandOption(const std::string& arg) {
  if (arg == "--json" || takesValue(arg)) return true;
  if (arg.rfind("--camera=", 0) == 0) return true;
  // -c1, the value joined to the short name.
  return arg.size() > 2 && arg.rfind("-c", 0) == 0;
}

// The text's number when the whole text is one finite number.
bool finiteNumber(const std::string& text, double& value) {
  try {
    size_t used = 0;
    value = std::stod(text, &used);
    return used == text.size() && std::isfinite(value);
  } catch (const std::exception&) {
    return false;
  }
}

std::string numberText(double value) {
  return vxFormat("%g", value);
}

}  // namespace

std::vector<std::string> vxCommandOptionsAfterName(const std::vector<std::string>& args,
                                                   const std::set<std::string>& commandNames) {
  std::vector<std::string> before;
  std::vector<std::string> moved;
  size_t i = 0;
  for (; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (arg == "--" || commandNames.count(arg)) break;
    if (!isCommandOption(arg)) {
      before.push_back(arg);
      continue;
    }
    moved.push_back(arg);
    if (takesValue(arg) && i + 1 < args.size()) moved.push_back(args[++i]);
  }
  if (i == args.size() || args[i] == "--") return args;  // no command: leave it all to the parser
  std::vector<std::string> result = before;
  result.push_back(args[i]);
  result.insert(result.end(), moved.begin(), moved.end());
  result.insert(result.end(), args.begin() + static_cast<std::ptrdiff_t>(i) + 1, args.end());
  return result;
}

CLI::Validator vxAtLeast(double min) {
  return CLI::Validator(
      [min](std::string& text) -> std::string {
        double value = 0;
        if (!finiteNumber(text, value)) return "must be a number of at least " + numberText(min);
        return value < min ? "must be at least " + numberText(min) : std::string();
      },
      "at least " + numberText(min));
}

CLI::Validator vxAbove(double min) {
  return CLI::Validator(
      [min](std::string& text) -> std::string {
        double value = 0;
        if (!finiteNumber(text, value)) return "must be a number more than " + numberText(min);
        return value <= min ? "must be more than " + numberText(min) : std::string();
      },
      "more than " + numberText(min));
}

CLI::Validator vxWithin(double min, double max) {
  return CLI::Validator(
      [min, max](std::string& text) -> std::string {
        double value = 0;
        const std::string range = "from " + numberText(min) + " to " + numberText(max);
        if (!finiteNumber(text, value)) return "must be a number " + range;
        return value < min || value > max ? "must be " + range : std::string();
      },
      numberText(min) + " to " + numberText(max));
}

std::string vxPralixFailureMessage(const CLI::App* app, const CLI::Error& e) {
  std::string text = CLI::FailureMessage::simple(app, e);
  // "--count: must be at least 1" reads as "--count must be at least 1".
  if (const size_t at = text.find(": must be "); at != std::string::npos) text.erase(at, 1);
  return text;
}
