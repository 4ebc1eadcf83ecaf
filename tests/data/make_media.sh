#!/usr/bin/env bash
# Makes the test media with the ffmpeg command line: make_media.sh OUTDIR
#
# Idempotent: files that exist are kept, so a second run does nothing. Files are
# made in groups sharing one source; each group is one ffmpeg run with one output
# per file, which keeps the whole script to a second or two.
#
# To add a file: add one `make NAME OUTPUT-OPTIONS...` line under a `group` whose
# inputs it uses (or start a new group with `group INPUT-OPTIONS...`).
#
# Tone sources: channel k (counting from 0) of a file carries
#   0.5 * sin(2*pi * 441*(k+1) Hz * t), at 44100 Hz unless the line says otherwise,
# so tests can check decoded samples value by value and channel by channel.
set -euo pipefail

out=${1:?usage: make_media.sh OUTDIR}
mkdir -p "$out"
work=$(mktemp -d "$out/.making.XXXXXX")
trap 'rm -rf "$work"' EXIT

group_inputs=()
group_outputs=()
group_names=()

# Writes the files of the current group, each first into the work folder and then
# moved into place, so an interrupted run leaves no half-made file behind.
flush() {
    if ((${#group_names[@]})); then
        ffmpeg -nostdin -hide_banner -v error -y "${group_inputs[@]}" "${group_outputs[@]}"
        local name
        for name in "${group_names[@]}"; do mv "$work/$name" "$out/$name"; done
    fi
    group_outputs=()
    group_names=()
}

# group INPUT-OPTIONS...: starts a group of files made from these inputs.
group() {
    flush
    group_inputs=("$@")
}

# make NAME OUTPUT-OPTIONS...: one file of the current group (the extension picks
# the container).
make() {
    local name=$1
    shift
    [[ -e $out/$name ]] && return 0
    group_outputs+=("$@" "$work/$name")
    group_names+=("$name")
}

# tone LAYOUT CHANNELS SECONDS [RATE]: a lavfi tone source as described above.
tone() {
    local exprs=() k
    for ((k = 1; k <= $2; k++)); do exprs+=("0.5*sin(2*PI*$((441 * k))*t)"); done
    local IFS='|'
    echo "aevalsrc=exprs=${exprs[*]}:s=${4:-44100}:d=$3:c=$1"
}

# join NAME PART...: the parts, files of this folder, end to end.
join() {
    local name=$1
    shift
    [[ -e $out/$name ]] && return 0
    (cd "$out" && cat "$@") >"$work/$name"
    mv "$work/$name" "$out/$name"
}

# text NAME CONTENT: a plain text file.
text() {
    [[ -e $out/$1 ]] && return 0
    printf '%s\n' "$2" >"$work/$1"
    mv "$work/$1" "$out/$1"
}

# WAV, 0.25 s, in the sample formats and layouts the tests decode.
group -f lavfi -i "$(tone mono 1 0.25)"
make pcm_u8_mono.wav -c:a pcm_u8
make pcm_s16_mono.wav -c:a pcm_s16le
group -f lavfi -i "$(tone stereo 2 0.25)"
make pcm_u8_stereo.wav -c:a pcm_u8
make pcm_s16_stereo.wav -c:a pcm_s16le
make pcm_f32_stereo.wav -c:a pcm_f32le
make pcm_f64_stereo.wav -c:a pcm_f64le
group -f lavfi -i "$(tone quad 4 0.25)"
make pcm_s32_quad.wav -c:a pcm_s32le
group -f lavfi -i "$(tone 5.1 6 0.25)"
make pcm_s16_5.1.wav -c:a pcm_s16le
group -f lavfi -i "$(tone 7.1 8 0.25)"
make pcm_f32_7.1.wav -c:a pcm_f32le

# Two channels in no named layout (Matroska keeps only the count).
group -f lavfi -i "$(tone 2c 2 0.25)"
make pcm_f32_2c.mkv -c:a pcm_f32le

# Lossy stereo, 1.5 s (both decode to planar float; Opus at 48 kHz).
group -f lavfi -i "$(tone stereo 2 1.5)"
make vorbis_stereo.ogg -c:a libvorbis
make opus_stereo.opus -c:a libopus

# A video stream first, then one audio stream; and video alone.
group -f lavfi -i "testsrc=size=64x48:rate=10:duration=0.5" -f lavfi -i "$(tone stereo 2 0.5)"
make video_with_audio.mkv -map 0:v -map 1:a -c:v mpeg4 -c:a pcm_s16le
make video_only.mp4 -map 0:v -c:v mpeg4

# Two audio streams: the first (22050 Hz) under a format tag no decoder knows, the
# second (44100 Hz, mono) plain 16-bit PCM.
group -f lavfi -i "$(tone mono 1 0.25 22050)" -f lavfi -i "$(tone mono 1 0.25)"
make first_audio_undecodable.avi -map 0:a -map 1:a -c:a pcm_s16le -tag:a:0 0x7777 -strict -1

# An audio stream without a single sample, and no media at all.
group -f lavfi -i "$(tone mono 1 0.25)"
make empty_audio.wav -c:a pcm_s16le -frames:a 0
flush
text not_media.txt "This is a text file, not a sound."

# Files joined end to end, as concatenated podcasts and streams are: the format
# changes part-way. Parts of 1 s each.
group -f lavfi -i "$(tone stereo 2 1)" -f lavfi -i "$(tone mono 1 1)" \
    -f lavfi -i "$(tone 7.1 8 1)" -f lavfi -i "$(tone mono 1 1 22050)"
make part_stereo.mp3 -map 0 -c:a libmp3lame
make part_mono.mp3 -map 1 -c:a libmp3lame
make part_stereo.aac -map 0 -c:a aac
make part_7.1.aac -map 2 -c:a aac
make part_mono_22k.aac -map 3 -c:a aac
flush
join mp3_stereo_then_mono.mp3 part_stereo.mp3 part_mono.mp3
join aac_stereo_then_7.1.aac part_stereo.aac part_7.1.aac
join aac_44k_then_22k.aac part_stereo.aac part_mono_22k.aac

# Shared with the playback tests: 2 s of 440 Hz at half scale, mono, 16 bit, 44.1 kHz.
# The decoder pads each decoded frame to a multiple of 32 samples, so its buffer
# holds 88224 samples (176448 bytes) and its duration in whole seconds rounds up to 3.
group -f lavfi -i "aevalsrc=exprs=0.5*sin(2*PI*440*t):s=44100:d=2:c=mono"
make sine_mono_2s.wav -c:a pcm_s16le

flush
