// A camera and module made of a register map, for the register model's tests.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "acquisition/dcam_module.h"
#include "base/format.h"

// A CSR space in a map. Offsets below 0xF0000000 are taken from the command
// register base, as a real camera's module does. Unset addresses read 0.
class FakeCamera : public vx1394DCAM {
 public:
  explicit FakeCamera(int number = 0) : m_number(number) {}

  static uint32_t normalise(uint32_t address) {
    return address < kCsrSpaceBase ? address + kDefaultCommandRegsBase : address;
  }

  void set(uint32_t address, uint32_t value) { m_space[normalise(address)] = value; }
  uint32_t get(uint32_t address) const {
    auto it = m_space.find(normalise(address));
    return it == m_space.end() ? 0 : it->second;
  }
  void failAt(uint32_t address) { m_failing.insert(normalise(address)); }
  void heal() { m_failing.clear(); }
  void throwOnAccess(bool on) { m_throw = on; }

  int reads = 0;
  int writes = 0;
  std::vector<uint32_t> readAddresses;
  std::vector<uint32_t> writeAddresses;

  int cameraNumber() const override { return m_number; }
  vxDcamIdentity identity() const override { return {}; }
  bool isPlugged() const override { return true; }

  bool readQuadlet(uint32_t address, uint32_t& value, std::string* error = nullptr) override {
    ++reads;
    readAddresses.push_back(normalise(address));
    if (m_throw) throw vx_AcqModule::Error("bus layer gave up");
    if (m_failing.count(normalise(address)) != 0) {
      if (error != nullptr) *error = vxFormat("no answer at 0x%08X", normalise(address));
      return false;
    }
    value = get(address);
    return true;
  }
  bool writeQuadlet(uint32_t address, uint32_t value, std::string* error = nullptr) override {
    ++writes;
    writeAddresses.push_back(normalise(address));
    if (m_throw) throw vx_AcqModule::Error("bus layer gave up");
    if (m_failing.count(normalise(address)) != 0) {
      if (error != nullptr) *error = "write refused";
      return false;
    }
    set(address, value);
    return true;
  }

 private:
  int m_number;
  std::map<uint32_t, uint32_t> m_space;
  std::set<uint32_t> m_failing;
  bool m_throw = false;
};

class FakeModule : public vx_DcamModule {
 public:
  FakeCamera& addCamera() {
    m_cameras.push_back(std::make_unique<FakeCamera>(static_cast<int>(m_cameras.size())));
    return *m_cameras.back();
  }
  int lookups = 0;

  std::string name() const override { return "fake"; }
  std::string version() const override { return "0"; }
  std::vector<std::string> busLayers() const override { return {}; }
  std::vector<std::string> notices() const override { return {}; }
  int cameraCount() const override { return static_cast<int>(m_cameras.size()); }
  vx1394DCAM& camera(int number) override {
    ++lookups;
    if (number < 0 || number >= cameraCount()) throw Error(vxFormat("No DCAM camera with number %d", number));
    return *m_cameras[static_cast<size_t>(number)];
  }
  int registerBusEventCallback(int, vxDcamBusEventCallback) override { return 0; }
  void unregisterBusEventCallback(int) override {}
  vx_SimBusControl* simControl() override { return nullptr; }

 private:
  std::vector<std::unique_ptr<FakeCamera>> m_cameras;
};
