#include "decode/Resampler.h"

#include <new>
#include <string>

#include "decode/FFmpegError.h"
#include "kep/Messages.h"

namespace {

ffmpeg::ChannelLayoutPtr CopyOf(const AVChannelLayout& layout) {
    ffmpeg::ChannelLayoutPtr copy(new AVChannelLayout{});
    if (av_channel_layout_copy(copy.get(), &layout) < 0) {
        throw std::bad_alloc();
    }
    return copy;
}

// "stereo fltp 44100 Hz", for the log.
std::string Describe(const AVChannelLayout& layout, int sampleFormat, int sampleRate) {
    char layoutName[64] = {};
    av_channel_layout_describe(&layout, layoutName, sizeof layoutName);
    const char* formatName = av_get_sample_fmt_name(static_cast<AVSampleFormat>(sampleFormat));
    return std::string(layoutName) + " " + (formatName ? formatName : "?") + " " +
           std::to_string(sampleRate) + " Hz";
}

}  // namespace

bool Resampler::SetUp(std::uint64_t outMask, AVSampleFormat outFormat, int outRate,
                      const AVChannelLayout& layout, AVSampleFormat format, int rate) {
    outChannelMask = outMask;
    outSampleFormat = outFormat;
    outSampleRate = outRate;
    inLayout = CopyOf(layout);
    inSampleFormat = format;
    inSampleRate = rate;

    ffmpeg::ChannelLayoutPtr outLayout(new AVChannelLayout{});
    av_channel_layout_from_mask(outLayout.get(), outMask);

    // The converter pointer, null or not, replaces the earlier one.
    SwrContext* context = nullptr;
    const int allocResult = swr_alloc_set_opts2(&context, outLayout.get(), outFormat, outRate,
                                                inLayout.get(), format, rate, 0, nullptr);
    converter.reset(context);
    if (allocResult < 0) {
        kep::Error()("FFStream: Failed to allocate SwrContext: {}", FFmpegErrorText(allocResult));
        return false;
    }
    const int initResult = swr_init(converter.get());
    if (initResult == 0) {
        return true;
    }
    // The line has no placeholder, so the error text never shows (kept as is).
    kep::Error()("FFStream: Failed to initialize audio converter: ", FFmpegErrorText(initResult));
    return false;
}

bool Resampler::IsBuiltFor(const AVFrame& frame) const {
    return inLayout && frame.format == inSampleFormat && frame.sample_rate == inSampleRate &&
           av_channel_layout_compare(&frame.ch_layout, inLayout.get()) == 0;
}

bool Resampler::RebuildFor(const AVFrame& frame) {
    kep::Warning()("FFStream: Decoded format changed from {} to {}, rebuilding the converter",
                   Describe(*inLayout, inSampleFormat, inSampleRate),
                   Describe(frame.ch_layout, frame.format, frame.sample_rate));
    return SetUp(outChannelMask, outSampleFormat, outSampleRate, frame.ch_layout,
                 static_cast<AVSampleFormat>(frame.format), frame.sample_rate);
}

int Resampler::OutSamples(int inSamples) const {
    // A converter that failed to initialise converts nothing.
    if (!converter || !swr_is_initialized(converter.get())) {
        return inSamples;
    }
    return swr_get_out_samples(converter.get(), inSamples);
}

int Resampler::Convert(std::uint8_t* out, int outSamples, const AVFrame& frame) {
    if (!converter) {
        return AVERROR(EINVAL);
    }
    return swr_convert(converter.get(), &out, outSamples,
                       const_cast<const std::uint8_t**>(frame.extended_data), frame.nb_samples);
}
