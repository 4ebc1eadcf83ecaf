#include <algorithm>

#include "kep/HumanInput.h"
#include "kep/Subsystem.h"
#include "plugin/SoundSystem.h"

namespace {

bool Contains(std::span<const std::string> sortedNames, std::string_view name) {
    return std::binary_search(sortedNames.begin(), sortedNames.end(), name,
                              [](std::string_view a, std::string_view b) { return a < b; });
}

void PlaceListener(const osg::Vec3f& position, const osg::Vec3f& at, const osg::Vec3f& up) {
    alListener3f(AL_POSITION, position.x(), position.y(), position.z());
    const ALfloat orientation[] = {at.x(), at.y(), at.z(), up.x(), up.y(), up.z()};
    alListenerfv(AL_ORIENTATION, orientation);
}

}  // namespace

void SoundSystem::Update() {
    {
        std::lock_guard lock(commandMutex);
        if (!batchPending || !deviceOpen) {
            // Nothing applied this frame, so the listener stays where it is.
            DiscardReceived();
            return;
        }
        try {
            if (!snapshotPending) {
                for (auto& command : pendingCommands) {
                    if (command) {
                        command->execute(*this);
                    }
                }
                pendingCommands.clear();
            } else {
                // Commands read before the snapshot stay for a later frame.
                ApplySnapshot();
            }
        } catch (...) {
            // Applying on an instance that records takes the command lock a second
            // time from this thread, which CheckedMutex refuses. What was received is
            // dropped, so that the next frame does not apply half of it again.
            DiscardReceived();
            throw;
        }
        batchPending = false;
    }
    if (replicating) {
        return;
    }
    PlaceListenerAtCamera();
}

void SoundSystem::DiscardReceived() {
    snapshotSounds.clear();
    snapshotSources.clear();
    snapshotPending = false;
    pendingCommands.clear();
    batchPending = false;
}

void SoundSystem::PlaceListenerAtCamera() {
    auto* local = dynamic_cast<LocalParamsData*>(GetPluginLocalData());
    if (!local) {
        return;
    }
    std::shared_ptr<kep::ISubsystem> subsystem = kep::GetSubsystem(kep::SubsystemId::PluginManager);
    auto* manager = kep::query<kep::IPluginManager>(subsystem.get());
    if (!manager) {
        return;
    }
    std::shared_ptr<kep::IHumanInput> humanInput =
        kep::FindPlugin<kep::IHumanInput>(*manager, local->humanInputTag);
    if (!humanInput) {
        return;
    }
    kep::math::pos_6d pose;
    humanInput->GetPose(pose, 0, true);
    osg::Vec3f eye(0, 0, 0), direction(0, 0, 0), up(0, 0, 0);
    pose.eye_dir_up(eye, direction, up);
    if (deviceOpen) {
        PlaceListener(eye, direction, up);
    }
}

void SoundSystem::OnParametersChanged(std::span<const std::string> sortedNames) {
    if (Contains(sortedNames, "Volume")) {
        if (deviceOpen) {
            alListenerf(AL_GAIN, static_cast<ALfloat>(volume.load()));
        }
        stateChanged.exchange(1);
    }
    if (Contains(sortedNames, "PlaySoundOnServer")) {
        stateChanged.exchange(1);
    }
}

void SoundSystem::SetListener(const osg::Vec3f& position, const osg::Vec3f& at,
                              const osg::Vec3f& up) {
    if (deviceOpen) {
        PlaceListener(position, at, up);
    }
}
