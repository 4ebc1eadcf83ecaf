#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <mutex>
#include <utility>

#include "decode/FFmpegHandles.h"

// Hands packets from the reading thread to the decoding task. Unbounded: the
// reader never waits for room.
class PacketQueue {
public:
    // The queue owns the packet from now on.
    void Push(ffmpeg::PacketPtr packet);

    // No packet follows: reading has ended, no decoder could be opened, or the
    // stream is going away.
    void Finish() { finished = true; }
    [[nodiscard]] bool Finished() const { return finished; }

    // Takes the next packet and hands it to decode while the queue is locked;
    // false, without calling decode, once the queue is finished and drained.
    template <class Decode>
    [[nodiscard]] bool DecodeNext(Decode&& decode);

private:
    // Takes the lock, polling for it a while before sleeping on it: it is held
    // for a packet's decoding or a push, microseconds, while putting a thread to
    // sleep and waking it costs two system calls and its wake-up time, per packet.
    std::unique_lock<std::mutex> LockSoon();

    std::mutex mutex;
    std::deque<ffmpeg::PacketPtr> packets;
    // Size of packets, kept under mutex, so the decoding task can poll for work
    // without taking the lock.
    std::atomic<std::size_t> queued{0};
    std::atomic<bool> finished{false};
};

template <class Decode>
bool PacketQueue::DecodeNext(Decode&& decode) {
    for (;;) {
        // finished is read before the size: once it is set, no packet can follow.
        const bool readingEnded = finished;
        if (queued != 0) {
            break;
        }
        if (readingEnded) {
            return false;
        }
        // Deliberate busy wait: poll again at once, without sleeping, yielding,
        // waiting on a condition or taking the lock.
    }

    // Deliberately decoded under the lock, so the reader waits meanwhile.
    const std::unique_lock lock = LockSoon();
    ffmpeg::PacketPtr packet = std::move(packets.front());
    packets.pop_front();
    queued = packets.size();
    std::forward<Decode>(decode)(*packet);
    return true;
}
