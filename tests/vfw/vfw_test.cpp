// The libdc1394 bus layer end to end: pralix and a probe program run under pralix-vfw, compared with the simulated bus.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "modules/qrvnvdcam/sim/profile.h"

namespace {

struct Result {
  int status = -1;
  std::string out;
};

const std::vector<std::string> kProfiles = {"korvane-kv640m", "tessaly-f7flex", "orbel-ux1600b"};

// Runs a shell command line (stderr thrown away) and collects its output.
Result run(const std::string& command) {
  Result result;
  FILE* pipe = popen((command + " 2>/dev/null").c_str(), "r");
  if (!pipe) return result;
  std::array<char, 4096> buf;
  size_t n;
  while ((n = fread(buf.data(), 1, buf.size(), pipe)) > 0) result.out.append(buf.data(), n);
  const int raw = pclose(pipe);
  result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  return result;
}

// pralix over libdc1394 on the virtual bus with these camera profiles.
Result underVfw(const std::string& profiles, const std::string& args) {
  return run(std::string("env -u PRALIX_SIMULATE ") + PRALIX_VFW_BIN + " --profiles " + profiles + " -- " +
             PRALIX_BIN + " " + args);
}

// pralix over the simulated bus directly.
Result simulated(const std::string& profiles, const std::string& args) {
  return run(std::string("env -u PRALIX_SIMULATE ") + PRALIX_BIN + " --simulate " + profiles + " " + args);
}

// Report lines that say how long something took or which bus layer answered
// differ between the two runs by nature; everything else must not.
std::string withoutTimingAndModule(const std::string& text) {
  static const std::regex volatileLine(R"(time|took|[0-9.]+ ?(us|ms|µs)\b|simulated|libdc1394|bus layer)",
                                       std::regex::icase);
  std::istringstream in(text);
  std::string kept;
  for (std::string line; std::getline(in, line);)
    if (!std::regex_search(line, volatileLine)) kept += line + "\n";
  return kept;
}

std::string profileList() {
  std::string list;
  for (const std::string& p : kProfiles) list += (list.empty() ? "" : ",") + p;
  return list;
}

TEST(VfwPralix, ListsTheVirtualCamerasAsTheSimulatedBusDoes) {
  const Result virt = underVfw(profileList(), "list");
  const Result sim = simulated(profileList(), "list");
  ASSERT_EQ(virt.status, 0) << virt.out;
  EXPECT_EQ(virt.out, sim.out);
  EXPECT_NE(virt.out.find("KV-640M"), std::string::npos) << virt.out;
  EXPECT_EQ(virt.out.find("not responding"), std::string::npos) << virt.out;
}

TEST(VfwPralix, ReadsAndWritesInBothAddressForms) {
  for (const std::string& profile : kProfiles) {
    SCOPED_TRACE(profile);
    for (const char* address : {"800", "F0F00800", "F0000400", "F000040C", "608"}) {
      const Result virt = underVfw(profile, std::string("read ") + address);
      const Result sim = simulated(profile, std::string("read ") + address);
      ASSERT_EQ(virt.status, 0) << address;
      EXPECT_EQ(virt.out, sim.out) << address;
    }
    EXPECT_EQ(underVfw(profile, "read 800").out, underVfw(profile, "read F0F00800").out);
    // A write to BRIGHTNESS in either form succeeds; an unaligned address is refused alike.
    EXPECT_EQ(underVfw(profile, "write 800 82000010").status, 0);
    EXPECT_EQ(underVfw(profile, "write F0F00800 82000010").status, 0);
    EXPECT_EQ(underVfw(profile, "read 802").status, simulated(profile, "read 802").status);
    EXPECT_NE(underVfw(profile, "read 802").status, 0);
  }
}

TEST(VfwPralix, DumpAndCapabilitiesMatchTheSimulatedBusLineForLine) {
  for (const std::string& profile : kProfiles) {
    SCOPED_TRACE(profile);
    for (const char* report : {"dump", "caps"}) {
      const Result virt = underVfw(profile, report);
      const Result sim = simulated(profile, report);
      ASSERT_EQ(virt.status, 0) << report;
      const std::string kept = withoutTimingAndModule(virt.out);
      // Only a handful of lines may be set aside; the report itself is compared.
      EXPECT_GT(std::count(kept.begin(), kept.end(), '\n') + 10, std::count(virt.out.begin(), virt.out.end(), '\n'));
      EXPECT_EQ(kept, withoutTimingAndModule(sim.out)) << report;
    }
  }
}

// The probe under pralix-vfw with a control FIFO, read line by line.
class Probe {
 public:
  Probe(const std::string& profiles, const std::string& args) {
    m_fifo = ::testing::TempDir() + "vfw_control_" + std::to_string(getpid()) + "_" + std::to_string(s_count++);
    ::unlink(m_fifo.c_str());
    const std::string command = std::string(PRALIX_VFW_BIN) + " --profiles " + profiles + " --control " + m_fifo +
                                " -- " + VFW_PROBE_BIN + " " + args + " 2>/dev/null";
    m_pipe = popen(command.c_str(), "r");
  }
  ~Probe() {
    if (m_pipe) pclose(m_pipe);
    ::unlink(m_fifo.c_str());
  }
  // Reads lines until one contains text; false at the end of the output.
  bool waitFor(const std::string& text) {
    char buf[512];
    while (m_pipe && fgets(buf, sizeof buf, m_pipe)) {
      m_out += buf;
      if (std::string(buf).find(text) != std::string::npos) return true;
    }
    return false;
  }
  void send(const std::string& line) {
    std::ofstream(m_fifo) << line << "\n";
  }
  std::string rest() {
    waitFor("\x01never");
    return m_out;
  }
  int finish() {
    rest();
    const int raw = pclose(m_pipe);
    m_pipe = nullptr;
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  }
  const std::string& out() const { return m_out; }

 private:
  static inline int s_count = 0;
  std::string m_fifo;
  FILE* m_pipe = nullptr;
  std::string m_out;
};

TEST(VfwEvents, BusResetAndUnplugReachTheLayerAsBusEvents) {
  Probe probe(profileList(), "events 6");
  ASSERT_TRUE(probe.waitFor("ready")) << probe.out();
  probe.send("reset");
  ASSERT_TRUE(probe.waitFor("event camera 2")) << probe.out();
  probe.send("unplug 0");
  EXPECT_EQ(probe.finish(), 0) << probe.out();
  const std::string out = probe.out();
  // The reset: every camera sees generation 2 with the host as node 3 of 4.
  for (int camera = 0; camera < 3; ++camera)
    EXPECT_NE(out.find("event camera " + std::to_string(camera) + " flags 1 generation 2 nodes 4 host 3"),
              std::string::npos)
        << out;
  // The unplug: camera 0 reports leaving, the others a reset of a smaller bus.
  EXPECT_NE(out.find("event camera 0 flags 16"), std::string::npos) << out;
  EXPECT_NE(out.find("event camera 1 flags 1 generation 3 nodes 3 host 2"), std::string::npos) << out;
  EXPECT_NE(out.find("camera 0 unplugged, read fails"), std::string::npos) << out;
  EXPECT_NE(out.find("camera 1 plugged, read works"), std::string::npos) << out;
}

TEST(VfwStream, EachStandardFormatsFirstModeDeliversTheScene) {
  const char* data = std::getenv("PRALIX_DATA_DIR");
  const std::vector<std::string> dirs = {std::string(data ? data : PRALIX_SOURCE_DATA_DIR) + "/profiles"};
  int tried = 0;
  for (const std::string& name : kProfiles) {
    const vx_SimProfile profile = vxLoadSimProfile(vxResolveSimProfile(name, dirs));
    for (int format = 0; format <= 2; ++format) {
      for (int mode = 0; mode < 8; ++mode) {
        if (!profile.modeSupported(format, mode)) continue;
        // The slowest rate: the fast ones of the large modes need more than S400 carries.
        int rate = 0;
        while (rate < 8 && !profile.rateSupported(format, mode, rate)) ++rate;
        SCOPED_TRACE(name + " format " + std::to_string(format) + " mode " + std::to_string(mode));
        const Result r = run(std::string(PRALIX_VFW_BIN) + " --profiles " + name + " -- " + VFW_PROBE_BIN +
                             " stream 2 " + std::to_string(format) + " " + std::to_string(mode) + " " +
                             std::to_string(rate));
        EXPECT_EQ(r.status, 0) << r.out;
        // Two whole frames, each one the scene's next frame to the pixel.
        EXPECT_NE(r.out.find("frame 0 flags 0 scene 0"), std::string::npos) << r.out;
        EXPECT_NE(r.out.find("frame 1 flags 0 scene 1"), std::string::npos) << r.out;
        ++tried;
        break;  // the first mode of this format only
      }
    }
  }
  EXPECT_GE(tried, 5);
}

TEST(VfwStream, UnplugDuringAcquisitionEndsTheStreamAndIsReported) {
  Probe probe("korvane-kv640m", "unplug");
  ASSERT_TRUE(probe.waitFor("streaming")) << probe.out();
  probe.send("unplug 0");
  EXPECT_EQ(probe.finish(), 0) << probe.out();
  EXPECT_NE(probe.out().find("frame says the camera left"), std::string::npos) << probe.out();
  EXPECT_NE(probe.out().find("event camera 0 flags 16"), std::string::npos) << probe.out();
}

}  // namespace
