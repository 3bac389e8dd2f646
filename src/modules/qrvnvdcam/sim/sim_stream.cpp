// The receiving end of a simulated camera's isochronous stream: the buffers a program waits on.
#include "modules/qrvnvdcam/sim/sim_stream.h"

#include <cmath>

#include "base/format.h"
#include "modules/qrvnvdcam/sim/scene.h"
#include "modules/qrvnvdcam/sim/sim_transmitter.h"

vx_SimStream::vx_SimStream(vx_SimTransmitter& transmitter, const vx_StreamParams& params)
    : m_transmitter(transmitter), m_params(params) {}

vx_SimStream::~vx_SimStream() {
  stop();
}

bool vx_SimStream::start(unsigned bufferCount, std::string* error) {
  size_t bytes = 0;
  try {
    bytes = vx_SimScene::frameBytes(m_params.width, m_params.height, m_params.coding);
  } catch (const vx_SimScene::BadSize& e) {
    if (error) *error = e.message();
    return false;
  }
  if (m_params.width == 0 || m_params.height == 0 || bytes != m_params.frameBytes) {
    if (error)
      *error = vxFormat("a %ux%u frame of this coding takes %zu bytes, not %zu", m_params.width,
                        m_params.height, bytes, m_params.frameBytes);
    return false;
  }
  {
    std::lock_guard lock(m_mutex);
    m_frames.clear();
    m_capacity = bufferCount > 0 ? bufferCount : 1;
    m_running = true;
    m_attached = true;
    m_gone = false;
    m_overrun = false;
    m_sent = 0;
  }
  if (m_transmitter.attach(*this, error)) return true;
  std::lock_guard lock(m_mutex);
  m_running = false;
  m_attached = false;
  return false;
}

void vx_SimStream::stop() {
  {
    std::lock_guard lock(m_mutex);
    if (!m_running && !m_attached) return;
    m_running = false;
    m_attached = false;
    m_frames.clear();
  }
  // A transmitter waiting for a free buffer gives up before it is told to go.
  m_room.notify_all();
  m_arrived.notify_all();
  m_transmitter.detach(*this);
}

vx_DcamFrame vx_SimStream::marker(uint32_t flags) const {
  vx_DcamFrame frame;
  frame.width = m_params.width;
  frame.height = m_params.height;
  frame.coding = m_params.coding;
  frame.timestamp = std::chrono::steady_clock::now();
  frame.sequence = m_sent;
  frame.flags = flags;
  return frame;
}

std::optional<vx_DcamFrame> vx_SimStream::waitFrame(double timeoutSeconds) {
  std::unique_lock lock(m_mutex);
  auto ready = [this] { return m_interrupt || m_gone || !m_frames.empty() || !m_running; };
  if (std::isnan(timeoutSeconds) || timeoutSeconds < 0 || std::isinf(timeoutSeconds)) {
    m_arrived.wait(lock, ready);
  } else {
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::nanoseconds>(
                                               std::chrono::duration<double>(timeoutSeconds));
    m_arrived.wait_until(lock, deadline, ready);
  }
  if (m_interrupt) {
    m_interrupt = false;
    return marker(vx_DcamFrame::kInterrupted);
  }
  if (m_gone) return marker(vx_DcamFrame::kUnplugged);
  // A stopped stream receives nothing, so a wait on it ends at once.
  if (m_frames.empty()) return std::nullopt;
  vx_DcamFrame frame = std::move(m_frames.front());
  m_frames.pop_front();
  lock.unlock();
  m_room.notify_one();
  return frame;
}

void vx_SimStream::interrupt() {
  {
    std::lock_guard lock(m_mutex);
    m_interrupt = true;
  }
  m_arrived.notify_all();
}

void vx_SimStream::flush() {
  {
    std::lock_guard lock(m_mutex);
    m_frames.clear();
    m_overrun = false;
  }
  m_room.notify_all();
}

void vx_SimStream::deliver(vx_DcamFrame frame, const std::function<bool()>& wanted) {
  std::unique_lock lock(m_mutex);
  if (!m_running || !m_attached || m_gone) return;
  if (wanted) {
    m_room.wait(lock, [&] {
      return m_frames.size() < m_capacity || !m_running || !m_attached || m_gone || !wanted();
    });
    if (!m_running || !m_attached || m_gone || !wanted()) return;
  }
  frame.sequence = ++m_sent;
  if (m_frames.size() >= m_capacity) {
    m_frames.pop_front();
    m_overrun = true;
  }
  m_frames.push_back(std::move(frame));
  if (m_overrun) {
    m_frames.front().flags |= vx_DcamFrame::kOverrun;
    m_overrun = false;
  }
  lock.unlock();
  m_arrived.notify_all();
}

void vx_SimStream::nudge() {
  // Under the lock, so that a sender between its test and its wait hears it.
  std::lock_guard lock(m_mutex);
  m_room.notify_all();
}

void vx_SimStream::lose() {
  std::lock_guard lock(m_mutex);
  if (m_running && m_attached && !m_gone) ++m_sent;
}

void vx_SimStream::cameraGone() {
  {
    std::lock_guard lock(m_mutex);
    m_gone = true;
    m_frames.clear();
  }
  m_arrived.notify_all();
  m_room.notify_all();
}

void vx_SimStream::release() {
  {
    std::lock_guard lock(m_mutex);
    m_attached = false;
  }
  m_room.notify_all();
}
