#include "host/runtime/RunningSoundSystem.h"

std::optional<RunningSoundSystem> StartRunningSoundSystem(HostContext& context,
                                                          const std::string& tag,
                                                          bool replicating) {
    RunningSoundSystem system;
    system.plugin = context.StartSoundSystem(tag, replicating);
    system.sound = SoundSystemOf(system.plugin);
    system.interactive = kep::query<kep::IInteractivePlugin>(system.plugin.get());
    system.inspector = kep::query<kep::ISoundInspector>(system.plugin.get());
    if (!system.sound || !system.interactive || !system.inspector ||
        !system.inspector->IsDeviceOpen()) {
        return std::nullopt;
    }
    return system;
}
