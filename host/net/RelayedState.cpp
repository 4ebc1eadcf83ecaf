#include "host/net/RelayedState.h"

#include <algorithm>
#include <string>

namespace replication {

namespace {

// Below this, batches cost less than asking for a snapshot.
constexpr std::size_t kSmallestStale = 64u << 10;
constexpr std::size_t kMostBatchesFresh = 1024;

}  // namespace

bool RelayedState::Apply(const ReplicaFeed::Frame& frame) {
    const FrameHeader& header = frame.header;
    if (header.kind == FrameKind::Snapshot) {
        std::string error;
        auto settings = DecodeSourceSettings(frame.extra, error);
        if (frame.payload.size() > limits_.bytes || !settings) {
            return false;
        }
        header_ = header;
        snapshot_.assign(frame.payload.begin(), frame.payload.end());
        settings_ = std::move(settings->sources);
        batches_.clear();
        batchBytes_ = 0;
        return true;
    }
    auto batch = EncodeFrame(header, frame.payload);
    if (!header_ || batches_.size() >= limits_.batches || bytes() + batch.size() > limits_.bytes) {
        header_.reset();  // the feed asks for a snapshot, which starts again
        return false;
    }
    batchBytes_ += batch.size();
    batches_.push_back(std::move(batch));
    return true;
}

bool RelayedState::Rebase(const DecodedFrame& snapshot, const SourceSettings& settings) {
    const FrameHeader& header = snapshot.header;
    if (!header_ || header.epoch != header_->epoch || header.sequence <= header_->sequence ||
        header.sequence > header_->sequence + batches_.size()) {
        return false;
    }
    for (std::uint64_t sequence = header_->sequence; sequence < header.sequence; ++sequence) {
        batchBytes_ -= batches_.front().size();
        batches_.pop_front();
    }
    header_ = header;
    snapshot_.assign(snapshot.payload.begin(), snapshot.payload.end());
    settings_ = settings.sources;
    return true;
}

bool RelayedState::Stale() const {
    return header_ && (batches_.size() > kMostBatchesFresh ||
                       batchBytes_ > std::max(snapshot_.size(), kSmallestStale));
}

std::optional<ReplicationServer::Snapshot> RelayedState::Answer() const {
    if (!header_) {
        return std::nullopt;
    }
    return ReplicationServer::Snapshot{header_->epoch,     header_->sequence,
                                       header_->byteOrder, snapshot_,
                                       settings_,          {batches_.begin(), batches_.end()}};
}

}  // namespace replication
