#pragma once

#include <cstdint>

#include "decode/FFmpegHandles.h"

// The libswresample converter of one sound, together with the input format it
// was built for, so that frames in another format can be told apart.
class Resampler {
public:
    // Builds a converter from the input to the output format, replacing any earlier
    // one. False (logged) when it cannot; the formats are remembered all the same.
    [[nodiscard]] bool SetUp(std::uint64_t outChannelMask, AVSampleFormat outSampleFormat,
                             int outSampleRate, const AVChannelLayout& inLayout,
                             AVSampleFormat inSampleFormat, int inSampleRate);

    // Whether frame has the layout, sample format and rate the converter takes.
    [[nodiscard]] bool IsBuiltFor(const AVFrame& frame) const;

    // Logs the change and builds the converter again for frame's format, to the
    // same output as before; false (logged) when it cannot.
    [[nodiscard]] bool RebuildFor(const AVFrame& frame);

    // Upper bound of the samples per channel that converting inSamples gives.
    [[nodiscard]] int OutSamples(int inSamples) const;

    // Converts frame into out, which has room for outSamples per channel; the
    // samples per channel written, or negative on failure.
    [[nodiscard]] int Convert(std::uint8_t* out, int outSamples, const AVFrame& frame);

private:
    ffmpeg::ResamplerPtr converter;
    ffmpeg::ChannelLayoutPtr inLayout;
    AVSampleFormat inSampleFormat = AV_SAMPLE_FMT_NONE;
    int inSampleRate = 0;
    std::uint64_t outChannelMask = 0;
    AVSampleFormat outSampleFormat = AV_SAMPLE_FMT_NONE;
    int outSampleRate = 0;
};
