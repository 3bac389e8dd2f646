// The topology model on fixture trees: adapters, cameras on their bus, texts.
#include "topology/topology_model.h"

#include <gtest/gtest.h>

#include <regex>

#include "topology/device_monitor.h"
#include "support/test_paths.h"

namespace {

vxTopology scan(const std::string& name, bool legacy = false) {
  vxTopologyOptions options;
  options.legacyOrder = legacy;
  options.devRoot = pralix_test::testDataDir() + "/sysfs/" + name + "/dev";
  return vxScanTopology(vxSysfs(pralix_test::testDataDir() + "/sysfs/" + name + "/sys"), options);
}

}  // namespace

TEST(TopologyModel, PutsTheCamerasUnderTheAdapterWhoseBusTheyAreOn) {
  const vxTopology topology = scan("ti-bridge-two-cameras");
  EXPECT_EQ(topology.error, "");
  ASSERT_EQ(topology.adapters.size(), 1u);
  const vxTopologyAdapter& adapter = topology.adapters[0];
  EXPECT_EQ(adapter.localNode, "fw0");
  EXPECT_EQ(adapter.guid, 0x0011066600001234u);
  ASSERT_EQ(adapter.cameras.size(), 2u);
  EXPECT_EQ(adapter.cameras[0].model, "Flea2 FL2-08S2C");
  EXPECT_EQ(adapter.cameras[0].iidcVersion, "1.30");
  EXPECT_EQ(adapter.cameras[1].iidcVersion, "1.20");
  EXPECT_TRUE(adapter.cameras[0].accessible);
  EXPECT_FALSE(adapter.cameras[1].accessible);
  EXPECT_EQ(topology.log.size(), 3u);
  EXPECT_EQ(vxTopologyEmptyText(topology), "");

  const std::string detail = vxAdapterDetail(adapter);
  EXPECT_NE(detail.find("DMA channels: 4"), std::string::npos) << detail;
  EXPECT_NE(detail.find(kBandwidthSection), std::string::npos);
  const std::string camera = vxCameraDetail(adapter.cameras[1]);
  EXPECT_NE(camera.find("GUID: 0030530000112233"), std::string::npos) << camera;
  EXPECT_NE(camera.find("/dev/fw2 cannot be opened"), std::string::npos) << camera;
}

TEST(TopologyModel, SaysWhatIsMissingWhenThereIsNoAdapter) {
  EXPECT_NE(vxTopologyEmptyText(scan("no-firewire")).find("modprobe firewire-ohci"), std::string::npos);
  const vxTopology empty = scan("empty-bus");
  ASSERT_EQ(empty.adapters.size(), 1u);
  EXPECT_TRUE(empty.adapters[0].cameras.empty());
  const vxTopology unreadable = scan("unreadable-node");
  EXPECT_NE(unreadable.error.find("specifier_id"), std::string::npos);
  ASSERT_EQ(unreadable.adapters.size(), 1u);
  EXPECT_EQ(unreadable.adapters[0].cameras.size(), 1u);  // the camera found before stays
}

TEST(TopologyModel, TextsForSpeedsVersionsAndEvents) {
  EXPECT_EQ(vxLinkSpeedText(2), "S400");
  EXPECT_EQ(vxLinkSpeedText(7), "");
  EXPECT_EQ(vxIidcVersionText(0x102, 0x10), "1.31");
  EXPECT_EQ(vxIidcVersionText(0x103, 0), "unknown (0x103)");
  vxDeviceEvent event;
  event.node = "fw3";
  event.description = "Basler A602f";
  EXPECT_TRUE(std::regex_match(vxDeviceEventLine(event),
                               std::regex(R"(\d\d/\d\d-\d\d:\d\d:\d\d-:Device arrived: fw3 \(Basler A602f\))")));
  event.kind = vxDeviceEvent::Kind::Removed;
  event.description.clear();
  EXPECT_NE(vxDeviceEventLine(event).find("-:Device removed: fw3"), std::string::npos);
}
