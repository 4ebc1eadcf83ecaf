// Output format chosen for every sample format and layout on OpenAL Soft, which
// offers AL_EXT_MCFORMATS, AL_EXT_FLOAT32 and AL_EXT_DOUBLE; the decoded samples
// are checked against the tone the file holds wherever no channels are mixed.

#include <AL/al.h>
#include <AL/alext.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "decode/FFStream.h"
#include "kep/Messages.h"
#include "real_al/decode_al_context.h"
#include "support/FormatSelectionChecks.h"
#include "support/TestMedia.h"

namespace {

using Lines = std::vector<kep::LoggedLine>;

// The lines each sample format's branch writes before its choice of layout.
const Lines kUnsigned8 = {DebugLine("FFStream: Destination format is unsigned 8 bit")};
const Lines kSigned16 = {DebugLine("FFStream: Destination format is signed 16 bit")};
const Lines kFloat = {DebugLine("FFStream: Destination format is float 32 bit"),
                      DebugLine("FFStream: OpenAL Device supports float 32 bit")};
const Lines kSigned32 = Concat(
    {{DebugLine("FFStream: Destination format is signed 32 bit"),
      WarningLine("FFStream: OpenAL doens't support signed 32 bit format, therefore setting it "
                  "to float32")},
     kFloat});
const Lines kDouble = {DebugLine("FFStream: Destination format is float 64 bit"),
                       DebugLine("FFStream: OpenAL Device supports float 64 bit")};
const Lines kAmbisonic = {
    ErrorLine("FFStream: Ambisonic sound not supported by the sound plug-in or unknown format")};

struct FormatCase {
    std::string file;
    Lines selection;               // every line of the format selection, in order
    std::optional<Output> output;  // none: the file is refused
};

void PrintTo(const FormatCase& formatCase, std::ostream* out) {
    *out << formatCase.file;
}

constexpr auto U8 = AV_SAMPLE_FMT_U8;
constexpr auto S16 = AV_SAMPLE_FMT_S16;
constexpr auto FLT = AV_SAMPLE_FMT_FLT;
constexpr auto Tone = Samples::Tone;
constexpr auto MixedDown = Samples::MixedDown;

Lines Then(const Lines& prefix, kep::LoggedLine last) {
    return Concat({prefix, {last}});
}
Lines Then(const Lines& prefix, kep::LoggedLine select, kep::LoggedLine error) {
    return Concat({prefix, {select, error}});
}
kep::LoggedLine LayoutRefused(int channels) {
    return ErrorLine("FFStream: Layout with " + std::to_string(channels) +
                     " channels not supported");
}

const FormatCase kCases[] = {
    // 8 bit: multichannel formats where the device has them, else mono or stereo.
    {"pcm_u8_mono.wav", Then(kUnsigned8, Select("mono 8 bit")),
     Output{AL_FORMAT_MONO8, 1, U8, 1, Tone}},
    {"pcm_u8_stereo.wav", Then(kUnsigned8, Select("stereo 8 bit")),
     Output{AL_FORMAT_STEREO8, 2, U8, 2, Tone}},
    {"pcm_u8_3.0.wav", Then(kUnsigned8, Select("mono 8 bit")),
     Output{AL_FORMAT_MONO8, 1, U8, 1, MixedDown}},
    {"pcm_u8_quad.wav", Then(kUnsigned8, Select("quad 8 bit")),
     Output{AL_FORMAT_QUAD8, 4, U8, 4, Tone}},
    {"pcm_u8_5.1.wav", Then(kUnsigned8, Select("5.1 8 bit")),
     Output{AL_FORMAT_51CHN8, 6, U8, 6, Tone}},
    {"pcm_u8_5.1side.wav", Then(kUnsigned8, Select("5.1 8 bit")),
     Output{AL_FORMAT_51CHN8, 6, U8, 6, Tone}},
    {"pcm_u8_7.1.wav", Then(kUnsigned8, Select("7.1 8 bit")),
     Output{AL_FORMAT_71CHN8, 8, U8, 8, Tone}},
    // 16 bit: stereo stays, everything else is mixed down to mono.
    {"pcm_s16_mono.wav", Then(kSigned16, Select("mono 16 bit")),
     Output{AL_FORMAT_MONO16, 2, S16, 1, Tone}},
    {"pcm_s16_stereo.wav", Then(kSigned16, Select("stereo 16 bit")),
     Output{AL_FORMAT_STEREO16, 4, S16, 2, Tone}},
    {"pcm_s16_3.0.wav", Then(kSigned16, Select("mono 16 bit")),
     Output{AL_FORMAT_MONO16, 2, S16, 1, MixedDown}},
    {"pcm_s16_quad.wav", Then(kSigned16, Select("mono 16 bit")),
     Output{AL_FORMAT_MONO16, 2, S16, 1, MixedDown}},
    {"pcm_s16_5.1.wav", Then(kSigned16, Select("mono 16 bit")),
     Output{AL_FORMAT_MONO16, 2, S16, 1, MixedDown}},
    {"pcm_s16_5.1side.wav", Then(kSigned16, Select("mono 16 bit")),
     Output{AL_FORMAT_MONO16, 2, S16, 1, MixedDown}},
    {"pcm_s16_7.1.wav", Then(kSigned16, Select("mono 16 bit")),
     Output{AL_FORMAT_MONO16, 2, S16, 1, MixedDown}},
    // Signed 32 bit ends as float 32.
    {"pcm_s32_mono.wav", Then(kSigned32, Select("mono float32")),
     Output{AL_FORMAT_MONO_FLOAT32, 4, FLT, 1, Tone}},
    {"pcm_s32_stereo.wav", Then(kSigned32, Select("stereo float32")),
     Output{AL_FORMAT_STEREO_FLOAT32, 8, FLT, 2, Tone}},
    {"pcm_s32_3.0.wav", Then(kSigned32, LayoutRefused(3)), std::nullopt},
    {"pcm_s32_quad.wav", Then(kSigned32, Select("quad 32 bit")),
     Output{AL_FORMAT_QUAD32, 16, FLT, 4, Tone}},
    {"pcm_s32_5.1.wav", Then(kSigned32, Select("5.1 32 bit")),
     Output{AL_FORMAT_51CHN32, 24, FLT, 6, Tone}},
    {"pcm_s32_5.1side.wav", Then(kSigned32, Select("5.1 32 bit")),
     Output{AL_FORMAT_51CHN32, 24, FLT, 6, Tone}},
    {"pcm_s32_7.1.wav", Then(kSigned32, Select("7.1 32 bit")),
     Output{AL_FORMAT_71CHN32, 32, FLT, 8, Tone}},
    // Float 32: multichannel formats, mono and stereo; other layouts are refused.
    {"pcm_f32_mono.wav", Then(kFloat, Select("mono float32")),
     Output{AL_FORMAT_MONO_FLOAT32, 4, FLT, 1, Tone}},
    {"pcm_f32_stereo.wav", Then(kFloat, Select("stereo float32")),
     Output{AL_FORMAT_STEREO_FLOAT32, 8, FLT, 2, Tone}},
    {"pcm_f32_3.0.wav", Then(kFloat, LayoutRefused(3)), std::nullopt},
    {"pcm_f32_quad.wav", Then(kFloat, Select("quad 32 bit")),
     Output{AL_FORMAT_QUAD32, 16, FLT, 4, Tone}},
    {"pcm_f32_5.1.wav", Then(kFloat, Select("5.1 32 bit")),
     Output{AL_FORMAT_51CHN32, 24, FLT, 6, Tone}},
    {"pcm_f32_5.1side.wav", Then(kFloat, Select("5.1 32 bit")),
     Output{AL_FORMAT_51CHN32, 24, FLT, 6, Tone}},
    {"pcm_f32_7.1.wav", Then(kFloat, Select("7.1 32 bit")),
     Output{AL_FORMAT_71CHN32, 32, FLT, 8, Tone}},
    // A float stream in no native order falls back to 16 bit.
    {"pcm_f32_2c.mkv",
     Concat({kFloat,
             {WarningLine("FFStream: sample format 3 0 2 not supported downsampling to 16 bit")},
             kSigned16,
             {Select("stereo 16 bit")}}),
     Output{AL_FORMAT_STEREO16, 4, S16, 2, Tone}},
    // Double: with AL_EXT_DOUBLE offered, every double source is refused.
    {"pcm_f64_mono.wav", Then(kDouble, Select("mono float64"), kAmbisonic[0]), std::nullopt},
    {"pcm_f64_stereo.wav", Then(kDouble, Select("stereo float64"), kAmbisonic[0]), std::nullopt},
    {"pcm_f64_2c.mkv", Then(kDouble, Select("mono float64"), kAmbisonic[0]), std::nullopt},
    {"pcm_f64_3.0.wav", Then(kDouble, LayoutRefused(3)), std::nullopt},
    {"pcm_f64_quad.wav", Then(kDouble, LayoutRefused(4)), std::nullopt},
    {"pcm_f64_5.1.wav", Then(kDouble, LayoutRefused(6)), std::nullopt},
    {"pcm_f64_5.1side.wav", Then(kDouble, LayoutRefused(6)), std::nullopt},
    {"pcm_f64_7.1.wav", Then(kDouble, LayoutRefused(8)), std::nullopt},
};

class OutputFormatOnOpenAlSoft : public WithRealAlContext<testing::TestWithParam<FormatCase>> {};

TEST_P(OutputFormatOnOpenAlSoft, ChoosesFormatLogsTheChoiceAndKeepsTheSamples) {
    ExpectDecodedAs(MediaPath(GetParam().file), GetParam().output, GetParam().selection);
}

// The WAV files hold 0.25 s at 44100 Hz; FFmpeg must agree, or the other checks mean little.
TEST(TestMediaFacts, WaveFilesHoldAQuarterSecondEach) {
    for (const FormatCase& formatCase : kCases) {
        if (formatCase.file.ends_with(".wav")) {
            const ReferenceDecoding reference = DecodeWithFFmpeg(MediaPath(formatCase.file));
            EXPECT_EQ(reference.Samples(), 11025) << formatCase.file;
            EXPECT_TRUE(reference.heldBackSamples.empty()) << formatCase.file;
        }
    }
}

std::string CaseName(const testing::TestParamInfo<FormatCase>& info) {
    std::string name = info.param.file;
    for (char& c : name) {
        if (!std::isalnum(static_cast<unsigned char>(c))) {
            c = '_';
        }
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(AllSampleFormatsAndLayouts, OutputFormatOnOpenAlSoft,
                         testing::ValuesIn(kCases), CaseName);

}  // namespace
