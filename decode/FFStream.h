#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "decode/FFmpegHandles.h"
#include "decode/PacketQueue.h"
#include "decode/Resampler.h"

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

    [[nodiscard]] bool OpenCodec();
    [[nodiscard]] bool SelectOutputFormat();
    [[nodiscard]] bool SetUpResampler();
    void ReadPackets();
    [[nodiscard]] std::vector<std::uint8_t> DecodePackets();
    [[nodiscard]] std::int32_t ConvertFrame(AVFrame* frame);
    [[nodiscard]] bool ReserveSamples(int samples, int channels);

    // Declaration order is release order in reverse: pcm, queued packets, demuxer,
    // file, converter, decoder.
    AVStream* audioStream = nullptr;  // owned by formatContext
    ffmpeg::CodecContextPtr codecContext;
    Resampler resampler;
    ffmpeg::IoContextPtr ioContext;
    ffmpeg::FormatContextPtr formatContext;
    PacketQueue packetQueue;
    std::uint32_t alFormat = 0;
    std::uint32_t frameBytes = 0;
    std::uint32_t sampleRate = 0;
    std::vector<std::uint8_t> pcm;
    std::uint64_t outChannelMask = 0;
    std::int32_t outSampleFormat = AV_SAMPLE_FMT_NONE;
    // Scratch buffer for one converted frame; the decoding task releases it.
    ffmpeg::SampleBufferPtr sampleBuffer;
    std::int32_t sampleCapacity = 0;  // samples per channel
    std::int32_t sampleChannels = 0;  // channels it was sized for
    std::int32_t sampleLinesize = 0;
    // Set by the decoding task once a frame came in another format than the
    // decoder's at opening.
    bool formatChanged = false;
};
