#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string_view>
#include <vector>

#include "decode/FFmpegHandles.h"

// One sound file decoded whole into PCM that OpenAL can take. All the work is done
// by the constructor: when it returns, the file has been read, decoded and
// converted; when anything fails it throws std::runtime_error and no object exists.
// OpenAL must have a current context, since the output format depends on the
// extensions the device offers.
class FFStream {
public:
    // What the loader hands to alBufferData besides the bytes.
    struct AlBufferFormat {
        std::uint32_t alFormat;
        std::uint32_t frameBytes;
        std::uint32_t sampleRate;
    };

    // The path is already resolved; its bytes are handed to FFmpeg unchanged.
    explicit FFStream(std::string_view path);
    ~FFStream();
    FFStream(const FFStream&) = delete;
    FFStream& operator=(const FFStream&) = delete;

    const std::vector<std::uint8_t>& GetPcm() const { return pcm; }
    AlBufferFormat GetAlBufferFormat() const { return {alFormat, frameBytes, sampleRate}; }

private:
    // FFmpeg's interrupt callback: non-zero aborts a blocking I/O call.
    static int InterruptCallback(void* stream);

    bool OpenCodec();
    bool SelectOutputFormat();
    bool SetUpResampler();
    void ReadPackets();
    std::vector<std::uint8_t> DecodePackets();
    std::int32_t ConvertFrame(AVFrame* frame);

    // Declaration order is release order in reverse: pcm, queued packets, demuxer,
    // file, converter, decoder.
    AVStream* audioStream = nullptr;  // owned by formatContext
    ffmpeg::CodecContextPtr codecContext;
    ffmpeg::ResamplerPtr resampler;
    ffmpeg::IoContextPtr ioContext;
    ffmpeg::FormatContextPtr formatContext;
    std::mutex packetMutex;
    std::deque<ffmpeg::PacketPtr> packets;
    // Size of packets, kept under packetMutex, so the decoding task can poll for
    // work without taking the lock.
    std::atomic<std::size_t> queuedPackets{0};
    std::atomic<bool> finished{false};
    std::uint32_t alFormat = 0;
    std::uint32_t frameBytes = 0;
    std::uint32_t sampleRate = 0;
    std::vector<std::uint8_t> pcm;
    std::uint64_t outChannelMask = 0;
    std::int32_t outSampleFormat = AV_SAMPLE_FMT_NONE;
    // Scratch buffer for one converted frame; the decoding task releases it.
    std::uint8_t* sampleBuffer = nullptr;
    std::int32_t sampleCapacity = 0;  // samples per channel
    std::int32_t sampleLinesize = 0;
};
