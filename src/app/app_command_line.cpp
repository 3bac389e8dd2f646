// The desktop program's command line.
#include "app/app_command_line.h"

#include <string_view>

namespace {

constexpr const char* kBlanks = " \t\r\n\v\f";
constexpr std::string_view kSimulateOption = "--simulate";

}  // namespace

vxAppCommandLine vxParseAppCommandLine(const std::string& commandLine) {
  vxAppCommandLine result;
  const size_t first = commandLine.find_first_not_of(kBlanks);
  if (first != std::string::npos) {
    const size_t last = commandLine.find_last_not_of(kBlanks);
    result.text = commandLine.substr(first, last - first + 1);
  }
  result.legacy = result.text.find(kLegacySwitch) != std::string::npos;
  return result;
}

std::string vxJoinArguments(const std::vector<std::string>& arguments) {
  std::string line;
  for (const std::string& argument : arguments) {
    if (!line.empty()) line += ' ';
    line += argument;
  }
  return line;
}

std::optional<std::string> vxSimulateArgument(const std::vector<std::string>& arguments) {
  std::optional<std::string> value;
  for (size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (argument == kSimulateOption) {
      // A following word that is no option is the profile list.
      if (i + 1 < arguments.size() && !arguments[i + 1].empty() && arguments[i + 1][0] != '-')
        value = arguments[++i];
      else
        value = std::string();
    } else if (argument.starts_with(std::string(kSimulateOption) + "=")) {
      value = argument.substr(kSimulateOption.size() + 1);
    }
  }
  return value;
}
