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
