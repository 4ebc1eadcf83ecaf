#include "kep/PluginManager.h"

#include <dlfcn.h>

#include <algorithm>

#include "kep/Messages.h"

namespace kep {

PluginManager::PluginManager() = default;

PluginManager::~PluginManager() {
    Clear();
}

IUnknown* PluginManager::QueryInterface(util::type_id interfaceId) {
    if (interfaceId == util::type_id_of<ISubsystem>()) {
        return static_cast<ISubsystem*>(this);
    }
    if (interfaceId == util::type_id_of<IPluginManager>()) {
        return static_cast<IPluginManager*>(this);
    }
    if (IUnknown* own = Object::QueryInterface(interfaceId)) {
        return own;
    }
    // Any other interface: the first plug-in that offers it.
    for (auto& plugin : plugins()) {
        if (IUnknown* answer = plugin->QueryInterface(interfaceId)) {
            return answer;
        }
    }
    return nullptr;
}

util::type_id PluginManager::GetTypeId() const {
    return util::type_id_of<PluginManager>();
}

std::shared_ptr<IUnknown> PluginManager::FindPlugin(util::type_id interfaceId,
                                                    std::string_view tag) {
    for (auto& plugin : plugins()) {
        if (plugin->GetTag() != tag) {
            continue;
        }
        if (IUnknown* answer = plugin->QueryInterface(interfaceId)) {
            return std::shared_ptr<IUnknown>(plugin, answer);
        }
    }
    return nullptr;
}

const LoadedLibrary* PluginManager::LoadLibrary(const std::filesystem::path& path) {
    // Libraries stay loaded: their factories and statics are referenced by the
    // registries for the life of the process.
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        Error()("PluginManager: can't load {}: {}", path.string(), dlerror());
        return nullptr;
    }
    auto entry = reinterpret_cast<GetLibraryContentsFn>(dlsym(handle, kLibraryEntryName));
    if (!entry) {
        Error()("PluginManager: {} has no {}", path.string(), kLibraryEntryName);
        return nullptr;
    }
    PluginLibraryDescriptor* descriptor = entry();
    if (!descriptor) {
        Error()("PluginManager: {} returned no library descriptor", path.string());
        return nullptr;
    }
    // Built against other headers, its objects would not match this host's (or it
    // brought a second libkepCore). It stays mapped, as its static initialisers may
    // have registered with this host, but none of its items is ever used.
    if (descriptor->abiVersion != kPluginAbiVersion) {
        Error()("PluginManager: {} was built for plug-in ABI {}, this host has {}: not loaded",
                path.string(), descriptor->abiVersion, kPluginAbiVersion);
        return nullptr;
    }
    std::lock_guard lock(mutex_);
    libraries_.push_back({path, descriptor});
    Debug()("PluginManager: loaded {} from {}", descriptor->name, path.string());
    return &libraries_.back();
}

int PluginManager::LoadLibrariesIn(const std::filesystem::path& folder) {
    std::error_code error;
    std::vector<std::filesystem::path> candidates;
    for (auto& entry : std::filesystem::directory_iterator(folder, error)) {
        const std::string name = entry.path().filename().string();
        if (entry.is_regular_file() && name.starts_with("lib") && name.ends_with(".so")) {
            candidates.push_back(entry.path());
        }
    }
    if (error) {
        Error()("PluginManager: can't read plug-in folder {}: {}", folder.string(),
                error.message());
        return 0;
    }
    std::sort(candidates.begin(), candidates.end());
    int loaded = 0;
    for (auto& path : candidates) {
        loaded += LoadLibrary(path) ? 1 : 0;
    }
    return loaded;
}

const PluginLibraryItem* PluginManager::FindItem(std::string_view itemName) const {
    std::lock_guard lock(mutex_);
    for (auto& library : libraries_) {
        for (auto* item = library.descriptor->items; item; item = item->next) {
            if (item->name == itemName) {
                return item;
            }
        }
    }
    return nullptr;
}

std::shared_ptr<IBasePlugin> PluginManager::CreatePlugin(const PluginLibraryItem& item,
                                                         std::string tag,
                                                         std::string_view libraryName) {
    std::shared_ptr<Object> object = Object::create(item.typeId);
    if (!object) {
        Error()("PluginManager: no factory for {} ({:x})", item.name, item.typeId.value());
        return nullptr;
    }
    if (libraryName.empty()) {
        std::lock_guard lock(mutex_);
        for (auto& library : libraries_) {
            for (auto* candidate = library.descriptor->items; candidate;
                 candidate = candidate->next) {
                if (candidate == &item) {
                    libraryName = library.descriptor->name;
                }
            }
        }
    }
    return Adopt(std::move(object), std::move(tag), libraryName);
}

std::shared_ptr<IBasePlugin> PluginManager::AddPlugin(std::shared_ptr<BasePlugin> plugin,
                                                      std::string tag) {
    return Adopt(std::static_pointer_cast<Object>(plugin), std::move(tag), "kepCore");
}

std::shared_ptr<IBasePlugin> PluginManager::Adopt(std::shared_ptr<Object> object, std::string tag,
                                                  std::string_view libraryName) {
    std::shared_ptr<IBasePlugin> plugin = query_shared<IBasePlugin>(object.get());
    auto* base = dynamic_cast<BasePlugin*>(object.get());
    if (!plugin || !base) {
        Error()("PluginManager: object {:x} is not a plug-in", object->GetTypeId().value());
        return nullptr;
    }
    base->SetTag(std::move(tag));
    base->SetLibraryName(std::string(libraryName));
    plugin->DeclareParameters(*plugin->GetPluginProperty());
    plugin->GetOrCreatePluginLocalProperty("");
    base->SetStatus(PluginStatus::Declared);
    std::lock_guard lock(mutex_);
    plugins_.push_back(plugin);
    return plugin;
}

std::vector<std::shared_ptr<IBasePlugin>> PluginManager::plugins() const {
    std::lock_guard lock(mutex_);
    return plugins_;
}

namespace {

void SetStatus(IBasePlugin& plugin, PluginStatus status) {
    if (auto* base = dynamic_cast<BasePlugin*>(plugin.GetObject())) {
        base->SetStatus(status);
    }
}

}  // namespace

void PluginManager::Start(IBasePlugin& plugin, bool replicating) {
    plugin.Start(replicating);
    SetStatus(plugin, PluginStatus::Started);
}

void PluginManager::Update(IBasePlugin& plugin) {
    plugin.GetPluginProperty()->DeliverChanges();
    if (Property* local = plugin.GetPluginLocalProperty()) {
        local->DeliverChanges();
    }
    if (auto* interactive = query<IInteractivePlugin>(&plugin)) {
        interactive->Update();
    }
}

void PluginManager::Stop(IBasePlugin& plugin) {
    if (plugin.GetStatus() != PluginStatus::Started) {
        return;
    }
    plugin.Stop();
    SetStatus(plugin, PluginStatus::Stopped);
}

void PluginManager::StartAll(bool replicating) {
    for (auto& plugin : plugins()) {
        Start(*plugin, replicating);
    }
}

void PluginManager::UpdateAll() {
    for (auto& plugin : plugins()) {
        Update(*plugin);
    }
}

void PluginManager::StopAll() {
    auto all = plugins();
    for (auto it = all.rbegin(); it != all.rend(); ++it) {
        Stop(**it);
    }
}

void PluginManager::Clear() {
    StopAll();
    std::lock_guard lock(mutex_);
    plugins_.clear();
}

}  // namespace kep
