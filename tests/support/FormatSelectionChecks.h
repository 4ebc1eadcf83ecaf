#pragma once

// What a file must decode to under the output format selection, checked the same
// way whichever OpenAL (real or double) the device is.

#include <AL/al.h>

#include <optional>
#include <string>
#include <vector>

#include "support/DecodeTesting.h"

// How the decoded samples are checked.
enum class Samples {
    Tone,             // the tone the file holds, channel by channel
    MixedDown,        // mixed to fewer channels: only the size is known
    AsFFmpegDecodes,  // the same samples FFmpeg's own decoding gives
};

struct Output {
    ALenum alFormat;
    std::uint32_t frameBytes;
    AVSampleFormat sampleFormat;
    int channels;
    Samples samples;
};

inline kep::LoggedLine Select(std::string text) {
    return InfoLine("FFStream: Select " + text);
}

inline double Tolerance(AVSampleFormat format) {
    switch (format) {
        case AV_SAMPLE_FMT_U8:
            return 1.0 / 128;
        case AV_SAMPLE_FMT_S16:
            return 2.0 / 32768;
        default:
            return 1e-6;
    }
}

// Decodes the file and checks the chosen format, the selection's log lines and the
// samples; with no output expected, that the file is refused after those lines.
inline void ExpectDecodedAs(const std::string& path, const std::optional<Output>& output,
                            const std::vector<kep::LoggedLine>& selection) {
    const ReferenceDecoding reference = DecodeWithFFmpeg(path);
    kep::MessageCapture capture;
    if (!output) {
        EXPECT_EQ(ConstructionError(path), "Format configuration not found");
        EXPECT_EQ(SelectionLines(capture), selection);
        return;
    }

    FFStream stream(path);
    const FFStream::AlBufferFormat format = stream.GetAlBufferFormat();
    EXPECT_EQ(format.alFormat, static_cast<std::uint32_t>(output->alFormat));
    EXPECT_EQ(format.frameBytes, output->frameBytes);
    EXPECT_EQ(format.sampleRate, static_cast<std::uint32_t>(reference.sampleRate));
    EXPECT_EQ(SelectionLines(capture), selection);
    EXPECT_TRUE(capture.contains(kep::MessageLevel::Info,
                                 "FFStream: file " + path + " successfully loaded"));

    const std::vector<std::uint8_t>& pcm = stream.GetPcm();
    EXPECT_EQ(pcm.size() % format.frameBytes, 0u);
    const double tolerance = Tolerance(output->sampleFormat);
    switch (output->samples) {
        case Samples::Tone:
            EXPECT_TRUE(PcmHoldsTone(pcm, output->sampleFormat, output->channels,
                                     reference.channels, reference.frameSamples,
                                     reference.sampleRate, tolerance));
            break;
        case Samples::AsFFmpegDecodes:
            EXPECT_TRUE(PcmMatchesReference(pcm, output->sampleFormat, reference, tolerance));
            break;
        case Samples::MixedDown:
            // Mixed down, yet every frame's block is sized for all the decoder's channels.
            EXPECT_EQ(pcm.size(), DecodedByteCount(reference.frameSamples, reference.channels,
                                                   av_get_bytes_per_sample(output->sampleFormat)));
            break;
    }
}
