// Stopwatch and the local time stamps that begin every log line.
#pragma once

#include <chrono>
#include <string>

// "%m/%d-%H:%M:%S" in local time, as log lines begin.
std::string vxTimeStamp();
std::string vxTimeStamp(std::chrono::system_clock::time_point when);

class vxStopwatch {
 public:
  vxStopwatch() : m_start(std::chrono::steady_clock::now()) {}
  void restart() { m_start = std::chrono::steady_clock::now(); }
  double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
  }

 private:
  std::chrono::steady_clock::time_point m_start;
};
