#include "host/net/ReplicationServer.h"

#include <array>
#include <random>

#include <fmt/format.h>
#include <zmq_addon.hpp>

#include "host/net/Endpoint.h"
#include "host/net/SocketSetup.h"
#include "kep/Messages.h"

namespace replication {

namespace {

constexpr auto kHeartbeatPeriod = std::chrono::milliseconds(250);
// Snapshot requests answered per call: a flood of requests costs one snapshot a
// frame, and the rest wait in the socket's bounded queue.
constexpr int kMaxRequestsPerCall = 64;
// ZeroMQ's well-known address of the handshake (ZAP) handler.
constexpr const char* kAuthenticationEndpoint = "inproc://zeromq.zap.01";

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

}  // namespace

// Counts the connections to the publisher, and the handshakes that failed, from
// its socket's events.
class ReplicationServer::PeerMonitor : public zmq::monitor_t {
public:
    int peers() const { return static_cast<int>(connections_.size()); }
    std::uint64_t failedHandshakes() const { return failedHandshakes_; }

private:
    void on_event_accepted(const zmq_event_t& event, const char*) override {
        connections_.insert(event.value);
    }
    void on_event_disconnected(const zmq_event_t& event, const char*) override {
        connections_.erase(event.value);
    }

    void on_event_handshake_failed_no_detail(const zmq_event_t&, const char*) override {
        ++failedHandshakes_;
    }
    void on_event_handshake_failed_protocol(const zmq_event_t&, const char*) override {
        ++failedHandshakes_;
    }
    void on_event_handshake_failed_auth(const zmq_event_t&, const char*) override {
        ++failedHandshakes_;
    }

    std::set<std::int32_t> connections_;
    std::uint64_t failedHandshakes_ = 0;
};

ReplicationServer::ReplicationServer() : epoch_(NewEpoch()) {}

ReplicationServer::~ReplicationServer() {
    monitor_.reset();  // before the socket it watches
}

std::unique_ptr<ReplicationServer> ReplicationServer::Bind(const std::string& endpoint,
                                                           const std::optional<CurveKeys>& keys,
                                                           std::string& error) {
    const auto snapshotEndpoint = SnapshotEndpoint(endpoint, error);
    if (!snapshotEndpoint) {
        return nullptr;
    }
    std::unique_ptr<ReplicationServer> server(new ReplicationServer());
    try {
        if (keys) {
            // Bound before any socket that needs it, so that no handshake goes unchecked.
            server->authentication_ = zmq::socket_t(server->context_, zmq::socket_type::rep);
            server->authentication_.set(zmq::sockopt::linger, 0);
            server->authentication_.bind(kAuthenticationEndpoint);
            server->clientKey_.resize(32);
            zmq_z85_decode(reinterpret_cast<std::uint8_t*>(server->clientKey_.data()),
                           keys->clientPublic.c_str());
        }
        server->publisher_ = zmq::socket_t(server->context_, zmq::socket_type::pub);
        server->snapshots_ = zmq::socket_t(server->context_, zmq::socket_type::router);
        for (zmq::socket_t* socket : {&server->publisher_, &server->snapshots_}) {
            PrepareSocket(*socket);
            if (keys) {
                socket->set(zmq::sockopt::curve_server, 1);
                socket->set(zmq::sockopt::curve_secretkey, keys->serverSecret);
            }
        }
        server->monitor_ = std::make_unique<PeerMonitor>();
        server->monitor_->init(
            server->publisher_, "inproc://publisher-events",
            ZMQ_EVENT_ACCEPTED | ZMQ_EVENT_DISCONNECTED | ZMQ_EVENT_HANDSHAKE_FAILED_NO_DETAIL |
                ZMQ_EVENT_HANDSHAKE_FAILED_PROTOCOL | ZMQ_EVENT_HANDSHAKE_FAILED_AUTH);
        server->publisher_.bind(BindableEndpoint(endpoint));
        server->snapshots_.bind(BindableEndpoint(*snapshotEndpoint));
    } catch (const zmq::error_t& failure) {
        error = fmt::format("cannot serve at {} and {}: {}", endpoint, *snapshotEndpoint,
                            failure.what());
        return nullptr;
    }
    server->lastPublished_ = std::chrono::steady_clock::now();
    return server;
}

void ReplicationServer::Service() {
    while (monitor_->check_event(0)) {
    }
    stats_.peers = monitor_->peers();
    // Logged at the 1st, 2nd, 4th, 8th... failure: a peer retrying every few
    // hundred milliseconds cannot flood the log.
    const std::uint64_t failed = monitor_->failedHandshakes();
    if (failed > 0 && failed >= 2 * failedLogged_) {
        kep::Warning()(
            "kep-host: {} handshake(s) with peers failed so far: they hold no CURVE "
            "keys, or other ones than this server's --curve-keys",
            failed);
        failedLogged_ = failed;
    }
    if (!authentication_) {
        return;
    }
    // Each request: version, request id, domain, address, identity, mechanism, key.
    std::vector<zmq::message_t> request;
    while (zmq::recv_multipart(authentication_, std::back_inserter(request),
                               zmq::recv_flags::dontwait)) {
        // Every request is answered, as its socket requires; one that is not whole
        // (ZeroMQ sends only whole ones) is refused.
        const bool allowed = request.size() >= 7 && request[5].to_string_view() == "CURVE" &&
                             request[6].to_string_view() == clientKey_;
        const zmq::const_buffer requestId = request.size() > 1
                                                ? zmq::buffer(request[1].data(), request[1].size())
                                                : zmq::const_buffer();
        const std::array<zmq::const_buffer, 6> reply{
            zmq::str_buffer("1.0"),
            requestId,
            zmq::buffer(allowed ? std::string_view("200") : std::string_view("400")),
            zmq::buffer(allowed ? std::string_view("OK") : std::string_view("unknown key")),
            zmq::str_buffer(""),
            zmq::str_buffer("")};
        zmq::send_multipart(authentication_, reply);
        request.clear();
    }
}

void ReplicationServer::Publish(FrameKind kind, std::span<const std::uint8_t> payload) {
    const auto message =
        EncodeFrame({kind, PayloadOrder::Little, epoch_, stats_.sequence, 0}, payload);
    // A publisher never blocks: at a peer's queue limit the message is dropped for it.
    (void)publisher_.send(zmq::buffer(message), zmq::send_flags::dontwait);
    stats_.bytesSent += message.size();
    lastPublished_ = std::chrono::steady_clock::now();
}

void ReplicationServer::PublishBatch(std::span<const std::uint8_t> payload) {
    ++stats_.sequence;
    Publish(FrameKind::Batch, payload);
}

void ReplicationServer::KeepAlive() {
    if (std::chrono::steady_clock::now() - lastPublished_ >= kHeartbeatPeriod) {
        Publish(FrameKind::Heartbeat, {});
    }
}

void ReplicationServer::PublishEnd() {
    Publish(FrameKind::End, {});
}

int ReplicationServer::AnswerSnapshotRequests(
    const std::function<std::vector<std::uint8_t>()>& makeSnapshot) {
    std::vector<std::uint8_t> snapshot;
    int answered = 0;
    std::vector<zmq::message_t> request;
    for (int received = 0;
         received < kMaxRequestsPerCall &&
         zmq::recv_multipart(snapshots_, std::back_inserter(request), zmq::recv_flags::dontwait);
         ++received) {
        // The peer's identity, then its request; anything else is not a request.
        std::string error;
        const auto frame =
            request.size() == 2
                ? DecodeFrame({request[1].data<std::uint8_t>(), request[1].size()}, error)
                : std::nullopt;
        if (frame && frame->header.kind == FrameKind::SnapshotRequest) {
            if (snapshot.empty()) {
                snapshot = EncodeFrame(
                    {FrameKind::Snapshot, PayloadOrder::Little, epoch_, stats_.sequence, 0},
                    makeSnapshot());
            }
            const std::array<zmq::const_buffer, 2> reply{
                zmq::buffer(request[0].data(), request[0].size()), zmq::buffer(snapshot)};
            // An unroutable or full peer loses the answer and asks again.
            (void)zmq::send_multipart(snapshots_, reply, zmq::send_flags::dontwait);
            stats_.bytesSent += snapshot.size();
            ++stats_.snapshotsSent;
            ++answered;
        }
        request.clear();
    }
    return answered;
}

}  // namespace replication
