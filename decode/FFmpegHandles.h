#pragma once

// Owning handles for the FFmpeg objects the decoder holds: each releases its
// object with that type's own free function, so no FFmpeg pointer is freed by hand.

#include <cstdint>
#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavformat/avio.h>
#include <libavutil/channel_layout.h>
#include <libavutil/frame.h>
#include <libavutil/mem.h>
#include <libswresample/swresample.h>
}

namespace ffmpeg {

struct CodecContextDeleter {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct ResamplerDeleter {
    void operator()(SwrContext* resampler) const { swr_free(&resampler); }
};
struct IoContextDeleter {
    void operator()(AVIOContext* io) const { avio_closep(&io); }
};
struct FormatContextDeleter {
    // The demuxer was opened over custom I/O, so this leaves its AVIOContext open.
    void operator()(AVFormatContext* format) const { avformat_close_input(&format); }
};
struct PacketDeleter {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct FrameDeleter {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
// A layout of custom order owns its channel map: uninit frees it.
struct ChannelLayoutDeleter {
    void operator()(AVChannelLayout* layout) const {
        av_channel_layout_uninit(layout);
        delete layout;
    }
};
// Sample memory from av_samples_alloc: one block behind the first plane.
struct SampleBufferDeleter {
    void operator()(std::uint8_t* samples) const { av_free(samples); }
};

using CodecContextPtr = std::unique_ptr<AVCodecContext, CodecContextDeleter>;
using ResamplerPtr = std::unique_ptr<SwrContext, ResamplerDeleter>;
using IoContextPtr = std::unique_ptr<AVIOContext, IoContextDeleter>;
using FormatContextPtr = std::unique_ptr<AVFormatContext, FormatContextDeleter>;
using PacketPtr = std::unique_ptr<AVPacket, PacketDeleter>;
using FramePtr = std::unique_ptr<AVFrame, FrameDeleter>;
using ChannelLayoutPtr = std::unique_ptr<AVChannelLayout, ChannelLayoutDeleter>;
using SampleBufferPtr = std::unique_ptr<std::uint8_t, SampleBufferDeleter>;

}  // namespace ffmpeg
