// The image stream of a libdc1394 camera over libdc1394's capture API.
#include "modules/qrvnvdcam/dc1394/dc1394_stream.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <thread>

#include "base/format.h"

namespace {

using Clock = std::chrono::steady_clock;

// How often a wait looks whether the camera is still there; libdc1394's
// capture descriptor does not always wake up when the device goes.
constexpr std::chrono::milliseconds kPlugCheck{100};

}  // namespace

vx_DcamFrame vxFrameFromDc1394(const dc1394video_frame_t& source, bool corrupt, const vx_StreamParams& params,
                               uint64_t sequence, bool overrun, std::chrono::system_clock::time_point systemNow,
                               std::chrono::steady_clock::time_point steadyNow) {
  vx_DcamFrame frame;
  frame.width = params.width;
  frame.height = params.height;
  frame.coding = params.coding;
  frame.sequence = sequence;
  auto bytes = std::make_shared<std::vector<uint8_t>>(params.frameBytes, 0);
  const size_t available = source.image ? source.image_bytes : 0;
  const size_t copied = std::min(available, params.frameBytes);
  if (copied) std::memcpy(bytes->data(), source.image, copied);
  frame.data = std::move(bytes);
  if (corrupt || copied < params.frameBytes) frame.flags |= vx_DcamFrame::kIncomplete;
  if (overrun) frame.flags |= vx_DcamFrame::kOverrun;
  frame.timestamp = steadyNow;
  if (source.timestamp != 0) {
    const auto stamped = std::chrono::system_clock::time_point(std::chrono::microseconds(source.timestamp));
    const auto age = systemNow - stamped;
    // A stamp from the future (clock stepped) says nothing; keep "now".
    if (age >= std::chrono::system_clock::duration::zero())
      frame.timestamp = steadyNow - std::chrono::duration_cast<Clock::duration>(age);
  }
  return frame;
}

vx_Dc1394Stream::vx_Dc1394Stream(vx_Dc1394StreamHost host, const vx_StreamParams& params)
    : m_host(std::move(host)), m_params(params) {
  m_wakeFd = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
}

vx_Dc1394Stream::~vx_Dc1394Stream() {
  stop();
  if (m_wakeFd >= 0) ::close(m_wakeFd);
}

bool vx_Dc1394Stream::start(unsigned bufferCount, std::string* error) {
  stop();
  if (!plugged()) {
    if (error) *error = "the camera has left the bus";
    return false;
  }
  if (!m_host.camera) {
    if (error) *error = "the camera is not open";
    return false;
  }
  m_ringSize = std::max(bufferCount, 2u);
  dc1394error_t result;
  {
    // Set-up reads the video registers to size the buffers and programs the
    // isochronous channel and speed it was given; it does not switch ISO_EN
    // on (no AUTO_ISO flag), since the acquisition FIFO does that itself
    // through the camera's registers.
    std::lock_guard lock(*m_host.transactions);
    result = dc1394_capture_setup(m_host.camera, m_ringSize, DC1394_CAPTURE_FLAGS_DEFAULT);
  }
  if (result != DC1394_SUCCESS) {
    if (error) {
      if (result == DC1394_NO_BANDWIDTH || result == DC1394_NO_ISO_CHANNEL)
        *error = vxFormat("the bus cannot carry the camera's stream (libdc1394: %s)", dc1394_error_get_string(result));
      else
        *error = vxFormat("libdc1394 could not set up image capture: %s", dc1394_error_get_string(result));
    }
    return false;
  }
  m_running = true;
  m_dequeueFailed = false;
  m_held.clear();
  m_sent = 0;
  m_overrun = false;
  return true;
}

void vx_Dc1394Stream::stop() {
  if (!m_running) return;
  m_running = false;
  // The buffers go with the capture; nothing may point into them afterwards.
  m_held.clear();
  std::lock_guard lock(*m_host.transactions);
  dc1394_capture_stop(m_host.camera);
}

void vx_Dc1394Stream::interrupt() {
  m_interruptPending = true;
  if (m_wakeFd >= 0) {
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(m_wakeFd, &one, sizeof one);
  }
}

vx_DcamFrame vx_Dc1394Stream::marker(uint32_t flags) const {
  vx_DcamFrame frame;
  frame.width = m_params.width;
  frame.height = m_params.height;
  frame.coding = m_params.coding;
  frame.sequence = m_sent;
  frame.flags = flags;
  frame.timestamp = Clock::now();
  return frame;
}

std::optional<vx_DcamFrame> vx_Dc1394Stream::takeFrame() {
  bool failed = false;
  int failureErrno = 0;
  while (m_held.size() < m_ringSize) {
    dc1394video_frame_t* source = nullptr;
    errno = 0;
    if (dc1394_capture_dequeue(m_host.camera, DC1394_CAPTURE_POLICY_POLL, &source) != DC1394_SUCCESS) {
      failureErrno = errno;
      failed = true;
      break;
    }
    if (!source) break;
    m_held.push_back(source);
  }
  if (m_held.empty()) {
    if (!failed) return std::nullopt;
    m_dequeueFailed = true;
    // A device that has gone fails the dequeue before the layer has heard
    // of the removal; without this look the stream would report lost frames
    // until it had.
    if (m_host.suspectGone) m_host.suspectGone(failureErrno);
    if (!plugged()) return marker(vx_DcamFrame::kUnplugged);
    // The ring lost track of a frame: one the camera sent and that never
    // arrived whole.
    vx_DcamFrame lost = marker(vx_DcamFrame::kIncomplete);
    lost.sequence = m_sent++;
    return lost;
  }
  // Every buffer of the ring is full, so the kernel has had nowhere to put
  // what the camera kept sending: drop the oldest frame to make room and tell
  // the receiver with the next one.
  if (m_ringSize > 1 && m_held.size() >= m_ringSize) {
    dc1394_capture_enqueue(m_host.camera, m_held.front());
    m_held.pop_front();
    ++m_sent;
    m_overrun = true;
  }
  dc1394video_frame_t* source = m_held.front();
  m_held.pop_front();
  const bool corrupt = dc1394_capture_is_frame_corrupt(m_host.camera, source) == DC1394_TRUE;
  vx_DcamFrame frame = vxFrameFromDc1394(*source, corrupt, m_params, m_sent++, m_overrun,
                                         std::chrono::system_clock::now(), Clock::now());
  m_overrun = false;
  dc1394_capture_enqueue(m_host.camera, source);
  return frame;
}

void vx_Dc1394Stream::returnHeld() {
  for (dc1394video_frame_t* source : m_held) dc1394_capture_enqueue(m_host.camera, source);
  m_held.clear();
}

std::optional<vx_DcamFrame> vx_Dc1394Stream::waitFrame(double timeoutSeconds) {
  const bool forever = timeoutSeconds < 0 || std::isinf(timeoutSeconds);
  const Clock::time_point deadline =
      forever ? Clock::time_point::max()
              : Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(timeoutSeconds));
  for (;;) {
    if (m_interruptPending.exchange(false)) return marker(vx_DcamFrame::kInterrupted);
    if (!plugged()) return marker(vx_DcamFrame::kUnplugged);
    if (m_running && !m_dequeueFailed)
      if (auto frame = takeFrame()) return frame;
    const Clock::time_point now = Clock::now();
    if (!forever && now >= deadline) return std::nullopt;
    auto slice = kPlugCheck;
    if (!forever)
      slice = std::min(slice, std::chrono::ceil<std::chrono::milliseconds>(deadline - now));
    pollfd fds[2] = {{m_wakeFd, POLLIN, 0}, {-1, POLLIN, 0}};
    nfds_t count = 1;
    if (m_running) {
      fds[1].fd = dc1394_capture_get_fileno(m_host.camera);
      if (fds[1].fd >= 0) count = 2;
    }
    if (::poll(fds, count, static_cast<int>(slice.count())) < 0 && errno != EINTR) return std::nullopt;
    if (fds[0].revents & POLLIN) {
      uint64_t value = 0;
      [[maybe_unused]] const ssize_t got = ::read(m_wakeFd, &value, sizeof value);
    }
    if (count == 2 && (fds[1].revents & POLLIN)) m_dequeueFailed = false;
    // A hung-up capture descriptor usually means the device went away; the
    // plug check at the top of the loop reports it once the layer knows. A
    // descriptor that stays hung up must not turn this loop into a spin.
    if (count == 2 && (fds[1].revents & (POLLHUP | POLLERR | POLLNVAL))) {
      if (m_host.suspectGone) m_host.suspectGone(0);
      if (plugged()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  }
}

void vx_Dc1394Stream::flush() {
  if (!m_running) return;
  m_sent += m_held.size();
  returnHeld();
  for (;;) {
    dc1394video_frame_t* source = nullptr;
    if (dc1394_capture_dequeue(m_host.camera, DC1394_CAPTURE_POLICY_POLL, &source) != DC1394_SUCCESS || !source)
      break;
    dc1394_capture_enqueue(m_host.camera, source);
    ++m_sent;
  }
  m_overrun = false;
}
