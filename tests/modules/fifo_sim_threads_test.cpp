// Continuous acquisition on a worker thread while resets, unplugs and cancels come from another.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "sim_stream_util.h"

namespace {

using namespace std::chrono_literals;

// Waits up to five seconds for a counter to reach a value.
bool reaches(const std::atomic<int>& counter, int value) {
  const auto deadline = std::chrono::steady_clock::now() + 5s;
  while (counter.load() < value) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(2ms);
  }
  return true;
}

TEST(FifoSimThreads, ContinuousAcquisitionSurvivesResetsAndUnplugs) {
  SimModule rig({"korvane-kv640m", "tessaly-f7flex"}, 20.0);
  std::atomic<int> events{0};
  const int registration =
      rig.module().registerBusEventCallback(0, [&](const vxDcamBusEventInfo&) { ++events; });
  auto fifo = rig.fifo("640x480 Mono 30 FPS", vxTriggerModel::Kind::FreeRun);

  std::atomic<bool> stop{false};
  std::atomic<int> good{0}, gone{0}, timeouts{0};
  std::thread worker([&] {
    while (!stop) {
      vxAcqResult r = fifo->complete(0.1);
      if (r.succeeded()) {
        ++good;
      } else if (r.info.isAbnormal()) {
        ++gone;
        std::this_thread::sleep_for(1ms);
      } else if (r.info.isTimeOut()) {
        // After a bus reset the camera stands still until switched on again.
        ++timeouts;
        fifo->triggerProp().triggerEnable(false);
        fifo->triggerProp().triggerEnable(true);
      }
    }
  });

  ASSERT_TRUE(reaches(good, 5));
  for (int i = 0; i < 3; ++i) {
    rig.sim().busReset();
    const int before = good;
    EXPECT_TRUE(reaches(good, before + 3)) << "reset " << i;
    fifo->cancelComplete();
  }
  rig.sim().unplug(1);  // a reset seen by camera 0 as well
  rig.sim().unplug(0);
  EXPECT_TRUE(reaches(gone, 1));
  rig.sim().replug(0);
  const int before = good;
  EXPECT_TRUE(reaches(good, before + 3)) << "after replug";

  stop = true;
  fifo->cancelComplete();
  worker.join();
  rig.module().unregisterBusEventCallback(registration);
  EXPECT_GE(timeouts.load(), 1);
  EXPECT_GE(events.load(), 5);  // three resets, the other camera leaving, the unplug, ...
}

}  // namespace
