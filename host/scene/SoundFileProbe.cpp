#include "host/scene/SoundFileProbe.h"

#include <algorithm>
#include <system_error>

#include <fmt/format.h>

extern "C" {
#include <libavutil/error.h>
}

#include "decode/FFmpegHandles.h"
#include "decode/SampleBranch.h"

namespace {

using ffmpeg::CodecContextPtr;
using ffmpeg::FormatContextPtr;
using ffmpeg::FramePtr;
using ffmpeg::PacketPtr;

// A decoder gives its first samples within a few packets; one that has given
// none after this many (of any stream) will not, and reading on would cost as
// much as decoding the whole file.
constexpr int kMostPacketsBeforeSamples = 1000;

std::string ErrorText(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return text;
}

// The decoder of the first audio stream whose decoder opens, or why there is none.
std::optional<std::string> OpenFirstAudioDecoder(AVFormatContext& format, CodecContextPtr& codec,
                                                 int& streamIndex) {
    std::optional<std::string> why = "no audio stream";
    for (unsigned index = 0; index < format.nb_streams; ++index) {
        const AVCodecParameters& parameters = *format.streams[index]->codecpar;
        if (parameters.codec_type != AVMEDIA_TYPE_AUDIO) {
            continue;
        }
        const AVCodec* decoder = avcodec_find_decoder(parameters.codec_id);
        if (!decoder) {
            why = fmt::format("no decoder for {}", avcodec_get_name(parameters.codec_id));
            continue;
        }
        CodecContextPtr context(avcodec_alloc_context3(decoder));
        if (!context) {
            return "out of memory";
        }
        int result = avcodec_parameters_to_context(context.get(), &parameters);
        if (result >= 0) {
            result = avcodec_open2(context.get(), decoder, nullptr);
        }
        if (result < 0) {
            why = fmt::format("its {} decoder does not open: {}", decoder->name, ErrorText(result));
            continue;
        }
        codec = std::move(context);
        streamIndex = static_cast<int>(index);
        return std::nullopt;
    }
    return why;
}

// Why the sound system would refuse samples of this format, if it would. It
// takes doubles only where the device has no AL_EXT_DOUBLE, which OpenAL Soft has.
std::optional<std::string> RefusedSamples(int sampleFormat) {
    const char* name = av_get_sample_fmt_name(static_cast<AVSampleFormat>(sampleFormat));
    switch (BranchOf(sampleFormat)) {
        case SampleBranch::Unknown:
            return fmt::format("its decoder gives {} samples, which the sound system does not take",
                               name ? name : "unknown");
        case SampleBranch::Double:
            return fmt::format(
                "its decoder gives 64-bit {} samples, which the sound system does "
                "not take on OpenAL Soft",
                name ? name : "unknown");
        default:
            return std::nullopt;
    }
}

// Decodes until the first frame with samples. Like the sound plug-in, a packet
// the decoder refuses is passed over, and the decoder is not flushed at the end.
std::optional<std::string> DecodeFirstSamples(AVFormatContext& format, AVCodecContext& codec,
                                              int streamIndex) {
    PacketPtr packet(av_packet_alloc());
    FramePtr frame(av_frame_alloc());
    if (!packet || !frame) {
        return "out of memory";
    }
    int lastRefusal = 0;
    for (int read = 0; read < kMostPacketsBeforeSamples; ++read) {
        const int result = av_read_frame(&format, packet.get());
        if (result == AVERROR_EOF) {
            break;
        }
        if (result < 0) {
            return ErrorText(result);
        }
        const bool ours = packet->stream_index == streamIndex;
        const int sent = ours ? avcodec_send_packet(&codec, packet.get()) : 0;
        av_packet_unref(packet.get());
        if (!ours) {
            continue;
        }
        if (sent < 0) {
            lastRefusal = sent;
            continue;
        }
        while (avcodec_receive_frame(&codec, frame.get()) >= 0) {
            if (frame->nb_samples > 0) {
                return RefusedSamples(frame->format);
            }
        }
    }
    return lastRefusal < 0 ? ErrorText(lastRefusal) : std::string("it holds no samples");
}

// Seconds times samples a second times bytes a sample, from what the container
// declares: the stream's own length, else the file's.
double DeclaredPcmBytes(const AVFormatContext& format, const AVStream& stream,
                        const AVCodecContext& codec) {
    double seconds = 0;
    if (stream.duration != AV_NOPTS_VALUE && stream.duration > 0) {
        seconds = static_cast<double>(stream.duration) * av_q2d(stream.time_base);
    } else if (format.duration != AV_NOPTS_VALUE && format.duration > 0) {
        seconds = static_cast<double>(format.duration) / AV_TIME_BASE;
    }
    const int sampleBytes = std::max(av_get_bytes_per_sample(codec.sample_fmt), 1);
    return seconds * codec.sample_rate * codec.ch_layout.nb_channels * sampleBytes;
}

}  // namespace

std::optional<std::string> ProbeSoundFile(const std::filesystem::path& file, double* pcmBytes) {
    std::error_code status;
    if (!std::filesystem::is_regular_file(file, status)) {
        return "not a regular file";
    }
    if (std::filesystem::file_size(file, status) == 0 && !status) {
        return "the file is empty";
    }
    AVFormatContext* opened = nullptr;
    if (const int result = avformat_open_input(&opened, file.c_str(), nullptr, nullptr);
        result < 0) {
        return ErrorText(result);  // FFmpeg has freed the context
    }
    // Opened by name, not over custom I/O: closing it closes the file as well.
    const FormatContextPtr format(opened);
    if (const int result = avformat_find_stream_info(format.get(), nullptr); result < 0) {
        return ErrorText(result);
    }
    CodecContextPtr codec;
    int streamIndex = -1;
    if (auto why = OpenFirstAudioDecoder(*format, codec, streamIndex)) {
        return why;
    }
    if (pcmBytes) {
        *pcmBytes = DeclaredPcmBytes(*format, *format->streams[streamIndex], *codec);
    }
    return DecodeFirstSamples(*format, *codec, streamIndex);
}
