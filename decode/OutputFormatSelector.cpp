#include "decode/OutputFormatSelector.h"

#include <AL/al.h>
#include <AL/alext.h>

#include "decode/DeviceCapabilities.h"
#include "decode/SampleBranch.h"
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

}  // namespace

OutputFormatSelector::OutputFormatSelector(const DeviceCapabilities& device, int sampleFormat,
                                           const AVChannelLayout& layout)
    : device(device),
      inSampleFormat(sampleFormat),
      order(layout.order),
      channels(layout.nb_channels),
      mask(layout.u.mask) {}

std::optional<OutputFormat> OutputFormatSelector::Select() {
    bool selected = false;
    switch (BranchOf(inSampleFormat)) {
        case SampleBranch::Unsigned8:
            SelectUnsigned8();
            selected = true;
            break;
        case SampleBranch::Signed16:
            SelectSigned16();
            selected = true;
            break;
        case SampleBranch::Signed32:
            selected = SelectSigned32();
            break;
        case SampleBranch::Float:
            selected = SelectFloat();
            break;
        case SampleBranch::Double:
            selected = SelectDouble();
            break;
        case SampleBranch::Unknown:
            kep::Error()("FFStream: unknown sample format {:x}", inSampleFormat);
            break;
    }
    return selected ? std::optional(chosen) : std::nullopt;
}

void OutputFormatSelector::Choose(std::uint64_t outMask, std::uint32_t frameMultiplier,
                                  std::uint32_t alFormat, const char* line) {
    chosen.channelMask = outMask;
    chosen.frameBytes *= frameMultiplier;
    chosen.alFormat = alFormat;
    kep::Info()("{}", line);
}

void OutputFormatSelector::SelectUnsigned8() {
    kep::Debug()("FFStream: Destination format is unsigned 8 bit");
    chosen.sampleFormat = AV_SAMPLE_FMT_U8;
    chosen.frameBytes = 1;
    // The layout's order is not looked at here.
    if (device.HasExtension("AL_EXT_MCFORMATS")) {
        if (mask == kMask71) {
            return Choose(mask, 8, device.EnumValue("AL_FORMAT_71CHN8"),
                          "FFStream: Select 7.1 8 bit");
        }
        if (mask == kMask51Side || mask == kMask51Back) {
            return Choose(mask, 6, device.EnumValue("AL_FORMAT_51CHN8"),
                          "FFStream: Select 5.1 8 bit");
        }
        if (mask == kMaskQuad) {
            return Choose(mask, 4, device.EnumValue("AL_FORMAT_QUAD8"),
                          "FFStream: Select quad 8 bit");
        }
    }
    if (mask == kMaskMono || (mask != kMaskStereo && channels != 2)) {
        // Anything but stereo is mixed down to mono by the converter.
        return Choose(kMaskMono, 1, AL_FORMAT_MONO8, "FFStream: Select mono 8 bit");
    }
    Choose(kMaskStereo, 2, AL_FORMAT_STEREO8, "FFStream: Select stereo 8 bit");
}

void OutputFormatSelector::SelectSigned16() {
    kep::Debug()("FFStream: Destination format is signed 16 bit");
    chosen.sampleFormat = AV_SAMPLE_FMT_S16;
    chosen.frameBytes = 2;
    // No multichannel formats in 16 bit: 5.1 and 7.1 are deliberately mixed down to mono.
    if (mask == kMaskMono || (mask != kMaskStereo && channels != 2)) {
        return Choose(kMaskMono, 1, AL_FORMAT_MONO16, "FFStream: Select mono 16 bit");
    }
    Choose(kMaskStereo, 2, AL_FORMAT_STEREO16, "FFStream: Select stereo 16 bit");
}

bool OutputFormatSelector::SelectSigned32() {
    kep::Debug()("FFStream: Destination format is signed 32 bit");
    kep::Warning()(
        "FFStream: OpenAL doens't support signed 32 bit format, therefore setting it to float32");
    return SelectFloat();
}

bool OutputFormatSelector::SelectFloat() {
    kep::Debug()("FFStream: Destination format is float 32 bit");
    if (device.HasExtension("AL_EXT_FLOAT32")) {
        kep::Debug()("FFStream: OpenAL Device supports float 32 bit");
        chosen.sampleFormat = AV_SAMPLE_FMT_FLT;
        chosen.frameBytes = 4;
        if (order == AV_CHANNEL_ORDER_NATIVE) {
            return SelectFloatLayout();
        }
    }
    kep::Warning()("FFStream: sample format {:x} {:x} {:x} not supported downsampling to 16 bit",
                   inSampleFormat, mask, channels);
    SelectSigned16();
    return true;
}

bool OutputFormatSelector::SelectFloatLayout() {
    if (device.HasExtension("AL_EXT_MCFORMATS")) {
        if (mask == kMask71) {
            Choose(mask, 8, device.EnumValue("AL_FORMAT_71CHN32"), "FFStream: Select 7.1 32 bit");
            return true;
        }
        if (mask == kMask51Side || mask == kMask51Back) {
            Choose(mask, 6, device.EnumValue("AL_FORMAT_51CHN32"), "FFStream: Select 5.1 32 bit");
            return true;
        }
        if (mask == kMaskQuad) {
            Choose(mask, 4, device.EnumValue("AL_FORMAT_QUAD32"), "FFStream: Select quad 32 bit");
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

bool OutputFormatSelector::SelectDouble() {
    kep::Debug()("FFStream: Destination format is float 64 bit");
    if (!device.HasExtension("AL_EXT_DOUBLE")) {
        kep::Warning()(
            "FFStream: sample format {:x} {:x} {:x} not supported downsampling to 32 bit",
            inSampleFormat, mask, channels);
        return SelectSigned32();
    }
    kep::Debug()("FFStream: OpenAL Device supports float 64 bit");
    chosen.frameBytes = 8;
    // The sample format is deliberately left unset: the converter set-up then
    // refuses every double source on a device with AL_EXT_DOUBLE.
    if (mask == kMaskMono) {
        Choose(kMaskMono, 1, device.EnumValue("AL_FORMAT_MONO_DOUBLE_EXT"),
               "FFStream: Select mono float64");
        return true;
    }
    if (mask == kMaskStereo) {
        Choose(kMaskStereo, 2, device.EnumValue("AL_FORMAT_STEREO_DOUBLE_EXT"),
               "FFStream: Select stereo float64");
        return true;
    }
    if (channels == 1) {
        Choose(kMaskMono, 1, device.EnumValue("AL_FORMAT_MONO_DOUBLE_EXT"),
               "FFStream: Select mono float64");
        return true;
    }
    if (channels == 2) {
        // Two channels in another layout get the mono enumerator and line (kept as is).
        Choose(kMaskStereo, 2, device.EnumValue("AL_FORMAT_MONO_DOUBLE_EXT"),
               "FFStream: Select mono float64");
        return true;
    }
    kep::Error()("FFStream: Layout with {} channels not supported", channels);
    return false;
}
