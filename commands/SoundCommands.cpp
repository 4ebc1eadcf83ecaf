#include "commands/SoundCommands.h"

#include "commands/WireFormat.h"
#include "plugin/SoundSystem.h"

using ReadBuffer = uxs::basic_ibuf<std::uint8_t>;
using WriteBuffer = uxs::basic_iobuf<std::uint8_t>;

void CommandCreateSound::execute(SoundSystem& system) {
    system.CreateSound(soundName, fileName);
}

WriteBuffer& CommandCreateSound::serialize(WriteBuffer& buffer) {
    wire::WriteString(buffer, soundName);
    wire::WriteString(buffer, fileName);
    return buffer;
}

ReadBuffer& CommandCreateSound::deserialize(ReadBuffer& buffer) {
    wire::ReadString(buffer, soundName);
    wire::ReadString(buffer, fileName);
    return buffer;
}

void CommandDeleteSound::execute(SoundSystem& system) {
    system.DeleteSound(soundName);
}

WriteBuffer& CommandDeleteSound::serialize(WriteBuffer& buffer) {
    wire::WriteString(buffer, soundName);
    return buffer;
}

ReadBuffer& CommandDeleteSound::deserialize(ReadBuffer& buffer) {
    wire::ReadString(buffer, soundName);
    return buffer;
}

void CommandDeleteSourcesAndSounds::execute(SoundSystem& system) {
    system.DeleteSourcesAndSounds();
}
