#pragma once

#include "plugin/SoundSystem.h"

// A started sound system on the null device that lives as long as the process,
// with the library's and FFmpeg's log lines dropped, so a fuzzer prints only
// its own.
SoundSystem& QuietSoundSystem(bool replicating);
