#include "host/net/ReplicaFeed.h"

#include <utility>

namespace replication {

ReplicaFeed::ReplicaFeed(Apply apply, std::size_t maxHeldBatches)
    : apply_(std::move(apply)), maxHeld_(maxHeldBatches) {}

void ReplicaFeed::Receive(const FrameHeader& header, std::span<const std::uint8_t> payload) {
    switch (header.kind) {
        case FrameKind::Batch:
            ReceiveBatch(header, payload);
            break;
        case FrameKind::Snapshot:
            ReceiveSnapshot(header, payload);
            break;
        case FrameKind::Heartbeat:
            // A heartbeat says which batch was sent last: one we lack means a loss.
            if (!waiting_ && (header.epoch != epoch_ || header.sequence != sequence_)) {
                LoseStep();
            }
            break;
        case FrameKind::End:
            ended_ = ended_ || (synchronised() && header.epoch == epoch_);
            break;
        case FrameKind::SnapshotRequest:
            break;  // only servers answer these
    }
}

void ReplicaFeed::ReceiveBatch(const FrameHeader& header, std::span<const std::uint8_t> payload) {
    if (waiting_) {
        Hold(header, payload);
        return;
    }
    if (header.epoch == epoch_ && header.sequence <= sequence_) {
        return;  // already covered
    }
    if (header.epoch != epoch_ || header.sequence != sequence_ + 1) {
        LoseStep();
        Hold(header, payload);
        return;
    }
    sequence_ = header.sequence;
    if (!apply_(header, payload)) {
        LoseStep();
    }
}

void ReplicaFeed::ReceiveSnapshot(const FrameHeader& header,
                                  std::span<const std::uint8_t> payload) {
    if (!waiting_) {
        return;  // the answer to a request made before the feed got in step
    }
    // What the snapshot covers, and what another run of the server sent, goes.
    std::erase_if(held_, [&](const HeldBatch& batch) {
        return batch.header.epoch != header.epoch || batch.header.sequence <= header.sequence;
    });
    if (!held_.empty() && held_.front().header.sequence != header.sequence + 1) {
        return;  // batches between the snapshot and the held ones were lost: ask again
    }
    if (!apply_(header, payload)) {
        return;
    }
    waiting_ = false;
    epoch_ = header.epoch;
    sequence_ = header.sequence;
    auto held = std::move(held_);
    held_.clear();
    for (const HeldBatch& batch : held) {
        if (waiting_) {
            Hold(batch.header, batch.payload);
        } else {
            ReceiveBatch(batch.header, batch.payload);
        }
    }
}

void ReplicaFeed::Hold(const FrameHeader& header, std::span<const std::uint8_t> payload) {
    if (held_.size() >= maxHeld_) {
        held_.clear();  // the next snapshot will have to cover them
    }
    held_.push_back({header, {payload.begin(), payload.end()}});
}

void ReplicaFeed::LoseStep() {
    if (!waiting_) {
        ++resyncs_;
    }
    waiting_ = true;
}

}  // namespace replication
