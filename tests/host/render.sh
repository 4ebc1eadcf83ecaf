#!/usr/bin/env bash
# kep-host render through the real plug-in and OpenAL Soft's wave writer, checked
# by the numbers in the WAV: RMS levels per channel over time windows and onset
# times. One scene packs most checks into time windows; the listener stands at the
# origin looking along -Z, so +X is to its right.
set -eEuo pipefail
trap 'echo "FAILED at line $LINENO: $BASH_COMMAND" >&2' ERR
host=$1 plugins=$2 media=${KEP_TEST_MEDIA:?} examples=${KEP_EXAMPLES:?}
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

# "TIME LEFT RIGHT" for every 10 ms of a WAV, levels in dB (-999: silence).
levels_table() {
    ffmpeg -v error -nostdin -i "$1" -af "asetnsamples=n=441:p=0,astats=metadata=1:reset=1:\
measure_overall=none:measure_perchannel=RMS_level,ametadata=print:file=-" -f null - |
        awk -F'[ =:]+' '/^frame/ { t = $6 } /\.1\.RMS_level/ { l = $2 }
                        /\.2\.RMS_level/ { print t, l, $2 }' | sed 's/-inf/-999/g'
}
# level TABLE FROM TO: "LEFT RIGHT", the RMS level of the windows in [FROM, TO).
level() {
    awk -v from="$2" -v to="$3" '$1 >= from - 1e-6 && $1 < to - 1e-6 {
            for (c = 2; c <= 3; c++) if ($c > -900) power[c] += 10 ^ ($c / 10); n++ }
        END { for (c = 2; c <= 3; c++)
            printf "%.2f ", (power[c] > 0 ? 10 * log(power[c] / n) / log(10) : -999) }' "$1"
}
# onset TABLE FROM CHANNEL: the start of the first window from FROM on where the
# channel (2 left, 3 right) is above -40 dB.
onset() {
    awk -v from="$2" -v c="$3" '$1 >= from - 1e-6 && $c > -40 { print $1; exit }' "$1"
}
# near A B [TOLERANCE]: A within TOLERANCE (default 0.5) of B.
near() { awk -v a="$1" -v b="$2" -v t="${3:-0.5}" 'BEGIN { exit !(a - b <= t && b - a <= t) }'; }
# above A B [BY]: A more than BY (default 0) above B.
above() { awk -v a="$1" -v b="$2" -v by="${3:-0}" 'BEGIN { exit !(a > b + by) }'; }

# The scene: a 2 s sine looping at 2 m on the right (0-0.8 s), at 4 m (1-1.8 s), at
# 2 m with gain 0.5 (2-2.8 s), at 2 m again after the camera turned half round at
# 3.9-4 s (4.2-5 s); an object looping a 0.25 s tone (5.2-5.8 s) and a one-shot of
# it (6.2 s).
cat >"$out/levels.json" <<END
{
  "duration": 7,
  "sounds": { "sine": "$media/sine_mono_2s.wav", "short": "$media/pcm_s16_mono.wav" },
  "objects": [
    { "name": "looper", "sound": "short", "looping": true, "play": [5.2], "stop": [5.8] }
  ],
  "sources": [
    { "name": "near", "sound": "sine", "position": [2, 0, 0], "looping": true,
      "play": [0, 4.2], "stop": [0.8, 5] },
    { "name": "far", "sound": "sine", "position": [4, 0, 0], "looping": true,
      "play": [1], "stop": [1.8] },
    { "name": "half", "sound": "sine", "position": [2, 0, 0], "gain": 0.5, "looping": true,
      "play": [2], "stop": [2.8] },
    { "name": "once", "sound": "short", "position": [0, 0, 0], "play": [6.2] }
  ],
  "camera": { "path": [ { "time": 3.9, "direction": [0, 0, -1] },
                        { "time": 4, "direction": [0, 0, 1] } ] }
}
END
# The same source at 2 m on the right, with the plug-in's "Volume" at 0.5.
cat >"$out/volume.json" <<END
{ "duration": 1, "volume": 0.5, "sounds": { "sine": "$media/sine_mono_2s.wav" },
  "sources": [ { "sound": "sine", "position": [2, 0, 0], "play": [0] } ] }
END

"$host" --plugins "$plugins" render "$out/levels.json" -o "$out/levels.wav" \
    --plot "$out/levels.svg" >"$out/stdout" 2>"$out/stderr"
grep -qxF "WAV: $out/levels.wav (7 s, stereo, 32-bit float, 44100 Hz)" "$out/stdout"
grep -qxF "Plot: $out/levels.svg" "$out/stdout"
# The test environment's ALSOFT_DRIVERS=null would override the wave writer.
grep -qxF '[info] kep-host: ALSOFT_DRIVERS=null is ignored for this render: it would override the wave writer' "$out/stderr"
"$host" --plugins "$plugins" --log-level=error render "$out/volume.json" --output="$out/volume.wav" >/dev/null

levels_table "$out/levels.wav" >"$out/levels.txt"
levels_table "$out/volume.wav" >"$out/volume.txt"
read -r near_l near_r <<<"$(level "$out/levels.txt" 0.1 0.7)"
read -r _ far_r <<<"$(level "$out/levels.txt" 1.1 1.7)"
read -r _ half_r <<<"$(level "$out/levels.txt" 2.1 2.7)"
read -r turned_l turned_r <<<"$(level "$out/levels.txt" 4.3 4.9)"
read -r _ volume_r <<<"$(level "$out/volume.txt" 0.1 0.9)"
read -r loop_l _ <<<"$(level "$out/levels.txt" 5.55 5.75)"
read -r once_l _ <<<"$(level "$out/levels.txt" 6.25 6.4)"
echo "right: L $near_l R $near_r; 4 m: R $far_r; gain 0.5: R $half_r; Volume 0.5: R $volume_r"
echo "turned: L $turned_l R $turned_r; looping after its length: $loop_l; one-shot: $once_l"
duration=$(ffprobe -v error -show_entries format=duration -of csv=p=0 "$out/levels.wav")
near "$duration" 7 0.01
# On the right, louder on the right; turned half round, the channels swap.
above "$near_r" -30 && above "$near_r" "$near_l" 20
near "$turned_l" "$near_r" && above "$turned_l" "$turned_r" 20
# Twice the distance, gain 0.5 and "Volume" 0.5 each take 6 dB off.
for quieter in "$far_r" "$half_r" "$volume_r"; do
    near "$(awk -v a="$near_r" -v b="$quieter" 'BEGIN { print a - b }')" 6.02
done
# Stop silences (the sources loop); a looping sound plays on past its 0.25 s, a
# one-shot ends with it.
for window in '0.85 0.98' '1.85 1.98' '2.85 3.5' '5.05 5.15' '5.85 6.15' '6.55 7'; do
    read -r left right <<<"$(level "$out/levels.txt" $window)"
    [ "$left" = -999.00 ] && [ "$right" = -999.00 ]
done
above "$loop_l" -20 && above "$once_l" -20
# Each sound starts on its frame.
while read -r from channel expected; do
    near "$(onset "$out/levels.txt" "$from" "$channel")" "$expected" 0.03
done <<'END'
0.9 3 1
1.9 3 2
4.1 2 4.2
5.1 2 5.2
6.1 2 6.2
END
# The picture has its axes with units and its events labelled.
grep -qF '>time (s)</text>' "$out/levels.svg"
grep -qF '>RMS level (dB full scale)</text>' "$out/levels.svg"
grep -qF '>play far (1 s)</text>' "$out/levels.svg"
grep -qF '>camera 1 (4 s)</text>' "$out/levels.svg"

# The example of a source circling the listener, clockwise from ahead once every
# 4 s: on the right at 1 s, on the left at 3 s.
"$host" --plugins "$plugins" --log-level=error render "$examples/circling.json" \
    -o "$out/circling.wav" --plot "$out/circling.svg" >"$out/stdout"
grep -qxF "Plot: $out/circling.svg" "$out/stdout"
levels_table "$out/circling.wav" >"$out/circling.txt"
read -r right_l right_r <<<"$(level "$out/circling.txt" 0.95 1.1)"
read -r left_l left_r <<<"$(level "$out/circling.txt" 2.95 3.1)"
echo "circling: at 1 s L $right_l R $right_r; at 3 s L $left_l R $left_r"
above "$right_r" "$right_l" 10 && above "$left_l" "$left_r" 10

# A user's own OpenAL Soft configuration is not replaced: nothing is rendered.
status=0
ALSOFT_CONF=/etc/mine.conf "$host" --plugins "$plugins" render "$out/volume.json" \
    -o "$out/refused.wav" >/dev/null 2>"$out/stderr" || status=$?
[ "$status" -eq 1 ] && [ ! -e "$out/refused.wav" ]
grep -qxF 'kep-host: ALSOFT_CONF is set (/etc/mine.conf); render writes its own OpenAL Soft configuration and will not replace yours: unset ALSOFT_CONF to render' "$out/stderr"
echo "render: all checks passed"
