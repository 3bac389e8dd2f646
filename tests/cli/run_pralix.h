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

// Runs pralix with the arguments (already quoted for the shell) and extra
// environment assignments. The caller's simulation settings are dropped. A
// run that does not end within limitSeconds is killed and reports status 124.
inline Result pralix(const std::string& args, const std::string& env = "", int limitSeconds = 120) {
  const std::string errPath = tempPath("err.txt");
  const std::string command = "env -u PRALIX_SIMULATE -u PRALIX_SIM_TIMESCALE " + env + " timeout " +
                              std::to_string(limitSeconds) + " " + PRALIX_BIN + " " + args + " 2>" +
                              errPath;
  Result result;
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return result;
  std::array<char, 4096> buf;
  size_t n;
  while ((n = fread(buf.data(), 1, buf.size(), pipe)) > 0) result.out.append(buf.data(), n);
  const int raw = pclose(pipe);
  result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  result.err = readFile(errPath);
  return result;
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
