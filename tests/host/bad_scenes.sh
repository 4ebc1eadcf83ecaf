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

# MESSAGE | SCENE: \n in the scene is a new line, SINE the path of a sound file.
while IFS='|' read -r expected scene; do
    printf '%b' "${scene//SINE/$media/sine_mono_2s.wav}" >bad.json
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
END

status=0
"$host" --plugins "$plugins" run missing.json 2>stderr || status=$?
[ "$status" -eq 1 ] && [ "$(cat stderr)" = "missing.json: not found" ]
echo "bad scenes: all checks passed"
