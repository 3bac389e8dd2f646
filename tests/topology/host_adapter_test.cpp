// Host adapter discovery: identifier parsing, the name tables, the parent walk on fixture trees.
#include "topology/host_adapter.h"

#include <gtest/gtest.h>

#include "support/test_paths.h"

namespace {

vxSysfs fixture(const std::string& name) {
  return vxSysfs(pralix_test::testDataDir() + "/sysfs/" + name + "/sys");
}

struct Discovered {
  HostAdapterInfo adapter;
  std::vector<std::string> log;
  bool result = false;
};

Discovered discover(const vxSysfs& sysfs, const std::string& instance) {
  Discovered d;
  d.adapter.deviceInstance = instance;
  d.adapter.log = [&d](const std::string& line) { d.log.push_back(line); };
  d.result = d.adapter.Discover(sysfs);
  d.adapter.log = nullptr;
  return d;
}

}  // namespace

TEST(HostAdapter, TheTiIdentifierGivesItsIdsNamesAndChannels) {
  HostAdapterInfo adapter;
  adapter.ParseDeviceId("PCI\\VEN_104C&DEV_8023&SUBSYS_8010104C&REV_00");
  EXPECT_EQ(adapter.vendorId, 0x104Cu);
  EXPECT_EQ(adapter.deviceId, 0x8023u);
  EXPECT_EQ(adapter.subsystemId, 0x8010104Cu);
  EXPECT_EQ(adapter.subsystemVendorId, 0x104Cu);
  adapter.LookUpDevice();
  EXPECT_EQ(adapter.dmaChannels, 4u);
  EXPECT_EQ(adapter.DeviceName(adapter.deviceId),
            "TSB43AB22A 1394a OHCI PHY/Link-Layer Controller, 2-port PHY");
  EXPECT_EQ(adapter.ShortDeviceName(), "TSB43AB22A");
}

TEST(HostAdapter, IdentifiersLackingAKeyAreReadWhereTheFailedSearchPoints) {
  HostAdapterInfo adapter;
  // Without "DEV_" the device id is read from position 3, "\VEN": no digit, 0.
  adapter.ParseDeviceId("PCI\\VEN_104C&SUBSYS_8010104C");
  EXPECT_EQ(adapter.vendorId, 0x104Cu);
  EXPECT_EQ(adapter.deviceId, 0u);
  // Without "SUBSYS_" the subsystem is read from position 6 ("N_10": no
  // digit) and its vendor from position 10 ("C0&D": 0xC0).
  adapter.ParseDeviceId("PCI\\VEN_10C0&DEV_8023");
  EXPECT_EQ(adapter.subsystemId, 0u);
  EXPECT_EQ(adapter.subsystemVendorId, 0xC0u);
  adapter.ParseDeviceId("");
  EXPECT_EQ(adapter.vendorId, 0u);
  EXPECT_EQ(adapter.subsystemId, 0u);
}

TEST(HostAdapter, NameTablesHoldTheirRowsInOrderAndNameTheUnknown) {
  ASSERT_EQ(PciVendorTable().size(), 18u);
  ASSERT_EQ(PciDeviceTable().size(), 11u);
  EXPECT_STREQ(PciVendorTable().back().name, "Acer Labs Incorporated");
  EXPECT_EQ(PciDeviceTable()[6].count2, 2u);
  EXPECT_EQ(PciDeviceTable()[9].dmaChannels, 8u);  // FW323
  HostAdapterInfo adapter;
  EXPECT_EQ(adapter.VendorName(0x1968), "Point Grey Research");
  EXPECT_EQ(adapter.VendorName(kQorvelPciVendorId), "Qorvel");
  EXPECT_EQ(adapter.VendorName(0xABCD), "Unknown vendor (VID: 0xABCD)");
  EXPECT_EQ(adapter.DeviceName(0), "Unspecified device");
  EXPECT_EQ(adapter.DeviceName(0x1234), "Unknown device (DID: 0x1234)");
}

TEST(HostAdapter, DiscoversTheAdapterBehindABridgeUpToThePciRoot) {
  const vxSysfs sysfs = fixture("ti-bridge-two-cameras");
  const auto adapters = vxFindHostAdapters(sysfs);
  ASSERT_EQ(adapters, std::vector<std::string>{"devices/pci0000:00/0000:00:1e.0/0000:05:00.0"});
  const Discovered d = discover(sysfs, adapters[0]);
  EXPECT_TRUE(d.result);
  EXPECT_EQ(d.adapter.deviceIdText, "PCI\\VEN_104C&DEV_8023&SUBSYS_8010104C&REV_00");
  EXPECT_EQ(d.log, (std::vector<std::string>{
                       "Found Texas Instruments IEEE 1394 adapter", "   Device vendor: Texas Instruments",
                       "   Device name: TSB43AB22A 1394a OHCI PHY/Link-Layer Controller, 2-port PHY"}));
  EXPECT_EQ(d.adapter.location, "PCI bus 5, device 0, function 0");
  EXPECT_TRUE(d.adapter.pciRootReached);
  EXPECT_FALSE(d.adapter.rootReached);
  ASSERT_EQ(d.adapter.parents.size(), 1u);  // the bridge; the root bus is not recorded
  EXPECT_EQ(d.adapter.parents[0].deviceId, "PCI\\VEN_8086&DEV_244E&SUBSYS_00000000&REV_D5");
  EXPECT_EQ(d.adapter.parents[0].description, "PCI to PCI bridge");
}

TEST(HostAdapter, AnUnknownAdapterIsNamedByItsIdsAndHasNoChannels) {
  const vxSysfs sysfs = fixture("unknown-adapter");
  const Discovered d = discover(sysfs, "devices/pci0000:00/0000:00:0a.0");
  EXPECT_TRUE(d.result);
  EXPECT_EQ(d.adapter.dmaChannels, 0u);
  ASSERT_EQ(d.log.size(), 3u);
  EXPECT_EQ(d.log[0], "Found Unknown vendor (VID: 0x1234) IEEE 1394 adapter");
  EXPECT_EQ(d.log[2], "   Device name: Unknown device (DID: 0xABCD)");
  EXPECT_TRUE(d.adapter.parents.empty());
}

TEST(HostAdapter, ADeviceThatIsNoHostControllerIsNotDescribedButItsParentsAreWalked) {
  const vxSysfs sysfs = fixture("ti-bridge-two-cameras");
  Discovered d = discover(sysfs, "devices/pci0000:00/0000:00:1e.0/0000:05:00.0/fw1");
  EXPECT_FALSE(d.result);
  EXPECT_TRUE(d.log.empty());
  ASSERT_EQ(d.adapter.parents.size(), 2u);  // nearest first: the adapter, then the bridge
  EXPECT_EQ(d.adapter.parents[0].hardwareId, "PCI\\VEN_104C&DEV_8023&SUBSYS_8010104C");
  EXPECT_EQ(d.adapter.parents[1].location, "PCI bus 0, device 30, function 0");

  // A device straight under the device root ends the walk there.
  d = discover(sysfs, "devices/platform");
  EXPECT_TRUE(d.adapter.rootReached);
  EXPECT_TRUE(d.adapter.parents.empty());
}

TEST(HostAdapter, AParentThatCannotBeAskedEndsTheWalkWithItsCode) {
  const vxSysfs sysfs = fixture("ti-bridge-two-cameras");
  const Discovered d = discover(sysfs, "devices/pci0000:00/0000:00:1e.0/gone/0000:06:00.0");
  ASSERT_EQ(d.log.size(), 1u);
  EXPECT_EQ(d.log[0], "Get_Parent failed: 0x2");  // ENOENT
  EXPECT_TRUE(d.adapter.parents.empty());
}

TEST(HostAdapter, AMissingDeviceListMakesDiscoveryFail) {
  const Discovered d = discover(vxSysfs(pralix_test::testDataDir() + "/sysfs/no-such-tree"), "devices/x");
  EXPECT_TRUE(vxFindHostAdapters(fixture("no-firewire")).empty());
  EXPECT_FALSE(d.result);
}
