#include "host/runtime/HostContext.h"

#include <exception>

#include "kep/Subsystem.h"

HostContext::HostContext(Options options)
    : options_(std::move(options)), manager_(std::make_shared<kep::PluginManager>()) {
    kep::SetSubsystem(kep::SubsystemId::PluginManager, manager_);
}

HostContext::~HostContext() {
    manager_->Clear();
    kep::SetSubsystem(kep::SubsystemId::PluginManager, nullptr);
}

bool HostContext::LoadPlugins() {
    if (manager_->LoadLibrariesIn(options_.pluginDir) == 0) {
        kep::Error()("kep-host: no plug-in library could be loaded from {}",
                     options_.pluginDir.string());
        return false;
    }
    return true;
}

std::shared_ptr<kep::IBasePlugin> HostContext::StartSoundSystem(const std::string& tag,
                                                                bool replicating) {
    const kep::PluginLibraryItem* item = manager_->FindItem("SoundSystem");
    if (!item) {
        kep::Error()("kep-host: no library offers the SoundSystem plug-in");
        return nullptr;
    }
    std::shared_ptr<kep::IBasePlugin> plugin = manager_->CreatePlugin(*item, tag);
    if (plugin) {
        manager_->Start(*plugin, replicating);
    }
    return plugin;
}

bool HostContext::UpdatePlugins() {
    bool updated = true;
    for (const std::shared_ptr<kep::IBasePlugin>& plugin : manager_->plugins()) {
        try {
            manager_->Update(*plugin);
        } catch (const std::exception& error) {
            kep::Error()("kep-host: the update of plug-in {} \"{}\" failed: {}",
                         plugin->GetTypeName(), plugin->GetTag(), error.what());
            updated = false;
        }
    }
    return updated;
}

std::shared_ptr<kep::ISoundSystem> SoundSystemOf(const std::shared_ptr<kep::IBasePlugin>& plugin) {
    return plugin ? kep::query_shared<kep::ISoundSystem>(plugin.get()) : nullptr;
}
