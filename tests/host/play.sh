#!/usr/bin/env bash
# kep-host play through OpenAL Soft's wave writer: what a listener at the origin
# hears of a two-second mono sine placed to its right, then to its left.
set -euo pipefail
host=$1 plugins=$2
media=${KEP_TEST_MEDIA:?}
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

# Prints "LEFT RIGHT" RMS levels in dB of a stereo WAV.
levels() {
    ffmpeg -v info -nostdin -i "$1" -af astats=measure_overall=none:measure_perchannel=RMS_level \
        -f null - 2>&1 | sed -n 's/.*RMS level dB: //p' | sed 's/-inf/-999/' | tr '\n' ' '
}

play_at() {
    printf 'drivers=wave\n[wave]\nfile=%s\n' "$out/$1.wav" >"$out/$1.conf"
    env -u ALSOFT_DRIVERS ALSOFT_CONF="$out/$1.conf" "$host" --plugins "$plugins" play "$media/sine_mono_2s.wav" \
        --at "$2" >"$out/$1.log" 2>&1
}

play_at right 10,0,0
play_at left -10,0,0

duration=$(ffprobe -v error -show_entries format=duration -of csv=p=0 "$out/right.wav")
awk -v d="$duration" 'BEGIN { exit !(d > 1.9 && d < 2.6) }'

read -r right_l right_r <<<"$(levels "$out/right.wav")"
read -r left_l left_r <<<"$(levels "$out/left.wav")"
echo "right: L $right_l R $right_r; left: L $left_l R $left_r; duration $duration"
awk -v l="$right_l" -v r="$right_r" 'BEGIN { exit !(r > -60 && r > l + 6) }'
awk -v l="$left_l" -v r="$left_r" 'BEGIN { exit !(l > -60 && l > r + 6) }'

# Looping runs for the seconds asked for, then stops cleanly.
printf 'drivers=null\n' >"$out/null.conf"
env -u ALSOFT_DRIVERS ALSOFT_CONF="$out/null.conf" "$host" --plugins "$plugins" play "$media/sine_mono_2s.wav" \
    --loop --seconds 0.5 --gain 0.5 >"$out/loop.log" 2>&1
grep -q '^Played for 0\.[5-9]' "$out/loop.log"
echo "play: 3 passed, 0 failed"
