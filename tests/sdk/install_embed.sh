#!/usr/bin/env bash
# The installed SDK stands on its own: `cmake --install` into a fresh prefix puts
# the headers in include/kepCore only; the embedding example builds against it
# twice, as a CMake project (find_package) and from a compiler line (pkg-config),
# and plays a file; a plug-in library built for another plug-in ABI is refused in
# one line; the installed kep-host finds the plug-in folder beside itself.
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

# The headers sit in a folder of the package's own, the generated one among them.
[ "$(ls "$prefix/include")" = kepCore ]
abi=$(sed -n 's/^#define KEPCORE_PLUGIN_ABI_VERSION \([0-9]*\)$/\1/p' \
    "$prefix/include/kepCore/kep/Version.h")
[ -n "$abi" ]

# A host project of its own: find_package(kepCore), warnings as errors in our headers.
"$cmake" -S "$example" -B "$work/embed" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS="-Wall -Wextra -Werror" >/dev/null
"$cmake" --build "$work/embed" >/dev/null
# The same source from one compiler line, everything else from pkg-config.
export PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name kepCore.pc)")
pc_include=$(pkg-config --cflags-only-I kepCore | sed 's/^-I//; s/ .*//')
[ "$(realpath "$pc_include")" = "$prefix/include/kepCore" ]
c++ -std=c++20 -Wall -Wextra -Werror -o "$work/embed-pc" "$example/main.cpp" \
    -DKEP_PLUGIN_DIR="\"$(pkg-config --variable=plugindir kepCore)\"" \
    $(pkg-config --cflags --libs kepCore) -Wl,-rpath,"$(pkg-config --variable=libdir kepCore)"

for embed in "$work/embed/embed" "$work/embed-pc"; do
    # A 2 s sound plays until the example's limit of about 1 s; a 0.25 s one until it ends.
    timeout 30 "$embed" "$media/sine_mono_2s.wav" >"$work/stdout"
    grep -Eqx "embed: played .*/sine_mono_2s\.wav for 1\.[0-9] s" "$work/stdout"
    timeout 30 "$embed" "$media/pcm_s16_stereo.wav" >"$work/stdout"
    grep -Eqx "embed: played .*/pcm_s16_stereo\.wav for 0\.[2-9] s" "$work/stdout"
    status=0
    timeout 30 "$embed" "$work/missing.wav" 2>"$work/stderr" || status=$?
    [ "$status" -eq 1 ]
    grep -qx '\[error\] embed: the sound file could not be loaded' "$work/stderr"
done

# A plug-in library that says it was built for plug-in ABI 999 is refused in one line.
mkdir "$work/abi"
cat >"$work/abi.cpp" <<'SOURCE'
#include <kep/Plugin.h>
extern "C" __attribute__((visibility("default"))) kep::PluginLibraryDescriptor*
GetLibraryContents() {
    static kep::PluginLibraryDescriptor descriptor{"otherAbi", nullptr, 999};
    return &descriptor;
}
SOURCE
c++ -std=c++20 -Wall -Wextra -Werror -shared -fPIC -o "$work/abi/libotherAbi.so" "$work/abi.cpp" \
    $(pkg-config --cflags --libs kepCore)
status=0
timeout 30 "$prefix/bin/kep-host" doctor --plugins "$work/abi" >/dev/null 2>"$work/stderr" ||
    status=$?
[ "$status" -ne 0 ]
grep -qxF "[error] PluginManager: $work/abi/libotherAbi.so was built for plug-in ABI 999, this host has $abi: not loaded" \
    "$work/stderr"

# Installed, kep-host loads the plug-in installed beside it...
timeout 30 "$prefix/bin/kep-host" doctor >"$work/stdout" 2>/dev/null
grep -qxF "Plug-in folder: $plugins" "$work/stdout"
grep -qxF "Library kepSoundPlugins ($plugins/libkepSoundPlugins.so)" "$work/stdout"
# ...and in the build tree, the build's own.
timeout 30 "$build/host/kep-host" doctor >"$work/stdout" 2>/dev/null
grep -qxF "Plug-in folder: $build/plugins" "$work/stdout"
echo "install_embed: all checks passed"
