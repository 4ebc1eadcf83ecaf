// Reading, decoding and converting a whole file: the constructor's thread reads
// packets into a queue while one asynchronous task decodes and converts them.

#include <algorithm>
#include <bit>
#include <future>
#include <limits>
#include <new>
#include <stdexcept>
#include <utility>

extern "C" {
#include <libavutil/macros.h>
#include <libavutil/samplefmt.h>
}

#include "decode/FFStream.h"
#include "kep/Messages.h"

namespace {

constexpr double kKilobytesPerByte = 0.0009765625;  // 1/1024

// FFmpeg's default alignment pads a sample buffer to a multiple of this many samples.
constexpr int kSampleAlignment = 32;

// The PCM reserved up front is at most this many times the file's bytes, so that a
// file claiming hours in a few bytes reserves little; the best codecs compress
// speech about a hundredfold.
constexpr double kMostPcmBytesPerFileByte = 256;
// OpenAL takes at most this many bytes in one buffer.
constexpr std::size_t kLargestBuffer = std::numeric_limits<std::int32_t>::max();
constexpr double kMostPcmBytes = kLargestBuffer;

// A stated duration may be rounded: past the limit by this much, it is believed.
constexpr double kDeclaredTolerance = 1.05;

std::string TooLarge() {
    return fmt::format("the decoded sound is larger than one OpenAL buffer holds ({} bytes)",
                       kLargestBuffer);
}

double Kilobytes(double bytes) {
    return bytes * kKilobytesPerByte;
}

}  // namespace

double FFStream::DeclaredPcmBytes() const {
    double seconds = 0;
    if (formatContext->duration > 0) {
        seconds = static_cast<double>(formatContext->duration) / AV_TIME_BASE;
    } else if (audioStream->duration > 0) {
        seconds = static_cast<double>(audioStream->duration) * av_q2d(audioStream->time_base);
    }
    // Blocks are as wide as the decoder's channels when those outnumber the output's.
    const int channels =
        std::max(codecContext->ch_layout.nb_channels, std::popcount(outChannelMask));
    return seconds * codecContext->sample_rate * channels *
           av_get_bytes_per_sample(static_cast<AVSampleFormat>(outSampleFormat));
}

std::size_t FFStream::ExpectedPcmBytes() const {
    const double bytes = DeclaredPcmBytes();
    // Room for the padding of the blocks and for a duration that was only estimated.
    constexpr double kMargin = 1.0 + 1.0 / 64;
    constexpr double kSlackBytes = 64 * 1024;
    const std::int64_t fileBytes = avio_size(ioContext.get());
    const double most =
        fileBytes > 0 ? std::min(kMostPcmBytes, kMostPcmBytesPerFileByte * fileBytes) : 0;
    return static_cast<std::size_t>(std::clamp(bytes * kMargin + kSlackBytes, 0.0, most));
}

void FFStream::ReadPackets() {
    // A sound whose duration says it is too long fails before it is decoded (a
    // duration guessed from the bit rate is not believed); another once its PCM
    // passes the limit.
    if (formatContext->duration_estimation_method != AVFMT_DURATION_FROM_BITRATE &&
        DeclaredPcmBytes() > kMostPcmBytes * kDeclaredTolerance) {
        throw std::length_error(TooLarge());
    }
    std::future<PcmBytes> decoded =
        std::async(std::launch::async, &FFStream::DecodePackets, this, ExpectedPcmBytes());
    try {
        std::uint32_t packetCount = 0;
        std::uint32_t totalSize = 0;
        while (!packetQueue.Finished()) {
            ffmpeg::PacketPtr packet(av_packet_alloc());
            if (!packet) {
                throw std::bad_alloc();
            }
            // End of file and read errors alike end the reading, without a message.
            if (av_read_frame(formatContext.get(), packet.get()) < 0) {
                break;
            }
            if (packet->stream_index != audioStream->index) {
                continue;  // the handle frees packets of other streams
            }
            kep::Debug()("FFStream: Packet read. Size: {:.2f} KB", Kilobytes(packet->size));
            totalSize += static_cast<std::uint32_t>(packet->size);
            packetQueue.Push(std::move(packet));
            ++packetCount;
        }
        kep::Debug()("FFStream: Read stream completed. Packet count: {}. Total size: {:.2f} KB.",
                     packetCount, Kilobytes(totalSize));
        packetQueue.Finish();
        pcm = decoded.get();
    } catch (...) {
        // Lets the decoding task drain the queue and end before its future is dropped.
        packetQueue.Finish();
        throw;
    }
}

PcmBytes FFStream::DecodePackets(std::size_t expectedBytes) {
    // Sized once from the duration: untouched capacity costs no memory, and a
    // stream longer than it said grows geometrically, never zero-filled.
    PcmBytes decoded;
    try {
        decoded.reserve(expectedBytes);
    } catch (const std::bad_alloc&) {
        kep::Debug()("FFStream: {} bytes could not be reserved", expectedBytes);
    }
    ffmpeg::FramePtr frame(av_frame_alloc());
    if (!frame) {
        throw std::bad_alloc();
    }
    std::uint32_t totalSize = 0;
    const auto decode = [&](AVPacket& packet) {
        // A packet the decoder refuses is dropped silently.
        if (avcodec_send_packet(codecContext.get(), &packet) < 0) {
            return;
        }
        for (;;) {
            const std::int32_t size = ConvertFrame(frame.get(), decoded);
            if (size <= 0) {
                break;
            }
            totalSize += static_cast<std::uint32_t>(size);
        }
    };
    try {
        while (packetQueue.DecodeNext(decode)) {
        }
    } catch (...) {
        packetQueue.Finish();  // the reader need not read on
        throw;
    }
    // No flush packet is sent: frames the decoder still holds are not retrieved
    // (kept as is).

    sampleBuffer.reset();
    scratchHistory.Clear();
    sampleCapacity = 0;
    sampleChannels = 0;
    kep::Debug()("FFStream: Decode stream completed. Total size: {:.2f} KB", Kilobytes(totalSize));
    return decoded;
}

std::int32_t FFStream::ConvertFrame(AVFrame* frame, PcmBytes& decoded) {
    std::uint32_t emptyFrames = 0;
    for (;;) {
        // Also when the decoder wants more input or has reached the end of stream.
        if (avcodec_receive_frame(codecContext.get(), frame) < 0) {
            return 0;
        }
        if (frame->nb_samples >= 1) {
            break;
        }
        ++emptyFrames;
    }
    if (emptyFrames > 0) {
        // Deliberately one less than the frames skipped.
        kep::Debug()("FFStream: Total frames {} skiped", emptyFrames - 1);
    }

    // A stream may change its layout, sample format or rate part-way (files joined
    // end to end): the converter is rebuilt for the new input, to the same output.
    if (!resampler.IsBuiltFor(*frame)) {
        formatChanged = true;
        if (!resampler.RebuildFor(*frame)) {
            return 0;
        }
    }

    // Until the format changes, every size is taken with the frame's own channel
    // count, which is the decoder's and never below the output's, and FFmpeg's
    // default alignment: the block appended for each frame is that long, its tail
    // being whatever the scratch buffer holds beyond the converted samples. Kept as
    // is, since the sounds loaded so far depend on it. The scratch buffer is sized
    // for every frame but only read: the history tells what it would hold.
    const int frameChannels = frame->ch_layout.nb_channels;
    const int outChannels = std::popcount(outChannelMask);
    const auto outFormat = static_cast<AVSampleFormat>(outSampleFormat);
    // A lower input rate gives more output samples than the frame holds.
    const int outSamples = std::max(frame->nb_samples, resampler.OutSamples(frame->nb_samples));
    if (!ReserveSamples(outSamples, std::max(frameChannels, outChannels))) {
        return 0;
    }

    // Converted straight behind the PCM, with room for the longest block it can
    // make: the padded block takes no second copy.
    const int bytesPerSample = av_get_bytes_per_sample(outFormat);
    const std::size_t start = decoded.size();
    const auto room =
        static_cast<std::size_t>(FFALIGN(outSamples, kSampleAlignment)) *
        static_cast<std::size_t>(std::max(frameChannels, outChannels) * bytesPerSample);
    // A longer sound would reach OpenAL cut to its size's 32 bits: it fails, before
    // the PCM grows past what it could ever be.
    if (start + room > kLargestBuffer) {
        throw std::length_error(TooLarge());
    }
    decoded.resize(start + room);
    const int converted = resampler.Convert(decoded.data() + start, outSamples, *frame);
    if (converted < 0) {
        decoded.resize(start);
        kep::Error()("FFStream: Couldn't convert decoded sample");
        return 0;
    }
    if (converted == 0) {
        kep::Warning()("FFStream: SWR converts zero samples with non-empty decoded frame");
    }

    // After a change, exactly the converted samples: a frame of another format has
    // nothing to do with the padded sizes of the first.
    const int size =
        converted == 0 ? 0
        : formatChanged
            ? av_samples_get_buffer_size(nullptr, outChannels, converted, outFormat, 1)
            : av_samples_get_buffer_size(nullptr, frameChannels, converted, outFormat, 0);
    const auto block = static_cast<std::size_t>(std::max(size, 0));
    const auto samplesBytes =
        std::min(block, static_cast<std::size_t>(converted) *
                            static_cast<std::size_t>(outChannels * bytesPerSample));
    // The block's tail beyond the samples: what the scratch buffer holds there.
    scratchHistory.CopyOut(decoded.data(), sampleBuffer.get(), samplesBytes, block,
                           decoded.data() + start + samplesBytes);
    scratchHistory.Record(start, samplesBytes);
    decoded.resize(start + block);
    const auto outFrameBytes = static_cast<std::size_t>(outChannels * bytesPerSample);
    paddingFrames +=
        static_cast<std::uint32_t>(block / outFrameBytes - samplesBytes / outFrameBytes);
    kep::Debug()("FFStream: Frame decoded. Size: {:.2f} KB", Kilobytes(size));
    return static_cast<std::int32_t>(block);
}

bool FFStream::ReserveSamples(int samples, int channels) {
    // The buffer grows to the largest frame seen so far and never shrinks.
    if (samples <= sampleCapacity && channels <= sampleChannels) {
        return true;
    }
    samples = std::max(samples, sampleCapacity);
    channels = std::max(channels, sampleChannels);
    const auto outFormat = static_cast<AVSampleFormat>(outSampleFormat);
    sampleBuffer.reset();
    std::uint8_t* samplesAllocated = nullptr;
    if (av_samples_alloc(&samplesAllocated, &sampleLinesize, channels, samples, outFormat, 0) < 0) {
        kep::Error()("FFStream: Couldn't allocate memory for sample");
        sampleCapacity = 0;
        sampleChannels = 0;
        return false;
    }
    sampleBuffer.reset(samplesAllocated);
    scratchHistory.Clear();
    // FFmpeg silences only the samples asked for, not the alignment padding behind
    // them, which the padded blocks carry into the sound: silence it all, so that no
    // uninitialised memory reaches a listener.
    av_samples_set_silence(&samplesAllocated, 0, FFALIGN(samples, kSampleAlignment), channels,
                           outFormat);
    kep::Debug()("FFStream: Samples realloc. Size: {:.2f} KB",
                 Kilobytes(av_samples_get_buffer_size(nullptr, channels, samples, outFormat, 0)));
    sampleCapacity = samples;
    sampleChannels = channels;
    return true;
}
