#!/usr/bin/env bash
# kep-host run plays a scene to its end; every example scene starts, and Ctrl-C
# stops it cleanly with exit status 130.
set -eEuo pipefail
trap 'echo "FAILED at line $LINENO: $BASH_COMMAND" >&2' ERR
host=$1 plugins=$2 media=${KEP_TEST_MEDIA:?} examples=${KEP_EXAMPLES:?}
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

cat >"$out/short.json" <<END
{ "duration": 0.3, "sounds": { "tone": "$media/pcm_s16_mono.wav" },
  "objects": [ { "name": "speaker", "sound": "tone", "play": [0.1] } ] }
END
"$host" --plugins "$plugins" run "$out/short.json" >"$out/stdout"
diff - "$out/stdout" <<END
Running $out/short.json: 0.3 s, sources: 0, objects: 1
Done
END

# More sources than OpenAL Soft's 256: said once, with the device's limit.
{
    printf '{ "duration": 0.1, "sounds": { "tone": "%s" }, "sources": [' "$media/pcm_s16_mono.wav"
    for i in $(seq 300); do
        printf '%s{ "name": "s%d", "sound": "tone", "play": [0], "position": [0, 0, -1] }' \
            "$([ "$i" -eq 1 ] || echo ,)" "$i"
    done
    printf '] }\n'
} >"$out/crowd.json"
"$host" --plugins "$plugins" run "$out/crowd.json" >"$out/stdout" 2>"$out/stderr"
[ "$(grep -c 'stay silent' "$out/stderr")" -eq 1 ]
grep -qxF "kep-host: the scene has 300 sources, and the audio device makes at most 256 (ALC_MONO_SOURCES + ALC_STEREO_SOURCES): source s257 and the 43 after it stay silent" "$out/stderr"
tail -n 1 "$out/stdout" | grep -qx Done

for scene in "$examples"/*.json; do
    status=0
    timeout --preserve-status -s INT 1 "$host" --plugins "$plugins" run "$scene" \
        >"$out/stdout" 2>"$out/stderr" || status=$?
    [ "$status" -eq 130 ]
    grep -q "^Running $scene: " "$out/stdout"
    tail -n 1 "$out/stdout" | grep -qx 'Interrupted'
done
echo "run: all checks passed"
