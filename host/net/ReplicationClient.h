#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <zmq.hpp>

#include "host/net/CurveKeys.h"

namespace replication {

// The joining side's sockets: a subscriber to everything the server publishes,
// and a socket that asks it for snapshots. Both reconnect by themselves when the
// server goes away and comes back.
class ReplicationClient {
public:
    // One message: a single part from the publisher; an answer's parts.
    using Receiver =
        std::function<void(std::span<const std::span<const std::uint8_t>> parts, bool answer)>;

    // The largest messages accepted. ZeroMQ counts its queues in messages, so
    // these bound what the server can make the joiner hold: kBatchQueue batches
    // and kAnswerQueue answers.
    struct Limits {
        std::size_t batchBytes = 1u << 20;
        std::size_t snapshotBytes = 16u << 20;
    };
    static constexpr int kBatchQueue = 100;
    static constexpr int kAnswerQueue = 2;
    // The most bytes the queues hold with these limits, an answer being read too.
    static constexpr std::uint64_t MostQueued(Limits limits) {
        return kBatchQueue * limits.batchBytes + (kAnswerQueue + 1) * limits.snapshotBytes;
    }

    // Null, with the reason in `error`, if the endpoint is not one to connect to.
    // With keys, the handshake proves the joiner's key and checks the server's.
    static std::unique_ptr<ReplicationClient> Connect(const std::string& endpoint,
                                                      const JoinerKeys* keys, Limits limits,
                                                      std::string& error);
    ReplicationClient(const ReplicationClient&) = delete;
    ReplicationClient& operator=(const ReplicationClient&) = delete;

    // Closes both connections, which frees what the server made them hold, and
    // opens them again. ZeroMQ does not connect again by itself after a message
    // larger than the limit.
    void Reconnect();
    // Closes both connections; nothing is received until Open.
    void Close();
    void Open();
    // Asks for a snapshot, naming the request; false if no connection to the
    // server could take the request now.
    bool RequestSnapshot(std::uint64_t requestId);
    // Gives each message that arrives until the deadline to `receive`.
    void ReceiveUntil(std::chrono::steady_clock::time_point deadline, const Receiver& receive);
    std::uint64_t bytesReceived() const { return bytesReceived_; }
    // Whether anything has come from the publisher: only then is the subscription
    // live, and a snapshot asked for is followed by every batch after it.
    bool subscribed() const { return subscribed_; }

private:
    ReplicationClient(std::string endpoint, std::string snapshotEndpoint,
                      std::optional<JoinerKeys> keys, Limits limits);
    void OpenSockets();

    std::string endpoint_;
    std::string snapshotEndpoint_;
    std::optional<JoinerKeys> keys_;
    Limits limits_;
    zmq::context_t context_;
    zmq::socket_t subscriber_;
    zmq::socket_t requester_;
    std::uint64_t bytesReceived_ = 0;
    bool subscribed_ = false;
};

}  // namespace replication
