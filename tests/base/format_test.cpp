// Formatting and hexadecimal parsing helpers.
#include "base/format.h"

#include <gtest/gtest.h>

#include <string>

TEST(Format, GrowsPastTheSmallBuffer) {
  const std::string big(1000, 'x');
  EXPECT_EQ(vxFormat("<%s>", big.c_str()), "<" + big + ">");
  EXPECT_EQ(vxFormat("0x%08X", 0x1Fu), "0x0000001F");
  std::string out = "a";
  vxAppendFormat(out, "%d-%s", 7, "b");
  EXPECT_EQ(out, "a7-b");
}

TEST(ParseHex, AcceptsWhatTheRegisterPagesAccept) {
  unsigned long long v = 0;
  ASSERT_TRUE(vxParseHex("F0F00600", v));
  EXPECT_EQ(v, 0xF0F00600ull);
  ASSERT_TRUE(vxParseHex("  0x1f", v));
  EXPECT_EQ(v, 0x1Full);
  ASSERT_TRUE(vxParseHex("12zz", v));  // stops at the first non-digit, as %X does
  EXPECT_EQ(v, 0x12ull);
  ASSERT_TRUE(vxParseHex("FFFFFFFFFFFFFFFF", v));
  EXPECT_EQ(v, ~0ull);
}

TEST(ParseHex, RefusesTextWithoutDigitsAndLeavesTheValue) {
  unsigned long long v = 42;
  EXPECT_FALSE(vxParseHex("", v));
  EXPECT_FALSE(vxParseHex("xyz", v));
  EXPECT_FALSE(vxParseHex("x1", v));
  EXPECT_FALSE(vxParseHex("1FFFFFFFFFFFFFFFF", v));  // 17 digits do not fit
  EXPECT_EQ(v, 42ull);
}
