#!/usr/bin/env bash
# The installed SDK stands on its own: `cmake --install` into a fresh prefix, the
# embedding example builds against it as a separate project and plays a file, and
# the installed kep-host finds the plug-in folder beside itself, not the build's.
# Arguments: the build folder, the example's source folder.
set -eEuo pipefail
trap 'echo "FAILED at line $LINENO: $BASH_COMMAND" >&2' ERR
build=$1 example=$2 media=${KEP_TEST_MEDIA:?}
cmake=${CMAKE_COMMAND:-cmake}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$(realpath "$work")/prefix
unset LD_LIBRARY_PATH
export ALSOFT_DRIVERS=null

"$cmake" --install "$build" --prefix "$prefix" >/dev/null
plugins=$(find "$prefix" -type d -path '*/kep/plugins')  # lib/ or lib/<multiarch>/
# Every installed binary resolves libkepCore.so through its own RPATH, into the prefix.
for binary in "$prefix"/bin/kep-host "$plugins"/*.so; do
    libraries=$(ldd "$binary")
    grep -q "libkepCore\.so.* => $prefix/" <<<"$libraries"
    ! grep 'not found' <<<"$libraries" || false
done

# A host project of its own: find_package(kepCore), warnings as errors in our headers.
"$cmake" -S "$example" -B "$work/embed" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS="-Wall -Wextra -Werror" >/dev/null
"$cmake" --build "$work/embed" >/dev/null
# A 2 s sound plays until the example's one-second limit; a 0.25 s one until it ends.
timeout 30 "$work/embed/embed" "$media/sine_mono_2s.wav" >"$work/stdout"
grep -Eqx "embed: played .*/sine_mono_2s\.wav for 1\.[0-9] s" "$work/stdout"
timeout 30 "$work/embed/embed" "$media/pcm_s16_stereo.wav" >"$work/stdout"
grep -Eqx "embed: played .*/pcm_s16_stereo\.wav for 0\.[2-9] s" "$work/stdout"
status=0
timeout 30 "$work/embed/embed" "$work/missing.wav" 2>"$work/stderr" || status=$?
[ "$status" -eq 1 ]
grep -qx 'embed: the sound file could not be loaded' "$work/stderr"

# Installed, kep-host loads the plug-in installed beside it...
timeout 30 "$prefix/bin/kep-host" doctor >"$work/stdout" 2>/dev/null
grep -qxF "Plug-in folder: $plugins" "$work/stdout"
grep -qxF "Library kepSoundPlugins ($plugins/libkepSoundPlugins.so)" "$work/stdout"
# ...and in the build tree, the build's own.
timeout 30 "$build/host/kep-host" doctor >"$work/stdout" 2>/dev/null
grep -qxF "Plug-in folder: $build/plugins" "$work/stdout"
echo "install_embed: all checks passed"
