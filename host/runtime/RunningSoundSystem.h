#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/runtime/HostContext.h"
#include "kep/ISoundInspector.h"
#include "kep/ISoundSystem.h"
#include "kep/Plugin.h"

// A sound system started on an open audio device, with the interfaces the
// host drives it through. The plug-in is stopped with the host context.
struct RunningSoundSystem {
    std::shared_ptr<kep::IBasePlugin> plugin;
    std::shared_ptr<kep::ISoundSystem> sound;
    kep::IInteractivePlugin* interactive = nullptr;
    kep::ISoundInspector* inspector = nullptr;
};

// Creates a SoundSystem under the tag and starts it; nothing if it lacks one of
// those interfaces or opened no audio device (kNoDeviceMessage says what to do).
std::optional<RunningSoundSystem> StartRunningSoundSystem(HostContext& context,
                                                          const std::string& tag, bool replicating);
