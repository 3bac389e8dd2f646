// The base of every exception the vision library raises: it carries a message.
#pragma once

#include <stdexcept>
#include <string>

class vxException : public std::runtime_error {
 public:
  explicit vxException(const std::string& message) : std::runtime_error(message) {}
  std::string message() const { return what(); }
};
