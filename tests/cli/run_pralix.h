// Runs the built pralix as a user runs it and collects what it printed.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <string>

struct Result {
  int status = -1;
  std::string out;
  std::string err;
};

inline std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// A file name of this test process's own: ctest runs test programs in
// parallel, each of them in its own process.
inline std::string tempPath(const std::string& name) {
  return ::testing::TempDir() + "pralix_" + std::to_string(getpid()) + "_" + name;
}

// Runs a shell command line and collects what it printed; standard error
// goes through a file of this process's own.
inline Result runCommand(const std::string& command) {
  const std::string errPath = tempPath("err.txt");
  Result result;
  FILE* pipe = popen((command + " 2>" + errPath).c_str(), "r");
  if (!pipe) return result;
  std::array<char, 4096> buf;
  size_t n;
  while ((n = fread(buf.data(), 1, buf.size(), pipe)) > 0) result.out.append(buf.data(), n);
  const int raw = pclose(pipe);
  result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  result.err = readFile(errPath);
  return result;
}

// The start of a command line that runs a program with extra environment
// assignments, the caller's simulation settings dropped.
inline std::string withEnv(const std::string& env) {
  return "env -u PRALIX_SIMULATE -u PRALIX_SIM_TIMESCALE " + env + " ";
}

// Runs pralix with the arguments (already quoted for the shell) and extra
// environment assignments. A run that does not end within limitSeconds is
// killed and reports status 124.
inline Result pralix(const std::string& args, const std::string& env = "", int limitSeconds = 120) {
  return runCommand(withEnv(env) + "timeout " + std::to_string(limitSeconds) + " " + PRALIX_BIN + " " + args);
}

// Runs pralix and sends it Ctrl-C's signal after the given time; the status
// is pralix's own (137 when it did not end within ten seconds of the signal).
inline Result pralixInterrupted(const std::string& args, double afterSeconds) {
  return runCommand(withEnv("") + "timeout --preserve-status -k 10 -s INT " + std::to_string(afterSeconds) + " " +
                    PRALIX_BIN + " " + args);
}

inline int countLines(const std::string& text) {
  int lines = 0;
  for (char c : text) lines += c == '\n';
  return lines;
}

inline int countMatches(const std::string& text, const std::regex& pattern) {
  return static_cast<int>(std::distance(std::sregex_iterator(text.begin(), text.end(), pattern),
                                        std::sregex_iterator()));
}
