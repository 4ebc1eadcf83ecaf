#pragma once

#include "kep/ISoundInspector.h"

class SoundBufferRegistry;
class SourceRegistry;
class SoundSystem;

// The sound system's diagnostics interface, answered on its behalf: identity
// and ownership are the sound system's.
class SoundInspector final : public kep::ISoundInspector {
public:
    SoundInspector(SoundSystem& owner, SoundBufferRegistry& sounds, SourceRegistry& sources)
        : owner(owner), sounds(sounds), sources(sources) {}
    SoundInspector(const SoundInspector&) = delete;
    SoundInspector& operator=(const SoundInspector&) = delete;

    IUnknown* QueryInterface(util::type_id interfaceId) override;
    kep::Object* GetObject() override;
    std::shared_ptr<kep::Object> GetSharedObject() override;

    bool IsDeviceOpen() override;
    std::int32_t SourceLimit() override;
    std::vector<std::int32_t> ListSources() override;
    bool IsSourcePlaying(std::int32_t sourceId) override;
    bool LoadSoundFile(std::string_view name, std::string_view path) override;
    bool DescribeSound(std::string_view name, kep::SoundDescription& description) override;
    std::vector<std::string> ListSounds() override;
    bool DescribeSource(std::int32_t sourceId, kep::SourceDescription& description) override;

private:
    SoundSystem& owner;
    SoundBufferRegistry& sounds;
    SourceRegistry& sources;
};
