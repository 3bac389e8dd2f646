// A program that drives the libdc1394 bus layer and prints what it sees, for the tests to run under pralix-vfw.
//
//   vfw_layer_probe events COUNT   prints "ready", then each bus event until COUNT have come
//   vfw_layer_probe stream FRAMES [FORMAT MODE RATE]
//                                  receives FRAMES frames of camera 0 (in the standard mode
//                                  given, or its power-on one) and tells which scene frame
//                                  each one is
//   vfw_layer_probe overrun BUFFERS FORMAT MODE RATE
//                                  streams camera 0 into BUFFERS buffers, keeps up for three
//                                  frames, prints "falling behind", sleeps for BUFFERS + 3
//                                  frame periods, then takes BUFFERS + 2 frames
//   vfw_layer_probe state           through the module: saves camera 0's register state,
//                                  changes brightness, gain and the video mode, restores the
//                                  state and prints the differences before and after
//   vfw_layer_probe arrivals COUNT  through the module and the program's camera list: prints
//                                  "ready", then each camera that arrives or leaves until
//                                  COUNT have, then the list as rebuilt
#include <stdarg.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "app/camera_list.h"
#include "modules/qrvnvdcam/dc1394/dc1394_bus.h"
#include "modules/qrvnvdcam/module.h"
#include "regmodel/dcam_camera.h"
#include "utilities/camera_state.h"
#include "utilities/camera_state_restore.h"
#include "modules/qrvnvdcam/sim/profile.h"
#include "modules/qrvnvdcam/sim/scene.h"
#include "modules/qrvnvdcam/sim/sim_camera.h"
#include "modules/qrvnvdcam/sim/sim_transmitter.h"
#include "support/test_paths.h"

namespace {

std::mutex g_mutex;
std::condition_variable g_changed;
int g_events = 0;

void line(const char* format, ...) __attribute__((format(printf, 1, 2)));
void line(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::vprintf(format, args);
  va_end(args);
  std::printf("\n");
  std::fflush(stdout);
}

void watch(vx_Dc1394BusLayer& layer) {
  layer.setEventSink([](int index, const vxDcamBusEventInfo& info) {
    std::lock_guard lock(g_mutex);
    line("event camera %d flags %u generation %u nodes %u host %u", index, info.eventFlags,
         info.busGenerationCount, info.busNodeCount, info.hostNodeNo);
    ++g_events;
    g_changed.notify_all();
  });
}

// The stream figures of camera 0's current standard mode, from its registers.
bool paramsOf(vx_Dc1394BusLayer& layer, vx_StreamParams& params) {
  uint32_t format = 0, mode = 0, rate = 0;
  if (!layer.readQuadlet(0, 0x608, format, nullptr) || !layer.readQuadlet(0, 0x604, mode, nullptr) ||
      !layer.readQuadlet(0, 0x600, rate, nullptr))
    return false;
  params.format = format >> 29;
  params.mode = mode >> 29;
  params.rate = rate >> 29;
  const auto standard = vxSimStandardMode(int(params.format), int(params.mode));
  if (!standard) return false;
  params.width = standard->width;
  params.height = standard->height;
  params.coding = standard->coding;
  params.frameBytes = vx_SimScene::frameBytes(params.width, params.height, params.coding);
  return true;
}

// How camera 0 of the virtual bus renders its scene at power-on: its
// brightness, gain and shutter as the profile starts them.
vx_SimSceneParams powerOnLook() {
  std::string name = "korvane-kv640m";
  if (const char* list = std::getenv("PRALIX_VFW_PROFILES"); list && *list) {
    name = list;
    name = name.substr(0, name.find(','));
  }
  const std::vector<std::string> dirs = {pralix_test::profilesDir()};
  const vx_SimCamera camera(vxLoadSimProfile(vxResolveSimProfile(name, dirs)));
  return vxSimSceneParams(camera, false);
}

// The scene frame number a received frame shows, from first on; -1 when it
// shows none of the next 40.
int sceneFrameOf(const vx_StreamParams& params, const std::vector<uint8_t>& bytes, int first = 0) {
  static const vx_SimSceneParams look = powerOnLook();
  vx_SimScene scene;
  std::vector<uint8_t> expected(params.frameBytes);
  for (int n = first; n < first + 40; ++n) {
    scene.render(uint64_t(n), params.width, params.height, params.coding, look, expected.data(), expected.size());
    if (expected == bytes) return n;
  }
  return -1;
}

int events(vx_Dc1394BusLayer& layer, int count) {
  watch(layer);
  line("ready");
  std::unique_lock lock(g_mutex);
  if (!g_changed.wait_for(lock, std::chrono::seconds(10), [&] { return g_events >= count; })) {
    line("timed out after %d events", g_events);
    return 1;
  }
  lock.unlock();
  for (int i = 0; i < layer.cameraCount(); ++i) {
    uint32_t value = 0;
    line("camera %d %s, read %s", i, layer.isPlugged(i) ? "plugged" : "unplugged",
         layer.readQuadlet(i, 0x400, value, nullptr) ? "works" : "fails");
  }
  return 0;
}

int stream(vx_Dc1394BusLayer& layer, int frames) {
  vx_StreamParams params;
  if (!paramsOf(layer, params)) {
    line("camera 0 is not in a standard mode");
    return 1;
  }
  line("mode %u/%u/%u %ux%u, %zu bytes", params.format, params.mode, params.rate, params.width, params.height,
       params.frameBytes);
  std::unique_ptr<vx_DcamStream> s = layer.openStream(0, params);
  std::string error;
  if (!s || !s->start(4, &error)) {
    line("start failed: %s", error.c_str());
    return 1;
  }
  if (!layer.writeQuadlet(0, 0x614, 0x80000000u, &error)) {
    line("ISO_EN failed: %s", error.c_str());
    return 1;
  }
  int result = 0;
  for (int i = 0; i < frames; ++i) {
    const auto frame = s->waitFrame(5.0);
    if (!frame) {
      line("no frame");
      result = 1;
      break;
    }
    const int scene = frame->hasImage() ? sceneFrameOf(params, *frame->data) : -1;
    line("frame %llu flags %u scene %d", static_cast<unsigned long long>(frame->sequence), frame->flags, scene);
  }
  layer.writeQuadlet(0, 0x614, 0, nullptr);
  s->stop();
  return result;
}

bool setMode(vx_Dc1394BusLayer& layer, char** args) {
  const uint32_t format = uint32_t(std::atoi(args[0])), mode = uint32_t(std::atoi(args[1])),
                 rate = uint32_t(std::atoi(args[2]));
  if (!layer.writeQuadlet(0, 0x608, format << 29, nullptr) || !layer.writeQuadlet(0, 0x604, mode << 29, nullptr) ||
      !layer.writeQuadlet(0, 0x600, rate << 29, nullptr)) {
    line("setting the mode failed");
    return false;
  }
  return true;
}

int overrun(vx_Dc1394BusLayer& layer, unsigned buffers) {
  vx_StreamParams params;
  if (!paramsOf(layer, params)) return 1;
  std::unique_ptr<vx_DcamStream> s = layer.openStream(0, params);
  std::string error;
  if (!s || !s->start(buffers, &error) || !layer.writeQuadlet(0, 0x614, 0x80000000u, &error)) {
    line("start failed: %s", error.c_str());
    return 1;
  }
  int scene = 0;
  auto take = [&](int count) {
    for (int i = 0; i < count; ++i) {
      const auto frame = s->waitFrame(5.0);
      if (!frame || !frame->hasImage()) {
        line("no frame");
        return false;
      }
      const int shown = sceneFrameOf(params, *frame->data, scene);
      if (shown >= 0) scene = shown;
      line("frame %llu flags %u scene %d", static_cast<unsigned long long>(frame->sequence), frame->flags, shown);
    }
    return true;
  };
  if (!take(3)) return 1;
  line("falling behind");
  const char* scale = std::getenv("PRALIX_SIM_TIMESCALE");
  const double speed = scale && std::atof(scale) > 0 ? std::atof(scale) : 1.0;
  const double period = 1.0 / (1.875 * double(1u << params.rate)) / speed;
  std::this_thread::sleep_for(std::chrono::duration<double>(period * (buffers + 3)));
  const bool ok = take(int(buffers) + 2);
  layer.writeQuadlet(0, 0x614, 0, nullptr);
  s->stop();
  return ok ? 0 : 1;
}

}  // namespace

// The camera state round trip over the libdc1394 bus layer, as `pralix save`,
// `write`, `diff` and `restore` do it one after the other.
int stateRoundTrip() {
  vx_ModuleOptions options;
  options.simulate = false;
  options.realBus = true;
  vx_QrvnvDcamModule module(options);
  if (module.cameraCount() == 0) {
    line("no cameras");
    return 1;
  }
  vxDcamCamera camera(0, &module);
  const vxCameraState saved = vxCaptureCameraState(camera);
  const vxCameraState reloaded = vxCameraStateFromJson(vxCameraStateToJson(saved));
  const uint32_t mode = saved.find(camera.absoluteAddress(0x604))->value;
  camera.writeQuadlet(0x800, 0x82000000u | 0x33u);
  camera.writeQuadlet(0x820, 0x82000000u | 0x44u);
  camera.writeQuadlet(0x604, mode ^ 0x20000000u);
  const auto before = vxDiffCameraStates(reloaded, vxCaptureCameraState(camera), &camera.registers());
  for (const auto& difference : before) line("differs %s", vxDifferenceLine(difference).c_str());
  vxRestorePlan plan = vxPlanRestore(reloaded, vxCaptureCameraState(camera), camera, false);
  const int failed = vxExecuteRestore(plan, camera);
  for (const auto& write : plan.writes) line("restore %s", vxRestoreLine(write).c_str());
  const auto after = vxDiffCameraStates(reloaded, vxCaptureCameraState(camera), &camera.registers());
  for (const auto& difference : after) line("still differs %s", vxDifferenceLine(difference).c_str());
  line("before %zu after %zu writes %zu failed %d", before.size(), after.size(), plan.writes.size(), failed);
  return after.empty() && failed == 0 ? 0 : 1;
}

// Cameras plugged in and out while the module runs, as the program's camera
// list sees them.
int arrivals(int count) {
  vx_ModuleOptions options;
  options.simulate = false;
  options.realBus = true;
  vx_QrvnvDcamModule module(options);
  vxCameraList cameras(module);
  int rebuilds = 0;
  cameras.setBusChangeListener([&rebuilds] {
    std::lock_guard lock(g_mutex);
    ++rebuilds;
  });
  const int id = module.registerPresenceCallback(vxDcamPresenceCallback([](const vxDcamPresenceEvent& event) {
    std::lock_guard lock(g_mutex);
    if (event.arrived)
      line("arrived camera %d %s", event.cameraNumber, event.isNew ? "new" : "back");
    else
      line("left camera %d", event.cameraNumber);
    ++g_events;
    g_changed.notify_all();
  }));
  line("cameras %d", module.cameraCount());
  line("ready");
  {
    std::unique_lock lock(g_mutex);
    if (!g_changed.wait_for(lock, std::chrono::seconds(15), [&] { return g_events >= count; })) {
      line("timed out after %d changes", g_events);
      return 1;
    }
    line("rebuild requests %s", rebuilds > 0 ? "made" : "none");
  }
  module.unregisterBusEventCallback(id);
  const vxCameraList::Refresh refresh = cameras.refresh();
  line("added %zu renewed %zu", refresh.added.size(), refresh.renewed.size());
  for (size_t i = 0; i < cameras.size(); ++i) {
    const auto& entry = cameras.entry(i);
    uint32_t value = 0;
    const bool reads = module.camera(entry->cameraNumber()).readQuadlet(0x400, value, nullptr);
    line("entry %d %s %s, read %s", entry->cameraNumber(), entry->displayName().c_str(),
         entry->isUnplugged() ? "unplugged" : "present", reads ? "works" : "fails");
  }
  cameras.setBusChangeListener({});
  return 0;
}

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  if (std::string(argv[1]) == "state") return stateRoundTrip();
  if (std::string(argv[1]) == "arrivals") return arrivals(argc > 2 ? std::atoi(argv[2]) : 1);
  std::unique_ptr<vx_Dc1394BusLayer> layer = vxCreateDc1394BusLayer();
  if (!layer || layer->cameraCount() == 0) {
    line("no cameras");
    return 1;
  }
  line("cameras %d", layer->cameraCount());
  const std::string what = argv[1];
  const int count = argc > 2 ? std::atoi(argv[2]) : 1;
  int result = 2;
  if (what == "events") result = events(*layer, count);
  if (what == "stream") {
    if (argc > 5 && !setMode(*layer, argv + 3)) return 1;
    result = stream(*layer, count);
  }
  if (what == "overrun") {
    if (argc < 6 || !setMode(*layer, argv + 3)) return 2;
    result = overrun(*layer, unsigned(count));
  }
  layer->setEventSink({});
  return result;
}
