// The desktop program's command line.
#include "app/app_command_line.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace {

constexpr const char* kBlanks = " \t\r\n\v\f";
constexpr std::string_view kSimulateOption = "--simulate";

// Options that QApplication takes for itself; the first group takes a value.
constexpr std::array<std::string_view, 14> kQtOptionsWithValue = {
    "-platform", "-platformpluginpath", "-platformtheme", "-plugin",  "-style",
    "-stylesheet", "-session", "-display", "-geometry", "-qwindowgeometry",
    "-qwindowtitle", "-qwindowicon", "-title", "-qmljsdebugger"};
constexpr std::array<std::string_view, 5> kQtFlags = {"-reverse", "-widgetcount", "-nograb",
                                                      "-dograb", "-sync"};

bool isQtOption(std::string_view argument, bool& takesValue) {
  // Qt accepts its options with one or two dashes, and "-style=NAME" forms.
  std::string_view name = argument;
  if (name.starts_with("--")) name.remove_prefix(1);
  const size_t equals = name.find('=');
  const bool inlineValue = equals != std::string_view::npos;
  if (inlineValue) name = name.substr(0, equals);
  if (std::find(kQtOptionsWithValue.begin(), kQtOptionsWithValue.end(), name) !=
      kQtOptionsWithValue.end()) {
    takesValue = !inlineValue;
    return true;
  }
  takesValue = false;
  return !inlineValue && std::find(kQtFlags.begin(), kQtFlags.end(), name) != kQtFlags.end();
}

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

vxAppArgumentCheck vxCheckAppArguments(const std::vector<std::string>& arguments) {
  vxAppArgumentCheck check;
  for (size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    bool takesValue = false;
    if (argument == "--help" || argument == "-h" || argument == "-help") {
      check.action = vxAppAction::Help;
      return check;
    }
    if (argument == "--version") {
      check.action = vxAppAction::Version;
      continue;
    }
    if (argument.find(kLegacySwitch) != std::string::npos) continue;
    if (argument == kSimulateOption) {
      if (i + 1 < arguments.size() && !arguments[i + 1].empty() && arguments[i + 1][0] != '-') ++i;
      continue;
    }
    if (argument.starts_with(std::string(kSimulateOption) + "=") ||
        argument.starts_with("--screenshots="))
      continue;
    if (isQtOption(argument, takesValue)) {
      if (takesValue) {
        if (i + 1 >= arguments.size()) {
          check.action = vxAppAction::Refuse;
          check.message = "option " + argument + " needs a value";
          return check;
        }
        ++i;
      }
      continue;
    }
    check.action = vxAppAction::Refuse;
    check.message = argument.starts_with("-") ? "unknown option '" + argument + "'"
                                              : "unexpected argument '" + argument + "'";
    return check;
  }
  return check;
}

std::string vxAppUsage() {
  return "Usage: dcam-pralix [--simulate[=PROFILE,...]] [-legacy] [--help] [--version]\n"
         "\n"
         "DCAM Pralix, the diagnostic utility for IIDC (DCAM) cameras on IEEE 1394.\n"
         "\n"
         "  --simulate[=PROFILE,...]  add simulated cameras: the built-in profiles, or the\n"
         "                            profiles named (names or paths of JSON files)\n"
         "  -legacy                   list the Topology page in the older device order\n"
         "  --help                    show this help and exit\n"
         "  --version                 show the program's version and exit\n"
         "\n"
         "Qt's own options (-platform NAME, -style NAME, ...) are accepted too.\n"
         "The same work from a terminal or a script: pralix --help.\n";
}
