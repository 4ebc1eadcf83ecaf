#include "host/net/SocketSetup.h"

#include "host/net/FrameHeader.h"

namespace replication {

namespace {

constexpr int kQueueMessages = 1000;
constexpr int kLingerMilliseconds = 500;

}  // namespace

void PrepareSocket(zmq::socket_t& socket) {
    socket.set(zmq::sockopt::sndhwm, kQueueMessages);
    socket.set(zmq::sockopt::rcvhwm, kQueueMessages);
    socket.set(zmq::sockopt::maxmsgsize, static_cast<std::int64_t>(kMaxFrameSize));
    socket.set(zmq::sockopt::linger, kLingerMilliseconds);
}

}  // namespace replication
