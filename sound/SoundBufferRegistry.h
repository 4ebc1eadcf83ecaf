#pragma once

#include <AL/al.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

// Named, fully decoded sounds, each in one OpenAL buffer that the registry owns.
// Buffer 0 never stands in the map; a lookup that finds nothing yields 0.
struct SoundBufferRegistry {
    SoundBufferRegistry() = default;
    SoundBufferRegistry(const SoundBufferRegistry&) = delete;
    SoundBufferRegistry& operator=(const SoundBufferRegistry&) = delete;
    ~SoundBufferRegistry();

    ALuint FindBuffer(std::string_view name) const;
    // The first name in key order whose buffer is this one, or empty.
    std::string FindNameOfBuffer(ALuint buffer) const;
    bool HasSound(std::string_view name) const;
    // Removes the name and deletes its buffer. An empty name leaves its buffer
    // alive on purpose: nothing is deleted or reported for it.
    void EraseSound(std::string_view name);
    // Deletes every buffer and empties both maps.
    void Clear();
    // Whole seconds of the named sound, rounded up; 0 if unknown or unreadable.
    std::uint32_t DurationSeconds(std::string_view name) const;

    std::map<std::string, ALuint, std::less<>> buffersByName;
    std::map<std::string, std::string, std::less<>> pathsByName;
};
