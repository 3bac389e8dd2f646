// IEEE 1394 host adapters: their PCI identifiers, names from the vendor and device tables, and the
// chain of devices above them up to the PCI root bus.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "base/sysfs.h"

struct PciVendorRow {
  uint32_t id;
  const char* name;
};

struct PciDeviceRow {
  uint32_t id;
  const char* longName;
  const char* shortName;
  uint32_t dmaChannels;
  // Carried with the row; nothing here uses them.
  uint32_t count2;
  uint32_t count3;
};

// Our own PCI vendor id in the vendor table.
inline constexpr uint32_t kQorvelPciVendorId = 0x1A5E;

const std::vector<PciVendorRow>& PciVendorTable();
const std::vector<PciDeviceRow>& PciDeviceTable();

// One device above an adapter.
struct ParentDeviceInfo {
  std::string deviceId;     // "PCI\VEN_8086&DEV_244E&SUBSYS_00000000&REV_D5"
  std::string description;
  std::string hardwareId;
  std::string location;     // "PCI bus 0, device 30, function 0"
};

// The PCI identifier text of a device folder of sysfs, as the device
// registry of the other platform spells it; empty when the folder holds no
// PCI device.
std::string vxPciDeviceIdText(const vxSysfs& sysfs, const std::string& devicePath);

class HostAdapterInfo {
 public:
  using LogFn = std::function<void(const std::string&)>;

  // The adapter's device folder below the sysfs root, symbolic links
  // resolved ("devices/pci0000:00/0000:00:1e.0/0000:05:00.0"), and where
  // log lines go; both set before Discover.
  std::string deviceInstance;
  LogFn log;

  uint32_t subsystemVendorId = 0;
  uint32_t subsystemId = 0;
  uint32_t vendorId = 0;
  uint32_t deviceId = 0;
  uint32_t dmaChannels = 0;
  std::string deviceIdText;
  std::string description;
  std::string hardwareId;
  std::string location;
  bool pciRootReached = false;
  bool rootReached = false;
  std::vector<ParentDeviceInfo> parents;  // nearest first

  HostAdapterInfo();

  // Describes the adapter when it is one of the host controllers sysfs
  // lists, then walks its parents. False when the list of host controllers
  // could not be read.
  bool Discover(const vxSysfs& sysfs);

  // Takes the ids out of an identifier text: four hexadecimal characters
  // after "VEN_" and "DEV_", eight after "SUBSYS_" whose characters 4 to 7
  // are the subsystem vendor. A key that is missing is read at the position
  // its failed search gives.
  void ParseDeviceId(const std::string& text);
  void LookUpDevice();

  std::string VendorName(uint32_t id) const;
  std::string DeviceName(uint32_t id) const;
  // The short name of the device row, or the long one when it has none.
  std::string ShortDeviceName() const;

 private:
  void post(const std::string& line) const;
  void walkParents(const vxSysfs& sysfs);

  std::map<uint32_t, std::string> m_vendorNames;
  std::map<uint32_t, std::string> m_deviceNames;
};

// The device folders of every 1394 host adapter: PCI devices of class
// 0x0C0010 or bound to firewire_ohci, in PCI address order. Throws
// vxSysfs::Error when the PCI device list cannot be read.
std::vector<std::string> vxFindHostAdapters(const vxSysfs& sysfs);
