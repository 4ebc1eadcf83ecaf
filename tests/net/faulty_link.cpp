// A faulty link between a kep-host server and its joiners, for tests: it passes the
// server's messages and snapshots on, and can lose or reorder messages, mix in
// hostile ones or add records to a batch, as a bad network, a rogue peer or a
// hostile server would. Downstream it serves without keys.
//
//   replication_faulty_link UPSTREAM DOWNSTREAM SECONDS [OPTION...]
//
// --curve-keys DIR           a joiner's keys, to reach an upstream that needs them
// --drop-batch N             the Nth batch (from 1) after the first answer passed on
//                            is not: the joiner is in step by then, however late
// --drop-end N               the first N end messages are not passed on
// --swap-last                the last two batches are passed on in reverse order
// --inject N NAME PATH       a record loading PATH as sound NAME is added to batch N
// --rogue-until S            for the first S seconds, random messages and random
//                            frames with valid-looking headers are published beside
//                            the real ones, and sent to the server as snapshot requests
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <zmq.hpp>
#include <zmq_addon.hpp>

#include "host/net/CurveKeys.h"
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
                {static_cast<FrameKind>(1 + random() % 6),
                 static_cast<replication::PayloadOrder>(random() % 2), random(), random() % 100, 0},
                RandomBytes(random, random() % 200));
    }
}

// A sound loaded by a batch: its record, to add at a batch's end.
struct Injection {
    long batch;
    std::string name;
    std::string path;
};

void PutString(std::vector<std::uint8_t>& out, const std::string& text) {
    for (int i = 0; i < 8; ++i) {
        out.push_back(
            static_cast<std::uint8_t>(static_cast<std::uint64_t>(text.size()) >> (8 * i)));
    }
    out.insert(out.end(), text.begin(), text.end());
}

// The batch with a CreateSound record added for each load meant for it (the
// server writes little-endian).
std::vector<std::uint8_t> WithLoads(const replication::DecodedFrame& batch, long number,
                                    const std::vector<Injection>& loads) {
    std::vector<std::uint8_t> payload(batch.payload.begin(), batch.payload.end());
    std::uint32_t count = 0;
    for (int i = 0; i < 4; ++i) {
        count |= static_cast<std::uint32_t>(payload[1 + i]) << (8 * i);
    }
    for (const Injection& load : loads) {
        if (load.batch == number) {
            ++count;
            payload.insert(payload.end(), {7, 0, 0, 0});
            PutString(payload, load.name);
            PutString(payload, load.path);
        }
    }
    for (int i = 0; i < 4; ++i) {
        payload[1 + i] = static_cast<std::uint8_t>(count >> (8 * i));
    }
    return replication::EncodeFrame(batch.header, payload);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        return 2;
    }
    const std::string upstream = argv[1], downstream = argv[2];
    const auto start = Clock::now();
    const auto end = start + std::chrono::duration<double>(std::atof(argv[3]));
    long dropBatch = 0, dropEnds = 0;
    double rogueSeconds = 0;
    bool swapLast = false;
    std::string keyFolder;
    std::vector<Injection> injections;
    for (int i = 4; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--swap-last") {
            swapLast = true;
        } else if (option == "--inject" && i + 3 < argc) {
            injections.push_back({std::atol(argv[i + 1]), argv[i + 2], argv[i + 3]});
            i += 3;
        } else if (i + 1 >= argc) {
            return 2;
        } else if (option == "--drop-batch") {
            dropBatch = std::atol(argv[++i]);
        } else if (option == "--drop-end") {
            dropEnds = std::atol(argv[++i]);
        } else if (option == "--rogue-until") {
            rogueSeconds = std::atof(argv[++i]);
        } else if (option == "--curve-keys") {
            keyFolder = argv[++i];
        } else {
            return 2;
        }
    }
    const auto rogueEnd = start + std::chrono::duration<double>(rogueSeconds);
    std::string error;
    const auto upstreamSnapshots = replication::SnapshotEndpoint(upstream, error);
    const auto downstreamSnapshots = replication::SnapshotEndpoint(downstream, error);
    std::optional<replication::JoinerKeys> keys;
    if (!keyFolder.empty() && !(keys = replication::ReadJoinerKeys(keyFolder, error))) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 2;
    }
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
    for (zmq::socket_t* socket : {&subscriber, &requester}) {
        if (keys) {
            socket->set(zmq::sockopt::curve_serverkey, keys->serverPublicKey);
            socket->set(zmq::sockopt::curve_publickey, keys->publicKey);
            socket->set(zmq::sockopt::curve_secretkey, keys->secretKey);
        }
    }
    subscriber.set(zmq::sockopt::subscribe, "");
    subscriber.connect(upstream);
    requester.connect(*upstreamSnapshots);
    publisher.bind(downstream);
    answerer.bind(*downstreamSnapshots);

    std::mt19937_64 random(42);
    std::set<std::string> waiting;  // joiners that asked for a snapshot
    long batches = 0;
    long answered = -1;                  // batches since the first answer passed on
    std::deque<zmq::message_t> delayed;  // with --swap-last, the two latest batches
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
            const auto kind = frame ? frame->header.kind : FrameKind::Heartbeat;
            if (kind == FrameKind::Batch) {
                ++batches;
            }
            if (kind == FrameKind::Batch && answered >= 0 && ++answered == dropBatch) {
                continue;
            }
            if (kind == FrameKind::Batch && !injections.empty()) {
                const auto changed = WithLoads(*frame, batches, injections);
                message = zmq::message_t(changed.begin(), changed.end());
            }
            if (kind == FrameKind::End && dropEnds > 0) {
                --dropEnds;
                continue;
            }
            if (swapLast && kind == FrameKind::Batch) {
                delayed.push_back(std::move(message));
                if (delayed.size() > 2) {
                    publisher.send(delayed.front(), zmq::send_flags::dontwait);
                    delayed.pop_front();
                }
                continue;
            }
            if (swapLast && kind == FrameKind::End) {
                for (auto last = delayed.rbegin(); last != delayed.rend(); ++last) {
                    publisher.send(*last, zmq::send_flags::dontwait);
                }
                delayed.clear();
            }
            publisher.send(message, zmq::send_flags::dontwait);
        }
        std::vector<zmq::message_t> answer;
        while (
            zmq::recv_multipart(requester, std::back_inserter(answer), zmq::recv_flags::dontwait)) {
            for (const std::string& joiner : waiting) {
                std::vector<zmq::const_buffer> reply{zmq::buffer(joiner)};
                for (const zmq::message_t& part : answer) {
                    reply.push_back(zmq::buffer(part.data(), part.size()));
                }
                (void)zmq::send_multipart(answerer, reply, zmq::send_flags::dontwait);
            }
            answered = std::max(answered, waiting.empty() ? -1L : 0L);
            waiting.clear();
            answer.clear();
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
                const auto rogue = RogueMessage(random), settings = RogueMessage(random);
                const std::array<zmq::const_buffer, 3> reply{
                    zmq::buffer(joiner), zmq::buffer(rogue), zmq::buffer(settings)};
                (void)zmq::send_multipart(answerer, reply, zmq::send_flags::dontwait);
            }
        }
    }
    return 0;
}
