// kep-host relay: follows a serving instance (a server or another relay) and
// serves its run on, unchanged, to joiners of its own, answering their snapshot
// requests itself: a server keeps many more instances in step through relays than
// it could serve alone.
#include <chrono>
#include <filesystem>
#include <optional>

#include <fmt/format.h>

#include "host/cli/ConsoleOutput.h"
#include "host/cli/ProgressLine.h"
#include "host/commands/Commands.h"
#include "host/commands/ReplicationOptions.h"
#include "host/net/Follower.h"
#include "host/net/MemoryGuard.h"
#include "host/net/RateMeter.h"
#include "host/net/RelayedState.h"
#include "host/net/ReplicationClient.h"
#include "host/net/ReplicationServer.h"
#include "host/runtime/FrameClock.h"
#include "kep/Messages.h"

namespace {

constexpr double kFrameRate = 60;
// As a server's: after the run, the end is told, and late requests answered, for
// this long or until no joiner is connected.
constexpr auto kEndGrace = std::chrono::seconds(3);
// What peers on either side may make the relay hold beyond its own state: the
// upstream's queues, full, and what a server allows its joiners.
constexpr std::uint64_t kDownstreamAllowance = 192u << 20;
// How long to wait before asking again for a newer snapshot when the last answer
// was none.
constexpr auto kRefreshBackOff = std::chrono::seconds(5);

struct RelayOptions {
    std::string upstream;
    std::string endpoint;
    std::filesystem::path curveKeys;
    std::filesystem::path upstreamKeys;
    bool insecure = false;
    UpstreamOptions accepts;
};

class Relay {
public:
    Relay(const RelayOptions& options, replication::ReplicationClient& client,
          replication::ReplicationServer& server, replication::MemoryGuard& memory,
          replication::RelayedState& state)
        : options_(options),
          server_(server),
          state_(state),
          follower_(client, memory, options.upstream,
                    std::chrono::duration<double>(options.accepts.timeout),
                    {[this](const auto& frame) { return state_.Apply(frame); },
                     [this](const auto& frame) { server_.Forward(frame); },
                     [this](const auto& answer) { Rebase(answer); },
                     [this](bool open) { Connections(open); }}) {}

    // Until the upstream's run has ended and been told on, the user interrupts or
    // the upstream is lost; the exit status.
    int Run() {
        FrameClock clock(std::chrono::duration_cast<std::chrono::nanoseconds>(
            std::chrono::duration<double>(1 / kFrameRate)));
        ProgressLine progress;
        RateMeter rate;
        std::optional<std::chrono::steady_clock::time_point> ended;
        for (;;) {
            follower_.ReceiveUntil(clock.NextDue());
            if (!clock.Next()) {
                return kExitInterrupted;
            }
            server_.Service();
            const auto outcome = ended ? replication::Follower::Outcome::Ended : follower_.Step();
            if (outcome == replication::Follower::Outcome::Failed) {
                PrintError("{}\n", follower_.failure());
                return kExitFailed;
            }
            if (state_.Stale() && std::chrono::steady_clock::now() >= nextRefresh_) {
                follower_.AskAgain();
            }
            server_.AnswerSnapshotRequests(
                [this] { return follower_.feed().waiting() ? std::nullopt : state_.Answer(); });
            const auto stats = server_.stats();
            if (progress.visible()) {
                progress.Show(fmt::format(
                    "upstream {} ({}), peers {}, sequence {}, {:.1f} kB/s, snapshots {}",
                    options_.upstream, Status(), stats.peers, stats.sequence,
                    rate.Update(stats.bytesSent) / 1000, stats.snapshotsSent));
            }
            if (outcome != replication::Follower::Outcome::Ended) {
                continue;
            }
            // Its joiners are told the end, and may still catch up, as a server's.
            const auto now = std::chrono::steady_clock::now();
            ended = ended.value_or(now);
            server_.KeepAlive();
            if (now - *ended >= kEndGrace ||
                (stats.peers == 0 && !server_.rejoining() && !closed_)) {
                return kExitDone;
            }
        }
    }

    std::uint64_t resyncs() const { return follower_.feed().resyncs(); }

private:
    std::string Status() const {
        const auto& feed = follower_.feed();
        if (!feed.synchronised()) {
            return "waiting for it";
        }
        return fmt::format("server {:016x}{}", feed.epoch(), feed.waiting() ? ", catching up" : "");
    }

    // A newer snapshot asked for while in step.
    void Rebase(const replication::Follower::Answer& answer) {
        if (state_.Rebase(answer.snapshot, answer.settings)) {
            kep::Debug()("kep-host: relaying from the snapshot of batch {} on; {} batch(es) since",
                         answer.snapshot.header.sequence, state_.batches());
        } else {
            // An upstream relay's snapshot no newer than this one's: it renews its own
            // in a while.
            nextRefresh_ = std::chrono::steady_clock::now() + kRefreshBackOff;
        }
    }

    void Connections(bool open) {
        closed_ = !open;
        if (open) {
            server_.OpenConnections();
        } else {
            server_.CloseConnections();
        }
    }

    const RelayOptions& options_;
    replication::ReplicationServer& server_;
    replication::RelayedState& state_;
    replication::Follower follower_;
    bool closed_ = false;
    std::chrono::steady_clock::time_point nextRefresh_;
};

int RunRelay(const RelayOptions& options) {
    std::string error;
    std::optional<replication::ServerKeys> serverKeys;
    std::optional<replication::JoinerKeys> upstreamKeys;
    if (!options.insecure) {
        serverKeys = replication::ReadServerKeys(options.curveKeys, error);
        upstreamKeys =
            serverKeys ? replication::ReadJoinerKeys(options.upstreamKeys, error) : std::nullopt;
        if (!upstreamKeys) {
            PrintError("kep-host: {}\n", error);
            return kExitFailed;
        }
    } else {
        kep::Warning()(
            "kep-host: --insecure: neither the upstream at {} nor the joiners at {} are "
            "authenticated: whoever answers upstream decides what every joiner behind this relay "
            "plays, and anyone who reaches {} can read it",
            options.upstream, options.endpoint, options.endpoint);
    }
    const auto limits = options.accepts.limits();
    // Room for the largest snapshot and as many bytes of batches after it, past
    // which a newer snapshot is asked for.
    replication::RelayedState state({8192, 2 * limits.snapshotBytes});
    // Before the sockets: all that comes through them counts.
    replication::MemoryGuard memory(
        kDownstreamAllowance + replication::ReplicationClient::MostQueued(limits),
        [&state] { return state.bytes(); });
    const auto server = replication::ReplicationServer::Bind(
        options.endpoint, serverKeys ? &*serverKeys : nullptr, error);
    const auto client =
        server ? replication::ReplicationClient::Connect(
                     options.upstream, upstreamKeys ? &*upstreamKeys : nullptr, limits, error)
               : nullptr;
    if (!client) {
        PrintError("kep-host: {}\n", error);
        return kExitFailed;
    }
    server->Relay();
    Print("Relaying {} at {}{}\n", options.upstream, options.endpoint,
          serverKeys ? " (CURVE)" : " (insecure)");
    std::fflush(stdout);
    Relay relay(options, *client, *server, memory, state);
    const int status = relay.Run();
    const auto stats = server->stats();
    Print("{}: up to batch {}, {} snapshots, {} bytes sent, {} bytes received, {} resyncs\n",
          OutcomeWord(status), stats.sequence, stats.snapshotsSent, stats.bytesSent,
          client->bytesReceived(), relay.resyncs());
    return status;
}

}  // namespace

CommandRun AddRelayCommand(CLI::App& app) {
    auto options = std::make_shared<RelayOptions>();
    CLI::App* command = AddCommand(
        app, "relay", "Serve a server's (or relay's) run on to joiners of its own.",
        "Joins the upstream as a joiner does, and publishes every batch, heartbeat and end it "
        "hears at --bind unchanged, so that joiners (or further relays) follow it as they "
        "would the server. It answers their snapshot requests itself, from the last snapshot "
        "it was given and the batches since, and asks its upstream for a newer one now and "
        "then: the server sees one joiner per relay. It plays nothing and opens no sound "
        "file. Exits 0 once the upstream's run has ended and its joiners have been told.");
    command->add_option("UPSTREAM", options->upstream, "the server's (or relay's) --bind endpoint")
        ->required()
        ->check(ReplicationEndpoint());
    command->add_option("--bind", options->endpoint, "where this relay's joiners connect")
        ->required()
        ->check(ReplicationEndpoint());
    AddKeyOptions(*command, options->curveKeys, options->insecure,
                  "the relay's own server keys and allow-list, made by kep-host keygen DIR "
                  "(its joiners are added with --joiner NAME)",
                  "relay without authentication or encryption, on both sides");
    command
        ->add_option("--upstream-keys", options->upstreamKeys,
                     "the keys the upstream's keygen made for this relay as a joiner "
                     "(DIR/joiners/NAME)")
        ->type_name("DIR")
        ->excludes("--insecure")
        ->needs("--curve-keys");
    command->get_option("--curve-keys")->needs("--upstream-keys");
    AddUpstreamOptions(*command, options->accepts,
                       "give up when the upstream has not answered, or not been heard, for this "
                       "long (default: 10 s)");
    return [options](HostContext&) { return RunRelay(*options); };
}
