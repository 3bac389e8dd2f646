// Camera list entries and the bus-event bookkeeping they do on the module's thread.
#include "app/camera_list.h"

#include <gtest/gtest.h>

#include <mutex>
#include <thread>

#include "support/fake_camera.h"

namespace {

// Collects what the callback posts; the posting side runs on the event thread.
struct Posted {
  std::mutex mutex;
  std::vector<std::string> lines;
  std::vector<std::pair<int, vxDcamBusEventInfo>> events;
  std::thread::id postingThread;

  vxLogLinePost logWindow() {
    return [this](std::string line) {
      std::lock_guard lock(mutex);
      postingThread = std::this_thread::get_id();
      lines.push_back(std::move(line));
    };
  }
  vxBusEventPost acquisitionWindow() {
    return [this](int number, vxDcamBusEventInfo info) {
      std::lock_guard lock(mutex);
      events.emplace_back(number, info);
    };
  }
};

TEST(CameraList, OneEntryPerCameraWithItsCallbackForTheListsLife) {
  FakeModule module(3);
  {
    vxCameraList list(module);
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(module.callbackCount(), 3u);
    for (size_t i = 0; i < list.size(); ++i)
      EXPECT_EQ(list.entry(i)->cameraNumber(), static_cast<int>(i));
    EXPECT_EQ(list.entry(1)->displayName(), "Acme Cam1 (0000000000001001)");
    EXPECT_FALSE(list.entry(0)->isUnplugged());
    EXPECT_FALSE(list.entry(0)->hasAcquisitionWindow());
  }
  EXPECT_EQ(module.callbackCount(), 0u);
}

TEST(CameraList, UnplugSetsTheFlagCountsAndLogsOneLine) {
  FakeModule module(2);
  vxCameraList list(module);
  Posted posted;
  list.setLogWindow(posted.logWindow());

  module.fireBusEvent(1, FakeModule::unplugEvent());
  EXPECT_TRUE(list.entry(1)->isUnplugged());
  EXPECT_FALSE(list.entry(0)->isUnplugged());
  EXPECT_EQ(list.busStatistics().unplugCount, 1u);
  EXPECT_EQ(list.busStatistics().busResetCount, 0u);
  ASSERT_EQ(posted.lines.size(), 1u);
  EXPECT_EQ(posted.lines[0], "Bus Event [unplugged], dcamNo: 1 ");
  EXPECT_NE(posted.postingThread, std::this_thread::get_id());

  // The flag stays set even when the camera answers again.
  module.fake(1).setPlugged(true);
  module.fireBusEvent(1, FakeModule::busResetEvent(9));
  EXPECT_TRUE(list.entry(1)->isUnplugged());
}

TEST(CameraList, BusResetWithoutAcquisitionWindowGivesThreeLinesAndNoEvent) {
  FakeModule module(2);
  vxCameraList list(module);
  Posted posted;
  list.setLogWindow(posted.logWindow());

  module.fireBusEvent(0, FakeModule::busResetEvent(7));
  module.fireBusEvent(0, FakeModule::busResetEvent(8));
  module.fireBusEvent(1, FakeModule::busResetEvent(8));

  ASSERT_EQ(posted.lines.size(), 9u);
  EXPECT_EQ(posted.lines[0].rfind("Bus Event [bus reset], dcamNo: 0, dcamNodeNo: ", 0), 0u);
  EXPECT_TRUE(posted.lines[0].ends_with(", hostNodeNo: 2,")) << posted.lines[0];
  EXPECT_EQ(posted.lines[1], "    initiatorNodeNo: 1, busResetCount: 1, busNodeCount: 3,");
  EXPECT_EQ(posted.lines[2], "    busGenerationCount: 7");
  // The count in the log is the camera's own; the shared block counts all.
  EXPECT_EQ(posted.lines[4], "    initiatorNodeNo: 1, busResetCount: 2, busNodeCount: 3,");
  EXPECT_EQ(posted.lines[7], "    initiatorNodeNo: 1, busResetCount: 1, busNodeCount: 3,");
  EXPECT_TRUE(posted.events.empty());

  const vxBusStatistics& stats = list.busStatistics();
  EXPECT_EQ(stats.busResetCount, 3u);
  EXPECT_TRUE(stats.busResetSeen);
  EXPECT_EQ(stats.busGenerationCount, 8u);
  EXPECT_EQ(stats.busNodeCount, 3u);
  EXPECT_EQ(stats.hostNodeNo, 2u);
  EXPECT_EQ(stats.initiatorNodeNo, 1u);
  EXPECT_EQ(stats.unplugCount, 0u);
  EXPECT_EQ(list.entry(0)->busResetCount(), 2u);
  EXPECT_EQ(list.entry(1)->busResetCount(), 1u);
}

TEST(CameraList, EveryEventGoesToTheCamerasAcquisitionWindowOnly) {
  FakeModule module(2);
  vxCameraList list(module);
  Posted posted;
  list.entry(1)->setAcquisitionWindow(posted.acquisitionWindow());
  EXPECT_TRUE(list.entry(1)->hasAcquisitionWindow());

  module.fireBusEvent(0, FakeModule::busResetEvent(1));
  module.fireBusEvent(1, FakeModule::busResetEvent(2));
  vxDcamBusEventInfo other;
  other.eventFlags = 1u << 7;  // neither unplug nor reset: forwarded, not logged
  module.fireBusEvent(1, other);
  module.fireBusEvent(1, FakeModule::unplugEvent());

  ASSERT_EQ(posted.events.size(), 3u);
  EXPECT_EQ(posted.events[0].first, 1);
  EXPECT_EQ(posted.events[0].second.busGenerationCount, 2u);
  EXPECT_EQ(posted.events[1].second.eventFlags, 1u << 7);
  EXPECT_TRUE(posted.events[2].second.isUnplugged());
  EXPECT_EQ(list.entry(1)->busResetCount(), 1u);

  list.entry(1)->setAcquisitionWindow({});
  EXPECT_FALSE(list.entry(1)->hasAcquisitionWindow());
  module.fireBusEvent(1, FakeModule::busResetEvent(3));
  EXPECT_EQ(posted.events.size(), 3u);
}

TEST(CameraList, EventsFromManyThreadsAreAllCounted) {
  FakeModule module(1);
  vxCameraList list(module);
  Posted posted;
  list.setLogWindow(posted.logWindow());
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&module] {
      for (int i = 0; i < 50; ++i) module.fireBusEvent(0, FakeModule::busResetEvent(1));
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(list.entry(0)->busResetCount(), 200u);
  EXPECT_EQ(list.busStatistics().busResetCount, 200u);
  EXPECT_EQ(posted.lines.size(), 600u);
}

TEST(CameraList, NodeNumberOfAMissingCameraIsUnknown) {
  FakeModule module(1);
  EXPECT_EQ(vxCameraNodeNumber(module, 5), -1);
}

}  // namespace

TEST(CameraList, RefreshAppendsArrivalsAndRenewsReturningCamerasOnly) {
  FakeModule module(2);
  vxCameraList list(module);
  Posted posted;
  list.setLogWindow(posted.logWindow());
  const std::shared_ptr<vxCameraEntry> first = list.entry(0);
  const std::shared_ptr<vxCameraEntry> second = list.entry(1);

  // Nothing changed: the same entries stay.
  EXPECT_FALSE(list.refresh().changed());
  EXPECT_EQ(list.entry(0), first);

  // Camera 1 leaves; while it is gone, a refresh keeps its unplugged entry.
  module.fake(1).setPlugged(false);
  module.fireBusEvent(1, FakeModule::unplugEvent());
  ASSERT_TRUE(second->isUnplugged());
  EXPECT_FALSE(list.refresh().changed());
  EXPECT_EQ(list.entry(1), second);

  // A new camera arrives and camera 1 comes back: the new one is appended
  // under the next number, the returning one gets a fresh entry that
  // answers, and the old entry stays unplugged for whoever holds it.
  const int arrived = module.addCamera();
  module.fake(1).setPlugged(true);
  const vxCameraList::Refresh changes = list.refresh();
  EXPECT_EQ(changes.added, std::vector<int>{arrived});
  EXPECT_EQ(changes.renewed, std::vector<int>{1});
  ASSERT_EQ(list.size(), 3u);
  EXPECT_EQ(list.entry(0), first);
  EXPECT_NE(list.entry(1), second);
  EXPECT_EQ(list.entry(1)->cameraNumber(), 1);
  EXPECT_FALSE(list.entry(1)->isUnplugged());
  EXPECT_TRUE(second->isUnplugged());
  EXPECT_EQ(list.entry(2)->displayName(), "Acme Cam2 (0000000000001002)");
  // One callback per entry: the old entry no longer hears camera 1.
  EXPECT_EQ(module.callbackCount(), 3u);

  // The fresh entries log their events to the list's log window.
  module.fireBusEvent(1, FakeModule::unplugEvent());
  module.fireBusEvent(2, FakeModule::unplugEvent());
  EXPECT_TRUE(list.entry(1)->isUnplugged());
  std::lock_guard lock(posted.mutex);
  EXPECT_EQ(posted.lines.size(), 3u);
}

TEST(CameraList, AnotherCameraUnderAReturningNumberIsNotTakenForIt) {
  FakeModule module(1);
  vxCameraList list(module);
  module.fake(0).setPlugged(false);
  module.fireBusEvent(0, FakeModule::unplugEvent());
  // The bus layer hands number 0 to a camera with another GUID.
  module.fake(0).guid = 0xABCD;
  module.fake(0).setPlugged(true);
  EXPECT_FALSE(list.refresh().changed());
  EXPECT_TRUE(list.entry(0)->isUnplugged());
}
