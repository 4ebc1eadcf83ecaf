#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "decode/FFmpegHandles.h"
#include "decode/PacketQueue.h"
#include "decode/PcmBytes.h"
#include "decode/Resampler.h"
#include "decode/ScratchHistory.h"

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

    const PcmBytes& GetPcm() const { return pcm; }
    // Hands the PCM over, leaving none here: the loader keeps the only copy.
    [[nodiscard]] PcmBytes TakePcm() { return std::move(pcm); }
    AlBufferFormat GetAlBufferFormat() const { return {alFormat, frameBytes, sampleRate}; }
    // Sample frames of the PCM that are padding, not sound: each decoded block is
    // padded to a multiple of 32 samples (and, mixed down, sized for every input
    // channel) with what the scratch buffer holds.
    std::uint32_t GetPaddingFrames() const { return paddingFrames; }

private:
    // FFmpeg's interrupt callback: non-zero aborts a blocking I/O call.
    static int InterruptCallback(void* stream);

    [[nodiscard]] bool OpenCodec();
    [[nodiscard]] bool SelectOutputFormat();
    [[nodiscard]] bool SetUpResampler();
    void ReadPackets();
    // The PCM the stream's stated duration makes, and what to reserve for it.
    [[nodiscard]] double DeclaredPcmBytes() const;
    [[nodiscard]] std::size_t ExpectedPcmBytes() const;
    [[nodiscard]] PcmBytes DecodePackets(std::size_t expectedBytes);
    // Appends the next frame's block to decoded; its size, 0 when there is none.
    [[nodiscard]] std::int32_t ConvertFrame(AVFrame* frame, PcmBytes& decoded);
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
    PcmBytes pcm;
    std::uint32_t paddingFrames = 0;  // counted by the decoding task
    std::uint64_t outChannelMask = 0;
    std::int32_t outSampleFormat = AV_SAMPLE_FMT_NONE;
    // Scratch buffer for one converted frame; the decoding task releases it.
    ffmpeg::SampleBufferPtr sampleBuffer;
    ScratchHistory scratchHistory;
    std::int32_t sampleCapacity = 0;  // samples per channel
    std::int32_t sampleChannels = 0;  // channels it was sized for
    std::int32_t sampleLinesize = 0;
    // Set by the decoding task once a frame came in another format than the
    // decoder's at opening.
    bool formatChanged = false;
};
