#include "property/SoundProperty.h"

#include <map>
#include <mutex>

#include <fmt/format.h>

#include "kep/DataManager.h"
#include "kep/Subsystem.h"
#include "plugin/ParameterDeclaration.h"
#include "plugin/Translation.h"
#include "uxs/guid.h"

namespace kep {

namespace {

// The sound system, found anew for each operation and held only for it.
std::shared_ptr<ISoundSystem> FetchSoundSystem() {
    std::shared_ptr<ISubsystem> subsystem = GetSubsystem(SubsystemId::PluginManager);
    return query_shared<ISoundSystem>(subsystem.get());
}

template <class T>
void DeclareDisplayed(IProperty& property, std::string_view name, T* member,
                      const std::string& displayName) {
    if (Parameter* parameter = DeclareBoundParameter(property, name, member)) {
        parameter->setDisplayName(displayName);
    }
}

const std::string& Translated(const char* text) {
    // Each text is translated once and kept for the life of the process.
    static std::map<std::string_view, std::string> cache;
    static std::mutex mutex;
    std::lock_guard lock(mutex);
    auto [entry, inserted] = cache.try_emplace(text);
    if (inserted) {
        entry->second = Translate("SoundProperty", text);
    }
    return entry->second;
}

}  // namespace

SoundProperty::SoundProperty() {
    DeclareDisplayed(*this, "Filename", &fileName, Translated("File Name"));
    DeclareDisplayed(*this, "Looping", &looping, Translated("Looping"));
    DeclareDisplayed(*this, "Gain", &gain, Translated("Gain"));
    DeclareDisplayed(*this, "Play", &playRequested, Translated("Play"));
    DeclareDisplayed(*this, "Stop", &stopRequested, Translated("Stop"));
}

IUnknown* SoundProperty::QueryInterface(util::type_id interfaceId) {
    if (interfaceId == util::type_id_of<ISoundProperty>()) {
        return static_cast<ISoundProperty*>(this);
    }
    if (interfaceId == util::type_id_of<SoundProperty>()) {
        return static_cast<Object*>(static_cast<Component*>(this));
    }
    return UserProperty::QueryInterface(interfaceId);
}

util::type_id SoundProperty::GetTypeId() const {
    return util::type_id_of<SoundProperty>();
}

std::string_view SoundProperty::TypeName() {
    return "sound";
}

std::string_view SoundProperty::DisplayName() {
    return Translated("Sound Property");
}

void SoundProperty::play() {
    if (sourceId == -1) {
        return;
    }
    if (auto system = FetchSoundSystem()) {
        // Each start puts the source back at the origin, deliberately.
        system->SetPosition(sourceId, osg::Vec3f(0, 0, 0));
        system->PlaySound(sourceId, looping);
    }
}

void SoundProperty::stop() {
    if (sourceId == -1) {
        return;
    }
    if (auto system = FetchSoundSystem()) {
        system->StopSound(sourceId);
    }
}

std::uint32_t SoundProperty::duration() {
    auto system = FetchSoundSystem();
    return system ? system->GetSoundDuration(soundName) : 0;
}

void SoundProperty::setLooping(bool value) {
    looping = value;
    Notify("Looping");
}

void SoundProperty::setGain(float value) {
    gain = static_cast<double>(value);
    Notify("Gain");
}

void SoundProperty::Notify(std::string_view parameterName) {
    if (Parameter* parameter = FindParameter(parameterName)) {
        parameter->notify(NotifyFlags::All);
    }
}

void SoundProperty::onParametersChanged(const std::set<std::string, std::less<>>& changedNames) {
    if (changedNames.contains("Filename")) {
        Reload();
    }
    if (changedNames.contains("Gain") && sourceId != -1) {
        if (auto system = FetchSoundSystem()) {
            system->SetGain(sourceId, static_cast<float>(gain));
        }
    }
    if (changedNames.contains("Play") && playRequested) {
        playRequested = false;
        Notify("Play");
        play();
    }
    if (changedNames.contains("Stop") && stopRequested) {
        stopRequested = false;
        Notify("Stop");
        stop();
    }
}

void SoundProperty::Reload() {
    auto system = FetchSoundSystem();
    if (!system) {
        return;
    }
    if (!soundName.empty()) {
        if (sourceId != -1) {
            system->DeleteSource(sourceId);
        }
        system->DeleteSound(soundName);
        sourceId = -1;
        soundName.clear();
    }
    if (fileName.empty()) {
        return;
    }
    // A fresh name for every load: two properties naming one file never share a sound.
    soundName = fmt::format("{}", uxs::guid::generate());
    if (!system->HasSound(soundName)) {
        system->CreateSound(soundName, GetDataManager()->GetFilePath(fileName));
    }
    if (sourceId != -1 && system->HasSource(sourceId)) {
        return;
    }
    sourceId = system->CreateSource(osg::Vec3f(0, 0, 0), looping);
    if (sourceId != -1) {
        system->MountSound(sourceId, soundName);
    }
}

}  // namespace kep
