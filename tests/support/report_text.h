// Searches in report texts shared by the report tests.
#pragma once

#include <string>

// How often needle occurs in text, overlapping occurrences included.
inline size_t count(const std::string& text, const std::string& needle) {
  size_t n = 0;
  for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) ++n;
  return n;
}

// The text from the end of from up to the start of the next to; a marker
// naming the missing one when either is not there.
inline std::string between(const std::string& text, const std::string& from, const std::string& to) {
  const size_t start = text.find(from);
  if (start == std::string::npos) return "<" + from + " missing>";
  const size_t end = text.find(to, start + from.size());
  if (end == std::string::npos) return "<" + to + " missing>";
  return text.substr(start + from.size(), end - start - from.size());
}
