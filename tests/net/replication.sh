#!/usr/bin/env bash
# kep-host serve and join as separate processes on loopback: joiners end in the
# server's state (their --state-out documents are the same), also when they
# join late, lose a batch, face a rogue peer or a restarted server; only holders
# of the CURVE keys take part; a joiner's recording holds the scene's sound.
set -eEuo pipefail
trap 'echo "FAILED at line $LINENO: $BASH_COMMAND" >&2' ERR
host=$1 plugins=$2 relay=$3 media=${KEP_TEST_MEDIA:?}
out=$(mktemp -d)
pids=() names=()
trap 'kill "${pids[@]}" 2>/dev/null || true; rm -rf "$out"' EXIT
port=$((20000 + $$ % 20000 / 20 * 20))  # ten pairs of ports from here

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
# serve NAME PORT SCENE [OPTION...]: in the background, its state in NAME.json.
serve() {
    local name=$1 at=$2 scene=$3
    shift 3
    "$host" --plugins "$plugins" serve "$scene" --bind "tcp://127.0.0.1:$at" \
        --state-out "$out/$name.json" "$@" >"$out/$name.out" 2>"$out/$name.err" &
    pids+=($!) names+=("$name")
    until grep -qs '^Serving' "$out/$name.out"; do
        kill -0 "${pids[-1]}" || { cat "$out/$name.err" >&2; return 1; }
        sleep 0.05
    done
}
# join NAME PORT [OPTION...]: in the background, its state in NAME.json.
join() {
    local name=$1 at=$2
    shift 2
    "$host" --plugins "$plugins" join "tcp://127.0.0.1:$at" --state-out "$out/$name.json" \
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
            echo "${names[$i]:-relay} exited $status" >&2
            cat "$out/${names[$i]:-none}".{out,err} >&2 2>/dev/null || true
            return 1
        fi
    done
    pids=() names=()
}
same_state() {
    for name in "${@:2}"; do cmp "$out/$1.json" "$out/$name.json"; done
}

# One server and three joiners, the last started halfway. The server's sound
# folder is moved away once loaded: joiners find the sounds by the trailing
# parts of the server's paths under their --data folder.
make_scene "$out/served"
serve server "$port" "$out/served/scene.json"
mv "$out/served" "$out/copy"
join first "$port" --data "$out/copy"
join second "$port" --data "$out/copy"
sleep 1.5
join late "$port" --data "$out/copy" -o "$out/late.wav"
finish
same_state server first second late
grep -c '"id"' "$out/server.json" | grep -qx 2
grep -qx 'Done: .* 0 resyncs' "$out/late.out"
[ "$(grep -c 'is unauthenticated' "$out/server.err")" -eq 1 ]
# The late joiner hears the sine already playing when it joined, on its right
# (the doorbell, at the listener, is in both ears).
read -r left right <<<"$(ffmpeg -v info -nostdin -i "$out/late.wav" \
    -af astats=measure_overall=none:measure_perchannel=RMS_level -f null - 2>&1 |
    awk '/RMS level dB/ { printf "%s ", $NF }')"
echo "late joiner's recording: L $left R $right dB"
awk -v l="$left" -v r="$right" 'BEGIN { exit !(r > -30 && (l == "-inf" || r > l + 6)) }'

# A joiner that loses one batch catches up by a snapshot; one without data
# folders names each missing sound once and plays on.
make_scene "$out/lossy"
serve server "$((port + 2))" "$out/lossy/scene.json"
mv "$out/lossy" "$out/moved"
"$relay" "tcp://127.0.0.1:$((port + 2))" "tcp://127.0.0.1:$((port + 4))" 5 --drop-batch 100 &
pids+=($!) names+=(relay)
join lossy "$((port + 4))" --data "$out/moved"
join blind "$((port + 2))" --data "$out/nowhere"
finish
same_state server lossy
grep -qE '^Done: .* [1-9][0-9]* resyncs$' "$out/lossy.out"
[ "$(grep -c "no file $out/lossy/sounds/sine.wav here" "$out/blind.err")" -eq 1 ]
grep -qx 'Done: .*' "$out/blind.out"

# A rogue peer: random messages and frames with valid-looking headers published
# beside the real ones and sent to the server, and bytes that are no protocol at
# all. Nobody crashes, and the joiner behind it ends in step.
make_scene "$out/rogue"
serve server "$((port + 6))" "$out/rogue/scene.json"
"$relay" "tcp://127.0.0.1:$((port + 6))" "tcp://127.0.0.1:$((port + 8))" 5 --rogue-until 1.5 &
pids+=($!) names+=(relay)
join attacked "$((port + 8))"
head -c 100000 /dev/urandom >"/dev/tcp/127.0.0.1/$((port + 6))" || true
head -c 100000 /dev/urandom >"/dev/tcp/127.0.0.1/$((port + 7))" || true
finish
same_state server attacked
grep -q 'dropped a message' "$out/attacked.err"

# A server restarted mid-run: its joiner notices the new run and follows it.
make_scene "$out/restarted"
serve crashed "$((port + 10))" "$out/restarted/scene.json"
join follower "$((port + 10))"
sleep 1
kill -9 "${pids[0]}"
wait "${pids[0]}" || true
pids=("${pids[@]:1}") names=("${names[@]:1}")
serve server "$((port + 10))" "$out/restarted/scene.json"
finish
same_state server follower
grep -qx 'Done: .* 1 resyncs' "$out/follower.out"

# A server that dies for good: its joiner leaves once it has not heard it for its
# --timeout, keeping what it recorded; Ctrl-C leaves at once, also while waiting.
serve dying "$((port + 16))" "$out/restarted/scene.json"
join orphan "$((port + 16))" --timeout 1 -o "$out/orphan.wav"
join waiting "$((port + 18))"
sleep 1
kill -9 "${pids[0]}"
kill -INT "${pids[2]}"
status=""
for pid in "${pids[@]}"; do wait "$pid" || status+=" $?"; done
pids=() names=()
[ "$status" = " 137 1 130" ]
grep -qxF "kep-host: the server at tcp://127.0.0.1:$((port + 16)) has not been heard for 1 s; leaving" "$out/orphan.err"
[ -s "$out/orphan.wav" ] && grep -qx 'Interrupted: 0 batches applied, 0 resyncs' "$out/waiting.out"

# CURVE: with the keys a joiner takes part; without them, or with the server's
# public key but a key pair of its own, it receives nothing.
"$host" keygen "$out/keys" >/dev/null
[ "$(stat -c %a "$out/keys/server.key")" = 600 ]
"$host" keygen "$out/own" >/dev/null
cp "$out/keys/server.pub" "$out/own/"
serve server "$((port + 12))" "$out/restarted/scene.json" --curve-keys "$out/keys"
join trusted "$((port + 12))" --curve-keys "$out/keys"
for stranger in "" "--curve-keys $out/own"; do
    status=0
    # shellcheck disable=SC2086
    "$host" --plugins "$plugins" join "tcp://127.0.0.1:$((port + 12))" --timeout 2 $stranger \
        >"$out/stranger.out" 2>/dev/null || status=$?
    [ "$status" -eq 1 ]
    grep -qx 'Failed: 0 batches applied, 0 resyncs' "$out/stranger.out"
done
finish
same_state server trusted
grep -q 'handshake(s) with peers failed so far' "$out/server.err"
# Without keys, only loopback is served.
status=0
"$host" --plugins "$plugins" serve "$out/restarted/scene.json" --bind "tcp://0.0.0.0:$((port + 14))" \
    >/dev/null 2>"$out/open.err" || status=$?
[ "$status" -eq 1 ] && grep -q 'serve binds only to loopback' "$out/open.err"
echo "replication: all checks passed"
