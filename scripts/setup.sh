#!/usr/bin/env bash
# Installs every Debian package DCAM Pralix needs to build, test and run.
# Safe to run again: apt-get skips what is already installed.
set -euo pipefail
packages=(
  build-essential cmake ninja-build pkg-config
  qt6-base-dev qt6-base-dev-tools libgl-dev
  libdc1394-dev
  libgtest-dev libgmock-dev googletest
  libbenchmark-dev
  libcli11-dev nlohmann-json3-dev
  xvfb xauth
  clang libclang-rt-14-dev lld
  libudev-dev
  libxml2-utils
  stress-ng
  help2man
  ccache
)
sudo=""
if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update
$sudo apt-get install -y --no-install-recommends "${packages[@]}"
