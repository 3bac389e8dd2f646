// Helpers for the tests of the simulated camera's image stream.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "acquisition/acq_fifo.h"
#include "acquisition/sim_control.h"
#include "acquisition/trigger_model.h"
#include "modules/qrvnvdcam/module.h"
#include "modules/qrvnvdcam/sim/scene.h"
#include "modules/qrvnvdcam/sim/sim_bus.h"
#include "sim_test_util.h"

// Stream parameters that match what the camera's registers are set to.
inline vx_StreamParams streamParamsOf(const vx_SimVideoSetting& s) {
  vx_StreamParams p;
  p.format = static_cast<uint32_t>(s.format);
  p.mode = static_cast<uint32_t>(s.mode);
  p.rate = static_cast<uint32_t>(s.rate);
  p.width = s.width;
  p.height = s.height;
  p.coding = s.coding;
  p.frameBytes = vx_SimScene::frameBytes(s.width, s.height, s.coding);
  p.bytesPerPacket = vxSimBytesPerCycle(s);
  p.packetsPerFrame = s.packetsPerFrame;
  return p;
}

inline double meanByte(const std::vector<uint8_t>& bytes) {
  if (bytes.empty()) return 0.0;
  return std::accumulate(bytes.begin(), bytes.end(), 0.0) / double(bytes.size());
}

inline double meanGrey(const vxAcqImage& image) {
  return meanByte(std::vector<uint8_t>(image.data(), image.data() + image.byteCount()));
}

// Waits until the camera has taken more than count frames, however slowly
// this machine (or a sanitizer) renders them; false after ten seconds.
inline bool waitFramesTaken(vx_SimBusControl& sim, int camera, uint64_t count) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (sim.framesTaken(camera) <= count) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

// A module with the simulated bus only, over the shipped profiles.
class SimModule {
 public:
  explicit SimModule(std::vector<std::string> profiles, double timeScale = 0.0)
      : m_module(options(std::move(profiles))) {
    sim().setTimeScale(timeScale);
  }
  vx_QrvnvDcamModule& module() { return m_module; }
  vx_SimBusControl& sim() { return *m_module.simControl(); }

  vx1394DCAM& camera(int number = 0) { return m_module.camera(number); }

  // A prepared FIFO for the format under the trigger model, triggers enabled.
  vxPtrHandle<vxAcqFifo> fifo(const std::string& format, vxTriggerModel::Kind kind,
                              int number = 0) {
    vxPtrHandle<vxAcqFifo> fifo =
        vxAcqFifo::create(camera(number), *vxVideoFormat::find(camera(number), format));
    fifo->triggerProp().triggerModel(vxTriggerModel::make(kind));
    fifo->triggerProp().triggerEnable(true);
    EXPECT_TRUE(fifo->prepare(0.0)) << fifo->lastError();
    return fifo;
  }

 private:
  static vx_ModuleOptions options(std::vector<std::string> profiles) {
    vx_ModuleOptions o;
    o.simulate = true;
    o.realBus = false;
    o.simulatedProfiles = std::move(profiles);
    o.profileDirs = {shippedProfileDir()};
    return o;
  }
  vx_QrvnvDcamModule m_module;
};

// The first failure flags of a result record, for messages.
inline std::string flagsOf(const vxAcquireInfo& info) {
  std::string s;
  if (info.isTiming()) s += " timing";
  if (info.isTimeOut()) s += " timeout";
  if (info.isMissed()) s += " missed";
  if (info.isOverrun()) s += " overrun";
  if (info.isAbnormal()) s += " abnormal";
  if (info.isIncomplete()) s += " incomplete";
  if (info.isInvalidROI()) s += " roi";
  if (info.isOtherFifoError()) s += " other";
  return s.empty() ? " none" : s;
}
