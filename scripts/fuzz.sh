#!/usr/bin/env bash
# Builds the libFuzzer targets (clang with AddressSanitizer and UBSan) and runs
# each for SECONDS (default 20) on a copy of its seed corpus from
# tests/fuzz/corpus/<name>/. Prints each target's executions, coverage and
# outcome; exits non-zero when any target found a crash, a leak or undefined
# behaviour (the input is kept in build/fuzz/artifacts/).
#
#   scripts/fuzz.sh [SECONDS]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-20}
cmake --preset fuzz >/dev/null
targets=$(sed -n 's/^pralix_add_fuzzer(\(fuzz_[a-z_]*\) .*/\1/p' tests/fuzz/CMakeLists.txt)
# shellcheck disable=SC2086
cmake --build build/fuzz -j "$(nproc)" --target $targets
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p build/fuzz/artifacts
failed=0
for target in $targets; do
  name=${target#fuzz_}
  corpus="$work/$name"
  mkdir -p "$corpus"
  if [ -d "tests/fuzz/corpus/$name" ]; then cp -r "tests/fuzz/corpus/$name/." "$corpus/"; fi
  log="$work/$name.log"
  status=0
  ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
    "build/fuzz/bin/$target" -max_total_time="$seconds" -print_final_stats=1 -timeout=10 \
    -rss_limit_mb=2048 -artifact_prefix="build/fuzz/artifacts/$name-" "$corpus" >"$log" 2>&1 ||
    status=$?
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  cov=$(grep -o 'cov: [0-9]* ft: [0-9]*' "$log" | tail -1 || true)
  if [ "$status" -eq 0 ]; then
    echo "$target: ${runs:-?} runs, ${cov:-no coverage line}, no crash"
  else
    echo "$target: FAILED (status $status) after ${runs:-?} runs, ${cov:-}"
    grep -E 'ERROR|runtime error|SUMMARY' "$log" | head -5 || true
    failed=1
  fi
done
exit "$failed"
