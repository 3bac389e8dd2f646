// The topology model from sysfs and the acquisition module.
#include "topology/topology_model.h"

#include <unistd.h>

#include <algorithm>

#include "acquisition/dcam_module.h"
#include "acquisition/sim_control.h"
#include "base/format.h"
#include "topology/bus_bandwidth.h"

namespace {

constexpr const char* kFwDevices = "bus/firewire/devices";
constexpr uint32_t kIidcSpecifier = 0x00A02D;
constexpr uint32_t kBusInfoOptions = 0xF0000408;

uint64_t nodeNumberOf(const std::string& name) {
  return std::strtoull(name.c_str() + 2, nullptr, 10);
}

std::string parentOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

void matchModuleCamera(vx_DcamModule* module, vxTopologyCamera& camera) {
  if (!module) return;
  for (int n = 0; n < module->cameraCount(); ++n) {
    vx1394DCAM& dcam = module->camera(n);
    if (dcam.identity().guid != camera.guid || dcam.identity().busLayer == "simulated") continue;
    camera.cameraNumber = n;
    camera.nodeId = dcam.nodeNumber();
    camera.plugged = dcam.isPlugged();
    uint32_t options = 0;
    if (dcam.readQuadlet(kBusInfoOptions, options)) camera.speed = vxLinkSpeedText(options & 7);
    return;
  }
}

void sortCameras(std::vector<vxTopologyCamera>& cameras, bool legacyOrder) {
  if (legacyOrder) return;  // as enumerated
  std::stable_sort(cameras.begin(), cameras.end(), [](const vxTopologyCamera& a, const vxTopologyCamera& b) {
    // Unknown node ids keep their order after the known ones.
    const unsigned ka = static_cast<unsigned>(a.nodeId), kb = static_cast<unsigned>(b.nodeId);
    return ka < kb;
  });
}

vxTopologyAdapter simulatedAdapter(vx_DcamModule& module, vx_SimBusControl& control) {
  vxTopologyAdapter adapter;
  adapter.simulated = true;
  adapter.localNode = "sim";
  adapter.info.deviceInstance = "simulated";
  adapter.info.deviceIdText = kSimulatedAdapterId;
  adapter.info.description = "Simulated IEEE 1394 OHCI host controller";
  adapter.info.hardwareId = "PCI\\VEN_104C&DEV_8023&SUBSYS_8010104C";
  adapter.info.location = "simulated camera bus";
  adapter.info.ParseDeviceId(kSimulatedAdapterId);
  adapter.info.LookUpDevice();
  for (int number : control.cameraNumbers()) {
    vx1394DCAM& dcam = module.camera(number);
    const vxDcamIdentity id = dcam.identity();
    vxTopologyCamera camera;
    camera.node = "sim";
    camera.guid = id.guid;
    camera.vendor = id.vendor;
    camera.model = id.model;
    camera.iidcVersion = vxIidcVersionText(id.unitSwVersion, id.unitSubSwVersion);
    camera.cameraNumber = number;
    camera.plugged = control.isPlugged(number);
    camera.nodeId = camera.plugged ? dcam.nodeNumber() : -1;
    uint32_t options = 0;
    if (camera.plugged && dcam.readQuadlet(kBusInfoOptions, options)) camera.speed = vxLinkSpeedText(options & 7);
    adapter.cameras.push_back(std::move(camera));
  }
  return adapter;
}

}  // namespace

std::string vxIidcVersionText(uint32_t unitSwVersion, uint32_t unitSubSwVersion) {
  switch (unitSwVersion) {
    case 0x100: return "1.04";
    case 0x101: return "1.20";
    case 0x102:
      if (unitSubSwVersion >= 0x10) return vxFormat("1.3%u", unitSubSwVersion >> 4);
      return "1.30";
    default: return vxFormat("unknown (0x%X)", unitSwVersion);
  }
}

std::string vxLinkSpeedText(uint32_t code) {
  static const char* const kSpeeds[] = {"S100", "S200", "S400", "S800", "S1600", "S3200"};
  return code < 6 ? kSpeeds[code] : std::string();
}

vxTopology vxScanTopology(const vxSysfs& sysfs, const vxTopologyOptions& options) {
  vxTopology topology;
  topology.legacyOrder = options.legacyOrder;
  topology.stackLoaded = sysfs.isDirectory("bus/firewire");
  const auto post = [&topology](const std::string& line) { topology.log.push_back(line); };
  try {
    for (const std::string& instance : vxFindHostAdapters(sysfs)) {
      vxTopologyAdapter adapter;
      adapter.info.deviceInstance = instance;
      adapter.info.log = post;
      adapter.info.Discover(sysfs);
      adapter.info.log = nullptr;
      topology.adapters.push_back(std::move(adapter));
    }
    // Firewire nodes are children of their adapter's PCI device.
    std::vector<std::string> nodes;
    for (const std::string& name : sysfs.list(kFwDevices))
      if (name.rfind("fw", 0) == 0 && name.find('.') == std::string::npos) nodes.push_back(name);
    std::sort(nodes.begin(), nodes.end(), [](const std::string& a, const std::string& b) {
      return nodeNumberOf(a) < nodeNumberOf(b);
    });
    for (const std::string& node : nodes) {
      const std::string dir = std::string(kFwDevices) + "/" + node;
      const auto real = sysfs.resolve(dir);
      if (!real) continue;
      auto adapter = std::find_if(topology.adapters.begin(), topology.adapters.end(),
                                  [&](const vxTopologyAdapter& a) { return a.info.deviceInstance == parentOf(*real); });
      if (adapter == topology.adapters.end()) continue;
      const uint64_t guid = sysfs.readHex(dir + "/guid").value_or(0);
      if (sysfs.readText(dir + "/is_local") == "1") {
        adapter->localNode = node;
        adapter->guid = guid;
        continue;
      }
      // A camera is a node with an IIDC unit.
      for (const std::string& unit : sysfs.list(dir)) {
        if (unit.rfind(node + ".", 0) != 0) continue;
        if (sysfs.readHex(dir + "/" + unit + "/specifier_id") != kIidcSpecifier) continue;
        vxTopologyCamera camera;
        camera.node = node;
        camera.guid = guid;
        camera.vendor = vxSysfsCleanName(sysfs.readText(dir + "/vendor_name").value_or(""));
        camera.model = vxSysfsCleanName(sysfs.readText(dir + "/model_name").value_or(""));
        camera.iidcVersion = vxIidcVersionText(
            static_cast<uint32_t>(sysfs.readHex(dir + "/" + unit + "/version").value_or(0)), 0);
        camera.accessible = ::access((options.devRoot + "/" + node).c_str(), R_OK | W_OK) == 0;
        matchModuleCamera(options.module, camera);
        adapter->cameras.push_back(std::move(camera));
        break;
      }
    }
  } catch (const vxSysfs::Error& e) {
    topology.error = e.message();
  }
  if (options.module) {
    if (vx_SimBusControl* control = options.module->simControl())
      topology.adapters.push_back(simulatedAdapter(*options.module, *control));
  }
  for (vxTopologyAdapter& adapter : topology.adapters) sortCameras(adapter.cameras, options.legacyOrder);
  if (options.module) {
    // Each adapter gets the load of the module's cameras matched to it.
    const std::vector<vxBusLoad> loads = vxReadBusLoads(*options.module);
    for (vxTopologyAdapter& adapter : topology.adapters) {
      vxBusLoad mine;
      for (const vxBusLoad& load : loads)
        for (const vxCameraIsoLoad& camera : load.cameras)
          for (const vxTopologyCamera& seen : adapter.cameras)
            if (seen.cameraNumber == camera.cameraNumber) {
              mine.cameras.push_back(camera);
              if (camera.streaming && camera.error.empty()) mine.usedUnits += camera.units;
            }
      if (!mine.cameras.empty()) adapter.bandwidthLines = vxBusLoadLines(mine);
    }
  }
  return topology;
}

std::string vxAdapterDetail(const vxTopologyAdapter& adapter) {
  const HostAdapterInfo& info = adapter.info;
  std::string text;
  vxAppendFormat(text, "%s\n", info.DeviceName(info.deviceId).c_str());
  vxAppendFormat(text, "Adapter maker: %s\n", info.VendorName(info.subsystemVendorId).c_str());
  vxAppendFormat(text, "Device vendor: %s\n", info.VendorName(info.vendorId).c_str());
  vxAppendFormat(text, "Identifier: %s\n", info.deviceIdText.c_str());
  vxAppendFormat(text, "Vendor id: 0x%04X  Device id: 0x%04X\n", info.vendorId, info.deviceId);
  vxAppendFormat(text, "Subsystem vendor id: 0x%04X  Subsystem id: 0x%08X\n", info.subsystemVendorId,
                 info.subsystemId);
  vxAppendFormat(text, "DMA channels: %u\n", info.dmaChannels);
  vxAppendFormat(text, "Description: %s\n", info.description.c_str());
  vxAppendFormat(text, "Location: %s\n", info.location.c_str());
  if (!adapter.localNode.empty() && !adapter.simulated)
    vxAppendFormat(text, "Local node: %s, GUID %016llX\n", adapter.localNode.c_str(),
                   static_cast<unsigned long long>(adapter.guid));
  vxAppendFormat(text, "Cameras: %zu\n", adapter.cameras.size());
  vxAppendFormat(text, "\n%s\n", kBandwidthSection);
  if (adapter.bandwidthLines.empty()) text += "  (no stream figures on this bus)\n";
  for (const std::string& line : adapter.bandwidthLines) text += line + "\n";
  return text;
}

std::string vxParentDetail(const ParentDeviceInfo& parent) {
  std::string text;
  vxAppendFormat(text, "%s\n", parent.description.c_str());
  vxAppendFormat(text, "Identifier: %s\n", parent.deviceId.c_str());
  vxAppendFormat(text, "Hardware id: %s\n", parent.hardwareId.c_str());
  vxAppendFormat(text, "Location: %s\n", parent.location.c_str());
  return text;
}

std::string vxCameraDetail(const vxTopologyCamera& camera) {
  std::string text;
  vxAppendFormat(text, "%s %s\n", camera.vendor.c_str(), camera.model.c_str());
  vxAppendFormat(text, "GUID: %016llX\n", static_cast<unsigned long long>(camera.guid));
  vxAppendFormat(text, "Vendor: %s\n", camera.vendor.c_str());
  vxAppendFormat(text, "Model: %s\n", camera.model.c_str());
  if (camera.nodeId >= 0)
    vxAppendFormat(text, "Node id: %d\n", camera.nodeId);
  else
    text += "Node id: unknown\n";
  vxAppendFormat(text, "Speed: %s\n", camera.speed.empty() ? "unknown" : camera.speed.c_str());
  vxAppendFormat(text, "IIDC version: %s\n", camera.iidcVersion.c_str());
  if (camera.node != "sim") vxAppendFormat(text, "Kernel node: %s\n", camera.node.c_str());
  if (camera.cameraNumber >= 0) vxAppendFormat(text, "Camera number: %d\n", camera.cameraNumber);
  if (!camera.plugged) text += "Unplugged\n";
  if (!camera.accessible)
    vxAppendFormat(text, "/dev/%s cannot be opened by this user: see Device Permissions on the Driver Install page\n",
                   camera.node.c_str());
  return text;
}

std::string vxTopologyEmptyText(const vxTopology& topology) {
  if (!topology.adapters.empty()) return std::string();
  if (!topology.stackLoaded)
    return "No IEEE 1394 adapter: the firewire-core kernel module is not loaded and no OHCI 1394 "
           "adapter was found on the PCI bus. Fit an OHCI 1394 adapter, then load the driver as "
           "root: modprobe firewire-ohci. Start with --simulate to work on simulated cameras.";
  return "No IEEE 1394 adapter was found on the PCI bus (no device of class 0x0C0010 and none bound "
         "to firewire_ohci). Check that the adapter is seated and enabled in the firmware setup.";
}
