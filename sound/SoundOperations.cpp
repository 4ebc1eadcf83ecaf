// The ISoundSystem operations. Each acts locally first and then, on a
// replicating instance, records the matching command for other instances.
#include <cmath>

#include "commands/SoundCommands.h"
#include "commands/SourceCommands.h"
#include "decode/SoundLoader.h"
#include "kep/DataManager.h"
#include "kep/Messages.h"
#include "plugin/SoundSystem.h"

namespace {

// Names recorded for DeleteSound and MountSound run up to the first zero byte,
// not to the end of the view; callers pass views of zero-terminated strings.
std::string TerminatedName(std::string_view name) {
    return name.data() ? std::string(name.data()) : std::string();
}

}  // namespace

template <class C, class... Args>
void SoundSystem::Record(Args&&... args) {
    {
        std::lock_guard lock(commandMutex);
        pendingCommands.push_back(std::make_shared<C>(std::forward<Args>(args)...));
    }
    stateChanged.exchange(1);
}

bool SoundSystem::CreateSound(std::string_view name, std::string_view fileName) {
    if (!deviceOpen) {
        return false;
    }
    std::string path = kep::GetDataManager()->GetFilePath(fileName);
    if (path.empty()) {
        kep::Error()("Sound file {} not found", fileName);
        return false;
    }
    std::string registered = PutSoundIntoBuffer(soundRegistry, name, path);
    if (registered.empty()) {
        return false;
    }
    if (replicating) {
        // The resolved path travels; the receiver resolves it again.
        Record<CommandCreateSound>(std::move(registered), std::move(path));
    }
    return true;
}

bool SoundSystem::HasSound(std::string_view name) {
    return soundRegistry.HasSound(name);
}

void SoundSystem::DeleteSound(std::string_view name) {
    soundRegistry.EraseSound(name);
    if (replicating) {
        Record<CommandDeleteSound>(TerminatedName(name));
    }
}

std::uint32_t SoundSystem::GetSoundDuration(std::string_view name) {
    return soundRegistry.DurationSeconds(name);
}

std::int32_t SoundSystem::CreateSource(const osg::Vec3f& position, bool looping) {
    const auto id = static_cast<std::int32_t>(++NextSourceId());
    CreateSourceWithId(id, position, looping);
    if (replicating) {
        Record<CommandCreateSource>(id, position, looping);
    }
    return id;
}

void SoundSystem::CreateSourceWithId(std::int32_t sourceId, const osg::Vec3f& position,
                                     bool looping) {
    sourceRegistry.CreateSourceWithId(sourceId, position, looping);
}

bool SoundSystem::DeleteSource(std::int32_t sourceId) {
    if (!deviceOpen) {
        return true;
    }
    std::lock_guard lock(sourceRegistry.sourcesMutex);
    if (auto found = sourceRegistry.sources.find(sourceId); found != sourceRegistry.sources.end()) {
        Source& source = *found->second;
        if (source.started) {
            alSourceStop(source.alSource);
            source.started = false;
        }
        sourceRegistry.Erase(found);
    }
    if (replicating) {
        Record<CommandDeleteSource>(sourceId);
    }
    return true;
}

bool SoundSystem::MountSound(std::int32_t sourceId, std::string_view soundName) {
    if (!deviceOpen) {
        return false;
    }
    Source* source = nullptr;
    {
        std::lock_guard lock(sourceRegistry.sourcesMutex);
        source = sourceRegistry.Find(sourceId);
    }
    const bool mounted = source && source->SetSound(soundRegistry, soundName);
    if (replicating) {
        Record<CommandMountSound>(sourceId, TerminatedName(soundName));
    }
    return mounted;
}

void SoundSystem::SetLooping(std::int32_t sourceId, bool looping) {
    if (!deviceOpen) {
        return;
    }
    std::lock_guard lock(sourceRegistry.sourcesMutex);
    if (Source* source = sourceRegistry.Find(sourceId)) {
        source->SetLooping(looping);
    }
    if (replicating) {
        Record<CommandSetLooping>(sourceId, looping);
    }
}

bool SoundSystem::IsPlaying(std::int32_t sourceId) {
    if (!deviceOpen) {
        return false;
    }
    std::lock_guard lock(sourceRegistry.sourcesMutex);
    Source* source = sourceRegistry.Find(sourceId);
    return source && source->StateTest();
}

bool SoundSystem::HasSource(std::int32_t sourceId) {
    std::lock_guard lock(sourceRegistry.sourcesMutex);
    return sourceRegistry.Find(sourceId) != nullptr;
}

void SoundSystem::SetPosition(std::int32_t sourceId, const osg::Vec3f& position) {
    if (!deviceOpen) {
        return;
    }
    std::lock_guard lock(sourceRegistry.sourcesMutex);
    if (Source* source = sourceRegistry.Find(sourceId)) {
        alSource3f(source->alSource, AL_POSITION, position.x(), position.y(), position.z());
    }
    if (replicating) {
        Record<CommandSetPosition>(sourceId, position);
    }
}

osg::Vec3f SoundSystem::GetPosition(std::int32_t sourceId) {
    osg::Vec3f position(0, 0, 0);
    if (!deviceOpen) {
        return position;
    }
    std::lock_guard lock(sourceRegistry.sourcesMutex);
    if (Source* source = sourceRegistry.Find(sourceId)) {
        alGetSource3f(source->alSource, AL_POSITION, &position.x(), &position.y(), &position.z());
    }
    return position;
}

void SoundSystem::PlaySound(std::int32_t sourceId, bool looping) {
    if (!deviceOpen) {
        return;
    }
    std::lock_guard lock(sourceRegistry.sourcesMutex);
    if (Source* source = sourceRegistry.Find(sourceId)) {
        source->SetLooping(looping);
        // A replicating instance may leave the playing to the others.
        if (!replicating || playSoundOnServer) {
            source->StartPlayback();
        }
    }
    if (replicating) {
        Record<CommandPlaySound>(sourceId, looping);
    }
}

void SoundSystem::StopSound(std::int32_t sourceId) {
    if (!deviceOpen) {
        return;
    }
    std::lock_guard lock(sourceRegistry.sourcesMutex);
    if (Source* source = sourceRegistry.Find(sourceId)) {
        alSourceStop(source->alSource);
        source->started = false;
    }
    if (replicating) {
        Record<CommandStopSound>(sourceId);
    }
}

void SoundSystem::SetSpingDirection(std::int32_t sourceId, float x, float y, float z) {
    if (!deviceOpen) {
        return;
    }
    std::lock_guard lock(sourceRegistry.sourcesMutex);
    if (Source* source = sourceRegistry.Find(sourceId)) {
        alSource3f(source->alSource, AL_DIRECTION, x, y, z);
    }
    if (replicating) {
        Record<CommandSetSpingDirection>(sourceId, osg::Vec3f(x, y, z));
    }
}

void SoundSystem::SetSpingCone(std::int32_t sourceId, float outerAngle, float outerGain) {
    if (!deviceOpen) {
        return;
    }
    std::lock_guard lock(sourceRegistry.sourcesMutex);
    if (Source* source = sourceRegistry.Find(sourceId)) {
        source->SetCone(outerAngle, outerGain);
    }
    if (replicating) {
        Record<CommandSetSpingCone>(sourceId, outerAngle, outerGain);
    }
}

void SoundSystem::SetGain(std::int32_t sourceId, float gain) {
    if (!deviceOpen) {
        return;
    }
    std::lock_guard lock(sourceRegistry.sourcesMutex);
    if (Source* source = sourceRegistry.Find(sourceId)) {
        alSourcef(source->alSource, AL_GAIN, gain);
    }
    if (replicating) {
        Record<CommandSetGain>(sourceId, gain);
    }
}

void SoundSystem::DeleteSourcesAndSounds() {
    if (!deviceOpen) {
        return;
    }
    std::lock_guard lock(sourceRegistry.sourcesMutex);
    sourceRegistry.Clear();
    soundRegistry.Clear();
    if (replicating) {
        Record<CommandDeleteSourcesAndSounds>();
    }
}
