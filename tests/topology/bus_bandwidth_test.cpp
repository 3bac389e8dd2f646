// The isochronous load of a bus: packet sizes, bandwidth units, and the shortfall a second camera meets.
#include <gtest/gtest.h>

#include "acquisition/dcam_module.h"
#include "modules/qrvnvdcam/module.h"
#include "support/test_paths.h"
#include "topology/bus_bandwidth.h"

TEST(BusBandwidth, PacketSizesAndUnitsFollowTheIidcTables) {
  // A frame's bytes over the cycles of a frame period: 640x480 Mono8 at 30 fps
  // sends 307200 bytes in 266.7 cycles, 1152 bytes (288 quadlets) a packet.
  EXPECT_EQ(vxStandardBytesPerPacket(640, 480, 8, 30.0), 1152u);
  // Twice the bytes at half the rate: the same packets.
  EXPECT_EQ(vxStandardBytesPerPacket(640, 480, 16, 15.0), 1152u);
  // Rounded up to whole quadlets: 160x120 YUV 4:4:4 at 7.5 fps is 54 bytes a cycle, sent as 56.
  EXPECT_EQ(vxStandardBytesPerPacket(160, 120, 24, 7.5), 56u);
  EXPECT_EQ(vxStandardBytesPerPacket(640, 480, 8, 0.0), 0u);
  // Payload and the three quadlets of header and trailer, at four units a quadlet at S400.
  EXPECT_EQ(vxIsoPacketUnits(1152, 400), (288u + 3u) * 4u);
  EXPECT_EQ(vxIsoPacketUnits(1152, 800), (288u + 3u) * 2u);
  EXPECT_EQ(vxIsoPacketUnits(1152, 100), (288u + 3u) * 16u);
  EXPECT_GT(vxIsoPacketUnits(4096, 400), kIsoBandwidthUnits * 3 / 4);
}

TEST(BusBandwidth, StreamingCamerasUseTheCycleAndASecondOneIsToldWhy) {
  vx_ModuleOptions options;
  options.simulate = true;
  options.realBus = false;
  options.simulatedProfiles = {"korvane-kv640m", "tessaly-f7flex"};
  options.profileDirs = {pralix_test::profilesDir()};
  vx_QrvnvDcamModule module(options);
  std::vector<vxBusLoad> loads = vxReadBusLoads(module);
  ASSERT_EQ(loads.size(), 1u);
  ASSERT_EQ(loads[0].cameras.size(), 2u);
  EXPECT_EQ(loads[0].usedUnits, 0u);
  EXPECT_FALSE(loads[0].cameras[0].streaming);
  EXPECT_EQ(loads[0].cameras[0].bytesPerPacket, 1152u);  // power-on 640x480 Mono 30 FPS
  EXPECT_EQ(loads[0].cameras[0].format, "640x480 Mono 30 FPS");
  EXPECT_TRUE(vxBandwidthShortfall(loads[0], loads[0].cameras[1]).empty());

  ASSERT_TRUE(module.camera(0).writeQuadlet(0x614, 0x80000000u));
  loads = vxReadBusLoads(module);
  const vxBusLoad& bus = loads[0];
  EXPECT_TRUE(bus.cameras[0].streaming);
  EXPECT_EQ(bus.usedUnits, bus.cameras[0].units);
  EXPECT_EQ(bus.freeUnits(), kIsoBandwidthUnits - bus.cameras[0].units);
  const std::vector<std::string> lines = vxBusLoadLines(bus);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], "  0 Korvane Imaging KV-640M: streaming 640x480 Mono 30 FPS, 1152 bytes per packet at S400, 23.7 %");
  EXPECT_EQ(lines[2], "  in use 23.7 %, free 76.3 % of the cycle");
  // The Format_7 camera's full packets do not fit beside it.
  const std::string why = vxBandwidthShortfall(bus, bus.cameras[1]);
  EXPECT_EQ(why.rfind("The bus is out of isochronous bandwidth: camera 1 needs ", 0), 0u) << why;
  EXPECT_NE(why.find("only 76.3 % is free"), std::string::npos) << why;
}
