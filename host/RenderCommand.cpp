// kep-host render: records what the listener of a scene hears into a WAV, through
// OpenAL Soft's wave writer, and can draw its levels over time.
#include <cmath>
#include <filesystem>
#include <fstream>

#include <fmt/format.h>

#include "host/Commands.h"
#include "host/ConsoleOutput.h"
#include "host/OutputFile.h"
#include "host/ProgressLine.h"
#include "host/render/LevelTrace.h"
#include "host/render/SvgLevelPlot.h"
#include "host/render/WaveFile.h"
#include "host/render/WaveWriterSetup.h"
#include "host/scene/SceneSession.h"
#include "host/scene/SceneTimeline.h"

namespace {

constexpr int kSampleRate = 44100;  // Hz
// The wave writer mixes a few periods behind the frames: the scene plays on this
// long after its end, so that the recording holds all of it.
constexpr double kTailSeconds = 0.25;
constexpr double kPlotWindowSeconds = 0.02;
constexpr double kPlotFloorDb = -80;
constexpr int kProgressBarWidth = 30;

struct RenderOptions {
    std::string scene;
    std::filesystem::path output;
    std::filesystem::path plot;
};

bool WritePlot(const std::filesystem::path& file, const WaveData& heard, const Scene& scene) {
    const LevelTrace trace = MeasureLevels(heard, kPlotWindowSeconds, kPlotFloorDb);
    std::ofstream stream(file, std::ios::trunc);
    stream << PlotLevels(trace, TimelineOf(scene), scene.duration,
                         fmt::format("What the listener hears: {}", scene.file.string()));
    stream.close();
    return !stream.fail();
}

// Plays the scene into the wave writer's file and gives what the listener heard
// from the scene's start to its end; returns the exit status so far.
int Record(HostContext& context, SceneSession& session, const WaveWriterSetup& writer,
           WaveData& heard) {
    if (!session.Start(context)) {
        return kExitFailed;
    }
    const Scene& scene = session.scene();
    bool finished = false;
    {
        ProgressLine progress;
        finished = session.player().PlayInRealTime(kTailSeconds, [&](double time) {
            progress.Show(fmt::format("{} {:5.1f} / {:.1f} s",
                                      ProgressBar(time / scene.duration, kProgressBarWidth), time,
                                      scene.duration));
        });
    }
    session.player().Stop();  // closes the device, which completes the file
    if (!finished) {
        PrintError("kep-host: interrupted; nothing written\n");
        return kExitInterrupted;
    }
    WaveData recording;
    std::string error;
    if (!ReadWave(writer.recording(), recording, error)) {
        PrintError("kep-host: the wave writer's file cannot be read: {}\n", error);
        return kExitFailed;
    }
    // The device ran before the scene began; the recording is cut to the scene.
    const double rate = recording.sampleRate;
    const auto first =
        static_cast<std::size_t>(std::lround(session.player().SecondsBeforeScene() * rate));
    const auto frames = static_cast<std::size_t>(std::lround(scene.duration * rate));
    heard = recording.Slice(first, frames);
    if (heard.frames() < frames) {
        PrintError("kep-host: the wave writer recorded only {:.2f} s of the scene\n",
                   heard.frames() / rate);
        return kExitFailed;
    }
    return kExitDone;
}

int RunRender(HostContext& context, const RenderOptions& options) {
    SceneSession session;
    if (!session.Load(options.scene) || !Writable(options.output) ||
        (!options.plot.empty() && !Writable(options.plot))) {
        return kExitFailed;
    }
    std::string error;
    const auto writer = WaveWriterSetup::Create(kSampleRate, error);
    if (!writer) {
        PrintError("kep-host: {}\n", error);
        return kExitFailed;
    }
    Print("Rendering {} ({} s, in real time)\n", options.scene, session.scene().duration);
    std::fflush(stdout);
    WaveData heard;
    if (const int status = Record(context, session, *writer, heard); status != kExitDone) {
        return status;
    }
    if (!WriteWave(options.output, heard)) {
        PrintError("kep-host: {} could not be written\n", options.output.string());
        return kExitFailed;
    }
    Print("WAV: {} ({} s, stereo, 32-bit float, {} Hz)\n",
          std::filesystem::absolute(options.output).string(), session.scene().duration,
          heard.sampleRate);
    if (!options.plot.empty()) {
        if (!WritePlot(options.plot, heard, session.scene())) {
            PrintError("kep-host: {} could not be written\n", options.plot.string());
            return kExitFailed;
        }
        Print("Plot: {}\n", std::filesystem::absolute(options.plot).string());
    }
    return kExitDone;
}

}  // namespace

CommandRun AddRenderCommand(CLI::App& app) {
    auto options = std::make_shared<RenderOptions>();
    CLI::App* command = AddCommand(
        app, "render", "Record what a scene's listener hears into a WAV file.",
        "Records through OpenAL Soft's wave writer, so no sound card is needed. The wave "
        "writer mixes in real time: rendering takes as long as the scene. kep-host writes the "
        "writer's configuration itself and refuses to run while ALSOFT_CONF is set; "
        "ALSOFT_DRIVERS is ignored. The WAV is stereo 32-bit float from the scene's start to "
        "its end. A scene is a JSON file (docs/scenes.md).");
    command->add_option("SCENE", options->scene, "the scene's JSON file")->required();
    command
        ->add_option("-o,--output", options->output,
                     "the WAV file to write (its folder is made if need be)")
        ->required()
        ->type_name("OUT.wav");
    command
        ->add_option("--plot", options->plot,
                     "also draw the left and right levels (dB) over time, with the scene's "
                     "events marked, into this SVG file")
        ->type_name("OUT.svg");
    return [options](HostContext& context) { return RunRender(context, *options); };
}
