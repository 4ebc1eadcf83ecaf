// kep-host serve: runs a scene on a replicating sound system and publishes what
// it does, so that joining instances (kep-host join) play the same.
#include <filesystem>

#include <fmt/format.h>

#include "host/CommandLineChecks.h"
#include "host/Commands.h"
#include "host/ConsoleOutput.h"
#include "host/OutputFile.h"
#include "host/ProgressLine.h"
#include "host/ReplicationLink.h"
#include "host/net/Endpoint.h"
#include "host/net/RateMeter.h"
#include "host/net/ReplicationServer.h"
#include "host/net/StateDocument.h"
#include "host/scene/SceneSession.h"
#include "kep/ISoundInspector.h"
#include "kep/Messages.h"

namespace {

struct ServeOptions {
    std::string scene;
    std::string endpoint;
    bool playOnServer = true;
    std::filesystem::path curveKeys;
    bool anyInterface = false;
    std::filesystem::path stateOut;
};

// The replicating system and what publishes it, reached from the frame hook.
struct Publication {
    replication::ReplicationServer* server = nullptr;
    kep::IInteractivePlugin* interactive = nullptr;
    kep::ISoundSystem* sound = nullptr;
    kep::ISoundInspector* inspector = nullptr;
    bool restate = false;

    // Once per frame, after the scene's operations and before the update, which
    // discards what has not been written by then.
    void Frame() {
        server->Service();
        if (restate) {
            Restate();
        }
        if (interactive->TakeChanged() != 0) {
            server->PublishBatch(replication::WriteFrame(*interactive, false));
        }
        if (server->AnswerSnapshotRequests(
                [this] { return replication::WriteFrame(*interactive, true); }) > 0) {
            restate = true;
        }
        server->KeepAlive();
    }

    // A snapshot carries neither the sources' gains nor their looping flags (a
    // replayed source loops if it lives). Recording them again puts them in the
    // next batch, which a joiner applies right after its snapshot.
    void Restate() {
        restate = false;
        for (const std::int32_t id : inspector->ListSources()) {
            kep::SourceDescription source;
            if (inspector->DescribeSource(id, source)) {
                sound->SetGain(id, source.gain);
                sound->SetLooping(id, source.looping);
            }
        }
    }
};

std::optional<replication::CurveKeys> ServerKeys(const ServeOptions& options, bool& usable) {
    usable = true;
    if (!options.curveKeys.empty()) {
        std::string error;
        auto keys =
            replication::ReadCurveKeys(options.curveKeys, replication::CurveRole::Server, error);
        if (!keys) {
            PrintError("kep-host: {}\n", error);
            usable = false;
        }
        return keys;
    }
    if (!replication::IsLoopback(options.endpoint) && !options.anyInterface) {
        PrintError(
            "kep-host: without --curve-keys, serve binds only to loopback (127.0.0.1, "
            "::1, ipc); give --curve-keys DIR (see kep-host keygen), or --insecure to "
            "serve {} unauthenticated\n",
            options.endpoint);
        usable = false;
        return std::nullopt;
    }
    return std::nullopt;
}

int RunServe(HostContext& context, const ServeOptions& options) {
    SceneSession session;
    if (!session.Load(options.scene) ||
        (!options.stateOut.empty() && !Writable(options.stateOut))) {
        return kExitFailed;
    }
    bool keysUsable = false;
    const auto keys = ServerKeys(options, keysUsable);
    if (!keysUsable) {
        return kExitFailed;
    }
    std::string error;
    const auto server = replication::ReplicationServer::Bind(options.endpoint, keys, error);
    if (!server) {
        PrintError("kep-host: {}\n", error);
        return kExitFailed;
    }
    if (!keys) {
        kep::Warning()(
            "kep-host: the replication stream at {} is unauthenticated (no "
            "--curve-keys): anyone who reaches it can join, and joiners trust the "
            "lengths in it",
            options.endpoint);
    }
    Publication publication{server.get()};
    if (!session.Start(context, {true, [&publication] { publication.Frame(); }})) {
        return kExitFailed;
    }
    const auto& plugin = session.player().plugin();
    publication.interactive = kep::query<kep::IInteractivePlugin>(plugin.get());
    publication.sound = kep::query<kep::ISoundSystem>(plugin.get());
    publication.inspector = kep::query<kep::ISoundInspector>(plugin.get());
    plugin->GetPluginProperty()->SetParameterText("PlaySoundOnServer",
                                                  options.playOnServer ? "true" : "false");

    const Scene& scene = session.scene();
    Print("Serving {} at {} ({} s{})\n", options.scene, options.endpoint, scene.duration,
          keys ? ", CURVE" : "");
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
    server->PublishEnd();
    if (!options.stateOut.empty() &&
        !WriteState(options.stateOut, DescribeState(*publication.sound, *publication.inspector),
                    error)) {
        PrintError("kep-host: {}\n", error);
        return kExitFailed;
    }
    session.player().Stop();
    const auto stats = server->stats();
    Print("{}: {} batches, {} snapshots, {} bytes sent\n", finished ? "Done" : "Interrupted",
          stats.sequence, stats.snapshotsSent, stats.bytesSent);
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
        "the scene ends the joiners are told, and serve exits 0. Without --curve-keys the "
        "stream is unauthenticated and serve binds only to loopback.");
    command->add_option("SCENE", options->scene, "the scene's JSON file")->required();
    command->add_option("--bind", options->endpoint, "where joiners connect")
        ->required()
        ->check(ReplicationEndpoint());
    command
        ->add_option("--play-on-server", options->playOnServer,
                     "whether this instance also plays the sound (default: true)")
        ->type_name("true|false");
    command
        ->add_option("--curve-keys", options->curveKeys,
                     "authenticate and encrypt with the keys kep-host keygen made there "
                     "(server.key, server.pub, client.pub)")
        ->type_name("DIR");
    command->add_flag("--insecure", options->anyInterface,
                      "without --curve-keys, bind to more than loopback all the same");
    command
        ->add_option("--state-out", options->stateOut,
                     "on exit, write the sounds and sources as JSON to this file")
        ->type_name("FILE");
    return [options](HostContext& context) { return RunServe(context, *options); };
}
