#!/usr/bin/env bash
# kep-host play through OpenAL Soft's wave writer: what a listener at the origin
# hears of a two-second mono sine placed to its right, to its left, and to its right
# at half gain, with standard error closed (no file the host opens may take its place).
set -eEuo pipefail
trap 'echo "FAILED at line $LINENO: $BASH_COMMAND" >&2' ERR
host=$1 plugins=$2 sine=${KEP_TEST_MEDIA:?}/sine_mono_2s.wav
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

# render NAME ARGS...: plays the sine, recording what the listener hears in NAME.wav.
render() {
    printf 'drivers=wave\n[wave]\nfile=%s\n' "$out/$1.wav" >"$out/$1.conf"
    env -u ALSOFT_DRIVERS ALSOFT_CONF="$out/$1.conf" "$host" --plugins "$plugins" play "$sine" \
        "${@:2}" >"$out/$1.log"
}

# Prints "LEFT RIGHT" RMS levels in dB of a stereo WAV, while the sine surely sounds
# (how long the silence after it lasts depends on the machine's load).
levels() {
    ffmpeg -v info -nostdin -i "$out/$1.wav" \
        -af atrim=0.2:1.8,astats=measure_overall=none:measure_perchannel=RMS_level \
        -f null - 2>&1 | sed -n 's/.*RMS level dB: //p' | sed 's/-inf/-999/' | tr '\n' ' '
}

render right --at 10,0,0
render left --at -10,0,0
render half --at 10,0,0 --gain 0.5 2>&-
read -r right_l right_r <<<"$(levels right)"
read -r left_l left_r <<<"$(levels left)"
read -r _ half_r <<<"$(levels half)"
duration=$(ffprobe -v error -show_entries format=duration -of csv=p=0 "$out/half.wav")
echo "right: L $right_l R $right_r; left: L $left_l R $left_r; half gain: R $half_r; $duration s"
awk -v d="$duration" 'BEGIN { exit !(d > 1.9 && d < 2.6) }'
awk -v l="$right_l" -v r="$right_r" 'BEGIN { exit !(r > -60 && r > l + 6) }'
awk -v l="$left_l" -v r="$left_r" 'BEGIN { exit !(l > -60 && l > r + 6) }'
# Gain 0.5 is 6 dB quieter.
awk -v full="$right_r" -v half="$half_r" 'BEGIN { exit !(full - half > 5.5 && full - half < 6.5) }'

# Looping runs for the seconds asked for, then stops cleanly.
ALSOFT_DRIVERS=null "$host" --plugins "$plugins" play "$sine" --loop --seconds 0.5 >"$out/loop.log"
grep -q '^Played for 0\.[5-9]' "$out/loop.log"

# Numbers a float cannot hold, and gains beyond +60 dB, are usage errors.
for args in '--at 1e39,0,0' '--gain 1e30'; do
    status=0
    ALSOFT_DRIVERS=null "$host" --plugins "$plugins" play "$sine" $args 2>/dev/null || status=$?
    [ "$status" -eq 2 ]
done
echo "play: all checks passed"
