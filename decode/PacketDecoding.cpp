// Reading, decoding and converting a whole file: the constructor's thread reads
// packets into a queue while one asynchronous task decodes and converts them.

#include <algorithm>
#include <cstring>
#include <future>
#include <new>
#include <utility>

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/samplefmt.h>
}

#include "decode/FFStream.h"
#include "kep/Messages.h"

namespace {

constexpr double kKilobytesPerByte = 0.0009765625;  // 1/1024

double Kilobytes(double bytes) {
    return bytes * kKilobytesPerByte;
}

}  // namespace

void FFStream::ReadPackets() {
    std::future<std::vector<std::uint8_t>> decoded =
        std::async(std::launch::async, &FFStream::DecodePackets, this);
    try {
        std::uint32_t packetCount = 0;
        std::uint32_t totalSize = 0;
        while (!finished) {
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
            std::lock_guard lock(packetMutex);
            packets.push_back(std::move(packet));
            queuedPackets = packets.size();
            ++packetCount;
        }
        kep::Debug()("FFStream: Read stream completed. Packet count: {}. Total size: {:.2f} KB.",
                     packetCount, Kilobytes(totalSize));
        finished = true;
        pcm = decoded.get();
    } catch (...) {
        // Lets the decoding task drain the queue and end before its future is dropped.
        finished = true;
        throw;
    }
}

std::vector<std::uint8_t> FFStream::DecodePackets() {
    std::vector<std::uint8_t> decoded;
    ffmpeg::FramePtr frame(av_frame_alloc());
    std::uint32_t totalSize = 0;
    try {
        if (!frame) {
            throw std::bad_alloc();
        }
        for (;;) {
            // finished is read before the queue: once it is set, no packet can follow.
            const bool readingEnded = finished;
            if (queuedPackets == 0) {
                if (readingEnded) {
                    break;
                }
                // Deliberate busy wait: poll again at once, without sleeping, yielding,
                // waiting on a condition or taking the lock.
                continue;
            }

            // The packet is decoded and converted under the lock, so the reader waits
            // meanwhile.
            std::lock_guard lock(packetMutex);
            ffmpeg::PacketPtr packet = std::move(packets.front());
            packets.pop_front();
            queuedPackets = packets.size();
            if (avcodec_send_packet(codecContext.get(), packet.get()) >= 0) {
                for (std::int32_t size = ConvertFrame(frame.get()); size > 0;
                     size = ConvertFrame(frame.get())) {
                    decoded.resize(decoded.size() + static_cast<std::size_t>(size));
                    std::memcpy(decoded.data() + totalSize, sampleBuffer,
                                static_cast<std::size_t>(size));
                    totalSize += static_cast<std::uint32_t>(size);
                }
            }
            // A packet the decoder refuses is dropped silently.
        }
        // No flush packet is sent: frames the decoder still holds are not retrieved
        // (kept as is).
    } catch (...) {
        av_freep(&sampleBuffer);
        sampleCapacity = 0;
        throw;
    }

    if (sampleCapacity != 0) {
        av_freep(&sampleBuffer);
    }
    kep::Debug()("FFStream: Decode stream completed. Total size: {:.2f} KB", Kilobytes(totalSize));
    return decoded;
}

std::int32_t FFStream::ConvertFrame(AVFrame* frame) {
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

    // Sized with the decoder's channel count, which is never below the output's.
    const int channels = codecContext->ch_layout.nb_channels;
    const auto outFormat = static_cast<AVSampleFormat>(outSampleFormat);
    if (frame->nb_samples > sampleCapacity) {
        av_freep(&sampleBuffer);
        if (av_samples_alloc(&sampleBuffer, &sampleLinesize, channels, frame->nb_samples, outFormat,
                             0) < 0) {
            kep::Error()("FFStream: Couldn't allocate memory for sample");
            sampleBuffer = nullptr;
            sampleCapacity = 0;
            return 0;
        }
        kep::Debug()("FFStream: Samples realloc. Size: {:.2f} KB",
                     Kilobytes(av_samples_get_buffer_size(nullptr, channels, frame->nb_samples,
                                                          outFormat, 0)));
        sampleCapacity = frame->nb_samples;
    }

    const int converted =
        swr_convert(resampler.get(), &sampleBuffer, frame->nb_samples,
                    const_cast<const std::uint8_t**>(frame->extended_data), frame->nb_samples);
    if (converted < 0) {
        kep::Error()("FFStream: Couldn't convert decoded sample");
        return 0;
    }
    if (converted == 0) {
        kep::Warning()("FFStream: SWR converts zero samples with non-empty decoded frame");
    }

    // The size of the decoder's channel count (not the output's) with FFmpeg's
    // default alignment: the block appended for each frame is this long, its tail
    // being whatever the scratch buffer holds beyond the converted samples.
    const int size =
        converted > 0 ? av_samples_get_buffer_size(nullptr, channels, converted, outFormat, 0) : 0;
    kep::Debug()("FFStream: Frame decoded. Size: {:.2f} KB", Kilobytes(size));
    return std::max(size, 0);
}
