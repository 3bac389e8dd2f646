// Bus transactions and time of one register dump and one capabilities report per shipped profile.
//
// Each iteration builds the report on a freshly started simulated camera, so
// every run sees the camera in its power-on state. Counters:
//   transactions  the simulated bus's own count for the report
//   reads, writes the same split by kind, as the report's camera saw them
//   rereads       reads of an address that returned the value the previous
//                 read of that address returned, with no write to the camera
//                 in between: reads that could not have told anything new
//   inquiryRereads those of the rereads that fetch the video format, mode and
//                 rate inquiry registers (offsets 0x100 to 0x2DC) again; they
//                 are constant, so the reports need each of them only once
//                 outside the raw register dump
// Set PRALIX_BENCH_LIST_REREADS=1 to have the rereads listed on standard error.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>

#include "acquisition/sim_control.h"
#include "modules/qrvnvdcam/module.h"
#include "utilities/capabilities_report.h"
#include "utilities/register_dump.h"

namespace {

const char* kProfiles[] = {"korvane-kv640m", "tessaly-f7flex", "orbel-ux1600b"};

// Passes every access on to the module's camera and keeps account of it.
class RecordingCamera final : public vx1394DCAM {
 public:
  explicit RecordingCamera(vx1394DCAM& camera)
      : m_camera(camera), m_commandBase(camera.identity().commandRegsBase) {}

  int cameraNumber() const override { return m_camera.cameraNumber(); }
  vxDcamIdentity identity() const override { return m_camera.identity(); }
  bool isPlugged() const override { return m_camera.isPlugged(); }
  int nodeNumber() const override { return m_camera.nodeNumber(); }
  std::unique_ptr<vx_DcamStream> openStream(const vx_StreamParams& params) override {
    return m_camera.openStream(params);
  }

  bool readQuadlet(uint32_t address, uint32_t& value, std::string* error) override {
    const bool ok = m_camera.readQuadlet(address, value, error);
    ++reads;
    auto seen = m_lastRead.find(address);
    if (ok && seen != m_lastRead.end() && seen->second.epoch == m_writes && seen->second.value == value) {
      ++rereads;
      const uint32_t offset = address >= kCsrSpaceBase ? address - m_commandBase : address;
      if (offset >= kVideoInquiryFirst && offset <= kVideoInquiryLast) ++inquiryRereads;
      if (m_list) std::fprintf(stderr, "  reread %08X = %08X\n", address, value);
    }
    if (ok) m_lastRead[address] = {value, m_writes};
    return ok;
  }
  bool writeQuadlet(uint32_t address, uint32_t value, std::string* error) override {
    ++writes;
    ++m_writes;
    return m_camera.writeQuadlet(address, value, error);
  }

  void setListing(bool list) { m_list = list; }

  uint64_t reads = 0;
  uint64_t writes = 0;
  uint64_t rereads = 0;
  uint64_t inquiryRereads = 0;

 private:
  static constexpr uint32_t kVideoInquiryFirst = 0x100;  // V_FORMAT_INQ
  static constexpr uint32_t kVideoInquiryLast = 0x2DC;   // the last V_RATE_INQ

  struct Seen {
    uint32_t value;
    uint64_t epoch;  // writes made before the read
  };
  vx1394DCAM& m_camera;
  uint32_t m_commandBase;
  std::map<uint32_t, Seen> m_lastRead;
  uint64_t m_writes = 0;
  bool m_list = false;
};

// A module that hands out the recording camera in place of its own.
class RecordingModule final : public vx_DcamModule {
 public:
  explicit RecordingModule(const char* profile) {
    vx_ModuleOptions options;
    options.simulate = true;
    options.realBus = false;
    options.simulatedProfiles = {profile};
    options.profileDirs = {std::string(PRALIX_SOURCE_DATA_DIR) + "/profiles"};
    m_module = std::make_unique<vx_QrvnvDcamModule>(options);
    m_camera = std::make_unique<RecordingCamera>(m_module->camera(0));
    // A bus that answers at once: the time measured is the report's own.
    m_module->simControl()->setLatency(std::chrono::microseconds(0), std::chrono::microseconds(0));
    m_module->simControl()->resetTransactionCount(0);
  }

  std::string name() const override { return m_module->name(); }
  std::string version() const override { return m_module->version(); }
  std::vector<std::string> busLayers() const override { return m_module->busLayers(); }
  std::vector<std::string> notices() const override { return m_module->notices(); }
  int cameraCount() const override { return 1; }
  vx1394DCAM& camera(int number) override {
    if (number != 0) return m_module->camera(number);  // raises the module's error
    return *m_camera;
  }
  int registerBusEventCallback(int cameraNumber, vxDcamBusEventCallback callback) override {
    return m_module->registerBusEventCallback(cameraNumber, std::move(callback));
  }
  void unregisterBusEventCallback(int id) override { m_module->unregisterBusEventCallback(id); }
  vx_SimBusControl* simControl() override { return m_module->simControl(); }

  RecordingCamera& recorder() { return *m_camera; }
  uint64_t transactions() { return m_module->simControl()->transactionCount(0); }

 private:
  std::unique_ptr<vx_QrvnvDcamModule> m_module;
  std::unique_ptr<RecordingCamera> m_camera;
};

template <typename Build>
void measureReport(benchmark::State& state, const char* what, Build build) {
  const char* profile = kProfiles[state.range(0)];
  state.SetLabel(profile);
  const bool list = std::getenv("PRALIX_BENCH_LIST_REREADS") != nullptr;
  bool listed = false;
  uint64_t transactions = 0, reads = 0, writes = 0, rereads = 0, inquiryRereads = 0;
  size_t bytes = 0;
  for (auto _ : state) {
    state.PauseTiming();
    auto module = std::make_unique<RecordingModule>(profile);
    if (list && !listed) std::fprintf(stderr, "%s of %s:\n", what, profile);
    module->recorder().setListing(list && !listed);
    listed = true;
    state.ResumeTiming();

    const std::string report = build(*module);
    benchmark::DoNotOptimize(report.data());

    state.PauseTiming();
    transactions = module->transactions();
    reads = module->recorder().reads;
    writes = module->recorder().writes;
    rereads = module->recorder().rereads;
    inquiryRereads = module->recorder().inquiryRereads;
    bytes = report.size();
    if (transactions != reads + writes) state.SkipWithError("the bus saw other transactions than the report made");
    module.reset();
    state.ResumeTiming();
  }
  state.counters["transactions"] = static_cast<double>(transactions);
  state.counters["reads"] = static_cast<double>(reads);
  state.counters["writes"] = static_cast<double>(writes);
  state.counters["rereads"] = static_cast<double>(rereads);
  state.counters["inquiryRereads"] = static_cast<double>(inquiryRereads);
  state.counters["bytes"] = static_cast<double>(bytes);
}

void BM_RegisterDump(benchmark::State& state) {
  measureReport(state, "register dump",
                [](vx_DcamModule& module) { return vxRegisterDumpBuilder::build(0, module, {}); });
}

void BM_CapabilitiesReport(benchmark::State& state) {
  measureReport(state, "capabilities report",
                [](vx_DcamModule& module) { return vxCapabilitiesReportBuilder::build(0, module, {}); });
}

}  // namespace

BENCHMARK(BM_RegisterDump)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CapabilitiesReport)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
