// The acquisition loop shared by the acquisition window and `pralix acquire`:
// starts and completions in the window's order, timing statistics and the
// words for failed acquisitions.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "acquisition/acq_fifo.h"

// The shortest and longest acquisition times. The first completion sets
// both; later ones widen the span. Before the first, the shortest reads
// 10000 ms so that any real acquisition replaces it.
struct vxAcqTiming {
  static constexpr double kInitialShortestMs = 10000.0;
  uint32_t completed = 0;
  double shortestMs = kInitialShortestMs;
  double longestMs = 0.0;

  void add(double ms);
};

// Counts and times of a camera's acquisitions, written by the thread that
// acquires and read by any other.
class vxAcqStatistics {
 public:
  struct Snapshot {
    uint32_t acquired = 0;  // successful acquisitions
    uint32_t failed = 0;    // completions with a failure, and starts refused
    vxAcqTiming timing;
  };

  void record(double ms, bool succeeded);
  void refused();
  Snapshot snapshot() const;
  void reset();

 private:
  mutable std::mutex m_mutex;
  Snapshot m_state;
};

// The first failure of a record in the continuous log's words, flags tested
// in the fixed order: "isTimeOut error #7", "isAbnormal error 1, #3" ...
std::string vxAcquireFailureLine(const vxAcquireInfo& info, int number);
// Every failure of a record in the single-image words, in the same order;
// "Unknown fifo error occurred" when no flag is set.
std::vector<std::string> vxAcquireFailureWords(const vxAcquireInfo& info);

// One FIFO's run of acquisitions. The caller drives it from one thread:
// begin(), then next() until it wants to stop, then end(). stopRequested is
// asked after each completion, so that a wait cut short by a stop does not
// count as an acquisition.
class vxContinuousAcquisition {
 public:
  // Starts issued before the first wait when the FIFO has queued starts.
  static constexpr int kQueuedStarts = 3;

  struct Begin {
    bool queued = false;  // the queued starts were issued
    std::string refused;  // why a queued start was refused; empty when none was
  };
  struct Pass {
    int number = 0;  // 1 for the first pass of the run
    vxAcqResult result;
    double ms = 0.0;         // from before the start to the completion
    std::string refused;     // the start was refused, with this reason; nothing timed
    bool cancelled = false;  // the wait ended for a stop; nothing timed
    bool succeeded() const { return refused.empty() && !cancelled && result.succeeded(); }
  };

  vxContinuousAcquisition(vxAcqFifo& fifo, vxAcqStatistics& statistics, double timeoutSeconds,
                          std::function<bool()> stopRequested = {});

  // Switches triggers on and, with queued starts, issues them.
  Begin begin();
  // One start (unless queued starts issue them) and one completion, timed.
  Pass next();
  // Switches triggers off. A camera that has gone refuses the registers,
  // which changes nothing about the run.
  void end();

  // Takes one image as the single-image button does: triggers on, one start,
  // one completion, triggers off.
  static Pass single(vxAcqFifo& fifo, vxAcqStatistics& statistics, double timeoutSeconds);

 private:
  vxAcqFifo& m_fifo;
  vxAcqStatistics& m_statistics;
  double m_timeout;
  std::function<bool()> m_stopRequested;
  int m_passes = 0;
};
