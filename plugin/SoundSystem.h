#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "commands/Command.h"
#include "kep/ISoundSystem.h"
#include "kep/Plugin.h"
#include "plugin/AudioDevice.h"
#include "plugin/SoundInspector.h"
#include "sound/CheckedMutex.h"
#include "sound/SoundBufferRegistry.h"
#include "sound/SourceRegistry.h"
#include "sound/SourceState.h"

// The sound plug-in: owns the audio device, the sounds and the sources, offers
// ISoundSystem to the host's components and, when started replicating, records
// every state-changing operation as a Command for other instances.
//
// Threads: sounds have no lock and source ids are drawn unlocked, so the
// operations on sounds (load, delete, mount, their queries) and CreateSource run on
// one host thread at a time, an Update that applies received data counting as one
// of them. Other source operations, serialize, deserialize and Update may run on
// other threads, where "Volume" and "PlaySoundOnServer" may be set too;
// "HumanInputTag" only on the thread that runs Update. Start and Stop must not
// overlap operations. Received data is applied only on an instance that does not
// record: applying on one that does makes Update throw std::system_error.
class SoundSystem final : public kep::BasePlugin,
                          public kep::IInteractivePlugin,
                          public kep::ISoundSystem {
public:
    struct LocalParamsData : kep::IComponent::LocalData {
        std::string humanInputTag;
    };

    SoundSystem();
    ~SoundSystem() override;

    // Object
    IUnknown* QueryInterface(util::type_id interfaceId) override;
    Object* GetObject() override { return this; }
    std::shared_ptr<Object> GetSharedObject() override;
    util::type_id GetTypeId() const override;

    // IBasePlugin
    std::string_view GetTypeName() const override;
    const uxs::guid& GetTypeGuid() const override;
    std::string_view GetDisplayName() const override;
    void DeclareParameters(kep::IProperty& property) override;
    void DeclareLocalParameters(kep::IProperty& property,
                                kep::IComponent::LocalData* localData) override;
    void Start(bool replicatingMode) override;
    void Stop() override;
    std::unique_ptr<kep::IComponent::LocalData> CreateLocalData() override;

    // IProperty::Listener
    void OnParametersChanged(std::span<const std::string> sortedNames) override;

    // IInteractivePlugin
    void MarkChanged() override;
    std::int64_t TakeChanged() override;
    void serialize(uxs::basic_iobuf<std::uint8_t>& buffer, bool full) override;
    void deserialize(uxs::basic_ibuf<std::uint8_t>& buffer) override;
    void OnPeerJoined() override {}
    void OnPeerLeft() override {}
    void PreUpdate() override {}
    void Update() override;
    void PostUpdate() override {}

    // ISoundSystem
    bool CreateSound(std::string_view name, std::string_view fileName) override;
    bool HasSound(std::string_view name) override;
    void DeleteSound(std::string_view name) override;
    std::uint32_t GetSoundDuration(std::string_view name) override;
    std::int32_t CreateSource(const osg::Vec3f& position, bool looping) override;
    bool DeleteSource(std::int32_t sourceId) override;
    bool MountSound(std::int32_t sourceId, std::string_view soundName) override;
    void SetLooping(std::int32_t sourceId, bool looping) override;
    bool IsPlaying(std::int32_t sourceId) override;
    bool HasSource(std::int32_t sourceId) override;
    void SetPosition(std::int32_t sourceId, const osg::Vec3f& position) override;
    osg::Vec3f GetPosition(std::int32_t sourceId) override;
    void PlaySound(std::int32_t sourceId, bool looping) override;
    void StopSound(std::int32_t sourceId) override;
    void SetSpingDirection(std::int32_t sourceId, float x, float y, float z) override;
    void SetSpingCone(std::int32_t sourceId, float outerAngle, float outerGain) override;
    void SetGain(std::int32_t sourceId, float gain) override;
    void DeleteSourcesAndSounds() override;
    void SetListener(const osg::Vec3f& position, const osg::Vec3f& at,
                     const osg::Vec3f& up) override;

    // CreateSource under a given id, as a replaying instance mirrors the sender's ids.
    void CreateSourceWithId(std::int32_t sourceId, const osg::Vec3f& position, bool looping);

    [[nodiscard]] bool IsDeviceOpen() const { return deviceOpen; }
    // How many sources the open device plays at once.
    [[nodiscard]] std::int32_t SourceLimit() const { return ::SourceLimit(audioDevice); }

    // The class's interface table and the resolver it falls back on.
    static kep::Object::IfaceHashTable interfaceTable;
    static IUnknown* ResolveInterface(kep::Object* object, util::type_id interfaceId);

private:
    // Appends a command for other instances, then raises the changed mark.
    template <class C, class... Args>
    void Record(Args&&... args);
    // The steps of an operation on one source: nothing while the device is closed;
    // else act on the source if it exists and, on a replicating instance, record C
    // (the id, then `fields`), all under the sources lock.
    template <class C, class Act, class... Fields>
    void OnSource(std::int32_t sourceId, Act&& act, Fields&&... fields);

    void WriteSnapshot(uxs::basic_iobuf<std::uint8_t>& buffer, SourceRegistry::Lock& sources);
    void ReadSnapshot(uxs::basic_ibuf<std::uint8_t>& buffer);
    void ApplySnapshot();
    // Empties the command queue and the snapshot; the caller holds commandMutex.
    void DiscardReceived();
    void PlaceListenerAtCamera();

    std::atomic<std::int64_t> stateChanged{0};
    // Bound to parameters: the host sets them while any host thread may play a
    // sound or format them meanwhile.
    std::atomic<double> volume{1.0};
    std::atomic<bool> playSoundOnServer{true};
    CheckedMutex commandMutex;
    std::vector<std::shared_ptr<Command>> pendingCommands;
    bool batchPending = false;
    AudioDevice audioDevice;
    // Written by Start and Stop while other host threads run operations.
    std::atomic<bool> deviceOpen{false};
    SoundBufferRegistry soundRegistry;
    SourceRegistry sourceRegistry;
    std::map<std::string, std::string> snapshotSounds;
    std::map<std::int32_t, SourceState> snapshotSources;
    bool snapshotPending = false;
    std::atomic<bool> replicating{false};
    SoundInspector inspector{*this, soundRegistry, sourceRegistry};
};
