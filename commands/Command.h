#pragma once

#include <cstdint>

#include "uxs/io.h"

class SoundSystem;

// Wire type codes of the replicated commands.
enum CommandType : std::uint32_t {
    kCreateSource = 0,
    kSetLooping = 1,
    kSetPosition = 2,
    kPlaySound = 3,
    kStopSound = 4,
    kSetSpingDirection = 5,
    kSetSpingCone = 6,
    kCreateSound = 7,
    kDeleteSound = 8,
    kDeleteSource = 9,
    kMountSound = 10,
    kSetGain = 11,
    kDeleteSourcesAndSounds = 12,
    kCommandTypeCount = 13,
};

// One state-changing sound operation, as recorded on a replicating instance and
// replayed on the others. The payload written by serialize follows the type
// code in a batch; the code itself is the batch's to write.
class Command {
public:
    explicit Command(std::uint32_t typeCode) : type(typeCode) {}
    virtual ~Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    virtual void execute(SoundSystem& system) = 0;
    virtual uxs::basic_iobuf<std::uint8_t>& serialize(uxs::basic_iobuf<std::uint8_t>& buffer) {
        return buffer;
    }
    virtual uxs::basic_ibuf<std::uint8_t>& deserialize(uxs::basic_ibuf<std::uint8_t>& buffer) {
        return buffer;
    }

    const std::uint32_t type;
};
