// The Driver Install page's scan: every IIDC unit the kernel sees, with the driver bound to it and
// whether this user can reach it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "base/sysfs.h"

// The compatible id that makes a unit a DCAM: unit specifier 0x00A02D of the
// 1394 Trade Association, without a version.
inline constexpr const char* kDcamDeviceId = "1394\\A02D";
inline constexpr uint32_t kDcamSpecifierId = 0x00A02D;

// The versioned identifiers that tell DCAM versions apart, by index:
// 0 "1394\A02D&102", 1 "1394\A02D&101", 2 "1394\A02D&0", 3 "1394\A02D";
// null for any other index.
const char* vxDcamDeviceId(int index);

// A unit's compatible ids, most specific first: "1394\A02D&102", "1394\A02D".
std::vector<std::string> vxUnitCompatibleIds(uint32_t specifierId, uint32_t version);

// One row of the page's list, in its five columns.
struct vxDcamDeviceRow {
  std::string status;             // "OK" or "FAIL"
  std::string driverName;         // the kernel driver bound to the unit, or "No driver installed"
  std::string deviceDescription;  // the unit's modalias
  std::string friendlyName;       // vendor and model names, or "No driver installed"
  std::string manufacturer;       // vendor name, or empty
  std::string unit;               // "fw1.0"
  std::string deviceNode;         // "/dev/fw1"
};

enum class vxMatchMode { Exact, Prefix };

struct vxDeviceScan {
  // As the list shows them: every row went in at the top, so the last unit
  // found comes first.
  std::vector<vxDcamDeviceRow> rows;
  bool ok = true;
  // Why the scan stopped early; the rows found before stay.
  std::string error;
  // /sys/bus/firewire exists: firewire-core is loaded.
  bool busPresent = false;
};

struct vxDeviceScanOptions {
  std::string devRoot = "/dev";
  // Whether this user may read and write a device node; access(2) by default.
  std::function<bool(const std::string&)> canReadWrite;
};

// Exact mode compares each compatible id with id as a whole, case-sensitive;
// prefix mode compares the first id.size() characters, case-insensitive.
bool vxMatchesDeviceId(const std::string& compatibleId, const std::string& id, vxMatchMode mode);

vxDeviceScan ScanDevices(const vxSysfs& sysfs, const std::string& id, vxMatchMode mode,
                         const vxDeviceScanOptions& options = {});

// The udev rule that gives the members of group video read and write access
// to IIDC cameras, as installed in /etc/udev/rules.d/70-dcam-pralix.rules.
extern const char* const kDcamUdevRule;
// What the user runs to be given access: the rule, the reload, the group.
std::string vxDevicePermissionsText(const std::string& userName);
