#include "sound/SoundBufferRegistry.h"

#include <cmath>
#include <exception>
#include <optional>
#include <vector>

#include "decode/FFStream.h"
#include "kep/Messages.h"
#include "plugin/AlErrorReport.h"

namespace {

struct BufferQuery {
    ALint size = 0, bits = 0, channels = 0, frequency = 0;
};

BufferQuery QueryBuffer(ALuint buffer) {
    BufferQuery query;
    alGetBufferi(buffer, AL_SIZE, &query.size);
    alGetBufferi(buffer, AL_BITS, &query.bits);
    alGetBufferi(buffer, AL_CHANNELS, &query.channels);
    alGetBufferi(buffer, AL_FREQUENCY, &query.frequency);
    return query;
}

}  // namespace

SoundBufferRegistry::~SoundBufferRegistry() {
    Clear();
}

std::string SoundBufferRegistry::PutSoundIntoBuffer(std::string_view name, std::string_view path) {
    std::optional<FFStream> stream;
    try {
        stream.emplace(path);
    } catch (const std::exception& error) {
        kep::Error()("SoundSystem: Failed to load {} error: {}", path, error.what());
        return {};
    }
    PcmBytes data = stream->TakePcm();
    const FFStream::AlBufferFormat format = stream->GetAlBufferFormat();
    const std::uint32_t paddingFrames = stream->GetPaddingFrames();
    // The demuxer, decoder and converter go before OpenAL makes its copy.
    stream.reset();

    ALuint buffer = 0;
    alGenBuffers(1, &buffer);
    if (alGetError() != AL_NO_ERROR) {
        // Deliberately reported as loaded, with nothing registered and nothing logged.
        return std::string(name);
    }
    // A name already present keeps its first path, and its old buffer: the new one is
    // filled below but not recorded (kept as is).
    pathsByName.try_emplace(std::string(name), path);
    if (buffersByName.try_emplace(std::string(name), buffer).second) {
        paddingFramesByName.insert_or_assign(std::string(name), paddingFrames);
    }

    alGetError();
    alBufferData(buffer, static_cast<ALenum>(format.alFormat), data.data(),
                 static_cast<ALsizei>(data.size()), static_cast<ALsizei>(format.sampleRate));
    // OpenAL holds its own copy now.
    PcmBytes().swap(data);
    if (ALenum error = alGetError(); error != AL_NO_ERROR) {
        ReportAlError("Put sound into buffer", error);
        alDeleteBuffers(1, &buffer);
        // Entries that existed before this call go as well.
        if (auto entry = buffersByName.find(name); entry != buffersByName.end()) {
            buffersByName.erase(entry);
        }
        if (auto entry = pathsByName.find(name); entry != pathsByName.end()) {
            pathsByName.erase(entry);
        }
        paddingFramesByName.erase(std::string(name));
        return {};
    }
    return std::string(name);
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
    if (auto padding = paddingFramesByName.find(name); padding != paddingFramesByName.end()) {
        paddingFramesByName.erase(padding);
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
    paddingFramesByName.clear();
}

std::uint32_t SoundBufferRegistry::DurationSeconds(std::string_view name) const {
    const ALuint buffer = FindBuffer(name);
    if (buffer == 0) {
        return 0;
    }
    const BufferQuery query = QueryBuffer(buffer);
    if (alGetError() != AL_NO_ERROR || query.frequency == 0 || query.channels == 0 ||
        query.bits == 0) {
        return 0;
    }
    // Only 8- and 16-bit buffers are registered, so bits / 8 is 1 or 2; anything
    // narrower would divide by zero.
    const auto bytesPerSample = static_cast<std::uint32_t>(query.bits) / 8;
    if (bytesPerSample == 0) {
        return 0;
    }
    std::uint32_t frames =
        static_cast<std::uint32_t>(query.size) / static_cast<std::uint32_t>(query.channels);
    frames /= bytesPerSample;
    const float seconds = static_cast<float>(frames) / static_cast<float>(query.frequency);
    return static_cast<std::uint32_t>(static_cast<std::int64_t>(std::ceil(seconds)));
}

std::optional<SoundBufferRegistry::BufferFacts> SoundBufferRegistry::Describe(
    std::string_view name) const {
    const ALuint buffer = FindBuffer(name);
    if (buffer == 0) {
        return std::nullopt;
    }
    alGetError();
    const BufferQuery query = QueryBuffer(buffer);
    if (alGetError() != AL_NO_ERROR) {
        return std::nullopt;
    }
    auto path = pathsByName.find(name);
    auto padding = paddingFramesByName.find(name);
    return BufferFacts{path == pathsByName.end() ? std::string() : path->second,
                       query.size,
                       query.bits,
                       query.channels,
                       query.frequency,
                       padding == paddingFramesByName.end() ? 0 : padding->second};
}
