#!/usr/bin/env bash
# Builds everything, then runs kep-host with the arguments given (default: doctor).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh build
[ $# -gt 0 ] || set -- doctor
exec build/host/kep-host "$@"
