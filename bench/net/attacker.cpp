// A hostile peer of a kep-host server, or a hostile server for kep-host joiners,
// for tests and measurements. Each mode runs for the seconds given, prints what it
// did, and exits 0 (2 on a usage error).
//
//   replication_attacker requests ENDPOINT SECONDS CONNECTIONS
//       CONNECTIONS sockets send valid snapshot requests as fast as they can and
//       never read the answers.
//   replication_attacker subscriptions ENDPOINT SECONDS COUNT BYTES [--wire]
//       one subscriber makes COUNT distinct subscriptions of BYTES bytes each
//       (with --wire without keeping them itself).
//   replication_attacker multipart ENDPOINT SECONDS [--to snapshot|publisher] [--wire]
//                                  [--part-bytes N] [--limit-mb M]
//       one message that never ends (every part "more"), parts of N bytes (64 KiB),
//       until M MiB (2048) have gone. ZeroMQ holds an unfinished message in the
//       sender, so through a ZeroMQ socket it costs only this program; --wire
//       writes the ZMTP frames on a TCP connection of its own, so they reach the
//       peer (tcp endpoints only).
//   replication_attacker server ENDPOINT SECONDS MODE [ARGS]
//       binds like kep-host serve, publishes heartbeats, answers snapshot requests
//       with an empty snapshot and, once a joiner is in step, publishes:
//         paths PATH...           one batch loading each path as sound injectedN
//         repeat NAME PATH COUNT  COUNT batches each loading PATH as NAME
//         unknown MB              one batch of MB MiB of records of unknown code 13
//         huge-names COUNT        COUNT answers, then COUNT batches, whose first
//                                 string claims 16 MiB
//         unsolicited             answers to joiners that did not ask, then answers
//                                 whose request ids are off by one, then true ones
//         multipart               one published message that never ends (with
//                                 --wire: on the wire, insecure only)
//       then, for its last 3 s, the end of the run with its last batch.
//
// --curve-keys DIR: as a peer, a joiner's folder (kep-host keygen DIR --joiner
// NAME); as a server, the server's folder, whose allow-list is admitted.
#include <netdb.h>
#include <sodium.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <zmq.hpp>
#include <zmq_addon.hpp>

#include "host/net/AllowList.h"
#include "host/net/CurveKeys.h"
#include "host/net/Endpoint.h"
#include "host/net/FrameHeader.h"
#include "host/net/HandshakeHandler.h"
#include "host/net/LittleEndian.h"
#include "host/net/SourceSettings.h"

namespace {

using Clock = std::chrono::steady_clock;
using Bytes = std::vector<std::uint8_t>;
using replication::FrameKind;

constexpr int kUsageError = 2;
constexpr auto kHeartbeatPeriod = std::chrono::milliseconds(100);
constexpr auto kEndPhase = std::chrono::seconds(3);
// How long after its snapshot a joiner is taken to be in step.
constexpr auto kSettle = std::chrono::milliseconds(300);
constexpr std::uint64_t kClaimedLength = 16u << 20;
constexpr std::uint32_t kCreateSound = 7, kUnknownCode = 13;

struct Options {
    std::vector<std::string> positional;
    std::string curveKeys;
    std::string to = "snapshot";
    bool wire = false;
    std::size_t partBytes = 64 << 10;
    double limitMb = 2048;
};

struct UsageError {
    std::string reason;
};

constexpr const char* kUsage =
    "usage: replication_attacker MODE ENDPOINT SECONDS [ARGS] [--curve-keys DIR]\n"
    "  requests ENDPOINT SECONDS CONNECTIONS\n"
    "  subscriptions ENDPOINT SECONDS COUNT BYTES [--wire]\n"
    "  multipart ENDPOINT SECONDS [--to snapshot|publisher] [--wire] [--part-bytes N]\n"
    "            [--limit-mb M]\n"
    "  server ENDPOINT SECONDS paths PATH... | repeat NAME PATH COUNT | unknown MB |\n"
    "         huge-names COUNT | unsolicited | multipart [--wire] [--limit-mb M]\n";

template <class T>
T Number(const std::string& text) {
    T value{};
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (failure != std::errc() || end != text.data() + text.size() || value < T{}) {
        throw UsageError{"not a number: " + text};
    }
    return value;
}

Options ParseOptions(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const auto value = [&] {
            if (i + 1 == argc) {
                throw UsageError{arg + " needs a value"};
            }
            return std::string(argv[++i]);
        };
        if (arg == "--curve-keys") {
            options.curveKeys = value();
        } else if (arg == "--to") {
            options.to = value();
        } else if (arg == "--wire") {
            options.wire = true;
        } else if (arg == "--part-bytes") {
            options.partBytes = Number<std::size_t>(value());
        } else if (arg == "--limit-mb") {
            options.limitMb = Number<double>(value());
        } else {
            options.positional.push_back(arg);
        }
    }
    if (options.positional.size() < 3 || (options.to != "snapshot" && options.to != "publisher") ||
        options.partBytes == 0) {
        throw UsageError{"a mode, an endpoint and a number of seconds"};
    }
    return options;
}

// This program's own peak memory: through ZeroMQ, what it sends may stay here.
double OwnPeakMiB() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmHWM:", 0) == 0) {
            return std::stod(line.substr(6)) / 1024;
        }
    }
    return 0;
}

// --- What the plug-in reads: little-endian scalars, strings as length then bytes.

void Append32(Bytes& out, std::uint32_t value) {
    out.resize(out.size() + 4);
    replication::PutLittle(out.data() + out.size() - 4, value);
}
void Append64(Bytes& out, std::uint64_t value) {
    out.resize(out.size() + 8);
    replication::PutLittle(out.data() + out.size() - 8, value);
}
void AppendString(Bytes& out, std::string_view text) {
    Append64(out, text.size());
    out.insert(out.end(), text.begin(), text.end());
}

Bytes CreateSoundRecord(std::string_view name, std::string_view file) {
    Bytes record;
    Append32(record, kCreateSound);
    AppendString(record, name);
    AppendString(record, file);
    return record;
}

Bytes Batch(std::uint32_t count, const Bytes& records) {
    Bytes batch{0};
    Append32(batch, count);
    batch.insert(batch.end(), records.begin(), records.end());
    return batch;
}

const Bytes kEmptySnapshot{1, 0, 0, 0, 0, 0, 0, 0, 0};

// A snapshot of 49 bytes whose first string (a file name) claims 16 MiB.
Bytes HugeNameSnapshot() {
    Bytes snapshot{1};
    Append32(snapshot, 1);
    Append64(snapshot, kClaimedLength);
    snapshot.resize(49, 'A');
    return snapshot;
}

Bytes HugeNameBatch() {
    Bytes record;
    Append32(record, kCreateSound);
    Append64(record, kClaimedLength);
    record.resize(record.size() + 32, 'A');
    return Batch(1, record);
}

// A snapshot that shows in the joiner's state if it is applied: one sound and a
// source (id 4242) without one.
Bytes PoisonedSnapshot() {
    Bytes snapshot{1};
    Append32(snapshot, 1);
    AppendString(snapshot, "/nowhere/unsolicited.wav");
    AppendString(snapshot, "unsolicited");
    Append32(snapshot, 1);
    Append32(snapshot, 4242);
    snapshot.resize(snapshot.size() + 12 + 1 + 1 + 12 + 4 + 4);
    snapshot[snapshot.size() - 22] = 1;  // playing
    AppendString(snapshot, "");
    return snapshot;
}

// --- ZMTP 3.0 written by hand, for messages that ZeroMQ itself would never send.

class WireConnection {
public:
    // Reads give up after a while, so that a silent peer cannot hold a mode past its time.
    explicit WireConnection(int descriptor) : descriptor_(descriptor) {
        const timeval readTimeout{2, 0};
        setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &readTimeout, sizeof readTimeout);
    }
    ~WireConnection() {
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
    }
    WireConnection(WireConnection&& other) noexcept
        : descriptor_(std::exchange(other.descriptor_, -1)),
          curve_(other.curve_),
          sharedKey_(other.sharedKey_),
          nonce_(other.nonce_) {}
    WireConnection& operator=(WireConnection&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        std::swap(curve_, other.curve_);
        std::swap(sharedKey_, other.sharedKey_);
        std::swap(nonce_, other.nonce_);
        return *this;
    }

    static std::optional<WireConnection> Connect(const std::string& endpoint, bool listen);
    int descriptor() const { return descriptor_; }

    // The NULL mechanism's greeting and READY, as a socket of this type; then the
    // peer's, since frames sent before them are at times dropped with the connection.
    bool GreetPlain(std::string_view socketType) {
        Bytes greeting(64), ready;
        return Write(Greeting("NULL")) &&
               Write(Frame(kCommand, Concat("\x05READY", Metadata(socketType)))) &&
               Read(greeting) && ReadCommand(ready) && StartsWith(ready, "\x05READY");
    }

    // A CURVE client's handshake: HELLO, WELCOME, INITIATE with the vouch, READY.
    bool GreetCurve(std::string_view socketType, const replication::JoinerKeys& keys,
                    std::string& error) {
        std::array<std::uint8_t, 32> server{}, ours{}, secret{}, shortPublic{}, shortSecret{};
        zmq_z85_decode(server.data(), keys.serverPublicKey.c_str());
        zmq_z85_decode(ours.data(), keys.publicKey.c_str());
        zmq_z85_decode(secret.data(), keys.secretKey.c_str());
        crypto_box_keypair(shortPublic.data(), shortSecret.data());
        Bytes hello = Concat("\x05HELLO\x01", Bytes(73), shortPublic, ShortNonce(++nonce_));
        Append(hello, Box(Bytes(64), "CurveZMQHELLO---", ShortNonce(nonce_), server, shortSecret));
        Bytes welcome(64);  // the server's greeting, then its WELCOME
        if (!Write(Greeting("CURVE")) || !Write(Frame(kCommand, hello)) || !Read(welcome) ||
            !ReadCommand(welcome) || welcome.size() != 168 || !StartsWith(welcome, "\x07WELCOME")) {
            error = "no WELCOME from the server";
            return false;
        }
        Bytes opened(128);
        const Bytes welcomeNonce =
            Concat("WELCOME-", Bytes(welcome.begin() + 8, welcome.begin() + 24));
        if (crypto_box_open_easy(opened.data(), welcome.data() + 24, 144, welcomeNonce.data(),
                                 server.data(), shortSecret.data()) != 0) {
            error = "a WELCOME that does not open with the server's key";
            return false;
        }
        std::array<std::uint8_t, 32> serverShort{};
        std::copy_n(opened.begin(), 32, serverShort.begin());
        Bytes vouchNonce(16);
        randombytes_buf(vouchNonce.data(), vouchNonce.size());
        const Bytes vouch =
            Box(Concat(shortPublic, server), "VOUCH---", vouchNonce, serverShort, secret);
        const Bytes inside = Concat(ours, vouchNonce, vouch, Metadata(socketType));
        Bytes initiate =
            Concat("\x08INITIATE", Bytes(opened.begin() + 32, opened.end()), ShortNonce(++nonce_));
        Append(initiate,
               Box(inside, "CurveZMQINITIATE", ShortNonce(nonce_), serverShort, shortSecret));
        Bytes ready;
        if (!Write(Frame(kCommand, initiate)) || !ReadCommand(ready) ||
            !StartsWith(ready, "\x05READY")) {
            error = "the server refused the handshake (is this joiner in its allow-list?)";
            return false;
        }
        if (crypto_box_beforenm(sharedKey_.data(), serverShort.data(), shortSecret.data()) != 0) {
            error = "the server's short-term key is unusable";
            return false;
        }
        curve_ = true;
        return true;
    }

    // One part of a message; `more` says that another follows.
    bool SendPart(std::span<const std::uint8_t> data, bool more) {
        if (!curve_) {
            return Write(Frame(more ? kMore : 0, data));
        }
        Bytes plain{static_cast<std::uint8_t>(more ? kMore : 0)};
        plain.insert(plain.end(), data.begin(), data.end());
        const Bytes nonce = Concat("CurveZMQMESSAGEC", ShortNonce(++nonce_));
        Bytes message = Concat("\x07MESSAGE", ShortNonce(nonce_));
        message.resize(message.size() + plain.size() + crypto_box_MACBYTES);
        crypto_box_easy_afternm(message.data() + 16, plain.data(), plain.size(), nonce.data(),
                                sharedKey_.data());
        return Write(Frame(0, message));
    }

private:
    static constexpr std::uint8_t kMore = 1, kLong = 2, kCommand = 4;

    static void Append(Bytes& out, std::span<const std::uint8_t> bytes) {
        out.insert(out.end(), bytes.begin(), bytes.end());
    }
    static void Append(Bytes& out, std::string_view text) {
        out.insert(out.end(), text.begin(), text.end());
    }
    template <class... Parts>
    static Bytes Concat(const Parts&... parts) {
        Bytes out;
        (Append(out, parts), ...);
        return out;
    }
    static bool StartsWith(const Bytes& bytes, std::string_view text) {
        return bytes.size() >= text.size() && std::equal(text.begin(), text.end(), bytes.begin());
    }
    static Bytes ShortNonce(std::uint64_t value) {
        Bytes out(8);
        for (int i = 0; i < 8; ++i) {
            out[i] = static_cast<std::uint8_t>(value >> (56 - 8 * i));  // big-endian
        }
        return out;
    }
    static Bytes Box(const Bytes& plain, std::string_view prefix, const Bytes& nonceEnd,
                     const std::array<std::uint8_t, 32>& to,
                     const std::array<std::uint8_t, 32>& fromSecret) {
        const Bytes nonce = Concat(prefix, nonceEnd);
        Bytes box(plain.size() + crypto_box_MACBYTES);
        // Fails only for a key that no honest peer has: the server then refuses the box.
        if (crypto_box_easy(box.data(), plain.data(), plain.size(), nonce.data(), to.data(),
                            fromSecret.data()) != 0) {
            box.clear();
        }
        return box;
    }
    static Bytes Greeting(std::string_view mechanism) {
        Bytes greeting{0xff, 0, 0, 0, 0, 0, 0, 0, 1, 0x7f, 3, 0};
        greeting.resize(64);
        std::copy(mechanism.begin(), mechanism.end(), greeting.begin() + 12);
        return greeting;
    }
    static Bytes Metadata(std::string_view socketType) {
        Bytes out =
            Concat("\x0bSocket-Type", Bytes{0, 0, 0, static_cast<std::uint8_t>(socketType.size())});
        Append(out, socketType);
        return out;
    }
    static Bytes Frame(std::uint8_t flags, std::span<const std::uint8_t> body) {
        Bytes frame{flags};
        if (body.size() > 255) {
            frame[0] |= kLong;
            Append(frame, ShortNonce(body.size()));  // the same 8-byte big-endian form
        } else {
            frame.push_back(static_cast<std::uint8_t>(body.size()));
        }
        Append(frame, body);
        return frame;
    }

    bool Write(std::span<const std::uint8_t> bytes) {
        while (!bytes.empty()) {
            const ssize_t written = send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (written <= 0) {
                return false;
            }
            bytes = bytes.subspan(static_cast<std::size_t>(written));
        }
        return true;
    }
    bool Read(Bytes& into) {
        for (std::size_t at = 0; at < into.size();) {
            const ssize_t got = recv(descriptor_, into.data() + at, into.size() - at, 0);
            if (got <= 0) {
                return false;
            }
            at += static_cast<std::size_t>(got);
        }
        return true;
    }
    bool ReadCommand(Bytes& body) {
        Bytes flags(1);
        if (!Read(flags) || !(flags[0] & kCommand)) {
            return false;
        }
        Bytes size(flags[0] & kLong ? 8 : 1);
        if (!Read(size)) {
            return false;
        }
        std::uint64_t length = 0;
        for (const std::uint8_t byte : size) {
            length = length << 8 | byte;
        }
        body.assign(std::min<std::uint64_t>(length, 1 << 16), 0);
        return Read(body);
    }

    int descriptor_ = -1;
    bool curve_ = false;
    std::array<std::uint8_t, crypto_box_BEFORENMBYTES> sharedKey_{};
    std::uint64_t nonce_ = 0;
};

// A TCP connection to the endpoint, or with `listen` a socket listening there.
std::optional<WireConnection> WireConnection::Connect(const std::string& endpoint, bool listen) {
    const std::string address = replication::BindableEndpoint(endpoint);
    const auto colon = address.rfind(':');
    if (address.rfind("tcp://", 0) != 0 || colon == std::string::npos) {
        return std::nullopt;
    }
    std::string host = address.substr(6, colon - 6);
    if (host.size() > 2 && host.front() == '[') {
        host = host.substr(1, host.size() - 2);
    }
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(host.c_str(), address.substr(colon + 1).c_str(), &hints, &found) != 0) {
        return std::nullopt;
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owned(found, &freeaddrinfo);
    WireConnection connection(socket(found->ai_family, SOCK_STREAM, 0));
    const int yes = 1;
    setsockopt(connection.descriptor_, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    const bool ready =
        listen ? bind(connection.descriptor_, found->ai_addr, found->ai_addrlen) == 0 &&
                     ::listen(connection.descriptor_, 16) == 0
               : connect(connection.descriptor_, found->ai_addr, found->ai_addrlen) == 0;
    return ready ? std::optional<WireConnection>(std::move(connection)) : std::nullopt;
}

// --- Hostile peers of a server.

std::optional<replication::JoinerKeys> PeerKeys(const Options& options) {
    if (options.curveKeys.empty()) {
        return std::nullopt;
    }
    std::string error;
    auto keys = replication::ReadJoinerKeys(options.curveKeys, error);
    if (!keys) {
        throw UsageError{error};
    }
    return keys;
}

zmq::socket_t PeerSocket(zmq::context_t& context, zmq::socket_type type,
                         const std::optional<replication::JoinerKeys>& keys) {
    zmq::socket_t socket(context, type);
    socket.set(zmq::sockopt::linger, 0);
    if (keys) {
        socket.set(zmq::sockopt::curve_serverkey, keys->serverPublicKey);
        socket.set(zmq::sockopt::curve_publickey, keys->publicKey);
        socket.set(zmq::sockopt::curve_secretkey, keys->secretKey);
    }
    return socket;
}

std::string SnapshotEndpointOf(const std::string& endpoint) {
    std::string error;
    const auto snapshots = replication::SnapshotEndpoint(endpoint, error);
    if (!snapshots) {
        throw UsageError{error};
    }
    return replication::BindableEndpoint(*snapshots);
}

void RunRequests(const Options& options, Clock::time_point deadline) {
    const auto keys = PeerKeys(options);
    const auto connections = Number<std::size_t>(options.positional.at(2));
    zmq::context_t context;
    std::vector<zmq::socket_t> sockets;
    for (std::size_t i = 0; i < connections; ++i) {
        sockets.push_back(PeerSocket(context, zmq::socket_type::dealer, keys));
        // Answers are never read: hold at most one, and let the kernel hold little.
        sockets.back().set(zmq::sockopt::rcvhwm, 1);
        sockets.back().set(zmq::sockopt::rcvbuf, 4096);
        sockets.back().connect(SnapshotEndpointOf(options.positional[0]));
    }
    std::uint64_t sent = 0;
    while (Clock::now() < deadline) {
        bool anySent = false;
        for (zmq::socket_t& socket : sockets) {
            const Bytes request = replication::EncodeFrame({FrameKind::SnapshotRequest},
                                                           replication::EncodeRequestId(sent + 1));
            if (socket.send(zmq::buffer(request), zmq::send_flags::dontwait)) {
                ++sent;
                anySent = true;
            }
        }
        if (!anySent) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    std::printf("requests: %llu sent on %zu connections\n", static_cast<unsigned long long>(sent),
                connections);
}

// A SUB socket keeps every subscription it makes (a tree of bytes), so --wire
// sends them as a subscriber's messages without keeping them.
void RunSubscriptions(const Options& options, Clock::time_point deadline) {
    if (options.positional.size() != 4) {
        throw UsageError{"subscriptions ENDPOINT SECONDS COUNT BYTES"};
    }
    const auto count = Number<std::size_t>(options.positional[2]);
    const auto bytes = Number<std::size_t>(options.positional[3]);
    const auto keys = PeerKeys(options);
    const auto prefix = [bytes](std::size_t i) {
        std::string text = std::to_string(i);
        text.resize(bytes, 'x');
        return text;
    };
    zmq::context_t context;
    zmq::socket_t subscriber;
    std::optional<WireConnection> wire;
    std::size_t sent = 0;
    if (options.wire) {
        wire = WireConnection::Connect(options.positional[0], false);
        std::string error = "no handshake with " + options.positional[0];
        if (!wire || !(keys ? wire->GreetCurve("XSUB", *keys, error) : wire->GreetPlain("XSUB"))) {
            std::printf("subscriptions: %s\n", error.c_str());
            wire.reset();
        }
        for (; wire && sent < count && Clock::now() < deadline; ++sent) {
            const std::string message = "\x01" + prefix(sent);
            if (!wire->SendPart(
                    {reinterpret_cast<const std::uint8_t*>(message.data()), message.size()},
                    false)) {
                break;
            }
        }
    } else {
        subscriber = PeerSocket(context, zmq::socket_type::sub, keys);
        subscriber.set(zmq::sockopt::rcvhwm, 1);
        for (; sent < count; ++sent) {
            subscriber.set(zmq::sockopt::subscribe, prefix(sent));
        }
        subscriber.connect(replication::BindableEndpoint(options.positional[0]));
    }
    std::this_thread::sleep_until(deadline);
    std::printf("subscriptions: %zu of %zu bytes sent; this program's peak %.0f MiB\n", sent, bytes,
                OwnPeakMiB());
}

void RunMultipart(const Options& options, Clock::time_point deadline) {
    const bool toPublisher = options.to == "publisher";
    const std::string endpoint = toPublisher ? replication::BindableEndpoint(options.positional[0])
                                             : SnapshotEndpointOf(options.positional[0]);
    const auto keys = PeerKeys(options);
    const Bytes part(options.partBytes, 'M');
    const auto limit = static_cast<std::uint64_t>(options.limitMb * (1 << 20));
    std::uint64_t sent = 0;
    zmq::context_t context;
    zmq::socket_t socket;
    std::optional<WireConnection> wire;
    if (options.wire) {
        wire = WireConnection::Connect(endpoint, false);
        std::string error = "no handshake with " + endpoint;
        const char* type = toPublisher ? "XSUB" : "DEALER";
        if (!wire || !(keys ? wire->GreetCurve(type, *keys, error) : wire->GreetPlain(type))) {
            std::printf("multipart: %s\n", error.c_str());
            std::this_thread::sleep_until(deadline);
            return;
        }
    } else {
        socket = PeerSocket(context,
                            toPublisher ? zmq::socket_type::xsub : zmq::socket_type::dealer, keys);
        socket.connect(endpoint);
        std::this_thread::sleep_for(std::chrono::milliseconds(200));  // the handshake
    }
    while (Clock::now() < deadline && sent < limit) {
        const bool delivered =
            wire
                ? wire->SendPart(part, true)
                : socket
                      .send(zmq::buffer(part), zmq::send_flags::sndmore | zmq::send_flags::dontwait)
                      .has_value();
        if (!delivered && wire) {
            break;  // the peer closed the connection
        }
        sent += delivered ? part.size() : 0;
    }
    std::printf("multipart: %.1f MiB sent in parts of %zu bytes%s; this program's peak %.0f MiB\n",
                static_cast<double>(sent) / (1 << 20), part.size(),
                sent < limit && Clock::now() < deadline ? ", until the peer closed" : "",
                OwnPeakMiB());
    std::this_thread::sleep_until(deadline);
}

// --- A hostile server.

class HostileServer {
public:
    HostileServer(const Options& options, Clock::time_point deadline)
        : options_(options),
          attack_(options.positional.at(2)),
          arguments_(options.positional.begin() + 3, options.positional.end()),
          deadline_(deadline),
          endPhase_(deadline - std::min<Clock::duration>(kEndPhase, (deadline - start_) / 3)),
          epoch_(random_() | 1) {
        CheckArguments();
        Bind();
    }

    void Run() {
        // With --wire a listener stands in for the publisher; -1 is not polled.
        std::array<zmq::pollitem_t, 3> items{
            {{snapshots_.handle(), 0, ZMQ_POLLIN, 0},
             {publisher_.handle(), publisher_ ? 0 : -1, ZMQ_POLLIN, 0},
             {nullptr, listener_ ? listener_->descriptor() : -1, ZMQ_POLLIN, 0}}};
        auto nextBeat = start_;
        auto nextUnsolicited = start_;
        // Joiners ask only once they hear the publisher: until then nobody has asked.
        const auto silentUntil =
            start_ + (attack_ == "unsolicited" ? (endPhase_ - start_) / 3 : Clock::duration());
        for (auto now = Clock::now(); now < deadline_; now = Clock::now()) {
            zmq::poll(items, std::chrono::milliseconds(10));
            if (handshakes_) {
                handshakes_->Service();
            }
            zmq::message_t subscription;
            while (publisher_ && publisher_.recv(subscription, zmq::recv_flags::dontwait)) {
            }
            if (listener_ && (items[2].revents & ZMQ_POLLIN)) {
                WireConnection joiner(accept(listener_->descriptor(), nullptr, nullptr));
                if (joiner.GreetPlain("PUB")) {
                    wireJoiners_.push_back(std::move(joiner));
                }
            }
            AnswerRequests(now);
            if (now >= nextBeat && now >= silentUntil && !multipartBytes_) {
                Publish(now >= endPhase_ ? FrameKind::End : FrameKind::Heartbeat, {});
                nextBeat = now + kHeartbeatPeriod;
            }
            if (attack_ == "unsolicited" && offByOneLeft_ > 0 && now >= nextUnsolicited) {
                SendUnsolicited();
                nextUnsolicited = now + std::chrono::milliseconds(50);
            }
            if (inStepSince_ && now >= *inStepSince_ + kSettle && now < endPhase_) {
                Attack(now);
            }
        }
        std::printf(
            "server %s: %llu batches (last %llu), %d true answers, %d hostile answers, "
            "%d unsolicited, %.1f MiB of one multipart message; this program's peak %.0f MiB\n",
            attack_.c_str(), static_cast<unsigned long long>(sequence_ - kFirstSequence),
            static_cast<unsigned long long>(sequence_), trueAnswers_, hostileAnswers_, unsolicited_,
            static_cast<double>(multipartBytes_) / (1 << 20), OwnPeakMiB());
    }

private:
    static constexpr std::uint64_t kFirstSequence = 100;
    static constexpr int kOffByOneRequests = 3;
    static constexpr int kGuessedPeers = 16;

    void CheckArguments() {
        const std::size_t count = arguments_.size();
        const bool valid = (attack_ == "paths" && count >= 1) ||
                           (attack_ == "repeat" && count == 3) ||
                           ((attack_ == "unknown" || attack_ == "huge-names") && count == 1) ||
                           ((attack_ == "unsolicited" || attack_ == "multipart") && count == 0);
        if (!valid) {
            throw UsageError{
                "server ENDPOINT SECONDS paths PATH... | repeat NAME PATH COUNT | "
                "unknown MB | huge-names COUNT | unsolicited | multipart"};
        }
        if (attack_ == "repeat") {
            repeatsLeft_ = Number<int>(arguments_[2]);
        } else if (attack_ == "huge-names") {
            hugeAnswersLeft_ = hugeBatchesLeft_ = Number<int>(arguments_[0]);
        } else if (attack_ == "unknown") {
            unknownMb_ = Number<double>(arguments_[0]);
        } else if (attack_ == "unsolicited") {
            offByOneLeft_ = kOffByOneRequests;
        }
    }

    void Bind() {
        const std::string snapshotEndpoint = SnapshotEndpointOf(options_.positional[0]);
        std::optional<replication::ServerKeys> keys;
        if (!options_.curveKeys.empty()) {
            std::string error;
            keys = replication::ReadServerKeys(options_.curveKeys, error);
            auto allowList =
                keys ? replication::AllowList::Open(keys->joiners, error) : std::nullopt;
            if (!allowList) {
                throw UsageError{error};
            }
            // Before the sockets, so that no handshake goes unchecked.
            handshakes_ =
                std::make_unique<replication::HandshakeHandler>(context_, std::move(*allowList));
        }
        if (attack_ == "multipart" && options_.wire) {
            if (keys || !(listener_ = WireConnection::Connect(options_.positional[0], true))) {
                throw UsageError{"--wire: insecure, on a tcp endpoint free to bind"};
            }
        } else {
            publisher_ = ServerSocket(zmq::socket_type::xpub, keys);
            publisher_.bind(replication::BindableEndpoint(options_.positional[0]));
        }
        snapshots_ = ServerSocket(zmq::socket_type::router, keys);
        snapshots_.bind(snapshotEndpoint);
        if (attack_ == "unsolicited") {
            ProbeRoutingIds();
        }
    }

    zmq::socket_t ServerSocket(zmq::socket_type type,
                               const std::optional<replication::ServerKeys>& keys) {
        zmq::socket_t socket(context_, type);
        socket.set(zmq::sockopt::linger, 0);
        if (keys) {
            socket.set(zmq::sockopt::curve_server, 1);
            socket.set(zmq::sockopt::curve_secretkey, keys->secretKey);
        }
        return socket;
    }

    // A router numbers the peers that name no routing id of their own one after
    // another: a probe of our own learns the number the next joiner will get, so
    // that it can be sent answers it never asked for.
    void ProbeRoutingIds() {
        snapshots_.bind("inproc://attacker-probe");
        zmq::socket_t probe(context_, zmq::socket_type::dealer);
        probe.connect("inproc://attacker-probe");
        probe.send(zmq::str_buffer("probe"), zmq::send_flags::none);
        std::vector<zmq::message_t> message;
        (void)zmq::recv_multipart(snapshots_, std::back_inserter(message));
        const auto* id = message.at(0).data<std::uint8_t>();
        if (message[0].size() == 5) {
            firstGuessedId_ = (std::uint32_t{id[1]} << 24 | std::uint32_t{id[2]} << 16 |
                               std::uint32_t{id[3]} << 8 | id[4]) +
                              1;
        }
    }

    void Publish(FrameKind kind, std::span<const std::uint8_t> payload) {
        const Bytes frame = replication::EncodeFrame(
            {kind, replication::PayloadOrder::Little, epoch_, sequence_, 0}, payload);
        if (listener_) {
            std::erase_if(wireJoiners_,
                          [&](WireConnection& joiner) { return !joiner.SendPart(frame, false); });
        } else {
            (void)publisher_.send(zmq::buffer(frame), zmq::send_flags::dontwait);
        }
    }

    void PublishBatch(const Bytes& payload) {
        ++sequence_;
        Publish(FrameKind::Batch, payload);
    }

    // A snapshot frame and the settings frame beside it, as one answer.
    void SendAnswer(std::span<const std::uint8_t> routingId, const Bytes& state,
                    std::uint64_t requestId) {
        const replication::FrameHeader header{
            FrameKind::Snapshot, replication::PayloadOrder::Little, epoch_, sequence_, 0};
        replication::FrameHeader settingsHeader = header;
        settingsHeader.kind = FrameKind::SourceSettings;
        const Bytes snapshot = replication::EncodeFrame(header, state);
        const Bytes settings = replication::EncodeFrame(
            settingsHeader, replication::EncodeSourceSettings(requestId, {}));
        const std::array<zmq::const_buffer, 3> answer{
            zmq::buffer(routingId.data(), routingId.size()), zmq::buffer(snapshot),
            zmq::buffer(settings)};
        (void)zmq::send_multipart(snapshots_, answer, zmq::send_flags::dontwait);
    }

    void AnswerRequests(Clock::time_point now) {
        std::vector<zmq::message_t> request;
        for (; zmq::recv_multipart(snapshots_, std::back_inserter(request),
                                   zmq::recv_flags::dontwait);
             request.clear()) {
            std::string error;
            const auto frame =
                request.size() == 2
                    ? replication::DecodeFrame({request[1].data<std::uint8_t>(), request[1].size()},
                                               error)
                    : std::nullopt;
            const auto id = frame && frame->header.kind == FrameKind::SnapshotRequest
                                ? replication::DecodeRequestId(frame->payload)
                                : std::nullopt;
            if (!id) {
                continue;
            }
            const std::span<const std::uint8_t> peer(request[0].data<std::uint8_t>(),
                                                     request[0].size());
            if (hugeAnswersLeft_ > 0) {
                --hugeAnswersLeft_;
                ++hostileAnswers_;
                SendAnswer(peer, HugeNameSnapshot(), *id);
            } else if (offByOneLeft_ > 0) {
                --offByOneLeft_;
                hostileAnswers_ += 2;
                SendAnswer(peer, PoisonedSnapshot(), *id + 1);
                SendAnswer(peer, PoisonedSnapshot(), *id - 1);
            } else {
                ++trueAnswers_;
                SendAnswer(peer, kEmptySnapshot, *id);
                inStepSince_ = now;
            }
        }
    }

    void SendUnsolicited() {
        for (std::uint32_t peer = 0; peer < kGuessedPeers; ++peer) {
            const std::uint32_t id = firstGuessedId_ + peer;
            const std::array<std::uint8_t, 5> routingId{
                0, static_cast<std::uint8_t>(id >> 24), static_cast<std::uint8_t>(id >> 16),
                static_cast<std::uint8_t>(id >> 8), static_cast<std::uint8_t>(id)};
            SendAnswer(routingId, PoisonedSnapshot(), random_());
            ++unsolicited_;
        }
    }

    // What the attack publishes to a joiner in step.
    void Attack(Clock::time_point now) {
        if (attack_ == "paths" && sequence_ == kFirstSequence) {
            Bytes records;
            for (std::size_t i = 0; i < arguments_.size(); ++i) {
                const Bytes record =
                    CreateSoundRecord("injected" + std::to_string(i), arguments_[i]);
                records.insert(records.end(), record.begin(), record.end());
            }
            PublishBatch(Batch(static_cast<std::uint32_t>(arguments_.size()), records));
        } else if (attack_ == "repeat" && repeatsLeft_ > 0 && now >= nextRepeat_) {
            --repeatsLeft_;
            PublishBatch(Batch(1, CreateSoundRecord(arguments_[0], arguments_[1])));
            nextRepeat_ = now + std::chrono::milliseconds(20);
        } else if (attack_ == "unknown" && sequence_ == kFirstSequence) {
            const auto records = static_cast<std::uint32_t>(unknownMb_ * (1 << 20) / 4);
            Bytes payload;
            for (std::uint32_t i = 0; i < records; ++i) {
                Append32(payload, kUnknownCode);
            }
            PublishBatch(Batch(records, payload));
        } else if (attack_ == "huge-names" && hugeBatchesLeft_ > 0) {
            --hugeBatchesLeft_;
            PublishBatch(HugeNameBatch());
            inStepSince_.reset();  // the next one when the joiner is back in step
        } else if (attack_ == "multipart") {
            SendMultipart(now);
        }
    }

    // Parts of the one message that never ends, for a moment at a time, so that
    // requests are still read.
    void SendMultipart(Clock::time_point now) {
        const Bytes part(options_.partBytes, 'M');
        const auto limit = static_cast<std::uint64_t>(options_.limitMb * (1 << 20));
        if (multipartBytes_ == 0) {
            ++sequence_;  // the first part is a valid batch header's start
        }
        while (multipartBytes_ < limit && Clock::now() < now + std::chrono::milliseconds(20)) {
            if (listener_) {
                std::erase_if(wireJoiners_,
                              [&](WireConnection& joiner) { return !joiner.SendPart(part, true); });
            } else if (!publisher_.send(zmq::buffer(part),
                                        zmq::send_flags::sndmore | zmq::send_flags::dontwait)) {
                break;
            }
            multipartBytes_ += part.size();
        }
    }

    const Options& options_;
    const std::string attack_;
    const std::vector<std::string> arguments_;
    const Clock::time_point start_ = Clock::now();
    const Clock::time_point deadline_;
    const Clock::time_point endPhase_;
    std::mt19937_64 random_{std::random_device{}()};
    const std::uint64_t epoch_;
    std::uint64_t sequence_ = kFirstSequence;
    zmq::context_t context_;
    std::unique_ptr<replication::HandshakeHandler> handshakes_;
    zmq::socket_t publisher_;
    zmq::socket_t snapshots_;
    std::optional<WireConnection> listener_;
    std::vector<WireConnection> wireJoiners_;
    std::optional<Clock::time_point> inStepSince_;
    Clock::time_point nextRepeat_;
    int repeatsLeft_ = 0, hugeAnswersLeft_ = 0, hugeBatchesLeft_ = 0, offByOneLeft_ = 0;
    int trueAnswers_ = 0, hostileAnswers_ = 0, unsolicited_ = 0;
    double unknownMb_ = 0;
    std::uint32_t firstGuessedId_ = 0;
    std::uint64_t multipartBytes_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
    try {
        const Options options = ParseOptions(argc, argv);
        const std::string& mode = options.positional[0];
        Options peer = options;
        peer.positional.erase(peer.positional.begin());
        const auto deadline =
            Clock::now() + std::chrono::duration_cast<Clock::duration>(
                               std::chrono::duration<double>(Number<double>(peer.positional[1])));
        if (sodium_init() < 0) {
            return 1;
        }
        if (mode == "requests" && peer.positional.size() == 3) {
            RunRequests(peer, deadline);
        } else if (mode == "subscriptions") {
            RunSubscriptions(peer, deadline);
        } else if (mode == "multipart" && peer.positional.size() == 2) {
            RunMultipart(peer, deadline);
        } else if (mode == "server" && peer.positional.size() >= 3) {
            HostileServer(peer, deadline).Run();
        } else {
            throw UsageError{"unknown mode " + mode};
        }
    } catch (const UsageError& usage) {
        std::fprintf(stderr, "replication_attacker: %s\n%s", usage.reason.c_str(), kUsage);
        return kUsageError;
    } catch (const zmq::error_t& failure) {
        std::fprintf(stderr, "replication_attacker: %s\n", failure.what());
        return 1;  // an endpoint that cannot be bound, most likely
    }
    return 0;
}
