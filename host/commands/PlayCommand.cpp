// kep-host play: a scene object carrying a sound property plays a file, from a
// source placed in the world, on the default audio device.
#include <chrono>

#include <fmt/format.h>

#include "host/cli/ArgumentParsing.h"
#include "host/cli/CommandLineChecks.h"
#include "host/cli/ConsoleOutput.h"
#include "host/commands/Commands.h"
#include "host/runtime/FrameClock.h"
#include "host/runtime/HostContext.h"
#include "host/runtime/RunningSoundSystem.h"
#include "host/runtime/SoundLength.h"
#include "kep/DataManager.h"
#include "kep/Entity.h"
#include "kep/ISoundInspector.h"
#include "kep/ISoundProperty.h"

namespace {

// Linear gain; above +60 dB a sound is only clipping, and a larger number is a
// mistake rather than loudness.
constexpr double kMaxGain = 1000;

struct PlayOptions {
    std::string file;
    osg::Vec3f at{0, 0, 0};
    bool loop = false;
    float gain = 1.0f;
    std::optional<double> seconds;
};

int RunPlay(HostContext& context, const PlayOptions* options) {
    // Before any device opens: the file is looked up as the sound property will.
    if (kep::GetDataManager()->GetFilePath(options->file).empty()) {
        PrintError("kep-host: {}: not found\n", options->file);
        return kExitFailed;
    }
    if (!context.LoadPlugins()) {
        return kExitFailed;
    }
    const std::optional<RunningSoundSystem> system =
        StartRunningSoundSystem(context, "play", false);
    if (!system) {
        PrintError("{}\n", kNoDeviceMessage);
        return kExitFailed;
    }
    const auto& [plugin, sound, interactive, inspector] = *system;

    kep::Entity speaker("speaker");
    kep::Property* property = speaker.AddUserProperty("sound");
    auto* soundProperty = kep::query<kep::ISoundProperty>(property);
    if (!soundProperty) {
        PrintError("kep-host: no plug-in offers the sound property\n");
        return kExitFailed;
    }
    property->SetParameterText("Looping", options->loop ? "true" : "false");
    property->SetParameterText("Filename", options->file);
    // After "Filename": the property hands its gain only to a source it already has.
    property->SetParameterText("Gain", fmt::format("{}", options->gain));
    const std::uint32_t duration = soundProperty->duration();
    if (duration == 0) {
        PrintError("kep-host: {} could not be loaded\n", options->file);
        return kExitFailed;
    }
    property->SetParameterText("Play", "true");

    // The property starts its source at the origin; move it where it was asked to be.
    const std::vector<std::int32_t> sources = inspector->ListSources();
    if (sources.size() != 1) {
        PrintError("kep-host: expected one source, found {}\n", sources.size());
        return kExitFailed;
    }
    const std::int32_t sourceId = sources.front();
    sound->SetPosition(sourceId, options->at);
    kep::SoundDescription description;
    const std::vector<std::string> sounds = inspector->ListSounds();
    const double seconds =
        sounds.size() == 1 && inspector->DescribeSound(sounds.front(), description)
            ? BufferSeconds(description)
            : duration;
    Print("Playing {} ({:.3f} s) at {},{},{}{}\n", options->file, seconds, options->at.x(),
          options->at.y(), options->at.z(), options->loop ? ", looping" : "");
    std::fflush(stdout);

    FrameClock clock(std::chrono::milliseconds(20));
    while (clock.Next()) {
        context.UpdatePlugins();
        speaker.Update();
        const double elapsed = clock.Elapsed().count();
        if (options->seconds ? elapsed >= *options->seconds
                             : !options->loop && !inspector->IsSourcePlaying(sourceId)) {
            break;
        }
    }
    soundProperty->stop();
    speaker.RemoveAll();
    Print("Played for {:.2f} s{}\n", clock.Elapsed().count(),
          FrameClock::Interrupted() ? " (interrupted)" : "");
    return FrameClock::Interrupted() ? kExitInterrupted : kExitDone;
}

}  // namespace

CommandRun AddPlayCommand(CLI::App& app) {
    auto options = std::make_shared<PlayOptions>();
    CLI::App* command = AddCommand(
        app, "play", "Play a file from a scene object's sound property.",
        "Plays on the default audio device until the file ends, or for --seconds; Ctrl-C "
        "stops it (exit 130).");
    command->add_option("FILE", options->file, "a sound file of any format FFmpeg reads")
        ->required();
    command
        ->add_option_function<std::string>(
            "--at", [options](const std::string& text) { options->at = *ParseVector(text); },
            "where the source is, in metres (default: 0,0,0, where the listener is)")
        ->check(FloatVector());
    command->add_flag("--loop", options->loop, "play the file over and over");
    command->add_option("--gain", options->gain, "the source's linear gain (default: 1)")
        ->check(CLI::Range(0.0, kMaxGain) & Finite());
    command
        ->add_option_function<double>(
            "--seconds", [options](double seconds) { options->seconds = seconds; },
            "stop after this many seconds")
        ->check(CLI::NonNegativeNumber & Finite());
    return [options](HostContext& context) { return RunPlay(context, options.get()); };
}
