#pragma once

#include <cstdint>
#include <memory>

#include "commands/Command.h"

// Makes the command of a wire type code in its fresh state, ready to read its
// payload.
struct CommandFactory {
    // Empty, with an error line, for a code no command has.
    [[nodiscard]] static std::shared_ptr<Command> Create(std::uint32_t typeCode);
};
