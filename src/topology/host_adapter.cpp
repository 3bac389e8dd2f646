// Host adapter discovery on sysfs: identifiers, names from the tables, the walk up to the PCI root.
#include "topology/host_adapter.h"

#include "base/format.h"

namespace {

constexpr uint32_t kOhciClass = 0x0C0010;

std::string parentOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

std::string baseName(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// Hexadecimal digits of text from pos, at most count, up to the first other
// character; 0 when there are none. pos may lie past the end.
uint32_t hexAt(const std::string& text, std::size_t pos, std::size_t count) {
  uint32_t value = 0;
  for (std::size_t i = pos; i < text.size() && i < pos + count; ++i) {
    const char c = text[i];
    int d = -1;
    if (c >= '0' && c <= '9') d = c - '0';
    if (c >= 'a' && c <= 'f') d = c - 'a' + 10;
    if (c >= 'A' && c <= 'F') d = c - 'A' + 10;
    if (d < 0) break;
    value = (value << 4) | static_cast<uint32_t>(d);
  }
  return value;
}

// Where the text after key begins; a failed search gives npos, and npos
// plus the key's length wraps round to a position near the front, as a
// pointer past a failed search would.
std::size_t afterKey(const std::string& text, const char* key) {
  const std::string k(key);
  return text.find(k) + k.size();
}

std::string describe(const vxSysfs& sysfs, const std::string& path) {
  const auto cls = sysfs.readHex(path + "/class");
  if (!cls) return "System device";
  const uint32_t c = static_cast<uint32_t>(*cls);
  if (c == kOhciClass) return "IEEE 1394 OHCI host controller";
  if ((c >> 16) == 0x0C && ((c >> 8) & 0xFF) == 0x00) return "IEEE 1394 host controller";
  if ((c >> 8) == 0x0604) return "PCI to PCI bridge";
  if ((c >> 8) == 0x0600) return "Host bridge";
  return vxFormat("PCI device (class 0x%06X)", c);
}

std::string locationOf(const std::string& path) {
  const auto address = vxParsePciAddress(baseName(path));
  if (!address) return std::string();
  return vxFormat("PCI bus %u, device %u, function %u", address->bus, address->device,
                  address->function);
}

std::string hardwareIdOf(const std::string& idText) {
  // The identifier without its revision: the most specific hardware id.
  const std::size_t rev = idText.find("&REV_");
  return rev == std::string::npos ? idText : idText.substr(0, rev);
}

bool isPciRootBus(const std::string& name) {
  return name.size() == 10 && name.rfind("pci", 0) == 0 && name[7] == ':';
}

}  // namespace

const std::vector<PciVendorRow>& PciVendorTable() {
  static const std::vector<PciVendorRow> table = {
      {0, "Unspecified Vendor"},
      {kQorvelPciVendorId, "Qorvel"},
      {0x104C, "Texas Instruments"},
      {0x1443, "Unibrain S.A."},
      {0x1421, "ADS Technologies"},
      {0x11C1, "Agere Systems"},
      {0x131F, "SIIG Inc"},
      {0xEC80, "Belkin Corp"},
      {0x167E, "Onnto Corp"},
      {0x103C, "Hewlett-Packard Company"},
      {0x1106, "VIA Technologies"},
      {0x12EE, "Orange Micro"},
      {0x1028, "Dell Computer Corp"},
      {0x1546, "IOI Technology Corp"},
      {0x115F, "Maxtor Corporation"},
      {0x15C5, "Procomp Informatics Ltd"},
      {0x1968, "Point Grey Research"},
      {0x10B9, "Acer Labs Incorporated"},
  };
  return table;
}

const std::vector<PciDeviceRow>& PciDeviceTable() {
  static const std::vector<PciDeviceRow> table = {
      {0, "Unspecified device", "", 0, 0, 0},
      {0x8020, "TSB12LV26 OHCI Compliant FireWire Controller", "TSB12LV26", 4, 0, 4},
      {0x8026, "TSB43AB21A 1394a OHCI PHY/Link-layer Controller, 1-port PHY", "TSB43AB21A", 4, 0, 4},
      {0x8022, "TSB43AB22 1394a OHCI PHY/Link-Layer Controller", "TSB43AB22", 4, 0, 4},
      {0x8023, "TSB43AB22A 1394a OHCI PHY/Link-Layer Controller, 2-port PHY", "TSB43AB22A", 4, 0, 4},
      {0x8024, "TSB43AB23 1394a OHCI PHY/Link-Layer Controller, 3-port PHY", "TSB43AB23", 4, 0, 4},
      {0x8025, "TSB82AA/TSB83AA IEEE 1394b Controller", "TSB82AA/TSB83AA", 4, 2, 8},
      {0x8231, "XIO2200A PCIe to PCI Bridge with 1394a OHCI, 2-port PHY", "XIO2200A", 4, 0, 4},
      {0x823E, "XIO2213 PCIe to 1394b OHCI with 3-port PHY", "XIO2213", 4, 0, 8},
      {0x5811, "FW323 1394a PCI PHY/Link Open Host Controller Interface", "FW323", 8, 4, 4},
      {0x5901, "FW643 1394b PCI Express PHY/Link Host Controller Interface", "FW643", 8, 8, 8},
  };
  return table;
}

std::string vxPciDeviceIdText(const vxSysfs& sysfs, const std::string& devicePath) {
  const auto vendor = sysfs.readHex(devicePath + "/vendor");
  const auto device = sysfs.readHex(devicePath + "/device");
  if (!vendor || !device) return std::string();
  const auto subVendor = sysfs.readHex(devicePath + "/subsystem_vendor").value_or(0);
  const auto subDevice = sysfs.readHex(devicePath + "/subsystem_device").value_or(0);
  const auto revision = sysfs.readHex(devicePath + "/revision").value_or(0);
  return vxFormat("PCI\\VEN_%04llX&DEV_%04llX&SUBSYS_%04llX%04llX&REV_%02llX",
                  static_cast<unsigned long long>(*vendor & 0xFFFF),
                  static_cast<unsigned long long>(*device & 0xFFFF),
                  static_cast<unsigned long long>(subDevice & 0xFFFF),
                  static_cast<unsigned long long>(subVendor & 0xFFFF),
                  static_cast<unsigned long long>(revision & 0xFF));
}

HostAdapterInfo::HostAdapterInfo() {
  for (const PciVendorRow& row : PciVendorTable()) m_vendorNames.emplace(row.id, row.name);
  // The long name: it says which chip and which PHY the adapter has.
  for (const PciDeviceRow& row : PciDeviceTable()) m_deviceNames.emplace(row.id, row.longName);
}

void HostAdapterInfo::post(const std::string& line) const {
  if (log) log(line);
}

std::string HostAdapterInfo::VendorName(uint32_t id) const {
  const auto it = m_vendorNames.find(id);
  return it != m_vendorNames.end() ? it->second : vxFormat("Unknown vendor (VID: 0x%X)", id);
}

std::string HostAdapterInfo::DeviceName(uint32_t id) const {
  const auto it = m_deviceNames.find(id);
  return it != m_deviceNames.end() ? it->second : vxFormat("Unknown device (DID: 0x%X)", id);
}

std::string HostAdapterInfo::ShortDeviceName() const {
  for (const PciDeviceRow& row : PciDeviceTable())
    if (row.id == deviceId) return *row.shortName ? row.shortName : row.longName;
  return DeviceName(deviceId);
}

void HostAdapterInfo::ParseDeviceId(const std::string& text) {
  vendorId = hexAt(text, afterKey(text, "VEN_"), 4);
  deviceId = hexAt(text, afterKey(text, "DEV_"), 4);
  const std::size_t subsys = afterKey(text, "SUBSYS_");
  subsystemId = hexAt(text, subsys, 8);
  subsystemVendorId = hexAt(text, subsys + 4, 4);
}

void HostAdapterInfo::LookUpDevice() {
  dmaChannels = 0;
  for (const PciDeviceRow& row : PciDeviceTable()) {
    if (row.id == deviceId) {
      dmaChannels = row.dmaChannels;
      break;
    }
  }
}

bool HostAdapterInfo::Discover(const vxSysfs& sysfs) {
  pciRootReached = false;
  rootReached = false;
  bool described = false;
  std::vector<std::string> adapters;
  try {
    adapters = vxFindHostAdapters(sysfs);
  } catch (const vxSysfs::Error&) {
    return false;
  }
  for (const std::string& adapter : adapters) {
    if (adapter != deviceInstance) continue;
    try {
      description = describe(sysfs, adapter);
      deviceIdText = vxPciDeviceIdText(sysfs, adapter);
    } catch (const vxSysfs::Error& e) {
      post(e.message());
      break;
    }
    hardwareId = hardwareIdOf(deviceIdText);
    location = locationOf(adapter);
    ParseDeviceId(deviceIdText);
    LookUpDevice();
    post(vxFormat("Found %s IEEE 1394 adapter", VendorName(subsystemVendorId).c_str()));
    post(vxFormat("   Device vendor: %s", VendorName(vendorId).c_str()));
    post(vxFormat("   Device name: %s", DeviceName(deviceId).c_str()));
    described = true;
    break;
  }
  walkParents(sysfs);
  return described;
}

void HostAdapterInfo::walkParents(const vxSysfs& sysfs) {
  std::string current = deviceInstance;
  while (!pciRootReached && !rootReached) {
    const std::string parent = parentOf(current);
    if (parent.empty()) return;  // the top of the tree: there is no parent
    const std::string name = baseName(parent);
    std::string id;
    ParentDeviceInfo info;
    try {
      if (!sysfs.isDirectory(parent)) throw vxSysfs::Error(sysfs.path(parent), 2);
      sysfs.list(parent);  // a folder we cannot list is a parent we cannot ask about
      if (parent == "devices") {
        id = "ROOT\\SYSTEM";
      } else if (isPciRootBus(name)) {
        id = "ACPI\\PNP0A03\\" + name;
      } else {
        id = vxPciDeviceIdText(sysfs, parent);
        if (id.empty()) id = "SYS\\" + name;
        info.description = describe(sysfs, parent);
      }
    } catch (const vxSysfs::Error& e) {
      post(vxFormat("Get_Parent failed: 0x%X", static_cast<unsigned>(e.code())));
      return;
    }
    if (id.find("PNP0A03") != std::string::npos) {
      pciRootReached = true;
    } else if (id.find("ROOT") != std::string::npos) {
      rootReached = true;
    } else {
      info.deviceId = id;
      info.hardwareId = hardwareIdOf(id);
      info.location = locationOf(parent);
      parents.push_back(std::move(info));
      current = parent;
    }
  }
}

std::vector<std::string> vxFindHostAdapters(const vxSysfs& sysfs) {
  std::vector<std::string> adapters;
  for (const std::string& name : sysfs.list("bus/pci/devices")) {
    const std::string link = "bus/pci/devices/" + name;
    bool adapter = false;
    try {
      adapter = sysfs.readHex(link + "/class") == kOhciClass;
    } catch (const vxSysfs::Error&) {
      // Odd class contents: the driver link may still say what the device is.
    }
    if (!adapter) adapter = sysfs.linkName(link + "/driver") == "firewire_ohci";
    if (!adapter) continue;
    if (auto real = sysfs.resolve(link)) adapters.push_back(*real);
  }
  return adapters;
}
