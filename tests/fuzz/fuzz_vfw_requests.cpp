// Fuzzes the virtual /dev/fw device: a sequence of requests a program sends
// through ioctl, read and the control channel, decoded by the virtual bus as
// the kernel's firewire character device would decode them. The user
// buffers a request points at are the fuzzer's own, of the sizes the kernel
// interface allows; everything else in a request is the input's.
#include <fcntl.h>
#include <linux/firewire-cdev.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "modules/qrvnvdcam/sim/profile.h"
#include "modules/qrvnvdcam/vfw/vfw_bus.h"
#include "support/test_paths.h"

namespace {

vx_VfwBus& bus() {
  static vx_VfwBus instance({vxLoadSimProfile(pralix_test::profilePath("korvane-kv640m"))},
                            vx_VfwLibc{});
  return instance;
}

// Takes n bytes of the input into an object, zero-filled when the input ends.
template <typename T>
T take(const uint8_t*& data, size_t& size) {
  T value{};
  const size_t n = std::min(sizeof value, size);
  std::memcpy(&value, data, n);
  data += n;
  size -= n;
  return value;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vx_VfwBus& b = bus();
  const int node = size > 0 ? data[0] % 3 : 1;
  const int fd = b.open(node, O_RDWR | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return 0;
  static std::vector<uint8_t> user(8192);
  for (int step = 0; step < 16 && size > 0; ++step) {
    const uint8_t op = take<uint8_t>(data, size) % 6;
    switch (op) {
      case 0: {
        auto info = take<fw_cdev_get_info>(data, size);
        info.rom = info.rom ? reinterpret_cast<uintptr_t>(user.data()) : 0;
        info.rom_length = std::min<uint32_t>(info.rom_length, 4096);
        info.bus_reset = info.bus_reset ? reinterpret_cast<uintptr_t>(user.data() + 4096) : 0;
        (void)b.ioctl(fd, FW_CDEV_IOC_GET_INFO, &info);
        break;
      }
      case 1: {
        auto request = take<fw_cdev_send_request>(data, size);
        request.data = request.data ? reinterpret_cast<uintptr_t>(user.data()) : 0;
        (void)b.ioctl(fd, FW_CDEV_IOC_SEND_REQUEST, &request);
        break;
      }
      case 2: {
        char buffer[512];
        (void)b.read(fd, buffer, take<uint8_t>(data, size) * 2u);
        break;
      }
      case 3: {
        const uint8_t length = take<uint8_t>(data, size);
        const size_t n = std::min<size_t>(length % 24, size);
        (void)b.command(std::string(reinterpret_cast<const char*>(data), n));
        data += n;
        size -= n;
        break;
      }
      case 4: {
        // A request whose argument holds no pointer, with the input's bytes.
        static const unsigned long kPlain[] = {
            FW_CDEV_IOC_INITIATE_BUS_RESET,     FW_CDEV_IOC_CREATE_ISO_CONTEXT,
            FW_CDEV_IOC_START_ISO,              FW_CDEV_IOC_STOP_ISO,
            FW_CDEV_IOC_FLUSH_ISO,              FW_CDEV_IOC_GET_CYCLE_TIMER,
            FW_CDEV_IOC_GET_CYCLE_TIMER2,       FW_CDEV_IOC_ALLOCATE_ISO_RESOURCE,
            FW_CDEV_IOC_ALLOCATE_ISO_RESOURCE_ONCE, FW_CDEV_IOC_DEALLOCATE_ISO_RESOURCE,
            FW_CDEV_IOC_DEALLOCATE_ISO_RESOURCE_ONCE, 0x12345678ul};
        const unsigned long request =
            kPlain[take<uint8_t>(data, size) % (sizeof kPlain / sizeof kPlain[0])];
        std::memset(user.data(), 0, 256);
        const size_t n = std::min<size_t>(size, 64);
        std::memcpy(user.data(), data, n);
        data += n;
        size -= n;
        (void)b.ioctl(fd, request, user.data());
        break;
      }
      default:
        (void)b.ioctl(fd, FW_CDEV_IOC_GET_SPEED, nullptr);
        break;
    }
  }
  b.close(fd);
  // Whatever the requests did, every camera is back on the bus for the next input.
  for (int camera = 0; camera < b.cameraCount(); ++camera) (void)b.replug(camera);
  return 0;
}
