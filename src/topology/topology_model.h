// The Topology page's model: every host adapter with its parents and the cameras on its bus, and
// the detail text of each item.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/sysfs.h"
#include "topology/host_adapter.h"

class vx_DcamModule;

struct vxTopologyCamera {
  std::string node;       // "fw1"; for a simulated camera "sim"
  uint64_t guid = 0;
  std::string vendor;
  std::string model;
  std::string iidcVersion;  // "1.31"
  int nodeId = -1;          // -1 when unknown
  std::string speed;        // "S400"; empty when unknown
  int cameraNumber = -1;    // the module's camera number, -1 when the module does not have it
  bool plugged = true;
  bool accessible = true;   // this user may open its /dev/fw node
};

struct vxTopologyAdapter {
  HostAdapterInfo info;
  std::string localNode;  // "fw0": the adapter's own node on its bus
  uint64_t guid = 0;
  bool simulated = false;
  std::vector<vxTopologyCamera> cameras;
  // The isochronous load of the adapter's bus, one line per camera of the
  // module on it and the total; empty when the module has none there.
  std::vector<std::string> bandwidthLines;
};

struct vxTopology {
  std::vector<vxTopologyAdapter> adapters;
  // Discovery's log lines, in order.
  std::vector<std::string> log;
  // Why the scan of the kernel's devices stopped early; what was found stays.
  std::string error;
  bool stackLoaded = false;  // /sys/bus/firewire exists
  bool legacyOrder = false;
};

struct vxTopologyOptions {
  // The older order: cameras in the order the kernel enumerated them rather
  // than by their physical (node) id.
  bool legacyOrder = false;
  // Cameras of the module are matched to the kernel's by GUID for their
  // node id and speed; its simulated bus becomes a simulated adapter.
  vx_DcamModule* module = nullptr;
  std::string devRoot = "/dev";
};

vxTopology vxScanTopology(const vxSysfs& sysfs, const vxTopologyOptions& options);

// The identifier of the simulated adapter: a TI TSB43AB22A, a row of the device table.
inline constexpr const char* kSimulatedAdapterId = "PCI\\VEN_104C&DEV_8023&SUBSYS_8010104C&REV_00";

// "1.04", "1.20", "1.30", "1.31" from the unit's software version and sub-version.
std::string vxIidcVersionText(uint32_t unitSwVersion, uint32_t unitSubSwVersion);
// "S100" ... "S3200" from a bus info block's link speed code; empty for other codes.
std::string vxLinkSpeedText(uint32_t code);

// Where the bus's bandwidth lines go in an adapter's detail text.
inline constexpr const char* kBandwidthSection = "Isochronous bandwidth:";

std::string vxAdapterDetail(const vxTopologyAdapter& adapter);
std::string vxParentDetail(const ParentDeviceInfo& parent);
std::string vxCameraDetail(const vxTopologyCamera& camera);
// What the page says when there is nothing to show, and how to fix it.
std::string vxTopologyEmptyText(const vxTopology& topology);
