#include "host/net/PeerMonitor.h"

namespace replication {

PeerMonitor::PeerMonitor(zmq::socket_t& socket, const std::string& address) {
    init(socket, address,
         ZMQ_EVENT_ACCEPTED | ZMQ_EVENT_DISCONNECTED | ZMQ_EVENT_HANDSHAKE_FAILED_NO_DETAIL |
             ZMQ_EVENT_HANDSHAKE_FAILED_PROTOCOL | ZMQ_EVENT_HANDSHAKE_FAILED_AUTH);
}

void PeerMonitor::on_event_accepted(const zmq_event_t& event, const char*) {
    connections_.insert(event.value);
}

void PeerMonitor::on_event_disconnected(const zmq_event_t& event, const char*) {
    connections_.erase(event.value);
}

void PeerMonitor::on_event_handshake_failed_no_detail(const zmq_event_t&, const char*) {
    ++failedHandshakes_;
}

void PeerMonitor::on_event_handshake_failed_protocol(const zmq_event_t&, const char*) {
    ++failedHandshakes_;
}

void PeerMonitor::on_event_handshake_failed_auth(const zmq_event_t&, const char*) {
    ++failedHandshakes_;
}

}  // namespace replication
