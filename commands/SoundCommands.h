#pragma once

// Commands that act on named sounds, and the one that clears sounds and sources
// together. Default-constructed commands hold the fresh values a reader starts from.

#include <cstdint>
#include <string>
#include <utility>

#include "commands/Command.h"

// Replays CreateSound with the path the sender resolved; the replaying side
// resolves it again through its own data manager.
class CommandCreateSound final : public Command {
public:
    CommandCreateSound() : Command(kCreateSound) {}
    CommandCreateSound(std::string&& soundName, std::string&& fileName)
        : Command(kCreateSound), soundName(std::move(soundName)), fileName(std::move(fileName)) {}

    void execute(SoundSystem& system) override;
    uxs::basic_iobuf<std::uint8_t>& serialize(uxs::basic_iobuf<std::uint8_t>& buffer) override;
    uxs::basic_ibuf<std::uint8_t>& deserialize(uxs::basic_ibuf<std::uint8_t>& buffer) override;

    std::string soundName;
    std::string fileName;
};

class CommandDeleteSound final : public Command {
public:
    CommandDeleteSound() : Command(kDeleteSound) {}
    explicit CommandDeleteSound(std::string soundName)
        : Command(kDeleteSound), soundName(std::move(soundName)) {}

    void execute(SoundSystem& system) override;
    uxs::basic_iobuf<std::uint8_t>& serialize(uxs::basic_iobuf<std::uint8_t>& buffer) override;
    uxs::basic_ibuf<std::uint8_t>& deserialize(uxs::basic_ibuf<std::uint8_t>& buffer) override;

    std::string soundName;
};

// No payload: its record is the type code alone, so it keeps the base class's
// empty serialize and deserialize.
class CommandDeleteSourcesAndSounds final : public Command {
public:
    CommandDeleteSourcesAndSounds() : Command(kDeleteSourcesAndSounds) {}

    void execute(SoundSystem& system) override;
};
