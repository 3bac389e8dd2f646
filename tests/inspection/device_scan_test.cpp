// The Driver Install page's scan on the fixture trees.
#include "inspection/device_scan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <vector>

#include "support/test_paths.h"

namespace {

struct Fixture {
  explicit Fixture(const std::string& name)
      : dir(pralix_test::testDataDir() + "/sysfs/" + name), sysfs(dir + "/sys") {}
  vxDeviceScan scan() const {
    vxDeviceScanOptions options;
    options.devRoot = dir + "/dev";
    // A node that exists in the fixture counts as ours; root could open any.
    options.canReadWrite = [](const std::string& node) { return std::ifstream(node).good(); };
    return ScanDevices(sysfs, kDcamDeviceId, vxMatchMode::Exact, options);
  }
  std::string dir;
  vxSysfs sysfs;
};

}  // namespace

TEST(DeviceScan, ListsEveryCameraLastFoundFirstWithItsAccess) {
  const vxDeviceScan scan = Fixture("ti-bridge-two-cameras").scan();
  ASSERT_TRUE(scan.ok) << scan.error;
  EXPECT_TRUE(scan.busPresent);
  ASSERT_EQ(scan.rows.size(), 2u);
  const vxDcamDeviceRow& basler = scan.rows[0];  // fw2.0 was found after fw1.0
  EXPECT_EQ(basler.unit, "fw2.0");
  EXPECT_EQ(basler.status, "FAIL");  // no /dev/fw2 for us
  EXPECT_EQ(basler.friendlyName, "Basler A602f");
  const vxDcamDeviceRow& flea = scan.rows[1];
  EXPECT_EQ(flea.status, "OK");
  EXPECT_EQ(flea.driverName, "No driver installed");
  EXPECT_EQ(flea.deviceDescription, "ieee1394:ven0000B09Dmo00000000sp0000A02Dver00000102");
  EXPECT_EQ(flea.friendlyName, "Point Grey Research Flea2 FL2-08S2C");
  EXPECT_EQ(flea.manufacturer, "Point Grey Research");
  EXPECT_EQ(flea.deviceNode.substr(flea.deviceNode.size() - 8), "/dev/fw1");
}

TEST(DeviceScan, ShowsTheBoundDriverAsItIsNamedAndSkipsUnitsThatAreNoCamera) {
  const vxDeviceScan scan = Fixture("other-driver").scan();
  ASSERT_TRUE(scan.ok) << scan.error;
  ASSERT_EQ(scan.rows.size(), 2u);  // the SBP-2 disk is not listed
  EXPECT_EQ(scan.rows[0].unit, "fw2.0");
  EXPECT_EQ(scan.rows[0].friendlyName, "No driver installed");  // a ROM without names
  EXPECT_EQ(scan.rows[0].manufacturer, "");
  EXPECT_EQ(scan.rows[1].driverName, "QRVDCAM");
  EXPECT_EQ(scan.rows[1].friendlyName, "Qorvel QV-1");
}

TEST(DeviceScan, AnUnreadableAttributeStopsTheScanAndKeepsTheRowsFound) {
  const vxDeviceScan scan = Fixture("unreadable-node").scan();
  EXPECT_FALSE(scan.ok);
  EXPECT_NE(scan.error.find("fw2.0/specifier_id"), std::string::npos) << scan.error;
  ASSERT_EQ(scan.rows.size(), 1u);
  EXPECT_EQ(scan.rows[0].unit, "fw1.0");
}

TEST(DeviceScan, NoCameraOrNoStackGivesAnEmptyListWithoutMessage) {
  for (const char* name : {"empty-bus", "no-firewire"}) {
    const vxDeviceScan scan = Fixture(name).scan();
    EXPECT_TRUE(scan.ok) << name;
    EXPECT_TRUE(scan.rows.empty()) << name;
    EXPECT_EQ(scan.error, "") << name;
    EXPECT_EQ(scan.busPresent, std::string(name) == "empty-bus");
  }
}

TEST(DeviceScan, ExactMatchingIsWholeAndCaseSensitivePrefixMatchingIsNot) {
  EXPECT_TRUE(vxMatchesDeviceId("1394\\A02D", kDcamDeviceId, vxMatchMode::Exact));
  EXPECT_FALSE(vxMatchesDeviceId("1394\\a02d", kDcamDeviceId, vxMatchMode::Exact));
  EXPECT_FALSE(vxMatchesDeviceId("1394\\A02D&102", kDcamDeviceId, vxMatchMode::Exact));
  EXPECT_TRUE(vxMatchesDeviceId("1394\\a02d&102", kDcamDeviceId, vxMatchMode::Prefix));
  EXPECT_FALSE(vxMatchesDeviceId("1394\\A0", kDcamDeviceId, vxMatchMode::Prefix));
  EXPECT_EQ(vxUnitCompatibleIds(0xA02D, 0x102),
            (std::vector<std::string>{"1394\\A02D&102", "1394\\A02D"}));
  EXPECT_STREQ(vxDcamDeviceId(2), "1394\\A02D&0");
  EXPECT_EQ(vxDcamDeviceId(4), nullptr);
  EXPECT_EQ(vxDcamDeviceId(-1), nullptr);
}

// The rule file the package installs is the rule the Device Permissions
// dialog shows, and the desktop entry starts the program with its icon.
TEST(InstalledFiles, UdevRuleFileMatchesTheDialogAndTheDesktopEntryIsComplete) {
  std::ifstream rule(pralix_test::repoDataDir() + "/70-dcam-pralix.rules", std::ios::binary);
  ASSERT_TRUE(rule.good());
  const std::string text((std::istreambuf_iterator<char>(rule)), std::istreambuf_iterator<char>());
  EXPECT_EQ(text, kDcamUdevRule);
  EXPECT_NE(vxDevicePermissionsText("alice").find(kDcamUdevRule), std::string::npos);

  std::ifstream desktop(pralix_test::repoDataDir() + "/dcam-pralix.desktop");
  ASSERT_TRUE(desktop.good());
  std::string line;
  std::vector<std::string> lines;
  while (std::getline(desktop, line)) lines.push_back(line);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0], "[Desktop Entry]");
  for (const char* key : {"Type=Application", "Name=DCAM Pralix", "Exec=dcam-pralix", "Icon=dcam-pralix"})
    EXPECT_NE(std::find(lines.begin(), lines.end(), key), lines.end()) << key;
  std::ifstream icon(pralix_test::repoDataDir() + "/icons/dcam-pralix.svg");
  EXPECT_TRUE(icon.good());
}
