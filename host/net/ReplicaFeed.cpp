#include "host/net/ReplicaFeed.h"

#include <utility>

namespace replication {

ReplicaFeed::ReplicaFeed(Apply apply, Limits limits) : apply_(std::move(apply)), limits_(limits) {}

void ReplicaFeed::Receive(const FrameHeader& header, std::span<const std::uint8_t> payload) {
    switch (header.kind) {
        case FrameKind::Batch:
            ReceiveBatch(header, payload);
            break;
        case FrameKind::Heartbeat:
            // A heartbeat says which batch was sent last: one we lack means a loss.
            if (!waiting_ && (header.epoch != epoch_ || header.sequence != sequence_)) {
                LoseStep();
            }
            break;
        case FrameKind::End:
            ReceiveEnd(header);
            break;
        case FrameKind::Snapshot:
        case FrameKind::SnapshotRequest:
        case FrameKind::SourceSettings:
            break;  // snapshots come only as answers; only servers answer requests
    }
}

void ReplicaFeed::ReceiveEnd(const FrameHeader& header) {
    if (!endSequence_ || header.epoch != endEpoch_) {
        endEpoch_ = header.epoch;
        endSequence_ = header.sequence;
    }
    // Batches lost before the end are caught up by a snapshot, which the server
    // still answers while it repeats its end.
    if (!waiting_ && (header.epoch != epoch_ || header.sequence != sequence_)) {
        LoseStep();
    }
    CheckEnded();
}

void ReplicaFeed::CheckEnded() {
    ended_ =
        ended_ || (!waiting_ && endSequence_ && endEpoch_ == epoch_ && *endSequence_ == sequence_);
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
    if (!apply_({header, payload, {}})) {
        LoseStep();
    }
}

void ReplicaFeed::ReceiveSnapshot(const FrameHeader& header, std::span<const std::uint8_t> payload,
                                  std::uint64_t requestId, std::span<const std::uint8_t> extra,
                                  std::span<const DecodedFrame> following) {
    if (!waiting_ || requestId_ == 0 || requestId != requestId_) {
        return;  // not asked for, or the answer to an earlier request
    }
    std::uint64_t covered = header.sequence;
    for (const DecodedFrame& batch : following) {
        if (batch.header.kind != FrameKind::Batch || batch.header.epoch != header.epoch ||
            batch.header.sequence != covered + 1) {
            return;  // not the batches after it: ask again
        }
        ++covered;
    }
    // What the answer covers, and what another run of the server sent, goes.
    std::erase_if(held_, [&](const HeldBatch& batch) {
        const bool gone = batch.header.epoch != header.epoch || batch.header.sequence <= covered;
        heldBytes_ -= gone ? batch.payload.size() : 0;
        return gone;
    });
    if (!held_.empty() && held_.front().header.sequence != covered + 1) {
        return;  // batches between the answer and the held ones were lost: ask again
    }
    if (!apply_({header, payload, extra})) {
        return;
    }
    waiting_ = false;
    epoch_ = header.epoch;
    sequence_ = header.sequence;
    for (const DecodedFrame& batch : following) {
        ReceiveBatch(batch.header, batch.payload);
    }
    auto held = std::exchange(held_, {});
    heldBytes_ = 0;
    for (const HeldBatch& batch : held) {
        if (waiting_) {
            Hold(batch.header, batch.payload);
        } else {
            ReceiveBatch(batch.header, batch.payload);
        }
    }
    CheckEnded();
}

void ReplicaFeed::Hold(const FrameHeader& header, std::span<const std::uint8_t> payload) {
    if (held_.size() >= limits_.heldBatches || heldBytes_ + payload.size() > limits_.heldBytes) {
        held_.clear();  // the next snapshot will have to cover them
        heldBytes_ = 0;
    }
    if (payload.size() > limits_.heldBytes) {
        return;
    }
    held_.push_back({header, {payload.begin(), payload.end()}});
    heldBytes_ += payload.size();
}

void ReplicaFeed::LoseStep() {
    if (!waiting_) {
        ++resyncs_;
    }
    waiting_ = true;
}

}  // namespace replication
