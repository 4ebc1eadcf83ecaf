#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include <zmq.hpp>

#include "host/net/CurveKeys.h"
#include "host/net/FrameHeader.h"

namespace replication {

// The serving side of replication: publishes each frame's batch to every joiner
// and answers joiners' snapshot requests. Everything runs on the caller's thread
// and nothing waits for a peer: a joiner too slow to take what is published loses
// messages at its bounded queue, notices the gap and asks for a snapshot.
class ReplicationServer {
public:
    struct Stats {
        int peers = 0;  // connections to the publisher
        std::uint64_t sequence = 0;
        std::uint64_t bytesSent = 0;  // published, counted once per message
        std::uint64_t snapshotsSent = 0;
    };

    // Binds the publisher at the endpoint and the snapshot socket beside it; null,
    // with the reason in `error`, if either cannot be bound. With keys, only
    // joiners holding the joiners' key pair get through the handshake.
    static std::unique_ptr<ReplicationServer> Bind(const std::string& endpoint,
                                                   const std::optional<CurveKeys>& keys,
                                                   std::string& error);
    ~ReplicationServer();
    ReplicationServer(const ReplicationServer&) = delete;
    ReplicationServer& operator=(const ReplicationServer&) = delete;

    // Answers handshakes and notes connections; once per frame, before the rest.
    void Service();
    // Publishes a batch as the next in sequence.
    void PublishBatch(std::span<const std::uint8_t> payload);
    // A heartbeat, if nothing was published for a while: it lets joiners notice a
    // lost last batch and a restarted server even while nothing changes.
    void KeepAlive();
    // Answers the requests waiting (up to a bounded number per call) with one
    // snapshot, made only if there is a request; the number answered.
    int AnswerSnapshotRequests(const std::function<std::vector<std::uint8_t>()>& makeSnapshot);
    // Tells the joiners that the run has ended.
    void PublishEnd();

    Stats stats() const { return stats_; }
    std::uint64_t epoch() const { return epoch_; }

private:
    class PeerMonitor;
    ReplicationServer();
    void Publish(FrameKind kind, std::span<const std::uint8_t> payload);

    zmq::context_t context_;
    zmq::socket_t authentication_;  // the handshake handler, with keys only
    zmq::socket_t publisher_;
    zmq::socket_t snapshots_;
    std::unique_ptr<PeerMonitor> monitor_;
    std::string clientKey_;  // binary, 32 bytes, with keys only
    std::uint64_t epoch_;
    Stats stats_;
    std::uint64_t failedLogged_ = 0;
    std::chrono::steady_clock::time_point lastPublished_;
};

}  // namespace replication
