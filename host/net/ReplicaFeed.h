#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "host/net/FrameHeader.h"

namespace replication {

// Decides what a replaying instance applies of what reaches it, and when it must
// ask the serving instance for a new snapshot.
//
// Batches are applied in sequence, each exactly once. Until a snapshot has been
// applied the batches that arrive are held; the snapshot covers the batches up to
// its sequence, and the held ones after it follow. A gap in the sequence, another
// epoch (the server restarted) or a frame the plug-in cannot apply sends the feed
// back to waiting for a snapshot: a resynchronisation. Only the answer to the
// latest request is applied. A relay answers with an older snapshot and the
// batches after it, which are applied with it. The run has ended for the feed only once it has
// applied every batch up to the last one the server's end names.
class ReplicaFeed {
public:
    struct Frame {
        FrameHeader header;
        std::span<const std::uint8_t> payload;
        std::span<const std::uint8_t> extra;  // what came beside a snapshot
    };
    // Gives a batch or a snapshot to the plug-in; false if it could not apply it.
    using Apply = std::function<bool(const Frame&)>;

    struct Limits {
        std::size_t heldBatches = 600;
        std::size_t heldBytes = 16u << 20;
    };

    ReplicaFeed(Apply apply, Limits limits);

    // A batch, heartbeat or end from the server's publisher.
    void Receive(const FrameHeader& header, std::span<const std::uint8_t> payload);
    // The answer to the request with this id: a snapshot, what came beside it, and
    // the batches after it that a relay answers with (its own snapshot is older).
    void ReceiveSnapshot(const FrameHeader& header, std::span<const std::uint8_t> payload,
                         std::uint64_t requestId, std::span<const std::uint8_t> extra,
                         std::span<const DecodedFrame> following = {});
    // The id for a new request; answers to earlier ones are ignored from now on.
    std::uint64_t NewRequest() { return ++requestId_; }
    std::uint64_t requestId() const { return requestId_; }

    // No snapshot applied since the feed started or last lost step: the joiner
    // should ask for one.
    bool waiting() const { return waiting_; }
    // The server's run has ended and everything up to its last batch is applied.
    bool ended() const { return ended_; }
    // The last batch of the run, once the server has said that its run ended.
    std::optional<std::uint64_t> endSequence() const { return endSequence_; }
    bool synchronised() const { return epoch_ != 0; }
    std::uint64_t epoch() const { return epoch_; }
    std::uint64_t sequence() const { return sequence_; }
    // How many times the feed lost step after it had been in step.
    std::uint64_t resyncs() const { return resyncs_; }

private:
    struct HeldBatch {
        FrameHeader header;
        std::vector<std::uint8_t> payload;
    };

    void ReceiveBatch(const FrameHeader& header, std::span<const std::uint8_t> payload);
    void ReceiveEnd(const FrameHeader& header);
    void Hold(const FrameHeader& header, std::span<const std::uint8_t> payload);
    void LoseStep();
    void CheckEnded();

    Apply apply_;
    Limits limits_;
    std::deque<HeldBatch> held_;
    std::size_t heldBytes_ = 0;
    bool waiting_ = true;
    bool ended_ = false;
    std::uint64_t epoch_ = 0;  // 0: never in step
    std::uint64_t sequence_ = 0;
    std::uint64_t resyncs_ = 0;
    std::uint64_t requestId_ = 0;
    std::uint64_t endEpoch_ = 0;
    std::optional<std::uint64_t> endSequence_;
};

}  // namespace replication
