// A small in-memory acquisition module for the program's tests: cameras with
// a register map, a transaction counter, failing addresses, an unplug flag,
// and bus events delivered from a thread of their own like the real module's.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "acquisition/dcam_module.h"
#include "acquisition/sim_control.h"
#include "base/format.h"

class FakeDcamCamera : public vx1394DCAM {
 public:
  FakeDcamCamera(int number, std::string vendor, std::string model, uint64_t guid)
      : m_number(number), m_vendor(std::move(vendor)), m_model(std::move(model)), m_guid(guid) {}

  int cameraNumber() const override { return m_number; }
  vxDcamIdentity identity() const override {
    vxDcamIdentity id;
    id.vendor = m_vendor;
    id.model = m_model;
    id.guid = m_guid;
    id.unitSpecId = 0x00A02D;
    id.commandRegsBase = kDefaultCommandRegsBase;
    id.busLayer = "fake";
    return id;
  }

  // Offsets below the CSR space are taken from the command register base.
  static uint32_t normalise(uint32_t address) {
    return address >= kCsrSpaceBase ? address : kDefaultCommandRegsBase + address;
  }

  bool readQuadlet(uint32_t address, uint32_t& value, std::string* error = nullptr) override {
    std::lock_guard lock(m_mutex);
    ++m_transactions;
    const uint32_t at = normalise(address);
    const auto it = m_registers.find(at);
    if (!m_plugged || m_failReads.count(at) || it == m_registers.end()) {
      if (error) *error = vxFormat("read of %08X failed", at);
      return false;
    }
    value = it->second;
    return true;
  }
  bool writeQuadlet(uint32_t address, uint32_t value, std::string* error = nullptr) override {
    std::lock_guard lock(m_mutex);
    ++m_transactions;
    const uint32_t at = normalise(address);
    if (!m_plugged || m_failWrites.count(at)) {
      if (error) *error = vxFormat("write of %08X failed", at);
      return false;
    }
    m_registers[at] = value;
    m_writes.emplace_back(at, value);
    return true;
  }
  bool isPlugged() const override { return m_plugged; }

  // Test controls.
  void setRegister(uint32_t address, uint32_t value) {
    std::lock_guard lock(m_mutex);
    m_registers[normalise(address)] = value;
  }
  uint32_t registerValue(uint32_t address) {
    std::lock_guard lock(m_mutex);
    return m_registers[normalise(address)];
  }
  void failRead(uint32_t address) {
    std::lock_guard lock(m_mutex);
    m_failReads.insert(normalise(address));
  }
  void failWrite(uint32_t address) {
    std::lock_guard lock(m_mutex);
    m_failWrites.insert(normalise(address));
  }
  void setPlugged(bool plugged) { m_plugged = plugged; }
  uint64_t transactions() const { return m_transactions; }
  std::vector<std::pair<uint32_t, uint32_t>> writes() {
    std::lock_guard lock(m_mutex);
    return m_writes;
  }

 private:
  const int m_number;
  const std::string m_vendor, m_model;
  const uint64_t m_guid;
  std::mutex m_mutex;
  std::map<uint32_t, uint32_t> m_registers;
  std::set<uint32_t> m_failReads, m_failWrites;
  std::vector<std::pair<uint32_t, uint32_t>> m_writes;
  std::atomic<bool> m_plugged{true};
  std::atomic<uint64_t> m_transactions{0};
};

class FakeDcamModule;

// The simulated-bus controls over the fake cameras, for the control window.
class FakeSimControl : public vx_SimBusControl {
 public:
  explicit FakeSimControl(FakeDcamModule& module) : m_module(module) {}
  std::vector<int> cameraNumbers() const override;
  std::string profileName(int cameraNumber) const override {
    return vxFormat("fake-%d", cameraNumber);
  }
  void unplug(int cameraNumber) override;
  void replug(int cameraNumber) override;
  bool isPlugged(int cameraNumber) const override;
  void busReset() override;
  void setReadFault(int, uint32_t, bool) override {}
  void setWriteFault(int, uint32_t, bool) override {}
  void clearFaults(int) override {}
  void setLatency(std::chrono::microseconds, std::chrono::microseconds) override {}
  uint64_t transactionCount(int cameraNumber) const override;
  void resetTransactionCount(int) override {}

 private:
  FakeDcamModule& m_module;
};

class FakeDcamModule : public vx_DcamModule {
 public:
  explicit FakeDcamModule(int cameraCount = 2, bool simulated = false) {
    for (int i = 0; i < cameraCount; ++i) {
      auto camera = std::make_unique<FakeDcamCamera>(i, "Acme", vxFormat("Cam%d", i), 0x1000u + i);
      // The responding test reads 0x800.
      camera->setRegister(0x800, 0x80000000u);
      m_cameras.push_back(std::move(camera));
    }
    if (simulated) m_sim = std::make_unique<FakeSimControl>(*this);
  }

  std::string name() const override { return "Fake DCAM module"; }
  std::string version() const override { return "9.9"; }
  std::vector<std::string> busLayers() const override {
    return {vxFormat("fake bus: %d cameras", cameraCount())};
  }
  std::vector<std::string> notices() const override { return {}; }
  int cameraCount() const override { return static_cast<int>(m_cameras.size()); }
  vx1394DCAM& camera(int number) override { return fake(number); }
  FakeDcamCamera& fake(int number) {
    if (number < 0 || number >= cameraCount()) throw Error(vxFormat("No camera %d", number));
    return *m_cameras[static_cast<size_t>(number)];
  }

  int registerBusEventCallback(int cameraNumber, vxDcamBusEventCallback callback) override {
    std::lock_guard lock(m_mutex);
    m_callbacks[++m_lastId] = {cameraNumber, std::move(callback)};
    return m_lastId;
  }
  void unregisterBusEventCallback(int id) override {
    std::lock_guard lock(m_mutex);
    m_callbacks.erase(id);
  }
  size_t callbackCount() {
    std::lock_guard lock(m_mutex);
    return m_callbacks.size();
  }
  vx_SimBusControl* simControl() override { return m_sim.get(); }

  // Delivers an event to the camera's callbacks on a thread of its own and
  // waits until it has been delivered.
  void fireBusEvent(int cameraNumber, const vxDcamBusEventInfo& info) {
    std::vector<vxDcamBusEventCallback> targets;
    {
      std::lock_guard lock(m_mutex);
      for (const auto& [id, registration] : m_callbacks)
        if (registration.first == cameraNumber) targets.push_back(registration.second);
    }
    std::thread([&targets, info] {
      for (const auto& callback : targets) callback(info);
    }).join();
  }
  static vxDcamBusEventInfo busResetEvent(uint32_t generation) {
    vxDcamBusEventInfo info;
    info.eventFlags = vxDcamBusEventInfo::kBusReset;
    info.initiatorNodeNo = 1;
    info.hostNodeNo = 2;
    info.busNodeCount = 3;
    info.busGenerationCount = generation;
    return info;
  }
  static vxDcamBusEventInfo unplugEvent() {
    vxDcamBusEventInfo info;
    info.eventFlags = vxDcamBusEventInfo::kUnplugged;
    return info;
  }

 private:
  std::vector<std::unique_ptr<FakeDcamCamera>> m_cameras;
  std::mutex m_mutex;
  int m_lastId = 0;
  std::map<int, std::pair<int, vxDcamBusEventCallback>> m_callbacks;
  std::unique_ptr<FakeSimControl> m_sim;
};

inline std::vector<int> FakeSimControl::cameraNumbers() const {
  std::vector<int> numbers;
  for (int i = 0; i < m_module.cameraCount(); ++i) numbers.push_back(i);
  return numbers;
}
inline void FakeSimControl::unplug(int cameraNumber) {
  m_module.fake(cameraNumber).setPlugged(false);
  m_module.fireBusEvent(cameraNumber, FakeDcamModule::unplugEvent());
}
inline void FakeSimControl::replug(int cameraNumber) {
  m_module.fake(cameraNumber).setPlugged(true);
}
inline bool FakeSimControl::isPlugged(int cameraNumber) const {
  return m_module.fake(cameraNumber).isPlugged();
}
inline void FakeSimControl::busReset() {
  static uint32_t generation = 0;
  ++generation;
  for (int i = 0; i < m_module.cameraCount(); ++i)
    m_module.fireBusEvent(i, FakeDcamModule::busResetEvent(generation));
}
inline uint64_t FakeSimControl::transactionCount(int cameraNumber) const {
  return m_module.fake(cameraNumber).transactions();
}
