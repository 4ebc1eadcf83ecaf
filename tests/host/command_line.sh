#!/usr/bin/env bash
# kep-host's command line: help for every command, --version, --opt=value, and
# usage errors that exit 2 even with standard error closed.
set -eEuo pipefail
trap 'echo "FAILED at line $LINENO: $BASH_COMMAND" >&2' ERR
host=$1 plugins=$2
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

"$host" --help >"$out/help"
grep -q '^  render  *Render what a scene' "$out/help"
grep -q 'in metres: right-handed, +X to the right, +Y up and -Z' "$out/help"
grep -q '^Exit status: 0 done, 1 failed, 2 usage error, 130 interrupted' "$out/help"
# The units and exit codes once, in the main help, not on every command's page.
for command in doctor info play replay-demo run render serve join keygen; do
    "$host" "$command" --help >"$out/help"
    grep -q "^Usage: kep-host $command " "$out/help"
    ! grep -q '^Exit status:' "$out/help"
done
# No command: said, with the help.
status=0
"$host" 2>"$out/stderr" >/dev/null || status=$?
[ "$status" -eq 2 ] && [ "$(head -n 1 "$out/stderr")" = "kep-host: a command is needed" ]
"$host" --version | grep -qx 'kep-host [0-9.]*'

# --opt=value, and the shared options after the command's name.
ALSOFT_DRIVERS=null "$host" doctor --plugins="$plugins" --log-level=error >/dev/null 2>"$out/stderr"
[ ! -s "$out/stderr" ]

while read -r args; do
    for stream in "$out/stderr" /dev/full; do
        status=0
        # shellcheck disable=SC2086
        "$host" --plugins "$plugins" $args 2>"$stream" >/dev/null || status=$?
        [ "$status" -eq 2 ]
    done
    status=0
    "$host" --plugins "$plugins" $args 2>&- >/dev/null || status=$?
    [ "$status" -eq 2 ]
done <<'END'

nosuch
doctor --nosuch
--log-level bogus doctor
info
play a.wav --at 1,2
play a.wav --seconds -1
play a.wav --seconds nan
play a.wav --gain nan
join tcp://127.0.0.1:5555 --insecure --seconds nan
replay-demo a.wav --frames 1
run
render scene.json
run a.json b.json
serve scene.json
serve scene.json --bind 127.0.0.1:5555
serve scene.json --bind tcp://127.0.0.1:5555
serve scene.json --bind ipc://@kep --insecure
serve scene.json --bind tcp://127.0.0.1:5555 --insecure --curve-keys keys
join
join tcp://127.0.0.1:5555
join tcp://127.0.0.1:5555 --insecure --timeout 0
join tcp://127.0.0.1:5555 --insecure --max-sound-mb 0
keygen
END
echo "command line: all checks passed"
