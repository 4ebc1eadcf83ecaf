#pragma once

// Commands that act on one source, identified by its id (below 1 means none).
// Default-constructed commands hold the fresh values a reader starts from.

#include <cstdint>
#include <string>
#include <utility>

#include <osg/Vec3f>

#include "commands/Command.h"

// The layout shared by CommandSetLooping and CommandPlaySound: id, then looping
// flag. Both use this one serialize/deserialize on purpose, so that their
// records stay byte-identical.
class SourceLoopingCommand : public Command {
public:
    uxs::basic_iobuf<std::uint8_t>& serialize(uxs::basic_iobuf<std::uint8_t>& buffer) override;
    uxs::basic_ibuf<std::uint8_t>& deserialize(uxs::basic_ibuf<std::uint8_t>& buffer) override;

    std::int32_t sourceId;
    bool looping;

protected:
    SourceLoopingCommand(std::uint32_t typeCode, std::int32_t sourceId, bool looping)
        : Command(typeCode), sourceId(sourceId), looping(looping) {}
};

// The layout shared by CommandStopSound and CommandDeleteSource: the id alone,
// through one serialize/deserialize on purpose.
class SourceIdCommand : public Command {
public:
    uxs::basic_iobuf<std::uint8_t>& serialize(uxs::basic_iobuf<std::uint8_t>& buffer) override;
    uxs::basic_ibuf<std::uint8_t>& deserialize(uxs::basic_ibuf<std::uint8_t>& buffer) override;

    std::int32_t sourceId;

protected:
    SourceIdCommand(std::uint32_t typeCode, std::int32_t sourceId)
        : Command(typeCode), sourceId(sourceId) {}
};

// Replays CreateSource under the sender's id (through CreateSourceWithId).
class CommandCreateSource final : public Command {
public:
    CommandCreateSource() : CommandCreateSource(-1, osg::Vec3f(0, 0, 0), false) {}
    CommandCreateSource(std::int32_t sourceId, const osg::Vec3f& position, bool looping)
        : Command(kCreateSource), sourceId(sourceId), position(position), looping(looping) {}

    void execute(SoundSystem& system) override;
    uxs::basic_iobuf<std::uint8_t>& serialize(uxs::basic_iobuf<std::uint8_t>& buffer) override;
    uxs::basic_ibuf<std::uint8_t>& deserialize(uxs::basic_ibuf<std::uint8_t>& buffer) override;

    std::int32_t sourceId;
    osg::Vec3f position;
    bool looping;
};

class CommandSetLooping final : public SourceLoopingCommand {
public:
    CommandSetLooping() : CommandSetLooping(-1, false) {}
    CommandSetLooping(std::int32_t sourceId, bool looping)
        : SourceLoopingCommand(kSetLooping, sourceId, looping) {}

    void execute(SoundSystem& system) override;
};

class CommandSetPosition final : public Command {
public:
    CommandSetPosition() : CommandSetPosition(-1, osg::Vec3f(0, 0, 0)) {}
    CommandSetPosition(std::int32_t sourceId, const osg::Vec3f& position)
        : Command(kSetPosition), sourceId(sourceId), position(position) {}

    void execute(SoundSystem& system) override;
    uxs::basic_iobuf<std::uint8_t>& serialize(uxs::basic_iobuf<std::uint8_t>& buffer) override;
    uxs::basic_ibuf<std::uint8_t>& deserialize(uxs::basic_ibuf<std::uint8_t>& buffer) override;

    std::int32_t sourceId;
    osg::Vec3f position;
};

class CommandPlaySound final : public SourceLoopingCommand {
public:
    CommandPlaySound() : CommandPlaySound(-1, false) {}
    CommandPlaySound(std::int32_t sourceId, bool looping)
        : SourceLoopingCommand(kPlaySound, sourceId, looping) {}

    void execute(SoundSystem& system) override;
};

class CommandStopSound final : public SourceIdCommand {
public:
    CommandStopSound() : CommandStopSound(-1) {}
    explicit CommandStopSound(std::int32_t sourceId) : SourceIdCommand(kStopSound, sourceId) {}

    void execute(SoundSystem& system) override;
};

class CommandSetSpingDirection final : public Command {
public:
    CommandSetSpingDirection() : CommandSetSpingDirection(-1, osg::Vec3f(0, 0, 0)) {}
    CommandSetSpingDirection(std::int32_t sourceId, const osg::Vec3f& direction)
        : Command(kSetSpingDirection), sourceId(sourceId), direction(direction) {}

    void execute(SoundSystem& system) override;
    uxs::basic_iobuf<std::uint8_t>& serialize(uxs::basic_iobuf<std::uint8_t>& buffer) override;
    uxs::basic_ibuf<std::uint8_t>& deserialize(uxs::basic_ibuf<std::uint8_t>& buffer) override;

    std::int32_t sourceId;
    osg::Vec3f direction;
};

class CommandSetSpingCone final : public Command {
public:
    CommandSetSpingCone() : CommandSetSpingCone(-1, 0, 0) {}
    CommandSetSpingCone(std::int32_t sourceId, float outerAngle, float outerGain)
        : Command(kSetSpingCone),
          sourceId(sourceId),
          outerAngle(outerAngle),
          outerGain(outerGain) {}

    void execute(SoundSystem& system) override;
    uxs::basic_iobuf<std::uint8_t>& serialize(uxs::basic_iobuf<std::uint8_t>& buffer) override;
    uxs::basic_ibuf<std::uint8_t>& deserialize(uxs::basic_ibuf<std::uint8_t>& buffer) override;

    std::int32_t sourceId;
    float outerAngle;  // degrees
    float outerGain;
};

class CommandDeleteSource final : public SourceIdCommand {
public:
    CommandDeleteSource() : CommandDeleteSource(-1) {}
    explicit CommandDeleteSource(std::int32_t sourceId)
        : SourceIdCommand(kDeleteSource, sourceId) {}

    void execute(SoundSystem& system) override;
};

class CommandMountSound final : public Command {
public:
    CommandMountSound() : CommandMountSound(-1, std::string()) {}
    CommandMountSound(std::int32_t sourceId, std::string soundName)
        : Command(kMountSound), sourceId(sourceId), soundName(std::move(soundName)) {}

    void execute(SoundSystem& system) override;
    uxs::basic_iobuf<std::uint8_t>& serialize(uxs::basic_iobuf<std::uint8_t>& buffer) override;
    uxs::basic_ibuf<std::uint8_t>& deserialize(uxs::basic_ibuf<std::uint8_t>& buffer) override;

    std::int32_t sourceId;
    std::string soundName;
};

class CommandSetGain final : public Command {
public:
    CommandSetGain() : CommandSetGain(-1, 0) {}
    CommandSetGain(std::int32_t sourceId, float gain)
        : Command(kSetGain), sourceId(sourceId), gain(gain) {}

    void execute(SoundSystem& system) override;
    uxs::basic_iobuf<std::uint8_t>& serialize(uxs::basic_iobuf<std::uint8_t>& buffer) override;
    uxs::basic_ibuf<std::uint8_t>& deserialize(uxs::basic_ibuf<std::uint8_t>& buffer) override;

    std::int32_t sourceId;
    float gain;
};
