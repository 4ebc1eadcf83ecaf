#!/usr/bin/env bash
# Prints how fast kep-host render is: bench/render_speed.sh [BUILD-DIR] (default build).
#
# For each example scene, and for a 10-minute scene of 64 sources circling the
# listener at different radii and speeds (made here, in BUILD-DIR/bench-media),
# renders to a WAV and prints the scene's length, the wall time, the speed as a
# multiple of real time and the peak resident memory (ru_maxrss). Each render runs
# three times; the fastest counts. Run it on an otherwise idle machine.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
media=$build/bench-media
mkdir -p "$media"
host=$build/host/kep-host plugins=$build/plugins

# The 64-source scene: each source loops a tone and moves on a circle, given as
# keyframes every 0.5 s.
many=$media/64-sources-10-min.json
if [[ ! -e $many ]]; then
    awk -v sounds="$(realpath "$build/examples/sounds")" 'BEGIN {
        duration = 600; printf "{ \"duration\": %d, \"frameRate\": 60,\n", duration
        printf "  \"sounds\": { \"drone\": \"%s/drone.wav\", \"sweep\": \"%s/sweep.wav\" },\n",
               sounds, sounds
        printf "  \"sources\": [\n"
        for (s = 0; s < 64; s++) {
            radius = 1 + s % 8; speed = 0.2 + 0.05 * (s % 5)
            printf "    { \"name\": \"s%d\", \"sound\": \"%s\", \"looping\": true, \"gain\": 0.1,", s,
                   s % 2 ? "drone" : "sweep"
            printf " \"play\": [%g], \"position\": [", s * 0.1
            for (t = 0; t <= duration; t += 0.5) {
                a = speed * t + s
                printf "%s{ \"time\": %g, \"at\": [%.3f, 0, %.3f] }", t ? ", " : "", t,
                       radius * sin(a), -radius * cos(a)
            }
            printf "] }%s\n", s < 63 ? "," : ""
        }
        printf "  ] }\n" }' >"$many"
fi

printf '%-28s %10s %10s %10s %12s\n' scene "scene (s)" "wall (s)" "x real" "peak (MiB)"
for scene in "$build"/examples/*.json "$many"; do
    best=
    for _ in 1 2 3; do
        /usr/bin/time -f '%e %M' -o "$media/time.txt" \
            "$host" --plugins "$plugins" --log-level=error render "$scene" \
            -o "$media/render.wav" >"$media/render.out"
        read -r wall kib <"$media/time.txt"
        if [[ -z $best ]] || awk -v a="$wall" -v b="${best% *}" 'BEGIN { exit !(a < b) }'; then
            best="$wall $kib"
        fi
    done
    seconds=$(ffprobe -v error -show_entries stream=duration -of csv=p=0 "$media/render.wav")
    read -r wall kib <<<"$best"
    awk -v name="$(basename "$scene")" -v s="$seconds" -v w="$wall" -v k="$kib" 'BEGIN {
        printf "%-28s %10.1f %10.2f %10.0f %12.1f\n", name, s, w, s / (w > 0 ? w : 0.01), k / 1024 }'
done
rm -f "$media/render.wav" "$media/render.out" "$media/time.txt"
