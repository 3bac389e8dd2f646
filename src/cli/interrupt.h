// Ctrl-C for the commands that run until the user stops them.
#pragma once

#include <atomic>
#include <csignal>

// Set by the SIGINT handler; nothing else is safe to do there.
inline std::atomic<bool> g_interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" inline void vxCliOnInterrupt(int) { g_interrupted.store(true); }

// Ctrl-C asks the run to stop instead of ending the process, for the time
// the handler lives.
class InterruptHandler {
 public:
  InterruptHandler() {
    g_interrupted.store(false);
    struct sigaction action {};
    action.sa_handler = vxCliOnInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &m_previous);
  }
  ~InterruptHandler() { sigaction(SIGINT, &m_previous, nullptr); }
  InterruptHandler(const InterruptHandler&) = delete;
  InterruptHandler& operator=(const InterruptHandler&) = delete;

 private:
  struct sigaction m_previous {};
};
