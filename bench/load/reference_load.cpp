// kep-load-reference reference|upload FILE: the yardstick for the project's loader.
// A plain single-threaded FFmpeg program: reads, decodes and converts the whole
// file into the format the loader picks for the formats measured (16-bit stays
// 16-bit, everything else becomes float; mono or stereo), straight into one
// growing buffer, and with "upload" hands it to alBufferData on the default
// device. No queue, no second thread, no padding, no host framework.
// Prints "bytes milliseconds peak-KiB" as kep-load-bench's load does.
#include <AL/al.h>
#include <AL/alc.h>
#include <AL/alext.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include "decode/FFmpegHandles.h"

namespace {

struct FreeDeleter {
    void operator()(std::uint8_t* bytes) const { std::free(bytes); }
};

// PCM grown with realloc: geometric, never zero-filled.
class PcmBuffer {
public:
    [[nodiscard]] bool Reserve(std::size_t bytes) {
        if (bytes <= capacity) {
            return true;
        }
        auto* grown = static_cast<std::uint8_t*>(std::realloc(data.get(), bytes));
        if (!grown) {
            return false;
        }
        data.release();
        data.reset(grown);
        capacity = bytes;
        return true;
    }
    std::uint8_t* Tail() { return data.get() + size; }
    std::uint8_t* Data() { return data.get(); }
    std::size_t size = 0;
    std::size_t capacity = 0;

private:
    std::unique_ptr<std::uint8_t, FreeDeleter> data;
};

struct Output {
    AVSampleFormat sampleFormat;
    ALenum alFormat;
    std::uint32_t frameBytes;
};

Output OutputFor(AVSampleFormat input, int channels) {
    const bool stereo = channels > 1;
    if (input == AV_SAMPLE_FMT_S16 || input == AV_SAMPLE_FMT_S16P) {
        return {AV_SAMPLE_FMT_S16, stereo ? AL_FORMAT_STEREO16 : AL_FORMAT_MONO16,
                stereo ? 4u : 2u};
    }
    return {AV_SAMPLE_FMT_FLT, stereo ? AL_FORMAT_STEREO_FLOAT32 : AL_FORMAT_MONO_FLOAT32,
            stereo ? 8u : 4u};
}

long ResidentKib() {
    long pages = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

struct ReferenceResult {
    bool loaded = false;
    std::uint64_t pcmBytes = 0;
};

ReferenceResult ReferenceLoad(const std::string& path, bool upload) {
    AVFormatContext* opened = nullptr;
    if (avformat_open_input(&opened, path.c_str(), nullptr, nullptr) != 0) {
        return {};
    }
    ffmpeg::FormatContextPtr format(opened);
    if (avformat_find_stream_info(format.get(), nullptr) < 0) {
        return {};
    }
    const AVCodec* decoder = nullptr;
    const int streamIndex =
        av_find_best_stream(format.get(), AVMEDIA_TYPE_AUDIO, -1, -1, &decoder, 0);
    if (streamIndex < 0) {
        return {};
    }
    const AVStream* stream = format->streams[streamIndex];
    ffmpeg::CodecContextPtr codec(avcodec_alloc_context3(decoder));
    if (!codec || avcodec_parameters_to_context(codec.get(), stream->codecpar) < 0 ||
        avcodec_open2(codec.get(), decoder, nullptr) < 0) {
        return {};
    }

    const Output selected = OutputFor(codec->sample_fmt, codec->ch_layout.nb_channels);
    const Output* out = &selected;
    const AVSampleFormat outFormat = out->sampleFormat;
    AVChannelLayout outLayout{};
    av_channel_layout_default(&outLayout, codec->ch_layout.nb_channels > 1 ? 2 : 1);
    SwrContext* swr = nullptr;
    swr_alloc_set_opts2(&swr, &outLayout, outFormat, codec->sample_rate, &codec->ch_layout,
                        codec->sample_fmt, codec->sample_rate, 0, nullptr);
    ffmpeg::ResamplerPtr converter(swr);
    if (!converter || swr_init(converter.get()) < 0) {
        return {};
    }

    PcmBuffer pcm;
    const std::int64_t duration = format->duration;
    if (duration > 0 &&
        !pcm.Reserve(static_cast<std::size_t>(static_cast<double>(duration) / AV_TIME_BASE *
                                              codec->sample_rate * out->frameBytes))) {
        return {};
    }
    ffmpeg::PacketPtr packet(av_packet_alloc());
    ffmpeg::FramePtr frame(av_frame_alloc());
    const auto drain = [&]() {
        while (avcodec_receive_frame(codec.get(), frame.get()) >= 0) {
            const int room = swr_get_out_samples(converter.get(), frame->nb_samples);
            const std::size_t need = pcm.size + static_cast<std::size_t>(room) * out->frameBytes;
            if (need > pcm.capacity && !pcm.Reserve(std::max(need, pcm.capacity * 2))) {
                return false;
            }
            std::uint8_t* tail = pcm.Tail();
            const int converted = swr_convert(
                converter.get(), &tail, room,
                const_cast<const std::uint8_t**>(frame->extended_data), frame->nb_samples);
            if (converted < 0) {
                return false;
            }
            pcm.size += static_cast<std::size_t>(converted) * out->frameBytes;
        }
        return true;
    };
    while (av_read_frame(format.get(), packet.get()) >= 0) {
        const bool ours = packet->stream_index == streamIndex;
        if (ours && avcodec_send_packet(codec.get(), packet.get()) >= 0 && !drain()) {
            return {};
        }
        av_packet_unref(packet.get());
    }
    avcodec_send_packet(codec.get(), nullptr);
    if (!drain()) {
        return {};
    }

    if (upload) {
        ALuint buffer = 0;
        alGenBuffers(1, &buffer);
        alBufferData(buffer, out->alFormat, pcm.Data(), static_cast<ALsizei>(pcm.size),
                     codec->sample_rate);
        const bool stored = alGetError() == AL_NO_ERROR;
        alDeleteBuffers(1, &buffer);
        if (!stored) {
            return {};
        }
    }
    return {true, pcm.size};
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3 || (std::strcmp(argv[1], "reference") != 0 && std::strcmp(argv[1], "upload"))) {
        std::fprintf(stderr, "usage: kep-load-reference reference|upload FILE\n");
        return 2;
    }
    setenv("ALSOFT_DRIVERS", "null", 0);
    av_log_set_level(AV_LOG_QUIET);
    ALCdevice* device = alcOpenDevice(nullptr);
    ALCcontext* context = device ? alcCreateContext(device, nullptr) : nullptr;
    if (!context || !alcMakeContextCurrent(context)) {
        std::fprintf(stderr, "kep-load-reference: no audio device\n");
        return 1;
    }
    const long before = ResidentKib();
    const auto start = std::chrono::steady_clock::now();
    const ReferenceResult result = ReferenceLoad(argv[2], std::strcmp(argv[1], "upload") == 0);
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    alcMakeContextCurrent(nullptr);
    alcDestroyContext(context);
    alcCloseDevice(device);
    if (!result.loaded) {
        std::fprintf(stderr, "kep-load-reference: %s failed\n", argv[2]);
        return 1;
    }
    std::printf("%llu %.2f %ld\n", static_cast<unsigned long long>(result.pcmBytes), took.count(),
                usage.ru_maxrss - before);
    return 0;
}
