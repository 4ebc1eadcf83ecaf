#pragma once

#include <AL/al.h>

#include <string_view>

class SoundBufferRegistry;

// A source's OpenAL name, taken under the sources lock so that a sound can be
// attached after the lock is released. No freed memory is touched if the source is
// deleted meanwhile, but OpenAL hands a freed name out again: a source deleted and
// another created on other threads in between would receive the sound instead.
// Callers keep sound operations on one thread, as for every sound operation.
class SourceHandle {
public:
    // Attaches the named sound's buffer; false if the name is unknown (no OpenAL
    // call) or OpenAL reported an error ("set sound").
    [[nodiscard]] bool SetSound(const SoundBufferRegistry& sounds,
                                std::string_view soundName) const;

private:
    friend class Source;
    explicit SourceHandle(ALuint alSource) : alSource(alSource) {}
    ALuint alSource;
};
