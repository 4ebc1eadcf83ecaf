#!/usr/bin/env bash
# kep-host relay between a server and its joiners, on loopback with keys: joiners
# behind relays, behind a relay behind a relay, late, or losing a batch on the way
# all end in the server's state, and the server answers only its relays; a relay
# killed and started again, and a server restarted under a relay, are followed
# through; a plain ZeroMQ proxy in front of a server works as well.
set -eEuo pipefail
trap 'echo "FAILED at line $LINENO: $BASH_COMMAND" >&2' ERR
host=$1 plugins=$2 link=$3 proxy=$4 media=${KEP_TEST_MEDIA:?}
source "$(dirname "$0")/processes.sh"
# Below the ephemeral range (32768 and up), and below the other scripts' ports.
port=$((10000 + $$ % 10000 / 40 * 40))

# relay NAME UPSTREAM-PORT UPSTREAM-KEYS PORT: in the background, admitted by the
# upstream whose keys are in UPSTREAM-KEYS, with its own keys in $out/NAME.
relay() {
    local name=$1 upstream=$2 upstream_keys=$3 at=$4
    [ -d "$out/$name" ] || "$host" keygen "$out/$name" >/dev/null
    "$host" -v relay "tcp://127.0.0.1:$upstream" --bind "tcp://127.0.0.1:$at" \
        --curve-keys "$out/$name" --upstream-keys "$(admit "$name" "$upstream_keys")" \
        >"$out/$name.out" 2>"$out/$name.err" &
    pids+=($!) names+=("$name")
}
# stop NAME: kills the process at once, as a crash would.
stop() {
    local i
    for i in "${!names[@]}"; do
        [ "${names[$i]}" = "$1" ] || continue
        kill -9 "${pids[$i]}"
        wait "${pids[$i]}" || true
        unset "pids[$i]" "names[$i]"
        pids=("${pids[@]}") names=("${names[@]}")
        return
    done
}
# only_relays_asked SERVER RELAY...: every snapshot the server sent went to a relay.
only_relays_asked() {
    local log=$out/$1.err
    shift
    grep -aq 'sent joiner ' "$log"
    ! grep -a 'sent ' "$log" | grep -avE "sent joiner ($(IFS='|'; echo "$*")) "
}

"$host" keygen "$out/keys" >/dev/null

# Two relays with two joiners each, one of them late; a relay behind one of them
# with a joiner of its own; and a joiner that loses a batch between its relay and
# itself, and catches up from the relay.
make_scene "$out/tree"
serve server "$port" "$out/tree/scene.json"
relay east "$port" "$out/keys" "$((port + 2))"
relay west "$port" "$out/keys" "$((port + 4))"
relay far "$((port + 2))" "$out/east" "$((port + 6))"
# behind RELAY PORT NAME...: joiners of the relay at PORT, admitted by it.
behind() {
    local relay=$1 at=$2 name
    for name in "${@:3}"; do
        join "$name" "$at" --curve-keys "$(admit "$name" "$out/$relay")" --data "$out"
    done
}
behind east "$((port + 2))" east1 east2
behind west "$((port + 4))" west1
behind far "$((port + 6))" far1
background lossy-link "$link" "tcp://127.0.0.1:$((port + 4))" "tcp://127.0.0.1:$((port + 8))" 6 \
    --curve-keys "$(admit lossy-link "$out/west")" --drop-batch 30
join lossy "$((port + 8))" --insecure --data "$out"
sleep 1.5
behind west "$((port + 4))" west2
finish
same_state server east1 east2 west1 west2 far1 lossy
grep -qE '^Done: .* [1-9][0-9]* resyncs, ' "$out/lossy.out"
only_relays_asked server east west
only_relays_asked east far east1 east2
[ "$(grep -ac 'sent joiner lossy-link ' "$out/west.err")" -ge 2 ]
grep -aq 'sent joiner west2 the snapshot of batch [0-9]* and [0-9]* batch(es) after it' "$out/west.err"
grep -q '^Done: up to batch [0-9]*, [0-9]* snapshots, .* 0 resyncs$' "$out/far.out"

# A relay killed and started again mid-run, then its server: its joiners follow
# both, catching up from the relay, which follows the server's new run.
make_scene "$out/faults"
serve crashed "$((port + 10))" "$out/faults/scene.json"
relay middle "$((port + 10))" "$out/keys" "$((port + 12))"
behind middle "$((port + 12))" near1 near2
sleep 1
stop middle
relay middle "$((port + 10))" "$out/keys" "$((port + 12))"
sleep 1
stop crashed
serve server "$((port + 10))" "$out/faults/scene.json"
finish
same_state server near1 near2
grep -qE '^Done: .* [1-9][0-9]* resyncs, ' "$out/near1.out"
grep -qE '^Done: .* [1-9][0-9]* resyncs$' "$out/middle.out"
only_relays_asked server middle

# A plain ZeroMQ proxy in front of a server: requests come with a longer envelope,
# the answers go back through it, and each joiner behind it is answered as one.
serve server "$((port + 14))" "$out/tree/scene.json" --insecure
background proxy "$proxy" "$((port + 14))" "$((port + 16))" 6
join proxied "$((port + 16))" --insecure --data "$out"
join proxied2 "$((port + 16))" --insecure --data "$out"
finish
same_state server proxied proxied2
[ "$(grep -ac 'sent connection [0-9a-f]* for [0-9a-f]* the snapshot' "$out/server.err")" -eq 2 ]
echo "relays: all checks passed"
