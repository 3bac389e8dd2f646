// The desktop program's command line: the trimmed text, the "-legacy"
// switch and the --simulate option.
#pragma once

#include <optional>
#include <string>
#include <vector>

constexpr const char* kLegacySwitch = "-legacy";

struct vxAppCommandLine {
  std::string text;     // the command line, blanks trimmed at both ends
  bool legacy = false;  // "-legacy" occurs anywhere in it
};

// The legacy switch is a plain, case-sensitive substring search of the
// trimmed text: " -legacy " and "x-legacyy" both set it, "-LEGACY" does not.
vxAppCommandLine vxParseAppCommandLine(const std::string& commandLine);

// The arguments (without the program name) joined as one command line.
std::string vxJoinArguments(const std::vector<std::string>& arguments);

// The value of --simulate as pralix takes it: "--simulate=LIST",
// "--simulate LIST", or a bare "--simulate" ("" = the built-in profiles);
// nullopt when the option is absent.
std::optional<std::string> vxSimulateArgument(const std::vector<std::string>& arguments);

// What the program's arguments ask for before any window opens.
enum class vxAppAction { Run, Help, Version, Refuse };

struct vxAppArgumentCheck {
  vxAppAction action = vxAppAction::Run;
  std::string message;  // with Refuse: what was wrong, for standard error
};

// Looks at every argument as main() receives them (Qt's own options, such as
// "-platform offscreen", included). Known: --simulate in its three forms,
// anything holding "-legacy" (the legacy switch is a substring rule),
// --help/-h, --version, --screenshots=DIR, and Qt's options. Anything else
// that starts with '-', or a word that is no option's value, is refused.
vxAppArgumentCheck vxCheckAppArguments(const std::vector<std::string>& arguments);

// The --help text.
std::string vxAppUsage();
