#include "plugin/SoundSystem.h"

#include "kep/HumanInput.h"
#include "kep/ISoundInspector.h"
#include "kep/Messages.h"
#include "plugin/ParameterDeclaration.h"
#include "plugin/PluginIdentity.h"
#include "plugin/Translation.h"

namespace {

const std::string& VolumeDescription() {
    // "1.0f ? 0Db": the value 1.0 means 0 dB; the text is kept as users know it.
    static const std::string text = Translate("SoundSystem", "Overall Volume 1.0f ? 0Db");
    return text;
}

const std::string& PlaySoundOnServerDescription() {
    static const std::string text = Translate("SoundSystem", "Play sound on server");
    return text;
}

const std::string& HumanInputTagDescription() {
    static const std::string text = Translate("SoundSystem", "Human Input Tag");
    return text;
}

}  // namespace

SoundSystem::SoundSystem() {
    flags_ |= kep::PluginFlags::Interactive | kep::PluginFlags::Replicated;
}

// No OpenAL call here: Stop has closed the device and emptied the registries.
SoundSystem::~SoundSystem() = default;

kep::IUnknown* SoundSystem::QueryInterface(util::type_id interfaceId) {
    return interfaceTable.query(static_cast<kep::Object*>(this), interfaceId, &ResolveInterface);
}

kep::IUnknown* SoundSystem::ResolveInterface(kep::Object* object, util::type_id interfaceId) {
    auto* self = static_cast<SoundSystem*>(object);
    if (interfaceId == util::type_id_of<kep::IBasePlugin>()) {
        return self ? static_cast<kep::IBasePlugin*>(self) : nullptr;
    }
    if (interfaceId == util::type_id_of<kep::IInteractivePlugin>()) {
        return self ? static_cast<kep::IInteractivePlugin*>(self) : nullptr;
    }
    if (interfaceId == util::type_id_of<kep::ISoundSystem>()) {
        return self ? static_cast<kep::ISoundSystem*>(self) : nullptr;
    }
    if (interfaceId == util::type_id_of<kep::ISoundInspector>()) {
        return self ? &self->inspector : nullptr;
    }
    return self ? self->BasePlugin::QueryInterface(interfaceId) : nullptr;
}

std::shared_ptr<kep::Object> SoundSystem::GetSharedObject() {
    return BasePlugin::GetSharedObject();
}

util::type_id SoundSystem::GetTypeId() const {
    return util::type_id_of<SoundSystem>();
}

std::string_view SoundSystem::GetTypeName() const {
    return kSoundSystemTypeName;
}

const uxs::guid& SoundSystem::GetTypeGuid() const {
    return SoundSystemTypeGuid();
}

std::string_view SoundSystem::GetDisplayName() const {
    static const std::string displayName = Translate("SoundSystem", "Sound System");
    return displayName;
}

void SoundSystem::DeclareParameters(kep::IProperty& property) {
    if (auto* parameter = DeclareBoundParameter(property, "Volume", &volume)) {
        parameter->setDescription(VolumeDescription());
    }
    if (auto* parameter =
            DeclareBoundParameter(property, "PlaySoundOnServer", &playSoundOnServer)) {
        parameter->setDescription(PlaySoundOnServerDescription());
    }
}

void SoundSystem::DeclareLocalParameters(kep::IProperty& property,
                                         kep::IComponent::LocalData* localData) {
    if (auto* local = dynamic_cast<LocalParamsData*>(localData)) {
        if (auto* parameter =
                DeclareBoundParameter(property, "HumanInputTag", &local->humanInputTag)) {
            parameter->setDescription(HumanInputTagDescription());
        }
    }
}

std::unique_ptr<kep::IComponent::LocalData> SoundSystem::CreateLocalData() {
    return std::make_unique<LocalParamsData>();
}

void SoundSystem::Start(bool replicatingMode) {
    replicating = replicatingMode;
    if (!deviceOpen) {
        deviceOpen = OpenAudioDevice(audioDevice);
    }
}

void SoundSystem::Stop() {
    if (!deviceOpen) {
        return;
    }
    DeleteSourcesAndSounds();
    // Cleared before the context goes, so that operations on other threads skip
    // OpenAL from here on; Start and Stop must still not overlap operations.
    deviceOpen = false;
    ShutdownAudioDevice(audioDevice);
}

void SoundSystem::MarkChanged() {
    stateChanged.exchange(1);
}

std::int64_t SoundSystem::TakeChanged() {
    return stateChanged.exchange(0);
}
