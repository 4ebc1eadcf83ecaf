#!/usr/bin/env bash
# Configures and builds into build/ (or the folder given as $1; extra CMake
# options follow it). Installs the dependencies first.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
dir=${1:-build}
shift || true
cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
cmake --build "$dir" -j"$(nproc)"
