// kep-host replay-demo: one sound system records what happens to a sound moving
// around the listener, a second replays it frame by frame while its listener
// follows a turning camera, and a third joins halfway from a full snapshot.
#include <chrono>
#include <cmath>
#include <numbers>
#include <optional>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/cli/ConsoleOutput.h"
#include "host/commands/Commands.h"
#include "host/net/ReplicationLink.h"
#include "host/runtime/FrameClock.h"
#include "host/runtime/HostContext.h"
#include "host/runtime/RunningSoundSystem.h"
#include "kep/DataManager.h"
#include "kep/HumanInput.h"
#include "kep/ISoundInspector.h"

namespace {

struct DemoOptions {
    std::string file;
    int frames = 150;
    bool dump = false;
};

using Instance = RunningSoundSystem;

// Same sources at the same places, and the demo's sound, on both sides.
bool InStep(Instance& sender, Instance& receiver, std::string_view soundName) {
    const auto ids = sender.inspector->ListSources();
    if (ids != receiver.inspector->ListSources() || !receiver.sound->HasSound(soundName)) {
        return false;
    }
    for (std::int32_t id : ids) {
        if ((sender.sound->GetPosition(id) - receiver.sound->GetPosition(id)).length() > 1e-4f) {
            return false;
        }
    }
    return true;
}

int RunReplayDemo(HostContext& context, const DemoOptions* options) {
    if (!context.LoadPlugins()) {
        return kExitFailed;
    }
    auto camera = std::make_shared<kep::ScriptedCamera>();
    context.plugins().AddPlugin(camera, "camera");

    // Every instance shares the process's one current OpenAL context, so all of
    // them are started before any sound exists.
    auto sender = StartRunningSoundSystem(context, "sender", true);
    auto receiver = StartRunningSoundSystem(context, "receiver", false);
    auto late = StartRunningSoundSystem(context, "late", false);
    if (!sender || !receiver || !late) {
        PrintError("{}\n", kNoDeviceMessage);
        return kExitFailed;
    }
    // Only the replaying instances are heard.
    sender->plugin->GetPluginProperty()->SetParameterText("PlaySoundOnServer", "false");
    for (auto* instance : {&*receiver, &*late}) {
        instance->plugin->GetPluginLocalProperty()->SetParameterText("HumanInputTag", "camera");
    }

    constexpr std::string_view kSoundName = "demo";
    const std::string path = kep::GetDataManager()->GetFilePath(options->file);
    if (path.empty()) {
        PrintError("kep-host: {} not found\n", options->file);
        return kExitFailed;
    }
    if (!sender->sound->CreateSound(kSoundName, path)) {
        PrintError("kep-host: {} could not be loaded\n", options->file);
        return kExitFailed;
    }
    const std::int32_t source = sender->sound->CreateSource(osg::Vec3f(5, 0, 0), true);
    sender->sound->MountSound(source, kSoundName);
    sender->sound->SetSpingCone(source, 90.0f, 0.5f);
    sender->sound->PlaySound(source, true);

    const int joinFrame = options->frames / 2;
    FrameClock clock(std::chrono::milliseconds(20));
    std::size_t bytesSent = 0;
    for (int frame = 0; frame < options->frames && clock.Next(); ++frame) {
        const double turn = 2 * std::numbers::pi * frame / options->frames;
        sender->sound->SetPosition(source, osg::Vec3f(static_cast<float>(5 * std::cos(turn)),
                                                      static_cast<float>(5 * std::sin(turn)), 0));
        camera->SetPose({0, 0, 0, 90.0 * frame / options->frames, 0, 0});

        const auto batch = replication::WriteFrame(*sender->interactive, false);
        replication::DeliverFrame(*receiver->interactive, batch);
        bytesSent += batch.size();
        if (options->dump) {
            Print("frame {} batch: {:02X}\n", frame, fmt::join(batch, " "));
        }
        if (frame == joinFrame) {
            const auto snapshot = replication::WriteFrame(*sender->interactive, true);
            replication::DeliverFrame(*late->interactive, snapshot);
            bytesSent += snapshot.size();
            if (options->dump) {
                Print("frame {} snapshot: {:02X}\n", frame, fmt::join(snapshot, " "));
            }
        } else if (frame > joinFrame) {
            replication::DeliverFrame(*late->interactive, batch);
        }
        context.UpdatePlugins();
    }

    const bool receiverInStep = InStep(*sender, *receiver, kSoundName);
    const bool lateInStep = InStep(*sender, *late, kSoundName);
    Print("Frames: {}, bytes sent: {}\n", options->frames, bytesSent);
    Print("Receiver in step: {}\n", receiverInStep ? "yes" : "no");
    Print("Late joiner in step: {}\n", lateInStep ? "yes" : "no");
    return receiverInStep && lateInStep ? kExitDone : kExitFailed;
}

}  // namespace

CommandRun AddReplayDemoCommand(CLI::App& app) {
    auto options = std::make_shared<DemoOptions>();
    CLI::App* command = AddCommand(
        app, "replay-demo", "Keep a second sound system in step with a first.",
        "A replicating sound system drives a replaying one, and a late joiner fed a full "
        "snapshot halfway, while a source circles 5 m from the listener and the camera turns; "
        "prints whether they kept in step (exit 1 if not).");
    command->add_option("FILE", options->file, "the sound the source plays")->required();
    command->add_option("--frames", options->frames, "how many 20 ms frames to run (default: 150)")
        ->check(CLI::Range(2, 1000000));
    command->add_flag("--dump", options->dump, "print every frame sent, in hexadecimal");
    return [options](HostContext& context) { return RunReplayDemo(context, options.get()); };
}
