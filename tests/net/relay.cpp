// A relay between a kep-host server and its joiners, for tests: it passes the
// server's messages and snapshots on, and can lose a batch or mix in hostile
// messages, as a bad network or a rogue peer would.
//
//   replication_relay UPSTREAM DOWNSTREAM SECONDS [--drop-batch N] [--rogue-until S]
//
// --drop-batch N   the Nth batch (from 1) is not passed on
// --rogue-until S  for the first S seconds, random messages and random frames with
//                  valid-looking headers are published beside the real ones, and
//                  sent to the server as snapshot requests
#include <array>
#include <chrono>
#include <cstdlib>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <zmq.hpp>
#include <zmq_addon.hpp>

#include "host/net/Endpoint.h"
#include "host/net/FrameHeader.h"

namespace {

using Clock = std::chrono::steady_clock;
using replication::FrameKind;

std::vector<std::uint8_t> RandomBytes(std::mt19937_64& random, std::size_t count) {
    std::vector<std::uint8_t> bytes(count);
    for (auto& byte : bytes) {
        byte = static_cast<std::uint8_t>(random());
    }
    return bytes;
}

// Something hostile: random bytes, or a header that checks around a random
// payload, of a random kind, epoch and sequence; now and then a snapshot whose
// first string claims to be 4 GiB long.
std::vector<std::uint8_t> RogueMessage(std::mt19937_64& random) {
    switch (random() % 3) {
        case 0:
            return RandomBytes(random, random() % 64);
        case 1: {
            const std::vector<std::uint8_t> hugeString{1, 1, 0, 0, 0, 0xf0, 0xff, 0xff, 0xff};
            return replication::EncodeFrame(
                {FrameKind::Snapshot, replication::PayloadOrder::Little, random(), random(), 0},
                hugeString);
        }
        default:
            return replication::EncodeFrame(
                {static_cast<FrameKind>(1 + random() % 5),
                 static_cast<replication::PayloadOrder>(random() % 2), random(), random() % 100, 0},
                RandomBytes(random, random() % 200));
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        return 2;
    }
    const std::string upstream = argv[1], downstream = argv[2];
    const auto start = Clock::now();
    const auto end = start + std::chrono::duration<double>(std::atof(argv[3]));
    long dropBatch = 0;
    double rogueSeconds = 0;
    for (int i = 4; i + 1 < argc; i += 2) {
        if (std::string(argv[i]) == "--drop-batch") {
            dropBatch = std::atol(argv[i + 1]);
        } else if (std::string(argv[i]) == "--rogue-until") {
            rogueSeconds = std::atof(argv[i + 1]);
        }
    }
    const auto rogueEnd = start + std::chrono::duration<double>(rogueSeconds);
    std::string error;
    const auto upstreamSnapshots = replication::SnapshotEndpoint(upstream, error);
    const auto downstreamSnapshots = replication::SnapshotEndpoint(downstream, error);
    if (!upstreamSnapshots || !downstreamSnapshots) {
        return 2;
    }

    zmq::context_t context;
    zmq::socket_t subscriber(context, zmq::socket_type::sub);
    zmq::socket_t publisher(context, zmq::socket_type::pub);
    zmq::socket_t requester(context, zmq::socket_type::dealer);
    zmq::socket_t answerer(context, zmq::socket_type::router);
    for (zmq::socket_t* socket : {&subscriber, &publisher, &requester, &answerer}) {
        socket->set(zmq::sockopt::linger, 0);
    }
    subscriber.set(zmq::sockopt::subscribe, "");
    subscriber.connect(upstream);
    requester.connect(*upstreamSnapshots);
    publisher.bind(downstream);
    answerer.bind(*downstreamSnapshots);

    std::mt19937_64 random(42);
    std::set<std::string> waiting;  // joiners that asked for a snapshot
    long batches = 0;
    auto nextRogue = start;
    std::array<zmq::pollitem_t, 3> items{{{subscriber.handle(), 0, ZMQ_POLLIN, 0},
                                          {requester.handle(), 0, ZMQ_POLLIN, 0},
                                          {answerer.handle(), 0, ZMQ_POLLIN, 0}}};
    while (Clock::now() < end) {
        zmq::poll(items, std::chrono::milliseconds(10));
        zmq::message_t message;
        while (subscriber.recv(message, zmq::recv_flags::dontwait)) {
            std::string ignored;
            const auto frame =
                replication::DecodeFrame({message.data<std::uint8_t>(), message.size()}, ignored);
            if (frame && frame->header.kind == FrameKind::Batch && ++batches == dropBatch) {
                continue;
            }
            publisher.send(message, zmq::send_flags::dontwait);
        }
        while (requester.recv(message, zmq::recv_flags::dontwait)) {
            for (const std::string& joiner : waiting) {
                const std::array<zmq::const_buffer, 2> reply{zmq::buffer(joiner),
                                                             zmq::buffer(message.to_string_view())};
                (void)zmq::send_multipart(answerer, reply, zmq::send_flags::dontwait);
            }
            waiting.clear();
        }
        std::vector<zmq::message_t> request;
        while (
            zmq::recv_multipart(answerer, std::back_inserter(request), zmq::recv_flags::dontwait)) {
            if (request.size() == 2) {
                waiting.insert(request[0].to_string());
                requester.send(request[1], zmq::send_flags::dontwait);
            }
            request.clear();
        }
        if (Clock::now() < rogueEnd && Clock::now() >= nextRogue) {
            nextRogue += std::chrono::milliseconds(20);
            publisher.send(zmq::buffer(RogueMessage(random)), zmq::send_flags::dontwait);
            requester.send(zmq::buffer(RogueMessage(random)), zmq::send_flags::dontwait);
            for (const std::string& joiner : waiting) {
                const auto rogue = RogueMessage(random);
                const std::array<zmq::const_buffer, 2> reply{zmq::buffer(joiner),
                                                             zmq::buffer(rogue)};
                (void)zmq::send_multipart(answerer, reply, zmq::send_flags::dontwait);
            }
        }
    }
    return 0;
}
