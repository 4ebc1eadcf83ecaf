#include "decode/FFStream.h"

#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "decode/FFmpegError.h"
#include "decode/OpenAlCapabilities.h"
#include "decode/OutputFormatSelector.h"
#include "kep/Messages.h"

FFStream::FFStream(std::string_view path) {
    // FFmpeg takes zero-terminated text.
    const std::string pathText(path);
    const AVIOInterruptCB interrupt{&FFStream::InterruptCallback, this};

    AVIOContext* io = nullptr;
    if (avio_open2(&io, pathText.c_str(), AVIO_FLAG_READ, &interrupt, nullptr) != 0) {
        throw std::runtime_error(fmt::format("Failed to open {}", path));
    }
    ioContext.reset(io);

    AVFormatContext* format = avformat_alloc_context();
    if (!format) {
        throw std::bad_alloc();
    }
    // Custom I/O: the demuxer reads through ioContext and leaves it open when closed.
    format->pb = ioContext.get();
    format->interrupt_callback = interrupt;
    const int openResult = avformat_open_input(&format, pathText.c_str(), nullptr, nullptr);
    if (openResult != 0) {
        // FFmpeg has already freed the format context.
        throw std::runtime_error(
            fmt::format("Failed to open {}. Error: {}", path, FFmpegErrorText(openResult)));
    }
    formatContext.reset(format);

    if (avformat_find_stream_info(formatContext.get(), nullptr) < 0) {
        throw std::runtime_error(fmt::format("Failed to find streams in {}", path));
    }
    if (!OpenCodec()) {
        throw std::runtime_error("Codec configuration failed");
    }
    if (!SelectOutputFormat()) {
        throw std::runtime_error("Format configuration not found");
    }
    ReadPackets();
    kep::Info()("FFStream: file {} successfully loaded", path);
}

FFStream::~FFStream() {
    // The members then go in reverse declaration order; sampleBuffer is already
    // released by the decoding task.
    packetQueue.Finish();
}

int FFStream::InterruptCallback(void* stream) {
    return static_cast<FFStream*>(stream)->packetQueue.Finished() ? 1 : 0;
}

bool FFStream::OpenCodec() {
    ffmpeg::CodecContextPtr context(avcodec_alloc_context3(nullptr));
    if (!context) {
        // The queue is deliberately left unfinished here.
        kep::Error()("Can't allocate codec context");
        return false;
    }

    // The first audio stream whose decoder opens wins. The same context serves every
    // attempt and is not reset after a failed one.
    AVStream* chosen = nullptr;
    for (unsigned index = 0; index < formatContext->nb_streams && !chosen; ++index) {
        AVStream* stream = formatContext->streams[index];
        if (stream->codecpar->codec_type != AVMEDIA_TYPE_AUDIO) {
            continue;
        }
        if (avcodec_parameters_to_context(context.get(), stream->codecpar) != 0) {
            continue;
        }
        const AVCodec* decoder = avcodec_find_decoder(context->codec_id);
        if (!decoder) {
            continue;
        }
        if (avcodec_open2(context.get(), decoder, nullptr) >= 0) {
            chosen = stream;
        }
    }

    if (!chosen) {
        packetQueue.Finish();
        kep::Error()("Couldn't find any suitable codec for the file");
        return false;
    }
    audioStream = chosen;
    codecContext = std::move(context);
    sampleRate = static_cast<std::uint32_t>(codecContext->sample_rate);
    kep::Info()("FFStream: Find format {} with rate {}", codecContext->codec->name,
                codecContext->sample_rate);
    return true;
}

bool FFStream::SelectOutputFormat() {
    const OpenAlCapabilities device;
    const std::optional<OutputFormat> selected =
        OutputFormatSelector(device, codecContext->sample_fmt, codecContext->ch_layout).Select();
    if (!selected) {
        return false;
    }
    outSampleFormat = selected->sampleFormat;
    outChannelMask = selected->channelMask;
    alFormat = selected->alFormat;
    frameBytes = selected->frameBytes;
    return SetUpResampler();
}

bool FFStream::SetUpResampler() {
    if (outSampleFormat == AV_SAMPLE_FMT_NONE) {
        kep::Error()(
            "FFStream: Ambisonic sound not supported by the sound plug-in or unknown format");
        return false;
    }
    // Only the sample format and the channel layout change; the rate stays.
    return resampler.SetUp(outChannelMask, static_cast<AVSampleFormat>(outSampleFormat),
                           codecContext->sample_rate, codecContext->ch_layout,
                           codecContext->sample_fmt, codecContext->sample_rate);
}
