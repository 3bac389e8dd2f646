// The module over its bus layers: camera list, numbering, bus events on the module's thread.
#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "modules/qrvnvdcam/module.h"
#include "modules/qrvnvdcam/sim/sim_bus.h"
#include "sim_test_util.h"

namespace {

vx_ModuleOptions simulateOptions(std::vector<std::string> profiles = {}) {
  vx_ModuleOptions options;
  options.simulate = true;
  options.realBus = false;
  options.simulatedProfiles = std::move(profiles);
  options.profileDirs = {shippedProfileDir()};
  return options;
}

// Collects what one registration hears: bus events of a camera, or the
// module's presence events, with the thread each came on.
template <typename Event>
class CallbackLog {
 public:
  std::function<void(const Event&)> callback() {
    return [this](const Event& event) {
      std::lock_guard lock(m_mutex);
      m_events.push_back(event);
      m_threads.push_back(std::this_thread::get_id());
      m_changed.notify_all();
    };
  }
  // The events once there are at least count of them (or after 5 s).
  std::vector<Event> waitFor(size_t count) {
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, std::chrono::seconds(5), [&] { return m_events.size() >= count; });
    return m_events;
  }
  std::vector<std::thread::id> threads() {
    std::lock_guard lock(m_mutex);
    return m_threads;
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_changed;
  std::vector<Event> m_events;
  std::vector<std::thread::id> m_threads;
};
using EventLog = CallbackLog<vxDcamBusEventInfo>;
using PresenceLog = CallbackLog<vxDcamPresenceEvent>;

// A bus layer standing in for real cameras ahead of the simulated bus.
class FixedLayer final : public vx_BusLayer {
 public:
  std::string name() const override { return "fixed"; }
  std::string description() const override { return "fixed bus: 2 cameras"; }
  int cameraCount() const override { return 2; }
  vxDcamIdentity identity(int index) const override {
    vxDcamIdentity id;
    id.model = "fixed " + std::to_string(index);
    id.busLayer = name();
    return id;
  }
  bool isPlugged(int) const override { return true; }
  int nodeNumber(int index) const override { return index; }
  bool readQuadlet(int index, uint32_t, uint32_t& value, std::string*) override {
    value = 0x1000u + static_cast<uint32_t>(index);
    return true;
  }
  bool writeQuadlet(int, uint32_t, uint32_t, std::string*) override { return false; }
  void setEventSink(EventSink) override {}
  void setCameraNumber(int, int) override {}
};

}  // namespace

TEST(QrvnvDcamModule, BuiltInProfilesMakeThreeSimulatedCameras) {
  vx_QrvnvDcamModule module(simulateOptions());
  EXPECT_EQ(module.name(), "qrvnvdcam");
  ASSERT_EQ(module.cameraCount(), 3);
  EXPECT_EQ(module.busLayers(), std::vector<std::string>{"simulated bus: 3 cameras"});
  EXPECT_TRUE(module.notices().empty());
  for (int n = 0; n < 3; ++n) {
    vx1394DCAM& camera = module.camera(n);
    EXPECT_EQ(camera.cameraNumber(), n);
    EXPECT_EQ(camera.identity().busLayer, "simulated");
    EXPECT_EQ(module.nodeNumber(n), n);
    EXPECT_EQ(camera.nodeNumber(), n);
  }
  EXPECT_THROW(module.camera(3), vx_DcamModule::Error);
  EXPECT_THROW(module.camera(-1), vx_DcamModule::Error);
  ASSERT_NE(module.simControl(), nullptr);
  EXPECT_EQ(module.simControl()->profileName(1), "tessaly-f7flex");
}

TEST(QrvnvDcamModule, ProfilesByNameOrPathAndBadOnesRefused) {
  vx_QrvnvDcamModule module(
      simulateOptions({"orbel-ux1600b", shippedProfileDir() + "/korvane-kv640m.json"}));
  ASSERT_EQ(module.cameraCount(), 2);
  EXPECT_EQ(module.camera(0).identity().model, "UX-1600B");
  EXPECT_EQ(module.camera(1).identity().model, "KV-640M");
  // A bad profile is refused on its own; the module runs with the others.
  vx_QrvnvDcamModule partly(simulateOptions({"no-such-camera", "orbel-ux1600b"}));
  ASSERT_EQ(partly.cameraCount(), 1);
  EXPECT_EQ(partly.camera(0).identity().model, "UX-1600B");
  ASSERT_EQ(partly.refusedProfiles().size(), 1u);
  EXPECT_NE(partly.refusedProfiles()[0].find("no-such-camera"), std::string::npos)
      << partly.refusedProfiles()[0];
  EXPECT_TRUE(module.refusedProfiles().empty());
}

TEST(QrvnvDcamModule, WithoutAnyBusLayerThereAreNoCameras) {
  vx_ModuleOptions options;
  options.realBus = false;
  vx_QrvnvDcamModule module(options);
  EXPECT_EQ(module.cameraCount(), 0);
  EXPECT_EQ(module.simControl(), nullptr);
  EXPECT_TRUE(module.busLayers().empty());
  EXPECT_THROW(module.camera(0), vx_DcamModule::Error);
#ifndef PRALIX_HAVE_DC1394
  // Asking for real cameras from a module without their bus layer says what to do instead.
  options.realBus = true;
  vx_QrvnvDcamModule withoutReal(options);
  ASSERT_EQ(withoutReal.notices().size(), 1u);
  EXPECT_NE(withoutReal.notices()[0].find("--simulate"), std::string::npos);
#endif
}

TEST(QrvnvDcamModuleEvents, BusResetReachesEveryCameraOnTheModuleThread) {
  EventLog first, second;  // outlive the module, whose thread calls them
  vx_QrvnvDcamModule module(simulateOptions());
  module.registerBusEventCallback(0, first.callback());
  module.registerBusEventCallback(2, second.callback());
  module.simControl()->busReset();
  for (EventLog* log : {&first, &second}) {
    const auto events = log->waitFor(1);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_TRUE(events[0].isBusReset());
    EXPECT_FALSE(events[0].isUnplugged());
    EXPECT_EQ(events[0].hostNodeNo, 3u);  // the host follows the three cameras
    EXPECT_EQ(events[0].initiatorNodeNo, 3u);
    EXPECT_EQ(events[0].busNodeCount, 4u);
    EXPECT_EQ(events[0].busGenerationCount, 2u);
    EXPECT_NE(log->threads()[0], std::this_thread::get_id());
  }
  EXPECT_THROW(module.registerBusEventCallback(3, first.callback()), vx_DcamModule::Error);
}

TEST(QrvnvDcamModuleEvents, UnplugAndReplug) {
  EventLog gone, other;
  vx_QrvnvDcamModule module(simulateOptions());
  vx_SimBusControl& control = *module.simControl();
  module.registerBusEventCallback(1, gone.callback());
  module.registerBusEventCallback(2, other.callback());
  uint32_t value = 0;
  ASSERT_TRUE(module.camera(1).writeQuadlet(0x800, 0x82000050u));

  control.unplug(1);
  control.unplug(1);  // already gone: nothing more happens
  auto events = gone.waitFor(1);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].eventFlags, vxDcamBusEventInfo::kUnplugged);
  EXPECT_FALSE(module.camera(1).isPlugged());
  EXPECT_FALSE(control.isPlugged(1));
  std::string error;
  EXPECT_FALSE(module.camera(1).readQuadlet(0x800, value, &error));
  EXPECT_NE(error.find("unplugged"), std::string::npos);
  EXPECT_EQ(module.cameraCount(), 3);  // numbers stay valid
  EXPECT_EQ(module.nodeNumber(1), -1);
  EXPECT_EQ(module.nodeNumber(2), 1);
  events = other.waitFor(1);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_TRUE(events[0].isBusReset());
  EXPECT_EQ(events[0].busNodeCount, 3u);
  EXPECT_EQ(events[0].hostNodeNo, 2u);

  control.replug(1);
  events = gone.waitFor(2);
  ASSERT_EQ(events.size(), 2u);
  EXPECT_TRUE(events[1].isBusReset());
  EXPECT_EQ(events[1].initiatorNodeNo, 1u);  // the camera that came back
  EXPECT_EQ(events[1].busGenerationCount, 3u);
  ASSERT_TRUE(module.camera(1).readQuadlet(0x800, value));
  EXPECT_EQ(value & 0xFFFu, 64u);  // power-on value again
}

TEST(QrvnvDcamModuleEvents, UnregisteredCallbacksHearNothingMore) {
  EventLog dropped, kept;
  vx_QrvnvDcamModule module(simulateOptions());
  const int id = module.registerBusEventCallback(0, dropped.callback());
  module.registerBusEventCallback(0, kept.callback());
  module.simControl()->busReset();
  ASSERT_EQ(kept.waitFor(1).size(), 1u);
  module.unregisterBusEventCallback(id);
  module.simControl()->busReset();
  ASSERT_EQ(kept.waitFor(2).size(), 2u);
  EXPECT_EQ(dropped.waitFor(1).size(), 1u);
}

TEST(QrvnvDcamModuleEvents, SimulatedCamerasFollowRealOnesInNumbering) {
  EventLog log;
  std::vector<vx_SimProfile> profiles;
  profiles.push_back(shippedProfile("korvane-kv640m"));
  std::vector<std::unique_ptr<vx_BusLayer>> layers;
  layers.push_back(std::make_unique<FixedLayer>());
  layers.push_back(std::make_unique<vx_SimBus>(std::move(profiles)));
  vx_QrvnvDcamModule module(std::move(layers));
  ASSERT_EQ(module.cameraCount(), 3);
  uint32_t value = 0;
  ASSERT_TRUE(module.camera(1).readQuadlet(0, value));
  EXPECT_EQ(value, 0x1001u);
  EXPECT_EQ(module.camera(2).identity().vendor, "Korvane Imaging");

  vx_SimBusControl& control = *module.simControl();
  EXPECT_EQ(control.cameraNumbers(), std::vector<int>{2});
  module.registerBusEventCallback(2, log.callback());
  control.unplug(0);  // not a simulated camera: ignored
  EXPECT_TRUE(module.camera(0).isPlugged());
  control.setReadFault(2, 0x100, true);
  EXPECT_FALSE(module.camera(2).readQuadlet(0x100, value));
  EXPECT_EQ(control.transactionCount(2), 1u);
  EXPECT_EQ(control.transactionCount(0), 0u);
  control.unplug(2);
  const auto events = log.waitFor(1);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_TRUE(events[0].isUnplugged());
}

TEST(QrvnvDcamModuleArrivals, ANewSimulatedCameraTakesTheNextNumberAndIsAnnounced) {
  EventLog existing;
  PresenceLog presence;
  std::vector<vx_SimProfile> profiles;
  profiles.push_back(shippedProfile("korvane-kv640m"));
  std::vector<std::unique_ptr<vx_BusLayer>> layers;
  layers.push_back(std::make_unique<FixedLayer>());
  layers.push_back(std::make_unique<vx_SimBus>(std::move(profiles), std::vector<std::string>{shippedProfileDir()}));
  vx_QrvnvDcamModule module(std::move(layers));
  vx_SimBusControl& control = *module.simControl();
  module.registerBusEventCallback(2, existing.callback());
  module.registerPresenceCallback(presence.callback());

  const std::vector<std::string> offered = control.availableProfiles();
  EXPECT_NE(std::find(offered.begin(), offered.end(), "mirelle-mo320c"), offered.end());
  EXPECT_TRUE(std::is_sorted(offered.begin(), offered.end()));

  std::string error;
  const int number = control.plugNew("mirelle-mo320c", &error);
  ASSERT_EQ(number, 3) << error;
  EXPECT_EQ(module.cameraCount(), 4);
  EXPECT_EQ(module.camera(3).identity().vendor, "Mirelle Optics");
  EXPECT_EQ(module.camera(2).identity().vendor, "Korvane Imaging");  // numbers handed out stay
  EXPECT_EQ(control.cameraNumbers(), (std::vector<int>{2, 3}));
  EXPECT_EQ(control.profileName(3), "mirelle-mo320c");
  EXPECT_EQ(module.nodeNumber(3), 1);
  uint32_t value = 0;
  EXPECT_TRUE(module.camera(3).readQuadlet(0x800, value));
  // The controls reach the new camera by its number.
  control.setReadFault(3, 0x800, true);
  EXPECT_FALSE(module.camera(3).readQuadlet(0x800, value));
  EXPECT_TRUE(module.camera(2).readQuadlet(0x800, value));
  control.clearFaults(3);

  // The camera already there saw the reset its arrival made.
  auto resets = existing.waitFor(1);
  ASSERT_EQ(resets.size(), 1u);
  EXPECT_TRUE(resets[0].isBusReset());
  EXPECT_EQ(resets[0].busNodeCount, 3u);
  EXPECT_EQ(resets[0].initiatorNodeNo, 1u);

  control.unplug(3);
  control.replug(3);
  const auto events = presence.waitFor(3);
  ASSERT_EQ(events.size(), 3u);
  EXPECT_TRUE(events[0].cameraNumber == 3 && events[0].arrived && events[0].isNew);
  EXPECT_TRUE(events[1].cameraNumber == 3 && !events[1].arrived);
  EXPECT_TRUE(events[2].cameraNumber == 3 && events[2].arrived && !events[2].isNew);
  EXPECT_EQ(module.cameraCount(), 4);  // a return is no new camera
}

TEST(QrvnvDcamModuleArrivals, AProfileThatCannotBeFoundOrABusWithoutRoomIsRefused) {
  vx_QrvnvDcamModule module(simulateOptions({"korvane-kv640m"}));
  vx_SimBusControl& control = *module.simControl();
  std::string error;
  EXPECT_EQ(control.plugNew("no-such-camera", &error), -1);
  EXPECT_NE(error.find("no-such-camera"), std::string::npos) << error;
  EXPECT_EQ(module.cameraCount(), 1);
  // A bus carries 63 nodes, the host among them.
  for (int i = 1; i < vx_SimBus::kMaxCameras; ++i) ASSERT_EQ(control.plugNew("korvane-kv640m", &error), i) << error;
  error.clear();
  EXPECT_EQ(control.plugNew("korvane-kv640m", &error), -1);
  EXPECT_NE(error.find("no room"), std::string::npos) << error;
  EXPECT_EQ(module.cameraCount(), vx_SimBus::kMaxCameras);
  EXPECT_EQ(module.nodeNumber(vx_SimBus::kMaxCameras - 1), vx_SimBus::kMaxCameras - 1);
}
