#pragma once

extern "C" {
#include <libavutil/samplefmt.h>
}

// The decoded sample formats the sound system converts for OpenAL, by the way it
// converts them; anything else it refuses. A host can ask before it loads a file.
enum class SampleBranch { Unsigned8, Signed16, Signed32, Float, Double, Unknown };

inline SampleBranch BranchOf(int sampleFormat) {
    switch (sampleFormat) {
        case AV_SAMPLE_FMT_U8:
        case AV_SAMPLE_FMT_U8P:
            return SampleBranch::Unsigned8;
        case AV_SAMPLE_FMT_S16:
            return SampleBranch::Signed16;
        case AV_SAMPLE_FMT_S32:
        case AV_SAMPLE_FMT_S32P:
            return SampleBranch::Signed32;
        case AV_SAMPLE_FMT_FLT:
        case AV_SAMPLE_FMT_FLTP:
            return SampleBranch::Float;
        case AV_SAMPLE_FMT_DBL:
        case AV_SAMPLE_FMT_DBLP:
        case AV_SAMPLE_FMT_S64:
        case AV_SAMPLE_FMT_S64P:
            return SampleBranch::Double;
        default:
            // Planar 16 bit (AV_SAMPLE_FMT_S16P) is deliberately not accepted.
            return SampleBranch::Unknown;
    }
}
