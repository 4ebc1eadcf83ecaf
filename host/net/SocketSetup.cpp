#include "host/net/SocketSetup.h"

#include "host/net/Endpoint.h"

namespace replication {

namespace {

constexpr int kLingerMilliseconds = 500;

}  // namespace

void PrepareSocket(zmq::socket_t& socket, const SocketBudget& budget, const std::string& endpoint) {
    socket.set(zmq::sockopt::sndhwm, budget.sendQueue);
    socket.set(zmq::sockopt::rcvhwm, budget.receiveQueue);
    socket.set(zmq::sockopt::maxmsgsize, budget.largest);
    socket.set(zmq::sockopt::linger, kLingerMilliseconds);
    socket.set(zmq::sockopt::ipv6, IsIpv6(endpoint) ? 1 : 0);
}

}  // namespace replication
