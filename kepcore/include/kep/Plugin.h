#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "kep/Component.h"
#include "kep/Entity.h"
#include "kep/Property.h"
#include "kep/Version.h"
#include "uxs/guid.h"
#include "uxs/io.h"

namespace kep {

// Bits of a plug-in's flags word.
namespace PluginFlags {
inline constexpr std::uint32_t Interactive = 0x20;  // takes part in the frame update
inline constexpr std::uint32_t Replicated = 0x200;  // keeps other instances in step
}  // namespace PluginFlags

enum class PluginStatus : std::int32_t { Created, Declared, Started, Stopped, Failed };

std::string_view KEPCORE_API ToString(PluginStatus status);

// The host's view of a plug-in.
class KEPCORE_API IBasePlugin : public IUnknown {
public:
    virtual std::string_view GetTypeName() const = 0;
    virtual std::string_view GetTag() const = 0;
    virtual const uxs::guid& GetTypeGuid() const = 0;
    virtual std::string_view GetDisplayName() const = 0;
    virtual const uxs::guid& GetInstanceGuid() const = 0;
    virtual std::string_view GetLibraryName() const = 0;
    virtual std::uint32_t GetFlags() const = 0;
    virtual PluginStatus GetStatus() const = 0;
    virtual bool IsEnabled() const = 0;
    virtual bool IsValid() const = 0;
    virtual int GetRemoveLockCounter() const = 0;
    virtual void LockRemove() = 0;
    virtual void UnlockRemove() = 0;
    virtual Entity* GetPluginEntity() = 0;
    virtual util::type_id GetPluginEntityTypeId() const = 0;
    virtual Property* GetPluginProperty() = 0;
    virtual Property* GetPluginLocalProperty(std::string_view name) = 0;
    virtual Property* GetPluginLocalProperty() = 0;
    virtual Property* GetOrCreatePluginLocalProperty(std::string_view name) = 0;
    virtual bool RemovePluginLocalProperty(std::string_view name) = 0;
    virtual IComponent::LocalData* GetPluginLocalData(std::string_view name) = 0;
    virtual IComponent::LocalData* GetPluginLocalData() = 0;
    virtual void DeclareParameters(IProperty& property) = 0;
    virtual void DeclareLocalParameters(IProperty& property, IComponent::LocalData* localData) = 0;
    virtual void OnLibraryLoaded() = 0;
    virtual void OnHostReady() = 0;
    virtual void Start(bool replicating) = 0;
    virtual void Pause() = 0;
    virtual void Resume() = 0;
    virtual void OnSceneLoaded() = 0;
    virtual void OnSceneUnloading() = 0;
    virtual void OnStopping() = 0;
    virtual void Stop() = 0;
    virtual std::unique_ptr<IComponent::LocalData> CreateLocalData() = 0;
};

// A plug-in that takes part in frames and keeps other instances in step through
// byte buffers the host carries between them.
class KEPCORE_API IInteractivePlugin : public IUnknown {
public:
    virtual void MarkChanged() = 0;
    // Reads and clears the changed mark.
    virtual std::int64_t TakeChanged() = 0;
    virtual void serialize(uxs::basic_iobuf<std::uint8_t>& buffer, bool full) = 0;
    virtual void deserialize(uxs::basic_ibuf<std::uint8_t>& buffer) = 0;
    virtual void OnPeerJoined() = 0;
    virtual void OnPeerLeft() = 0;
    virtual void PreUpdate() = 0;
    virtual void Update() = 0;
    virtual void PostUpdate() = 0;
};

// The host's implementation of IBasePlugin that plug-ins derive from. The local
// property named "" is the plug-in's default one.
class KEPCORE_API BasePlugin : public Object,
                               public std::enable_shared_from_this<BasePlugin>,
                               public IBasePlugin,
                               public IProperty::Listener {
public:
    BasePlugin();
    ~BasePlugin() override;

    IUnknown* QueryInterface(util::type_id interfaceId) override;
    Object* GetObject() override { return this; }
    std::shared_ptr<Object> GetSharedObject() override;

    std::string_view GetTag() const override { return tag_; }
    const uxs::guid& GetInstanceGuid() const override { return instanceGuid_; }
    std::string_view GetLibraryName() const override { return libraryName_; }
    std::uint32_t GetFlags() const override { return flags_; }
    PluginStatus GetStatus() const override { return status_; }
    bool IsEnabled() const override { return enabled_; }
    bool IsValid() const override { return valid_; }
    int GetRemoveLockCounter() const override { return removeLocks_.load(); }
    void LockRemove() override { ++removeLocks_; }
    void UnlockRemove() override { --removeLocks_; }
    Entity* GetPluginEntity() override { return &entity_; }
    util::type_id GetPluginEntityTypeId() const override;
    Property* GetPluginProperty() override { return property_.get(); }
    Property* GetPluginLocalProperty(std::string_view name) override;
    Property* GetPluginLocalProperty() override { return GetPluginLocalProperty(""); }
    Property* GetOrCreatePluginLocalProperty(std::string_view name) override;
    bool RemovePluginLocalProperty(std::string_view name) override;
    IComponent::LocalData* GetPluginLocalData(std::string_view name) override;
    IComponent::LocalData* GetPluginLocalData() override { return GetPluginLocalData(""); }
    void OnLibraryLoaded() override {}
    void OnHostReady() override {}
    void Pause() override {}
    void Resume() override {}
    void OnSceneLoaded() override {}
    void OnSceneUnloading() override {}
    void OnStopping() override {}

    void OnParametersChanged(std::span<const std::string>) override {}
    void OnParameterDeclared(std::string_view) override {}
    void OnPropertyDetached() override {}

    // Set by the host when it adopts the plug-in.
    void SetTag(std::string tag) { tag_ = std::move(tag); }
    void SetLibraryName(std::string name) { libraryName_ = std::move(name); }
    void SetStatus(PluginStatus status) { status_ = status; }
    void SetEnabled(bool enabled) { enabled_ = enabled; }

protected:
    std::uint32_t flags_ = 0;

private:
    struct LocalSlot {
        std::shared_ptr<Property> property;
        std::unique_ptr<IComponent::LocalData> data;
    };

    std::string tag_;
    uxs::guid instanceGuid_;
    std::string libraryName_;
    PluginStatus status_ = PluginStatus::Created;
    bool enabled_ = true;
    bool valid_ = true;
    std::atomic<int> removeLocks_{0};
    Entity entity_;
    std::shared_ptr<Property> property_;
    std::map<std::string, LocalSlot, std::less<>> localSlots_;
};

// Kinds of plug-in library items.
namespace PluginKind {
inline constexpr std::int32_t Tool = 1;
inline constexpr std::int32_t System = 2;  // a service other components look up
}  // namespace PluginKind

// Bits that a library item's flag string sets.
namespace ItemFlags {
inline constexpr std::uint32_t AutoCreate = 0x1;
inline constexpr std::uint32_t AutoStart = 0x2;
inline constexpr std::uint32_t Hidden = 0x4;
inline constexpr std::uint32_t Single = 0x8;
inline constexpr std::uint32_t Default = AutoCreate | AutoStart;
}  // namespace ItemFlags

// One plug-in a library contributes; libraries fill a static one and link it
// into their descriptor.
struct KEPCORE_API PluginLibraryItem {
    std::string_view name;
    uxs::guid guid;
    std::int32_t kind = 0;
    util::type_id typeId;
    PluginLibraryItem* next = nullptr;
    std::uint32_t flags = 0;

    // Parses words separated by '|', ',' or blanks: DEFAULT, AUTOCREATE,
    // AUTOSTART, HIDDEN, SINGLE. Unknown words are reported and skipped.
    void applyFlagString(std::string_view flagString);
};

// What a plug-in library's GetLibraryContents returns. abiVersion comes last so
// that name and items keep their places; a library gets the number of the headers
// it is compiled with, and the host refuses one whose number differs from its own.
struct PluginLibraryDescriptor {
    std::string_view name;
    PluginLibraryItem* items = nullptr;
    std::uint32_t abiVersion = kPluginAbiVersion;
};

using GetLibraryContentsFn = PluginLibraryDescriptor* (*)();
inline constexpr const char* kLibraryEntryName = "GetLibraryContents";

}  // namespace kep
