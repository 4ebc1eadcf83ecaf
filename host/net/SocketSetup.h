#pragma once

#include <cstdint>
#include <string>

#include <zmq.hpp>

namespace replication {

// What one replication socket may hold: ZeroMQ bounds its queues in messages, so
// the bytes it can hold are the queue times the largest message it accepts.
struct SocketBudget {
    int sendQueue = 0;         // messages waiting for each peer
    int receiveQueue = 0;      // messages waiting for the program, from each peer
    std::int64_t largest = 0;  // bytes of the largest message part accepted
};

// Room in the largest message for what surrounds the payload: the frame's header,
// encryption, and the handshake's own messages, which the same limit bounds
// (CURVE's are about 300 bytes).
inline constexpr std::int64_t kMessageSlack = 1024;

// Sets the socket's budget, how long it still tries to deliver when closed, and
// IPv6 where the endpoint needs it.
void PrepareSocket(zmq::socket_t& socket, const SocketBudget& budget, const std::string& endpoint);

}  // namespace replication
