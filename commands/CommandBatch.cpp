// Writing and reading the replication stream: a flag byte, then either a batch of
// command records (type code, then payload) or a state snapshot.

#include "commands/CommandFactory.h"
#include "commands/WireFormat.h"
#include "kep/Messages.h"
#include "plugin/SoundSystem.h"

void SoundSystem::serialize(uxs::basic_iobuf<std::uint8_t>& buffer, bool full) {
    const std::uint8_t fullFlag = full ? 1 : 0;
    if (full) {
        // Recording operations take the sources lock, then the command lock; the
        // update applies received commands the other way round. A snapshot needs both
        // and takes them together, so that it deadlocks with neither. The recorded
        // commands stay for the next batch.
        SourceRegistry::Lock sources(sourceRegistry, commandMutex);
        buffer.write(std::span(&fullFlag, 1));
        WriteSnapshot(buffer, sources);
        return;
    }
    std::lock_guard lock(commandMutex);
    buffer.write(std::span(&fullFlag, 1));
    wire::WriteScalar(buffer, static_cast<std::uint32_t>(pendingCommands.size()));
    for (const auto& command : pendingCommands) {
        wire::WriteScalar(buffer, command->type);
        command->serialize(buffer);
    }
    pendingCommands.clear();
}

void SoundSystem::deserialize(uxs::basic_ibuf<std::uint8_t>& buffer) {
    std::lock_guard lock(commandMutex);
    std::uint8_t fullFlag = 0;
    buffer.read(std::span(&fullFlag, 1));
    if (!buffer.fail() && !buffer.eof()) {
        snapshotPending = fullFlag != 0;
    }
    if (snapshotPending) {
        ReadSnapshot(buffer);
    } else {
        std::uint32_t count = 0;
        wire::ReadScalar(buffer, count);
        for (std::uint32_t record = 0; record < count; ++record) {
            // Once the buffer has failed, every further record could only be a
            // fresh CommandCreateSource with id -1, whose execution does nothing;
            // stopping here keeps a damaged count from looping billions of times.
            if (buffer.fail()) {
                break;
            }
            std::uint32_t typeCode = 0;
            wire::ReadScalar(buffer, typeCode);
            std::shared_ptr<Command> command = CommandFactory::Create(typeCode);
            if (!command) {
                // Records carry no length, so the payload of an unknown record
                // cannot be skipped: the records after it are read from wherever
                // the stream stands, deliberately without resynchronising.
                kep::Error()("SoundSystem: Failed to deserialize commands");
                continue;
            }
            // Kept even if the buffer ran out meanwhile; it is applied like any other.
            command->deserialize(buffer);
            // Behind whatever an earlier read left unapplied.
            pendingCommands.push_back(std::move(command));
        }
    }
    batchPending = true;
}
