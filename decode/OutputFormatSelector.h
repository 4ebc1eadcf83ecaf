#pragma once

#include <cstdint>
#include <optional>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/samplefmt.h>
}

class DeviceCapabilities;

// The form in which a decoded sound is handed to OpenAL.
struct OutputFormat {
    // AV_SAMPLE_FMT_NONE when no converter is to be built (a double source on a
    // device with AL_EXT_DOUBLE): the converter set-up then refuses the sound.
    std::int32_t sampleFormat = AV_SAMPLE_FMT_NONE;
    std::uint64_t channelMask = 0;
    std::uint32_t alFormat = 0;
    std::uint32_t frameBytes = 0;  // bytes per sample times channels

    friend bool operator==(const OutputFormat&, const OutputFormat&) = default;
};

// Decides the output sample format, channel mask, OpenAL format and frame size
// from the decoder's sample format and layout and what the device offers, and
// logs each step of the decision.
class OutputFormatSelector {
public:
    OutputFormatSelector(const DeviceCapabilities& device, int sampleFormat,
                         const AVChannelLayout& layout);

    // Empty (logged) when no output format fits.
    [[nodiscard]] std::optional<OutputFormat> Select();

private:
    void Choose(std::uint64_t outMask, std::uint32_t frameMultiplier, std::uint32_t alFormat,
                const char* line);
    void SelectUnsigned8();
    void SelectSigned16();
    [[nodiscard]] bool SelectSigned32();
    [[nodiscard]] bool SelectFloat();
    [[nodiscard]] bool SelectFloatLayout();
    [[nodiscard]] bool SelectDouble();

    const DeviceCapabilities& device;
    const int inSampleFormat;
    const int order;
    const int channels;
    const std::uint64_t mask;
    OutputFormat chosen;
};
