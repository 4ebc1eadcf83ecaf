#!/usr/bin/env bash
# kep-host doctor lists the library and its item and opens the device on OpenAL Soft's
# null backend; without a device it exits 1 and ends with a hint on running without one.
set -eEuo pipefail
trap 'echo "FAILED at line $LINENO: $BASH_COMMAND" >&2' ERR
host=$1 plugins=$2
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

ALSOFT_DRIVERS=null "$host" --plugins "$plugins" -v doctor >"$out/stdout" 2>"$out/stderr"
grep -q '^Library kepSoundPlugins ' "$out/stdout"
grep -q '^  Item SoundSystem: guid a1f853f9-0faa-455c-a125-0278772c0aaf, kind 2,' "$out/stdout"
grep -q '^Sound device: open$' "$out/stdout"
grep -q '\[info\] SoundSystem: Opened .* Device$' "$out/stderr"
grep -q '\[info\] SoundSystem: Device init completed$' "$out/stderr"

# A driver list naming no backend OpenAL Soft has: no device, on any machine.
status=0
ALSOFT_DRIVERS=nosuch "$host" --plugins "$plugins" doctor >"$out/stdout" 2>"$out/stderr" || status=$?
[ "$status" -eq 1 ]
grep -q '\[warning\] SoundSystem: openning .* device failed, trying to pass nullptr$' "$out/stderr"
grep -q "\[error\] SoundSystem: can't open nullptr device$" "$out/stderr"
grep -q '^Sound device: not available$' "$out/stdout"
tail -n 1 "$out/stdout" | grep -q '^Hint: .*ALSOFT_DRIVERS=null'

# Info lines only when asked for: by default warnings and errors; --log-level wins over -v.
for level in "" "-v --log-level error"; do
    # shellcheck disable=SC2086
    ALSOFT_DRIVERS=null "$host" --plugins "$plugins" $level doctor >"$out/stdout" 2>"$out/stderr"
    ! grep -q '\[info\]' "$out/stderr" || false
done

# A reader that has gone away and a closed standard error lose the text, nothing
# more: the run fails with 1, where SIGPIPE killed it (141) or a write aborted it (134).
mkfifo "$out/pipe"
exec 3<>"$out/pipe" 4>"$out/pipe" 3<&- # 4: a pipe that nobody reads any more
status=0
ALSOFT_DRIVERS=null "$host" --plugins "$plugins" doctor >&4 2>&- || status=$?
[ "$status" -eq 1 ]
# A usage error still exits 2, its message lost to a closed stream or to the pipe.
status=0
"$host" --plugins "$plugins" doctor extra 2>&- || status=$?
[ "$status" -eq 2 ]
status=0
"$host" --plugins "$plugins" doctor extra 2>&4 || status=$?
[ "$status" -eq 2 ]
echo "doctor: all checks passed"
