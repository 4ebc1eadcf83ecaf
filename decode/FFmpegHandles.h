#pragma once

// Owning handles for the FFmpeg objects the decoder holds: each releases its
// object with that type's own free function, so no FFmpeg pointer is freed by hand.

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavformat/avio.h>
#include <libavutil/frame.h>
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

using CodecContextPtr = std::unique_ptr<AVCodecContext, CodecContextDeleter>;
using ResamplerPtr = std::unique_ptr<SwrContext, ResamplerDeleter>;
using IoContextPtr = std::unique_ptr<AVIOContext, IoContextDeleter>;
using FormatContextPtr = std::unique_ptr<AVFormatContext, FormatContextDeleter>;
using PacketPtr = std::unique_ptr<AVPacket, PacketDeleter>;
using FramePtr = std::unique_ptr<AVFrame, FrameDeleter>;

}  // namespace ffmpeg
