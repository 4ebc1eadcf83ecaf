#include "host/net/HandshakeHandler.h"

#include <array>
#include <iterator>
#include <utility>
#include <vector>

#include <zmq_addon.hpp>

#include "kep/Messages.h"

namespace replication {

namespace {

// ZeroMQ's well-known address of the handshake handler.
constexpr const char* kEndpoint = "inproc://zeromq.zap.01";
// Requests taken per call; the rest wait in the socket's queue.
constexpr int kMostRequestsPerCall = 256;
// Removing a key takes effect within this, plus the time to close connections.
constexpr auto kCheckPeriod = std::chrono::milliseconds(250);
// A joiner refused at its handshake does not try again, so an unknown key has the
// allow-list read again first if it has changed: one just added gets in.
constexpr auto kUnknownKeyCheckPeriod = std::chrono::milliseconds(0);
// How long a joiner that misbehaved is refused.
constexpr auto kRefusal = std::chrono::seconds(60);

}  // namespace

HandshakeHandler::HandshakeHandler(zmq::context_t& context, AllowList allowList)
    : socket_(context, zmq::socket_type::rep), allowList_(std::move(allowList)) {
    socket_.set(zmq::sockopt::linger, 0);
    socket_.bind(kEndpoint);
}

void HandshakeHandler::Refresh(std::chrono::milliseconds interval) {
    for (const std::string& name : allowList_.Refresh(interval)) {
        if (admitted_.erase(name) > 0) {
            kep::Info()("kep-host: joiner {} was removed from the allow-list; cutting it off",
                        name);
            revoked_.insert(name);
        }
    }
}

void HandshakeHandler::Refuse(const std::string& joiner) {
    refusedUntil_[joiner] = std::chrono::steady_clock::now() + kRefusal;
    admitted_.erase(joiner);
}

const std::string* HandshakeHandler::Admit(std::string_view publicKey) {
    const std::string* joiner = allowList_.Find(publicKey);
    if (!joiner) {
        Refresh(kUnknownKeyCheckPeriod);
        joiner = allowList_.Find(publicKey);
    }
    const auto now = std::chrono::steady_clock::now();
    std::erase_if(refusedUntil_, [&](const auto& entry) { return entry.second <= now; });
    if (joiner && refusedUntil_.contains(*joiner)) {
        return nullptr;
    }
    if (joiner && admitted_.insert(*joiner).second) {
        kep::Debug()("kep-host: joiner {} admitted", *joiner);
    }
    return joiner;
}

void HandshakeHandler::Service() {
    Refresh(kCheckPeriod);
    // Each request: version, request id, domain, address, routing id, mechanism, key.
    std::vector<zmq::message_t> request;
    for (int taken = 0;
         taken < kMostRequestsPerCall &&
         zmq::recv_multipart(socket_, std::back_inserter(request), zmq::recv_flags::dontwait);
         ++taken) {
        // Every request is answered, as its socket requires; one that is not whole
        // (ZeroMQ sends only whole ones) is refused.
        const std::string* joiner = request.size() >= 7 && request[5].to_string_view() == "CURVE"
                                        ? Admit(request[6].to_string_view())
                                        : nullptr;
        const zmq::const_buffer requestId = request.size() > 1
                                                ? zmq::buffer(request[1].data(), request[1].size())
                                                : zmq::const_buffer();
        const std::array<zmq::const_buffer, 6> reply{
            zmq::str_buffer("1.0"),
            requestId,
            zmq::buffer(joiner ? std::string_view("200") : std::string_view("400")),
            zmq::buffer(joiner ? std::string_view("OK")
                               : std::string_view("not in the allow-list")),
            zmq::buffer(joiner ? std::string_view(*joiner) : std::string_view()),
            zmq::str_buffer("")};
        zmq::send_multipart(socket_, reply);
        request.clear();
    }
}

std::set<std::string> HandshakeHandler::TakeRevoked() {
    return std::exchange(revoked_, {});
}

}  // namespace replication
