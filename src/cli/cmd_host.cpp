// pralix host: the Information page's versions, the Driver Install page's rows and the adapters.
#include <nlohmann/json.hpp>

#include "base/format.h"
#include "cli/commands.h"
#include "inspection/device_scan.h"
#include "inspection/host_info.h"
#include "topology/host_adapter.h"

CLI::App* HostCommand::setup(CLI::App& app) {
  CLI::App* sub = app.add_subcommand(
      "host", "Show the versions of the program, module, libdc1394 and firewire kernel modules, the "
              "IIDC units the kernel sees with their drivers, and the 1394 adapters with their parents");
  sub->add_flag("--json", m_json, "Print the result as JSON");
  return sub;
}

int HostCommand::run(CliContext& context) {
  const vxSysfs sysfs(vxSysfsRootPath());
  vx_DcamModule& module = context.module();
  const vxHostInfo info = vxCollectHostInfo(vxLocalHostInfoSources(sysfs, &module));
  vxDeviceScanOptions scanOptions;
  scanOptions.devRoot = vxDevRootPath();
  const vxDeviceScan scan = ScanDevices(sysfs, kDcamDeviceId, vxMatchMode::Exact, scanOptions);

  std::vector<HostAdapterInfo> adapters;
  std::vector<std::vector<std::string>> logs;
  bool listed = true;
  try {
    for (const std::string& instance : vxFindHostAdapters(sysfs)) {
      adapters.emplace_back();
      logs.emplace_back();
      adapters.back().deviceInstance = instance;
      std::vector<std::string>& log = logs.back();
      adapters.back().log = [&log](const std::string& line) { log.push_back(line); };
      adapters.back().Discover(sysfs);
      adapters.back().log = nullptr;
    }
  } catch (const vxSysfs::Error& e) {
    listed = false;
    context.err() << e.message() << '\n';
  }

  if (m_json) {
    nlohmann::json rows = nlohmann::json::array();
    for (const vxDcamDeviceRow& row : scan.rows)
      rows.push_back({{"status", row.status},
                      {"driverName", row.driverName},
                      {"deviceDescription", row.deviceDescription},
                      {"friendlyName", row.friendlyName},
                      {"deviceManufacturer", row.manufacturer},
                      {"unit", row.unit},
                      {"deviceNode", row.deviceNode}});
    nlohmann::json list = nlohmann::json::array();
    for (std::size_t i = 0; i < adapters.size(); ++i) {
      const HostAdapterInfo& a = adapters[i];
      nlohmann::json parents = nlohmann::json::array();
      for (const ParentDeviceInfo& p : a.parents)
        parents.push_back({{"deviceId", p.deviceId}, {"description", p.description},
                           {"hardwareId", p.hardwareId}, {"location", p.location}});
      list.push_back({{"deviceId", a.deviceIdText},
                      {"vendorId", a.vendorId},
                      {"deviceId16", a.deviceId},
                      {"subsystemVendorId", a.subsystemVendorId},
                      {"subsystemId", a.subsystemId},
                      {"vendor", a.VendorName(a.vendorId)},
                      {"maker", a.VendorName(a.subsystemVendorId)},
                      {"device", a.DeviceName(a.deviceId)},
                      {"dmaChannels", a.dmaChannels},
                      {"location", a.location},
                      {"log", logs[i]},
                      {"parents", parents}});
    }
    nlohmann::json out = {{"versions",
                           {{"program", info.programVersion},
                            {"module", info.moduleLine},
                            {"library", info.libraryLine},
                            {"tav", info.tavVersion},
                            {"firewireCore", info.coreLine},
                            {"firewireOhci", info.ohciLine}}},
                          {"notes", info.notes},
                          {"problems", info.problems},
                          {"devices", rows},
                          {"scanError", scan.error},
                          {"adapters", list}};
    if (!info.error.empty()) out["error"] = info.error;
    context.out() << out.dump(2) << '\n';
  } else {
    std::ostream& out = context.out();
    if (!info.error.empty()) out << info.error << '\n';
    for (const std::string* line : {&info.programVersion, &info.moduleLine, &info.libraryLine, &info.tavVersion,
                                    &info.coreLine, &info.ohciLine})
      if (!line->empty()) out << *line << '\n';
    for (const std::string& problem : info.problems) out << "Missing: " << problem << '\n';
    out << "\nDCAM devices:\n";
    if (scan.rows.empty()) out << (scan.busPresent ? "  none\n" : "  none (firewire-core is not loaded)\n");
    for (const vxDcamDeviceRow& row : scan.rows)
      out << vxFormat("  %-4s  %-20s  %s  %s  %s\n", row.status.c_str(), row.driverName.c_str(),
                      row.deviceDescription.c_str(), row.friendlyName.c_str(), row.manufacturer.c_str());
    if (!scan.ok) out << "  " << scan.error << '\n';
    out << "\nIEEE 1394 adapters:\n";
    if (adapters.empty() && listed) out << "  none\n";
    for (std::size_t i = 0; i < adapters.size(); ++i) {
      for (const std::string& line : logs[i]) out << "  " << line << '\n';
      out << vxFormat("    %s, DMA channels: %u, %s\n", adapters[i].deviceIdText.c_str(), adapters[i].dmaChannels,
                      adapters[i].location.c_str());
      for (const ParentDeviceInfo& p : adapters[i].parents)
        out << vxFormat("    under %s (%s, %s)\n", p.deviceId.c_str(), p.description.c_str(), p.location.c_str());
    }
  }
  return scan.ok && listed && info.error.empty() ? kExitOk : kExitFailure;
}
