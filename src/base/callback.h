// One-argument callbacks that the library calls back into the program.
#pragma once

#include <functional>
#include <utility>

template <typename Arg>
class vxCallback1 {
 public:
  vxCallback1() = default;
  template <typename F>
  vxCallback1(F f) : m_fn(std::move(f)) {}  // NOLINT: implicit by design
  void operator()(Arg arg) const {
    if (m_fn) m_fn(arg);
  }
  explicit operator bool() const { return static_cast<bool>(m_fn); }

 private:
  std::function<void(Arg)> m_fn;
};
