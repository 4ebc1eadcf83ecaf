#!/usr/bin/env bash
# Installs every Debian package the project needs to build, test and run.
# Safe to run again: apt-get skips what is already installed.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config clang-format
  libopenal-dev libopenal1
  libavformat-dev libavcodec-dev libswresample-dev libavutil-dev ffmpeg
  qtbase5-dev
  libopenscenegraph-dev
  libfmt-dev
  libcli11-dev nlohmann-json3-dev
  libzmq3-dev cppzmq-dev libsodium-dev
  libsndfile1-dev
  googletest libgtest-dev libgmock-dev
  libbenchmark-dev
  clang libclang-rt-14-dev
)

SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if [ ${#missing[@]} -gt 0 ]; then
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update
  $SUDO apt-get install -y --no-install-recommends "${missing[@]}"
fi
