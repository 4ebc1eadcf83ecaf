// How long an operation on a serving instance takes to be applied on its joiners
// over ZeroMQ on loopback, what each joiner receives per second, and how large a
// snapshot of 1,000 sources is and how long joining with it takes.
//
//   kep-net-bench [SECONDS]   (default 5 s of measurement per row)
//   kep-net-bench relays PATH-TO-KEP-HOST [SECONDS]
//
// Every instance is a real sound system on OpenAL Soft's null device, in this
// one process; each joiner runs on a thread of its own. With `relays`, one joiner
// follows the server through 0, 1 and 2 chained `kep-host relay` processes
// (insecure, on loopback), and new joiners get in step through one relay.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "bench/support/BenchSystems.h"
#include "host/net/ReplicaFeed.h"
#include "host/net/ReplicationClient.h"
#include "host/net/ReplicationLink.h"
#include "host/net/ReplicationServer.h"
#include "host/net/SourceSettings.h"
#include "kep/Messages.h"
#include "plugin/SoundSystem.h"

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;
constexpr double kFrameRate = 60;
constexpr int kMovingSources = 64;
constexpr int kSnapshotSources = 1000;

// When each batch's operations were made, by sequence number.
class OperationTimes {
public:
    void Set(std::uint64_t sequence, Clock::time_point time) {
        std::lock_guard lock(mutex_);
        if (times_.size() <= sequence) {
            times_.resize(sequence + 1);
        }
        times_[sequence] = time;
    }
    Clock::time_point Get(std::uint64_t sequence) {
        std::lock_guard lock(mutex_);
        return sequence < times_.size() ? times_[sequence] : Clock::time_point{};
    }

private:
    std::mutex mutex_;
    std::vector<Clock::time_point> times_;
};

// A replaying sound system fed from the server on a thread of its own.
class Joiner {
public:
    Joiner(const std::string& endpoint, OperationTimes& times)
        : system_(StartedSystem(false)), times_(times) {
        std::string error;
        client_ = replication::ReplicationClient::Connect(endpoint, nullptr, {}, error);
        thread_ = std::thread([this] { Run(); });
    }
    ~Joiner() {
        stop_ = true;
        thread_.join();
        system_->Stop();
    }

    bool synchronised() const { return synchronised_; }
    Clock::time_point synchronisedAt() const { return synchronisedAt_; }
    // Latencies (µs) of the batches applied since the last call.
    std::vector<double> TakeLatencies() {
        std::lock_guard lock(mutex_);
        return std::exchange(latencies_, {});
    }
    std::uint64_t bytesReceived() const { return bytes_; }

private:
    // A batch, heartbeat or end; or an answer: the snapshot, its settings and, from
    // a relay, the batches after its snapshot.
    static void Receive(replication::ReplicaFeed& feed,
                        std::span<const std::span<const std::uint8_t>> parts, bool answer) {
        std::string error;
        const auto frame = replication::DecodeFrame(parts[0], error);
        if (!frame) {
            return;
        }
        if (!answer) {
            feed.Receive(frame->header, frame->payload);
            return;
        }
        const auto settings =
            parts.size() >= 2 ? replication::DecodeFrame(parts[1], error) : std::nullopt;
        const auto id =
            settings ? replication::DecodeSourceSettings(settings->payload, error) : std::nullopt;
        if (!id) {
            return;
        }
        std::vector<replication::DecodedFrame> following;
        for (std::size_t i = 2; i < parts.size(); ++i) {
            const auto batch = replication::DecodeFrame(parts[i], error);
            if (!batch) {
                return;
            }
            following.push_back(*batch);
        }
        feed.ReceiveSnapshot(frame->header, frame->payload, id->requestId, {}, following);
    }

    void Run() {
        replication::ReplicaFeed feed(
            [this](const replication::ReplicaFeed::Frame& frame) {
                const auto& header = frame.header;
                const bool read = replication::DeliverFrame(*system_, frame.payload);
                system_->Update();
                if (header.kind == replication::FrameKind::Batch && recording_) {
                    const auto made = times_.Get(header.sequence);
                    std::lock_guard lock(mutex_);
                    latencies_.push_back(
                        std::chrono::duration<double, std::micro>(Clock::now() - made).count());
                }
                return read;
            },
            {1000, 64u << 20});
        auto lastRequest = Clock::now() - std::chrono::seconds(1);
        while (!stop_) {
            client_->ReceiveUntil(Clock::now() + std::chrono::milliseconds(5),
                                  [&](auto parts, bool answer) { Receive(feed, parts, answer); });
            if (feed.waiting() && client_->subscribed() &&
                Clock::now() - lastRequest > std::chrono::milliseconds(200)) {
                client_->RequestSnapshot(feed.NewRequest());
                lastRequest = Clock::now();
            }
            if (!synchronised_ && feed.synchronised()) {
                synchronisedAt_ = Clock::now();
                synchronised_ = true;
            }
            recording_ = true;
            bytes_ = client_->bytesReceived();
        }
    }

    std::shared_ptr<SoundSystem> system_;
    OperationTimes& times_;
    std::unique_ptr<replication::ReplicationClient> client_;
    std::thread thread_;
    std::atomic<bool> stop_{false};
    std::atomic<bool> synchronised_{false};
    std::atomic<bool> recording_{false};
    Clock::time_point synchronisedAt_;
    std::atomic<std::uint64_t> bytes_{0};
    std::mutex mutex_;
    std::vector<double> latencies_;
};

// The serving instance: its sound system and what publishes it, one frame at a time.
struct Server {
    std::shared_ptr<SoundSystem> system = StartedSystem(true);
    std::unique_ptr<replication::ReplicationServer> transport;
    OperationTimes times;
    std::vector<std::int32_t> sources;

    explicit Server(const std::string& endpoint, int sourceCount) {
        std::string error;
        transport = replication::ReplicationServer::Bind(endpoint, nullptr, error);
        if (!transport) {
            std::fprintf(stderr, "%s\n", error.c_str());
            std::exit(1);
        }
        for (int i = 0; i < sourceCount; ++i) {
            sources.push_back(system->CreateSource(osg::Vec3f(static_cast<float>(i), 0, 0), true));
        }
    }
    ~Server() { system->Stop(); }

    void Frame(int frame, bool move) {
        transport->Service();
        times.Set(transport->stats().sequence + 1, Clock::now());
        if (move) {
            for (std::int32_t id : sources) {
                system->SetPosition(id, osg::Vec3f(static_cast<float>(id), 0,
                                                   static_cast<float>(frame % 100) / 10));
            }
        }
        if (system->TakeChanged() != 0) {
            transport->PublishBatch(replication::WriteFrame(*system, false));
        }
        transport->AnswerSnapshotRequests([this] {
            replication::ReplicationServer::Snapshot snapshot;
            snapshot.epoch = transport->epoch();
            snapshot.sequence = transport->stats().sequence;
            snapshot.state = replication::WriteFrame(*system, true);
            return snapshot;
        });
        transport->KeepAlive();
        system->Update();
    }
};

double Percentile(std::vector<double> values, double fraction) {
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(fraction * static_cast<double>(values.size() - 1))];
}

std::string Endpoint(int port) {
    return fmt::format("tcp://127.0.0.1:{}", port);
}

struct LatencyFigures {
    std::vector<double> latencies;  // µs
    double bytesPerSecondPerJoiner = 0;
};

// Frames of the server until every joiner (at `joinerEndpoint`) is in step, then
// `seconds` of measured ones; nothing if they are not in step within 30 s.
std::optional<LatencyFigures> MeasureLatency(Server& server, const std::string& joinerEndpoint,
                                             int joinerCount, double seconds) {
    std::vector<std::unique_ptr<Joiner>> joiners;
    for (int i = 0; i < joinerCount; ++i) {
        joiners.push_back(std::make_unique<Joiner>(joinerEndpoint, server.times));
    }
    const auto period =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1 / kFrameRate));
    auto due = Clock::now();
    const auto giveUp = due + std::chrono::seconds(30);
    int frame = 0;
    // Until every joiner is in step, then the measured frames.
    while (
        !std::all_of(joiners.begin(), joiners.end(), [](auto& j) { return j->synchronised(); })) {
        if (Clock::now() > giveUp) {
            return std::nullopt;
        }
        server.Frame(frame++, true);
        std::this_thread::sleep_until(due += period);
    }
    for (auto& joiner : joiners) {
        joiner->TakeLatencies();
    }
    std::vector<std::uint64_t> bytesBefore;
    for (auto& joiner : joiners) {
        bytesBefore.push_back(joiner->bytesReceived());
    }
    const auto start = Clock::now();
    const int frames = static_cast<int>(seconds * kFrameRate);
    for (int i = 0; i < frames; ++i) {
        server.Frame(frame++, true);
        std::this_thread::sleep_until(due += period);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    LatencyFigures figures;
    double bytes = 0;
    for (std::size_t i = 0; i < joiners.size(); ++i) {
        auto taken = joiners[i]->TakeLatencies();
        figures.latencies.insert(figures.latencies.end(), taken.begin(), taken.end());
        bytes += static_cast<double>(joiners[i]->bytesReceived() - bytesBefore[i]);
    }
    figures.bytesPerSecondPerJoiner = bytes / elapsed / joinerCount;
    return figures;
}

void PrintLatencyRow(int first, const std::optional<LatencyFigures>& figures) {
    if (!figures) {
        std::printf("| %7d | not in step within 30 s |\n", first);
    } else {
        std::printf("| %7d | %8.0f | %8.0f | %9zu | %14.0f |\n", first,
                    Percentile(figures->latencies, 0.5), Percentile(figures->latencies, 0.99),
                    figures->latencies.size(), figures->bytesPerSecondPerJoiner);
    }
    std::fflush(stdout);
}

void LatencyRow(int joinerCount, double seconds, int port) {
    const std::string endpoint = Endpoint(port);
    Server server(endpoint, kMovingSources);
    PrintLatencyRow(joinerCount, MeasureLatency(server, endpoint, joinerCount, seconds));
}

// A `kep-host relay` process, insecure, on loopback; stopped when destroyed.
class RelayProcess {
public:
    RelayProcess(const std::string& host, const std::string& upstream, const std::string& bind) {
        std::vector<std::string> args{host, "--log-level=error", "relay",     upstream, "--bind",
                                      bind, "--insecure",        "--timeout", "30"};
        std::vector<char*> argv;
        for (auto& arg : args) {
            argv.push_back(arg.data());
        }
        argv.push_back(nullptr);
        // Its start and end lines would come between the rows.
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        const int failed =
            posix_spawn(&pid_, host.c_str(), &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        if (failed != 0) {
            std::fprintf(stderr, "cannot start %s: %s\n", host.c_str(), std::strerror(failed));
            std::exit(1);
        }
    }
    ~RelayProcess() {
        kill(pid_, SIGTERM);
        for (int i = 0; i < 300; ++i) {
            if (waitpid(pid_, nullptr, WNOHANG) == pid_) {
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    RelayProcess(const RelayProcess&) = delete;
    RelayProcess& operator=(const RelayProcess&) = delete;

private:
    pid_t pid_ = 0;
};

// One joiner behind `hops` relays, chained from the server at `port`.
void RelayLatencyRow(const std::string& host, int hops, double seconds, int port) {
    Server server(Endpoint(port), kMovingSources);
    std::vector<std::unique_ptr<RelayProcess>> relays;
    std::string upstream = Endpoint(port);
    for (int i = 1; i <= hops; ++i) {
        relays.push_back(std::make_unique<RelayProcess>(host, upstream, Endpoint(port + 2 * i)));
        upstream = Endpoint(port + 2 * i);
    }
    PrintLatencyRow(hops, MeasureLatency(server, upstream, 1, seconds));
}

// Frames of the server until the joiner is in step, a millisecond apart with its
// sources still, else at the frame rate with every source moving; false after 30 s.
bool UntilInStep(Server& server, const Joiner& joiner, int& frame, bool move = false) {
    const auto start = Clock::now();
    const auto period =
        move ? std::chrono::duration_cast<Clock::duration>(
                   std::chrono::duration<double>(1 / kFrameRate))
             : std::chrono::duration_cast<Clock::duration>(std::chrono::milliseconds(1));
    auto due = start;
    while (!joiner.synchronised()) {
        server.Frame(frame++, move);
        std::this_thread::sleep_until(due += period);
        if (Clock::now() - start > std::chrono::seconds(30)) {
            std::printf("no join within 30 s\n");
            return false;
        }
    }
    return true;
}

// How long joiners take to get in step through one relay with a state of 1,000
// sources: the first while the relay itself is joining the server, then a new one
// once the relay holds the state and answers from it.
void RelaySnapshotRow(const std::string& host, int port) {
    Server server(Endpoint(port), kSnapshotSources);
    int frame = 0;
    server.Frame(frame++, false);
    const auto relayStart = Clock::now();
    RelayProcess relay(host, Endpoint(port), Endpoint(port + 2));
    double firstMs = 0;
    {
        Joiner first(Endpoint(port + 2), server.times);
        if (!UntilInStep(server, first, frame)) {
            return;
        }
        firstMs =
            std::chrono::duration<double, std::milli>(first.synchronisedAt() - relayStart).count();
    }
    const auto start = Clock::now();
    Joiner joiner(Endpoint(port + 2), server.times);
    if (!UntilInStep(server, joiner, frame)) {
        return;
    }
    std::printf(
        "Through one relay: the first joiner in step %.1f ms after the relay started; a new "
        "joiner %.1f ms after it connected\n",
        firstMs,
        std::chrono::duration<double, std::milli>(joiner.synchronisedAt() - start).count());
}

void SnapshotRow(int port) {
    const std::string endpoint = Endpoint(port);
    Server server(endpoint, kSnapshotSources);
    const auto snapshotStart = Clock::now();
    const auto snapshot = replication::WriteFrame(*server.system, true);
    const double writeMs =
        std::chrono::duration<double, std::milli>(Clock::now() - snapshotStart).count();
    server.Frame(0, false);
    const auto start = Clock::now();
    Joiner joiner(endpoint, server.times);
    for (int frame = 1; !joiner.synchronised(); ++frame) {
        server.Frame(frame, false);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        if (Clock::now() - start > std::chrono::seconds(30)) {
            std::printf("no join within 30 s\n");
            return;
        }
    }
    std::printf(
        "\nSnapshot of %d sources: %zu bytes, written in %.2f ms; a new joiner in step "
        "%.1f ms after it connected\n",
        kSnapshotSources, snapshot.size(), writeMs,
        std::chrono::duration<double, std::milli>(joiner.synchronisedAt() - start).count());
}

}  // namespace

// The same while every one of the 1,000 sources moves every frame: a relay's answer
// then carries batches after its snapshot. A new joiner directly, then through the relay.
void MovingJoinRow(const std::string& host, int port) {
    Server server(Endpoint(port), kSnapshotSources);
    int frame = 0;
    RelayProcess relay(host, Endpoint(port), Endpoint(port + 2));
    {
        Joiner first(Endpoint(port + 2), server.times);
        if (!UntilInStep(server, first, frame, true)) {
            return;
        }
    }
    double ms[2] = {};
    for (int through = 0; through < 2; ++through) {
        const auto start = Clock::now();
        Joiner joiner(Endpoint(through ? port + 2 : port), server.times);
        if (!UntilInStep(server, joiner, frame, true)) {
            return;
        }
        ms[through] =
            std::chrono::duration<double, std::milli>(joiner.synchronisedAt() - start).count();
    }
    std::printf(
        "All 1000 sources moving at %.0f frames/s: a new joiner in step %.1f ms after it "
        "connected directly, %.1f ms through the relay\n",
        kFrameRate, ms[0], ms[1]);
}

int main(int argc, char** argv) {
    const bool relays = argc > 1 && std::string(argv[1]) == "relays";
    if (relays && argc < 3) {
        std::fprintf(stderr,
                     "usage: kep-net-bench [SECONDS] | relays PATH-TO-KEP-HOST [SECONDS]\n");
        return 2;
    }
    const int secondsArg = relays ? 3 : 1;
    const double seconds = argc > secondsArg ? std::atof(argv[secondsArg]) : 5;
    // Enough OpenAL sources for every instance in this process, on no sound card.
    const auto config = std::filesystem::temp_directory_path() / "kep-net-bench.conf";
    std::ofstream(config) << "[general]\ndrivers = null\nsources = 8192\n";
    setenv("ALSOFT_CONF", config.c_str(), 1);
    unsetenv("ALSOFT_DRIVERS");
    DropLogLines();

    if (relays) {
        const std::string host = argv[2];
        std::printf(
            "%d sources moving at %.0f frames/s; one joiner, a real sound system, behind 0, 1 "
            "and 2 chained kep-host relay processes\n\n",
            kMovingSources, kFrameRate);
        std::printf("|  relays | p50 (µs) | p99 (µs) | batches   | bytes/s/joiner |\n");
        std::printf("|---------|----------|----------|-----------|----------------|\n");
        int port = 31500;
        for (int hops : {0, 1, 2}) {
            RelayLatencyRow(host, hops, seconds, port);
            port += 10;
        }
        SnapshotRow(port);
        RelaySnapshotRow(host, port + 10);
        MovingJoinRow(host, port + 20);
        std::filesystem::remove(config);
        return 0;
    }

    std::printf("%d sources moving at %.0f frames/s, each joiner a real sound system\n\n",
                kMovingSources, kFrameRate);
    std::printf("| joiners | p50 (µs) | p99 (µs) | batches   | bytes/s/joiner |\n");
    std::printf("|---------|----------|----------|-----------|----------------|\n");
    int port = 27500;
    for (int joiners : {1, 8, 32}) {
        LatencyRow(joiners, seconds, port);
        port += 2;
    }
    SnapshotRow(port);
    std::filesystem::remove(config);
    return 0;
}
