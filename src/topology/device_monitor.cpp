// The libudev monitor of firewire devices, on a thread of its own that a stop pipe wakes.
#include "topology/device_monitor.h"

#include <libudev.h>
#include <poll.h>
#include <unistd.h>

#include <cstring>
#include <thread>

#include "base/format.h"
#include "base/sysfs.h"
#include "base/time_stamp.h"

std::string vxDeviceEventLine(const vxDeviceEvent& event) {
  std::string line = vxTimeStamp(event.when) + "-:";
  line += event.kind == vxDeviceEvent::Kind::Arrived ? "Device arrived: " : "Device removed: ";
  line += event.node;
  if (!event.description.empty()) line += " (" + event.description + ")";
  return line;
}

namespace {

std::string attribute(udev_device* device, const char* name) {
  const char* value = udev_device_get_sysattr_value(device, name);
  return value ? vxSysfsCleanName(value) : std::string();
}

class UdevMonitor : public vxDeviceEventSource {
 public:
  ~UdevMonitor() override { stop(); }

  bool start(Listener listener) override {
    stop();
    m_udev = udev_new();
    if (!m_udev) return fail("libudev could not be started");
    m_monitor = udev_monitor_new_from_netlink(m_udev, "udev");
    if (!m_monitor) return fail("the udev event stream cannot be opened (is systemd-udevd running?)");
    udev_monitor_filter_add_match_subsystem_devtype(m_monitor, "firewire", nullptr);
    if (udev_monitor_enable_receiving(m_monitor) < 0)
      return fail("the udev event stream cannot be opened (is systemd-udevd running?)");
    if (pipe(m_stopPipe) != 0) return fail(std::string("pipe: ") + std::strerror(errno));
    m_listener = std::move(listener);
    m_thread = std::thread([this] { run(); });
    return true;
  }

  void stop() override {
    if (m_thread.joinable()) {
      const char byte = 0;
      if (write(m_stopPipe[1], &byte, 1) < 0) {
      }
      m_thread.join();
    }
    for (int& fd : m_stopPipe) {
      if (fd >= 0) close(fd);
      fd = -1;
    }
    if (m_monitor) udev_monitor_unref(m_monitor);
    if (m_udev) udev_unref(m_udev);
    m_monitor = nullptr;
    m_udev = nullptr;
  }

  std::string error() const override { return m_error; }

 private:
  bool fail(const std::string& message) {
    m_error = message;
    stop();
    return false;
  }

  void run() {
    pollfd fds[2] = {{udev_monitor_get_fd(m_monitor), POLLIN, 0}, {m_stopPipe[0], POLLIN, 0}};
    for (;;) {
      if (poll(fds, 2, -1) < 0) {
        if (errno == EINTR) continue;
        return;
      }
      if (fds[1].revents) return;
      udev_device* device = udev_monitor_receive_device(m_monitor);
      if (!device) continue;
      const char* action = udev_device_get_action(device);
      const bool added = action && std::strcmp(action, "add") == 0;
      const bool removed = action && std::strcmp(action, "remove") == 0;
      const char* name = udev_device_get_sysname(device);
      // Units (fw1.0) come and go with their node; one line per node.
      if ((added || removed) && name && std::strchr(name, '.') == nullptr) {
        vxDeviceEvent event;
        event.kind = added ? vxDeviceEvent::Kind::Arrived : vxDeviceEvent::Kind::Removed;
        event.node = name;
        if (added) {
          const std::string vendor = attribute(device, "vendor_name");
          const std::string model = attribute(device, "model_name");
          event.description = vendor.empty() ? model : model.empty() ? vendor : vendor + " " + model;
        }
        m_listener(event);
      }
      udev_device_unref(device);
    }
  }

  udev* m_udev = nullptr;
  udev_monitor* m_monitor = nullptr;
  int m_stopPipe[2] = {-1, -1};
  Listener m_listener;
  std::thread m_thread;
  std::string m_error;
};

}  // namespace

std::unique_ptr<vxDeviceEventSource> vxMakeUdevMonitor() { return std::make_unique<UdevMonitor>(); }
