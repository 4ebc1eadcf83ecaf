#include "commands/CommandFactory.h"

#include "commands/SoundCommands.h"
#include "commands/SourceCommands.h"
#include "kep/Messages.h"

std::shared_ptr<Command> CommandFactory::Create(std::uint32_t typeCode) {
    switch (typeCode) {
        case kCreateSource:
            return std::make_shared<CommandCreateSource>();
        case kSetLooping:
            return std::make_shared<CommandSetLooping>();
        case kSetPosition:
            return std::make_shared<CommandSetPosition>();
        case kPlaySound:
            return std::make_shared<CommandPlaySound>();
        case kStopSound:
            return std::make_shared<CommandStopSound>();
        case kSetSpingDirection:
            return std::make_shared<CommandSetSpingDirection>();
        case kSetSpingCone:
            return std::make_shared<CommandSetSpingCone>();
        case kCreateSound:
            return std::make_shared<CommandCreateSound>();
        case kDeleteSound:
            return std::make_shared<CommandDeleteSound>();
        case kDeleteSource:
            return std::make_shared<CommandDeleteSource>();
        case kMountSound:
            return std::make_shared<CommandMountSound>();
        case kSetGain:
            return std::make_shared<CommandSetGain>();
        case kDeleteSourcesAndSounds:
            return std::make_shared<CommandDeleteSourcesAndSounds>();
        default:
            // The blank at the end of the line is deliberate.
            kep::Error()("SoundPlugin: CommandFactory: Command aren't supported {} ", typeCode);
            return nullptr;
    }
}
