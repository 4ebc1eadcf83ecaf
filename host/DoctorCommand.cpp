// kep-host doctor: what the host finds in the plug-in folder, and whether the
// sound system can open the audio device.
#include <fmt/format.h>

#include "host/HostContext.h"
#include "kep/ISoundInspector.h"

int RunDoctor(HostContext& context, std::span<const std::string> args) {
    if (!args.empty()) {
        fmt::print(stderr, "kep-host doctor takes no arguments\n");
        return 2;
    }
    fmt::print("Plug-in folder: {}\n", context.options().pluginDir.string());
    if (!context.LoadPlugins()) {
        return 1;
    }
    for (const kep::LoadedLibrary& library : context.plugins().libraries()) {
        fmt::print("Library {} ({})\n", library.descriptor->name, library.path.string());
        for (auto* item = library.descriptor->items; item; item = item->next) {
            fmt::print("  Item {}: guid {}, kind {}, flags 0x{:x}\n", item->name, item->guid,
                       item->kind, item->flags);
        }
    }
    std::fflush(stdout);

    std::shared_ptr<kep::IBasePlugin> plugin = context.StartSoundSystem("doctor", false);
    auto* inspector = kep::query<kep::ISoundInspector>(plugin.get());
    const bool deviceOpen = inspector && inspector->IsDeviceOpen();
    fmt::print("Sound device: {}\n", deviceOpen ? "open" : "not available");
    if (plugin) {
        context.plugins().Stop(*plugin);
    }
    return deviceOpen ? 0 : 1;
}
