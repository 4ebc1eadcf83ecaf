#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, AddressSanitizer and UBSan) into build-fuzz,
# runs each on its kept regression inputs, then fuzzes each for SECONDS (default
# 30): scripts/fuzz.sh [SECONDS] [TARGET...]. Targets: replication (what a peer
# sends, read and applied) and decoder (file bytes). Seeds: what a recording
# instance sends for a small scene, and the test media, files whose format
# changes part-way included. New corpus entries stay in build-fuzz/corpus.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-30}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(replication decoder)
dir=build-fuzz

KEP_TARGETS="replication_fuzz decoder_fuzz make_replication_seeds" bash scripts/build.sh "$dir" \
    -DKEP_FUZZ=ON -DCMAKE_CXX_COMPILER=clang++ -DKEP_BUILD_TESTS=OFF -DKEP_BUILD_BENCH=OFF
export ALSOFT_DRIVERS=null
bash tests/data/make_media.sh "$dir/seeds/decoder"
mkdir -p "$dir/seeds/replication"
"$dir/fuzz/make_replication_seeds" "$dir/seeds/replication" "$dir/seeds/decoder/pcm_s16_mono.wav"

for target in "${targets[@]}"; do
    fuzzer=$dir/fuzz/${target}_fuzz
    regressions=(fuzz/regressions/"$target"/*)
    if [ -e "${regressions[0]}" ]; then
        "$fuzzer" "${regressions[@]}"
    fi
    mkdir -p "$dir/corpus/$target"
    # Inputs up to 128 KiB: the seeds whose format changes part-way fit whole.
    "$fuzzer" -max_total_time="$seconds" -max_len=131072 -timeout=30 -rss_limit_mb=4096 \
        -print_final_stats=1 -artifact_prefix="$dir/$target-" \
        "$dir/corpus/$target" "$dir/seeds/$target"
done
