// Tests of the libdc1394 bus layer: address mapping, the user's notices and coming up without FireWire.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <vector>

#include "modules/qrvnvdcam/dc1394/dc1394_bus.h"
#include "modules/qrvnvdcam/dc1394/dc1394_log.h"

namespace {

constexpr uint32_t kStandardCommandOffset = 0x00F00000;

uint64_t offsetOf(uint32_t address, uint32_t commandOffset = kStandardCommandOffset) {
  uint64_t offset = ~uint64_t{0};
  std::string error;
  EXPECT_TRUE(vxDc1394CsrOffset(address, commandOffset, offset, &error)) << std::hex << address << ": " << error;
  return offset;
}

TEST(Dc1394Address, AbsoluteAddressesAreCsrOffsetsAndSmallOnesCommandRegisterOffsets) {
  const struct {
    uint32_t address, commandOffset;
    uint64_t offset;
  } cases[] = {
      {0xF0000400, kStandardCommandOffset, 0x400},  // the configuration ROM
      {0xF0000000, kStandardCommandOffset, 0x0},
      {0xF0F00600, kStandardCommandOffset, 0xF00600},
      {0xFFFFFFFC, kStandardCommandOffset, 0x0FFFFFFC},
      {0xF0F00600, 0x00400000, 0xF00600},  // the command register base does not move absolute addresses
      {0x800, kStandardCommandOffset, 0xF00800},
      {0x0, kStandardCommandOffset, 0xF00000},
      {0x800, 0x00400000, 0x400800},  // a camera whose command registers sit elsewhere
      {0x0FFFFFFC, 0, 0x0FFFFFFC},
      {0x0F0FFFFC, kStandardCommandOffset, 0x0FFFFFFC},  // the last quadlet of the CSR space
  };
  for (const auto& c : cases) EXPECT_EQ(offsetOf(c.address, c.commandOffset), c.offset) << std::hex << c.address;
}

TEST(Dc1394Address, RefusesUnalignedAndOutOfSpaceAddresses) {
  uint64_t offset = 7;
  std::string error;
  EXPECT_FALSE(vxDc1394CsrOffset(0xF0F00602, kStandardCommandOffset, offset, &error));
  EXPECT_NE(error.find("F0F00602"), std::string::npos) << error;
  EXPECT_EQ(offset, 7u);
  error.clear();
  // Past the end of the CSR space once the command offset is added.
  EXPECT_FALSE(vxDc1394CsrOffset(0x0F100000, kStandardCommandOffset, offset, &error));
  EXPECT_NE(error.find("0F100000"), std::string::npos) << error;
}

vx_FwNodeProbe node(const char* path, int openError, vx_FwNodeProbe::Kind kind) {
  vx_FwNodeProbe probe;
  probe.path = path;
  probe.openError = openError;
  probe.kind = kind;
  return probe;
}

TEST(Dc1394Notices, NoDeviceNodesGiveOneMessageNamingTheDriver) {
  vx_Dc1394StackState state;
  state.libraryUp = true;
  const auto notices = vxDc1394Notices(state);
  ASSERT_EQ(notices.size(), 1u);
  EXPECT_NE(notices[0].find("/dev/fw"), std::string::npos) << notices[0];
  EXPECT_NE(notices[0].find("firewire-ohci"), std::string::npos) << notices[0];
  // libdc1394 failing as well is the same cause, not a second message.
  state.libraryUp = false;
  state.libraryError = "Failed to initialize libdc1394";
  EXPECT_EQ(vxDc1394Notices(state), notices);
  // Cameras on USB need no FireWire nodes.
  state.libraryUp = true;
  state.cameraCount = 1;
  EXPECT_TRUE(vxDc1394Notices(state).empty());
}

TEST(Dc1394Notices, UnreadableCameraNodesAreNamedWithTheUdevFix) {
  using Kind = vx_FwNodeProbe::Kind;
  vx_Dc1394StackState state;
  state.libraryUp = true;
  state.nodes = {node("/dev/fw0", EACCES, Kind::Other), node("/dev/fw1", EACCES, Kind::Camera),
                 node("/dev/fw2", 0, Kind::Camera), node("/dev/fw3", EPERM, Kind::Unknown)};
  const auto notices = vxDc1394Notices(state);
  ASSERT_EQ(notices.size(), 1u);
  const std::string& text = notices[0];
  EXPECT_NE(text.find("/dev/fw1"), std::string::npos) << text;
  EXPECT_NE(text.find("/dev/fw3"), std::string::npos) << text;
  // The host adapter's own node is usually root's and says nothing about cameras.
  EXPECT_EQ(text.find("/dev/fw0"), std::string::npos) << text;
  EXPECT_EQ(text.find("/dev/fw2"), std::string::npos) << text;
  EXPECT_NE(text.find("udev"), std::string::npos) << text;
  EXPECT_NE(text.find("video group"), std::string::npos) << text;
  EXPECT_NE(text.find("0x00a02d"), std::string::npos) << text;
}

TEST(Dc1394Notices, EachOtherCauseIsOneMessageNamingWhatFailed) {
  using Kind = vx_FwNodeProbe::Kind;
  struct Case {
    vx_Dc1394StackState state;
    std::vector<std::string> named;
  };
  std::vector<Case> cases(3);
  // An open error other than permissions, without the udev advice.
  cases[0].state.libraryUp = true;
  cases[0].state.nodes = {node("/dev/fw1", EBUSY, Kind::Camera)};
  cases[0].named = {"/dev/fw1"};
  // libdc1394 failing with usable nodes gives its reason.
  cases[1].state.nodes = {node("/dev/fw0", 0, Kind::Other), node("/dev/fw1", 0, Kind::Camera)};
  cases[1].state.libraryError = "Failed to initialize libdc1394";
  cases[1].named = {"Failed to initialize libdc1394"};
  // Cameras that did not open share one message.
  cases[2].state.libraryUp = true;
  cases[2].state.nodes = {node("/dev/fw1", 0, Kind::Camera), node("/dev/fw2", 0, Kind::Camera)};
  cases[2].state.unopened = {"GUID 00B09D0100A1B2C3 (timeout)", "GUID 0814436100003DA9 (no reason given)"};
  cases[2].named = {"00B09D0100A1B2C3", "0814436100003DA9"};
  for (const Case& c : cases) {
    const auto notices = vxDc1394Notices(c.state);
    ASSERT_EQ(notices.size(), 1u) << c.named[0];
    for (const std::string& name : c.named) EXPECT_NE(notices[0].find(name), std::string::npos) << notices[0];
    EXPECT_EQ(notices[0].find("udev"), std::string::npos) << notices[0];
  }
  // With the library up and the nodes usable there is nothing to say.
  vx_Dc1394StackState fine = cases[1].state;
  fine.libraryUp = true;
  fine.libraryError.clear();
  EXPECT_TRUE(vxDc1394Notices(fine).empty());
}

TEST(Dc1394Log, LibraryMessagesAreKeptNotPrinted) {
  vx_Dc1394Log::install();
  vx_Dc1394Log::install();  // a second layer installs again
  const unsigned long before = vx_Dc1394Log::problemCount();
  testing::internal::CaptureStderr();
  dc1394_log_error("could not open %s", "/dev/fw9");
  dc1394_log_debug("chatter");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(vx_Dc1394Log::problemCount(), before + 1);  // debug lines are no problem
  EXPECT_EQ(vx_Dc1394Log::lastProblem(), "could not open /dev/fw9");
  dc1394_log_warning("bandwidth low\n");
  EXPECT_EQ(vx_Dc1394Log::lastProblem(), "bandwidth low");
  const auto recent = vx_Dc1394Log::recent();
  ASSERT_GE(recent.size(), 3u);
  EXPECT_EQ(recent[recent.size() - 2], "debug: chatter");
  EXPECT_EQ(recent.back(), "warning: bandwidth low");
}

bool machineHasFirewireNodes() { return !vxProbeFwNodes().empty(); }

// This machine has no FireWire stack: the layer must come up empty, say why
// once, and keep libdc1394's chatter off the terminal.
TEST(Dc1394BusLayer, ComesUpEmptyWithOneNoticeWhenThereAreNoDeviceNodes) {
  if (machineHasFirewireNodes()) GTEST_SKIP() << "this machine has FireWire device nodes";
  // Makes libdc1394's default handler print its debug lines too.
  ::setenv("DC1394_DEBUG", "1", 1);
  testing::internal::CaptureStderr();
  std::unique_ptr<vx_Dc1394BusLayer> layer = vxCreateDc1394BusLayer();
  const std::string noise = testing::internal::GetCapturedStderr();
  ::unsetenv("DC1394_DEBUG");
  ASSERT_NE(layer, nullptr);
  EXPECT_EQ(noise, "");
  EXPECT_EQ(layer->cameraCount(), 0);
  EXPECT_EQ(layer->name(), "libdc1394");
  EXPECT_EQ(layer->description(), "libdc1394: 0 cameras");
  const auto notices = layer->notices();
  ASSERT_EQ(notices.size(), 1u);
  EXPECT_NE(notices[0].find("/dev/fw"), std::string::npos) << notices[0];
  // What libdc1394 said went to the log instead.
  EXPECT_FALSE(vx_Dc1394Log::recent().empty());
}

TEST(Dc1394BusLayer, UnknownCameraIndexesFailWithoutThrowing) {
  std::unique_ptr<vx_Dc1394BusLayer> layer = vxCreateDc1394BusLayer();
  ASSERT_NE(layer, nullptr);
  const int beyond = layer->cameraCount();
  uint32_t value = 0x1234;
  std::string error;
  EXPECT_FALSE(layer->readQuadlet(beyond, 0x800, value, &error));
  EXPECT_EQ(value, 0x1234u);
  EXPECT_FALSE(error.empty());
  error.clear();
  EXPECT_FALSE(layer->writeQuadlet(-1, 0x800, 0, &error));
  EXPECT_FALSE(error.empty());
  EXPECT_FALSE(layer->isPlugged(beyond));
  EXPECT_EQ(layer->nodeNumber(beyond), -1);
  EXPECT_EQ(layer->openStream(beyond, vx_StreamParams{}), nullptr);
  EXPECT_EQ(layer->identity(beyond).guid, 0u);
  // Installing and removing the sink is harmless with nothing to report.
  layer->setEventSink([](int, const vxDcamBusEventInfo&) {});
  layer->setEventSink({});
}

}  // namespace
