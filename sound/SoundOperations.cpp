// The ISoundSystem operations. Each acts locally first and then, on a
// replicating instance, records the matching command for other instances.
#include <cmath>

#include "commands/SoundCommands.h"
#include "commands/SourceCommands.h"
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

template <class C, class Act, class... Fields>
void SoundSystem::OnSource(std::int32_t sourceId, Act&& act, Fields&&... fields) {
    if (!deviceOpen) {
        return;
    }
    SourceRegistry::Lock sources(sourceRegistry);
    if (Source* source = sources.Find(sourceId)) {
        act(*source);
    }
    if (replicating) {
        Record<C>(sourceId, std::forward<Fields>(fields)...);
    }
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
    std::string registered = soundRegistry.PutSoundIntoBuffer(name, path);
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
    SourceRegistry::Lock sources(sourceRegistry);
    if (Source* source = sources.Find(sourceId)) {
        if (source->IsStarted()) {
            source->Stop();
        }
        sources.Erase(sourceId);
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
    std::optional<SourceHandle> handle;
    {
        SourceRegistry::Lock sources(sourceRegistry);
        if (Source* source = sources.Find(sourceId)) {
            handle = source->Handle();
        }
    }
    // The mount runs outside the lock.
    const bool mounted = handle && handle->SetSound(soundRegistry, soundName);
    if (replicating) {
        Record<CommandMountSound>(sourceId, TerminatedName(soundName));
    }
    return mounted;
}

void SoundSystem::SetLooping(std::int32_t sourceId, bool looping) {
    OnSource<CommandSetLooping>(
        sourceId, [&](Source& source) { source.SetLooping(looping); }, looping);
}

bool SoundSystem::IsPlaying(std::int32_t sourceId) {
    if (!deviceOpen) {
        return false;
    }
    SourceRegistry::Lock sources(sourceRegistry);
    Source* source = sources.Find(sourceId);
    return source && source->StateTest();
}

bool SoundSystem::HasSource(std::int32_t sourceId) {
    SourceRegistry::Lock sources(sourceRegistry);
    return sources.Find(sourceId) != nullptr;
}

void SoundSystem::SetPosition(std::int32_t sourceId, const osg::Vec3f& position) {
    OnSource<CommandSetPosition>(
        sourceId, [&](Source& source) { source.SetPosition(position); }, position);
}

osg::Vec3f SoundSystem::GetPosition(std::int32_t sourceId) {
    if (!deviceOpen) {
        return osg::Vec3f(0, 0, 0);
    }
    SourceRegistry::Lock sources(sourceRegistry);
    Source* source = sources.Find(sourceId);
    return source ? source->GetPosition() : osg::Vec3f(0, 0, 0);
}

void SoundSystem::PlaySound(std::int32_t sourceId, bool looping) {
    OnSource<CommandPlaySound>(
        sourceId,
        [&](Source& source) {
            source.SetLooping(looping);
            // A replicating instance may leave the playing to the others.
            if (!replicating || playSoundOnServer.load()) {
                source.StartPlayback();
            }
        },
        looping);
}

void SoundSystem::StopSound(std::int32_t sourceId) {
    OnSource<CommandStopSound>(sourceId, [](Source& source) { source.Stop(); });
}

void SoundSystem::SetSpingDirection(std::int32_t sourceId, float x, float y, float z) {
    const osg::Vec3f direction(x, y, z);
    OnSource<CommandSetSpingDirection>(
        sourceId, [&](Source& source) { source.SetDirection(direction); }, direction);
}

void SoundSystem::SetSpingCone(std::int32_t sourceId, float outerAngle, float outerGain) {
    OnSource<CommandSetSpingCone>(
        sourceId, [&](Source& source) { source.SetCone(outerAngle, outerGain); }, outerAngle,
        outerGain);
}

void SoundSystem::SetGain(std::int32_t sourceId, float gain) {
    OnSource<CommandSetGain>(
        sourceId, [&](Source& source) { source.SetGain(gain); }, gain);
}

void SoundSystem::DeleteSourcesAndSounds() {
    if (!deviceOpen) {
        return;
    }
    SourceRegistry::Lock sources(sourceRegistry);
    sources.Clear();
    soundRegistry.Clear();
    if (replicating) {
        Record<CommandDeleteSourcesAndSounds>();
    }
}
