#pragma once

#include <set>
#include <string>

#include <zmq.hpp>

#include "host/net/AllowList.h"

namespace replication {

// Answers ZeroMQ's handshake (ZAP) requests for the sockets of one context: a
// peer gets in only with a CURVE key from the allow-list, and what it sends then
// carries the joiner's name as its User-Id.
class HandshakeHandler {
public:
    // Bound before any socket that needs it, so that no handshake goes unchecked.
    HandshakeHandler(zmq::context_t& context, AllowList allowList);

    // Reads the allow-list again if it changed and answers the requests waiting.
    void Service();
    // Whether a joiner that got in has been removed from the allow-list since the
    // last call: its connections must be closed, since a handshake is checked once.
    bool TakeRevocation();

private:
    zmq::socket_t socket_;
    AllowList allowList_;
    std::set<std::string> admitted_;
    bool revoked_ = false;
};

}  // namespace replication
