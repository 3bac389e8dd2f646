// The acquisition loop shared by the acquisition window and `pralix acquire`.
#include "acquisition/continuous_acquisition.h"

#include <algorithm>
#include <chrono>

#include "base/format.h"

namespace {

using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point begin) {
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

}  // namespace

void vxAcqTiming::add(double ms) {
  if (completed++ == 0) {
    shortestMs = longestMs = ms;
    return;
  }
  longestMs = std::max(longestMs, ms);
  shortestMs = std::min(shortestMs, ms);
}

void vxAcqStatistics::record(double ms, bool succeeded) {
  std::lock_guard lock(m_mutex);
  m_state.timing.add(ms);
  ++(succeeded ? m_state.acquired : m_state.failed);
}

void vxAcqStatistics::refused() {
  std::lock_guard lock(m_mutex);
  ++m_state.failed;
}

vxAcqStatistics::Snapshot vxAcqStatistics::snapshot() const {
  std::lock_guard lock(m_mutex);
  return m_state;
}

void vxAcqStatistics::reset() {
  std::lock_guard lock(m_mutex);
  m_state = {};
}

std::string vxAcquireFailureLine(const vxAcquireInfo& info, int number) {
  if (info.isTiming()) return vxFormat("isTiming (bandwidth) error #%d", number);
  if (info.isTimeOut()) return vxFormat("isTimeOut error #%d", number);
  if (info.isMissed()) return vxFormat("isMissed error #%d", number);
  if (info.isOverrun()) return vxFormat("isOverrun error #%d", number);
  if (info.isAbnormal()) return vxFormat("isAbnormal error %x, #%d", info.abnormalCode(), number);
  if (info.isIncomplete()) return vxFormat("isIncomplete error #%d", number);
  if (info.isInvalidROI()) return vxFormat("isInvalidRoi error #%d", number);
  if (info.isOtherFifoError()) return vxFormat("isOtherFifoError #%d", number);
  return vxFormat("unknown fifo error #%d", number);
}

std::vector<std::string> vxAcquireFailureWords(const vxAcquireInfo& info) {
  std::vector<std::string> words;
  if (info.isTiming()) words.emplace_back("isTiming (bandwidth) error");
  if (info.isTimeOut()) words.emplace_back("isTimeOut error");
  if (info.isMissed()) words.emplace_back("isMissed error");
  if (info.isOverrun()) words.emplace_back("isOverrun error");
  if (info.isAbnormal()) words.push_back(vxFormat("isAbnormal error %u", info.abnormalCode()));
  if (info.isIncomplete()) words.emplace_back("isIncomplete error");
  if (info.isInvalidROI()) words.emplace_back("isInvalidROI error");
  if (info.isOtherFifoError()) words.emplace_back("isOtherFifoError");
  if (words.empty()) words.emplace_back("Unknown fifo error occurred");
  return words;
}

vxContinuousAcquisition::vxContinuousAcquisition(vxAcqFifo& fifo, vxAcqStatistics& statistics,
                                                 double timeoutSeconds,
                                                 std::function<bool()> stopRequested)
    : m_fifo(fifo),
      m_statistics(statistics),
      m_timeout(timeoutSeconds),
      m_stopRequested(std::move(stopRequested)) {}

vxContinuousAcquisition::Begin vxContinuousAcquisition::begin() {
  Begin begin;
  m_fifo.triggerProp().triggerEnable(true);
  if (!m_fifo.queuedStarts()) return begin;
  begin.queued = true;
  try {
    for (int i = 0; i < kQueuedStarts; ++i) m_fifo.start();
  } catch (const vxAcqFifo::StartNotAllowed& e) {
    m_statistics.refused();
    begin.refused = e.what();
  }
  return begin;
}

vxContinuousAcquisition::Pass vxContinuousAcquisition::next() {
  Pass pass;
  pass.number = ++m_passes;
  const Clock::time_point begin = Clock::now();
  try {
    if (!m_fifo.queuedStarts()) m_fifo.start();
    pass.result = m_fifo.complete(m_timeout);
  } catch (const vxAcqFifo::StartNotAllowed& e) {
    m_statistics.refused();
    pass.refused = e.what();
    return pass;
  }
  pass.ms = millisecondsSince(begin);
  // A wait that a stop cut short is no acquisition.
  if (m_stopRequested && !pass.result.image && pass.result.info.isOtherFifoError() &&
      m_stopRequested()) {
    pass.cancelled = true;
    return pass;
  }
  m_statistics.record(pass.ms, pass.result.succeeded());
  return pass;
}

void vxContinuousAcquisition::end() {
  try {
    m_fifo.triggerProp().triggerEnable(false);
  } catch (const std::exception&) {
  }
}

vxContinuousAcquisition::Pass vxContinuousAcquisition::single(vxAcqFifo& fifo,
                                                              vxAcqStatistics& statistics,
                                                              double timeoutSeconds) {
  fifo.triggerProp().triggerEnable(true);
  Pass pass;
  pass.number = 1;
  const Clock::time_point begin = Clock::now();
  try {
    fifo.start();
    pass.result = fifo.complete(timeoutSeconds);
    pass.ms = millisecondsSince(begin);
    statistics.record(pass.ms, pass.result.succeeded());
  } catch (const vxAcqFifo::StartNotAllowed& e) {
    statistics.refused();
    pass.refused = e.what();
  }
  try {
    fifo.triggerProp().triggerEnable(false);
  } catch (const std::exception&) {
  }
  return pass;
}
