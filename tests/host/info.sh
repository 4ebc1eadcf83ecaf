#!/usr/bin/env bash
# End to end: `kep-host info FILE...` describes the sound each file makes, or says
# it failed with the reason in the log.
# Usage: info.sh KEP_HOST_BINARY PLUGIN_DIR   (test media in $KEP_TEST_MEDIA)
set -uo pipefail

host=${1:?usage: info.sh KEP_HOST_BINARY PLUGIN_DIR}
plugins=${2:?usage: info.sh KEP_HOST_BINARY PLUGIN_DIR}
media=${KEP_TEST_MEDIA:?KEP_TEST_MEDIA must name the test media folder}
export ALSOFT_DRIVERS=${ALSOFT_DRIVERS:-null}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

fail() {
    echo "FAIL: $*" >&2
    echo "--- stdout:" >&2
    cat "$work/out" >&2
    echo "--- stderr:" >&2
    cat "$work/err" >&2
    failures=$((failures + 1))
}

# run ARGS...: runs kep-host with the plug-ins; sets $status.
run() {
    "$host" --plugins "$plugins" "$@" >"$work/out" 2>"$work/err"
    status=$?
}

expect_status() {
    [[ $status -eq $1 ]] || fail "$2: exit status $status, expected $1"
}

expect_out_line() {
    grep -Eqx -- "$1" "$work/out" || fail "$2: no output line matching '$1'"
}

expect_log() {
    grep -Fq -- "$1" "$work/err" || fail "$2: log does not hold '$1'"
}

# A stereo Vorbis file (1.5 s) becomes stereo float 32.
vorbis=$media/vorbis_stereo.ogg
run info "$vorbis"
expect_status 0 "vorbis"
expect_out_line "${vorbis//./\\.}: format 0x10011, 44100 Hz, [0-9]+ bytes, 2 s" "vorbis"

# A 16-bit stereo WAV stays 16-bit stereo: 11025 frames, the last decoded frame
# padded to 800 samples, so 11040 frames of 4 bytes.
wav=$media/pcm_s16_stereo.wav
run info "$wav"
expect_status 0 "16-bit stereo"
expect_out_line "${wav//./\\.}: format 0x1103, 44100 Hz, 44160 bytes, 1 s" "16-bit stereo"

# A double stereo WAV is refused on a device that offers AL_EXT_DOUBLE.
double=$media/pcm_f64_stereo.wav
run info "$double"
expect_status 1 "double stereo"
expect_out_line "${double//./\\.}: failed" "double stereo"
expect_log "FFStream: Ambisonic sound not supported by the sound plug-in or unknown format" \
    "double stereo"
expect_log "SoundSystem: Failed to load $double error: Format configuration not found" \
    "double stereo"

# A missing file reaches the decoder, which cannot open it.
missing=$work/no_such_sound.wav
run info "$missing"
expect_status 1 "missing file"
expect_out_line "${missing//./\\.}: failed" "missing file"
expect_log "SoundSystem: Failed to load $missing error: Failed to open $missing" "missing file"

# Every file gets its line; one failure makes the status 1.
run info "$wav" "$missing" "$vorbis"
expect_status 1 "several files"
[[ $(wc -l <"$work/out") -eq 3 ]] || fail "several files: not one line per file"
expect_out_line "${missing//./\\.}: failed" "several files"
expect_out_line "${vorbis//./\\.}: format 0x10011, .*" "several files"

# The decoder's progress lines show only at debug level.
run info "$wav"
grep -Fq "FFStream: Packet read. Size:" "$work/err" && fail "default level: debug lines shown"
run --log-level debug info "$wav"
expect_status 0 "debug level"
expect_log "FFStream: Packet read. Size: 4.00 KB" "debug level"
expect_log "FFStream: Read stream completed. Packet count: 11. Total size: 43.07 KB." "debug level"

if ((failures)); then
    echo "$failures check(s) failed" >&2
    exit 1
fi
echo "info: all checks passed"
