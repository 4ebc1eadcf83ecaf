#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <set>
#include <string>

#include "kep/ISoundProperty.h"
#include "kep/ISoundSystem.h"
#include "kep/UserProperty.h"

namespace kep {

// Lets a scene object carry one sound: a file, looping, gain, and Play and Stop
// buttons. The property owns one sound and one source in the sound system and
// finds the sound system anew for every operation.
class SoundProperty final : public UserProperty, public ISoundProperty {
public:
    SoundProperty();

    IUnknown* QueryInterface(util::type_id interfaceId) override;
    Object* GetObject() override { return this; }
    std::shared_ptr<Object> GetSharedObject() override { return UserProperty::GetSharedObject(); }
    util::type_id GetTypeId() const override;

    // ISoundProperty
    void play() override;
    void stop() override;
    std::uint32_t duration() override;
    void setLooping(bool value) override;
    void setGain(float value) override;

    void onParametersChanged(const std::set<std::string, std::less<>>& changedNames) override;

    // The name of the property type, and its translated display name.
    static std::string_view TypeName();
    static std::string_view DisplayName();

    const std::string& GetSoundName() const { return soundName; }
    std::int32_t GetSourceId() const { return sourceId; }

private:
    void Reload();
    void Notify(std::string_view parameterName);

    std::string soundName;
    std::string fileName;
    // Bound to parameters, which keep numbers and flags atomic.
    std::atomic<double> gain{1.0};
    std::int32_t sourceId = -1;
    std::atomic<bool> looping{false};
    std::atomic<bool> playRequested{false};
    std::atomic<bool> stopRequested{false};
};

}  // namespace kep
