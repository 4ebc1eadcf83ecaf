# What the replication scripts share: kep-host processes in the background, each
# NAME's output in $out/NAME.out and .err, waited for by finish; a 3 s scene.
# Sourced with host, plugins and media set.
out=$(mktemp -d)
pids=() names=()
trap 'kill "${pids[@]}" 2>/dev/null || true; [ "${KEEP_OUT:-}" ] || rm -rf "$out"' EXIT

# A 3 s scene in DIR: a looping sine 2 m to the right, moving a little every
# frame, and a doorbell object that rings twice.
make_scene() {
    mkdir -p "$1/sounds"
    cp "$media/sine_mono_2s.wav" "$1/sounds/sine.wav"
    cp "$media/pcm_s16_mono.wav" "$1/sounds/bell.wav"
    cat >"$1/scene.json" <<END
{ "duration": 3, "sounds": { "sine": "sounds/sine.wav", "bell": "sounds/bell.wav" },
  "objects": [ { "name": "door", "sound": "bell", "gain": 0.5, "play": [0.2, 1.5] } ],
  "sources": [ { "name": "hum", "sound": "sine", "looping": true, "gain": 0.7, "play": [0],
                 "position": [ { "time": 0, "at": [2, 0, 0] }, { "time": 3, "at": [2, 0, -1] } ] } ] }
END
}
# serve NAME PORT|ENDPOINT SCENE [OPTION...]: in the background, with the server's
# keys unless told otherwise; its state in NAME.json.
serve() {
    local name=$1 at=$2 scene=$3
    shift 3
    [[ $at == *://* ]] || at=tcp://127.0.0.1:$at
    [ $# -gt 0 ] || set -- --curve-keys "$out/keys"
    "$host" --plugins "$plugins" -v serve "$scene" --bind "$at" \
        --state-out "$out/$name.json" "$@" >"$out/$name.out" 2>"$out/$name.err" &
    pids+=($!) names+=("$name")
    until grep -qs '^Serving' "$out/$name.out"; do
        kill -0 "${pids[-1]}" || { cat "$out/$name.err" >&2; return 1; }
        sleep 0.05
    done
}
# join NAME PORT|ENDPOINT [OPTION...]: in the background, with a key of its own
# unless told otherwise; its state in NAME.json.
join() {
    local name=$1 at=$2
    shift 2
    [[ $at == *://* ]] || at=tcp://127.0.0.1:$at
    [ $# -gt 0 ] && [[ $1 == --insecure || $1 == --curve-keys ]] ||
        set -- --curve-keys "$(admit "$name")" "$@"
    "$host" --plugins "$plugins" -v join "$at" --state-out "$out/$name.json" \
        "$@" >"$out/$name.out" 2>"$out/$name.err" &
    pids+=($!) names+=("$name")
}
# admit NAME [KEYS]: adds a joiner to the allow-list of the server whose keys are
# in KEYS (default: $out/keys); the joiner's key folder.
admit() {
    local keys=${2:-$out/keys}
    [ -d "$keys/joiners/$1" ] || "$host" keygen "$keys" --joiner "$1" >/dev/null
    echo "$keys/joiners/$1"
}
# background NAME COMMAND...: a helper process, waited for by finish.
background() {
    local name=$1
    shift
    "$@" >"$out/$name.out" 2>"$out/$name.err" &
    pids+=($!) names+=("$name")
}
# finish: waits for every process started; fails, showing its output, if one failed.
finish() {
    local i status
    for i in "${!pids[@]}"; do
        status=0
        wait "${pids[$i]}" || status=$?
        if [ "$status" -ne 0 ]; then
            echo "${names[$i]} exited $status" >&2
            cat "$out/${names[$i]}".{out,err} >&2 2>/dev/null || true
            return 1
        fi
    done
    pids=() names=()
}
same_state() {
    for name in "${@:2}"; do cmp "$out/$1.json" "$out/$name.json"; done
}
