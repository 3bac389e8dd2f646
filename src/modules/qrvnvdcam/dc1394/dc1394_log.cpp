// Where libdc1394's own log messages go: kept for the program, never printed raw on standard error.
#include "modules/qrvnvdcam/dc1394/dc1394_log.h"

#include <dc1394/dc1394.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>

namespace {

constexpr size_t kKeptMessages = 64;

struct LogStore {
  std::mutex mutex;
  std::deque<std::string> recent;
  std::string lastProblem;
  unsigned long problems = 0;
  bool echo = false;
};

// Never destroyed: libdc1394 may log from a camera being freed while static
// objects are already going away at exit.
LogStore& store() {
  static LogStore* instance = new LogStore;
  return *instance;
}

void handle(dc1394log_t type, const char* message, void* user) {
  // libdc1394 logs from inside a failed call; whoever made that call reads
  // errno afterwards to tell an unplug apart, so the handler leaves it alone.
  const int savedErrno = errno;
  struct RestoreErrno {
    int value;
    ~RestoreErrno() { errno = value; }
  } restore{savedErrno};
  auto& s = *static_cast<LogStore*>(user);
  std::string text = message ? message : "";
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  const char* level = type == DC1394_LOG_ERROR ? "error" : type == DC1394_LOG_WARNING ? "warning" : "debug";
  std::lock_guard lock(s.mutex);
  if (type == DC1394_LOG_ERROR || type == DC1394_LOG_WARNING) {
    s.lastProblem = text;
    ++s.problems;
  }
  s.recent.push_back(std::string(level) + ": " + text);
  if (s.recent.size() > kKeptMessages) s.recent.pop_front();
  if (s.echo) std::fprintf(stderr, "libdc1394 %s: %s\n", level, text.c_str());
}

}  // namespace

void vx_Dc1394Log::install() {
  static std::once_flag once;
  std::call_once(once, [] {
    LogStore& s = store();
    const char* echo = std::getenv("PRALIX_DC1394_LOG");
    s.echo = echo && *echo && std::strcmp(echo, "0") != 0;
    for (dc1394log_t type : {DC1394_LOG_ERROR, DC1394_LOG_WARNING, DC1394_LOG_DEBUG})
      dc1394_log_register_handler(type, &handle, &s);
  });
}

std::string vx_Dc1394Log::lastProblem() {
  LogStore& s = store();
  std::lock_guard lock(s.mutex);
  return s.lastProblem;
}

std::vector<std::string> vx_Dc1394Log::recent() {
  LogStore& s = store();
  std::lock_guard lock(s.mutex);
  return {s.recent.begin(), s.recent.end()};
}

unsigned long vx_Dc1394Log::problemCount() {
  LogStore& s = store();
  std::lock_guard lock(s.mutex);
  return s.problems;
}
