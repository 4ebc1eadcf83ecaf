#pragma once

#include <zmq.hpp>

namespace replication {

// Bounds shared by every replication socket: how many messages wait for a peer
// or for the program, how large a message may be, and how long a closing socket
// still tries to deliver what it holds.
void PrepareSocket(zmq::socket_t& socket);

}  // namespace replication
