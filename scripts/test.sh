#!/usr/bin/env bash
# The whole test suite: a normal build, then a build with AddressSanitizer and
# UndefinedBehaviorSanitizer, each with every test under CTest; then a
# ThreadSanitizer build of the tests that run on more than one thread; then each
# fuzz target on its kept findings and for 30 s of fuzzing.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)

bash scripts/build.sh build
ctest --test-dir build --output-on-failure -j"$jobs"

bash scripts/build.sh build-asan -DKEP_SANITIZE=address -DKEP_BUILD_BENCH=OFF
ctest --test-dir build-asan --output-on-failure -j"$jobs"

KEP_TARGETS=threaded_tests bash scripts/build.sh build-tsan -DKEP_SANITIZE=thread -DKEP_BUILD_BENCH=OFF
ctest --test-dir build-tsan --output-on-failure -j"$jobs" -L threads

bash scripts/fuzz.sh 30
