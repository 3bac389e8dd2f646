// pralix topology: the adapters, their parents and the cameras on each bus.
#include <nlohmann/json.hpp>

#include "base/format.h"
#include "cli/commands.h"
#include "topology/bus_bandwidth.h"
#include "inspection/host_info.h"
#include "topology/topology_model.h"

CLI::App* TopologyCommand::setup(CLI::App& app) {
  CLI::App* sub = app.add_subcommand(
      "topology", "Show every IEEE 1394 adapter with the devices above it and the cameras on its bus, "
                  "in physical-id order");
  sub->add_flag("--json", m_json, "Print the topology as JSON");
  sub->add_flag("--legacy", m_legacy, "List cameras in the older order: as the kernel enumerated them");
  return sub;
}

int TopologyCommand::run(CliContext& context) {
  const vxSysfs sysfs(vxSysfsRootPath());
  vxTopologyOptions options;
  options.legacyOrder = m_legacy;
  options.module = &context.module();
  options.devRoot = vxDevRootPath();
  const vxTopology topology = vxScanTopology(sysfs, options);

  if (m_json) {
    nlohmann::json adapters = nlohmann::json::array();
    for (const vxTopologyAdapter& a : topology.adapters) {
      nlohmann::json parents = nlohmann::json::array();
      for (const ParentDeviceInfo& p : a.info.parents) parents.push_back({{"deviceId", p.deviceId}, {"description", p.description}});
      nlohmann::json cameras = nlohmann::json::array();
      for (const vxTopologyCamera& c : a.cameras)
        cameras.push_back({{"node", c.node},
                           {"guid", vxFormat("%016llX", static_cast<unsigned long long>(c.guid))},
                           {"vendor", c.vendor},
                           {"model", c.model},
                           {"iidcVersion", c.iidcVersion},
                           {"nodeId", c.nodeId},
                           {"speed", c.speed},
                           {"camera", c.cameraNumber},
                           {"plugged", c.plugged},
                           {"accessible", c.accessible}});
      adapters.push_back({{"name", a.info.DeviceName(a.info.deviceId)},
                          {"deviceId", a.info.deviceIdText},
                          {"dmaChannels", a.info.dmaChannels},
                          {"simulated", a.simulated},
                          {"parents", parents},
                          {"cameras", cameras}});
    }
    nlohmann::json out = {{"order", m_legacy ? "legacy" : "physical-id"},
                          {"adapters", adapters},
                          {"log", topology.log}};
    if (!topology.error.empty()) out["error"] = topology.error;
    context.out() << out.dump(2) << '\n';
  } else {
    std::ostream& out = context.out();
    if (m_legacy) out << "Legacy Ordering\n";
    const std::string empty = vxTopologyEmptyText(topology);
    if (!empty.empty()) out << empty << '\n';
    for (const vxTopologyAdapter& a : topology.adapters) {
      // Parents from the root down, then the adapter and its cameras.
      std::string indent;
      for (auto p = a.info.parents.rbegin(); p != a.info.parents.rend(); ++p) {
        out << indent << p->deviceId << "  " << p->description << '\n';
        indent += "  ";
      }
      out << indent << a.info.DeviceName(a.info.deviceId) << (a.simulated ? "  (simulated)" : "")
          << vxFormat("  %s  DMA channels: %u\n", a.info.deviceIdText.c_str(), a.info.dmaChannels);
      for (const vxTopologyCamera& c : a.cameras)
        out << indent << "  "
            << vxFormat("%016llX  %s %s  IIDC %s  node %s  %s%s\n", static_cast<unsigned long long>(c.guid),
                        c.vendor.c_str(), c.model.c_str(), c.iidcVersion.c_str(),
                        c.nodeId >= 0 ? std::to_string(c.nodeId).c_str() : "?",
                        c.speed.empty() ? "?" : c.speed.c_str(), c.plugged ? "" : "  unplugged");
    }
  }
  if (!topology.error.empty()) return context.fail(topology.error);
  return kExitOk;
}

CLI::App* BusCommand::setup(CLI::App& app) {
  CLI::App* sub = app.add_subcommand(
      "bus", "Show each bus's isochronous load: every camera's format, packet size and speed, its share "
             "of the 125 us cycle while streaming, and what is left for another camera");
  sub->add_flag("--json", m_json, "Print the result as JSON");
  return sub;
}

int BusCommand::run(CliContext& context) {
  const std::vector<vxBusLoad> loads = vxReadBusLoads(context.module());
  bool failed = false;
  if (m_json) {
    nlohmann::json buses = nlohmann::json::array();
    for (const vxBusLoad& load : loads) {
      nlohmann::json cameras = nlohmann::json::array();
      for (const vxCameraIsoLoad& camera : load.cameras) {
        nlohmann::json entry = {{"camera", camera.cameraNumber},
                                {"name", camera.name},
                                {"streaming", camera.streaming},
                                {"format", camera.format},
                                {"speed", camera.speed},
                                {"bytesPerPacket", camera.bytesPerPacket},
                                {"units", camera.units}};
        if (!camera.error.empty()) entry["error"] = camera.error;
        failed = failed || !camera.error.empty();
        cameras.push_back(entry);
      }
      buses.push_back({{"busLayer", load.busLayer},
                       {"unitsPerCycle", kIsoBandwidthUnits},
                       {"usedUnits", load.usedUnits},
                       {"freeUnits", load.freeUnits()},
                       {"cameras", cameras}});
    }
    context.out() << nlohmann::json{{"buses", buses}}.dump(2) << '\n';
  } else {
    if (loads.empty()) context.out() << "No cameras.\n";
    for (const vxBusLoad& load : loads) {
      context.out() << (load.busLayer.empty() ? std::string("bus") : load.busLayer) << " bus:\n";
      for (const std::string& line : vxBusLoadLines(load)) context.out() << line << '\n';
      for (const vxCameraIsoLoad& camera : load.cameras) {
        failed = failed || !camera.error.empty();
        const std::string shortfall = vxBandwidthShortfall(load, camera);
        if (!shortfall.empty()) context.out() << "  " << shortfall << '\n';
      }
    }
  }
  return failed ? kExitFailure : kExitOk;
}
