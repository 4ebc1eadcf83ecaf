#pragma once

#include <string>
#include <string_view>

struct SoundBufferRegistry;

// Decodes the file at path (already resolved) into a new OpenAL buffer and
// registers it under name. Returns the name, or an empty string (logged) when the
// file cannot be loaded or OpenAL refuses the data. A name already registered
// keeps its first path and buffer. Takes no lock: the caller serialises sound
// operations.
std::string PutSoundIntoBuffer(SoundBufferRegistry& registry, std::string_view name,
                               std::string_view path);
