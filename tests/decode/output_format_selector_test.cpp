// The output format chosen for each input format and layout on devices with and
// without the float, multichannel and double extensions, and the line that says why.

#include <AL/al.h>
#include <AL/alext.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "decode/DeviceCapabilities.h"
#include "decode/OutputFormatSelector.h"
#include "kep/Messages.h"
#include "support/MessageCapture.h"

namespace {

constexpr unsigned kFloat32 = 1, kMultichannel = 2, kDouble = 4, kAll = 7;

// A device that offers the given extensions and knows the formats they bring.
struct FakeDevice final : DeviceCapabilities {
    explicit FakeDevice(unsigned offered) : offered(offered) {}
    bool HasExtension(const char* name) const override {
        const unsigned bit = std::strcmp(name, "AL_EXT_FLOAT32") == 0     ? kFloat32
                             : std::strcmp(name, "AL_EXT_MCFORMATS") == 0 ? kMultichannel
                             : std::strcmp(name, "AL_EXT_DOUBLE") == 0    ? kDouble
                                                                          : 0;
        return (offered & bit) != 0;
    }
    std::uint32_t EnumValue(const char* formatName) const override {
        static const std::map<std::string_view, ALenum> kFormats = {
            {"AL_FORMAT_QUAD8", AL_FORMAT_QUAD8},
            {"AL_FORMAT_51CHN8", AL_FORMAT_51CHN8},
            {"AL_FORMAT_71CHN8", AL_FORMAT_71CHN8},
            {"AL_FORMAT_QUAD32", AL_FORMAT_QUAD32},
            {"AL_FORMAT_51CHN32", AL_FORMAT_51CHN32},
            {"AL_FORMAT_71CHN32", AL_FORMAT_71CHN32},
            {"AL_FORMAT_MONO_DOUBLE_EXT", AL_FORMAT_MONO_DOUBLE_EXT},
            {"AL_FORMAT_STEREO_DOUBLE_EXT", AL_FORMAT_STEREO_DOUBLE_EXT}};
        const auto found = kFormats.find(formatName);
        return found == kFormats.end() ? 0 : static_cast<std::uint32_t>(found->second);
    }
    unsigned offered;
};

constexpr std::uint64_t kMono = 0x4, kStereo = 0x3, k30 = 0x7, kQuad = 0x33, k51Back = 0x3F,
                        k51Side = 0x60F, k71 = 0x63F;

AVChannelLayout Native(std::uint64_t mask) {
    return {AV_CHANNEL_ORDER_NATIVE, std::popcount(mask), {mask}, nullptr};
}
AVChannelLayout Unspecified(int channels) {
    return {AV_CHANNEL_ORDER_UNSPEC, channels, {0}, nullptr};
}

using enum kep::MessageLevel;
using Out = OutputFormat;
constexpr auto kNone = AV_SAMPLE_FMT_NONE, U8 = AV_SAMPLE_FMT_U8, S16 = AV_SAMPLE_FMT_S16,
               FLT = AV_SAMPLE_FMT_FLT;

struct Row {
    const char* name;
    int sampleFormat;
    AVChannelLayout layout;
    unsigned extensions;
    std::optional<OutputFormat> expected;  // empty: refused
    kep::MessageLevel level;
    const char* line;
};

const Row kRows[] = {
    {"PlanarS16", AV_SAMPLE_FMT_S16P, Native(kStereo), kAll, std::nullopt, Error,
     "FFStream: unknown sample format 6"},
    {"UnknownInHex", 12, Native(kStereo), kAll, {}, Error, "FFStream: unknown sample format c"},
    {"U8Stereo", U8, Native(kStereo), 0, Out{U8, kStereo, AL_FORMAT_STEREO8, 2}, Info,
     "FFStream: Select stereo 8 bit"},
    {"U8Quad", AV_SAMPLE_FMT_U8P, Native(kQuad), kMultichannel, Out{U8, kQuad, AL_FORMAT_QUAD8, 4},
     Info, "FFStream: Select quad 8 bit"},
    {"U851Back", U8, Native(k51Back), kMultichannel, Out{U8, k51Back, AL_FORMAT_51CHN8, 6}, Info,
     "FFStream: Select 5.1 8 bit"},
    {"U871", U8, Native(k71), kMultichannel, Out{U8, k71, AL_FORMAT_71CHN8, 8}, Info,
     "FFStream: Select 7.1 8 bit"},
    {"U871NoMultichannel", U8, Native(k71), kFloat32, Out{U8, kMono, AL_FORMAT_MONO8, 1}, Info,
     "FFStream: Select mono 8 bit"},
    {"S16Stereo", S16, Native(kStereo), 0, Out{S16, kStereo, AL_FORMAT_STEREO16, 4}, Info,
     "FFStream: Select stereo 16 bit"},
    {"S1651ToMono", S16, Native(k51Side), kAll, Out{S16, kMono, AL_FORMAT_MONO16, 2}, Info,
     "FFStream: Select mono 16 bit"},
    {"S32Stereo", AV_SAMPLE_FMT_S32, Native(kStereo), kFloat32,
     Out{FLT, kStereo, AL_FORMAT_STEREO_FLOAT32, 8}, Warning,
     "FFStream: OpenAL doens't support signed 32 bit format, therefore setting it to float32"},
    {"S32StereoNoFloat32", AV_SAMPLE_FMT_S32P, Native(kStereo), 0,
     Out{S16, kStereo, AL_FORMAT_STEREO16, 4}, Warning,
     "FFStream: sample format 7 3 2 not supported downsampling to 16 bit"},
    {"FloatMono", FLT, Native(kMono), kFloat32, Out{FLT, kMono, AL_FORMAT_MONO_FLOAT32, 4}, Info,
     "FFStream: Select mono float32"},
    {"FloatStereo", AV_SAMPLE_FMT_FLTP, Native(kStereo), kFloat32,
     Out{FLT, kStereo, AL_FORMAT_STEREO_FLOAT32, 8}, Info, "FFStream: Select stereo float32"},
    {"FloatStereoNoFloat32", AV_SAMPLE_FMT_FLTP, Native(kStereo), kMultichannel | kDouble,
     Out{S16, kStereo, AL_FORMAT_STEREO16, 4}, Warning,
     "FFStream: sample format 8 3 2 not supported downsampling to 16 bit"},
    {"FloatQuad", FLT, Native(kQuad), kAll, Out{FLT, kQuad, AL_FORMAT_QUAD32, 16}, Info,
     "FFStream: Select quad 32 bit"},
    {"Float51Side", AV_SAMPLE_FMT_FLTP, Native(k51Side), kFloat32 | kMultichannel,
     Out{FLT, k51Side, AL_FORMAT_51CHN32, 24}, Info, "FFStream: Select 5.1 32 bit"},
    {"Float71", FLT, Native(k71), kAll, Out{FLT, k71, AL_FORMAT_71CHN32, 32}, Info,
     "FFStream: Select 7.1 32 bit"},
    {"Float51NoMultichannel", FLT, Native(k51Back), kFloat32, std::nullopt, Error,
     "FFStream: Layout with 6 channels not supported"},
    {"Float30", FLT, Native(k30), kAll, std::nullopt, Error,
     "FFStream: Layout with 3 channels not supported"},
    {"FloatUnspecifiedOrder", FLT, Unspecified(2), kAll, Out{S16, kStereo, AL_FORMAT_STEREO16, 4},
     Warning, "FFStream: sample format 3 0 2 not supported downsampling to 16 bit"},
    // With AL_EXT_DOUBLE no sample format is chosen: the converter set-up refuses it.
    {"DoubleStereo", AV_SAMPLE_FMT_DBL, Native(kStereo), kAll,
     Out{kNone, kStereo, AL_FORMAT_STEREO_DOUBLE_EXT, 16}, Info, "FFStream: Select stereo float64"},
    {"DoubleMono", AV_SAMPLE_FMT_DBLP, Native(kMono), kDouble,
     Out{kNone, kMono, AL_FORMAT_MONO_DOUBLE_EXT, 8}, Info, "FFStream: Select mono float64"},
    {"DoubleTwoUnnamed", AV_SAMPLE_FMT_S64, Unspecified(2), kDouble,
     Out{kNone, kStereo, AL_FORMAT_MONO_DOUBLE_EXT, 16}, Info, "FFStream: Select mono float64"},
    {"Double51", AV_SAMPLE_FMT_S64P, Native(k51Side), kDouble, std::nullopt, Error,
     "FFStream: Layout with 6 channels not supported"},
    {"DoubleStereoNoDouble", AV_SAMPLE_FMT_DBL, Native(kStereo), kFloat32,
     Out{FLT, kStereo, AL_FORMAT_STEREO_FLOAT32, 8}, Warning,
     "FFStream: sample format 4 3 2 not supported downsampling to 32 bit"},
};

class OutputFormatSelection : public testing::TestWithParam<Row> {};

TEST_P(OutputFormatSelection, ChoosesWhatTheDeviceTakesAndSaysWhy) {
    const Row& row = GetParam();
    const FakeDevice device(row.extensions);
    MessageCapture capture;
    EXPECT_EQ(OutputFormatSelector(device, row.sampleFormat, row.layout).Select(), row.expected);
    EXPECT_TRUE(capture.contains(row.level, row.line)) << testing::PrintToString(capture.lines());
}

INSTANTIATE_TEST_SUITE_P(Rows, OutputFormatSelection, testing::ValuesIn(kRows),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
