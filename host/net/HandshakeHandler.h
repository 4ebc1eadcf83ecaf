#pragma once

#include <chrono>
#include <map>
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
    // The joiners that got in and have been removed from the allow-list since the
    // last call: their connections must be closed, since a handshake is checked once.
    std::set<std::string> TakeRevoked();
    // Refuses the joiner's handshakes for a while: it has sent what no joiner does.
    void Refuse(const std::string& joiner);

private:
    // The joiner with this key, reading the allow-list again if need be.
    const std::string* Admit(std::string_view publicKey);
    void Refresh(std::chrono::milliseconds interval);

    zmq::socket_t socket_;
    AllowList allowList_;
    std::set<std::string> admitted_;
    std::set<std::string> revoked_;
    std::map<std::string, std::chrono::steady_clock::time_point> refusedUntil_;
};

}  // namespace replication
