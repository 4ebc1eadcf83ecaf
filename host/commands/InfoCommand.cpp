// kep-host info FILE...: decodes each file into the sound system and prints one
// line describing the sound it makes, or that it was not found or failed (the
// log says why).
#include <cstdlib>
#include <string>

#include "host/cli/ConsoleOutput.h"
#include "host/commands/Commands.h"
#include "host/render/LoopbackDevice.h"
#include "host/runtime/HostContext.h"
#include "host/runtime/OpenAlFormatName.h"
#include "host/runtime/SoundLength.h"
#include "kep/DataManager.h"
#include "kep/ISoundInspector.h"
#include "kep/ISoundSystem.h"
#include "kep/Messages.h"

namespace {

// "stereo float32 (AL_FORMAT_STEREO_FLOAT32)", or the number of a format the host
// has no name for.
std::string FormatText(std::uint32_t alFormat) {
    const std::optional<OpenAlFormatName> name = NameOfOpenAlFormat(alFormat);
    return name ? fmt::format("{} ({})", name->description, name->enumerator)
                : fmt::format("format {:#x}", alFormat);
}

// ", of which 28 samples padding", or nothing when the decoder added none.
std::string PaddingText(std::uint32_t paddingFrames) {
    if (paddingFrames == 0) {
        return {};
    }
    return fmt::format(", of which {} sample{} padding", paddingFrames,
                       paddingFrames == 1 ? "" : "s");
}

int RunInfo(HostContext& context, const std::vector<std::string>& args) {
    if (!context.LoadPlugins()) {
        return kExitFailed;
    }
    // info plays nothing: a loopback device serves, and needs no sound card (nor
    // any audio system probed for it).
    setenv("ALSOFT_DRIVERS", "null", 1);
    std::string error;
    const auto device = LoopbackDevice::Arm({}, error);
    if (device) {
        kep::Info()("kep-host: info decodes on OpenAL Soft's loopback device and plays nothing");
    }
    std::shared_ptr<kep::IBasePlugin> plugin = context.StartSoundSystem("info", false);
    std::shared_ptr<kep::ISoundSystem> soundSystem = SoundSystemOf(plugin);
    auto* inspector = kep::query<kep::ISoundInspector>(plugin.get());

    bool allLoaded = true;
    for (std::size_t index = 0; index < args.size(); ++index) {
        const std::string& file = args[index];
        // Only regular files: FFmpeg would wait forever for a FIFO's writer.
        const std::string path = kep::GetDataManager()->GetFilePath(file);
        // One sound per argument, so that naming a file twice describes it twice.
        const std::string name = fmt::format("kep-host info {}", index);
        kep::SoundDescription description;
        if (path.empty()) {
            Print("{}: not found\n", file);
            allLoaded = false;
        } else if (inspector && inspector->LoadSoundFile(name, path) &&
                   inspector->DescribeSound(name, description)) {
            Print("{}: {}, {} Hz, {} bytes, {:.3f} s{} (buffer query: {} s)\n", file,
                  FormatText(description.alFormat), description.sampleRate, description.byteSize,
                  BufferSeconds(description), PaddingText(description.paddingFrames),
                  description.durationSeconds);
        } else {
            Print("{}: failed\n", file);
            allLoaded = false;
        }
        std::fflush(stdout);
        if (soundSystem) {
            soundSystem->DeleteSound(name);
        }
    }
    if (plugin) {
        context.plugins().Stop(*plugin);
    }
    return allLoaded ? kExitDone : kExitFailed;
}

}  // namespace

CommandRun AddInfoCommand(CLI::App& app) {
    auto files = std::make_shared<std::vector<std::string>>();
    CLI::App* command = AddCommand(
        app, "info", "Decode each file and describe the sound it makes.",
        "One line per file: OpenAL format, rate, bytes and length of the buffer, and how many "
        "samples of it are padding the decoder added (a loop plays them at every seam). Exits 1 "
        "if any file is not found or fails.");
    command->add_option("FILE", *files, "a sound file of any format FFmpeg reads")->required();
    return [files](HostContext& context) { return RunInfo(context, *files); };
}
