// Local time stamps for log lines.
#include "time_stamp.h"

#include <ctime>

std::string vxTimeStamp(std::chrono::system_clock::time_point when) {
  const std::time_t t = std::chrono::system_clock::to_time_t(when);
  std::tm local{};
  localtime_r(&t, &local);
  char buf[32];
  const size_t n = std::strftime(buf, sizeof buf, "%m/%d-%H:%M:%S", &local);
  return std::string(buf, n);
}

std::string vxTimeStamp() { return vxTimeStamp(std::chrono::system_clock::now()); }
