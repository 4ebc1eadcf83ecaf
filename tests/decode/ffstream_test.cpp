// FFStream on real files, through real FFmpeg and OpenAL Soft on its null backend:
// why a file is refused, what a loaded one decodes to, and files whose format
// changes part-way.

#include <AL/al.h>
#include <AL/alc.h>
#include <AL/alext.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <exception>
#include <numbers>
#include <numeric>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "decode/FFStream.h"
#include "kep/Messages.h"
#include "support/MessageCapture.h"
#include "support/TestMedia.h"

namespace {

using enum kep::MessageLevel;

// A current OpenAL context, as the sound system has when it loads a file: made for
// the first test and kept for the run.
bool HaveOpenAlContext() {
    static const bool made = [] {
        ALCdevice* device = alcOpenDevice(nullptr);
        ALCcontext* context = device ? alcCreateContext(device, nullptr) : nullptr;
        return context && alcMakeContextCurrent(context);
    }();
    return made;
}
constexpr const char* kNoOpenAl = "no OpenAL device (ALSOFT_DRIVERS=null?)";

std::string Name(std::string name) {
    std::replace_if(
        name.begin(), name.end(), [](char c) { return !std::isalnum(c); }, '_');
    return name;
}

struct OpenRow {
    const char* file;
    const char* error;  // the exception's text, {} standing for the path; empty: it loads
    kep::MessageLevel level;
    const char* line;  // null: nothing is logged
};

const OpenRow kOpenRows[] = {
    {"no_such_file.wav", "Failed to open {}", Error, nullptr},
    {"not_media.txt", "Failed to open {}. Error: Invalid data found when processing input", Error,
     nullptr},
    {"video_only.mp4", "Codec configuration failed", Error,
     "Couldn't find any suitable codec for the file"},
    {"pcm_f64_stereo.wav", "Format configuration not found", Error,
     "FFStream: Ambisonic sound not supported by the sound plug-in or unknown format"},
    // The first audio stream (22050 Hz) has no decoder; the second is taken.
    {"first_audio_undecodable.avi", "", Info, "FFStream: Find format pcm_s16le with rate 44100"},
    {"video_with_audio.mkv", "", Info, "FFStream: Find format pcm_s16le with rate 44100"},
};

class OpeningAFile : public testing::TestWithParam<OpenRow> {};

TEST_P(OpeningAFile, FailsWithItsReasonOrTakesTheAudio) {
    ASSERT_TRUE(HaveOpenAlContext()) << kNoOpenAl;
    const OpenRow& row = GetParam();
    const std::string path = MediaDir() + "/" + row.file;
    MessageCapture capture;
    std::string error;
    try {
        FFStream stream(path);
    } catch (const std::exception& thrown) {
        error = thrown.what();
    }
    EXPECT_EQ(error, fmt::format(fmt::runtime(row.error), path));
    if (row.line) {
        EXPECT_TRUE(capture.contains(row.level, row.line))
            << testing::PrintToString(capture.lines());
    } else {
        EXPECT_EQ(capture.lines(), std::vector<std::string>{});
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, OpeningAFile, testing::ValuesIn(kOpenRows),
                         [](const auto& info) { return Name(info.param.file); });

struct DecodeRow {
    const char* file;
    ALenum alFormat;
    std::uint32_t frameBytes;
    std::uint32_t sampleRate;
    std::size_t pcmBytes;
    std::uint32_t paddingFrames;  // of pcmBytes, what the padding of the blocks added
    // A test tone's channel k carries 0.5 * sin(2 pi hz (k+1) t); its first samples
    // are checked (none: not a tone).
    int channels;
    double hz;
    int samples;
};

// Every decoded frame is padded to a multiple of 32 samples, as FFmpeg's default
// alignment has it: 11025 samples come in frames that end with 785, padded to 800.
const DecodeRow kDecodeRows[] = {
    // 88200 samples, the last frame of 136 padded to 160: 88224.
    {"sine_mono_2s.wav", AL_FORMAT_MONO16, 2, 44100, 176448, 24, 1, 440, 88200},
    {"pcm_u8_stereo.wav", AL_FORMAT_STEREO8, 2, 44100, 22080, 15, 2, 441, 11025},
    {"pcm_s16_stereo.wav", AL_FORMAT_STEREO16, 4, 44100, 44160, 15, 2, 441, 11025},
    {"pcm_f32_stereo.wav", AL_FORMAT_STEREO_FLOAT32, 8, 44100, 88320, 15, 2, 441, 11025},
    {"pcm_s32_quad.wav", AL_FORMAT_QUAD32, 16, 44100, 176640, 15, 4, 441, 11025},
    // Float in no native channel order falls back to 16 bit.
    {"pcm_f32_2c.mkv", AL_FORMAT_STEREO16, 4, 44100, 44160, 15, 2, 441, 11025},
    // Mixed down to mono, yet each frame's block is sized for all six channels: of
    // 68352 frames, 11025 are sound.
    {"pcm_s16_5.1.wav", AL_FORMAT_MONO16, 2, 44100, 136704, 57327, 0, 0, 0},
    {"vorbis_stereo.ogg", AL_FORMAT_STEREO_FLOAT32, 8, 44100, 529408, 26, 0, 0, 0},
    // Blocks of 960, but the first is 648 after the encoder's pre-skip and the last
    // 312: padded by 24 and 8.
    {"opus_stereo.opus", AL_FORMAT_STEREO_FLOAT32, 8, 48000, 576256, 32, 0, 0, 0},
    {"empty_audio.wav", AL_FORMAT_MONO16, 2, 44100, 0, 0, 0, 0, 0},
};

double SampleAt(const std::uint8_t* bytes, int width) {
    if (width == 1) {
        return (bytes[0] - 128) / 128.0;
    }
    if (width == 2) {
        std::int16_t value;
        std::memcpy(&value, bytes, sizeof value);
        return value / 32768.0;
    }
    float value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

class DecodingAFile : public testing::TestWithParam<DecodeRow> {};

TEST_P(DecodingAFile, GivesItsFormatLengthAndSamples) {
    ASSERT_TRUE(HaveOpenAlContext()) << kNoOpenAl;
    const DecodeRow& row = GetParam();
    const FFStream stream(MediaPath(row.file));
    const FFStream::AlBufferFormat format = stream.GetAlBufferFormat();
    EXPECT_EQ(format.alFormat, static_cast<std::uint32_t>(row.alFormat));
    EXPECT_EQ(format.frameBytes, row.frameBytes);
    EXPECT_EQ(format.sampleRate, row.sampleRate);
    const PcmBytes& pcm = stream.GetPcm();
    ASSERT_EQ(pcm.size(), row.pcmBytes);
    EXPECT_EQ(stream.GetPaddingFrames(), row.paddingFrames);

    const int width = row.channels ? static_cast<int>(row.frameBytes) / row.channels : 1;
    const double tolerance = width == 1 ? 1.0 / 128 : width == 2 ? 2.0 / 32768 : 1e-6;
    double worst = 0;
    for (int i = 0; i < row.samples; ++i) {
        for (int channel = 0; channel < row.channels; ++channel) {
            const double wanted =
                0.5 * std::sin(2 * std::numbers::pi * row.hz * (channel + 1) * i / row.sampleRate);
            const std::size_t offset = (std::size_t(i) * row.channels + channel) * width;
            worst = std::max(worst, std::abs(SampleAt(&pcm[offset], width) - wanted));
        }
    }
    EXPECT_LE(worst, tolerance);
}

INSTANTIATE_TEST_SUITE_P(Rows, DecodingAFile, testing::ValuesIn(kDecodeRows),
                         [](const auto& info) { return Name(info.param.file); });

// Two files of 1 s each joined with cat; the sound keeps the first part's format.
const char* const kJoinedFiles[] = {"mp3_stereo_then_mono.mp3", "aac_stereo_then_7.1.aac",
                                    "aac_44k_then_22k.aac"};

class DecodingJoinedFiles : public testing::TestWithParam<const char*> {};

TEST_P(DecodingJoinedFiles, KeepsTheFirstFormatAndTheWholeLength) {
    ASSERT_TRUE(HaveOpenAlContext()) << kNoOpenAl;
    MessageCapture capture;
    const FFStream stream(MediaPath(GetParam()));
    const FFStream::AlBufferFormat format = stream.GetAlBufferFormat();
    EXPECT_EQ(format.alFormat, static_cast<std::uint32_t>(AL_FORMAT_STEREO_FLOAT32));
    EXPECT_EQ(format.sampleRate, 44100u);
    std::vector<float> samples(stream.GetPcm().size() / sizeof(float));
    std::memcpy(samples.data(), stream.GetPcm().data(), samples.size() * sizeof(float));
    EXPECT_NEAR(samples.size() / 2.0 / 44100, 2.0, 0.15);

    // The second part, well after the change, is heard, and holds no stray memory:
    // every sample within twice full scale (7.1 mixed to stereo peaks at 1.6).
    const auto second = samples.begin() + std::min<std::size_t>(samples.size(), 2 * 44100 * 6 / 5);
    EXPECT_TRUE(std::all_of(second, samples.end(), [](float x) { return std::abs(x) <= 2; }));
    const double energy = std::inner_product(second, samples.end(), second, 0.0);
    EXPECT_GT(std::sqrt(energy / static_cast<double>(samples.end() - second)), 0.1);

    const std::vector<std::string> warnings = capture.lines(Warning);
    ASSERT_EQ(warnings.size(), 1u) << testing::PrintToString(warnings);
    EXPECT_TRUE(
        warnings[0].starts_with("FFStream: Decoded format changed from stereo fltp 44100 Hz"));
    EXPECT_EQ(capture.lines(Error), std::vector<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(Rows, DecodingJoinedFiles, testing::ValuesIn(kJoinedFiles),
                         [](const auto& info) { return Name(info.param); });

}  // namespace
