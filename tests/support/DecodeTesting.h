#pragma once

// What the decoding tests share: facts about test media taken from FFmpeg
// directly, readers for the PCM the decoder makes, and running the decoder.
// Header-only: it needs FFmpeg and the plug-in's code, which the plug-in test
// programs link (kepTestSupport does not).

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <exception>
#include <initializer_list>
#include <numbers>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "decode/FFStream.h"
#include "decode/FFmpegHandles.h"
#include "kep/Messages.h"

extern "C" {
#include <libavutil/samplefmt.h>
}

// What FFmpeg itself decodes from a file's first audio stream that has a decoder.
struct ReferenceDecoding {
    int sampleRate = 0;
    int channels = 0;
    AVSampleFormat sampleFormat = AV_SAMPLE_FMT_NONE;
    std::vector<int> frameSamples;     // samples per channel of each frame, in order
    std::vector<int> heldBackSamples;  // frames the decoder gives only when flushed
    // The samples of frameSamples, interleaved; kept for float decoders only.
    std::vector<double> interleaved;

    std::int64_t Samples() const {
        std::int64_t total = 0;
        for (int samples : frameSamples) {
            total += samples;
        }
        return total;
    }
};

inline void KeepFloatSamples(const AVFrame& frame, int channels, std::vector<double>& interleaved) {
    const auto format = static_cast<AVSampleFormat>(frame.format);
    if (format != AV_SAMPLE_FMT_FLT && format != AV_SAMPLE_FMT_FLTP) {
        return;
    }
    for (int i = 0; i < frame.nb_samples; ++i) {
        for (int channel = 0; channel < channels; ++channel) {
            const float* plane = reinterpret_cast<const float*>(
                frame.extended_data[format == AV_SAMPLE_FMT_FLTP ? channel : 0]);
            interleaved.push_back(format == AV_SAMPLE_FMT_FLTP ? plane[i]
                                                               : plane[i * channels + channel]);
        }
    }
}

inline ReferenceDecoding DecodeWithFFmpeg(const std::string& path) {
    AVFormatContext* rawFormat = nullptr;
    if (avformat_open_input(&rawFormat, path.c_str(), nullptr, nullptr) != 0) {
        throw std::runtime_error("reference decoding cannot open " + path);
    }
    ffmpeg::FormatContextPtr format(rawFormat);
    if (avformat_find_stream_info(format.get(), nullptr) < 0) {
        throw std::runtime_error("reference decoding finds no streams in " + path);
    }
    const AVCodec* decoder = nullptr;
    const int streamIndex =
        av_find_best_stream(format.get(), AVMEDIA_TYPE_AUDIO, -1, -1, &decoder, 0);
    if (streamIndex < 0 || !decoder) {
        throw std::runtime_error("reference decoding finds no audio decoder for " + path);
    }
    ffmpeg::CodecContextPtr codec(avcodec_alloc_context3(decoder));
    avcodec_parameters_to_context(codec.get(), format->streams[streamIndex]->codecpar);
    if (avcodec_open2(codec.get(), decoder, nullptr) < 0) {
        throw std::runtime_error("reference decoding cannot open the decoder for " + path);
    }

    ReferenceDecoding result;
    result.sampleRate = codec->sample_rate;
    result.channels = codec->ch_layout.nb_channels;
    result.sampleFormat = codec->sample_fmt;
    ffmpeg::PacketPtr packet(av_packet_alloc());
    ffmpeg::FramePtr frame(av_frame_alloc());
    auto receiveAll = [&](std::vector<int>& into) {
        while (avcodec_receive_frame(codec.get(), frame.get()) >= 0) {
            into.push_back(frame->nb_samples);
            if (&into == &result.frameSamples) {
                KeepFloatSamples(*frame, result.channels, result.interleaved);
            }
        }
    };
    while (av_read_frame(format.get(), packet.get()) >= 0) {
        if (packet->stream_index == streamIndex &&
            avcodec_send_packet(codec.get(), packet.get()) >= 0) {
            receiveAll(result.frameSamples);
        }
        av_packet_unref(packet.get());
    }
    avcodec_send_packet(codec.get(), nullptr);
    receiveAll(result.heldBackSamples);
    return result;
}

// FFmpeg's default alignment (used by the decoder's size computations) pads every
// converted frame to a whole number of 32 samples.
inline int PaddedSamples(int samples) {
    return (samples + 31) / 32 * 32;
}

// The bytes the decoder appends for these frames: per frame, the padded sample
// count times the decoder's channel count times the output sample size.
inline std::size_t DecodedByteCount(const std::vector<int>& frameSamples, int decoderChannels,
                                    int outSampleBytes) {
    std::size_t bytes = 0;
    for (int samples : frameSamples) {
        bytes +=
            static_cast<std::size_t>(PaddedSamples(samples)) * decoderChannels * outSampleBytes;
    }
    return bytes;
}

// One sample of packed PCM as a fraction of full scale (-1 to 1).
inline double SampleAt(const std::uint8_t* bytes, AVSampleFormat format) {
    switch (format) {
        case AV_SAMPLE_FMT_U8:
            return (bytes[0] - 128) / 128.0;
        case AV_SAMPLE_FMT_S16: {
            std::int16_t value;
            std::memcpy(&value, bytes, sizeof value);
            return value / 32768.0;
        }
        case AV_SAMPLE_FMT_FLT: {
            float value;
            std::memcpy(&value, bytes, sizeof value);
            return value;
        }
        default:
            throw std::invalid_argument("not an output sample format");
    }
}

// The test tone of make_media.sh: channel k carries 0.5 * sin(2 pi 441 (k+1) Hz t).
inline double ToneSample(int channel, std::int64_t sampleIndex, int sampleRate) {
    return 0.5 * std::sin(2 * std::numbers::pi * 441.0 * (channel + 1) * sampleIndex / sampleRate);
}

// Checks decoded PCM frame by frame: the first samples of each frame's block are
// the converted ones, interleaved over outChannels, and must be within tolerance of
// expected(channel, sampleIndex); the padding behind them (see DecodedByteCount) is
// skipped, and so are settleSamples samples at either end.
template <class Expected>
testing::AssertionResult PcmMatches(const std::vector<std::uint8_t>& pcm, AVSampleFormat format,
                                    int outChannels, int decoderChannels,
                                    const std::vector<int>& frameSamples, Expected expected,
                                    double tolerance, std::int64_t settleSamples = 0) {
    const int sampleBytes = av_get_bytes_per_sample(format);
    const std::size_t expectedSize = DecodedByteCount(frameSamples, decoderChannels, sampleBytes);
    if (pcm.size() != expectedSize) {
        return testing::AssertionFailure()
               << "PCM size " << pcm.size() << " is not " << expectedSize;
    }
    std::int64_t totalSamples = 0;
    for (int samples : frameSamples) {
        totalSamples += samples;
    }
    std::size_t blockStart = 0;
    std::int64_t sampleIndex = 0;
    for (int samples : frameSamples) {
        for (int i = 0; i < samples; ++i, ++sampleIndex) {
            if (sampleIndex < settleSamples || sampleIndex >= totalSamples - settleSamples) {
                continue;
            }
            for (int channel = 0; channel < outChannels; ++channel) {
                const std::size_t offset =
                    blockStart +
                    (static_cast<std::size_t>(i) * outChannels + channel) * sampleBytes;
                const double actual = SampleAt(pcm.data() + offset, format);
                const double wanted = expected(channel, sampleIndex);
                if (std::abs(actual - wanted) > tolerance) {
                    return testing::AssertionFailure()
                           << "sample " << sampleIndex << " of channel " << channel << " is "
                           << actual << ", expected " << wanted;
                }
            }
        }
        blockStart +=
            static_cast<std::size_t>(PaddedSamples(samples)) * decoderChannels * sampleBytes;
    }
    return testing::AssertionSuccess();
}

// Checks decoded PCM against the test tone of make_media.sh.
inline testing::AssertionResult PcmHoldsTone(const std::vector<std::uint8_t>& pcm,
                                             AVSampleFormat format, int outChannels,
                                             int decoderChannels,
                                             const std::vector<int>& frameSamples, int sampleRate,
                                             double tolerance) {
    return PcmMatches(
        pcm, format, outChannels, decoderChannels, frameSamples,
        [sampleRate](int channel, std::int64_t index) {
            return ToneSample(channel, index, sampleRate);
        },
        tolerance);
}

// Checks decoded PCM against the float samples FFmpeg itself decoded.
inline testing::AssertionResult PcmMatchesReference(const std::vector<std::uint8_t>& pcm,
                                                    AVSampleFormat format,
                                                    const ReferenceDecoding& reference,
                                                    double tolerance) {
    if (reference.interleaved.empty()) {
        return testing::AssertionFailure() << "the reference decoding kept no samples";
    }
    return PcmMatches(
        pcm, format, reference.channels, reference.channels, reference.frameSamples,
        [&reference](int channel, std::int64_t index) {
            return reference
                .interleaved[static_cast<std::size_t>(index) * reference.channels + channel];
        },
        tolerance);
}

// The text of the exception the decoder's construction throws, or empty if it loads.
inline std::string ConstructionError(const std::string& path) {
    try {
        FFStream stream(path);
    } catch (const std::exception& error) {
        return error.what();
    }
    return {};
}

// The captured lines of the output format selection: everything but the lines about
// opening, reading and decoding.
inline std::vector<kep::LoggedLine> SelectionLines(const kep::MessageCapture& capture) {
    static constexpr std::string_view kOtherLines[] = {"FFStream: Find format ",
                                                       "FFStream: Packet read. ",
                                                       "FFStream: Read stream completed. ",
                                                       "FFStream: Samples realloc. ",
                                                       "FFStream: Frame decoded. ",
                                                       "FFStream: Decode stream completed. ",
                                                       "FFStream: file "};
    std::vector<kep::LoggedLine> selection;
    for (const kep::LoggedLine& line : capture.lines()) {
        bool other = false;
        for (std::string_view prefix : kOtherLines) {
            other = other || line.text.starts_with(prefix);
        }
        if (!other) {
            selection.push_back(line);
        }
    }
    return selection;
}

// Lines as tests write them.
inline kep::LoggedLine DebugLine(std::string text) {
    return {kep::MessageLevel::Debug, std::move(text)};
}
inline kep::LoggedLine InfoLine(std::string text) {
    return {kep::MessageLevel::Info, std::move(text)};
}
inline kep::LoggedLine WarningLine(std::string text) {
    return {kep::MessageLevel::Warning, std::move(text)};
}
inline kep::LoggedLine ErrorLine(std::string text) {
    return {kep::MessageLevel::Error, std::move(text)};
}

inline std::vector<kep::LoggedLine> Concat(
    std::initializer_list<std::vector<kep::LoggedLine>> parts) {
    std::vector<kep::LoggedLine> all;
    for (const auto& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

// Prints a line as "[level] text" in test failures.
namespace kep {
inline void PrintTo(const LoggedLine& line, std::ostream* out) {
    *out << "[" << ToString(line.level) << "] " << line.text;
}
}  // namespace kep
