#pragma once

#include <AL/al.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

// Named, fully decoded sounds, each held in one OpenAL buffer. The registry is
// the one owner of buffer names: it generates, fills and deletes them. Buffer 0
// never stands in it; a lookup that finds nothing yields 0. It has no lock of its
// own: sound operations run on one thread at a time.
class SoundBufferRegistry {
public:
    // What OpenAL reports of a registered sound's buffer.
    struct BufferFacts {
        std::string path;
        ALint size = 0;  // bytes
        ALint bits = 0;
        ALint channels = 0;
        ALint frequency = 0;              // Hz
        std::uint32_t paddingFrames = 0;  // of the buffer's frames, what decoding added
    };

    SoundBufferRegistry() = default;
    SoundBufferRegistry(const SoundBufferRegistry&) = delete;
    SoundBufferRegistry& operator=(const SoundBufferRegistry&) = delete;
    ~SoundBufferRegistry();

    // Decodes the file at path (already resolved) into a new buffer and registers
    // it under name. Returns the name, or an empty string (logged) when the file
    // cannot be decoded or OpenAL refuses the data. A name already registered
    // keeps its first path and its first buffer.
    [[nodiscard]] std::string PutSoundIntoBuffer(std::string_view name, std::string_view path);

    [[nodiscard]] ALuint FindBuffer(std::string_view name) const;
    // The first name in key order whose buffer is this one, or empty.
    [[nodiscard]] std::string FindNameOfBuffer(ALuint buffer) const;
    [[nodiscard]] bool HasSound(std::string_view name) const;
    // Removes the name and deletes its buffer ("Delete buffer" on an error). An
    // empty name leaves its buffer alive on purpose: nothing is deleted or
    // reported for it.
    void EraseSound(std::string_view name);
    // Deletes every buffer and empties the registry.
    void Clear();
    // Whole seconds of the named sound, rounded up; 0 if unknown or unreadable.
    [[nodiscard]] std::uint32_t DurationSeconds(std::string_view name) const;
    // Empty if the name is unknown or OpenAL cannot describe its buffer.
    [[nodiscard]] std::optional<BufferFacts> Describe(std::string_view name) const;
    // Every sound's file path, by ascending sound name.
    [[nodiscard]] const std::map<std::string, std::string, std::less<>>& Paths() const {
        return pathsByName;
    }

private:
    std::map<std::string, ALuint, std::less<>> buffersByName;
    std::map<std::string, std::string, std::less<>> pathsByName;
    // Kept with the buffer it describes.
    std::map<std::string, std::uint32_t, std::less<>> paddingFramesByName;
};
