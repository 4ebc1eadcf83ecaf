#include "decode/SoundLoader.h"

#include <AL/al.h>

#include <cstdint>
#include <exception>
#include <optional>
#include <vector>

#include "decode/FFStream.h"
#include "kep/Messages.h"
#include "plugin/AlErrorReport.h"
#include "sound/SoundBufferRegistry.h"

std::string PutSoundIntoBuffer(SoundBufferRegistry& registry, std::string_view name,
                               std::string_view path) {
    std::optional<FFStream> stream;
    try {
        stream.emplace(path);
    } catch (const std::exception& error) {
        kep::Error()("SoundSystem: Failed to load {} error: {}", path, error.what());
        return {};
    }
    const std::vector<std::uint8_t> data = stream->GetPcm();
    const FFStream::AlBufferFormat format = stream->GetAlBufferFormat();

    ALuint buffer = 0;
    alGenBuffers(1, &buffer);
    if (alGetError() != AL_NO_ERROR) {
        // Deliberately reported as loaded, with nothing registered and nothing logged.
        return std::string(name);
    }

    // A name already present keeps its first path, and its old buffer: the new one is
    // filled below but not recorded (kept as is).
    if (registry.pathsByName.find(name) == registry.pathsByName.end()) {
        registry.pathsByName.emplace(name, path);
    }
    if (registry.buffersByName.find(name) == registry.buffersByName.end()) {
        registry.buffersByName.emplace(name, buffer);
    }

    alGetError();
    alBufferData(buffer, static_cast<ALenum>(format.alFormat), data.data(),
                 static_cast<ALsizei>(data.size()), static_cast<ALsizei>(format.sampleRate));
    const ALenum error = alGetError();
    if (error != AL_NO_ERROR) {
        ReportAlError("Put sound into buffer", error);
        alDeleteBuffers(1, &buffer);
        // Entries that existed before this call go as well.
        if (auto entry = registry.buffersByName.find(name); entry != registry.buffersByName.end()) {
            registry.buffersByName.erase(entry);
        }
        if (auto entry = registry.pathsByName.find(name); entry != registry.pathsByName.end()) {
            registry.pathsByName.erase(entry);
        }
        return {};
    }
    return std::string(name);
}
