#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <vector>

#include "host/net/FrameHeader.h"
#include "host/net/ReplicaFeed.h"
#include "host/net/ReplicationServer.h"
#include "host/net/SourceSettings.h"

namespace replication {

// What a relay answers its joiners with: the last snapshot its upstream gave it,
// and every batch since, as published. It reads neither, so what a joiner behind
// a relay applies is byte for byte what the server sent, and a relay needs no
// sound files. Once the batches outweigh the snapshot a newer one is worth asking
// for; past the limits the state is given up, to be caught up by a snapshot.
class RelayedState {
public:
    struct Limits {
        std::size_t batches = 8192;
        std::size_t bytes = 16u << 20;
    };

    explicit RelayedState(Limits limits) : limits_(limits) {}

    // A feed's Apply: a snapshot starts the state again, a batch adds to it; false
    // past the limits.
    bool Apply(const ReplicaFeed::Frame& frame);
    // A newer snapshot of the same run, within the batches held: they are dropped
    // up to it. False, and nothing changes, for any other.
    bool Rebase(const DecodedFrame& snapshot, const SourceSettings& settings);
    // Whether a newer snapshot would make the answers notably smaller.
    bool Stale() const;
    // What answers a joiner; nothing before the first snapshot.
    std::optional<ReplicationServer::Snapshot> Answer() const;

    std::size_t batches() const { return batches_.size(); }
    std::size_t bytes() const { return snapshot_.size() + batchBytes_; }

private:
    Limits limits_;
    std::optional<FrameHeader> header_;  // the snapshot's
    std::vector<std::uint8_t> snapshot_;
    std::vector<SourceSetting> settings_;
    std::deque<std::vector<std::uint8_t>> batches_;  // whole frames, in sequence after it
    std::size_t batchBytes_ = 0;
};

}  // namespace replication
