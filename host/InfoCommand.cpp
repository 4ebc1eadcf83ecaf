// kep-host info FILE...: decodes each file into the sound system and prints one
// line describing the sound it makes, or that it failed (the log says why).
#include <cstdio>
#include <string>

#include <fmt/format.h>

#include "host/HostContext.h"
#include "kep/DataManager.h"
#include "kep/ISoundInspector.h"
#include "kep/ISoundSystem.h"

namespace {

// The file as the data manager finds it, or as given, so that FFmpeg's own verdict
// on a path the data manager cannot find reaches the log too.
std::string ResolvedPath(const std::string& file) {
    std::string path = kep::GetDataManager()->GetFilePath(file);
    return path.empty() ? file : path;
}

}  // namespace

int RunInfo(HostContext& context, std::span<const std::string> args) {
    if (args.empty()) {
        fmt::print(stderr, "kep-host info needs at least one FILE\n");
        return 2;
    }
    if (!context.LoadPlugins()) {
        return 1;
    }
    std::shared_ptr<kep::IBasePlugin> plugin = context.StartSoundSystem("info", false);
    std::shared_ptr<kep::ISoundSystem> soundSystem = SoundSystemOf(plugin);
    auto* inspector = kep::query<kep::ISoundInspector>(plugin.get());

    bool allLoaded = true;
    for (std::size_t index = 0; index < args.size(); ++index) {
        const std::string& file = args[index];
        // One sound per argument, so that naming a file twice describes it twice.
        const std::string name = fmt::format("kep-host info {}", index);
        kep::SoundDescription description;
        const bool loaded = inspector && inspector->LoadSoundFile(name, ResolvedPath(file)) &&
                            inspector->DescribeSound(name, description);
        if (loaded) {
            fmt::print("{}: format {:#x}, {} Hz, {} bytes, {} s\n", file, description.alFormat,
                       description.sampleRate, description.byteSize, description.durationSeconds);
        } else {
            fmt::print("{}: failed\n", file);
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
    return allLoaded ? 0 : 1;
}
