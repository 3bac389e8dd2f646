// The desktop program's command line: trimming, -legacy and --simulate.
#include "app/app_command_line.h"

#include <gtest/gtest.h>

#include "app/register_text.h"

namespace {

TEST(AppCommandLine, TrimsAndFindsLegacyAsCaseSensitiveSubstring) {
  const vxAppCommandLine padded = vxParseAppCommandLine("  \t-legacy  ");
  EXPECT_EQ(padded.text, "-legacy");
  EXPECT_TRUE(padded.legacy);
  EXPECT_TRUE(vxParseAppCommandLine("x-legacyy").legacy);
  EXPECT_TRUE(vxParseAppCommandLine("--simulate -legacy").legacy);
  EXPECT_FALSE(vxParseAppCommandLine("-LEGACY").legacy);
  EXPECT_FALSE(vxParseAppCommandLine("-leg acy").legacy);
  const vxAppCommandLine empty = vxParseAppCommandLine(" \t ");
  EXPECT_EQ(empty.text, "");
  EXPECT_FALSE(empty.legacy);
  EXPECT_EQ(vxJoinArguments({"a", "-legacy", "b"}), "a -legacy b");
}

TEST(AppCommandLine, SimulateOption) {
  EXPECT_FALSE(vxSimulateArgument({"-legacy"}).has_value());
  EXPECT_EQ(vxSimulateArgument({"--simulate"}), std::string());
  EXPECT_EQ(vxSimulateArgument({"--simulate", "-legacy"}), std::string());
  EXPECT_EQ(vxSimulateArgument({"--simulate=a,b"}), "a,b");
  EXPECT_EQ(vxSimulateArgument({"--simulate", "vga.json"}), "vga.json");
  EXPECT_FALSE(vxSimulateArgument({"--simulated"}).has_value());
}

TEST(AppCommandLine, ArgumentsBeforeAnyWindow) {
  auto action = [](std::vector<std::string> arguments) { return vxCheckAppArguments(arguments).action; };
  EXPECT_EQ(action({}), vxAppAction::Run);
  EXPECT_EQ(action({"--simulate", "korvane-kv640m", "-legacy"}), vxAppAction::Run);
  EXPECT_EQ(action({"--simulate=a,b", "--screenshots=/tmp/x"}), vxAppAction::Run);
  // The legacy switch stays a substring rule.
  EXPECT_EQ(action({"x-legacyy"}), vxAppAction::Run);
  // Qt's own options and their values pass.
  EXPECT_EQ(action({"-platform", "offscreen", "-style=fusion", "--reverse"}), vxAppAction::Run);
  EXPECT_EQ(action({"--simulate", "--help"}), vxAppAction::Help);
  EXPECT_EQ(action({"-h"}), vxAppAction::Help);
  EXPECT_EQ(action({"--version"}), vxAppAction::Version);

  const vxAppArgumentCheck unknown = vxCheckAppArguments({"--simulate", "--fast"});
  EXPECT_EQ(unknown.action, vxAppAction::Refuse);
  EXPECT_EQ(unknown.message, "unknown option '--fast'");
  // A word after --simulate is its profile list; a word anywhere else is not.
  EXPECT_EQ(vxCheckAppArguments({"-legacy", "stray"}).message, "unexpected argument 'stray'");
  EXPECT_EQ(vxCheckAppArguments({"-platform"}).message, "option -platform needs a value");
  EXPECT_EQ(action({"--version", "--bogus"}), vxAppAction::Refuse);

  const std::string usage = vxAppUsage();
  for (const char* option : {"--simulate[=PROFILE,...]", "-legacy", "--help", "--version"})
    EXPECT_NE(usage.find(option), std::string::npos) << option;
}

TEST(RegisterText, ScansHexAndRefusesText) {
  EXPECT_EQ(vxScanRegisterText("1f"), 0x1Fu);
  EXPECT_EQ(vxScanRegisterText(" 0xF0F00800"), 0xF0F00800u);
  EXPECT_EQ(vxScanRegisterText("800zz"), 0x800u);  // stops at the first non-digit
  // Only the low 32 bits reach a 32-bit register.
  EXPECT_EQ(vxScanRegisterText("123456789"), 0x23456789u);
  EXPECT_FALSE(vxScanRegisterText("").has_value());
  EXPECT_FALSE(vxScanRegisterText("xyz").has_value());
}

}  // namespace
