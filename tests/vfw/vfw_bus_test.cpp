// The virtual bus driven through the firewire character-device calls, in process.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/firewire-cdev.h>
#include <linux/firewire-constants.h>
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "modules/qrvnvdcam/sim/sim_camera.h"
#include "modules/qrvnvdcam/sim/sim_transmitter.h"
#include "modules/qrvnvdcam/vfw/vfw_bus.h"
#include "support/test_paths.h"

namespace {

std::vector<vx_SimProfile> profiles(std::initializer_list<const char*> names) {
  const std::vector<std::string> dirs = {pralix_test::profilesDir()};
  std::vector<vx_SimProfile> list;
  for (const char* name : names) list.push_back(vxLoadSimProfile(vxResolveSimProfile(name, dirs)));
  return list;
}

class VfwBusTest : public ::testing::Test {
 protected:
  VfwBusTest() : bus(profiles({"korvane-kv640m", "orbel-ux1600b"}), vx_VfwLibc{}) {}

  int openCamera(int node, fw_cdev_event_bus_reset* reset = nullptr, std::vector<uint32_t>* rom = nullptr) {
    const int fd = bus.open(node, O_RDWR | O_NONBLOCK);
    fw_cdev_get_info info{};
    fw_cdev_event_bus_reset current{};
    std::vector<uint32_t> quads(256, 0);
    info.version = 4;
    info.rom = reinterpret_cast<uintptr_t>(quads.data());
    info.rom_length = 1024;
    info.bus_reset = reinterpret_cast<uintptr_t>(&current);
    EXPECT_EQ(bus.ioctl(fd, FW_CDEV_IOC_GET_INFO, &info), 0);
    EXPECT_EQ(info.version, 5u);
    quads.resize(info.rom_length / 4);
    if (reset) *reset = current;
    if (rom) *rom = quads;
    return fd;
  }

  // One request and its response event: rcode and the payload in host order.
  uint32_t request(int fd, uint32_t tcode, uint64_t offset, std::vector<uint32_t>& data, uint32_t generation) {
    std::vector<uint32_t> wire(data.size());
    for (size_t i = 0; i < data.size(); ++i) wire[i] = htonl(data[i]);
    fw_cdev_send_request r{};
    r.tcode = tcode;
    r.length = uint32_t(data.size() * 4);
    r.offset = offset;
    r.closure = 77;
    r.data = reinterpret_cast<uintptr_t>(wire.data());
    r.generation = generation;
    EXPECT_EQ(bus.ioctl(fd, FW_CDEV_IOC_SEND_REQUEST, &r), 0);
    alignas(8) unsigned char buffer[4200];
    const ssize_t n = bus.read(fd, buffer, sizeof buffer);
    EXPECT_GE(n, ssize_t(offsetof(fw_cdev_event_response, data)));
    fw_cdev_event_response head;
    std::memcpy(&head, buffer, offsetof(fw_cdev_event_response, data));
    EXPECT_EQ(head.type, uint32_t(FW_CDEV_EVENT_RESPONSE));
    EXPECT_EQ(head.closure, 77u);
    EXPECT_EQ(size_t(n), offsetof(fw_cdev_event_response, data) + head.length);
    data.assign(head.length / 4, 0);
    for (size_t i = 0; i < data.size(); ++i) {
      uint32_t big;
      std::memcpy(&big, buffer + offsetof(fw_cdev_event_response, data) + 4 * i, 4);
      data[i] = ntohl(big);
    }
    return head.rcode;
  }

  vx_VfwBus bus;
};

TEST_F(VfwBusTest, NodesAreTheHostAndOneDevicePerCamera) {
  EXPECT_EQ(bus.nodeNames(), (std::vector<std::string>{"fw0", "fw1", "fw2"}));
  EXPECT_EQ(bus.nodeOfPath("/dev/fw2"), 2);
  EXPECT_EQ(bus.nodeOfPath("/dev/fw3"), -1);
  EXPECT_EQ(bus.nodeOfPath("/dev/fw1x"), -1);
}

TEST_F(VfwBusTest, DeviceInfoGivesTheHostEndianRomAndTheBusState) {
  fw_cdev_event_bus_reset reset{};
  std::vector<uint32_t> rom;
  const int fd = openCamera(2, &reset, &rom);
  const std::vector<uint32_t> expected = vx_SimCamera(profiles({"orbel-ux1600b"})[0]).configRom();
  EXPECT_EQ(rom, expected);
  EXPECT_EQ(rom[1], 0x31333934u);  // "1394" as a number, not as bytes
  // Camera 1 of two is node 1; the host is node 2, the root.
  EXPECT_EQ(reset.node_id, 0xFFC1u);
  EXPECT_EQ(reset.local_node_id, 0xFFC2u);
  EXPECT_EQ(reset.root_node_id, 0xFFC2u);
  EXPECT_EQ(reset.generation, 1u);
  bus.close(fd);
}

TEST_F(VfwBusTest, RequestsAnswerWithBigEndianPayloadsAndRcodes) {
  fw_cdev_event_bus_reset reset{};
  std::vector<uint32_t> rom;
  const int fd = openCamera(1, &reset, &rom);
  std::vector<uint32_t> data(4, 0);
  ASSERT_EQ(request(fd, TCODE_READ_BLOCK_REQUEST, 0xFFFFF0000400ull, data, reset.generation), uint32_t(RCODE_COMPLETE));
  EXPECT_EQ(data, std::vector<uint32_t>(rom.begin(), rom.begin() + 4));

  std::vector<uint32_t> value = {0x82000123u};
  EXPECT_EQ(request(fd, TCODE_WRITE_QUADLET_REQUEST, 0xFFFFF0F00800ull, value, reset.generation), uint32_t(RCODE_COMPLETE));
  EXPECT_TRUE(value.empty());  // a write's response carries no data
  std::vector<uint32_t> back(1, 0);
  ASSERT_EQ(request(fd, TCODE_READ_QUADLET_REQUEST, 0xFFFFF0F00800ull, back, reset.generation), uint32_t(RCODE_COMPLETE));
  EXPECT_EQ(back[0] & 0xFFFu, 0x123u);

  std::vector<uint32_t> stale(1, 0);
  EXPECT_EQ(request(fd, TCODE_READ_QUADLET_REQUEST, 0xFFFFF0F00800ull, stale, reset.generation + 1),
            uint32_t(RCODE_GENERATION));
  std::vector<uint32_t> outside(1, 0);
  EXPECT_EQ(request(fd, TCODE_READ_QUADLET_REQUEST, 0xFFFFE0000000ull, outside, reset.generation),
            uint32_t(RCODE_ADDRESS_ERROR));

  // A write block shorter than one quadlet: answered with a type error, the
  // two bytes behind its pointer left unread.
  const uint16_t half = 0x1234;
  fw_cdev_send_request shortBlock{};
  shortBlock.tcode = TCODE_WRITE_BLOCK_REQUEST;
  shortBlock.length = 2;
  shortBlock.offset = 0xFFFFF0F00800ull;
  shortBlock.data = reinterpret_cast<uintptr_t>(&half);
  shortBlock.generation = reset.generation;
  ASSERT_EQ(bus.ioctl(fd, FW_CDEV_IOC_SEND_REQUEST, &shortBlock), 0);
  alignas(8) unsigned char buffer[256];
  ASSERT_GE(bus.read(fd, buffer, sizeof buffer), ssize_t(offsetof(fw_cdev_event_response, data)));
  fw_cdev_event_response head;
  std::memcpy(&head, buffer, offsetof(fw_cdev_event_response, data));
  EXPECT_EQ(head.rcode, uint32_t(RCODE_TYPE_ERROR));
  bus.close(fd);
}

TEST_F(VfwBusTest, ResetReachesClientsThatAskedForDeviceInfo) {
  const int informed = openCamera(1);
  const int silent = bus.open(1, O_RDWR | O_NONBLOCK);
  bus.busReset();
  fw_cdev_event_bus_reset event{};
  ASSERT_EQ(bus.read(informed, &event, sizeof event), ssize_t(sizeof event));
  EXPECT_EQ(event.type, uint32_t(FW_CDEV_EVENT_BUS_RESET));
  EXPECT_EQ(event.generation, 2u);
  char byte;
  EXPECT_EQ(bus.read(silent, &byte, 1), -1);
  EXPECT_EQ(errno, EAGAIN);
  bus.close(informed);
  bus.close(silent);
}

TEST_F(VfwBusTest, UnplugHangsUpTheNodeAfterItsLastEvent) {
  const int camera = openCamera(1);
  const int other = openCamera(2);
  ASSERT_TRUE(bus.unplug(0));
  EXPECT_EQ(bus.nodeOfPath("/dev/fw1"), -1);
  EXPECT_EQ(bus.open(1, O_RDWR), -1);
  EXPECT_EQ(errno, ENOENT);
  fw_cdev_get_info info{};
  EXPECT_EQ(bus.ioctl(camera, FW_CDEV_IOC_GET_INFO, &info), -1);
  EXPECT_EQ(errno, ENODEV);
  pollfd fds{camera, POLLIN, 0};
  ASSERT_EQ(::poll(&fds, 1, 0), 1);
  EXPECT_TRUE(fds.revents & POLLHUP);
  char buffer[64];
  EXPECT_EQ(bus.read(camera, buffer, sizeof buffer), -1);
  EXPECT_EQ(errno, ENODEV);
  // The camera that stays sees the smaller bus: it is node 0 of two now.
  fw_cdev_event_bus_reset event{};
  ASSERT_EQ(bus.read(other, &event, sizeof event), ssize_t(sizeof event));
  EXPECT_EQ(event.node_id, 0xFFC0u);
  EXPECT_EQ(event.root_node_id, 0xFFC1u);
  EXPECT_TRUE(bus.replug(0));
  EXPECT_EQ(bus.nodeOfPath("/dev/fw1"), 1);
  bus.close(camera);
  bus.close(other);
}

TEST_F(VfwBusTest, IsoResourcesComeFromOnePoolOfTheBus) {
  const int a = openCamera(1);
  const int b = openCamera(2);
  auto allocate = [&](int fd, uint64_t channels, uint32_t bandwidth) {
    fw_cdev_allocate_iso_resource r{};
    r.closure = 5;
    r.channels = channels;
    r.bandwidth = bandwidth;
    EXPECT_EQ(bus.ioctl(fd, FW_CDEV_IOC_ALLOCATE_ISO_RESOURCE, &r), 0);
    fw_cdev_event_iso_resource event{};
    EXPECT_EQ(bus.read(fd, &event, sizeof event), ssize_t(sizeof event));
    EXPECT_EQ(event.type, uint32_t(FW_CDEV_EVENT_ISO_RESOURCE_ALLOCATED));
    return event;
  };
  EXPECT_EQ(allocate(a, 0xFFFF, 3000).channel, 0);
  const fw_cdev_event_iso_resource second = allocate(b, 0xFFFF, 1000);
  EXPECT_EQ(second.channel, 1);
  EXPECT_EQ(second.bandwidth, 1000);
  const fw_cdev_event_iso_resource tooMuch = allocate(b, 0xFFFF, 1000);
  EXPECT_EQ(tooMuch.channel, -1);
  EXPECT_EQ(tooMuch.bandwidth, 0);
  // Closing a client gives its channel and bandwidth back.
  bus.close(a);
  EXPECT_EQ(allocate(b, 0x1, 3000).channel, 0);

  // A one-shot deallocation of more than the bus's whole budget is refused,
  // as an allocation is, and the pool stays as it was.
  fw_cdev_allocate_iso_resource huge{};
  huge.bandwidth = 0x81C0FFEEu;
  EXPECT_EQ(bus.ioctl(b, FW_CDEV_IOC_DEALLOCATE_ISO_RESOURCE_ONCE, &huge), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(allocate(b, 0, 1000).bandwidth, 0);  // 4915 - 3000 - 1000 left: 915
  bus.close(b);
}

TEST_F(VfwBusTest, ReceiveContextFillsQueuedPacketsAndInterruptsPerFrame) {
  fw_cdev_event_bus_reset reset{};
  const int control = openCamera(1, &reset);
  const int iso = openCamera(1);
  fw_cdev_create_iso_context create{};
  create.type = FW_CDEV_ISO_CONTEXT_RECEIVE;
  create.header_size = 8;
  create.channel = 0;  // the camera's power-on channel (ISO_CHANNEL 0x02000000: channel 0, S400)
  create.closure = 99;
  ASSERT_EQ(bus.ioctl(iso, FW_CDEV_IOC_CREATE_ISO_CONTEXT, &create), 0);
  // 640x480 Mono at 30 frames per second: 240 packets of 1280 bytes.
  const auto packeting = vxVfwStandardPacketing(640, 480, vxPixelCoding::Mono8, 4);
  ASSERT_TRUE(packeting);
  ASSERT_EQ(packeting->packetsPerFrame, 240u);
  ASSERT_EQ(packeting->bytesPerPacket, 1280u);
  const size_t frameBytes = 240 * 1280;
  auto* buffer = static_cast<uint8_t*>(bus.mmap(iso, frameBytes, PROT_READ | PROT_WRITE, MAP_SHARED, 0));
  ASSERT_NE(buffer, MAP_FAILED);
  std::vector<uint32_t> packets(30);
  for (uint32_t& p : packets) p = FW_CDEV_ISO_HEADER_LENGTH(8 * 8) | FW_CDEV_ISO_PAYLOAD_LENGTH(1280 * 8);
  packets.front() |= FW_CDEV_ISO_SYNC;
  packets.back() |= FW_CDEV_ISO_INTERRUPT;
  fw_cdev_queue_iso queue{};
  queue.packets = reinterpret_cast<uintptr_t>(packets.data());
  queue.data = reinterpret_cast<uintptr_t>(buffer);
  queue.size = uint32_t(packets.size() * 4);
  ASSERT_EQ(bus.ioctl(iso, FW_CDEV_IOC_QUEUE_ISO, &queue), 0);
  fw_cdev_start_iso start{};
  start.cycle = -1;
  start.sync = 1;
  start.tags = FW_CDEV_ISO_CONTEXT_MATCH_ALL_TAGS;
  ASSERT_EQ(bus.ioctl(iso, FW_CDEV_IOC_START_ISO, &start), 0);
  std::vector<uint32_t> on = {0x80000000u};
  ASSERT_EQ(request(control, TCODE_WRITE_QUADLET_REQUEST, 0xFFFFF0F00614ull, on, reset.generation),
            uint32_t(RCODE_COMPLETE));

  pollfd fds{iso, POLLIN, 0};
  ASSERT_EQ(::poll(&fds, 1, 3000), 1);
  std::vector<uint8_t> event(64 * 1024);
  const ssize_t n = bus.read(iso, event.data(), event.size());
  fw_cdev_event_iso_interrupt head;
  const size_t headerAt = offsetof(fw_cdev_event_iso_interrupt, header);
  ASSERT_GE(n, ssize_t(headerAt));
  std::memcpy(&head, event.data(), headerAt);
  EXPECT_EQ(head.type, uint32_t(FW_CDEV_EVENT_ISO_INTERRUPT));
  EXPECT_EQ(head.closure, 99u);
  EXPECT_EQ(head.header_length, 240u * 8);
  uint32_t first = 0;
  std::memcpy(&first, event.data() + headerAt, 4);
  first = ntohl(first);
  EXPECT_EQ(first >> 16, 1280u);        // data length
  EXPECT_EQ((first >> 8) & 0x3F, 0u);   // channel
  EXPECT_EQ((first >> 4) & 0xF, 0xAu);  // isochronous data block
  EXPECT_EQ(first & 0xF, 1u);           // sy: the frame starts here
  std::vector<uint8_t> expected(frameBytes);
  // The camera's own frame 0, in the look its power-on registers give.
  const vx_SimCamera powerOn(profiles({"korvane-kv640m"}).front());
  vx_SimScene().render(0, 640, 480, vxPixelCoding::Mono8, vxSimSceneParams(powerOn, false), expected.data(),
                       expected.size());
  EXPECT_EQ(std::memcmp(buffer, expected.data(), frameBytes), 0);
  bus.unmapping(buffer, frameBytes);
  ::munmap(buffer, frameBytes);
  bus.close(iso);
  bus.close(control);
}

}  // namespace
