#!/usr/bin/env bash
# Configures and builds into build/ (or the folder given as $1; extra CMake
# options follow it). Installs the dependencies first. KEP_TARGETS, if set,
# names the targets to build instead of all.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
dir=${1:-build}
shift || true
cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
# shellcheck disable=SC2086
cmake --build "$dir" -j"$(nproc)" ${KEP_TARGETS:+--target $KEP_TARGETS}
