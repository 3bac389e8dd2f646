// Fuzzes the number options of pralix (--count, --timeout, --exposure, raw
// feature values): the text a user types goes through the range checks.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>

#include <CLI/CLI.hpp>

#include "cli/cli_options.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static CLI::Validator atLeast = vxAtLeast(1);
  static CLI::Validator above = vxAbove(0);
  static CLI::Validator within = vxWithin(0, 4095);
  std::string text(reinterpret_cast<const char*>(data), size);
  for (CLI::Validator* check : {&atLeast, &above, &within}) {
    std::string copy = text;
    const std::string error = (*check)(copy);
    // Accepted text is a finite number inside the range.
    if (error.empty()) {
      double value = 0;
      if (!CLI::detail::lexical_cast(copy, value) || !std::isfinite(value)) __builtin_trap();
      if (check == &atLeast && value < 1) __builtin_trap();
      if (check == &above && value <= 0) __builtin_trap();
      if (check == &within && (value < 0 || value > 4095)) __builtin_trap();
    }
  }
  return 0;
}
