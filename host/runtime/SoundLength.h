#pragma once

#include <cstdint>

#include "kep/ISoundInspector.h"

// The length of the PCM in a sound's buffer, padding included: what a looping
// source repeats. The sound system's own duration is whole seconds rounded up,
// which says 1 s for a quarter of a second.
inline double BufferSeconds(const kep::SoundDescription& description) {
    const std::uint32_t frameBytes = description.channels * description.bits / 8;
    if (frameBytes == 0 || description.sampleRate == 0) {
        return 0;
    }
    return static_cast<double>(description.byteSize / frameBytes) / description.sampleRate;
}
