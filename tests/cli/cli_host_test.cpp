// pralix host and pralix topology on the fixture trees and the simulated bus.
#include <nlohmann/json.hpp>

#include "cli/run_pralix.h"
#include "support/test_paths.h"

namespace {

std::string fixtureEnv(const std::string& name) {
  const std::string dir = pralix_test::testDataDir() + "/sysfs/" + name;
  return "PRALIX_SYSFS_ROOT=" + dir + "/sys PRALIX_DEV_ROOT=" + dir + "/dev";
}

}  // namespace

TEST(CliHost, ReportsVersionsRowsAndAdaptersOfTheStation) {
  const Result r = pralix("host --json", fixtureEnv("ti-bridge-two-cameras"));
  ASSERT_EQ(r.status, 0) << r.err;
  const auto json = nlohmann::json::parse(r.out);
  EXPECT_EQ(json["versions"]["program"].get<std::string>().rfind("Qorvel DCAM Pralix version ", 0), 0u);
  ASSERT_EQ(json["devices"].size(), 2u);
  EXPECT_EQ(json["devices"][0]["friendlyName"], "Basler A602f");
  EXPECT_EQ(json["devices"][1]["status"], "OK");
  ASSERT_EQ(json["adapters"].size(), 1u);
  EXPECT_EQ(json["adapters"][0]["dmaChannels"], 4);
  EXPECT_EQ(json["adapters"][0]["parents"][0]["description"], "PCI to PCI bridge");
}

TEST(CliHost, AnUnreadableNodeFailsWithTheFileNamedAndKeepsTheRowFound) {
  const Result r = pralix("host", fixtureEnv("unreadable-node"));
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.out.find("Dragonfly"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("fw2.0/specifier_id"), std::string::npos) << r.out;
}

TEST(CliTopology, ShowsTheSimulatedAdapterWithItsCamerasInEitherOrder) {
  const Result r = pralix("--simulate topology --json", fixtureEnv("no-firewire"));
  ASSERT_EQ(r.status, 0) << r.err;
  const auto json = nlohmann::json::parse(r.out);
  ASSERT_EQ(json["adapters"].size(), 1u);
  EXPECT_TRUE(json["adapters"][0]["simulated"].get<bool>());
  EXPECT_EQ(json["adapters"][0]["dmaChannels"], 4);
  const auto& cameras = json["adapters"][0]["cameras"];
  ASSERT_GE(cameras.size(), 2u);
  for (std::size_t i = 1; i < cameras.size(); ++i)
    EXPECT_LT(cameras[i - 1]["nodeId"].get<int>(), cameras[i]["nodeId"].get<int>());
  const Result legacy = pralix("--simulate topology --legacy", fixtureEnv("no-firewire"));
  EXPECT_EQ(legacy.out.rfind("Legacy Ordering\n", 0), 0u) << legacy.out;
  const Result none = pralix("topology", fixtureEnv("no-firewire"));
  EXPECT_NE(none.out.find("modprobe firewire-ohci"), std::string::npos) << none.out;
}

TEST(CliBus, ShowsEachCamerasShareOfTheCycle) {
  Result r = pralix("--simulate=korvane-kv640m,tessaly-f7flex bus --json");
  ASSERT_EQ(r.status, 0) << r.err;
  const auto json = nlohmann::json::parse(r.out);
  ASSERT_EQ(json["buses"].size(), 1u);
  const auto& bus = json["buses"][0];
  EXPECT_EQ(bus["unitsPerCycle"], 4915);
  EXPECT_EQ(bus["usedUnits"], 0);
  ASSERT_EQ(bus["cameras"].size(), 2u);
  EXPECT_EQ(bus["cameras"][0]["bytesPerPacket"], 1152);
  EXPECT_EQ(bus["cameras"][0]["speed"], 400);
  EXPECT_EQ(bus["cameras"][1]["format"], "Format7 Mode 0 Mono");
  r = pralix("--simulate=korvane-kv640m bus");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("simulated bus:\n  0 Korvane Imaging KV-640M: idle, set to 640x480 Mono 30 FPS, 1152 bytes per "
                       "packet at S400, 23.7 %\n  in use 0.0 %, free 100.0 % of the cycle\n"),
            std::string::npos)
      << r.out;
}
