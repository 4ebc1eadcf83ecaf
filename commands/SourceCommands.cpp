#include "commands/SourceCommands.h"

#include "commands/WireFormat.h"
#include "plugin/SoundSystem.h"

using ReadBuffer = uxs::basic_ibuf<std::uint8_t>;
using WriteBuffer = uxs::basic_iobuf<std::uint8_t>;

WriteBuffer& SourceLoopingCommand::serialize(WriteBuffer& buffer) {
    wire::WriteScalar(buffer, sourceId);
    wire::WriteBool(buffer, looping);
    return buffer;
}

ReadBuffer& SourceLoopingCommand::deserialize(ReadBuffer& buffer) {
    wire::ReadScalar(buffer, sourceId);
    wire::ReadBool(buffer, looping);
    return buffer;
}

WriteBuffer& SourceIdCommand::serialize(WriteBuffer& buffer) {
    wire::WriteScalar(buffer, sourceId);
    return buffer;
}

ReadBuffer& SourceIdCommand::deserialize(ReadBuffer& buffer) {
    wire::ReadScalar(buffer, sourceId);
    return buffer;
}

void CommandCreateSource::execute(SoundSystem& system) {
    // The replaying side keeps the sender's id instead of drawing a new one.
    system.CreateSourceWithId(sourceId, position, looping);
}

WriteBuffer& CommandCreateSource::serialize(WriteBuffer& buffer) {
    wire::WriteScalar(buffer, sourceId);
    wire::WriteVector(buffer, position);
    wire::WriteBool(buffer, looping);
    return buffer;
}

ReadBuffer& CommandCreateSource::deserialize(ReadBuffer& buffer) {
    wire::ReadScalar(buffer, sourceId);
    wire::ReadVector(buffer, position);
    wire::ReadBool(buffer, looping);
    return buffer;
}

void CommandSetLooping::execute(SoundSystem& system) {
    system.SetLooping(sourceId, looping);
}

void CommandSetPosition::execute(SoundSystem& system) {
    system.SetPosition(sourceId, position);
}

WriteBuffer& CommandSetPosition::serialize(WriteBuffer& buffer) {
    wire::WriteScalar(buffer, sourceId);
    wire::WriteVector(buffer, position);
    return buffer;
}

ReadBuffer& CommandSetPosition::deserialize(ReadBuffer& buffer) {
    wire::ReadScalar(buffer, sourceId);
    wire::ReadVector(buffer, position);
    return buffer;
}

void CommandPlaySound::execute(SoundSystem& system) {
    system.PlaySound(sourceId, looping);
}

void CommandStopSound::execute(SoundSystem& system) {
    system.StopSound(sourceId);
}

void CommandSetSpingDirection::execute(SoundSystem& system) {
    system.SetSpingDirection(sourceId, direction.x(), direction.y(), direction.z());
}

WriteBuffer& CommandSetSpingDirection::serialize(WriteBuffer& buffer) {
    wire::WriteScalar(buffer, sourceId);
    wire::WriteVector(buffer, direction);
    return buffer;
}

ReadBuffer& CommandSetSpingDirection::deserialize(ReadBuffer& buffer) {
    wire::ReadScalar(buffer, sourceId);
    wire::ReadVector(buffer, direction);
    return buffer;
}

void CommandSetSpingCone::execute(SoundSystem& system) {
    system.SetSpingCone(sourceId, outerAngle, outerGain);
}

WriteBuffer& CommandSetSpingCone::serialize(WriteBuffer& buffer) {
    wire::WriteScalar(buffer, sourceId);
    wire::WriteScalar(buffer, outerAngle);
    wire::WriteScalar(buffer, outerGain);
    return buffer;
}

ReadBuffer& CommandSetSpingCone::deserialize(ReadBuffer& buffer) {
    wire::ReadScalar(buffer, sourceId);
    wire::ReadScalar(buffer, outerAngle);
    wire::ReadScalar(buffer, outerGain);
    return buffer;
}

void CommandDeleteSource::execute(SoundSystem& system) {
    system.DeleteSource(sourceId);
}

void CommandMountSound::execute(SoundSystem& system) {
    system.MountSound(sourceId, soundName);
}

WriteBuffer& CommandMountSound::serialize(WriteBuffer& buffer) {
    wire::WriteScalar(buffer, sourceId);
    wire::WriteString(buffer, soundName);
    return buffer;
}

ReadBuffer& CommandMountSound::deserialize(ReadBuffer& buffer) {
    wire::ReadScalar(buffer, sourceId);
    wire::ReadString(buffer, soundName);
    return buffer;
}

void CommandSetGain::execute(SoundSystem& system) {
    system.SetGain(sourceId, gain);
}

WriteBuffer& CommandSetGain::serialize(WriteBuffer& buffer) {
    wire::WriteScalar(buffer, sourceId);
    wire::WriteScalar(buffer, gain);
    return buffer;
}

ReadBuffer& CommandSetGain::deserialize(ReadBuffer& buffer) {
    wire::ReadScalar(buffer, sourceId);
    wire::ReadScalar(buffer, gain);
    return buffer;
}
