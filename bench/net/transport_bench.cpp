// How long an operation on a serving instance takes to be applied on its joiners
// over ZeroMQ on loopback, what each joiner receives per second, and how large a
// snapshot of 1,000 sources is and how long joining with it takes.
//
//   kep-net-bench [SECONDS]   (default 5 s of measurement per row)
//
// Every instance is a real sound system on OpenAL Soft's null device, in this
// one process; each joiner runs on a thread of its own.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
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
            client_->ReceiveUntil(
                Clock::now() + std::chrono::milliseconds(5), [&](auto parts, bool answer) {
                    std::string error;
                    const auto frame = replication::DecodeFrame(parts[0], error);
                    const auto settings = answer && frame && parts.size() == 2
                                              ? replication::DecodeFrame(parts[1], error)
                                              : std::nullopt;
                    const auto id =
                        settings ? replication::DecodeSourceSettings(settings->payload, error)
                                 : std::nullopt;
                    if (id) {
                        feed.ReceiveSnapshot(frame->header, frame->payload, id->requestId, {});
                    } else if (frame && !answer) {
                        feed.Receive(frame->header, frame->payload);
                    }
                });
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
            return replication::ReplicationServer::Snapshot{replication::WriteFrame(*system, true),
                                                            {}};
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

void LatencyRow(int joinerCount, double seconds, int port) {
    const std::string endpoint = fmt::format("tcp://127.0.0.1:{}", port);
    Server server(endpoint, kMovingSources);
    std::vector<std::unique_ptr<Joiner>> joiners;
    for (int i = 0; i < joinerCount; ++i) {
        joiners.push_back(std::make_unique<Joiner>(endpoint, server.times));
    }
    const auto period =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1 / kFrameRate));
    auto due = Clock::now();
    int frame = 0;
    // Until every joiner is in step, then the measured frames.
    while (
        !std::all_of(joiners.begin(), joiners.end(), [](auto& j) { return j->synchronised(); })) {
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
    std::vector<double> latencies;
    double bytes = 0;
    for (std::size_t i = 0; i < joiners.size(); ++i) {
        auto taken = joiners[i]->TakeLatencies();
        latencies.insert(latencies.end(), taken.begin(), taken.end());
        bytes += static_cast<double>(joiners[i]->bytesReceived() - bytesBefore[i]);
    }
    std::printf("| %7d | %8.0f | %8.0f | %9zu | %14.0f |\n", joinerCount,
                Percentile(latencies, 0.5), Percentile(latencies, 0.99), latencies.size(),
                bytes / elapsed / joinerCount);
    std::fflush(stdout);
}

void SnapshotRow(int port) {
    const std::string endpoint = fmt::format("tcp://127.0.0.1:{}", port);
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

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 5;
    // Enough OpenAL sources for every instance in this process, on no sound card.
    const auto config = std::filesystem::temp_directory_path() / "kep-net-bench.conf";
    std::ofstream(config) << "[general]\ndrivers = null\nsources = 8192\n";
    setenv("ALSOFT_CONF", config.c_str(), 1);
    unsetenv("ALSOFT_DRIVERS");
    DropLogLines();

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
