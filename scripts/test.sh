#!/usr/bin/env bash
# Builds and runs the whole test suite: the warnings-as-errors build, then the
# address/undefined sanitizer build, then the threaded tests under
# ThreadSanitizer, then each libFuzzer target for 20 seconds.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)
export QT_QPA_PLATFORM=offscreen
for preset in dev asan tsan; do
  echo "== $preset =="
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  ctest --preset "$preset" -j "$jobs"
done
echo "== fuzz =="
bash scripts/fuzz.sh 20
