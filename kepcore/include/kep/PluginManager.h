#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "kep/Plugin.h"
#include "kep/Subsystem.h"

namespace kep {

// A plug-in library opened by the host. It stays loaded for the life of the
// process: objects and registrations it made may outlive any one owner.
struct KEPCORE_API LoadedLibrary {
    std::filesystem::path path;
    PluginLibraryDescriptor* descriptor = nullptr;
};

// Subsystem 0: loads plug-in libraries, creates plug-ins from their items and
// drives them through declare, start, update and stop.
class KEPCORE_API PluginManager final : public Object,
                                        public std::enable_shared_from_this<PluginManager>,
                                        public ISubsystem,
                                        public IPluginManager {
public:
    PluginManager();
    ~PluginManager() override;

    IUnknown* QueryInterface(util::type_id interfaceId) override;
    Object* GetObject() override { return this; }
    std::shared_ptr<Object> GetSharedObject() override { return shared_from_this(); }
    util::type_id GetTypeId() const override;
    SubsystemId GetSubsystemId() const override { return SubsystemId::PluginManager; }
    std::shared_ptr<IUnknown> FindPlugin(util::type_id interfaceId, std::string_view tag) override;

    // Opens a library and reads its descriptor; logs and returns null on failure,
    // and for a library built for another plug-in ABI (kep/Version.h).
    const LoadedLibrary* LoadLibrary(const std::filesystem::path& path);
    // Opens every lib*.so of a folder, in name order; returns how many opened.
    int LoadLibrariesIn(const std::filesystem::path& folder);
    const std::vector<LoadedLibrary>& libraries() const { return libraries_; }
    // The item of a loaded library with this name, or null.
    const PluginLibraryItem* FindItem(std::string_view itemName) const;

    // Creates a plug-in from an item, adopts it under the tag and declares its
    // parameters and default local property. Null if it cannot be created.
    std::shared_ptr<IBasePlugin> CreatePlugin(const PluginLibraryItem& item, std::string tag,
                                              std::string_view libraryName = {});
    // Adopts a plug-in made by the host itself.
    std::shared_ptr<IBasePlugin> AddPlugin(std::shared_ptr<BasePlugin> plugin, std::string tag);
    std::vector<std::shared_ptr<IBasePlugin>> plugins() const;

    void Start(IBasePlugin& plugin, bool replicating);
    // Delivers parameter changes, then runs the frame update of an interactive plug-in.
    void Update(IBasePlugin& plugin);
    void Stop(IBasePlugin& plugin);
    void StartAll(bool replicating);
    void UpdateAll();
    void StopAll();
    // Stops everything and lets go of every plug-in.
    void Clear();

private:
    std::shared_ptr<IBasePlugin> Adopt(std::shared_ptr<Object> object, std::string tag,
                                       std::string_view libraryName);

    mutable std::mutex mutex_;
    std::vector<LoadedLibrary> libraries_;
    std::vector<std::shared_ptr<IBasePlugin>> plugins_;
};

}  // namespace kep
