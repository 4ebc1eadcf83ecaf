// Output format selection on devices whose extension sets OpenAL Soft cannot
// offer: without float 32, without multichannel formats, without double, or with
// none of them. The device is the OpenAL double.

#include <AL/al.h>
#include <AL/alext.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "decode/FFStream.h"
#include "kep/Messages.h"
#include "openal_double/OpenAlDouble.h"
#include "support/FormatSelectionChecks.h"
#include "support/TestMedia.h"

namespace {

using Lines = std::vector<kep::LoggedLine>;
using Extensions = std::vector<std::string>;

const Extensions kNoFloat32 = {"AL_EXT_MCFORMATS", "AL_EXT_DOUBLE"};
const Extensions kNoMultichannel = {"AL_EXT_FLOAT32", "AL_EXT_DOUBLE"};
const Extensions kNoDouble = {"AL_EXT_FLOAT32", "AL_EXT_MCFORMATS"};
const Extensions kNone = {};
const Extensions kOnlyDouble = {"AL_EXT_DOUBLE"};

const Lines kUnsigned8 = {DebugLine("FFStream: Destination format is unsigned 8 bit")};
const Lines kSigned16 = {DebugLine("FFStream: Destination format is signed 16 bit")};
const Lines kFloatOffered = {DebugLine("FFStream: Destination format is float 32 bit"),
                             DebugLine("FFStream: OpenAL Device supports float 32 bit")};
const Lines kFloatMissing = {DebugLine("FFStream: Destination format is float 32 bit")};
const Lines kSigned32 = {
    DebugLine("FFStream: Destination format is signed 32 bit"),
    WarningLine(
        "FFStream: OpenAL doens't support signed 32 bit format, therefore setting it to float32")};
const Lines kDoubleOffered = {DebugLine("FFStream: Destination format is float 64 bit"),
                              DebugLine("FFStream: OpenAL Device supports float 64 bit")};
const Lines kDoubleMissing = {DebugLine("FFStream: Destination format is float 64 bit")};

kep::LoggedLine To16Bit(std::string formatMaskChannels) {
    return WarningLine("FFStream: sample format " + formatMaskChannels +
                       " not supported downsampling to 16 bit");
}
kep::LoggedLine To32Bit(std::string formatMaskChannels) {
    return WarningLine("FFStream: sample format " + formatMaskChannels +
                       " not supported downsampling to 32 bit");
}

struct SelectionCase {
    const char* label;
    Extensions extensions;
    std::string file;
    Lines selection;
    std::optional<Output> output;  // none: refused with "Format configuration not found"
};

void PrintTo(const SelectionCase& selectionCase, std::ostream* out) {
    *out << selectionCase.label;
}

constexpr auto U8 = AV_SAMPLE_FMT_U8;
constexpr auto S16 = AV_SAMPLE_FMT_S16;
constexpr auto FLT = AV_SAMPLE_FMT_FLT;
constexpr auto Tone = Samples::Tone;
constexpr auto MixedDown = Samples::MixedDown;

const SelectionCase kCases[] = {
    // Without AL_EXT_FLOAT32 every float source becomes 16 bit.
    {"NoFloat32_FloatStereo", kNoFloat32, "pcm_f32_stereo.wav",
     Concat({kFloatMissing, {To16Bit("3 3 2")}, kSigned16, {Select("stereo 16 bit")}}),
     Output{AL_FORMAT_STEREO16, 4, S16, 2, Tone}},
    {"NoFloat32_FloatMono", kNoFloat32, "pcm_f32_mono.wav",
     Concat({kFloatMissing, {To16Bit("3 4 1")}, kSigned16, {Select("mono 16 bit")}}),
     Output{AL_FORMAT_MONO16, 2, S16, 1, Tone}},
    {"NoFloat32_Signed32Stereo", kNoFloat32, "pcm_s32_stereo.wav",
     Concat({kSigned32, kFloatMissing, {To16Bit("2 3 2")}, kSigned16, {Select("stereo 16 bit")}}),
     Output{AL_FORMAT_STEREO16, 4, S16, 2, Tone}},
    {"NoFloat32_Float51Side", kNoFloat32, "pcm_f32_5.1side.wav",
     Concat({kFloatMissing, {To16Bit("3 60f 6")}, kSigned16, {Select("mono 16 bit")}}),
     Output{AL_FORMAT_MONO16, 2, S16, 1, MixedDown}},
    {"NoFloat32_VorbisStereo", kNoFloat32, "vorbis_stereo.ogg",
     Concat({kFloatMissing, {To16Bit("8 3 2")}, kSigned16, {Select("stereo 16 bit")}}),
     Output{AL_FORMAT_STEREO16, 4, S16, 2, Samples::AsFFmpegDecodes}},
    {"NoFloat32_Unsigned8Quad", kNoFloat32, "pcm_u8_quad.wav",
     Concat({kUnsigned8, {Select("quad 8 bit")}}), Output{AL_FORMAT_QUAD8, 4, U8, 4, Tone}},
    // Without AL_EXT_MCFORMATS 8 bit mixes down to mono, float refuses the layout.
    {"NoMultichannel_Unsigned8Quad", kNoMultichannel, "pcm_u8_quad.wav",
     Concat({kUnsigned8, {Select("mono 8 bit")}}), Output{AL_FORMAT_MONO8, 1, U8, 1, MixedDown}},
    {"NoMultichannel_Unsigned871", kNoMultichannel, "pcm_u8_7.1.wav",
     Concat({kUnsigned8, {Select("mono 8 bit")}}), Output{AL_FORMAT_MONO8, 1, U8, 1, MixedDown}},
    {"NoMultichannel_Unsigned8Stereo", kNoMultichannel, "pcm_u8_stereo.wav",
     Concat({kUnsigned8, {Select("stereo 8 bit")}}), Output{AL_FORMAT_STEREO8, 2, U8, 2, Tone}},
    {"NoMultichannel_Float51", kNoMultichannel, "pcm_f32_5.1.wav",
     Concat({kFloatOffered, {ErrorLine("FFStream: Layout with 6 channels not supported")}}),
     std::nullopt},
    {"NoMultichannel_FloatQuad", kNoMultichannel, "pcm_f32_quad.wav",
     Concat({kFloatOffered, {ErrorLine("FFStream: Layout with 4 channels not supported")}}),
     std::nullopt},
    {"NoMultichannel_FloatStereo", kNoMultichannel, "pcm_f32_stereo.wav",
     Concat({kFloatOffered, {Select("stereo float32")}}),
     Output{AL_FORMAT_STEREO_FLOAT32, 8, FLT, 2, Tone}},
    // Without AL_EXT_DOUBLE double sources go the signed 32-bit way to float.
    {"NoDouble_DoubleStereo", kNoDouble, "pcm_f64_stereo.wav",
     Concat({kDoubleMissing,
             {To32Bit("4 3 2")},
             kSigned32,
             kFloatOffered,
             {Select("stereo float32")}}),
     Output{AL_FORMAT_STEREO_FLOAT32, 8, FLT, 2, Tone}},
    {"NoDouble_DoubleMono", kNoDouble, "pcm_f64_mono.wav",
     Concat(
         {kDoubleMissing, {To32Bit("4 4 1")}, kSigned32, kFloatOffered, {Select("mono float32")}}),
     Output{AL_FORMAT_MONO_FLOAT32, 4, FLT, 1, Tone}},
    {"NoDouble_Double51Side", kNoDouble, "pcm_f64_5.1side.wav",
     Concat(
         {kDoubleMissing, {To32Bit("4 60f 6")}, kSigned32, kFloatOffered, {Select("5.1 32 bit")}}),
     Output{AL_FORMAT_51CHN32, 24, FLT, 6, Tone}},
    {"NoDouble_DoubleUnnamedStereo", kNoDouble, "pcm_f64_2c.mkv",
     Concat({kDoubleMissing,
             {To32Bit("4 0 2")},
             kSigned32,
             kFloatOffered,
             {To16Bit("4 0 2")},
             kSigned16,
             {Select("stereo 16 bit")}}),
     Output{AL_FORMAT_STEREO16, 4, S16, 2, Tone}},
    // With none of the extensions: 8 and 16 bit, mono or stereo.
    {"None_DoubleStereo", kNone, "pcm_f64_stereo.wav",
     Concat({kDoubleMissing,
             {To32Bit("4 3 2")},
             kSigned32,
             kFloatMissing,
             {To16Bit("4 3 2")},
             kSigned16,
             {Select("stereo 16 bit")}}),
     Output{AL_FORMAT_STEREO16, 4, S16, 2, Tone}},
    {"None_Unsigned851", kNone, "pcm_u8_5.1.wav", Concat({kUnsigned8, {Select("mono 8 bit")}}),
     Output{AL_FORMAT_MONO8, 1, U8, 1, MixedDown}},
    // AL_EXT_DOUBLE alone still refuses every double source.
    {"OnlyDouble_DoubleMono", kOnlyDouble, "pcm_f64_mono.wav",
     Concat({kDoubleOffered,
             {Select("mono float64"),
              ErrorLine("FFStream: Ambisonic sound not supported by the sound plug-in or unknown "
                        "format")}}),
     std::nullopt},
};

class FormatSelection : public testing::TestWithParam<SelectionCase> {
protected:
    void SetUp() override {
        aldouble::Reset();
        aldouble::SetExtensions(GetParam().extensions);
    }
};

TEST_P(FormatSelection, ChoosesWhatTheDeviceOffers) {
    ExpectDecodedAs(MediaPath(GetParam().file), GetParam().output, GetParam().selection);
}

INSTANTIATE_TEST_SUITE_P(ExtensionSets, FormatSelection, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<SelectionCase>& info) {
                             return std::string(info.param.label);
                         });

// What the selection asks of the device, and that it takes the answers as given.
class FormatSelectionQueries : public testing::Test {
protected:
    void SetUp() override {
        aldouble::Reset();
        aldouble::SetExtensions({"AL_EXT_FLOAT32", "AL_EXT_MCFORMATS", "AL_EXT_DOUBLE"});
    }

    kep::MessageCapture capture;
};

TEST_F(FormatSelectionQueries, MultichannelFloatAsksForFloatThenMultichannelThenTheFormat) {
    aldouble::SetEnumValue("AL_FORMAT_51CHN32", 0x7777);
    FFStream stream(MediaPath("pcm_f32_5.1.wav"));
    EXPECT_EQ(aldouble::Calls(), (std::vector<std::string>{"alIsExtensionPresent(AL_EXT_FLOAT32)",
                                                           "alIsExtensionPresent(AL_EXT_MCFORMATS)",
                                                           "alGetEnumValue(AL_FORMAT_51CHN32)"}));
    // The device's value is stored unchecked.
    EXPECT_EQ(stream.GetAlBufferFormat().alFormat, 0x7777u);
}

TEST_F(FormatSelectionQueries, EightBitAsksOnlyForMultichannel) {
    FFStream stream(MediaPath("pcm_u8_mono.wav"));
    EXPECT_EQ(aldouble::Calls(),
              std::vector<std::string>{"alIsExtensionPresent(AL_EXT_MCFORMATS)"});
}

TEST_F(FormatSelectionQueries, SixteenBitAsksNothing) {
    FFStream stream(MediaPath("pcm_s16_7.1.wav"));
    EXPECT_TRUE(aldouble::Calls().empty());
}

TEST_F(FormatSelectionQueries, DoubleLooksUpItsEnumeratorBeforeItIsRefused) {
    EXPECT_EQ(ConstructionError(MediaPath("pcm_f64_stereo.wav")), "Format configuration not found");
    EXPECT_EQ(aldouble::Calls(),
              (std::vector<std::string>{"alIsExtensionPresent(AL_EXT_DOUBLE)",
                                        "alGetEnumValue(AL_FORMAT_STEREO_DOUBLE_EXT)"}));
}

}  // namespace
