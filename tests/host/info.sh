#!/usr/bin/env bash
# kep-host info FILE... prints one line per file: the OpenAL format by name, rate, bytes
# and length of the buffer with the padding the decoder added, beside the buffer
# query's whole seconds; or that the file was not found, or failed with the reason in
# the log.
set -eEuo pipefail
trap 'echo "FAILED at line $LINENO: $BASH_COMMAND" >&2' ERR
host=$1 plugins=$2 media=${KEP_TEST_MEDIA:?}
# info plays nothing: it needs no sound card, nor ALSOFT_DRIVERS=null.
unset ALSOFT_DRIVERS
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

# run ARGS...: kep-host with the plug-ins, never left waiting; sets $status.
run() {
    status=0
    timeout 30 "$host" --plugins "$plugins" "$@" >"$out/stdout" 2>"$out/stderr" || status=$?
}

# Mono 16-bit WAVs of 14112 samples (0.32 s, 441 x 32) and one sample less.
ffmpeg -nostdin -hide_banner -v error -f lavfi -i "aevalsrc=0.5*sin(2*PI*441*t):s=44100:d=0.32" \
    -c:a pcm_s16le "$out/mono_14112.wav" -af atrim=end_sample=14111 -c:a pcm_s16le "$out/mono_14111.wav"

# FILE (of the test media, else made here) and its line. The decoder pads each
# decoded block to a multiple of 32 samples and says by how much: 11025 frames of
# 16-bit stereo end in a block of 785, padded to 800; 14112 samples need no padding;
# 14111 end in a block of 1823, padded to 1824.
while read -r file line; do
    path=$media/$file
    [ -e "$path" ] || path=$out/$file
    run info "$path"
    [ "$status" -eq 0 ]
    grep -qxF "$path: $line" "$out/stdout"
done <<'END'
pcm_s16_stereo.wav stereo 16-bit (AL_FORMAT_STEREO16), 44100 Hz, 44160 bytes, 0.250 s, of which 15 samples padding (buffer query: 1 s)
pcm_u8_mono.wav mono 8-bit (AL_FORMAT_MONO8), 44100 Hz, 11040 bytes, 0.250 s, of which 15 samples padding (buffer query: 1 s)
pcm_f32_7.1.wav 7.1 float32 (AL_FORMAT_71CHN32), 44100 Hz, 353280 bytes, 0.250 s, of which 15 samples padding (buffer query: 1 s)
vorbis_stereo.ogg stereo float32 (AL_FORMAT_STEREO_FLOAT32), 44100 Hz, 529408 bytes, 1.501 s, of which 26 samples padding (buffer query: 2 s)
mono_14112.wav mono 16-bit (AL_FORMAT_MONO16), 44100 Hz, 28224 bytes, 0.320 s (buffer query: 1 s)
mono_14111.wav mono 16-bit (AL_FORMAT_MONO16), 44100 Hz, 28224 bytes, 0.320 s, of which 1 sample padding (buffer query: 1 s)
END

# FFmpeg's own lines obey --log-level: the Vorbis decoder's warning (logged on the
# decoding thread) is one host line at warning level, and gone at error level.
run --log-level warning info "$media/vorbis_stereo.ogg"
grep -Eqx '\[warning\] FFmpeg: \[vorbis @ 0x[0-9a-f]+\] Could not update timestamps for discarded samples\.' "$out/stderr"
run --log-level error info "$media/vorbis_stereo.ogg"
! grep -q 'FFmpeg' "$out/stderr" || false

# A double stereo WAV is refused on a device that offers AL_EXT_DOUBLE.
run info "$media/pcm_f64_stereo.wav"
[ "$status" -eq 1 ]
grep -qxF "$media/pcm_f64_stereo.wav: failed" "$out/stdout"
grep -qF "SoundSystem: Failed to load $media/pcm_f64_stereo.wav error: Format configuration not found" "$out/stderr"

# Only regular files are opened: a FIFO is "not found" at once rather than a wait for
# a writer. Every file gets its line; one failure makes the status 1.
mkfifo "$out/fifo"
run info "$out/fifo" "$out/missing.wav" "$media/pcm_u8_mono.wav"
[ "$status" -eq 1 ]
grep -qxF "$out/fifo: not found" "$out/stdout"
grep -qxF "$out/missing.wav: not found" "$out/stdout"
grep -qF "$media/pcm_u8_mono.wav: mono 8-bit" "$out/stdout"

# The decoder's progress lines show only at debug level.
run info "$media/pcm_s16_stereo.wav"
! grep -qF 'FFStream: Packet read.' "$out/stderr" || false
run --log-level debug info "$media/pcm_s16_stereo.wav"
grep -qF 'FFStream: Read stream completed. Packet count: 11. Total size: 43.07 KB.' "$out/stderr"
echo "info: all checks passed"
