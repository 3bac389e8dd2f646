// Where libdc1394's own log messages go: kept for the program, never printed raw on standard error.
#pragma once

#include <string>
#include <vector>

// libdc1394 logs errors, warnings and debug lines through one process-wide
// handler per level, whose default prints them on standard error. A
// diagnostic tool must not scatter the library's internal chatter over the
// user's terminal, so every level is routed here; the bus layer turns what
// matters into notices of its own. Setting PRALIX_DC1394_LOG=1 in the
// environment echoes every message to standard error for a developer.
class vx_Dc1394Log {
 public:
  // Installs the handlers; harmless to call again.
  static void install();
  // The most recent error or warning libdc1394 logged, without its trailing
  // newline; empty when there was none.
  static std::string lastProblem();
  // How many errors and warnings were logged so far: compare before and
  // after a call to know whether lastProblem() is about that call.
  static unsigned long problemCount();
  // The last few messages of every level, oldest first.
  static std::vector<std::string> recent();
};
