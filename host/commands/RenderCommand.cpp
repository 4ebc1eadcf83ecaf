// kep-host render: renders what the listener of a scene hears into a WAV, frame
// by frame on a loopback device, as fast as the machine allows, and can draw the
// scene and its levels.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <fmt/format.h>

#include "host/cli/ConsoleOutput.h"
#include "host/cli/OutputFile.h"
#include "host/cli/ProgressLine.h"
#include "host/commands/Commands.h"
#include "host/commands/SceneSession.h"
#include "host/render/LevelTrace.h"
#include "host/render/LoopbackDevice.h"
#include "host/render/SvgScenePlot.h"
#include "host/render/WaveWriter.h"
#include "host/runtime/InterruptWatch.h"
#include "kep/Messages.h"

namespace {

constexpr int kDefaultSampleRate = 44100;  // Hz
// A day of scene is 30 GB of WAV at 44100 Hz: a longer one is a mistake.
constexpr double kLongestRender = 24 * 3600.0;
// OpenAL Soft's own default; a scene with more sources and objects gets one each.
constexpr int kLeastVoices = 256;
// A WAV's sizes are 32-bit: its data must stay under 4 GiB, header and all.
constexpr double kLargestWaveBytes = 4294967295.0 - 4096;
constexpr double kBytesPerFrame = 2 * sizeof(float);
// Rendered in blocks of at most this many frames, whatever the scene's frame rate.
constexpr int kBlockFrames = 4096;
constexpr double kPlotWindowSeconds = 0.02;
constexpr double kPlotFloorDb = -80;
constexpr int kProgressBarWidth = 30;
constexpr auto kProgressPeriod = std::chrono::milliseconds(100);

struct RenderOptions {
    std::string scene;
    std::filesystem::path output;
    std::filesystem::path plot;
    int sampleRate = kDefaultSampleRate;
    bool hrtf = false;
};

// A render that would write over the scene, one of its sounds, or its own other
// output is a mistake on the command line; the message names both. The sounds
// are known once the scene is loaded.
bool OutputsClash(const RenderOptions& options, const Scene* scene) {
    if (options.output.empty()) {
        PrintError("kep-host: -o names no file\n");
        return true;
    }
    std::vector<std::pair<std::filesystem::path, std::string>> inputs = {
        {options.scene, "the scene"}};
    for (const auto& [name, file] : scene ? scene->sounds : decltype(scene->sounds){}) {
        inputs.emplace_back(scene->folder / file, fmt::format("the sound {}", name));
    }
    std::vector<std::pair<std::filesystem::path, std::string>> outputs = {
        {options.output, "the WAV"}};
    if (!options.plot.empty()) {
        outputs.emplace_back(options.plot, "the plot");
        inputs.emplace_back(options.output, "the WAV");
    }
    for (const auto& [output, written] : outputs) {
        for (const auto& [input, what] : inputs) {
            if (written != what && SameFile(output, input)) {
                PrintError("kep-host: {} would be written over {} ({})\n", written, what,
                           input.string());
                return true;
            }
        }
    }
    return false;
}

bool WritePlot(const std::filesystem::path& file, const LevelTrace& trace, const Scene& scene) {
    std::ofstream stream(file, std::ios::trunc);
    stream << PlotScene(trace, scene,
                        fmt::format("What the listener hears: {}", scene.file.string()));
    stream.close();
    return !stream.fail();
}

// Where frame `frame` of the scene starts, in samples.
std::int64_t FirstSample(int frame, const Scene& scene, int sampleRate) {
    return std::llround(frame * static_cast<double>(sampleRate) / scene.frameRate);
}

struct Rendered {
    std::int64_t frames = 0;  // sample frames written
    bool interrupted = false;
    bool writeFailed = false;
};

// Plays each frame of the scene, then renders exactly the samples up to the next
// frame's start into the WAV and the meter; so an event at time t sounds from the
// first sample of the first frame at or after t.
Rendered RenderFrames(ScenePlayer& player, const Scene& scene, const LoopbackDevice& device,
                      WaveWriter& wave, LevelMeter& meter) {
    const int rate = device.format().sampleRate;
    const std::int64_t total = std::llround(scene.duration * rate);
    std::vector<float> block(static_cast<std::size_t>(kBlockFrames) * LoopbackDevice::kChannels);
    ProgressLine progress;
    auto shown = std::chrono::steady_clock::now();
    Rendered rendered;
    for (int frame = 0; FirstSample(frame, scene, rate) < total; ++frame) {
        if (InterruptWatch::Interrupted()) {
            rendered.interrupted = true;
            break;
        }
        player.PlayFrame(frame);
        const std::int64_t end = std::min(FirstSample(frame + 1, scene, rate), total);
        while (rendered.frames < end) {
            const auto count =
                static_cast<int>(std::min<std::int64_t>(end - rendered.frames, kBlockFrames));
            device.Render(block.data(), count);
            meter.Add(block.data(), count);
            if (!wave.Write(block.data(), count)) {
                rendered.writeFailed = true;
                return rendered;
            }
            rendered.frames += count;
        }
        if (progress.visible() && std::chrono::steady_clock::now() - shown > kProgressPeriod) {
            shown = std::chrono::steady_clock::now();
            const double time = static_cast<double>(rendered.frames) / rate;
            progress.Show(fmt::format("{} {:5.1f} / {:.1f} s",
                                      ProgressBar(time / scene.duration, kProgressBarWidth), time,
                                      scene.duration));
        }
    }
    return rendered;
}

int RunRender(HostContext& context, const RenderOptions& options) {
    if (OutputsClash(options, nullptr)) {
        return kExitUsage;
    }
    SceneSession session;
    if (!session.Load(options.scene, {.maxDuration = kLongestRender})) {
        return kExitFailed;
    }
    const Scene& scene = session.scene();
    if (OutputsClash(options, &scene)) {
        return kExitUsage;
    }
    if (const double longest = kLargestWaveBytes / (kBytesPerFrame * options.sampleRate);
        scene.duration > longest) {
        PrintError(
            "kep-host: {} s of scene at {} Hz makes a WAV over 4 GiB, more than a WAV file "
            "holds: render at most {:.0f} s at this rate\n",
            scene.duration, options.sampleRate, std::floor(longest));
        return kExitUsage;
    }
    if (!Writable(options.output) || (!options.plot.empty() && !Writable(options.plot))) {
        return kExitFailed;
    }
    // The loopback device needs no backend: none is probed for (no noise from
    // audio systems the machine lacks).
    setenv("ALSOFT_DRIVERS", "null", 1);
    const int voices = static_cast<int>(
        std::max<std::size_t>(kLeastVoices, scene.sources.size() + scene.objects.size()));
    std::string error;
    const auto device = LoopbackDevice::Arm({options.sampleRate, options.hrtf, voices}, error);
    if (!device) {
        PrintError("kep-host: {}\n", error);
        return kExitFailed;
    }
    Print("Rendering {} ({} s)\n", options.scene, scene.duration);
    std::fflush(stdout);
    // From here Ctrl-C ends the render cleanly: after the sounds have loaded, or
    // between two frames, keeping what was rendered.
    const InterruptWatch interrupts;
    if (!session.Start(context)) {
        return kExitFailed;
    }
    if (InterruptWatch::Interrupted()) {
        PrintError("kep-host: interrupted before the first frame; nothing written\n");
        return kExitInterrupted;
    }
    if (!device->Opened(error)) {
        PrintError("kep-host: {}\n", error);
        return kExitFailed;
    }
    kep::Info()("kep-host: rendering on OpenAL Soft's loopback device: stereo float at {} Hz{}",
                options.sampleRate, options.hrtf ? ", HRTF" : "");
    auto wave =
        WaveWriter::Create(options.output, LoopbackDevice::kChannels, options.sampleRate, error);
    if (!wave) {
        PrintError("kep-host: {} cannot be written: {}\n", options.output.string(), error);
        return kExitFailed;
    }
    LevelMeter meter(LoopbackDevice::kChannels, options.sampleRate, kPlotWindowSeconds,
                     kPlotFloorDb);
    const auto started = std::chrono::steady_clock::now();
    const Rendered rendered = RenderFrames(session.player(), scene, *device, *wave, meter);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - started;
    session.player().Stop();
    const bool closed = wave->Close();
    const double seconds = static_cast<double>(rendered.frames) / options.sampleRate;
    if (rendered.writeFailed || !closed) {
        PrintError("kep-host: {} could not be written\n", options.output.string());
        return kExitFailed;
    }
    if (rendered.interrupted) {
        PrintError("kep-host: interrupted; {} holds the first {:.3f} s of the scene\n",
                   options.output.string(), seconds);
        return kExitInterrupted;
    }
    Print("WAV: {} ({} s, {}, 32-bit float, {} Hz)\n",
          std::filesystem::absolute(options.output).string(), scene.duration,
          options.hrtf ? "binaural stereo (HRTF)" : "stereo", options.sampleRate);
    if (!options.plot.empty()) {
        if (!WritePlot(options.plot, meter.Trace(), scene)) {
            PrintError("kep-host: {} could not be written\n", options.plot.string());
            return kExitFailed;
        }
        Print("Plot: {}\n", std::filesystem::absolute(options.plot).string());
    }
    Print("Rendered in {:.2f} s: {:.0f} times real time\n", took.count(),
          seconds / std::max(took.count(), 1e-6));
    return kExitDone;
}

}  // namespace

CommandRun AddRenderCommand(CLI::App& app) {
    auto options = std::make_shared<RenderOptions>();
    CLI::App* command = AddCommand(
        app, "render", "Render what a scene's listener hears into a WAV file.",
        "Renders on OpenAL Soft's loopback device, frame by frame: no sound card is needed, "
        "the render takes a fraction of the scene's time, and two renders of a scene are "
        "identical. Each frame's events sound from the frame's first sample. The WAV is "
        "32-bit float stereo (WAVE_FORMAT_EXTENSIBLE, left and right) from the scene's start "
        "to its end, written as it is rendered: Ctrl-C keeps what was rendered so far. A "
        "scene is a JSON file (docs/scenes.md).");
    command->add_option("SCENE", options->scene, "the scene's JSON file")->required();
    command
        ->add_option("-o,--output", options->output,
                     "the WAV file to write (its folder is made if need be)")
        ->required()
        ->type_name("OUT.wav");
    command
        ->add_option("--plot", options->plot,
                     "also draw a map of the scene and the left and right levels (dB) over "
                     "time, with the scene's events marked, into this SVG file")
        ->type_name("OUT.svg");
    command->add_option("--rate", options->sampleRate, "the sample rate of the WAV")
        ->check(CLI::Range(8000, 192000))
        ->type_name("HZ")
        ->capture_default_str();
    command->add_flag("--hrtf", options->hrtf,
                      "binaural stereo for headphones, through OpenAL Soft's HRTF (it has "
                      "HRTF data for 44100 and 48000 Hz)");
    return [options](HostContext& context) { return RunRender(context, *options); };
}
