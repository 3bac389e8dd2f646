// A one-camera in-memory module for the feature tests: a register map with failing addresses.
#pragma once

#include <cstring>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "acquisition/dcam_module.h"
#include "base/format.h"

class FakeCamera : public vx1394DCAM {
 public:
  static uint32_t normalise(uint32_t address) {
    return address >= kCsrSpaceBase ? address : kDefaultCommandRegsBase + address;
  }

  int cameraNumber() const override { return 0; }
  vxDcamIdentity identity() const override {
    vxDcamIdentity id;
    id.vendor = vendor;
    id.model = "Fake Model";
    id.unitSwVersion = unitSwVersion;
    id.commandRegsBase = kDefaultCommandRegsBase;
    return id;
  }
  bool readQuadlet(uint32_t address, uint32_t& value, std::string* error = nullptr) override {
    const uint32_t at = normalise(address);
    ++reads;
    if (failReads.count(at) || (!answerUnknown && !regs.count(at))) {
      if (error) *error = vxFormat("no answer at %08X", at);
      return false;
    }
    value = regs[at];
    return true;
  }
  bool writeQuadlet(uint32_t address, uint32_t value, std::string* error = nullptr) override {
    const uint32_t at = normalise(address);
    if (failWrites.count(at)) {
      if (error) *error = vxFormat("no answer at %08X", at);
      return false;
    }
    regs[at] = value;
    writes.emplace_back(at, value);
    return true;
  }
  bool isPlugged() const override { return true; }

  void set(uint32_t address, uint32_t value) { regs[normalise(address)] = value; }
  uint32_t get(uint32_t address) { return regs[normalise(address)]; }
  void setFloat(uint32_t address, float value) {
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    set(address, bits);
  }
  float getFloat(uint32_t address) {
    const uint32_t bits = get(address);
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
  }

  std::string vendor = "Fake Vendor";
  uint32_t unitSwVersion = 0x101;
  // Addresses never set read as 0 instead of failing.
  bool answerUnknown = false;
  std::map<uint32_t, uint32_t> regs;
  std::set<uint32_t> failReads;
  std::set<uint32_t> failWrites;
  std::vector<std::pair<uint32_t, uint32_t>> writes;
  int reads = 0;
};

class FakeModule : public vx_DcamModule {
 public:
  std::string name() const override { return "fake"; }
  std::string version() const override { return "1.0"; }
  std::vector<std::string> busLayers() const override { return {}; }
  std::vector<std::string> notices() const override { return {}; }
  int cameraCount() const override { return 1; }
  vx1394DCAM& camera(int number) override {
    if (number != 0) throw Error(vxFormat("no camera %d", number));
    return cam;
  }
  int registerBusEventCallback(int, vxDcamBusEventCallback) override { return 0; }
  void unregisterBusEventCallback(int) override {}
  vx_SimBusControl* simControl() override { return nullptr; }

  FakeCamera cam;
};
