#include "sound/SoundBufferRegistry.h"

#include <cmath>

#include "plugin/AlErrorReport.h"

SoundBufferRegistry::~SoundBufferRegistry() {
    Clear();
}

ALuint SoundBufferRegistry::FindBuffer(std::string_view name) const {
    auto found = buffersByName.find(name);
    return found == buffersByName.end() ? 0 : found->second;
}

std::string SoundBufferRegistry::FindNameOfBuffer(ALuint buffer) const {
    for (const auto& [name, candidate] : buffersByName) {
        if (candidate == buffer) {
            return name;
        }
    }
    return {};
}

bool SoundBufferRegistry::HasSound(std::string_view name) const {
    return buffersByName.contains(name);
}

void SoundBufferRegistry::EraseSound(std::string_view name) {
    ALuint buffer = 0;
    if (auto found = buffersByName.find(name); found != buffersByName.end()) {
        buffer = found->second;
        buffersByName.erase(found);
    }
    if (name.empty()) {
        // Deliberate: a sound stored under the empty name leaves the map but its
        // buffer is not deleted.
        return;
    }
    if (auto path = pathsByName.find(name); path != pathsByName.end()) {
        pathsByName.erase(path);
    }
    // Buffer 0 (nothing found) is accepted by OpenAL as a no-op.
    alGetError();
    alDeleteBuffers(1, &buffer);
    if (ALenum error = alGetError(); error != AL_NO_ERROR) {
        ReportAlError("Delete buffer", error);
    }
}

void SoundBufferRegistry::Clear() {
    for (auto& [name, buffer] : buffersByName) {
        alDeleteBuffers(1, &buffer);
    }
    buffersByName.clear();
    pathsByName.clear();
}

std::uint32_t SoundBufferRegistry::DurationSeconds(std::string_view name) const {
    const ALuint buffer = FindBuffer(name);
    if (buffer == 0) {
        return 0;
    }
    ALint size = 0, bits = 0, channels = 0, frequency = 0;
    alGetBufferi(buffer, AL_SIZE, &size);
    alGetBufferi(buffer, AL_BITS, &bits);
    alGetBufferi(buffer, AL_CHANNELS, &channels);
    alGetBufferi(buffer, AL_FREQUENCY, &frequency);
    if (alGetError() != AL_NO_ERROR || frequency == 0 || channels == 0 || bits == 0) {
        return 0;
    }
    // Only 8- and 16-bit buffers are registered, so bits / 8 is never 0 here.
    const std::uint32_t bytesPerSample = static_cast<std::uint32_t>(bits) / 8;
    if (bytesPerSample == 0) {
        return 0;
    }
    std::uint32_t frames = static_cast<std::uint32_t>(size) / static_cast<std::uint32_t>(channels);
    frames /= bytesPerSample;
    const float seconds = static_cast<float>(frames) / static_cast<float>(frequency);
    return static_cast<std::uint32_t>(static_cast<std::int64_t>(std::ceil(seconds)));
}
