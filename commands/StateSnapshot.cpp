// The full state of a sound system on the replication stream: every sound (file
// path, then name) and every source with its placement, cone, mounted sound and
// whether it was started. A replaying side that missed batches catches up by it.

#include "commands/WireFormat.h"
#include "plugin/SoundSystem.h"

namespace {

void WriteSourceRecord(uxs::basic_iobuf<std::uint8_t>& buffer, std::int32_t sourceId,
                       const SourceState& state) {
    wire::WriteScalar(buffer, sourceId);
    wire::WriteVector(buffer, state.position);
    wire::WriteBool(buffer, state.playing);
    wire::WriteBool(buffer, state.started);
    wire::WriteVector(buffer, state.direction);
    wire::WriteScalar(buffer, state.outerAngle);
    wire::WriteScalar(buffer, state.outerGain);
    wire::WriteString(buffer, state.soundName);
}

void ReadSourceRecord(uxs::basic_ibuf<std::uint8_t>& buffer, std::int32_t& sourceId,
                      SourceState& state) {
    wire::ReadScalar(buffer, sourceId);
    wire::ReadVector(buffer, state.position);
    wire::ReadBool(buffer, state.playing);
    wire::ReadBool(buffer, state.started);
    wire::ReadVector(buffer, state.direction);
    wire::ReadScalar(buffer, state.outerAngle);
    wire::ReadScalar(buffer, state.outerGain);
    wire::ReadString(buffer, state.soundName);
}

}  // namespace

void SoundSystem::WriteSnapshot(uxs::basic_iobuf<std::uint8_t>& buffer,
                                SourceRegistry::Lock& sources) {
    const auto& pathsByName = soundRegistry.Paths();
    wire::WriteScalar(buffer, static_cast<std::uint32_t>(pathsByName.size()));
    for (const auto& [soundName, filePath] : pathsByName) {
        // The file path comes first, deliberately: the reader keys sounds by it.
        wire::WriteString(buffer, filePath);
        wire::WriteString(buffer, soundName);
    }

    wire::WriteScalar(buffer, static_cast<std::uint32_t>(sources.Count()));
    sources.ForEach([&](std::int32_t sourceId, const Source& source) {
        WriteSourceRecord(buffer, sourceId, source.Describe(soundRegistry));
    });
}

void SoundSystem::ReadSnapshot(uxs::basic_ibuf<std::uint8_t>& buffer) {
    // Once the buffer has failed, every further record would read as empty (a
    // sound without a file, a source with id 0), which applying cannot use;
    // stopping there keeps a damaged count from looping billions of times.
    snapshotSounds.clear();
    std::uint32_t soundCount = 0;
    wire::ReadScalar(buffer, soundCount);
    for (std::uint32_t record = 0; record < soundCount && !buffer.fail(); ++record) {
        std::string filePath;
        std::string soundName;
        wire::ReadString(buffer, filePath);
        wire::ReadString(buffer, soundName);
        // The first record for a file wins, deliberately: two names for one file
        // arrive as one sound.
        snapshotSounds.emplace(std::move(filePath), std::move(soundName));
    }

    snapshotSources.clear();
    std::uint32_t sourceCount = 0;
    wire::ReadScalar(buffer, sourceCount);
    for (std::uint32_t record = 0; record < sourceCount && !buffer.fail(); ++record) {
        std::int32_t sourceId = 0;
        SourceState state;
        ReadSourceRecord(buffer, sourceId, state);
        snapshotSources.emplace(sourceId, std::move(state));
    }
}

void SoundSystem::ApplySnapshot() {
    for (const auto& [filePath, soundName] : snapshotSounds) {
        CreateSound(soundName, filePath);
    }
    snapshotSounds.clear();

    for (const auto& [sourceId, state] : snapshotSources) {
        // `playing` is true for every live source, so replayed sources loop.
        CreateSourceWithId(sourceId, state.position, state.playing);
        MountSound(sourceId, state.soundName);
        if (state.started) {
            PlaySound(sourceId, state.playing);
        }
        SetSpingDirection(sourceId, state.direction.x(), state.direction.y(), state.direction.z());
        SetSpingCone(sourceId, state.outerAngle, state.outerGain);
    }
    snapshotSources.clear();
    snapshotPending = false;
}
