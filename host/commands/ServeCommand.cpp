// kep-host serve: runs a scene on a replicating sound system and publishes what
// it does, so that joining instances (kep-host join) play the same.
#include <chrono>
#include <filesystem>

#include <fmt/format.h>

#include "host/cli/CommandLineChecks.h"
#include "host/cli/ConsoleOutput.h"
#include "host/cli/OutputFile.h"
#include "host/cli/ProgressLine.h"
#include "host/commands/Commands.h"
#include "host/commands/ReplicationOptions.h"
#include "host/commands/SceneSession.h"
#include "host/net/Endpoint.h"
#include "host/net/MemoryGuard.h"
#include "host/net/RateMeter.h"
#include "host/net/ReplicationLink.h"
#include "host/net/ReplicationServer.h"
#include "host/net/StateDocument.h"
#include "host/runtime/FrameClock.h"
#include "kep/ISoundInspector.h"
#include "kep/Messages.h"

namespace {

// After its run the server tells the end with every heartbeat, and still answers
// snapshot requests, for this long, or until no joiner is connected: a joiner that
// lost the last batches, or the end itself, catches up and ends in step.
constexpr auto kEndGrace = std::chrono::seconds(3);
constexpr double kGraceFrameRate = 60;

struct ServeOptions {
    std::string scene;
    std::string endpoint;
    bool playOnServer = true;
    std::filesystem::path curveKeys;
    bool insecure = false;
    std::filesystem::path stateOut;
};

// What peers can make the server hold beyond its own memory, before every
// connection is closed and opened again.
constexpr std::uint64_t kMemoryAllowance = 192u << 20;

// The replicating system and what publishes it, reached from the frame hook.
struct Publication {
    replication::ReplicationServer* server = nullptr;
    kep::IInteractivePlugin* interactive = nullptr;
    kep::ISoundInspector* inspector = nullptr;
    replication::MemoryGuard* memory = nullptr;
    std::optional<std::chrono::steady_clock::time_point> closed;  // by the memory guard

    // Once per frame, after the scene's operations and before the update, which
    // discards what has not been written by then.
    void Frame() {
        Service();
        if (interactive->TakeChanged() != 0) {
            server->PublishBatch(replication::WriteFrame(*interactive, false));
        }
        Answer();
    }

    // Answers handshakes and the like; closes every connection when peers have made
    // the server hold too much, and opens them again once that has settled.
    void Service() {
        server->Service();
        const auto now = std::chrono::steady_clock::now();
        if (closed && now - *closed >= replication::MemoryGuard::kSettleTime) {
            if (!memory->Settled()) {
                kep::Warning()(
                    "kep-host: {} MiB resident with every connection closed: the server holds "
                    "that much itself",
                    memory->resident() >> 20);
            }
            server->OpenConnections();
            closed.reset();
        } else if (!closed && memory->Breached()) {
            kep::Warning()(
                "kep-host: {} MiB resident, more than peers may make this server hold: every "
                "connection is closed and opened again",
                memory->resident() >> 20);
            server->CloseConnections();
            closed = now;
        }
    }

    // What a frame does once the run has ended: nothing new is published.
    void Answer() {
        server->AnswerSnapshotRequests([this] { return Snapshot(); });
        server->KeepAlive();
    }

    // The sound system's snapshot carries neither the sources' gains nor their
    // looping flags (a replayed source loops if it lives): they travel beside it,
    // to the joiner that asked alone.
    replication::ReplicationServer::Snapshot Snapshot() {
        replication::ReplicationServer::Snapshot snapshot;
        snapshot.epoch = server->epoch();
        snapshot.sequence = server->stats().sequence;
        snapshot.state = replication::WriteFrame(*interactive, true);
        for (const std::int32_t id : inspector->ListSources()) {
            kep::SourceDescription source;
            if (inspector->DescribeSource(id, source)) {
                snapshot.settings.push_back({id, source.gain, source.looping});
            }
        }
        return snapshot;
    }
};

std::optional<replication::ServerKeys> ReadKeys(const ServeOptions& options, bool& usable) {
    usable = true;
    if (options.insecure) {
        return std::nullopt;
    }
    std::string error;
    auto keys = replication::ReadServerKeys(options.curveKeys, error);
    if (!keys) {
        PrintError("kep-host: {}\n", error);
        usable = false;
    }
    return keys;
}

// Tells the end, and answers late requests, for the grace period.
void EndRun(replication::ReplicationServer& server, Publication& publication) {
    server.PublishEnd();
    FrameClock clock(std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::duration<double>(1 / kGraceFrameRate)));
    while (clock.Elapsed() < kEndGrace && clock.Next()) {
        publication.Service();
        if (server.stats().peers == 0 && !server.rejoining() && !publication.closed) {
            return;
        }
        publication.Answer();
    }
}

int RunServe(HostContext& context, const ServeOptions& options) {
    SceneSession session;
    if (!session.Load(options.scene) ||
        (!options.stateOut.empty() && !Writable(options.stateOut))) {
        return kExitFailed;
    }
    bool keysUsable = false;
    const auto keys = ReadKeys(options, keysUsable);
    if (!keysUsable) {
        return kExitFailed;
    }
    // Before the sockets are bound: all that comes through them counts. The scene's
    // sounds are its own.
    Publication publication;
    replication::MemoryGuard memory(kMemoryAllowance, [&publication] {
        return publication.inspector ? replication::LoadedBytes(*publication.inspector) : 0;
    });
    std::string error;
    const auto server =
        replication::ReplicationServer::Bind(options.endpoint, keys ? &*keys : nullptr, error);
    if (!server) {
        PrintError("kep-host: {}\n", error);
        return kExitFailed;
    }
    if (!keys) {
        kep::Warning()(
            "kep-host: --insecure: the replication stream at {} is neither authenticated nor "
            "encrypted: anyone who reaches it{} can read every operation, join, and make this "
            "server send snapshots",
            options.endpoint,
            replication::IsLoopback(options.endpoint) ? " (any user or container of this machine)"
                                                      : "");
    }
    publication.server = server.get();
    publication.memory = &memory;
    if (!session.Start(context, {true, [&publication] { publication.Frame(); }})) {
        return kExitFailed;
    }
    const auto& plugin = session.player().plugin();
    publication.interactive = kep::query<kep::IInteractivePlugin>(plugin.get());
    publication.inspector = kep::query<kep::ISoundInspector>(plugin.get());
    plugin->GetPluginProperty()->SetParameterText("PlaySoundOnServer",
                                                  options.playOnServer ? "true" : "false");

    const Scene& scene = session.scene();
    Print("Serving {} at {} ({} s{})\n", options.scene, options.endpoint, scene.duration,
          keys ? ", CURVE" : ", insecure");
    std::fflush(stdout);
    bool finished = false;
    {
        ProgressLine progress;
        RateMeter rate;
        finished = session.player().PlayInRealTime(0, [&](double time) {
            const auto stats = server->stats();
            const double bytesPerSecond = rate.Update(stats.bytesSent);
            if (progress.visible()) {
                progress.Show(
                    fmt::format("{:6.2f} / {:.2f} s, peers {}, sequence {}, {:.1f} kB/s, "
                                "snapshots {}",
                                time, scene.duration, stats.peers, stats.sequence,
                                bytesPerSecond / 1000, stats.snapshotsSent));
            }
        });
    }
    EndRun(*server, publication);
    if (!options.stateOut.empty() &&
        !WriteState(options.stateOut, DescribeState(*SoundSystemOf(plugin), *publication.inspector),
                    error)) {
        PrintError("kep-host: {}\n", error);
        return kExitFailed;
    }
    session.player().Stop();
    const auto stats = server->stats();
    Print("{}: {} batches, {} snapshots, {} bytes sent, {} requests refused\n",
          finished ? "Done" : "Interrupted", stats.sequence, stats.snapshotsSent, stats.bytesSent,
          stats.requestsRefused);
    return finished ? kExitDone : kExitInterrupted;
}

}  // namespace

CommandRun AddServeCommand(CLI::App& app) {
    auto options = std::make_shared<ServeOptions>();
    CLI::App* command = AddCommand(
        app, "serve", "Run a scene and keep joining instances (kep-host join) in step.",
        "Runs the scene in real time on a replicating sound system and publishes each frame's "
        "operations at the endpoint (ZeroMQ, e.g. tcp://127.0.0.1:5555); joiners ask for the "
        "whole state at the next port (ipc: the path with .snapshot appended). When "
        "the scene ends the joiners are told, and serve exits 0. With --curve-keys only the "
        "joiners in the allow-list (kep-host keygen DIR --joiner NAME) get in; removing one's "
        "key cuts it off within a second.");
    command->add_option("SCENE", options->scene, "the scene's JSON file")->required();
    command->add_option("--bind", options->endpoint, "where joiners connect")
        ->required()
        ->check(ReplicationEndpoint());
    command
        ->add_option("--play-on-server", options->playOnServer,
                     "whether this instance also plays the sound (default: true)")
        ->type_name("true|false");
    AddKeyOptions(*command, options->curveKeys, options->insecure,
                  "authenticate and encrypt with the keys kep-host keygen made there "
                  "(server.key, server.pub, and the allow-list joiners/*.pub)",
                  "serve without authentication or encryption (to anyone who reaches the "
                  "endpoint)");
    command
        ->add_option("--state-out", options->stateOut,
                     "on exit, write the sounds and sources as JSON to this file")
        ->type_name("FILE");
    return [options](HostContext& context) { return RunServe(context, *options); };
}
