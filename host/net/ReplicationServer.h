#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include <zmq.hpp>

#include "host/net/CurveKeys.h"
#include "host/net/FrameHeader.h"
#include "host/net/SourceSettings.h"

namespace replication {

class HandshakeHandler;
class PeerMonitor;

// The serving side of replication: publishes each frame's batch to every joiner
// and answers joiners' snapshot requests. Everything runs on the caller's thread
// and nothing waits for a peer: a joiner too slow to take what is published loses
// messages at its bounded queue, notices the gap and asks for a snapshot.
//
// A joiner removed from the allow-list is cut off by closing every connection:
// the others come back at once, and publication waits for them (at most
// kRejoinWait) and then starts again with the batches of the last kReplay before
// the cut, which they have not all received, so that they stay in step.
//
// What a peer can make the server hold is bounded: it accepts messages of at most
// kLargestRequest bytes, a few dozen queued per peer; it offers one subscription
// (the whole stream) and drops any other; it answers each peer (each joiner's key,
// or each connection without keys) at most once per kAnswerInterval, and holds at
// most kSnapshotQueue answers for a peer that does not read them.
class ReplicationServer {
public:
    struct Stats {
        int peers = 0;  // connections to the publisher
        std::uint64_t sequence = 0;
        std::uint64_t bytesSent = 0;  // published, counted once per message
        std::uint64_t snapshotsSent = 0;
        std::uint64_t requestsRefused = 0;  // asked again too soon
    };

    // What answers a request: a snapshot of the state after batch `sequence` of the
    // run `epoch`, what it lacks, and the batches published since (a relay's, whose
    // snapshot is older than its stream), each a whole frame.
    struct Snapshot {
        std::uint64_t epoch = 0;
        std::uint64_t sequence = 0;
        PayloadOrder order = PayloadOrder::Little;
        std::vector<std::uint8_t> state;
        std::vector<SourceSetting> settings;
        std::vector<std::vector<std::uint8_t>> following;
    };
    // Nothing if there is no state to answer with yet.
    using MakeSnapshot = std::function<std::optional<Snapshot>()>;

    static constexpr std::int64_t kLargestRequest = 1024;
    static constexpr auto kAnswerInterval = std::chrono::milliseconds(500);
    static constexpr int kSnapshotQueue = 2;
    static constexpr auto kRejoinWait = std::chrono::milliseconds(1500);
    static constexpr auto kReplay = std::chrono::seconds(2);
    // Routing frames before a request: one from each proxy it came through. Each
    // peer behind a proxy is answered as one, but a sender (a proxy, or anyone who
    // writes such frames) at most kAnswersPerSender times per kAnswerInterval.
    static constexpr std::size_t kLongestEnvelope = 8;
    static constexpr int kAnswersPerSender = 16;

    // Binds the publisher at the endpoint and the snapshot socket beside it; null,
    // with the reason in `error`, if either cannot be bound. With keys, only the
    // joiners in the allow-list get through the handshake; without, anyone.
    static std::unique_ptr<ReplicationServer> Bind(const std::string& endpoint,
                                                   const ServerKeys* keys, std::string& error);
    ~ReplicationServer();
    ReplicationServer(const ReplicationServer&) = delete;
    ReplicationServer& operator=(const ReplicationServer&) = delete;

    // Answers handshakes, takes subscriptions and notes connections; once per
    // frame, before the rest. A joiner removed from the allow-list is cut off here.
    void Service();
    // Publishes a batch as the next in sequence.
    void PublishBatch(std::span<const std::uint8_t> payload);
    // A heartbeat, if nothing was published for a while: it lets joiners notice a
    // lost last batch and a restarted server even while nothing changes. Once the
    // run has ended, the end instead.
    void KeepAlive();
    // Answers the requests waiting (a bounded number per call), with one snapshot
    // made only if a request is to be answered; the number answered. A request that
    // came through proxies is answered back through them.
    int AnswerSnapshotRequests(const MakeSnapshot& makeSnapshot);
    // A relay's: publishes what its upstream published, unchanged, so that its
    // joiners follow the upstream's run; the server's own epoch is not used.
    void Relay();
    void Forward(const DecodedFrame& frame);
    // Tells the joiners that the run has ended with the last batch published; it
    // is told again with every heartbeat after.
    void PublishEnd();
    // Closes every connection, which frees what peers made it hold; publication
    // waits. OpenConnections opens the sockets again, and the joiners come back
    // and stay in step.
    void CloseConnections();
    void OpenConnections();
    // Whether joiners are still awaited after connections were closed.
    bool rejoining() const { return rejoin_.has_value(); }

    Stats stats() const { return stats_; }
    std::uint64_t epoch() const { return epoch_; }

private:
    using Clock = std::chrono::steady_clock;
    using Message = std::vector<std::uint8_t>;
    // Publication held back while the joiners still admitted come back.
    struct Rejoin {
        Clock::time_point cut;
        Clock::time_point reopened;
        std::set<std::string> awaited;  // joiners not yet subscribed again
        std::vector<Message> held;
    };

    ReplicationServer(std::string endpoint, std::string snapshotEndpoint);
    void OpenSockets();
    void CloseSockets();
    // Closes every connection and opens the sockets again; publication waits for
    // the joiners but these.
    void Reopen(const std::set<std::string>& gone);
    void Close(const std::set<std::string>& gone);
    void TakeSubscriptions();
    void Send(const Message& message);
    void Resume();
    void Publish(FrameKind kind, std::span<const std::uint8_t> payload);
    void Publish(Message message, FrameKind kind);
    // False if the peer was answered too recently, or its sender too often.
    bool MayAnswer(const std::string& sender, const std::string& peer) const;
    void NoteAnswer(const std::string& sender, const std::string& peer, Clock::time_point now);

    std::string endpoint_;
    std::string snapshotEndpoint_;
    std::optional<ServerKeys> keys_;
    zmq::context_t context_;
    std::unique_ptr<HandshakeHandler> handshakes_;  // with keys only
    zmq::socket_t publisher_;
    zmq::socket_t snapshots_;
    std::unique_ptr<PeerMonitor> monitor_;
    std::unique_ptr<PeerMonitor> snapshotMonitor_;  // for its failed handshakes
    std::uint64_t failedBefore_ = 0;                // by the sockets closed since
    int monitors_ = 0;
    std::uint64_t epoch_;  // a relay's: 0 until it has heard its upstream
    Stats stats_;
    std::uint64_t failedLogged_ = 0;
    bool ended_ = false;
    bool reopenPending_ = false;  // its address was not free yet
    Clock::time_point lastPublished_;
    std::map<std::string, Clock::time_point> lastAnswered_;  // by peer
    struct AnswerWindow {
        Clock::time_point start;
        int answers = 0;
    };
    std::map<std::string, AnswerWindow> senders_;  // answers per sender in kAnswerInterval
    std::set<std::string> subscribers_;            // the names of the joiners subscribed
    std::deque<std::pair<Clock::time_point, Message>> recent_;  // the latest batches
    std::size_t recentBytes_ = 0;
    std::optional<Rejoin> rejoin_;
};

}  // namespace replication
