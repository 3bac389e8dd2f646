// A register-level IIDC camera and image stream for the acquisition tests.
#include "fake_camera.h"

#include <bit>
#include <chrono>
#include <vector>

namespace {

constexpr uint32_t kOn = 1u << 31;

uint32_t reg(uint32_t offset) {
  return fake::kBase + offset;
}

}  // namespace

struct FakeCamera::Shared {
  mutable std::mutex mutex;
  std::condition_variable wake;
  std::map<uint32_t, uint32_t> regs;
  std::set<uint32_t> readFaults, writeFaults;
  bool plugged = true;
  bool refuseModes = false;
  uint32_t nextFlags = 0;
  unsigned lose = 0;
  int oneShots = 0, softwareTriggers = 0;

  // The open stream, if any.
  uint64_t streamId = 0;
  bool running = false;
  unsigned bufferCount = 0;
  bool interrupt = false;
  uint64_t sequence = 0;
  vx_StreamParams params;
  std::deque<vx_DcamFrame> frames;

  uint32_t get(uint32_t address) const {
    auto it = regs.find(address);
    return it == regs.end() ? 0 : it->second;
  }
  bool isoOn() const { return get(reg(0x614)) & kOn; }
  bool triggerOn() const { return get(reg(0x830)) & (1u << 25); }
  uint32_t triggerSource() const { return (get(reg(0x830)) >> 21) & 7u; }
  bool freeRunning() const { return plugged && running && isoOn() && !triggerOn(); }

  // The camera sends one frame.
  void produce() {
    if (!running) return;
    ++sequence;
    if (lose > 0) {
      --lose;
      return;
    }
    vx_DcamFrame frame;
    frame.width = params.width;
    frame.height = params.height;
    frame.coding = params.coding;
    frame.sequence = sequence;
    frame.timestamp = std::chrono::steady_clock::now();
    frame.data = std::make_shared<const std::vector<uint8_t>>(params.frameBytes, uint8_t(sequence));
    frame.flags = nextFlags;
    nextFlags = 0;
    frames.push_back(std::move(frame));
    if (frames.size() > bufferCount) {
      // Out of buffers: the oldest goes and the next one handed out says so.
      frames.pop_front();
      frames.front().flags |= vx_DcamFrame::kOverrun;
    }
    wake.notify_all();
  }

  bool supported(uint32_t format, uint32_t mode, uint32_t rate) const {
    if (!(get(reg(0x100)) & (1u << (31 - format)))) return false;
    if (!(get(reg(0x180 + 4 * format)) & (1u << (31 - mode)))) return false;
    return format == 7 || (get(reg(0x200 + 0x20 * format + 4 * mode)) & (1u << (31 - rate)));
  }

  void recomputeVideoMode() {
    const uint32_t f = get(reg(0x608)) >> 29, m = get(reg(0x604)) >> 29, r = get(reg(0x600)) >> 29;
    regs[reg(0x628)] = (refuseModes || !supported(f, m, r)) ? kOn : 0;
  }

  void recomputeFormat7() {
    const uint32_t b = fake::kF7Block;
    const uint32_t size = get(b + 0x0C);
    const uint32_t coding = get(b + 0x10) >> 24;
    const uint64_t bits = coding == 5 ? 16 : 8;
    const uint64_t pixels = uint64_t(size >> 16) * (size & 0xFFFF);
    const uint64_t bytes = pixels * bits / 8;
    regs[b + 0x34] = uint32_t(pixels);
    regs[b + 0x38] = 0;
    regs[b + 0x3C] = uint32_t(bytes);
    const uint32_t bpp = std::max<uint32_t>(8, get(b + 0x44) >> 16);
    regs[b + 0x48] = uint32_t((bytes + bpp - 1) / bpp);
  }
};

class FakeStream : public vx_DcamStream {
 public:
  FakeStream(std::shared_ptr<FakeCamera::Shared> shared, uint64_t id)
      : m_shared(std::move(shared)), m_id(id) {}
  ~FakeStream() override { stop(); }

  bool start(unsigned bufferCount, std::string* error) override {
    std::lock_guard lock(m_shared->mutex);
    if (!m_shared->plugged) {
      if (error) *error = "camera unplugged";
      return false;
    }
    if (m_shared->streamId != m_id) return false;
    m_shared->running = true;
    m_shared->bufferCount = bufferCount;
    m_shared->frames.clear();
    m_shared->sequence = 0;
    return true;
  }
  void stop() override {
    std::lock_guard lock(m_shared->mutex);
    if (m_shared->streamId != m_id) return;
    m_shared->running = false;
    m_shared->frames.clear();
  }
  std::optional<vx_DcamFrame> waitFrame(double timeoutSeconds) override {
    std::unique_lock lock(m_shared->mutex);
    const bool forever = timeoutSeconds < 0;
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::microseconds(forever ? 0 : int64_t(timeoutSeconds * 1e6));
    for (;;) {
      vx_DcamFrame marker;
      if (m_shared->interrupt) {
        m_shared->interrupt = false;
        marker.flags = vx_DcamFrame::kInterrupted;
        return marker;
      }
      if (!m_shared->plugged) {
        marker.flags = vx_DcamFrame::kUnplugged;
        return marker;
      }
      if (m_shared->streamId == m_id && !m_shared->frames.empty()) {
        vx_DcamFrame frame = std::move(m_shared->frames.front());
        m_shared->frames.pop_front();
        return frame;
      }
      if (m_shared->streamId == m_id && m_shared->freeRunning()) {
        m_shared->produce();
        continue;
      }
      if (forever)
        m_shared->wake.wait(lock);
      else if (m_shared->wake.wait_until(lock, deadline) == std::cv_status::timeout)
        return std::nullopt;
    }
  }
  void interrupt() override {
    std::lock_guard lock(m_shared->mutex);
    m_shared->interrupt = true;
    m_shared->wake.notify_all();
  }
  void flush() override {
    std::lock_guard lock(m_shared->mutex);
    if (m_shared->streamId == m_id) m_shared->frames.clear();
  }

 private:
  std::shared_ptr<FakeCamera::Shared> m_shared;
  uint64_t m_id;
};

FakeCamera::FakeCamera() : m_shared(std::make_shared<Shared>()) {
  auto& r = m_shared->regs;
  r[reg(0x000)] = 0;
  r[reg(0x100)] = 0x80000000u | 0x01000000u;  // formats 0 and 7
  for (uint32_t f = 1; f < 8; ++f) r[reg(0x180 + 4 * f)] = 0;
  r[reg(0x180)] = (1u << 27) | (1u << 26);  // format 0 modes 4, 5
  r[reg(0x180 + 4 * 7)] = 1u << 31;         // format 7 mode 0
  for (uint32_t m = 0; m < 8; ++m) r[reg(0x200 + 4 * m)] = 0;
  r[reg(0x200 + 4 * 4)] = 1u << 28;                              // mode 4: 15 fps
  r[reg(0x200 + 4 * 5)] = (1u << 29) | (1u << 28) | (1u << 27);  // mode 5: 7.5, 15, 30 fps
  for (uint32_t m = 0; m < 8; ++m) r[reg(0x2E0 + 4 * m)] = 0;
  r[reg(0x2E0)] = fake::quadletOffset(fake::kF7Block);
  r[reg(0x400)] = (1u << 30) | (1u << 12) | (1u << 11);  // error status, one-shot, multi-shot
  r[reg(0x404)] = (1u << 31) | (1u << 24) | (1u << 23) | (1u << 19) | (1u << 18);
  r[reg(0x40C)] = 1u << 28;  // strobe output
  r[reg(0x48C)] = fake::quadletOffset(fake::kStrobeBlock);
  for (uint32_t n = 0; n < 16; ++n) {
    r[reg(0x500 + 4 * n)] = 0;
    r[reg(0x700 + 4 * n)] = 0;
  }
  r[reg(0x500)] = 0x81000000u | (16u << 12) | 1023u;  // brightness 16..1023
  r[reg(0x51C)] = 0xC1000000u | (1u << 12) | 4095u;   // shutter, absolute, 1..4095
  r[reg(0x520)] = 0x81000000u | (0u << 12) | 1000u;   // gain 0..1000
  r[reg(0x530)] = 0x80000000u | (1u << 26) | (1u << 25) | (1u << 23) | (1u << 16) | (1u << 15);
  r[reg(0x534)] = 0xC1000000u | 4095u;  // trigger delay, absolute
  r[reg(0x71C)] = fake::quadletOffset(fake::kShutterAbs);
  r[reg(0x734)] = fake::quadletOffset(fake::kTriggerDelayAbs);
  r[fake::kShutterAbs] = std::bit_cast<uint32_t>(1e-5f);
  r[fake::kShutterAbs + 4] = std::bit_cast<uint32_t>(2.0f);
  r[fake::kShutterAbs + 8] = std::bit_cast<uint32_t>(0.02f);
  r[fake::kTriggerDelayAbs] = std::bit_cast<uint32_t>(0.0f);
  r[fake::kTriggerDelayAbs + 4] = std::bit_cast<uint32_t>(0.5f);
  r[fake::kTriggerDelayAbs + 8] = std::bit_cast<uint32_t>(0.0f);
  for (uint32_t n = 0; n < 16; ++n) r[reg(0x800 + 4 * n)] = (r[reg(0x500 + 4 * n)] & kOn);
  r[reg(0x800)] |= 100;
  r[reg(0x81C)] |= 200;
  r[reg(0x820)] |= 250;
  for (uint32_t off : {0x600u, 0x604u, 0x608u, 0x60Cu, 0x614u, 0x61Cu, 0x628u, 0x62Cu})
    r[reg(off)] = 0;
  const uint32_t b = fake::kF7Block;
  r[b + 0x00] = (1280u << 16) | 960u;
  r[b + 0x04] = (4u << 16) | 2u;
  r[b + 0x08] = 0;
  r[b + 0x0C] = (640u << 16) | 480u;
  r[b + 0x10] = 0;
  r[b + 0x14] = (1u << 31) | (1u << 26) | (1u << 22);  // ids 0, 5, 9
  r[b + 0x40] = (8u << 16) | 4096u;
  r[b + 0x44] = (2048u << 16) | 2048u;
  r[b + 0x4C] = (2u << 16) | 2u;
  r[b + 0x7C] = 0x80000000u;  // value setting present
  m_shared->recomputeFormat7();
  const uint32_t s = fake::kStrobeBlock;
  r[s] = 0xA0000000u;                               // lines 0 and 2
  r[s + 0x100] = 0x8E000000u | (0u << 12) | 4095u;  // read-out, on/off, polarity
  r[s + 0x108] = 0x84000000u | (1u << 12) | 1000u;  // on/off only, 1..1000
  r[s + 0x200] = (1u << 25) | (1u << 24) | (5u << 12) | 100u;
  r[s + 0x208] = 0;
}

uint32_t FakeCamera::absolute(uint32_t address) {
  return address < kCsrSpaceBase ? fake::kBase + address : address;
}

vxDcamIdentity FakeCamera::identity() const {
  vxDcamIdentity id;
  id.vendor = "Fakecam";
  id.model = "FC-1";
  id.unitSpecId = 0x00A02D;
  id.unitSwVersion = m_swVersion;
  id.commandRegsBase = fake::kBase;
  id.busLayer = "test";
  return id;
}

bool FakeCamera::readQuadlet(uint32_t address, uint32_t& value, std::string* error) {
  std::lock_guard lock(m_shared->mutex);
  const uint32_t a = absolute(address);
  if (!m_shared->plugged || m_shared->readFaults.count(a) || !m_shared->regs.count(a)) {
    if (error) *error = "no answer";
    return false;
  }
  value = m_shared->regs[a];
  return true;
}

bool FakeCamera::writeQuadlet(uint32_t address, uint32_t value, std::string* error) {
  std::lock_guard lock(m_shared->mutex);
  Shared& sh = *m_shared;
  const uint32_t a = absolute(address);
  if (!sh.plugged || sh.writeFaults.count(a) || !sh.regs.count(a)) {
    if (error) *error = "no answer";
    return false;
  }
  const uint32_t b = fake::kF7Block;
  const bool commandInquiry = a >= reg(0x100) && a < reg(0x800) && a != reg(0x600) &&
                              a != reg(0x604) && a != reg(0x608) && a != reg(0x60C) &&
                              a != reg(0x614) && a != reg(0x61C) && a != reg(0x62C);
  const bool format7Inquiry = a >= b && a <= b + 0x7C && a != b + 0x08 && a != b + 0x0C &&
                              a != b + 0x10 && a != b + 0x44 && a != b + 0x7C;
  if (commandInquiry || format7Inquiry) return true;  // read-only registers keep their value
  sh.regs[a] = value;
  if (a == reg(0x600) || a == reg(0x604) || a == reg(0x608)) sh.recomputeVideoMode();
  if (a == reg(0x61C) && (value & kOn)) {
    sh.regs[a] = 0;
    if (!sh.isoOn()) {
      ++sh.oneShots;
      sh.produce();
    }
  }
  if (a == reg(0x62C) && (value & kOn)) {
    sh.regs[a] = 0;
    if (sh.isoOn() && sh.triggerOn() && sh.triggerSource() == 7) {
      ++sh.softwareTriggers;
      sh.produce();
    }
  }
  if (a == reg(0x614)) sh.wake.notify_all();
  if (a == b + 0x08 || a == b + 0x0C || a == b + 0x10) sh.recomputeFormat7();
  if (a == b + 0x44) {
    sh.regs[a] = (value & 0xFFFF0000u) | 2048u;  // the recommended size stays
    sh.recomputeFormat7();
  }
  if (a == b + 0x7C) {
    const uint32_t pos = sh.get(b + 0x08), size = sh.get(b + 0x0C), max = sh.get(b + 0x00);
    const bool bad = (pos >> 16) + (size >> 16) > (max >> 16) ||
                     (pos & 0xFFFF) + (size & 0xFFFF) > (max & 0xFFFF);
    sh.regs[a] = 0x80000000u | (bad ? (1u << 23) : 0u);
  }
  return true;
}

bool FakeCamera::isPlugged() const {
  std::lock_guard lock(m_shared->mutex);
  return m_shared->plugged;
}

std::unique_ptr<vx_DcamStream> FakeCamera::openStream(const vx_StreamParams& params) {
  if (!m_streams) return nullptr;
  std::lock_guard lock(m_shared->mutex);
  m_shared->params = params;
  m_shared->running = false;
  m_shared->frames.clear();
  return std::make_unique<FakeStream>(m_shared, ++m_shared->streamId);
}

void FakeCamera::poke(uint32_t address, uint32_t value) {
  std::lock_guard lock(m_shared->mutex);
  m_shared->regs[absolute(address)] = value;
}

uint32_t FakeCamera::peek(uint32_t address) const {
  std::lock_guard lock(m_shared->mutex);
  return m_shared->get(absolute(address));
}

void FakeCamera::failReads(uint32_t address) {
  std::lock_guard lock(m_shared->mutex);
  m_shared->readFaults.insert(absolute(address));
}

void FakeCamera::failWrites(uint32_t address) {
  std::lock_guard lock(m_shared->mutex);
  m_shared->writeFaults.insert(absolute(address));
}

void FakeCamera::refuseVideoModes(bool on) {
  std::lock_guard lock(m_shared->mutex);
  m_shared->refuseModes = on;
}

void FakeCamera::hardwareTrigger() {
  std::lock_guard lock(m_shared->mutex);
  if (m_shared->plugged && m_shared->isoOn() && m_shared->triggerOn() &&
      m_shared->triggerSource() == 0)
    m_shared->produce();
}

void FakeCamera::unplug() {
  std::lock_guard lock(m_shared->mutex);
  m_shared->plugged = false;
  m_shared->wake.notify_all();
}

void FakeCamera::flagNextFrame(uint32_t flags) {
  std::lock_guard lock(m_shared->mutex);
  m_shared->nextFlags = flags;
}

void FakeCamera::loseNextFrames(unsigned count) {
  std::lock_guard lock(m_shared->mutex);
  m_shared->lose = count;
}

int FakeCamera::oneShots() const {
  std::lock_guard lock(m_shared->mutex);
  return m_shared->oneShots;
}

int FakeCamera::softwareTriggers() const {
  std::lock_guard lock(m_shared->mutex);
  return m_shared->softwareTriggers;
}

vx_StreamParams FakeCamera::lastParams() const {
  std::lock_guard lock(m_shared->mutex);
  return m_shared->params;
}
