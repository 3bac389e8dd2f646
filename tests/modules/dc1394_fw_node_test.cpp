// Tests of the FireWire device node helpers: bus reset records, node discovery and the watcher thread.
#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <vector>

#include "modules/qrvnvdcam/dc1394/fw_node.h"

namespace {

namespace fs = std::filesystem;

fw_cdev_event_bus_reset resetEvent(uint32_t node, uint32_t local, uint32_t root, uint32_t generation) {
  fw_cdev_event_bus_reset reset{};
  reset.type = FW_CDEV_EVENT_BUS_RESET;
  // Node ids carry the local bus number 0x3FF in their top ten bits.
  reset.node_id = 0xFFC0 | node;
  reset.local_node_id = 0xFFC0 | local;
  reset.root_node_id = 0xFFC0 | root;
  reset.irm_node_id = 0xFFC0 | root;
  reset.bm_node_id = 0xFFC0 | root;
  reset.generation = generation;
  return reset;
}

TEST(FwBusReset, DecodesTheFiveWordRecord) {
  const vxDcamBusEventInfo info = vxBusEventFromReset(resetEvent(1, 3, 3, 17));
  EXPECT_EQ(info.eventFlags, vxDcamBusEventInfo::kBusReset);
  EXPECT_EQ(info.hostNodeNo, 3u);
  EXPECT_EQ(info.busNodeCount, 4u);
  EXPECT_EQ(info.busGenerationCount, 17u);
  EXPECT_EQ(info.initiatorNodeNo, kUnknownInitiatorNode);
  // A camera is root: the host is node 0 of three.
  const vxDcamBusEventInfo cameraRoot = vxBusEventFromReset(resetEvent(2, 0, 2, 5));
  EXPECT_EQ(cameraRoot.hostNodeNo, 0u);
  EXPECT_EQ(cameraRoot.busNodeCount, 3u);
  EXPECT_EQ(vxFwNodeNumber(resetEvent(2, 0, 2, 5).node_id), 2u);
  EXPECT_EQ(vxFwNodeNumber(0xFFFF), 63u);
}

class FwTree : public testing::Test {
 protected:
  void SetUp() override {
    m_root = fs::temp_directory_path() / ("pralix_fw_" + std::to_string(::getpid()) + "_" +
                                         testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dev());
    fs::create_directories(sys());
  }
  void TearDown() override { fs::remove_all(m_root); }
  std::string dev() const { return (m_root / "dev").string(); }
  std::string sys() const { return (m_root / "sys").string(); }
  void write(const fs::path& file, const std::string& text) {
    fs::create_directories(file.parent_path());
    std::ofstream(file) << text;
  }
  fs::path m_root;
};

TEST_F(FwTree, ProbesNodesInNumberOrderAndClassifiesThemByTheirUnits) {
  for (const char* name : {"fw10", "fw2", "fw0", "fw1", "fwx", "fw1.0", "video0"}) write(m_root / "dev" / name, "");
  write(m_root / "sys/fw0/units", "\n");                                     // the host adapter
  write(m_root / "sys/fw1/units", "0x00A02D:0x000102\n");                    // an IIDC 1.3x camera
  write(m_root / "sys/fw2/units", "0x00609e:0x010483 0x00a02d:0x000101\n");  // a second unit is IIDC
  const auto probes = vxProbeFwNodes(dev(), sys());
  ASSERT_EQ(probes.size(), 4u);
  EXPECT_EQ(fs::path(probes[0].path).filename(), "fw0");
  EXPECT_EQ(fs::path(probes[1].path).filename(), "fw1");
  EXPECT_EQ(fs::path(probes[2].path).filename(), "fw2");
  EXPECT_EQ(fs::path(probes[3].path).filename(), "fw10");
  EXPECT_EQ(probes[0].kind, vx_FwNodeProbe::Kind::Other);
  EXPECT_EQ(probes[1].kind, vx_FwNodeProbe::Kind::Camera);
  EXPECT_EQ(probes[2].kind, vx_FwNodeProbe::Kind::Camera);
  EXPECT_EQ(probes[3].kind, vx_FwNodeProbe::Kind::Unknown);
  for (const auto& probe : probes) EXPECT_EQ(probe.openError, 0) << probe.path;
}

TEST_F(FwTree, MissingNodeDirectoryMeansNoNodes) {
  EXPECT_TRUE(vxProbeFwNodes((m_root / "nowhere").string(), sys()).empty());
}

TEST_F(FwTree, FindsTheNodeOfAGuid) {
  write(m_root / "sys/fw0/guid", "0x0000000000000001\n");
  write(m_root / "sys/fw3/guid", "0x00b09d0100a1b2c3\n");
  write(m_root / "sys/fw3.0/units", "0x00a02d:0x000102\n");  // a unit directory has no guid
  write(m_root / "sys/fw4/guid", "garbage\n");
  EXPECT_EQ(vxFwNodeForGuid(0x00B09D0100A1B2C3ull, sys(), "/dev"), "/dev/fw3");
  EXPECT_EQ(vxFwNodeForGuid(1, sys(), "/dev"), "/dev/fw0");
  EXPECT_EQ(vxFwNodeForGuid(0x0814436100003DA9ull, sys(), "/dev"), "");
  EXPECT_EQ(vxFwNodeForGuid(1, (m_root / "nowhere").string(), "/dev"), "");
}

// Collects what a watcher reports, for a test thread to wait on.
struct Reports {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::pair<int, fw_cdev_event_bus_reset>> resets;
  std::vector<int> gone;

  template <typename Pred>
  bool waitFor(Pred pred) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, std::chrono::seconds(5), pred);
  }
};

// A pipe stands in for a device node: the kernel's events are whole records
// read from the descriptor, and a removed device hangs up.
struct FakeNode {
  FakeNode() { EXPECT_EQ(::pipe(fds), 0); }
  ~FakeNode() {
    if (fds[1] >= 0) ::close(fds[1]);
  }
  int takeReadEnd() {
    const int fd = fds[0];
    fds[0] = -1;
    return fd;
  }
  void send(const void* data, size_t size) { ASSERT_EQ(::write(fds[1], data, size), static_cast<ssize_t>(size)); }
  void unplug() {
    ::close(fds[1]);
    fds[1] = -1;
  }
  int fds[2] = {-1, -1};
};

TEST(FwNodeWatcher, ReportsBusResetsAndRemovalsPerNode) {
  Reports reports;
  vx_FwNodeWatcher watcher(
      [&](int index, const fw_cdev_event_bus_reset& reset) {
        std::lock_guard lock(reports.mutex);
        reports.resets.emplace_back(index, reset);
        reports.changed.notify_all();
      },
      [&](int index) {
        std::lock_guard lock(reports.mutex);
        reports.gone.push_back(index);
        reports.changed.notify_all();
      });
  FakeNode first;
  FakeNode second;
  watcher.add(4, first.takeReadEnd());
  watcher.add(7, second.takeReadEnd());
  ASSERT_TRUE(watcher.start());

  const fw_cdev_event_bus_reset reset = resetEvent(1, 2, 2, 9);
  second.send(&reset, sizeof reset);
  ASSERT_TRUE(reports.waitFor([&] { return reports.resets.size() == 1; }));
  {
    std::lock_guard lock(reports.mutex);
    EXPECT_EQ(reports.resets[0].first, 7);
    EXPECT_EQ(reports.resets[0].second.generation, 9u);
    EXPECT_EQ(reports.resets[0].second.node_id, reset.node_id);
  }

  // Events of other kinds are read and passed over.
  fw_cdev_event_bus_reset other = resetEvent(0, 0, 0, 0);
  other.type = FW_CDEV_EVENT_RESPONSE;
  first.send(&other, sizeof other);
  first.unplug();
  ASSERT_TRUE(reports.waitFor([&] { return reports.gone.size() == 1; }));
  // A removed node is reported once and the other keeps reporting.
  const fw_cdev_event_bus_reset later = resetEvent(1, 2, 2, 10);
  second.send(&later, sizeof later);
  ASSERT_TRUE(reports.waitFor([&] { return reports.resets.size() == 2; }));
  std::lock_guard lock(reports.mutex);
  EXPECT_EQ(reports.gone, std::vector<int>{4});
  EXPECT_EQ(reports.resets[1].second.generation, 10u);
  EXPECT_EQ(reports.resets.size(), 2u);
}

TEST(FwNodeWatcher, StopsWithNodesStillOpen) {
  FakeNode node;
  int gone = 0;
  auto watcher = std::make_unique<vx_FwNodeWatcher>(nullptr, [&](int) { ++gone; });
  watcher->add(0, node.takeReadEnd());
  ASSERT_TRUE(watcher->start());
  watcher.reset();
  // Stopping is not an unplug.
  EXPECT_EQ(gone, 0);
}

}  // namespace
