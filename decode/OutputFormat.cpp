// Choosing the form in which a decoded sound is handed to OpenAL, and setting up
// the converter that produces it.

#include <AL/al.h>
#include <AL/alext.h>

#include <cstdint>
#include <string>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/samplefmt.h>
}

#include "decode/FFStream.h"
#include "kep/Messages.h"

namespace {

// Channel masks the selection recognises.
constexpr std::uint64_t kMaskMono = AV_CH_FRONT_CENTER;                                // 0x4
constexpr std::uint64_t kMaskStereo = AV_CH_FRONT_LEFT | AV_CH_FRONT_RIGHT;            // 0x3
constexpr std::uint64_t kMaskQuad = kMaskStereo | AV_CH_BACK_LEFT | AV_CH_BACK_RIGHT;  // 0x33
constexpr std::uint64_t kMask51Back = AV_CH_LAYOUT_5POINT1_BACK;                       // 0x3F
constexpr std::uint64_t kMask51Side = AV_CH_LAYOUT_5POINT1;                            // 0x60F
constexpr std::uint64_t kMask71 = AV_CH_LAYOUT_7POINT1;                                // 0x63F

static_assert(kMaskQuad == 0x33 && kMask51Back == 0x3F && kMask51Side == 0x60F && kMask71 == 0x63F);

bool HasExtension(const char* name) {
    return alIsExtensionPresent(name) != AL_FALSE;
}

// Formats without a constant in the headers are asked of the device; the value is
// stored unchecked.
std::uint32_t EnumValue(const char* formatName) {
    return static_cast<std::uint32_t>(alGetEnumValue(formatName));
}

enum class SampleBranch { Unsigned8, Signed16, Signed32, Float, Double, Unknown };

SampleBranch BranchOf(int sampleFormat) {
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

// Decides the output sample format, channel mask, OpenAL format and frame size
// from the decoder's sample format and layout and the device's extensions.
class OutputFormatSelector {
public:
    OutputFormatSelector(int sampleFormat, const AVChannelLayout& layout)
        : inSampleFormat(sampleFormat),
          order(layout.order),
          channels(layout.nb_channels),
          mask(layout.u.mask) {}

    // False (logged) when no output format fits.
    bool Select() {
        switch (BranchOf(inSampleFormat)) {
            case SampleBranch::Unsigned8:
                SelectUnsigned8();
                return true;
            case SampleBranch::Signed16:
                SelectSigned16();
                return true;
            case SampleBranch::Signed32:
                return SelectSigned32();
            case SampleBranch::Float:
                return SelectFloat();
            case SampleBranch::Double:
                return SelectDouble();
            case SampleBranch::Unknown:
                break;
        }
        kep::Error()("FFStream: unknown sample format {:x}", inSampleFormat);
        return false;
    }

    std::int32_t sampleFormat = AV_SAMPLE_FMT_NONE;
    std::uint64_t channelMask = 0;
    std::uint32_t alFormat = 0;
    std::uint32_t frameBytes = 0;

private:
    void Choose(std::uint64_t outMask, std::uint32_t frameMultiplier, std::uint32_t format,
                const char* line) {
        channelMask = outMask;
        frameBytes *= frameMultiplier;
        alFormat = format;
        kep::Info()("{}", line);
    }

    void SelectUnsigned8() {
        kep::Debug()("FFStream: Destination format is unsigned 8 bit");
        sampleFormat = AV_SAMPLE_FMT_U8;
        frameBytes = 1;
        // The layout's order is not looked at here.
        if (HasExtension("AL_EXT_MCFORMATS")) {
            if (mask == kMask71) {
                return Choose(mask, 8, EnumValue("AL_FORMAT_71CHN8"), "FFStream: Select 7.1 8 bit");
            }
            if (mask == kMask51Side || mask == kMask51Back) {
                return Choose(mask, 6, EnumValue("AL_FORMAT_51CHN8"), "FFStream: Select 5.1 8 bit");
            }
            if (mask == kMaskQuad) {
                return Choose(mask, 4, EnumValue("AL_FORMAT_QUAD8"), "FFStream: Select quad 8 bit");
            }
        }
        if (mask == kMaskMono || (mask != kMaskStereo && channels != 2)) {
            // Anything but stereo is mixed down to mono by the converter.
            return Choose(kMaskMono, 1, AL_FORMAT_MONO8, "FFStream: Select mono 8 bit");
        }
        Choose(kMaskStereo, 2, AL_FORMAT_STEREO8, "FFStream: Select stereo 8 bit");
    }

    void SelectSigned16() {
        kep::Debug()("FFStream: Destination format is signed 16 bit");
        sampleFormat = AV_SAMPLE_FMT_S16;
        frameBytes = 2;
        // No multichannel formats in 16 bit: 5.1 and 7.1 are deliberately mixed down to mono.
        if (mask == kMaskMono || (mask != kMaskStereo && channels != 2)) {
            return Choose(kMaskMono, 1, AL_FORMAT_MONO16, "FFStream: Select mono 16 bit");
        }
        Choose(kMaskStereo, 2, AL_FORMAT_STEREO16, "FFStream: Select stereo 16 bit");
    }

    bool SelectSigned32() {
        kep::Debug()("FFStream: Destination format is signed 32 bit");
        kep::Warning()(
            "FFStream: OpenAL doens't support signed 32 bit format, therefore setting it to "
            "float32");
        return SelectFloat();
    }

    bool SelectFloat() {
        kep::Debug()("FFStream: Destination format is float 32 bit");
        if (HasExtension("AL_EXT_FLOAT32")) {
            kep::Debug()("FFStream: OpenAL Device supports float 32 bit");
            sampleFormat = AV_SAMPLE_FMT_FLT;
            frameBytes = 4;
            if (order == AV_CHANNEL_ORDER_NATIVE) {
                return SelectFloatLayout();
            }
        }
        kep::Warning()(
            "FFStream: sample format {:x} {:x} {:x} not supported downsampling to 16 bit",
            inSampleFormat, mask, channels);
        SelectSigned16();
        return true;
    }

    bool SelectFloatLayout() {
        if (HasExtension("AL_EXT_MCFORMATS")) {
            if (mask == kMask71) {
                Choose(mask, 8, EnumValue("AL_FORMAT_71CHN32"), "FFStream: Select 7.1 32 bit");
                return true;
            }
            if (mask == kMask51Side || mask == kMask51Back) {
                Choose(mask, 6, EnumValue("AL_FORMAT_51CHN32"), "FFStream: Select 5.1 32 bit");
                return true;
            }
            if (mask == kMaskQuad) {
                Choose(mask, 4, EnumValue("AL_FORMAT_QUAD32"), "FFStream: Select quad 32 bit");
                return true;
            }
        }
        if (mask == kMaskMono) {
            Choose(kMaskMono, 1, AL_FORMAT_MONO_FLOAT32, "FFStream: Select mono float32");
            return true;
        }
        if (mask == kMaskStereo) {
            Choose(kMaskStereo, 2, AL_FORMAT_STEREO_FLOAT32, "FFStream: Select stereo float32");
            return true;
        }
        if (channels == 1) {
            Choose(kMaskMono, 1, AL_FORMAT_MONO_FLOAT32, "FFStream: Select mono float32");
            return true;
        }
        if (channels == 2) {
            Choose(kMaskStereo, 2, AL_FORMAT_STEREO_FLOAT32, "FFStream: Select stereo float32");
            return true;
        }
        kep::Error()("FFStream: Layout with {} channels not supported", channels);
        return false;
    }

    bool SelectDouble() {
        kep::Debug()("FFStream: Destination format is float 64 bit");
        if (!HasExtension("AL_EXT_DOUBLE")) {
            kep::Warning()(
                "FFStream: sample format {:x} {:x} {:x} not supported downsampling to 32 bit",
                inSampleFormat, mask, channels);
            return SelectSigned32();
        }
        kep::Debug()("FFStream: OpenAL Device supports float 64 bit");
        frameBytes = 8;
        // sampleFormat is deliberately left unset: the converter set-up then refuses
        // every double source on a device with AL_EXT_DOUBLE.
        if (mask == kMaskMono) {
            Choose(kMaskMono, 1, EnumValue("AL_FORMAT_MONO_DOUBLE_EXT"),
                   "FFStream: Select mono float64");
            return true;
        }
        if (mask == kMaskStereo) {
            Choose(kMaskStereo, 2, EnumValue("AL_FORMAT_STEREO_DOUBLE_EXT"),
                   "FFStream: Select stereo float64");
            return true;
        }
        if (channels == 1) {
            Choose(kMaskMono, 1, EnumValue("AL_FORMAT_MONO_DOUBLE_EXT"),
                   "FFStream: Select mono float64");
            return true;
        }
        if (channels == 2) {
            // Two channels in another layout get the mono enumerator and line (kept as is).
            Choose(kMaskStereo, 2, EnumValue("AL_FORMAT_MONO_DOUBLE_EXT"),
                   "FFStream: Select mono float64");
            return true;
        }
        kep::Error()("FFStream: Layout with {} channels not supported", channels);
        return false;
    }

    const int inSampleFormat;
    const int order;
    const int channels;
    const std::uint64_t mask;
};

std::string FFmpegErrorText(int code) {
    char text[64] = {};
    av_strerror(code, text, sizeof text);
    return text;
}

}  // namespace

bool FFStream::SelectOutputFormat() {
    OutputFormatSelector selector(codecContext->sample_fmt, codecContext->ch_layout);
    const bool selected = selector.Select();
    outSampleFormat = selector.sampleFormat;
    outChannelMask = selector.channelMask;
    alFormat = selector.alFormat;
    frameBytes = selector.frameBytes;
    return selected && SetUpResampler();
}

bool FFStream::SetUpResampler() {
    if (outSampleFormat == AV_SAMPLE_FMT_NONE) {
        kep::Error()(
            "FFStream: Ambisonic sound not supported by the sound plug-in or unknown format");
        return false;
    }

    AVChannelLayout outLayout{};
    av_channel_layout_from_mask(&outLayout, outChannelMask);

    // Only the sample format and the channel layout change; the rate stays.
    SwrContext* converter = nullptr;
    const int allocResult =
        swr_alloc_set_opts2(&converter, &outLayout, static_cast<AVSampleFormat>(outSampleFormat),
                            codecContext->sample_rate, &codecContext->ch_layout,
                            codecContext->sample_fmt, codecContext->sample_rate, 0, nullptr);
    resampler.reset(converter);
    if (allocResult < 0) {
        kep::Error()("FFStream: Failed to allocate SwrContext: {}", FFmpegErrorText(allocResult));
        av_channel_layout_uninit(&outLayout);
        return false;
    }

    const int initResult = swr_init(resampler.get());
    av_channel_layout_uninit(&outLayout);
    if (initResult == 0) {
        return true;
    }
    // The line has no placeholder, so the error text never shows (kept as is).
    kep::Error()("FFStream: Failed to initialize audio converter: ", FFmpegErrorText(initResult));
    return false;
}
