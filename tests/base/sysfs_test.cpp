// The sysfs reader on the fixture trees, and its attribute parsers on odd texts.
#include "base/sysfs.h"

#include <gtest/gtest.h>

#include "support/test_paths.h"

namespace {

vxSysfs fixture(const std::string& name) {
  return vxSysfs(pralix_test::testDataDir() + "/sysfs/" + name + "/sys");
}

}  // namespace

TEST(SysfsParse, HexAttributesAsTheKernelWritesThemAndNothingElse) {
  EXPECT_EQ(vxSysfsParseHex("0x00a02d\n"), 0xA02Du);
  EXPECT_EQ(vxSysfsParseHex("  0X0C0010 "), 0x0C0010u);
  EXPECT_EQ(vxSysfsParseHex("104c"), 0x104Cu);
  EXPECT_EQ(vxSysfsParseHex("0xffffffffffffffff"), ~0ull);
  for (const char* odd : {"", "0x", "0x12 34", "zz", "0x1ffffffffffffffff", "-1", "0x12\n0x13"})
    EXPECT_FALSE(vxSysfsParseHex(odd)) << odd;
}

TEST(SysfsParse, ModaliasNeedsEveryFieldInItsPlace) {
  const auto alias = vxParseFwModalias("ieee1394:ven0000B09Dmo00000001sp0000A02Dver00000102\n");
  ASSERT_TRUE(alias);
  EXPECT_EQ(alias->vendor, 0xB09Du);
  EXPECT_EQ(alias->model, 1u);
  EXPECT_EQ(alias->specifier, 0xA02Du);
  EXPECT_EQ(alias->version, 0x102u);
  for (const char* odd : {"ieee1394:ven0000B09Dmo00000001sp0000A02Dver0000010",
                          "ieee1394:ven0000B09Dmo00000001sp0000A02Dver00000102x",
                          "pci:ven0000B09Dmo00000001sp0000A02Dver00000102", "ieee1394:ven0000B09D"})
    EXPECT_FALSE(vxParseFwModalias(odd)) << odd;
}

TEST(SysfsParse, PciAddressesAndNames) {
  const auto address = vxParsePciAddress("0000:05:1f.7");
  ASSERT_TRUE(address);
  EXPECT_EQ(address->bus, 5u);
  EXPECT_EQ(address->device, 0x1Fu);
  EXPECT_EQ(address->function, 7u);
  EXPECT_FALSE(vxParsePciAddress("0000:05:20.0"));  // 32 devices per bus
  EXPECT_FALSE(vxParsePciAddress("pci0000:00"));
  EXPECT_EQ(vxSysfsCleanName(std::string("Basler\x01\xff  \n", 11)), "Basler??");
}

TEST(Sysfs, ReadsListsAndResolvesBelowItsRoot) {
  const vxSysfs sysfs = fixture("ti-bridge-two-cameras");
  EXPECT_EQ(sysfs.readText("bus/firewire/devices/fw1/model_name"), "Flea2 FL2-08S2C");
  EXPECT_EQ(sysfs.readHex("bus/firewire/devices/fw1.0/specifier_id"), 0xA02Du);
  EXPECT_FALSE(sysfs.read("bus/firewire/devices/fw1/no_such_attribute"));
  EXPECT_EQ(sysfs.list("bus/firewire/devices"),
            (std::vector<std::string>{"fw0", "fw1", "fw1.0", "fw2", "fw2.0"}));
  EXPECT_TRUE(sysfs.list("bus/no_such_bus").empty());
  EXPECT_EQ(sysfs.resolve("bus/pci/devices/0000:05:00.0"),
            "devices/pci0000:00/0000:00:1e.0/0000:05:00.0");
  EXPECT_EQ(sysfs.linkName("bus/pci/devices/0000:05:00.0/driver"), "firewire_ohci");
  EXPECT_FALSE(sysfs.resolve("../../.."));  // outside the root
}

TEST(Sysfs, UnreadableAndOddAttributesThrowWithTheFileNamed) {
  const vxSysfs sysfs = fixture("unreadable-node");
  try {
    sysfs.read("bus/firewire/devices/fw2.0/specifier_id");
    FAIL() << "a folder read as an attribute";
  } catch (const vxSysfs::Error& e) {
    EXPECT_NE(e.message().find("fw2.0/specifier_id"), std::string::npos) << e.message();
    EXPECT_NE(e.code(), 0);
  }
  EXPECT_THROW(sysfs.readHex("bus/firewire/devices/fw1/model_name"), vxSysfs::Error);
}
