// kep-host doctor: what the host finds in the plug-in folder, and whether the
// sound system can open the audio device.
#include <fmt/format.h>

#include "host/cli/ConsoleOutput.h"
#include "host/commands/Commands.h"
#include "host/runtime/HostContext.h"
#include "kep/ISoundInspector.h"

namespace {

int RunDoctor(HostContext& context) {
    Print("Plug-in folder: {}\n", context.options().pluginDir.string());
    if (!context.LoadPlugins()) {
        return kExitFailed;
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
        Print("Hint: {}.\n", kNoDeviceHint);
    }
    if (plugin) {
        context.plugins().Stop(*plugin);
    }
    return deviceOpen ? kExitDone : kExitFailed;
}

}  // namespace

CommandRun AddDoctorCommand(CLI::App& app) {
    AddCommand(app, "doctor", "Load the plug-ins, list them and open the audio device.",
               "Exits 1 when no audio device can be opened.");
    return &RunDoctor;
}
