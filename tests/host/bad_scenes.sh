#!/usr/bin/env bash
# A bad scene gives one exact line on standard error, naming the file, the line
# and the path of the field at fault, exits 1, and starts nothing: no device is
# opened, no WAV written.
set -eEuo pipefail
trap 'echo "FAILED at line $LINENO: $BASH_COMMAND" >&2' ERR
host=$(realpath "$1") plugins=$(realpath "$2") media=$(realpath "${KEP_TEST_MEDIA:?}")
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
cd "$out"

# Sound files that are there but do not decode.
printf 'not a sound\n' >text.wav
: >empty.wav
# Sound files that decode, but into samples the sound system does not take.
ffmpeg -v error -nostdin -f lavfi -i sine=d=0.1 -c:a alac alac16.m4a
# An hour of stereo silence: small as FLAC, 605.6 MiB decoded.
ffmpeg -v error -nostdin -f lavfi -i anullsrc=r=44100:cl=stereo -t 3600 -c:a flac hour.flac
# Lists one longer than the loader takes, and arrays nested below the top object.
presses=$(seq 10001 | sed 's/.*/0/' | paste -sd,)
keyframes=$(seq 0 100000 | sed 's/.*/{"time": &, "at": [0, 0, 0]}/' | paste -sd,)
items=$(seq 10001 | sed 's/.*/{"sound": "a"}/' | paste -sd,)
nested() { printf '%*s' "$1" '' | tr ' ' '['; printf '%*s' "$1" '' | tr ' ' ']'; }
# Words a row may hold, each replaced by what follows it.
words=(SINE "$media/sine_mono_2s.wav" MEDIA "$media" PARENT "$(dirname "$out")"
    PRESSES "$presses" KEYFRAMES "$keyframes" ITEMS "$items" ARRAYS63 "$(nested 63)"
    ARRAYS64 "$(nested 64)" INDEX63 "$(printf '[0]%.0s' $(seq 63))")
expand() {
    local text=$1 i
    for ((i = 0; i < ${#words[@]}; i += 2)); do
        text=${text//"${words[i]}"/"${words[i + 1]}"}
    done
    printf '%s' "$text"
}

# MESSAGE | SCENE: \n in the scene is a new line; the words above are replaced in both.
while IFS='|' read -r expected scene; do
    expected=$(expand "$expected")
    printf '%b' "$(expand "$scene")" >bad.json
    status=0
    "$host" --plugins "$plugins" render bad.json -o heard.wav >stdout 2>stderr || status=$?
    if [ "$status" -ne 1 ] || [ "$(cat stderr)" != "${expected% }" ] || [ -e heard.wav ]; then
        echo "scene: $scene; status $status; stderr:" >&2
        cat stderr >&2
        false
    fi
done <<'END'
bad.json:4: sources[0]: syntax error while parsing object key - unexpected '}'; expected string literal | {\n "duration": 2,\n "sources": [\n  {"sound": "x",}\n ]\n}
bad.json:2: duration: expected a number | {\n "duration": "2"\n}
bad.json:1: duration: missing | {\n "frameRate": 50\n}
bad.json:2: duration: expected a number of seconds greater than 0 | {\n "duration": 0\n}
bad.json:1: duration: given twice | {"duration": 2, "duration": 3}
bad.json:3: sounds.tone: file not found: tone.wav | {"duration": 2,\n "sounds": {\n  "tone": "tone.wav"}}
bad.json:5: sources[2].position[1]: expected a number | {"duration": 2, "sounds": {"a": "SINE"},\n "sources": [{"sound": "a", "position": [1, 0, 0]},\n  {"sound": "a", "position": [2, 0, 0]},\n  {"sound": "a", "position": [3,\n   "4", 0]}]}
bad.json:3: sources[0].position: expected [x, y, z] | {"duration": 2, "sounds": {"a": "SINE"},\n "sources": [{"sound": "a",\n  "position": [1, 0]}]}
bad.json:2: sources[0].position[1].time: expected a time of at least 0 s, later than the keyframe before | {"duration": 2, "sounds": {"a": "SINE"}, "sources": [{"sound": "a",\n  "position": [{"time": 1, "at": [0, 0, 0]}, {"time": 1, "at": [1, 0, 0]}]}]}
bad.json:3: objects[0].sound: unknown sound "b" | {"duration": 2, "sounds": {"a": "SINE"},\n "objects": [\n  {"sound": "b"}]}
bad.json:4: objects[0].play[1]: expected a time from 0 s to the duration, 2 s | {"duration": 2, "sounds": {"a": "SINE"},\n "objects": [{"sound": "a",\n  "play": [0,\n   -1]}]}
bad.json:3: objects[0].looping: expected true or false | {"duration": 2, "sounds": {"a": "SINE"},\n "objects": [{"sound": "a",\n  "looping": 1}]}
bad.json:3: objects[0].loop: unknown field | {"duration": 2, "sounds": {"a": "SINE"},\n "objects": [{"sound": "a",\n  "loop": true}]}
bad.json:2: sources[0].gain: expected a number from 0 to 1000 | {"duration": 2, "sounds": {"a": "SINE"},\n "sources": [{"sound": "a", "position": [0, 0, 0], "gain": -1}]}
bad.json:2: camera.direction: expected a direction, not [0, 0, 0] | {"duration": 2,\n "camera": {"direction": [0, 0, 0]}}
bad.json:1: syntax error while parsing value - unexpected end of input; expected '[', '{', or a literal | 
bad.json:2: volume: number out of range: 1e309 | {"duration": 2,\n "volume": 1e309}
bad.json:1: xINDEX63: more than 64 levels of nested arrays and objects | {"duration": 2, "x": ARRAYS64}
bad.json:1: x: unknown field | {"duration": 2, "x": ARRAYS63}
bad.json:1: duration: expected at most 86400 s (24 h) for this command | {"duration": 86400.5}
bad.json:3: objects[0].play: expected at most 10000 times | {"duration": 2, "sounds": {"a": "SINE"},\n "objects": [{"sound": "a",\n  "play": [PRESSES]}]}
bad.json:3: sources[0].position: expected at most 100000 keyframes | {"duration": 2, "sounds": {"a": "SINE"},\n "sources": [{"sound": "a",\n  "position": [KEYFRAMES]}]}
bad.json:2: objects: expected at most 10000 objects | {"duration": 2, "sounds": {"a": "SINE"},\n "objects": [ITEMS]}
bad.json:3: objects[0].name: expected a name without control characters | {"duration": 2, "sounds": {"a": "SINE"},\n "objects": [{"sound": "a",\n  "name": "bell\\u0000"}]}
bad.json:2: sounds.a\u0007: expected a name without control characters | {"duration": 2,\n "sounds": {"a\\u0007": "SINE"}}
bad.json:2: sounds.a: file not found: ../none.wav (PARENT/none.wav) | {"duration": 2,\n "sounds": {"a": "../none.wav"}}
bad.json:2: sounds.a: cannot be decoded: Invalid data found when processing input | {"duration": 2,\n "sounds": {"a": "text.wav"}}
bad.json:2: sounds.a: cannot be decoded: the file is empty | {"duration": 2,\n "sounds": {"a": "empty.wav"}}
bad.json:2: sounds.b: cannot be decoded: no audio stream | {"duration": 2, "sounds": {"a": "SINE",\n  "b": "MEDIA/video_only.mp4"}}
bad.json:1: sounds.d: the scene's sounds up to this one decode to about 2422 MiB, more than the 2048 MiB a scene may hold | {"duration": 2, "sounds": {"a": "hour.flac", "b": "hour.flac", "c": "hour.flac", "d": "hour.flac"}}
bad.json:1: sounds.a: cannot be decoded: its decoder gives s16p samples, which the sound system does not take | {"duration": 2, "sounds": {"a": "alac16.m4a"}}
bad.json:1: sounds.a: cannot be decoded: its decoder gives 64-bit dbl samples, which the sound system does not take on OpenAL Soft | {"duration": 2, "sounds": {"a": "MEDIA/pcm_f64_stereo.wav"}}
END

# A sound named with ".." is taken from the scene's folder as written, whatever the
# working folder: sounds/tone.wav beside scenes/, not the tone.wav under scenes/.
mkdir scenes sounds
cp "$media/sine_mono_2s.wav" sounds/tone.wav
printf 'not a sound\n' >scenes/tone.wav
cat >scenes/climbs.json <<'END'
{ "duration": 0.1, "sounds": { "tone": "../sounds/tone.wav" },
  "objects": [ { "sound": "tone", "play": [0] } ] }
END
(cd / && "$host" --plugins "$plugins" run "$out/scenes/climbs.json") >stdout
diff - stdout <<END
Running $out/scenes/climbs.json: 0.1 s, sources: 0, objects: 1
Done
END

# A gain above 1 plays as 1, and the loader says so once, naming the first such field.
gain_scene() {
    printf '{"duration": 0.1, "sounds": {"tone": "sounds/tone.wav"},\n "sources": [\n'
    printf '  {"sound": "tone", "position": [0, 0, -1], "gain": %s, "play": [0]},\n' "$1"
    printf '  {"sound": "tone", "position": [0, 0, -1], "gain": %s, "play": [0]}]}\n' "$2"
}
gain_scene 1 1 >one.json
gain_scene 1 2.5 >loud.json
"$host" --plugins "$plugins" --log-level=error render one.json -o one.wav >stdout 2>stderr
[ ! -s stderr ]
"$host" --plugins "$plugins" --log-level=error render loud.json -o loud.wav >stdout 2>stderr
[ "$(cat stderr)" = "loud.json:4: sources[1].gain: 2.5 is heard as 1: OpenAL caps a source's gain at 1" ]
cmp one.wav loud.wav
# ...and it is heard: not silence.
peak=$(ffmpeg -nostdin -i loud.wav -af volumedetect -f null - 2>&1 |
    sed -n 's/.*max_volume: \(.*\) dB$/\1/p')
[ -n "$peak" ] && [ "$peak" != -inf ]

status=0
"$host" --plugins "$plugins" run missing.json 2>stderr || status=$?
[ "$status" -eq 1 ] && [ "$(cat stderr)" = "missing.json: not found" ]
echo "bad scenes: all checks passed"
