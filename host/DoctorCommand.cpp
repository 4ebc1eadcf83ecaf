// kep-host doctor: what the host finds in the plug-in folder, and whether the
// sound system can open the audio device.
#include <fmt/format.h>

#include "host/ConsoleOutput.h"
#include "host/HostContext.h"
#include "kep/ISoundInspector.h"

int RunDoctor(HostContext& context, std::span<const std::string> args) {
    if (!args.empty()) {
        PrintError("kep-host doctor takes no arguments\n");
        return 2;
    }
    Print("Plug-in folder: {}\n", context.options().pluginDir.string());
    if (!context.LoadPlugins()) {
        return 1;
    }
    for (const kep::LoadedLibrary& library : context.plugins().libraries()) {
        Print("Library {} ({})\n", library.descriptor->name, library.path.string());
        for (auto* item = library.descriptor->items; item; item = item->next) {
            Print("  Item {}: guid {}, kind {}, flags 0x{:x}\n", item->name, item->guid, item->kind,
                  item->flags);
        }
    }
    std::fflush(stdout);

    std::shared_ptr<kep::IBasePlugin> plugin = context.StartSoundSystem("doctor", false);
    auto* inspector = kep::query<kep::ISoundInspector>(plugin.get());
    const bool deviceOpen = inspector && inspector->IsDeviceOpen();
    Print("Sound device: {}\n", deviceOpen ? "open" : "not available");
    if (!deviceOpen) {
        Print(
            "Hint: to run without an audio device, set ALSOFT_DRIVERS=null (OpenAL Soft's "
            "null backend plays to no output).\n");
    }
    if (plugin) {
        context.plugins().Stop(*plugin);
    }
    return deviceOpen ? 0 : 1;
}
