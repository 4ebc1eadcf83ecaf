#!/usr/bin/env bash
# kep-host replay-demo keeps a replaying instance and a late joiner in step with
# a replicating one, and --dump shows the frames on the wire.
set -eEuo pipefail
trap 'echo "FAILED at line $LINENO: $BASH_COMMAND" >&2' ERR
host=$1 plugins=$2
media=${KEP_TEST_MEDIA:?}
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

ALSOFT_DRIVERS=null "$host" --plugins "$plugins" replay-demo "$media/sine_mono_2s.wav" \
    --frames 20 --dump >"$out/stdout" 2>"$out/stderr"
grep -q '^Receiver in step: yes$' "$out/stdout"
grep -q '^Late joiner in step: yes$' "$out/stdout"
# The first batch opens with the flag byte 00 and a count of 6 commands.
grep -q '^frame 0 batch: 00 06 00 00 00 07 00 00 00 ' "$out/stdout"
# Later frames carry one position each; the snapshot opens with the flag byte 01.
grep -q '^frame 1 batch: 00 01 00 00 00 02 00 00 00 ' "$out/stdout"
grep -q '^frame 10 snapshot: 01 01 00 00 00 ' "$out/stdout"
echo "replay-demo: all checks passed"
