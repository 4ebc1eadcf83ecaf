#!/usr/bin/env bash
# kep-host doctor lists the library and its item, opens the device on OpenAL Soft's
# null backend, and exits 1 with the fallback lines when no device can be opened.
set -euo pipefail
host=$1 plugins=$2
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

ALSOFT_DRIVERS=null "$host" --plugins "$plugins" doctor >"$out/stdout" 2>"$out/stderr"
grep -q '^Library kepSoundPlugins ' "$out/stdout"
grep -q '^  Item SoundSystem: guid a1f853f9-0faa-455c-a125-0278772c0aaf, kind 2,' "$out/stdout"
grep -q '^Sound device: open$' "$out/stdout"
grep -q '\[info\] SoundSystem: Opened .* Device$' "$out/stderr"
grep -q '\[info\] SoundSystem: Device init completed$' "$out/stderr"

# A backend that has no device to offer (ALSA without a sound card, as on CI).
status=0
ALSOFT_DRIVERS=alsa "$host" --plugins "$plugins" doctor >"$out/stdout" 2>"$out/stderr" || status=$?
[ "$status" -eq 1 ]
grep -q '\[warning\] SoundSystem: openning .* device failed, trying to pass nullptr$' "$out/stderr"
grep -q "\[error\] SoundSystem: can't open nullptr device$" "$out/stderr"
grep -q '^Sound device: not available$' "$out/stdout"

# Debug lines only when asked for.
ALSOFT_DRIVERS=null "$host" --plugins "$plugins" --log-level error doctor >"$out/stdout" 2>"$out/stderr"
! grep -q '\[info\]' "$out/stderr"
echo "doctor: 3 passed, 0 failed"
