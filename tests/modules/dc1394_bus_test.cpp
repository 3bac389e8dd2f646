// Tests of the libdc1394 bus layer: address mapping, the user's notices and coming up without FireWire.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>

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

TEST(Dc1394Address, AbsoluteAddressesAreOffsetsFromTheCsrBase) {
  EXPECT_EQ(offsetOf(0xF0000400), 0x400u);  // the configuration ROM
  EXPECT_EQ(offsetOf(0xF0000000), 0x0u);
  EXPECT_EQ(offsetOf(0xF0F00600), 0xF00600u);
  EXPECT_EQ(offsetOf(0xFFFFFFFC), 0x0FFFFFFCu);
  // The command register base does not move absolute addresses.
  EXPECT_EQ(offsetOf(0xF0F00600, 0x00400000), 0xF00600u);
}

TEST(Dc1394Address, SmallAddressesAreTakenFromTheCommandRegisters) {
  EXPECT_EQ(offsetOf(0x800), 0xF00800u);
  EXPECT_EQ(offsetOf(0x0), 0xF00000u);
  // A camera whose command registers sit elsewhere.
  EXPECT_EQ(offsetOf(0x800, 0x00400000), 0x400800u);
  EXPECT_EQ(offsetOf(0x0FFFFFFC, 0), 0x0FFFFFFCu);
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
  EXPECT_TRUE(vxDc1394CsrOffset(0x0F0FFFFC, kStandardCommandOffset, offset, nullptr));
  EXPECT_EQ(offset, 0x0FFFFFFCu);
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
}

TEST(Dc1394Notices, CamerasOnUsbNeedNoFirewireNodes) {
  vx_Dc1394StackState state;
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

TEST(Dc1394Notices, OtherOpenErrorsAreNamedWithoutThePermissionAdvice) {
  vx_Dc1394StackState state;
  state.libraryUp = true;
  state.nodes = {node("/dev/fw1", EBUSY, vx_FwNodeProbe::Kind::Camera)};
  const auto notices = vxDc1394Notices(state);
  ASSERT_EQ(notices.size(), 1u);
  EXPECT_NE(notices[0].find("/dev/fw1"), std::string::npos);
  EXPECT_EQ(notices[0].find("udev"), std::string::npos) << notices[0];
}

TEST(Dc1394Notices, LibraryFailureWithUsableNodesCarriesTheReason) {
  vx_Dc1394StackState state;
  state.nodes = {node("/dev/fw0", 0, vx_FwNodeProbe::Kind::Other), node("/dev/fw1", 0, vx_FwNodeProbe::Kind::Camera)};
  state.libraryError = "Failed to initialize libdc1394";
  const auto notices = vxDc1394Notices(state);
  ASSERT_EQ(notices.size(), 1u);
  EXPECT_NE(notices[0].find("Failed to initialize libdc1394"), std::string::npos) << notices[0];
  state.libraryUp = true;
  state.libraryError.clear();
  EXPECT_TRUE(vxDc1394Notices(state).empty());
}

TEST(Dc1394Notices, CamerasThatDidNotOpenShareOneMessage) {
  vx_Dc1394StackState state;
  state.libraryUp = true;
  state.nodes = {node("/dev/fw1", 0, vx_FwNodeProbe::Kind::Camera), node("/dev/fw2", 0, vx_FwNodeProbe::Kind::Camera)};
  state.cameraCount = 0;
  state.unopened = {"GUID 00B09D0100A1B2C3 (timeout)", "GUID 0814436100003DA9 (no reason given)"};
  const auto notices = vxDc1394Notices(state);
  ASSERT_EQ(notices.size(), 1u);
  EXPECT_NE(notices[0].find("00B09D0100A1B2C3"), std::string::npos);
  EXPECT_NE(notices[0].find("0814436100003DA9"), std::string::npos);
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
