#include "host/net/ReplicationClient.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <thread>

#include <fmt/format.h>
#include <zmq_addon.hpp>

#include "host/net/Endpoint.h"
#include "host/net/FrameHeader.h"
#include "host/net/SocketSetup.h"
#include "host/net/SourceSettings.h"

namespace replication {

namespace {

constexpr int kMaxMessagesPerPoll = 1000;
constexpr int kRequestQueue = 2;

}  // namespace

ReplicationClient::ReplicationClient(std::string endpoint, std::string snapshotEndpoint,
                                     std::optional<JoinerKeys> keys, Limits limits)
    : endpoint_(std::move(endpoint)),
      snapshotEndpoint_(std::move(snapshotEndpoint)),
      keys_(std::move(keys)),
      limits_(limits) {}

std::unique_ptr<ReplicationClient> ReplicationClient::Connect(const std::string& endpoint,
                                                              const JoinerKeys* keys, Limits limits,
                                                              std::string& error) {
    const auto snapshotEndpoint = SnapshotEndpoint(endpoint, error);
    if (!snapshotEndpoint) {
        return nullptr;
    }
    std::unique_ptr<ReplicationClient> client(
        new ReplicationClient(BindableEndpoint(endpoint), BindableEndpoint(*snapshotEndpoint),
                              keys ? std::optional(*keys) : std::nullopt, limits));
    try {
        client->OpenSockets();
    } catch (const zmq::error_t& failure) {
        error = fmt::format("cannot connect to {}: {}", endpoint, failure.what());
        return nullptr;
    }
    return client;
}

void ReplicationClient::OpenSockets() {
    subscriber_ = zmq::socket_t(context_, zmq::socket_type::sub);
    requester_ = zmq::socket_t(context_, zmq::socket_type::dealer);
    PrepareSocket(
        subscriber_,
        {0, kBatchQueue,
         static_cast<std::int64_t>(limits_.batchBytes + kFrameHeaderSize) + kMessageSlack},
        endpoint_);
    PrepareSocket(
        requester_,
        {kRequestQueue, kAnswerQueue,
         static_cast<std::int64_t>(limits_.snapshotBytes + kFrameHeaderSize) + kMessageSlack},
        endpoint_);
    for (zmq::socket_t* socket : {&subscriber_, &requester_}) {
        socket->set(zmq::sockopt::linger, 0);
        if (keys_) {
            socket->set(zmq::sockopt::curve_serverkey, keys_->serverPublicKey);
            socket->set(zmq::sockopt::curve_publickey, keys_->publicKey);
            socket->set(zmq::sockopt::curve_secretkey, keys_->secretKey);
        }
    }
    subscriber_.set(zmq::sockopt::subscribe, "");
    // A request is only queued for a connection that is complete, so requests
    // made while the server is away are refused instead of piling up.
    requester_.set(zmq::sockopt::immediate, 1);
    subscriber_.connect(endpoint_);
    requester_.connect(snapshotEndpoint_);
    subscribed_ = false;
}

void ReplicationClient::Reconnect() {
    Close();
    Open();
}

void ReplicationClient::Close() {
    subscriber_.close();
    requester_.close();
}

void ReplicationClient::Open() {
    if (!subscriber_) {
        OpenSockets();
    }
}

bool ReplicationClient::RequestSnapshot(std::uint64_t requestId) {
    if (!requester_) {
        return false;
    }
    const auto request = EncodeFrame({FrameKind::SnapshotRequest}, EncodeRequestId(requestId));
    return requester_.send(zmq::buffer(request), zmq::send_flags::dontwait).has_value();
}

void ReplicationClient::ReceiveUntil(std::chrono::steady_clock::time_point deadline,
                                     const Receiver& receive) {
    if (!subscriber_) {
        std::this_thread::sleep_until(deadline);
        return;
    }
    std::array<zmq::pollitem_t, 2> items{
        {{subscriber_.handle(), 0, ZMQ_POLLIN, 0}, {requester_.handle(), 0, ZMQ_POLLIN, 0}}};
    std::vector<zmq::message_t> message;
    std::vector<std::span<const std::uint8_t>> parts;
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        try {
            if (zmq::poll(items, std::max(left, std::chrono::milliseconds(0))) == 0) {
                return;
            }
        } catch (const zmq::error_t& error) {
            if (error.num() == EINTR) {
                return;  // a signal (Ctrl-C): the caller's frame clock has noted it
            }
            throw;
        }
        for (std::size_t i = 0; i < items.size(); ++i) {
            zmq::socket_t& socket = i == 0 ? subscriber_ : requester_;
            const bool answer = i == 1;
            // Bounded, so that a flood cannot keep the caller past its deadline.
            for (int taken = 0; taken < kMaxMessagesPerPoll && items[i].revents & ZMQ_POLLIN &&
                                zmq::recv_multipart(socket, std::back_inserter(message),
                                                    zmq::recv_flags::dontwait);
                 ++taken, message.clear()) {
                parts.clear();
                for (const zmq::message_t& part : message) {
                    bytesReceived_ += part.size();
                    parts.emplace_back(part.data<std::uint8_t>(), part.size());
                }
                subscribed_ = subscribed_ || !answer;
                receive(parts, answer);
            }
        }
        if (left.count() <= 0) {
            return;
        }
    }
}

}  // namespace replication
