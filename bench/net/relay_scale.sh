#!/usr/bin/env bash
# Prints what relays save a server: bench/net/relay_scale.sh [BUILD-DIR] (default build).
#
# kep-host serve runs circling.json (8 s) with CURVE keys on loopback and OpenAL Soft's
# null device, and kep-host join processes follow it:
#   - alone:    the server with no joiner, for what its own run costs;
#   - direct:   64 joiners connected to the server;
#   - 4 relays: four kep-host relay processes on the server, 16 joiners on each;
#   - chained:  server -> relay -> relay -> 16 joiners.
# Relays start first and wait for the server; the joiners start once it serves, one every
# KEP_BENCH_STAGGER seconds (default 0.06, so the 64 take 4 s), and join during the run:
# a relay answers each with the last snapshot it got and the batches since.
#
# Per setup: how many joiners ended with the server's --state-out document (cmp), the
# resyncs of joiners and relays, how many processes exited other than 0; the server's CPU
# time (user + system, from /usr/bin/time), the bytes its Done line counts (each message
# once, however many peers get it), the bytes its peers say they received, and the
# snapshots it sent; the same for the relays, summed (CPU also of the busiest one).
# Each setup runs KEP_BENCH_RUNS times (default 3): counts are summed over the runs,
# CPU times and bytes are medians. Last, the CPU time of all joiners together, which says
# how busy the machine was. Run it on an otherwise idle machine; what the processes wrote
# is kept in BUILD-DIR/bench-media/relay-scale until the next run.
set -euo pipefail
cd "$(dirname "$0")/../.."
build=${1:-build}
host=$build/host/kep-host plugins=$build/plugins scene=$build/examples/circling.json
data=$build/examples
stagger=${KEP_BENCH_STAGGER:-0.06}
runs=${KEP_BENCH_RUNS:-3}
joiners=64 per_relay=16
work=$build/bench-media/relay-scale
rm -rf "$work"
mkdir -p "$work"
export ALSOFT_DRIVERS=null

# Every process runs under /usr/bin/time; on exit, the kep-host under each goes first.
pids=()
stop() {
    local pid child
    for pid in "${pids[@]}"; do
        for child in $(ps -o pid= --ppid "$pid" 2>/dev/null); do
            kill "$child" 2>/dev/null || true
        done
        kill "$pid" 2>/dev/null || true
    done
}
trap stop EXIT
trap 'exit 130' INT TERM

# timed NAME COMMAND...: in the background, CPU time in NAME.time, output in NAME.out/err.
timed() {
    local name=$1
    shift
    /usr/bin/time -f '%U %S' -o "$name.time" "$@" >"$name.out" 2>"$name.err" &
    pids+=($!)
}
# ready NAME WORD: waits until NAME's output has a line starting with WORD.
ready() {
    local i
    for ((i = 0; i < 200; ++i)); do
        grep -qs "^$2" "$1.out" && return 0
        sleep 0.05
    done
    echo "$1 did not start:" >&2
    cat "$1.err" >&2
    return 1
}
# cpu NAME: user + system seconds.
cpu() { awk '{ printf "%.2f", $1 + $2 }' "$1.time"; }
# field NAME N: the Nth number of NAME's Done line, 0 without one.
field() {
    local value
    value=$(grep -m1 '^Done:' "$1.out" | grep -o '[0-9]\+' | sed -n "$2p") || true
    echo "${value:-0}"
}
# received NAME: the bytes a joiner's or relay's Done line says it received.
received() {
    case $(basename "$1") in
    relay*) field "$1" 4 ;;
    *) field "$1" 3 ;;
    esac
}
# median VALUE...
median() { printf '%s\n' "$@" | sort -g | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }

# keys DIR [JOINER...]: a server's (or relay's) keys, with these joiners admitted.
keys() {
    local dir=$1 name
    shift
    "$host" keygen "$dir" >/dev/null
    for name in "$@"; do "$host" keygen "$dir" --joiner "$name" >/dev/null; done
}
names() { for ((i = $1; i < $2; ++i)); do printf 'j%02d ' "$i"; done; }

# serve RUN KEYS PORT: the server, its files in the folder RUN.
serve() {
    timed "$1/server" "$host" --plugins "$plugins" -v serve "$scene" \
        --bind "tcp://127.0.0.1:$3" --curve-keys "$2" --state-out "$1/server.json"
    ready "$1/server" Serving
}
# relay RUN NAME KEYS UPSTREAM-PORT UPSTREAM-KEYS PORT
relay() {
    timed "$1/$2" "$host" --plugins "$plugins" -v relay "tcp://127.0.0.1:$4" \
        --bind "tcp://127.0.0.1:$6" --curve-keys "$3" --upstream-keys "$5" --timeout 30
    ready "$1/$2" Relaying
}
# joiner RUN NAME PORT KEYS: one joiner, its state in RUN/NAME.json; then the pause.
joiner() {
    timed "$1/$2" "$host" --plugins "$plugins" join "tcp://127.0.0.1:$3" --curve-keys "$4" \
        --data "$data" --state-out "$1/$2.json" --timeout 30
    sleep "$stagger"
}
# finish RUN: waits for the run's processes; how many exited other than 0 in RUN/failed.
finish() {
    local pid failed=0
    for pid in "${pids[@]}"; do wait "$pid" || failed=$((failed + 1)); done
    pids=()
    echo "$failed" >"$1/failed"
}

# One run of each setup, in RUN.
alone() {
    serve "$1" "$work/alone/keys" 31000
    finish "$1"
}
direct() {
    local j n d=$work/direct
    serve "$1" "$d/keys" 31010
    for ((j = 0; j < joiners; ++j)); do
        n=$(printf 'j%02d' "$j")
        joiner "$1" "$n" 31010 "$d/keys/joiners/$n"
    done
    finish "$1"
}
relays() {
    local j n r d=$work/relays
    for ((r = 1; r <= 4; ++r)); do
        relay "$1" "relay$r" "$d/relay$r-keys" 31020 "$d/keys/joiners/relay$r" $((31020 + 2 * r))
    done
    serve "$1" "$d/keys" 31020
    # Round robin over the relays, so that each has joiners from early on.
    for ((j = 0; j < joiners; ++j)); do
        r=$((j % 4 + 1)) n=$(printf 'j%02d' $(((j % 4) * per_relay + j / 4)))
        joiner "$1" "$n" $((31020 + 2 * r)) "$d/relay$r-keys/joiners/$n"
    done
    finish "$1"
}
chained() {
    local j n d=$work/chained
    relay "$1" relay1 "$d/relay1-keys" 31040 "$d/keys/joiners/relay1" 31042
    relay "$1" relay2 "$d/relay2-keys" 31042 "$d/relay1-keys/joiners/relay2" 31044
    serve "$1" "$d/keys" 31040
    for ((j = 0; j < per_relay; ++j)); do
        n=$(printf 'j%02d' "$j")
        joiner "$1" "$n" 31044 "$d/relay2-keys/joiners/$n"
    done
    finish "$1"
}

# row SETUP LABEL UPSTREAM-PEERS: the setup's row over its runs. UPSTREAM-PEERS is a glob
# for the server's own peers; whatever else joiners and relays received came from relays.
row() {
    local setup=$1 label=$2 peers=$3 run name
    local equal=0 count=0 resyncs=0 failed=0 relays=0
    local server_cpu=() server_sent=() server_out=() snapshots=()
    local relay_cpu=() relay_most=() relay_sent=() relay_out=() joiner_cpu=()
    for run in "$work/$setup"/run*; do
        local all=0 to_peers=0 total=0 most=0 sent=0 one
        failed=$((failed + $(cat "$run/failed")))
        for name in "$run"/j??.out; do
            [[ -e $name ]] || continue
            name=${name%.out} count=$((count + 1))
            cmp -s "$run/server.json" "$name.json" 2>/dev/null && equal=$((equal + 1))
            resyncs=$((resyncs + $(field "$name" 2)))
            all=$((all + $(received "$name")))
        done
        for name in "$run"/relay?.out; do
            [[ -e $name ]] || continue
            name=${name%.out} relays=1
            one=$(cpu "$name")
            total=$(awk -v a="$total" -v b="$one" 'BEGIN { print a + b }')
            most=$(awk -v a="$most" -v b="$one" 'BEGIN { print (b > a ? b : a) }')
            sent=$((sent + $(field "$name" 3)))
            resyncs=$((resyncs + $(field "$name" 5)))
            all=$((all + $(received "$name")))
        done
        for name in "$run"/$peers.out; do
            [[ -e $name ]] && to_peers=$((to_peers + $(received "${name%.out}")))
        done
        server_cpu+=("$(cpu "$run/server")") server_sent+=("$(field "$run/server" 3)")
        snapshots+=("$(field "$run/server" 2)") server_out+=("$to_peers")
        relay_cpu+=("$total") relay_most+=("$most") relay_sent+=("$sent")
        relay_out+=($((all - to_peers)))
        if compgen -G "$run/j??.time" >/dev/null; then
            joiner_cpu+=("$(cat "$run"/j??.time | awk '{ s += $1 + $2 } END { print s }')")
        fi
    done
    local relay_cells="| %13s | %9s | %9s "
    if ((relays)); then
        # shellcheck disable=SC2059
        relay_cells=$(printf "$relay_cells" \
            "$(printf '%.2f (%.2f)' "$(median "${relay_cpu[@]}")" "$(median "${relay_most[@]}")")" \
            "$(median "${relay_sent[@]}")" "$(median "${relay_out[@]}")")
    else
        # shellcheck disable=SC2059
        relay_cells=$(printf "$relay_cells" - - -)
    fi
    printf '| %-8s | %7s | %7d | %4d | %6.2f | %7d | %9d | %5d %s|\n' "$label" \
        "$equal/$count" "$resyncs" "$failed" "$(median "${server_cpu[@]}")" \
        "$(median "${server_sent[@]}")" "$(median "${server_out[@]}")" \
        "$(median "${snapshots[@]}")" "$relay_cells"
    if ((${#joiner_cpu[@]} > 0)); then
        median "${joiner_cpu[@]}" >"$work/$setup/joiners-cpu"
    fi
}

keys "$work/alone/keys"
# shellcheck disable=SC2046
keys "$work/direct/keys" $(names 0 "$joiners")
keys "$work/relays/keys" relay1 relay2 relay3 relay4
for ((r = 1; r <= 4; ++r)); do
    # shellcheck disable=SC2046
    keys "$work/relays/relay$r-keys" $(names $(((r - 1) * per_relay)) $((r * per_relay)))
done
keys "$work/chained/keys" relay1
keys "$work/chained/relay1-keys" relay2
# shellcheck disable=SC2046
keys "$work/chained/relay2-keys" $(names 0 "$per_relay")

# The setups take turns, so that a slow moment of the machine does not fall on one alone.
for ((run = 1; run <= runs; ++run)); do
    for setup in alone direct relays chained; do
        mkdir -p "$work/$setup/run$run"
        "$setup" "$work/$setup/run$run"
    done
done

echo "$(basename "$scene"), CURVE keys, loopback; each setup run $runs time(s), joiners started" \
    "$stagger s apart."
echo "CPU: user + system seconds; sent: bytes as Done lines count them (each message once);"
echo "to peers: the bytes the server's (or the relays') peers received. Relays: summed."
echo "Counts: summed over the runs; CPU and bytes: medians."
echo
echo "| setup    | equal   | resyncs | exit | server | server  | server to | snap- | relays CPU    | relays    | relays to |"
echo "|          | state   |         | != 0 | CPU    | sent    | peers     | shots | sum (busiest) | sent      | peers     |"
echo "|----------|---------|---------|------|--------|---------|-----------|-------|---------------|-----------|-----------|"
row alone alone none
row direct direct "j??"
row relays "4 relays" "relay?"
row chained chained relay1
echo
echo "All joiners' CPU together, median run (s): direct $(cat "$work/direct/joiners-cpu")," \
    "4 relays $(cat "$work/relays/joiners-cpu"), chained $(cat "$work/chained/joiners-cpu")"
# What the relays answered their joiners with: their snapshot and the batches after it.
for setup in relays chained; do
    cat "$work/$setup"/run*/relay?.err | grep -o 'snapshot of batch [0-9]*\( and [0-9]*\)\?' |
        awk -v setup="$setup" '{ n++; s += $6; if ($6 > most) most = $6 }
            END { printf "%s: relays answered %d requests, with %.0f batches after the snapshot" \
                  " on average, %d at most\n", setup, n, n ? s / n : 0, most }'
done
