#include "plugin/SoundInspector.h"

#include "plugin/SoundSystem.h"

kep::IUnknown* SoundInspector::QueryInterface(util::type_id interfaceId) {
    return owner.QueryInterface(interfaceId);
}

kep::Object* SoundInspector::GetObject() {
    return owner.GetObject();
}

std::shared_ptr<kep::Object> SoundInspector::GetSharedObject() {
    return owner.GetSharedObject();
}

bool SoundInspector::IsDeviceOpen() {
    return owner.IsDeviceOpen();
}

std::vector<std::int32_t> SoundInspector::ListSources() {
    return SourceRegistry::Lock(sources).Ids();
}

bool SoundInspector::IsSourcePlaying(std::int32_t sourceId) {
    if (!owner.IsDeviceOpen()) {
        return false;
    }
    SourceRegistry::Lock locked(sources);
    const Source* source = locked.Find(sourceId);
    return source && source->IsPlayingNow();
}

std::vector<std::string> SoundInspector::ListSounds() {
    std::vector<std::string> names;
    for (const auto& [name, path] : sounds.Paths()) {
        names.push_back(name);
    }
    return names;
}

bool SoundInspector::DescribeSource(std::int32_t sourceId, kep::SourceDescription& description) {
    if (!owner.IsDeviceOpen()) {
        return false;
    }
    SourceRegistry::Lock locked(sources);
    const Source* source = locked.Find(sourceId);
    if (!source) {
        return false;
    }
    const SourceState state = source->Describe(sounds);
    description.position = state.position;
    description.soundName = state.soundName;
    description.gain = source->Gain();
    description.looping = source->IsLooping();
    return true;
}

bool SoundInspector::LoadSoundFile(std::string_view name, std::string_view path) {
    if (!owner.IsDeviceOpen()) {
        return false;
    }
    return !sounds.PutSoundIntoBuffer(name, path).empty();
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
    if (!owner.IsDeviceOpen()) {
        return false;
    }
    const auto facts = sounds.Describe(name);
    if (!facts) {
        return false;
    }
    description.path = facts->path;
    description.alFormat = FormatOf(facts->bits, facts->channels);
    description.sampleRate = static_cast<std::uint32_t>(facts->frequency);
    description.byteSize = static_cast<std::uint32_t>(facts->size);
    description.bits = static_cast<std::uint32_t>(facts->bits);
    description.channels = static_cast<std::uint32_t>(facts->channels);
    description.durationSeconds = sounds.DurationSeconds(name);
    description.paddingFrames = facts->paddingFrames;
    return true;
}

std::int32_t SoundInspector::SourceLimit() {
    return owner.IsDeviceOpen() ? owner.SourceLimit() : 0;
}
