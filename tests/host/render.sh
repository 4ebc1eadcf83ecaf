#!/usr/bin/env bash
# kep-host render through the real plug-in and OpenAL Soft's loopback device,
# checked by the samples in the WAV: onsets to the sample, levels to 0.01 dB, two
# renders byte for byte. The listener stands at the origin looking along -Z, so
# +X is to its right.
set -eEuo pipefail
trap 'echo "FAILED at line $LINENO: $BASH_COMMAND" >&2' ERR
host=$1 plugins=$2 media=${KEP_TEST_MEDIA:?} examples=${KEP_EXAMPLES:?}
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

# render ARGS...: kep-host render, its output in $out/stdout and $out/stderr; sets $status.
render() {
    status=0
    timeout 60 "$host" --plugins "$plugins" -v render "$@" >"$out/stdout" 2>"$out/stderr" ||
        status=$?
}
# samples WAV: "INDEX LEFT RIGHT" for every sample frame.
samples() {
    ffmpeg -v error -nostdin -i "$1" -f f32le -c:a pcm_f32le - | od -An -v -f -w8 |
        awk '{ print NR - 1, $1, $2 }'
}
# onset TABLE FROM CHANNEL: the first sample frame from FROM on where the channel
# (2 left, 3 right) is not silent.
onset() {
    awk -v from="$2" -v c="$3" '$1 >= from && ($c > 1e-6 || $c < -1e-6) { print $1; exit }' "$1"
}
# level TABLE FROM TO: "LEFT RIGHT", the RMS level in dB of sample frames [FROM, TO)
# (-999: silence).
level() {
    awk -v from="$2" -v to="$3" 'function db(power) {
            return power > 0 ? sprintf("%.4f", 10 * log(power / n) / log(10)) : -999 }
        $1 >= from && $1 < to { l += $2 * $2; r += $3 * $3; n++ }
        END { print db(l), db(r) }' "$1"
}
# near A B [TOLERANCE]: A within TOLERANCE (default 0.01) of B.
near() { awk -v a="$1" -v b="$2" -v t="${3:-0.01}" 'BEGIN { exit !(a - b <= t && b - a <= t) }'; }
above() { awk -v a="$1" -v b="$2" -v by="${3:-0}" 'BEGIN { exit !(a > b + by) }'; }

# A 100 Hz cosine, whole cycles in every 441 samples, loud from its first sample.
ffmpeg -v error -nostdin -f lavfi -i "aevalsrc=0.5*cos(2*PI*100*t):s=44100:d=2:c=mono" \
    -c:a pcm_s16le "$out/tone.wav"
# The scene, at 50 frames per second (882 samples a frame): the tone looping at 2 m
# on the right (0-0.8 s), at 4 m (1-1.8 s), at 2 m with gain 0.5 (2-2.8 s), at 2 m
# again after the camera turned half round at 3.9-4 s (4.2-5 s), and an object
# looping a 0.25 s sound (5.2-5.8 s), and the tone on the left at 6.61 s, between
# frames, which sounds from the next (frame 331, sample 291942), in the right ear
# of the turned listener.
cat >"$out/levels.json" <<END
{
  "duration": 7,
  "sounds": { "tone": "tone.wav", "short": "$media/pcm_s16_mono.wav" },
  "objects": [
    { "name": "looper", "sound": "short", "looping": true, "play": [5.2], "stop": [5.8] }
  ],
  "sources": [
    { "name": "near", "sound": "tone", "position": [2, 0, 0], "looping": true,
      "play": [0, 4.2], "stop": [0.8, 5] },
    { "name": "far", "sound": "tone", "position": [4, 0, 0], "looping": true,
      "play": [1], "stop": [1.8] },
    { "name": "half", "sound": "tone", "position": [2, 0, 0], "gain": 0.5, "looping": true,
      "play": [2], "stop": [2.8] },
    { "name": "late", "sound": "tone", "position": [-2, 0, 0], "play": [6.61], "stop": [6.8] }
  ],
  "camera": { "path": [ { "time": 3.9, "direction": [0, 0, -1] },
                        { "time": 4, "direction": [0, 0, 1] } ] }
}
END
# The same source at 2 m on the right, with the plug-in's "Volume" at 0.5.
cat >"$out/volume.json" <<END
{ "duration": 1, "volume": 0.5, "sounds": { "tone": "tone.wav" },
  "sources": [ { "sound": "tone", "position": [2, 0, 0], "play": [0] } ] }
END

render "$out/levels.json" -o "$out/levels.wav" --plot "$out/levels.svg"
[ "$status" -eq 0 ]
grep -qxF "WAV: $out/levels.wav (7 s, stereo, 32-bit float, 44100 Hz)" "$out/stdout"
grep -qxF "Plot: $out/levels.svg" "$out/stdout"
grep -qxF "[info] kep-host: rendering on OpenAL Soft's loopback device: stereo float at 44100 Hz" \
    "$out/stderr"
# Exact: a second render is the same file, byte for byte.
"$host" --plugins "$plugins" --log-level=error render "$out/levels.json" -o "$out/again.wav" \
    >/dev/null
cmp "$out/levels.wav" "$out/again.wav"
# The whole pipeline pinned (files, decoding, timing, OpenAL Soft 1.19's mixing): a
# change anywhere in it changes these bytes.
[ "$(sha256sum <"$out/levels.wav")" = \
    "2884e1b54464c0f79cdf7c7039df934a0fa8b101cff89b9d46e5b0b474b0df99  -" ]
"$host" --plugins "$plugins" --log-level=error render "$out/volume.json" -o "$out/volume.wav" \
    >/dev/null
# The WAV is float stereo with a channel mask, as the plug-in's own decoder reads it.
ALSOFT_DRIVERS=null "$host" --plugins "$plugins" info "$out/volume.wav" >"$out/stdout"
grep -qF "$out/volume.wav: stereo float32 (AL_FORMAT_STEREO_FLOAT32), 44100 Hz, " "$out/stdout"

samples "$out/levels.wav" >"$out/levels.txt"
samples "$out/volume.wav" >"$out/volume.txt"
[ "$(wc -l <"$out/levels.txt")" -eq 308700 ]
# Each sound starts on the first sample of its frame.
while read -r from channel expected; do
    [ "$(onset "$out/levels.txt" "$from" "$channel")" -eq "$expected" ]
done <<'END'
0 3 0
36000 3 44100
80000 3 88200
180000 2 185220
290000 3 291942
END
# Levels over whole frames of 441-sample cycles.
read -r near_l near_r <<<"$(level "$out/levels.txt" 4410 30870)"
read -r _ far_r <<<"$(level "$out/levels.txt" 48510 74970)"
read -r _ half_r <<<"$(level "$out/levels.txt" 92610 119070)"
read -r turned_l turned_r <<<"$(level "$out/levels.txt" 189630 216090)"
read -r _ volume_r <<<"$(level "$out/volume.txt" 4410 30870)"
echo "right: L $near_l R $near_r; 4 m: R $far_r; gain 0.5: R $half_r; Volume 0.5: R $volume_r"
echo "turned half round: L $turned_l R $turned_r"
# On the right only the right ear hears it; turned half round, the ears swap.
[ "$near_l" = -999 ] && [ "$turned_r" = -999 ]
near "$turned_l" "$near_r" 0.0001
# Twice the distance, gain 0.5 and "Volume" 0.5 each take 20 log10(2) dB off.
for quieter in "$far_r" "$half_r" "$volume_r"; do
    near "$(awk -v a="$near_r" -v b="$quieter" 'BEGIN { print a - b }')" 6.0206
done
# Stop silences from its frame on (the sources loop); a looping sound plays on
# past its 0.25 s.
for window in '35280 44100' '79380 88200' '123480 185220' '220500 229320' '255780 291942'; do
    [ "$(level "$out/levels.txt" $window)" = "-999 -999" ]
done
read -r loop_l _ <<<"$(level "$out/levels.txt" 242550 251370)"
above "$loop_l" -20
# The picture has its axes with units and its events labelled.
grep -qF '>time (s)</text>' "$out/levels.svg"
grep -qF '>play far (1 s)</text>' "$out/levels.svg"

# The example of a source circling the listener, clockwise from ahead once every
# 4 s: on the right at 1 s, on the left at 3 s.
render "$examples/circling.json" -o "$out/circling.wav" --plot "$out/circling.svg"
[ "$status" -eq 0 ]
samples "$out/circling.wav" >"$out/circling.txt"
read -r right_l right_r <<<"$(level "$out/circling.txt" 41895 48510)"
read -r left_l left_r <<<"$(level "$out/circling.txt" 130095 136710)"
echo "circling: at 1 s L $right_l R $right_r; at 3 s L $left_l R $left_r"
above "$right_r" "$right_l" 10 && above "$left_l" "$left_r" 10

# Binaural: the source on the right reaches the left ear too, a little quieter (at
# 100 Hz the head hardly shades it).
render "$out/volume.json" -o "$out/binaural.wav" --hrtf
[ "$status" -eq 0 ]
grep -qxF "WAV: $out/binaural.wav (1 s, binaural stereo (HRTF), 32-bit float, 44100 Hz)" \
    "$out/stdout"
samples "$out/binaural.wav" >"$out/binaural.txt"
read -r ear_l ear_r <<<"$(level "$out/binaural.txt" 4410 30870)"
echo "binaural, on the right: L $ear_l R $ear_r"
above "$ear_l" -60 && above "$ear_r" "$ear_l" 1

# Ctrl-C keeps what was rendered, as a WAV that reads.
cat >"$out/long.json" <<END
{ "duration": 10000, "sounds": { "tone": "tone.wav" },
  "sources": [ { "sound": "tone", "position": [2, 0, 0], "looping": true, "play": [0] } ] }
END
"$host" --plugins "$plugins" render "$out/long.json" -o "$out/long.wav" --rate 8000 \
    >/dev/null 2>"$out/stderr" &
for _ in $(seq 300); do
    [ "$(stat -c %s "$out/long.wav" 2>/dev/null || echo 0)" -gt 1000000 ] && break
    sleep 0.1
done
kill -INT $!
status=0
wait $! || status=$?
[ "$status" -eq 130 ]
grep -qE "^kep-host: interrupted; $out/long.wav holds the first [0-9.]+ s of the scene$" \
    "$out/stderr"
kept=$(ffprobe -v error -show_entries stream=duration -of csv=p=0 "$out/long.wav")
echo "interrupted: $kept s of the scene kept"
above "$kept" 1

# A FIFO would block the render until a reader came: refused.
mkfifo "$out/fifo.wav"
render "$out/volume.json" -o "$out/fifo.wav"
[ "$status" -eq 1 ]
grep -qxF "kep-host: $out/fifo.wav cannot be written: it is not a regular file" "$out/stderr"

# More than a WAV holds (4 GiB): refused before anything starts.
render "$out/long.json" -o "$out/huge.wav" --rate 192000
[ "$status" -eq 2 ] && [ ! -e "$out/huge.wav" ]
grep -qxF "kep-host: 10000 s of scene at 192000 Hz makes a WAV over 4 GiB, more than a WAV file holds: render at most 2796 s at this rate" "$out/stderr"

# Outputs that would write over an input or each other: a usage error, nothing written.
cp "$out/levels.json" "$out/scene.json"
for outputs in "-o $out/scene.json" "-o $out/x.wav --plot $out/x.wav" "-o $out/tone.wav" \
    "-o $out/y.wav --plot $out/../$(basename "$out")/scene.json"; do
    # shellcheck disable=SC2086
    render "$out/scene.json" $outputs
    [ "$status" -eq 2 ] && cmp "$out/levels.json" "$out/scene.json" && [ ! -e "$out/x.wav" ]
    grep -q "would be written over" "$out/stderr"
done
echo "render: all checks passed"
