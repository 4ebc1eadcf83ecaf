// kep-host join: a replaying sound system that plays, or records, what a serving
// instance (kep-host serve) does, its listener following a camera of its own.
#include <chrono>
#include <filesystem>
#include <optional>

#include <fmt/format.h>

#include "host/cli/CommandLineChecks.h"
#include "host/cli/ConsoleOutput.h"
#include "host/cli/OutputFile.h"
#include "host/cli/ProgressLine.h"
#include "host/commands/Commands.h"
#include "host/commands/ReplicationOptions.h"
#include "host/net/Follower.h"
#include "host/net/JoinerDataManager.h"
#include "host/net/MemoryGuard.h"
#include "host/net/PayloadCheck.h"
#include "host/net/RateMeter.h"
#include "host/net/ReplicationClient.h"
#include "host/net/ReplicationLink.h"
#include "host/net/SourceSettings.h"
#include "host/net/StateDocument.h"
#include "host/render/WaveFile.h"
#include "host/render/WaveWriterSetup.h"
#include "host/runtime/FrameClock.h"
#include "host/runtime/RunningSoundSystem.h"
#include "host/scene/CameraPose.h"
#include "host/scene/Keyframes.h"
#include "host/scene/SceneLoader.h"
#include "kep/HumanInput.h"
#include "kep/ISoundInspector.h"
#include "kep/Messages.h"

namespace {

constexpr double kFrameRate = 60;
// What a server can make a joiner hold beyond the joiner's own memory and its
// sounds, before every connection is closed and opened again: its queues, full,
// and this much more.
constexpr std::uint64_t kMemorySlack = 64u << 20;
constexpr int kSampleRate = 44100;
constexpr const char* kCameraTag = "join camera";
// A command batch holding no command: it lets the update place the listener on
// frames that brought nothing.
constexpr std::uint8_t kEmptyBatch[] = {0, 0, 0, 0, 0};

struct JoinOptions {
    std::string endpoint;
    std::string camera = "fixed";
    std::filesystem::path output;
    double seconds = 0;
    std::vector<std::filesystem::path> dataRoots;
    std::filesystem::path curveKeys;
    bool insecure = false;
    std::filesystem::path stateOut;
    std::uintmax_t maxSoundMb = 64;
    std::uintmax_t maxSoundsMb = 1024;
    UpstreamOptions upstream;
};

using Replica = RunningSoundSystem;

class Joiner {
public:
    Joiner(HostContext& context, const JoinOptions& options, Replica replica,
           replication::ReplicationClient& client, replication::MemoryGuard& memory,
           std::optional<Scene> cameraScene)
        : context_(context),
          options_(options),
          replica_(std::move(replica)),
          cameraScene_(std::move(cameraScene)),
          follower_(client, memory, options.endpoint,
                    std::chrono::duration<double>(options.upstream.timeout),
                    {[this](const auto& frame) { return Apply(frame); }, {}, {}, {}}) {}

    // Runs until the server ends its run, the time is up, the user interrupts or
    // the server cannot be heard; the exit status.
    int Run(kep::ScriptedCamera& camera) {
        FrameClock clock(std::chrono::duration_cast<std::chrono::nanoseconds>(
            std::chrono::duration<double>(1 / kFrameRate)));
        ProgressLine progress;
        RateMeter rate;
        const auto& feed = follower_.feed();
        for (;;) {
            follower_.ReceiveUntil(clock.NextDue());
            if (!clock.Next()) {
                return kExitInterrupted;
            }
            const double elapsed = clock.Elapsed().count();
            if (options_.seconds > 0 && elapsed >= options_.seconds) {
                return kExitDone;
            }
            const auto outcome = follower_.Step();
            if (outcome == replication::Follower::Outcome::Failed) {
                PrintError("{}\n", follower_.failure());
                return kExitFailed;
            }
            camera.SetPose(PoseAt(elapsed));
            if (!applied_) {
                replication::DeliverFrame(*replica_.interactive, kEmptyBatch);
                context_.UpdatePlugins();
            }
            applied_ = false;
            if (progress.visible()) {
                progress.Show(fmt::format("{:6.2f} s, {}, sequence {}, {:.1f} kB/s, resyncs {}",
                                          elapsed, Status(), feed.sequence(),
                                          rate.Update(follower_.bytesReceived()) / 1000,
                                          feed.resyncs()));
            }
            if (outcome == replication::Follower::Outcome::Ended) {
                return kExitDone;
            }
        }
    }

    std::uint64_t batches() const { return batches_; }
    bool reachedServer() const { return follower_.feed().synchronised(); }
    std::uint64_t resyncs() const { return follower_.feed().resyncs(); }

private:
    bool Apply(const replication::ReplicaFeed::Frame& frame) {
        const auto& header = frame.header;
        const bool snapshot = header.kind == replication::FrameKind::Snapshot;
        std::string error;
        const auto outline =
            replication::CheckPayload(header.kind, header.byteOrder, frame.payload, error);
        if (!outline) {
            kep::Warning()("kep-host: refused {} {} from the server: {}; asking for a snapshot",
                           replication::KindName(header.kind), header.sequence, error);
            return false;
        }
        if (snapshot && holdsState_) {
            // A snapshot adds to what is there: start again from nothing.
            replica_.sound->DeleteSourcesAndSounds();
        }
        holdsState_ = true;
        applied_ = true;
        const auto payload = WithoutRepeatedLoads(header.byteOrder, frame.payload, *outline);
        const bool read = replication::DeliverFrame(
            *replica_.interactive,
            payload ? std::span<const std::uint8_t>(*payload) : frame.payload,
            header.byteOrder == replication::PayloadOrder::Big ? uxs::byte_order::big
                                                               : uxs::byte_order::little);
        const bool updated = context_.UpdatePlugins();
        if (snapshot) {
            ApplySettings(frame.extra);
        }
        batches_ += !snapshot;
        if (!read || !updated) {
            kep::Warning()(
                "kep-host: the sound system could not apply {} {}; asking for a "
                "snapshot",
                replication::KindName(header.kind), header.sequence);
        }
        return read && updated;
    }

    // The payload without loads of sounds loaded already, which the sound system
    // would load a second time and leak; nothing if it has none.
    std::optional<std::vector<std::uint8_t>> WithoutRepeatedLoads(
        replication::PayloadOrder order, std::span<const std::uint8_t> payload,
        const replication::PayloadOutline& outline) {
        if (outline.events.empty()) {
            return std::nullopt;
        }
        const auto names = replica_.inspector->ListSounds();
        std::vector<std::string> refused;
        auto kept = replication::WithoutRepeatedLoads(order, payload, outline,
                                                      {names.begin(), names.end()}, refused);
        for (const std::string& name : refused) {
            kep::Warning()("kep-host: refused a second load of sound {}: it is loaded already",
                           name);
        }
        return kept;
    }

    void ApplySettings(std::span<const std::uint8_t> extra) {
        std::string error;
        const auto settings = replication::DecodeSourceSettings(extra, error);
        for (const auto& source :
             settings ? settings->sources : std::vector<replication::SourceSetting>()) {
            replica_.sound->SetGain(source.sourceId, source.gain);
            replica_.sound->SetLooping(source.sourceId, source.looping);
        }
    }

    kep::math::pos_6d PoseAt(double time) const {
        return PoseOf(cameraScene_ ? ValueAt(cameraScene_->camera, time, &BlendViews) : View{});
    }

    std::string Status() const {
        const auto& feed = follower_.feed();
        return feed.synchronised() ? fmt::format("server {:016x}", feed.epoch())
                                   : std::string("waiting for the server");
    }

    HostContext& context_;
    const JoinOptions& options_;
    Replica replica_;
    std::optional<Scene> cameraScene_;
    replication::Follower follower_;
    bool applied_ = false;
    bool holdsState_ = false;
    std::uint64_t batches_ = 0;
};

std::optional<Replica> StartReplica(HostContext& context) {
    std::optional<Replica> replica = StartRunningSoundSystem(context, "join", false);
    if (!replica) {
        PrintError("{}\n", kNoDeviceMessage);
        return std::nullopt;
    }
    replica->plugin->GetPluginLocalProperty()->SetParameterText("HumanInputTag", kCameraTag);
    return replica;
}

// Writes what the device recorded; the exit status.
int SaveRecording(const WaveWriterSetup& writer, const std::filesystem::path& output) {
    WaveData heard;
    std::string error;
    if (!ReadWave(writer.recording(), heard, error)) {
        PrintError("kep-host: the wave writer's file cannot be read: {}\n", error);
        return kExitFailed;
    }
    if (!WriteWave(output, heard)) {
        PrintError("kep-host: {} could not be written\n", output.string());
        return kExitFailed;
    }
    Print("WAV: {} ({:.2f} s, stereo, 32-bit float, {} Hz)\n",
          std::filesystem::absolute(output).string(),
          static_cast<double>(heard.frames()) / heard.sampleRate, heard.sampleRate);
    return kExitDone;
}

int RunJoin(HostContext& context, const JoinOptions& options) {
    std::string error;
    std::optional<Scene> cameraScene;
    if (options.camera != "fixed") {
        cameraScene = LoadScene(options.camera, error);
        if (!cameraScene) {
            PrintError("{}\n", error);
            return kExitFailed;
        }
    }
    std::optional<replication::JoinerKeys> keys;
    if (!options.insecure) {
        keys = replication::ReadJoinerKeys(options.curveKeys, error);
        if (!keys) {
            PrintError("kep-host: {}\n", error);
            return kExitFailed;
        }
    }
    for (const auto* file : {&options.output, &options.stateOut}) {
        if (!file->empty() && !Writable(*file)) {
            return kExitFailed;
        }
    }
    if (!keys) {
        kep::Warning()(
            "kep-host: --insecure: the server at {} is not authenticated: whoever answers there "
            "decides what this instance plays, and which sound files under its data folders it "
            "opens",
            options.endpoint);
    }
    std::unique_ptr<WaveWriterSetup> writer;
    if (!options.output.empty() && !(writer = WaveWriterSetup::Create(kSampleRate, error))) {
        PrintError("kep-host: {}\n", error);
        return kExitFailed;
    }
    if (!context.LoadPlugins()) {
        return kExitFailed;
    }
    auto camera = std::make_shared<kep::ScriptedCamera>();
    context.plugins().AddPlugin(camera, kCameraTag);
    auto replica = StartReplica(context);
    if (!replica) {
        return kExitFailed;
    }
    const auto loadedBytes = [inspector = replica->inspector] {
        return replication::LoadedBytes(*inspector);
    };
    kep::SetDataManager(std::make_shared<replication::JoinerDataManager>(
        options.dataRoots.empty() ? std::vector<std::filesystem::path>{"."} : options.dataRoots,
        replication::JoinerDataManager::Limits{options.maxSoundMb << 20, options.maxSoundsMb << 20},
        loadedBytes));
    // Before the first connection: all that comes through one counts.
    const auto limits = options.upstream.limits();
    replication::MemoryGuard memory(
        kMemorySlack + replication::ReplicationClient::MostQueued(limits), loadedBytes);
    const auto client = replication::ReplicationClient::Connect(
        options.endpoint, keys ? &*keys : nullptr, limits, error);
    if (!client) {
        PrintError("kep-host: {}\n", error);
        return kExitFailed;
    }
    Print("Joining {}\n", options.endpoint);
    std::fflush(stdout);
    Joiner joiner(context, options, *replica, *client, memory, std::move(cameraScene));
    const int status = joiner.Run(*camera);
    kep::SetDataManager(nullptr);  // it reads the replica, which goes before the program ends
    if (!options.stateOut.empty() &&
        !WriteState(options.stateOut, DescribeState(*replica->sound, *replica->inspector), error)) {
        PrintError("kep-host: {}\n", error);
        return kExitFailed;
    }
    context.plugins().Stop(*replica->plugin);  // closes the device, which completes a recording
    Print("{}: {} batches applied, {} resyncs, {} bytes received\n", OutcomeWord(status),
          joiner.batches(), joiner.resyncs(), client->bytesReceived());
    // What was heard is kept also when the run was cut short.
    if (writer && joiner.reachedServer() && SaveRecording(*writer, options.output) != kExitDone) {
        return kExitFailed;
    }
    return status;
}

}  // namespace

CommandRun AddJoinCommand(CLI::App& app) {
    auto options = std::make_shared<JoinOptions>();
    CLI::App* command = AddCommand(
        app, "join", "Play what a serving instance (kep-host serve) does.",
        "Subscribes to the server at the endpoint, asks it for the whole state, then applies "
        "its operations frame by frame; a lost message, a restarted server or a frame that "
        "cannot be read makes it ask again. The listener follows this instance's own camera. "
        "Sound files are the server's paths, looked for only by their trailing folders and "
        "name under each --data folder (the current folder if none is given). Exits 0 once "
        "it has applied everything up to the server's last batch (or after --seconds), 1 if "
        "no server answered, it fell silent, or this instance could not get in step before "
        "it ended; a recording holds what was heard until then.");
    command->add_option("ENDPOINT", options->endpoint, "the server's --bind endpoint")
        ->required()
        ->check(ReplicationEndpoint());
    command
        ->add_option("--camera", options->camera,
                     "fixed (at the origin, looking along -Z), or a scene file whose camera "
                     "path the listener follows from the moment of joining")
        ->type_name("fixed|SCENE");
    command
        ->add_option("-o,--output", options->output,
                     "record what the listener hears into this WAV, through OpenAL Soft's "
                     "wave writer")
        ->type_name("OUT.wav");
    command->add_option("--seconds", options->seconds, "leave after this long")
        ->check(CLI::Range(0.0, 1e6) & Finite())
        ->type_name("S");
    command
        ->add_option("--data", options->dataRoots,
                     "a folder to look for sound files in (default: the current folder); "
                     "nothing outside these folders is opened")
        ->type_name("DIR");
    command
        ->add_option("--max-sound-mb", options->maxSoundMb,
                     "the largest sound file opened, in MiB (default: 64)")
        ->check(CLI::Range(1, 1 << 20))
        ->type_name("MB");
    command
        ->add_option("--max-sounds-mb", options->maxSoundsMb,
                     "the most PCM all sounds loaded may hold, in MiB (default: 1024): "
                     "past it, no more are loaded")
        ->check(CLI::Range(1, 1 << 20))
        ->type_name("MB");
    AddUpstreamOptions(*command, options->upstream,
                       "give up when no server has answered, or the server has not been heard, "
                       "for this long (default: 10 s)");
    AddKeyOptions(*command, options->curveKeys, options->insecure,
                  "authenticate with the keys kep-host keygen DIR --joiner NAME made in "
                  "DIR/joiners/NAME (server.pub, joiner.pub, joiner.key)",
                  "join without authentication or encryption: whoever answers at the endpoint "
                  "is trusted");
    command
        ->add_option("--state-out", options->stateOut,
                     "on exit, write the sounds and sources as JSON to this file")
        ->type_name("FILE");
    return [options](HostContext& context) { return RunJoin(context, *options); };
}
