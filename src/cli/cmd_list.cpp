// pralix list: the DCAM cameras the module sees.
#include <nlohmann/json.hpp>

#include "base/format.h"
#include "cli/commands.h"
#include "regmodel/camera_access.h"

namespace {

// "1.31" from the unit directory's software versions; IIDC 1.31 and later
// keep 0x102 and state their minor version in the sub-version.
std::string iidcVersionText(const vxDcamIdentity& id) {
  switch (id.unitSwVersion) {
    case 0x100: return "1.04";
    case 0x101: return "1.20";
    case 0x102:
      if (id.unitSubSwVersion >= 0x10) return vxFormat("1.3%u", id.unitSubSwVersion >> 4);
      return "1.30";
    default: return vxFormat("unknown (0x%X)", id.unitSwVersion);
  }
}

}  // namespace

CLI::App* ListCommand::setup(CLI::App& app) {
  CLI::App* sub = app.add_subcommand("list", "List the DCAM cameras with vendor, model, GUID, IIDC version "
                                             "and whether each is responding");
  sub->add_flag("--json", m_json, "Print the list as JSON");
  return sub;
}

int ListCommand::run(CliContext& context) {
  vx_DcamModule& module = context.module();
  context.printBusNotices();
  const int count = module.cameraCount();
  nlohmann::json list = nlohmann::json::array();
  if (count == 0 && !m_json) context.out() << "No DCAM camera found.\n";
  for (int n = 0; n < count; ++n) {
    vx1394DCAM& camera = module.camera(n);
    const vxDcamIdentity id = camera.identity();
    const bool responding = vxIsCameraResponding(module, n, !camera.isPlugged());
    const std::string guid = vxFormat("%016llX", static_cast<unsigned long long>(id.guid));
    if (m_json) {
      list.push_back({{"number", n},
                      {"vendor", id.vendor},
                      {"model", id.model},
                      {"guid", guid},
                      {"iidcVersion", iidcVersionText(id)},
                      {"bus", id.busLayer},
                      {"responding", responding}});
    } else {
      context.out() << vxFormat("%d  %-20s %-24s %s  IIDC %-5s %s\n", n, id.vendor.c_str(), id.model.c_str(),
                                guid.c_str(), iidcVersionText(id).c_str(),
                                responding ? "responding" : "not responding");
    }
  }
  if (m_json) context.out() << list.dump(2) << '\n';
  return kExitOk;
}
