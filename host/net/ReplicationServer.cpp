#include "host/net/ReplicationServer.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <random>
#include <set>
#include <thread>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <zmq_addon.hpp>

#include "host/net/Endpoint.h"
#include "host/net/HandshakeHandler.h"
#include "host/net/PeerMonitor.h"
#include "host/net/SocketSetup.h"
#include "kep/Messages.h"

namespace replication {

namespace {

constexpr auto kHeartbeatPeriod = std::chrono::milliseconds(250);
// Requests read per call, and answered per call: a flood of requests costs one
// snapshot a frame, and the rest wait in the socket's bounded queue.
constexpr int kMostRequestsRead = 256;
constexpr int kMostAnswers = 64;
// Subscription messages read per call.
constexpr int kMostSubscriptions = 1024;
// Batches queued for one joiner: about 8 s of a scene that changes every frame.
constexpr int kPublishQueue = 500;
// Requests (or subscriptions) queued from one peer.
constexpr int kInboundQueue = 32;
// A socket closed to cut a joiner off may take a moment to free its address: a
// few tries now, and again on the next frames.
constexpr int kBindAttempts = 5;
constexpr auto kBindRetry = std::chrono::milliseconds(10);
// Batches kept for a replay after a cut, however fast they come.
constexpr std::size_t kMostRecent = 512;
// The bytes of those batches, and of those held back while joiners come back: a
// relay's are as large as its upstream sends.
constexpr std::size_t kMostRecentBytes = 16u << 20;

std::uint64_t NewEpoch() {
    std::random_device random;
    std::uint64_t epoch = 0;
    while (epoch == 0) {  // 0 means "never in step" to a joiner
        epoch =
            (std::uint64_t{random()} << 32) ^ random() ^
            static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    }
    return epoch;
}

void BindRetrying(zmq::socket_t& socket, const std::string& endpoint) {
    for (int attempt = 1;; ++attempt) {
        try {
            socket.bind(endpoint);
            return;
        } catch (const zmq::error_t& failure) {
            if (failure.num() != EADDRINUSE || attempt == kBindAttempts) {
                throw;
            }
            std::this_thread::sleep_for(kBindRetry);
        }
    }
}

std::string Hex(const zmq::message_t& part) {
    return fmt::format("{:02x}", fmt::join(std::span(part.data<std::uint8_t>(), part.size()), ""));
}

// Who sent a request: a joiner's name (its key) when the handshake gave one, else
// the connection.
std::string SenderOf(std::span<const zmq::message_t> request) {
    const char* user = zmq_msg_gets(request.back().handle(), "User-Id");
    return user && *user ? fmt::format("joiner {}", user)
                         : fmt::format("connection {}", Hex(request[0]));
}

// Whom it asks for: the sender or, behind proxies, the one named by the routing
// frames they added.
std::string PeerOf(const std::string& sender, std::span<const zmq::message_t> request) {
    std::string peer = sender;
    for (std::size_t i = 1; i + 1 < request.size(); ++i) {
        fmt::format_to(std::back_inserter(peer), " for {}", Hex(request[i]));
    }
    return peer;
}

// A routing frame ZeroMQ makes is at most this long.
constexpr std::size_t kLongestRoutingFrame = 255;

bool IsRequestShaped(std::span<const zmq::message_t> request) {
    return request.size() >= 2 && request.size() <= ReplicationServer::kLongestEnvelope + 1 &&
           std::all_of(request.begin(), request.end() - 1, [](const zmq::message_t& part) {
               return part.size() <= kLongestRoutingFrame;
           });
}

}  // namespace

ReplicationServer::ReplicationServer(std::string endpoint, std::string snapshotEndpoint)
    : endpoint_(std::move(endpoint)),
      snapshotEndpoint_(std::move(snapshotEndpoint)),
      epoch_(NewEpoch()) {}

ReplicationServer::~ReplicationServer() {
    // Before the sockets they watch.
    monitor_.reset();
    snapshotMonitor_.reset();
}

std::unique_ptr<ReplicationServer> ReplicationServer::Bind(const std::string& endpoint,
                                                           const ServerKeys* keys,
                                                           std::string& error) {
    const auto snapshotEndpoint = SnapshotEndpoint(endpoint, error);
    if (!snapshotEndpoint) {
        return nullptr;
    }
    std::unique_ptr<ReplicationServer> server(
        new ReplicationServer(BindableEndpoint(endpoint), BindableEndpoint(*snapshotEndpoint)));
    try {
        if (keys) {
            auto allowList = AllowList::Open(keys->joiners, error);
            if (!allowList) {
                return nullptr;
            }
            if (allowList->size() == 0) {
                kep::Warning()(
                    "kep-host: no joiner is in the allow-list {} yet: kep-host keygen DIR "
                    "--joiner NAME adds one, and it may connect at once",
                    keys->joiners.string());
            }
            server->keys_ = *keys;
            server->handshakes_ =
                std::make_unique<HandshakeHandler>(server->context_, std::move(*allowList));
        }
        server->OpenSockets();
    } catch (const zmq::error_t& failure) {
        error = fmt::format("cannot serve at {} and {}: {}", endpoint, *snapshotEndpoint,
                            failure.what());
        return nullptr;
    }
    server->lastPublished_ = std::chrono::steady_clock::now();
    return server;
}

void ReplicationServer::OpenSockets() {
    publisher_ = zmq::socket_t(context_, zmq::socket_type::xpub);
    snapshots_ = zmq::socket_t(context_, zmq::socket_type::router);
    PrepareSocket(publisher_, {kPublishQueue, kInboundQueue, kLargestRequest}, endpoint_);
    PrepareSocket(snapshots_, {kSnapshotQueue, kInboundQueue, kLargestRequest}, endpoint_);
    // Subscriptions come to the program, which takes only the one the joiners use.
    publisher_.set(zmq::sockopt::xpub_manual, 1);
    for (zmq::socket_t* socket : {&publisher_, &snapshots_}) {
        if (keys_) {
            socket->set(zmq::sockopt::curve_server, 1);
            socket->set(zmq::sockopt::curve_secretkey, keys_->secretKey);
        }
    }
    monitor_ = std::make_unique<PeerMonitor>(
        publisher_, fmt::format("inproc://replication-events-{}", ++monitors_));
    snapshotMonitor_ = std::make_unique<PeerMonitor>(
        snapshots_, fmt::format("inproc://replication-events-{}", ++monitors_));
    BindRetrying(publisher_, endpoint_);
    BindRetrying(snapshots_, snapshotEndpoint_);
}

void ReplicationServer::CloseSockets() {
    if (monitor_ && snapshotMonitor_) {
        failedBefore_ += monitor_->failedHandshakes() + snapshotMonitor_->failedHandshakes();
    }
    monitor_.reset();
    snapshotMonitor_.reset();
    for (zmq::socket_t* socket : {&publisher_, &snapshots_}) {
        if (*socket) {
            socket->set(zmq::sockopt::linger, 0);
            socket->close();
        }
    }
}

void ReplicationServer::CloseConnections() {
    Close({});
}

void ReplicationServer::OpenConnections() {
    if (publisher_) {
        return;
    }
    try {
        OpenSockets();
    } catch (const zmq::error_t& failure) {
        // Half open is no use: closed, and tried again next time.
        CloseSockets();
        if (!reopenPending_) {
            kep::Warning()("kep-host: cannot serve at {} again yet: {}; trying again", endpoint_,
                           failure.what());
        }
        reopenPending_ = true;
        return;
    }
    reopenPending_ = false;
    if (rejoin_) {
        rejoin_->reopened = Clock::now();
        kep::Debug()("kep-host: connections open again; awaiting {} joiner(s)",
                     rejoin_->awaited.size());
    }
}

void ReplicationServer::Reopen(const std::set<std::string>& gone) {
    Close(gone);
    OpenConnections();
}

void ReplicationServer::Close(const std::set<std::string>& gone) {
    reopenPending_ = false;
    const auto now = Clock::now();
    Rejoin rejoin{now, now, subscribers_, {}};
    for (const std::string& name : gone) {
        rejoin.awaited.erase(name);
    }
    if (rejoin_) {
        rejoin.held = std::move(rejoin_->held);
        rejoin.cut = rejoin_->cut;
    }
    rejoin_ = std::move(rejoin);
    subscribers_.clear();
    if (publisher_) {
        CloseSockets();
    }
}

void ReplicationServer::Resume() {
    kep::Debug()("kep-host: publishing again, {} joiner(s) not back; {} batch(es) held",
                 rejoin_->awaited.size(), rejoin_->held.size());
    const auto replayFrom = rejoin_->cut - kReplay;
    for (const auto& [time, message] : recent_) {
        if (time >= replayFrom && time < rejoin_->cut) {
            Send(message);
        }
    }
    for (const Message& message : rejoin_->held) {
        Send(message);
    }
    rejoin_.reset();
}

void ReplicationServer::Service() {
    if (handshakes_) {
        handshakes_->Service();
        // A handshake is checked once: a joiner removed from the allow-list is cut
        // off by closing every connection; those still in it come back by themselves.
        if (const auto revoked = handshakes_->TakeRevoked(); !revoked.empty()) {
            Reopen(revoked);
        }
    }
    if (reopenPending_) {
        OpenConnections();
    }
    if (!monitor_) {
        return;
    }
    while (monitor_->check_event(0)) {
    }
    while (snapshotMonitor_->check_event(0)) {
    }
    stats_.peers = monitor_->peers();
    // Logged at the 1st, 2nd, 4th, 8th... failure: a peer retrying every few
    // hundred milliseconds cannot flood the log.
    const std::uint64_t failed =
        failedBefore_ + monitor_->failedHandshakes() + snapshotMonitor_->failedHandshakes();
    if (failed > 0 && failed >= 2 * failedLogged_) {
        kep::Warning()(
            "kep-host: {} handshake(s) with peers failed so far: they hold no CURVE "
            "keys, keys not in the allow-list, or another server's key",
            failed);
        failedLogged_ = failed;
    }
    TakeSubscriptions();
    if (rejoin_ && (rejoin_->awaited.empty() || Clock::now() - rejoin_->reopened >= kRejoinWait)) {
        Resume();
    }
}

void ReplicationServer::TakeSubscriptions() {
    std::set<std::string> misbehaving;
    bool subscribed = false;
    zmq::message_t message;
    for (int taken = 0;
         taken < kMostSubscriptions && publisher_.recv(message, zmq::recv_flags::dontwait);
         ++taken) {
        // 1 then a prefix subscribes, 0 then a prefix unsubscribes. Joiners take the
        // whole stream (the empty prefix); ZeroMQ keeps any other prefix, for
        // nothing: a joiner that sends one is cut off and refused for a while.
        const char* user = zmq_msg_gets(message.handle(), "User-Id");
        const std::string joiner = user ? user : "";
        const auto bytes = message.data<std::uint8_t>();
        if (message.size() != 1 || bytes[0] > 1) {
            misbehaving.insert(joiner);
        } else if (bytes[0] == 1) {
            publisher_.set(zmq::sockopt::subscribe, "");
            subscribers_.insert(joiner);
            subscribed = true;
            if (rejoin_) {
                rejoin_->awaited.erase(joiner);
            }
        } else {
            publisher_.set(zmq::sockopt::unsubscribe, "");
            subscribers_.erase(joiner);
        }
    }
    // A joiner asks for its snapshot once it hears the publisher: let it at once.
    // (After every batch already published, so that it overtakes none.)
    if (subscribed && !rejoin_ && epoch_ != 0) {
        Publish(ended_ ? FrameKind::End : FrameKind::Heartbeat, {});
    }
    // Without keys nobody can be told apart: the memory guard bounds what they cost.
    misbehaving.erase("");
    if (!misbehaving.empty() && handshakes_) {
        for (const std::string& joiner : misbehaving) {
            kep::Warning()(
                "kep-host: joiner {} subscribed to what no joiner does; it is cut off and "
                "refused for a minute",
                joiner);
            handshakes_->Refuse(joiner);
        }
        Reopen(misbehaving);
    }
}

void ReplicationServer::Publish(FrameKind kind, std::span<const std::uint8_t> payload) {
    Publish(EncodeFrame({kind, PayloadOrder::Little, epoch_, stats_.sequence, 0}, payload), kind);
}

void ReplicationServer::Publish(Message message, FrameKind kind) {
    const auto now = Clock::now();
    lastPublished_ = now;
    if (kind == FrameKind::Batch) {
        while (!recent_.empty() && (now - recent_.front().first > kReplay + kRejoinWait ||
                                    recent_.size() >= kMostRecent ||
                                    recentBytes_ + message.size() > kMostRecentBytes)) {
            recentBytes_ -= recent_.front().second.size();
            recent_.pop_front();
        }
        recentBytes_ += message.size();
        recent_.emplace_back(now, std::move(message));
    }
    const Message& kept = kind == FrameKind::Batch ? recent_.back().second : message;
    if (rejoin_) {
        // Past the bound, joiners lose the oldest and catch up by a snapshot.
        if (rejoin_->held.size() >= kMostRecent) {
            rejoin_->held.erase(rejoin_->held.begin());
        }
        rejoin_->held.push_back(kept);
    } else {
        Send(kept);
    }
}

void ReplicationServer::Send(const Message& message) {
    if (!publisher_) {
        return;
    }
    // A publisher never blocks: at a peer's queue limit the message is dropped for it.
    (void)publisher_.send(zmq::buffer(message), zmq::send_flags::dontwait);
    stats_.bytesSent += message.size();
}

void ReplicationServer::PublishBatch(std::span<const std::uint8_t> payload) {
    ++stats_.sequence;
    Publish(FrameKind::Batch, payload);
}

void ReplicationServer::Relay() {
    epoch_ = 0;
}

void ReplicationServer::Forward(const DecodedFrame& frame) {
    const FrameHeader& header = frame.header;
    // Batches replayed upstream after a cut come again: the sequence stays.
    if (header.epoch != epoch_ || header.kind != FrameKind::Batch ||
        header.sequence > stats_.sequence) {
        stats_.sequence = header.sequence;
    }
    epoch_ = header.epoch;
    ended_ = header.kind == FrameKind::End;
    Publish(EncodeFrame(header, frame.payload), header.kind);
}

void ReplicationServer::KeepAlive() {
    // While joiners come back, a heartbeat would tell them of batches held back.
    if (!rejoin_ && epoch_ != 0 && Clock::now() - lastPublished_ >= kHeartbeatPeriod) {
        Publish(ended_ ? FrameKind::End : FrameKind::Heartbeat, {});
    }
}

void ReplicationServer::PublishEnd() {
    ended_ = true;
    Publish(FrameKind::End, {});
}

bool ReplicationServer::MayAnswer(const std::string& sender, const std::string& peer) const {
    const auto window = senders_.find(sender);
    return !lastAnswered_.contains(peer) &&
           (window == senders_.end() || window->second.answers < kAnswersPerSender);
}

void ReplicationServer::NoteAnswer(const std::string& sender, const std::string& peer,
                                   Clock::time_point now) {
    lastAnswered_.emplace(peer, now);
    ++senders_.try_emplace(sender, AnswerWindow{now, 0}).first->second.answers;
}

int ReplicationServer::AnswerSnapshotRequests(const MakeSnapshot& makeSnapshot) {
    if (!snapshots_) {
        return 0;
    }
    std::optional<Snapshot> snapshot;
    std::optional<Message> state;
    int answered = 0;
    std::vector<zmq::message_t> request;
    std::vector<zmq::const_buffer> reply;
    const auto now = std::chrono::steady_clock::now();
    // Peers answered long enough ago may be answered again.
    std::erase_if(lastAnswered_,
                  [&](const auto& entry) { return now - entry.second >= kAnswerInterval; });
    std::erase_if(senders_,
                  [&](const auto& entry) { return now - entry.second.start >= kAnswerInterval; });
    for (int received = 0;
         received < kMostRequestsRead && answered < kMostAnswers &&
         zmq::recv_multipart(snapshots_, std::back_inserter(request), zmq::recv_flags::dontwait);
         ++received, request.clear()) {
        // The routing frames (the peer's, then one per proxy), then the request;
        // anything else is not a request.
        std::string error;
        const auto frame =
            IsRequestShaped(request)
                ? DecodeFrame({request.back().data<std::uint8_t>(), request.back().size()}, error)
                : std::nullopt;
        const auto requestId = frame && frame->header.kind == FrameKind::SnapshotRequest
                                   ? DecodeRequestId(frame->payload)
                                   : std::nullopt;
        if (!requestId) {
            continue;
        }
        const std::string sender = SenderOf(request);
        const std::string peer = PeerOf(sender, request);
        if (!MayAnswer(sender, peer)) {
            ++stats_.requestsRefused;
            continue;
        }
        if (!state) {
            snapshot = makeSnapshot();
            if (!snapshot) {
                continue;  // not answered: it may ask again at once
            }
            state = EncodeFrame(
                {FrameKind::Snapshot, snapshot->order, snapshot->epoch, snapshot->sequence, 0},
                snapshot->state);
        }
        const auto extra = EncodeFrame({FrameKind::SourceSettings, PayloadOrder::Little,
                                        snapshot->epoch, snapshot->sequence, 0},
                                       EncodeSourceSettings(*requestId, snapshot->settings));
        reply.clear();
        for (std::size_t i = 0; i + 1 < request.size(); ++i) {
            reply.push_back(zmq::buffer(request[i].data(), request[i].size()));
        }
        reply.push_back(zmq::buffer(*state));
        reply.push_back(zmq::buffer(extra));
        std::size_t bytes = state->size() + extra.size();
        for (const Message& batch : snapshot->following) {
            reply.push_back(zmq::buffer(batch));
            bytes += batch.size();
        }
        NoteAnswer(sender, peer, now);
        // A peer gone, or not reading, loses the answer and asks again.
        (void)zmq::send_multipart(snapshots_, reply, zmq::send_flags::dontwait);
        kep::Info()("kep-host: sent {} the snapshot of batch {}{}", peer, snapshot->sequence,
                    snapshot->following.empty()
                        ? std::string()
                        : fmt::format(" and {} batch(es) after it", snapshot->following.size()));
        stats_.bytesSent += bytes;
        ++stats_.snapshotsSent;
        ++answered;
    }
    return answered;
}

}  // namespace replication
