// Test doubles of the acquisition module: a register-map camera, an IIDC camera with an image stream, a module.
#include "support/fake_camera.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "base/format.h"

FakeCamera::FakeCamera(int number, bool strict)
    : model(vxFormat("Cam%d", number)), m_number(number), m_strict(strict) {}

vxDcamIdentity FakeCamera::identity() const {
  vxDcamIdentity id;
  id.vendor = vendor;
  id.model = model;
  id.guid = guid != 0 ? guid : 0x1000u + static_cast<uint64_t>(m_number);
  id.unitSpecId = 0x00A02D;
  id.unitSwVersion = unitSwVersion;
  id.commandRegsBase = kDefaultCommandRegsBase;
  id.busLayer = "fake";
  return id;
}

bool FakeCamera::readQuadlet(uint32_t address, uint32_t& value, std::string* error) {
  std::lock_guard lock(m_mutex);
  const uint32_t a = normalise(address);
  ++m_reads;
  m_readAddresses.push_back(a);
  if (m_throw) throw vx_AcqModule::Error("bus layer gave up");
  if (!m_plugged || m_readFaults.count(a) || (m_strict && !m_regs.count(a))) {
    if (error) *error = vxFormat("no answer at 0x%08X", a);
    return false;
  }
  value = at(a);
  return true;
}

bool FakeCamera::writeQuadlet(uint32_t address, uint32_t value, std::string* error) {
  std::lock_guard lock(m_mutex);
  const uint32_t a = normalise(address);
  ++m_writes;
  if (m_throw) throw vx_AcqModule::Error("bus layer gave up");
  if (!m_plugged || m_writeFaults.count(a)) {
    if (error) *error = vxFormat("no answer at 0x%08X", a);
    return false;
  }
  m_writeLog.emplace_back(a, value);
  store(a, value);
  return true;
}

void FakeCamera::set(uint32_t address, uint32_t value) {
  std::lock_guard lock(m_mutex);
  m_regs[normalise(address)] = value;
}

uint32_t FakeCamera::get(uint32_t address) const {
  std::lock_guard lock(m_mutex);
  return at(normalise(address));
}

void FakeCamera::failReads(uint32_t address) {
  std::lock_guard lock(m_mutex);
  m_readFaults.insert(normalise(address));
}

void FakeCamera::failWrites(uint32_t address) {
  std::lock_guard lock(m_mutex);
  m_writeFaults.insert(normalise(address));
}

void FakeCamera::heal() {
  std::lock_guard lock(m_mutex);
  m_readFaults.clear();
  m_writeFaults.clear();
}

void FakeCamera::setPlugged(bool plugged) {
  std::lock_guard lock(m_mutex);
  m_plugged = plugged;
  m_wake.notify_all();
}

std::vector<uint32_t> FakeCamera::readAddresses() const {
  std::lock_guard lock(m_mutex);
  return m_readAddresses;
}

std::vector<std::pair<uint32_t, uint32_t>> FakeCamera::writes() const {
  std::lock_guard lock(m_mutex);
  return m_writeLog;
}

void FakeCamera::clearWrites() {
  std::lock_guard lock(m_mutex);
  m_writeLog.clear();
}

// ---- the IIDC camera ----

namespace {

constexpr uint32_t kOn = 1u << 31;

constexpr uint32_t reg(uint32_t offset) {
  return fake::kBase + offset;
}

}  // namespace

class FakeStream : public vx_DcamStream {
 public:
  FakeStream(FakeIidcCamera& camera, uint64_t id) : m_camera(camera), m_id(id) {}
  ~FakeStream() override { stop(); }

  bool start(unsigned bufferCount, std::string* error) override {
    std::lock_guard lock(m_camera.m_mutex);
    if (!m_camera.isPlugged()) {
      if (error) *error = "camera unplugged";
      return false;
    }
    if (!current()) return false;
    m_camera.m_running = true;
    m_camera.m_bufferCount = bufferCount;
    m_camera.m_frames.clear();
    m_camera.m_sequence = 0;
    return true;
  }
  void stop() override {
    std::lock_guard lock(m_camera.m_mutex);
    if (!current()) return;
    m_camera.m_running = false;
    m_camera.m_frames.clear();
  }
  std::optional<vx_DcamFrame> waitFrame(double timeoutSeconds) override {
    std::unique_lock lock(m_camera.m_mutex);
    const bool forever = timeoutSeconds < 0;
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::microseconds(forever ? 0 : int64_t(timeoutSeconds * 1e6));
    for (;;) {
      vx_DcamFrame marker;
      if (m_camera.m_interrupt) {
        m_camera.m_interrupt = false;
        marker.flags = vx_DcamFrame::kInterrupted;
        return marker;
      }
      if (!m_camera.isPlugged()) {
        marker.flags = vx_DcamFrame::kUnplugged;
        return marker;
      }
      if (current() && !m_camera.m_frames.empty()) {
        vx_DcamFrame frame = std::move(m_camera.m_frames.front());
        m_camera.m_frames.pop_front();
        return frame;
      }
      if (current() && m_camera.freeRunning()) {
        m_camera.produce();
        continue;
      }
      if (forever)
        m_camera.m_wake.wait(lock);
      else if (m_camera.m_wake.wait_until(lock, deadline) == std::cv_status::timeout)
        return std::nullopt;
    }
  }
  void interrupt() override {
    std::lock_guard lock(m_camera.m_mutex);
    m_camera.m_interrupt = true;
    m_camera.m_wake.notify_all();
  }
  void flush() override {
    std::lock_guard lock(m_camera.m_mutex);
    if (current()) m_camera.m_frames.clear();
  }

 private:
  bool current() const { return m_camera.m_streamId == m_id; }
  FakeIidcCamera& m_camera;
  uint64_t m_id;
};

FakeIidcCamera::FakeIidcCamera() : FakeCamera(0, true) {
  vendor = "Fakecam";
  model = "FC-1";
  unitSwVersion = 0x102;
  auto& r = m_regs;
  const uint32_t zeroed[] = {0x000, 0x600, 0x604, 0x608, 0x60C, 0x614, 0x61C, 0x628, 0x62C};
  for (uint32_t offset : zeroed) r[reg(offset)] = 0;
  for (uint32_t n = 0; n < 8; ++n) r[reg(0x180 + 4 * n)] = r[reg(0x200 + 4 * n)] = r[reg(0x2E0 + 4 * n)] = 0;
  for (uint32_t n = 0; n < 16; ++n) r[reg(0x500 + 4 * n)] = r[reg(0x700 + 4 * n)] = 0;
  r[reg(0x100)] = 0x80000000u | 0x01000000u;                    // formats 0 and 7
  r[reg(0x180)] = (1u << 27) | (1u << 26);                      // format 0 modes 4, 5
  r[reg(0x180 + 4 * 7)] = 1u << 31;                             // format 7 mode 0
  r[reg(0x200 + 4 * 4)] = 1u << 28;                             // mode 4: 15 fps
  r[reg(0x200 + 4 * 5)] = (1u << 29) | (1u << 28) | (1u << 27);  // mode 5: 7.5, 15, 30 fps
  r[reg(0x2E0)] = fake::quadletOffset(fake::kF7Block);
  r[reg(0x400)] = (1u << 30) | (1u << 12) | (1u << 11);  // error status, one-shot, multi-shot
  r[reg(0x404)] = (1u << 31) | (1u << 24) | (1u << 23) | (1u << 19) | (1u << 18);
  r[reg(0x40C)] = 1u << 28;  // strobe output
  r[reg(0x48C)] = fake::quadletOffset(fake::kStrobeBlock);
  r[reg(0x500)] = 0x81000000u | (16u << 12) | 1023u;  // brightness 16..1023
  r[reg(0x51C)] = 0xC1000000u | (1u << 12) | 4095u;   // shutter, absolute, 1..4095
  r[reg(0x520)] = 0x81000000u | 1000u;                // gain 0..1000
  r[reg(0x530)] = 0x80000000u | (1u << 26) | (1u << 25) | (1u << 23) | (1u << 16) | (1u << 15);
  r[reg(0x534)] = 0xC1000000u | 4095u;  // trigger delay, absolute
  r[reg(0x71C)] = fake::quadletOffset(fake::kShutterAbs);
  r[reg(0x734)] = fake::quadletOffset(fake::kTriggerDelayAbs);
  const float absolute[] = {1e-5f, 2.0f, 0.02f, 0.0f, 0.5f, 0.0f};
  for (uint32_t i = 0; i < 3; ++i) {
    r[fake::kShutterAbs + 4 * i] = std::bit_cast<uint32_t>(absolute[i]);
    r[fake::kTriggerDelayAbs + 4 * i] = std::bit_cast<uint32_t>(absolute[3 + i]);
  }
  for (uint32_t n = 0; n < 16; ++n) r[reg(0x800 + 4 * n)] = r[reg(0x500 + 4 * n)] & kOn;
  r[reg(0x800)] |= 100;
  r[reg(0x81C)] |= 200;
  r[reg(0x820)] |= 250;
  const uint32_t b = fake::kF7Block;
  r[b + 0x00] = (1280u << 16) | 960u;
  r[b + 0x04] = (4u << 16) | 2u;
  r[b + 0x08] = 0;
  r[b + 0x0C] = (640u << 16) | 480u;
  r[b + 0x10] = 0;
  r[b + 0x14] = (1u << 31) | (1u << 26) | (1u << 22);  // codings 0, 5, 9
  r[b + 0x40] = (8u << 16) | 4096u;
  r[b + 0x44] = (2048u << 16) | 2048u;
  r[b + 0x4C] = (2u << 16) | 2u;
  r[b + 0x7C] = 0x80000000u;  // value setting present
  recomputeFormat7();
  const uint32_t s = fake::kStrobeBlock;
  r[s] = 0xA0000000u;                               // lines 0 and 2
  r[s + 0x100] = 0x8E000000u | 4095u;               // read-out, on/off, polarity
  r[s + 0x108] = 0x84000000u | (1u << 12) | 1000u;  // on/off only, 1..1000
  r[s + 0x200] = (1u << 25) | (1u << 24) | (5u << 12) | 100u;
  r[s + 0x208] = 0;
}

FakeIidcCamera::~FakeIidcCamera() = default;

bool FakeIidcCamera::isoOn() const {
  return at(reg(0x614)) & kOn;
}
bool FakeIidcCamera::triggerOn() const {
  return at(reg(0x830)) & (1u << 25);
}
uint32_t FakeIidcCamera::triggerSource() const {
  return (at(reg(0x830)) >> 21) & 7u;
}
bool FakeIidcCamera::freeRunning() const {
  return isPlugged() && m_running && isoOn() && !triggerOn();
}

void FakeIidcCamera::produce() {
  if (!m_running) return;
  ++m_sequence;
  if (m_lose > 0) {
    --m_lose;
    return;
  }
  vx_DcamFrame frame;
  frame.width = m_params.width;
  frame.height = m_params.height;
  frame.coding = m_params.coding;
  frame.sequence = m_sequence;
  frame.timestamp = std::chrono::steady_clock::now();
  frame.data = std::make_shared<const std::vector<uint8_t>>(m_params.frameBytes, uint8_t(m_sequence));
  frame.flags = std::exchange(m_nextFlags, 0);
  m_frames.push_back(std::move(frame));
  if (m_frames.size() > m_bufferCount) {
    // Out of buffers: the oldest goes and the next one handed out says so.
    m_frames.pop_front();
    m_frames.front().flags |= vx_DcamFrame::kOverrun;
  }
  m_wake.notify_all();
}

bool FakeIidcCamera::supported(uint32_t format, uint32_t mode, uint32_t rate) const {
  if (!(at(reg(0x100)) & (1u << (31 - format)))) return false;
  if (!(at(reg(0x180 + 4 * format)) & (1u << (31 - mode)))) return false;
  return format == 7 || (at(reg(0x200 + 0x20 * format + 4 * mode)) & (1u << (31 - rate)));
}

void FakeIidcCamera::recomputeVideoMode() {
  const uint32_t f = at(reg(0x608)) >> 29, m = at(reg(0x604)) >> 29, r = at(reg(0x600)) >> 29;
  m_regs[reg(0x628)] = (m_refuseModes || !supported(f, m, r)) ? kOn : 0;
}

void FakeIidcCamera::recomputeFormat7() {
  const uint32_t b = fake::kF7Block;
  const uint32_t size = at(b + 0x0C);
  const uint64_t pixels = uint64_t(size >> 16) * (size & 0xFFFF);
  const uint64_t bytes = pixels * ((at(b + 0x10) >> 24) == 5 ? 16 : 8) / 8;
  m_regs[b + 0x34] = uint32_t(pixels);
  m_regs[b + 0x38] = 0;
  m_regs[b + 0x3C] = uint32_t(bytes);
  const uint32_t bpp = std::max<uint32_t>(8, at(b + 0x44) >> 16);
  m_regs[b + 0x48] = uint32_t((bytes + bpp - 1) / bpp);
}

void FakeIidcCamera::store(uint32_t a, uint32_t value) {
  const uint32_t b = fake::kF7Block;
  const std::set<uint32_t> controls = {reg(0x600), reg(0x604), reg(0x608), reg(0x60C),
                                       reg(0x614), reg(0x61C), reg(0x62C), b + 0x08,
                                       b + 0x0C,   b + 0x10,   b + 0x44,   b + 0x7C};
  const bool inquiry = (a >= reg(0x100) && a < reg(0x800)) || (a >= b && a <= b + 0x7C);
  if (inquiry && !controls.count(a)) return;  // read-only registers keep their value
  m_regs[a] = value;
  if (a == reg(0x600) || a == reg(0x604) || a == reg(0x608)) recomputeVideoMode();
  if (a == reg(0x61C) && (value & kOn)) {
    m_regs[a] = 0;
    if (!isoOn()) {
      ++m_oneShots;
      produce();
    }
  }
  if (a == reg(0x62C) && (value & kOn)) {
    m_regs[a] = 0;
    if (isoOn() && triggerOn() && triggerSource() == 7) {
      ++m_softwareTriggers;
      produce();
    }
  }
  if (a == reg(0x614)) m_wake.notify_all();
  if (a == b + 0x44) m_regs[a] = (value & 0xFFFF0000u) | 2048u;  // the recommended size stays
  if (a == b + 0x08 || a == b + 0x0C || a == b + 0x10 || a == b + 0x44) recomputeFormat7();
  if (a == b + 0x7C) {
    const uint32_t pos = at(b + 0x08), size = at(b + 0x0C), max = at(b + 0x00);
    const bool bad = (pos >> 16) + (size >> 16) > (max >> 16) ||
                     (pos & 0xFFFF) + (size & 0xFFFF) > (max & 0xFFFF);
    m_regs[a] = 0x80000000u | (bad ? (1u << 23) : 0u);
  }
}

std::unique_ptr<vx_DcamStream> FakeIidcCamera::openStream(const vx_StreamParams& params) {
  if (!m_streams) return nullptr;
  std::lock_guard lock(m_mutex);
  m_params = params;
  m_running = false;
  m_frames.clear();
  return std::make_unique<FakeStream>(*this, ++m_streamId);
}

void FakeIidcCamera::refuseVideoModes(bool on) {
  std::lock_guard lock(m_mutex);
  m_refuseModes = on;
}

void FakeIidcCamera::hardwareTrigger() {
  std::lock_guard lock(m_mutex);
  if (isPlugged() && isoOn() && triggerOn() && triggerSource() == 0) produce();
}

void FakeIidcCamera::flagNextFrame(uint32_t flags) {
  std::lock_guard lock(m_mutex);
  m_nextFlags = flags;
}

void FakeIidcCamera::loseNextFrames(unsigned count) {
  std::lock_guard lock(m_mutex);
  m_lose = count;
}

int FakeIidcCamera::oneShots() const {
  std::lock_guard lock(m_mutex);
  return m_oneShots;
}

int FakeIidcCamera::softwareTriggers() const {
  std::lock_guard lock(m_mutex);
  return m_softwareTriggers;
}

vx_StreamParams FakeIidcCamera::lastParams() const {
  std::lock_guard lock(m_mutex);
  return m_params;
}

// ---- the module ----

namespace {

// The simulated-bus controls over the fake cameras, for the control window.
class FakeSimControl : public vx_SimBusControl {
 public:
  explicit FakeSimControl(FakeModule& module) : m_module(module) {}
  std::vector<int> cameraNumbers() const override {
    std::vector<int> numbers;
    for (int i = 0; i < m_module.cameraCount(); ++i) numbers.push_back(i);
    return numbers;
  }
  std::string profileName(int cameraNumber) const override {
    return vxFormat("fake-%d", cameraNumber);
  }
  void unplug(int cameraNumber) override {
    m_module.fake(cameraNumber).setPlugged(false);
    m_module.fireBusEvent(cameraNumber, FakeModule::unplugEvent());
  }
  void replug(int cameraNumber) override { m_module.fake(cameraNumber).setPlugged(true); }
  bool isPlugged(int cameraNumber) const override {
    return m_module.fake(cameraNumber).isPlugged();
  }
  void busReset() override {
    ++m_generation;
    for (int i = 0; i < m_module.cameraCount(); ++i)
      m_module.fireBusEvent(i, FakeModule::busResetEvent(m_generation));
  }
  void setReadFault(int cameraNumber, uint32_t address, bool fail) override {
    if (fail) m_module.fake(cameraNumber).failReads(address);
  }
  void setWriteFault(int cameraNumber, uint32_t address, bool fail) override {
    if (fail) m_module.fake(cameraNumber).failWrites(address);
  }
  void clearFaults(int cameraNumber) override { m_module.fake(cameraNumber).heal(); }
  void setLatency(std::chrono::microseconds, std::chrono::microseconds) override {}
  uint64_t transactionCount(int cameraNumber) const override {
    return m_module.fake(cameraNumber).transactions();
  }
  void resetTransactionCount(int) override {}

 private:
  FakeModule& m_module;
  uint32_t m_generation = 0;
};

}  // namespace

FakeModule::FakeModule(int cameraCount, bool simulated, bool strict) {
  for (int i = 0; i < cameraCount; ++i) {
    m_cameras.push_back(std::make_unique<FakeCamera>(i, strict));
    m_cameras.back()->set(0x800, 0x80000000u);
  }
  if (simulated) m_sim = std::make_unique<FakeSimControl>(*this);
}

FakeModule::~FakeModule() = default;

int FakeModule::addCamera() {
  const int number = cameraCount();
  m_cameras.push_back(std::make_unique<FakeCamera>(number, true));
  m_cameras.back()->set(0x800, 0x80000000u);
  return number;
}

std::vector<std::string> FakeModule::busLayers() const {
  return {vxFormat("fake bus: %d cameras", cameraCount())};
}

FakeCamera& FakeModule::fake(int number) {
  if (number < 0 || number >= cameraCount())
    throw Error(vxFormat("No DCAM camera with number %d", number));
  return *m_cameras[static_cast<size_t>(number)];
}

int FakeModule::registerBusEventCallback(int cameraNumber, vxDcamBusEventCallback callback) {
  std::lock_guard lock(m_mutex);
  m_callbacks[++m_lastId] = {cameraNumber, std::move(callback)};
  return m_lastId;
}

void FakeModule::unregisterBusEventCallback(int id) {
  std::lock_guard lock(m_mutex);
  m_callbacks.erase(id);
}

size_t FakeModule::callbackCount() const {
  std::lock_guard lock(m_mutex);
  return m_callbacks.size();
}

void FakeModule::fireBusEvent(int cameraNumber, const vxDcamBusEventInfo& info) {
  std::vector<vxDcamBusEventCallback> targets;
  {
    std::lock_guard lock(m_mutex);
    for (const auto& [id, registration] : m_callbacks)
      if (registration.first == cameraNumber) targets.push_back(registration.second);
  }
  std::thread([&targets, info] {
    for (const auto& callback : targets) callback(info);
  }).join();
}

vxDcamBusEventInfo FakeModule::busResetEvent(uint32_t generation) {
  vxDcamBusEventInfo info;
  info.eventFlags = vxDcamBusEventInfo::kBusReset;
  info.initiatorNodeNo = 1;
  info.hostNodeNo = 2;
  info.busNodeCount = 3;
  info.busGenerationCount = generation;
  return info;
}

vxDcamBusEventInfo FakeModule::unplugEvent() {
  vxDcamBusEventInfo info;
  info.eventFlags = vxDcamBusEventInfo::kUnplugged;
  return info;
}
