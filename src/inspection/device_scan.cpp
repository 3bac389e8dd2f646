// The scan of IIDC units under /sys/bus/firewire/devices.
#include "inspection/device_scan.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>

#include "base/format.h"

namespace {

constexpr const char* kDevices = "bus/firewire/devices";

bool defaultCanReadWrite(const std::string& node) { return ::access(node.c_str(), R_OK | W_OK) == 0; }

// Units are named after their node: "fw1.0" belongs to "fw1".
bool isUnitName(const std::string& name) {
  return name.rfind("fw", 0) == 0 && name.find('.') != std::string::npos;
}

std::string joinNames(const std::string& a, const std::string& b) {
  if (a.empty()) return b;
  if (b.empty()) return a;
  return a + " " + b;
}

}  // namespace

const char* vxDcamDeviceId(int index) {
  switch (index) {
    case 0: return "1394\\A02D&102";
    case 1: return "1394\\A02D&101";
    case 2: return "1394\\A02D&0";
    case 3: return "1394\\A02D";
    default: return nullptr;
  }
}

std::vector<std::string> vxUnitCompatibleIds(uint32_t specifierId, uint32_t version) {
  return {vxFormat("1394\\%X&%X", specifierId, version), vxFormat("1394\\%X", specifierId)};
}

bool vxMatchesDeviceId(const std::string& compatibleId, const std::string& id, vxMatchMode mode) {
  if (mode == vxMatchMode::Exact) return compatibleId == id;
  if (compatibleId.size() < id.size()) return false;
  return std::equal(id.begin(), id.end(), compatibleId.begin(), [](char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
  });
}

vxDeviceScan ScanDevices(const vxSysfs& sysfs, const std::string& id, vxMatchMode mode,
                         const vxDeviceScanOptions& options) {
  vxDeviceScan scan;
  scan.busPresent = sysfs.isDirectory("bus/firewire");
  const auto canReadWrite = options.canReadWrite ? options.canReadWrite : defaultCanReadWrite;
  try {
    std::vector<std::string> units;
    for (const std::string& name : sysfs.list(kDevices))
      if (isUnitName(name)) units.push_back(name);
    // fw2.0 before fw10.0: the kernel numbers nodes in the order it found them.
    std::stable_sort(units.begin(), units.end(), [](const std::string& a, const std::string& b) {
      return a.size() != b.size() ? a.size() < b.size() : a < b;
    });
    for (const std::string& unit : units) {
      const std::string dir = std::string(kDevices) + "/" + unit;
      const auto specifier = sysfs.readHex(dir + "/specifier_id");
      const auto version = sysfs.readHex(dir + "/version");
      if (!specifier) continue;  // a unit without a specifier id is nobody's DCAM
      const auto ids = vxUnitCompatibleIds(static_cast<uint32_t>(*specifier),
                                           static_cast<uint32_t>(version.value_or(0)));
      if (std::none_of(ids.begin(), ids.end(),
                       [&](const std::string& c) { return vxMatchesDeviceId(c, id, mode); }))
        continue;

      const std::string node = unit.substr(0, unit.find('.'));
      const std::string nodeDir = std::string(kDevices) + "/" + node;
      vxDcamDeviceRow row;
      row.unit = unit;
      row.deviceNode = options.devRoot + "/" + node;
      const auto modalias = sysfs.readText(dir + "/modalias");
      row.deviceDescription = modalias ? vxSysfsCleanName(*modalias) : ids.front();
      const std::string vendor = vxSysfsCleanName(sysfs.readText(nodeDir + "/vendor_name").value_or(""));
      auto model = sysfs.readText(dir + "/model_name");
      if (!model) model = sysfs.readText(nodeDir + "/model_name");
      const std::string names = joinNames(vendor, vxSysfsCleanName(model.value_or("")));
      const auto driver = sysfs.linkName(dir + "/driver");
      row.driverName = driver ? *driver : "No driver installed";
      row.friendlyName = names.empty() ? "No driver installed" : names;
      row.manufacturer = vendor;
      row.status = canReadWrite(row.deviceNode) ? "OK" : "FAIL";
      scan.rows.insert(scan.rows.begin(), std::move(row));
    }
  } catch (const vxSysfs::Error& e) {
    scan.ok = false;
    scan.error = e.message();
  }
  return scan;
}

const char* const kDcamUdevRule =
    "# IIDC (DCAM) cameras on IEEE 1394: read and write access for the group video,\n"
    "# so that DCAM Pralix and libdc1394 can open them without root.\n"
    "SUBSYSTEM==\"firewire\", ATTR{units}==\"*0x00a02d:*\", GROUP=\"video\", MODE=\"0660\"\n";

std::string vxDevicePermissionsText(const std::string& userName) {
  std::string text =
      "Cameras are opened through their /dev/fw* nodes. To give the members of the group video "
      "read and write access, save this rule as /etc/udev/rules.d/70-dcam-pralix.rules:\n\n";
  text += kDcamUdevRule;
  text +=
      "\nthen, as root, reload the rules, add your user to the group and log in again:\n\n"
      "udevadm control --reload-rules && udevadm trigger --subsystem-match=firewire\n";
  text += vxFormat("usermod -a -G video %s\n", userName.empty() ? "$USER" : userName.c_str());
  return text;
}
