#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/net/FrameHeader.h"
#include "host/net/MemoryGuard.h"
#include "host/net/ReplicaFeed.h"
#include "host/net/ReplicationClient.h"
#include "host/net/SourceSettings.h"

namespace replication {

// Follows a serving instance (a server, or a relay: they cannot be told apart):
// receives what it publishes and keeps a feed in step with it, asks for snapshots
// while the feed waits for one, and connects again when the server falls silent,
// leaves a request unanswered for longer than it would, or makes this process hold
// more memory than the guard allows.
class Follower {
public:
    using Clock = std::chrono::steady_clock;

    // An answer to a snapshot request, checked: the snapshot, what came beside it,
    // and the batches after it (a relay's).
    struct Answer {
        DecodedFrame snapshot;
        DecodedFrame extra;
        SourceSettings settings;
        std::vector<DecodedFrame> following;
    };
    struct Hooks {
        ReplicaFeed::Apply apply;
        // Every frame from the publisher that checks, before the feed takes it.
        std::function<void(const DecodedFrame&)> published;
        // An answer that came while the feed was in step: a relay's own request.
        std::function<void(const Answer&)> answered;
        // A relay's: its own connections, closed and opened again with the
        // upstream's when the memory guard acts. Memory that closing every
        // connection did not free is then its own; without, the follower leaves.
        std::function<void(bool open)> connections;
    };
    enum class Outcome { Running, Ended, Failed };

    // `endpoint` names the server in log lines; `timeout` is how long it may stay
    // unheard, or, before the first snapshot, unanswered.
    Follower(ReplicationClient& client, MemoryGuard& memory, std::string endpoint,
             std::chrono::duration<double> timeout, Hooks hooks);

    // Gives what arrives until the deadline to the feed.
    void ReceiveUntil(Clock::time_point deadline);
    // Once per frame, after receiving: asks, reconnects, and says whether the run
    // goes on, has ended with the feed in step at its last batch, or has failed
    // (the reason in failure()).
    Outcome Step();
    // Asks for a snapshot now, though in step; at most once a second. Its answer
    // goes to Hooks::answered.
    void AskAgain();

    const ReplicaFeed& feed() const { return feed_; }
    const std::string& failure() const { return failure_; }
    std::uint64_t bytesReceived() const { return client_.bytesReceived(); }

private:
    using Parts = std::span<const std::span<const std::uint8_t>>;

    bool KeepConnected(Clock::time_point now);
    void Receive(Parts parts, bool answer);
    bool ReceivePublished(Parts parts, std::string& error);
    bool ReceiveAnswer(Parts parts, std::string& error);
    void Request(Clock::time_point now);

    ReplicationClient& client_;
    MemoryGuard& memory_;
    std::string endpoint_;
    std::chrono::duration<double> timeout_;
    Hooks hooks_;
    ReplicaFeed feed_;
    std::string failure_;
    int faults_ = 0;
    bool heard_ = false;
    Clock::time_point started_;
    Clock::time_point lastHeard_;
    Clock::time_point lastReconnect_;
    Clock::time_point lastRequest_;
    std::optional<Clock::time_point> firstUnanswered_;
    std::optional<Clock::time_point> closed_;  // by the memory guard
    bool upstreamClosed_ = false;
    std::optional<Clock::time_point> endHeard_;
    std::uint64_t ownRequest_ = 0;  // asked while in step
};

}  // namespace replication
