#pragma once

#include <cstdint>
#include <deque>
#include <functional>
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
// back to waiting for a snapshot: a resynchronisation.
class ReplicaFeed {
public:
    // Gives a batch or a snapshot to the plug-in; false if the plug-in could not
    // apply it.
    using Apply = std::function<bool(const FrameHeader&, std::span<const std::uint8_t>)>;

    ReplicaFeed(Apply apply, std::size_t maxHeldBatches);

    // A frame from the server: a batch, heartbeat or end from its publisher, or
    // the reply to a snapshot request.
    void Receive(const FrameHeader& header, std::span<const std::uint8_t> payload);

    // No snapshot applied since the feed started or last lost step: the joiner
    // should ask for one.
    bool waiting() const { return waiting_; }
    bool ended() const { return ended_; }
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
    void ReceiveSnapshot(const FrameHeader& header, std::span<const std::uint8_t> payload);
    void Hold(const FrameHeader& header, std::span<const std::uint8_t> payload);
    void LoseStep();

    Apply apply_;
    std::size_t maxHeld_;
    std::deque<HeldBatch> held_;
    bool waiting_ = true;
    bool ended_ = false;
    std::uint64_t epoch_ = 0;  // 0: never in step
    std::uint64_t sequence_ = 0;
    std::uint64_t resyncs_ = 0;
};

}  // namespace replication
