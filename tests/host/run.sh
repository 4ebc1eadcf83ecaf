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

for scene in "$examples"/*.json; do
    status=0
    timeout --preserve-status -s INT 1 "$host" --plugins "$plugins" run "$scene" \
        >"$out/stdout" 2>"$out/stderr" || status=$?
    [ "$status" -eq 130 ]
    grep -q "^Running $scene: " "$out/stdout"
    tail -n 1 "$out/stdout" | grep -qx 'Interrupted'
done
echo "run: all checks passed"
