#pragma once

#include <cstdint>
#include <set>

#include <zmq_addon.hpp>

namespace replication {

// Counts a server socket's connections, and the handshakes that failed on it,
// from the socket's events.
class PeerMonitor : public zmq::monitor_t {
public:
    // Watches the socket; events are taken by check_event.
    PeerMonitor(zmq::socket_t& socket, const std::string& address);

    int peers() const { return static_cast<int>(connections_.size()); }
    std::uint64_t failedHandshakes() const { return failedHandshakes_; }

private:
    void on_event_accepted(const zmq_event_t& event, const char*) override;
    void on_event_disconnected(const zmq_event_t& event, const char*) override;
    void on_event_handshake_failed_no_detail(const zmq_event_t&, const char*) override;
    void on_event_handshake_failed_protocol(const zmq_event_t&, const char*) override;
    void on_event_handshake_failed_auth(const zmq_event_t&, const char*) override;

    std::set<std::int32_t> connections_;  // their descriptors
    std::uint64_t failedHandshakes_ = 0;
};

}  // namespace replication
