// kep-host play: a scene object carrying a sound property plays a file, from a
// source placed in the world, on the default audio device.
#include <chrono>

#include <fmt/format.h>

#include "host/ArgumentParsing.h"
#include "host/ConsoleOutput.h"
#include "host/FrameClock.h"
#include "host/HostContext.h"
#include "kep/Entity.h"
#include "kep/ISoundInspector.h"
#include "kep/ISoundProperty.h"

namespace {

// Linear gain; above +60 dB a sound is only clipping, and a larger number is a
// mistake rather than loudness.
constexpr float kMaxGain = 1000.0f;

struct PlayOptions {
    std::string file;
    osg::Vec3f at{0, 0, 0};
    bool loop = false;
    float gain = 1.0f;
    std::optional<double> seconds;
};

std::optional<PlayOptions> ParsePlayOptions(std::span<const std::string> args) {
    PlayOptions options;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        const bool hasValue = i + 1 < args.size();
        if (arg == "--loop") {
            options.loop = true;
        } else if (arg == "--at" && hasValue) {
            auto at = ParseVector(args[++i]);
            if (!at) {
                PrintError("--at takes X,Y,Z (numbers a float holds)\n");
                return std::nullopt;
            }
            options.at = *at;
        } else if (arg == "--gain" && hasValue) {
            auto gain = ParseFloat(args[++i]);
            if (!gain || *gain < 0 || *gain > kMaxGain) {
                PrintError("--gain takes a number from 0 to {}\n", kMaxGain);
                return std::nullopt;
            }
            options.gain = *gain;
        } else if (arg == "--seconds" && hasValue) {
            auto seconds = ParseNumber(args[++i]);
            if (!seconds || *seconds < 0) {
                PrintError("--seconds takes a number of at least 0\n");
                return std::nullopt;
            }
            options.seconds = *seconds;
        } else if (!arg.starts_with("--") && options.file.empty()) {
            options.file = arg;
        } else {
            PrintError("unexpected argument {}\n", arg);
            return std::nullopt;
        }
    }
    if (options.file.empty()) {
        PrintError("usage: kep-host play FILE [--at X,Y,Z] [--loop] [--gain G] [--seconds S]\n");
        return std::nullopt;
    }
    return options;
}

}  // namespace

int RunPlay(HostContext& context, std::span<const std::string> args) {
    std::optional<PlayOptions> options = ParsePlayOptions(args);
    if (!options) {
        return 2;
    }
    if (!context.LoadPlugins()) {
        return 1;
    }
    std::shared_ptr<kep::IBasePlugin> plugin = context.StartSoundSystem("play", false);
    std::shared_ptr<kep::ISoundSystem> sound = SoundSystemOf(plugin);
    auto* inspector = kep::query<kep::ISoundInspector>(plugin.get());
    if (!sound || !inspector || !inspector->IsDeviceOpen()) {
        PrintError("kep-host: no audio device\n");
        return 1;
    }

    kep::Entity speaker("speaker");
    kep::Property* property = speaker.AddUserProperty("sound");
    auto* soundProperty = kep::query<kep::ISoundProperty>(property);
    if (!soundProperty) {
        PrintError("kep-host: no plug-in offers the sound property\n");
        return 1;
    }
    property->SetParameterText("Looping", options->loop ? "true" : "false");
    property->SetParameterText("Filename", options->file);
    // After "Filename": the property hands its gain only to a source it already has.
    property->SetParameterText("Gain", fmt::format("{}", options->gain));
    const std::uint32_t duration = soundProperty->duration();
    if (duration == 0) {
        PrintError("kep-host: {} could not be loaded\n", options->file);
        return 1;
    }
    property->SetParameterText("Play", "true");

    // The property starts its source at the origin; move it where it was asked to be.
    const std::vector<std::int32_t> sources = inspector->ListSources();
    if (sources.size() != 1) {
        PrintError("kep-host: expected one source, found {}\n", sources.size());
        return 1;
    }
    const std::int32_t sourceId = sources.front();
    sound->SetPosition(sourceId, options->at);
    Print("Playing {} ({} s) at {},{},{}{}\n", options->file, duration, options->at.x(),
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
    return 0;
}
