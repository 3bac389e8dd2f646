#!/usr/bin/env bash
# Starts dcam-pralix under Xvfb on simulated cameras and saves a PNG of every
# page of its tree (and of the simulated-bus window) for the README and for
# review, then of the pages at work on the first camera:
#   NN-<group>-<page>.png            every node of the page tree, in tree order
#   NN-simulated_bus.png             the simulated-bus window
#   dcam_properties-gain.png         DCAM Properties with Gain shown
#   camera_capabilities-finished.png a finished capabilities report
#   register_dump-finished.png       a finished register dump
#   select_dcam-not_responding.png   the camera selection with an unplugged camera
#   register_editor-*.png            the register editor's three pages on the first camera
#   acquisition-window-N.png         three acquisition windows acquiring together
#   acquisition-display_console*.png their display consoles
#   acquisition-histogram.png        the first window's histogram
#   acquisition-window-unplugged.png the second window after its camera was unplugged
#
#   scripts/screenshots.sh [BUILD_DIR] [OUTPUT_DIR] [PROFILES]
#
# BUILD_DIR defaults to build/dev, OUTPUT_DIR to screenshots/, PROFILES (a
# comma-separated list for --simulate) to the built-in set.
set -euo pipefail

repo="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${1:-$repo/build/dev}"
out="${2:-$repo/screenshots}"
profiles="${3:-}"

program="$build/bin/dcam-pralix"
if [[ ! -x "$program" ]]; then
  echo "No program at $program; build the dcam-pralix target first." >&2
  exit 1
fi
if ! command -v xvfb-run >/dev/null; then
  echo "xvfb-run is needed (package xvfb)." >&2
  exit 1
fi

simulate="--simulate"
[[ -n "$profiles" ]] && simulate="--simulate=$profiles"

# A runtime folder of its own, so that a running instance does not refuse
# this one, and settings that do not touch the user's.
scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$scratch/runtime" "$scratch/config" "$out"
chmod 700 "$scratch/runtime"
rm -f "$out"/*.png

XDG_RUNTIME_DIR="$scratch/runtime" XDG_CONFIG_HOME="$scratch/config" \
  PRALIX_MODULE_DIR="${PRALIX_MODULE_DIR:-$build/bin}" PRALIX_DATA_DIR="${PRALIX_DATA_DIR:-$repo/data}" \
  QT_QPA_PLATFORM=xcb \
  timeout 600 xvfb-run -a -s "-screen 0 1280x1024x24" "$program" "$simulate" "--screenshots=$out"

count=$(find "$out" -maxdepth 1 -name '*.png' | wc -l)
echo "Saved $count pictures in $out"
[[ "$count" -gt 0 ]]
