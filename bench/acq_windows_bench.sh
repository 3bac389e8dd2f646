#!/usr/bin/env bash
# Runs the acquisition-window benchmark under Xvfb.
#   bench/acq_windows_bench.sh [BUILD_DIR] [SECONDS]
set -euo pipefail
repo="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${1:-$repo/build/release}"
PRALIX_BENCH_SECONDS="${2:-60}" QT_QPA_PLATFORM=xcb \
  xvfb-run -a -s "-screen 0 1920x1200x24" "$build/bin/acq_windows_bench"
