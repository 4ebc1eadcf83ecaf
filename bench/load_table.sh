#!/usr/bin/env bash
# Prints the load table: bench/load_table.sh [BUILD-DIR] (default build).
#
# Makes stereo 44.1 kHz pink noise in six formats, 60 s and 10 min long (once,
# kept in BUILD-DIR/bench-media), then prints two tables against kep-load-reference,
# a plain FFmpeg decode and convert into the same output format (ref) that then
# hands the PCM to alBufferData (ref+AL):
#   - per load, each in a process of its own (60 s files): time, and peak resident
#     memory above what the process held before the load;
#   - whole processes (10 min files): `kep-host info FILE` against the reference
#     as a process, wall time and ru_maxrss.
# Times are medians of five runs, taking turns; run it on an otherwise idle machine. The
# loader's log lines (on standard error) are dropped.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
media=$build/bench-media
mkdir -p "$media"
export ALSOFT_DRIVERS=null

# make SECONDS: the six files of that length.
make() {
    local seconds=$1 name
    local -A codecs=([wav16.wav]="-c:a pcm_s16le" [flac16.flac]="-c:a flac -sample_fmt s16"
        [vorbis.ogg]="-c:a libvorbis" [mp3.mp3]="-c:a libmp3lame" [opus.opus]="-c:a libopus"
        [aac.m4a]="-c:a aac")
    for name in "${!codecs[@]}"; do
        local file=$media/${seconds}s-$name
        [[ -e $file ]] && continue
        # shellcheck disable=SC2086
        ffmpeg -nostdin -hide_banner -v error -y \
            -f lavfi -i "anoisesrc=color=pink:r=44100:d=$seconds:seed=1" \
            -f lavfi -i "anoisesrc=color=pink:r=44100:d=$seconds:seed=2" \
            -filter_complex amerge=inputs=2 ${codecs[$name]} "$file.part.$name"
        mv "$file.part.$name" "$file"
    done
}
make 60
make 600

order=(wav16.wav flac16.flac vorbis.ogg mp3.mp3 opus.opus aac.m4a)
echo "Per load (60 s stereo pink noise; MB = peak resident memory the load adds)"
"$build/bench/kep-load-bench" table "${order[@]/#/$media/60s-}"
echo
echo "Whole processes (10 min files): kep-host info FILE against the reference"
"$build/bench/kep-load-bench" processes "$build/host/kep-host" "$build/plugins" \
    "${order[@]/#/$media/600s-}" 2>/dev/null
