#include "plugin/SoundInspector.h"

#include "decode/SoundLoader.h"
#include "plugin/SoundSystem.h"

kep::IUnknown* SoundInspector::QueryInterface(util::type_id interfaceId) {
    return owner_.QueryInterface(interfaceId);
}

kep::Object* SoundInspector::GetObject() {
    return owner_.GetObject();
}

std::shared_ptr<kep::Object> SoundInspector::GetSharedObject() {
    return owner_.GetSharedObject();
}

bool SoundInspector::IsDeviceOpen() {
    return owner_.deviceOpen;
}

std::vector<std::int32_t> SoundInspector::ListSources() {
    std::lock_guard lock(owner_.sourceRegistry.sourcesMutex);
    std::vector<std::int32_t> ids;
    for (const auto& entry : owner_.sourceRegistry.sources) {
        ids.push_back(entry.first);
    }
    return ids;
}

bool SoundInspector::IsSourcePlaying(std::int32_t sourceId) {
    if (!owner_.deviceOpen) {
        return false;
    }
    std::lock_guard lock(owner_.sourceRegistry.sourcesMutex);
    Source* source = owner_.sourceRegistry.Find(sourceId);
    if (!source) {
        return false;
    }
    ALint state = 0;
    alGetSourcei(source->alSource, AL_SOURCE_STATE, &state);
    return state == AL_PLAYING;
}

bool SoundInspector::LoadSoundFile(std::string_view name, std::string_view path) {
    if (!owner_.deviceOpen) {
        return false;
    }
    // The loader hands the path to FFmpeg as a zero-terminated string.
    const std::string terminatedPath(path);
    return !PutSoundIntoBuffer(owner_.soundRegistry, name, terminatedPath).empty();
}

namespace {

// The buffer format OpenAL was given, recovered from what the buffer reports.
std::uint32_t FormatOf(ALint bits, ALint channels) {
    switch (channels) {
        case 1:
            return bits == 8 ? AL_FORMAT_MONO8 : bits == 16 ? AL_FORMAT_MONO16 : 0x10010;
        case 2:
            return bits == 8 ? AL_FORMAT_STEREO8 : bits == 16 ? AL_FORMAT_STEREO16 : 0x10011;
        case 4:
            return alGetEnumValue(bits == 8 ? "AL_FORMAT_QUAD8" : "AL_FORMAT_QUAD32");
        case 6:
            return alGetEnumValue(bits == 8 ? "AL_FORMAT_51CHN8" : "AL_FORMAT_51CHN32");
        case 8:
            return alGetEnumValue(bits == 8 ? "AL_FORMAT_71CHN8" : "AL_FORMAT_71CHN32");
        default:
            return 0;
    }
}

}  // namespace

bool SoundInspector::DescribeSound(std::string_view name, kep::SoundDescription& description) {
    const ALuint buffer = owner_.soundRegistry.FindBuffer(name);
    if (!owner_.deviceOpen || buffer == 0) {
        return false;
    }
    ALint size = 0, bits = 0, channels = 0, frequency = 0;
    alGetError();
    alGetBufferi(buffer, AL_SIZE, &size);
    alGetBufferi(buffer, AL_BITS, &bits);
    alGetBufferi(buffer, AL_CHANNELS, &channels);
    alGetBufferi(buffer, AL_FREQUENCY, &frequency);
    if (alGetError() != AL_NO_ERROR) {
        return false;
    }
    auto path = owner_.soundRegistry.pathsByName.find(name);
    description.path = path == owner_.soundRegistry.pathsByName.end() ? "" : path->second;
    description.alFormat = FormatOf(bits, channels);
    description.sampleRate = static_cast<std::uint32_t>(frequency);
    description.byteSize = static_cast<std::uint32_t>(size);
    description.bits = static_cast<std::uint32_t>(bits);
    description.channels = static_cast<std::uint32_t>(channels);
    description.durationSeconds = owner_.soundRegistry.DurationSeconds(name);
    return true;
}
