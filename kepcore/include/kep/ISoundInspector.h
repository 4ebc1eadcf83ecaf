#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <osg/Vec3f>

#include "kep/IUnknown.h"

namespace kep {

// What a sound system holds for one registered sound.
struct SoundDescription {
    std::string path;              // the file it was loaded from
    std::uint32_t alFormat = 0;    // OpenAL buffer format
    std::uint32_t sampleRate = 0;  // Hz
    std::uint32_t byteSize = 0;    // bytes of PCM in the buffer
    std::uint32_t bits = 0;        // bits per sample
    std::uint32_t channels = 0;
    std::uint32_t durationSeconds = 0;  // whole seconds, rounded up
    // Of the sample frames in byteSize, how many the decoding added as padding
    // rather than decoded from the file: a looping sound plays them at every seam.
    std::uint32_t paddingFrames = 0;
};

// What a sound system holds for one source; the same on every instance in step.
struct SourceDescription {
    osg::Vec3f position{0, 0, 0};
    float gain = 1;
    bool looping = false;
    std::string soundName;  // empty when none is mounted
};

// Read-only diagnostics of a sound system's registered sounds, for tools.
class KEPCORE_API ISoundInspector : public IUnknown {
public:
    // Loads a file by its path as given (no data-manager lookup, nothing recorded
    // for other instances) and registers it under name; false if it could not be
    // loaded (the loader has logged why). Tools such as `kep-host info` use it to
    // describe a file the host has resolved, without a scene around it.
    virtual bool LoadSoundFile(std::string_view name, std::string_view path) = 0;
    // Whether the audio device and its context are open.
    virtual bool IsDeviceOpen() = 0;
    // How many sources the device plays at once (its ALC_MONO_SOURCES plus
    // ALC_STEREO_SOURCES); 0 while it is closed. Sources made beyond it exist but
    // stay silent.
    virtual std::int32_t SourceLimit() = 0;
    // The ids of the sources that exist now, ascending.
    virtual std::vector<std::int32_t> ListSources() = 0;
    // Whether OpenAL is playing the source right now (false once it has ended).
    virtual bool IsSourcePlaying(std::int32_t sourceId) = 0;
    // The names of the registered sounds, ascending.
    virtual std::vector<std::string> ListSounds() = 0;
    // False if there is no such source or the device is closed.
    virtual bool DescribeSource(std::int32_t sourceId, SourceDescription& description) = 0;
    // False if no sound is registered under the name or the device is closed.
    virtual bool DescribeSound(std::string_view name, SoundDescription& description) = 0;
};

}  // namespace kep
