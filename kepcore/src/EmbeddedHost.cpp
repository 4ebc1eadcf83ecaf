#include "kep/EmbeddedHost.h"

#include <exception>

#include "kep/Messages.h"
#include "kep/Subsystem.h"

namespace kep {

EmbeddedHost::EmbeddedHost(std::string hostName)
    : hostName_(std::move(hostName)), manager_(std::make_shared<PluginManager>()) {
    replaced_ = SetSubsystem(SubsystemId::PluginManager, manager_);
}

EmbeddedHost::~EmbeddedHost() {
    manager_->Clear();
    // Another host made since may have installed its own: that one stays.
    if (GetSubsystem(SubsystemId::PluginManager) == manager_) {
        SetSubsystem(SubsystemId::PluginManager, std::move(replaced_));
    }
}

bool EmbeddedHost::LoadPlugins(const std::filesystem::path& folder) {
    if (manager_->LoadLibrariesIn(folder) == 0) {
        Error()("{}: no plug-in library could be loaded from {}", hostName_, folder.string());
        return false;
    }
    return true;
}

std::shared_ptr<IBasePlugin> EmbeddedHost::StartPlugin(std::string_view itemName, std::string tag,
                                                       bool replicating) {
    const PluginLibraryItem* item = manager_->FindItem(itemName);
    if (!item) {
        Error()("{}: no library offers the {} plug-in", hostName_, itemName);
        return nullptr;
    }
    std::shared_ptr<IBasePlugin> plugin = manager_->CreatePlugin(*item, std::move(tag));
    if (plugin) {
        manager_->Start(*plugin, replicating);
    }
    return plugin;
}

bool EmbeddedHost::UpdatePlugins() {
    bool updated = true;
    for (const std::shared_ptr<IBasePlugin>& plugin : manager_->plugins()) {
        try {
            manager_->Update(*plugin);
        } catch (const std::exception& error) {
            Error()("{}: the update of plug-in {} \"{}\" failed: {}", hostName_,
                    plugin->GetTypeName(), plugin->GetTag(), error.what());
            updated = false;
        } catch (...) {
            Error()(
                "{}: the update of plug-in {} \"{}\" failed: an exception that is not a "
                "std::exception",
                hostName_, plugin->GetTypeName(), plugin->GetTag());
            updated = false;
        }
    }
    return updated;
}

}  // namespace kep
