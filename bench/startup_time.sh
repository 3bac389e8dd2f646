#!/usr/bin/env bash
# Times dcam-pralix from its process start to the first drawing of its main
# window, several runs under one Xvfb server, and prints the minimum, median
# and maximum of both measures the program reports.
#
#   bench/startup_time.sh [BUILD_DIR] [RUNS] [PROGRAM ARGUMENTS...]
#
# BUILD_DIR defaults to build/release, RUNS to 20, the arguments to
# --simulate (the built-in simulated cameras). The first run warms the disk
# cache and is not counted.
set -euo pipefail

repo="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${1:-$repo/build/release}"
runs="${2:-20}"
shift $(( $# < 2 ? $# : 2 ))
arguments=("$@")
[[ ${#arguments[@]} -eq 0 ]] && arguments=(--simulate)

program="$build/bin/dcam-pralix"
if [[ ! -x "$program" ]]; then
  echo "No program at $program; build the dcam-pralix target first." >&2
  exit 1
fi
if ! command -v xvfb-run >/dev/null; then
  echo "xvfb-run is needed (package xvfb)." >&2
  exit 1
fi
if ! [[ "$runs" =~ ^[1-9][0-9]*$ ]]; then
  echo "RUNS must be a positive number, not '$runs'." >&2
  exit 1
fi

# A runtime folder of its own, so that a running instance does not refuse
# these, and settings that do not touch the user's.
scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$scratch/runtime" "$scratch/config"
chmod 700 "$scratch/runtime"

# Runs inside the X server: the program once per run, each ending as soon as
# its window is drawn; the timing lines go to the log.
cat >"$scratch/runs.sh" <<'INNER'
#!/usr/bin/env bash
set -u
program="$1" runs="$2" log="$3"
shift 3
for ((i = 0; i <= runs; i++)); do
  if ! PRALIX_STARTUP_TIMING=exit timeout 60 "$program" "$@" 2>"$log.run" >/dev/null; then
    echo "Run $i failed:" >&2
    cat "$log.run" >&2
    exit 1
  fi
  line="$(grep '^Start-up: ' "$log.run" || true)"
  if [[ -z "$line" ]]; then
    echo "Run $i printed no start-up time:" >&2
    cat "$log.run" >&2
    exit 1
  fi
  [[ $i -gt 0 ]] && echo "$line" >>"$log"
done
exit 0
INNER
chmod +x "$scratch/runs.sh"

XDG_RUNTIME_DIR="$scratch/runtime" XDG_CONFIG_HOME="$scratch/config" \
  PRALIX_MODULE_DIR="${PRALIX_MODULE_DIR:-$build/bin}" PRALIX_DATA_DIR="${PRALIX_DATA_DIR:-$repo/data}" \
  QT_QPA_PLATFORM=xcb \
  xvfb-run -a -s "-screen 0 1280x1024x24" "$scratch/runs.sh" "$program" "$runs" "$scratch/times" \
  "${arguments[@]}"

# min/median/max of one column of numbers.
summary() {
  sort -n | awk '{ v[NR] = $1 }
    END {
      if (NR == 0) { print "no values"; exit }
      m = (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2
      printf "min %.1f ms   median %.1f ms   max %.1f ms\n", v[1], m, v[NR]
    }'
}

echo "dcam-pralix ${arguments[*]}: $runs runs to the first drawn main window"
printf '  from process start: '
sed -n 's/.*, \([0-9.]*\) ms after the process started.*/\1/p' "$scratch/times" | summary
printf '  from main():        '
sed -n 's/.*shown \([0-9.]*\) ms after main() began.*/\1/p' "$scratch/times" | summary
