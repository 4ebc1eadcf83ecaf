#pragma once

#include <cstdint>
#include <string_view>

#include <osg/Vec3f>

#include "kep/IUnknown.h"

namespace kep {

// Positional sound for the host's scenes: named sounds, numbered sources placed
// in world coordinates, and a listener. A source id below 1 means none.
class KEPCORE_API ISoundSystem : public IUnknown {
public:
    // Loads a data file and registers it under name; false if it cannot be loaded.
    virtual bool CreateSound(std::string_view name, std::string_view fileName) = 0;
    virtual bool HasSound(std::string_view name) = 0;
    virtual void DeleteSound(std::string_view name) = 0;
    // Whole seconds, rounded up; 0 for an unknown name.
    virtual std::uint32_t GetSoundDuration(std::string_view name) = 0;
    virtual std::int32_t CreateSource(const osg::Vec3f& position, bool looping) = 0;
    virtual bool DeleteSource(std::int32_t sourceId) = 0;
    virtual bool MountSound(std::int32_t sourceId, std::string_view soundName) = 0;
    virtual void SetLooping(std::int32_t sourceId, bool looping) = 0;
    virtual bool IsPlaying(std::int32_t sourceId) = 0;
    virtual bool HasSource(std::int32_t sourceId) = 0;
    virtual void SetPosition(std::int32_t sourceId, const osg::Vec3f& position) = 0;
    virtual osg::Vec3f GetPosition(std::int32_t sourceId) = 0;
    virtual void PlaySound(std::int32_t sourceId, bool looping) = 0;
    virtual void StopSound(std::int32_t sourceId) = 0;
    virtual void SetSpingDirection(std::int32_t sourceId, float x, float y, float z) = 0;
    virtual void SetSpingCone(std::int32_t sourceId, float outerAngle, float outerGain) = 0;
    virtual void SetGain(std::int32_t sourceId, float gain) = 0;
    virtual void DeleteSourcesAndSounds() = 0;
    virtual void SetListener(const osg::Vec3f& position, const osg::Vec3f& at,
                             const osg::Vec3f& up) = 0;
};

}  // namespace kep
