#pragma once

#include <AL/al.h>

#include <string>
#include <string_view>

#include <osg/Vec3f>

#include "sound/SourceHandle.h"
#include "sound/SourceState.h"

class SoundBufferRegistry;

// One playback voice. It owns its OpenAL source from construction (generated) to
// destruction (stopped, then deleted). `started` says the source was told to
// play; it does not follow OpenAL's state, so a sound that ends by itself leaves
// it set.
class Source {
public:
    Source();
    ~Source();
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    // Sets `started` first, then plays; an error is reported as "play".
    void StartPlayback();
    // Stops playback and clears `started`.
    void Stop();
    // An error is reported as "play" too, deliberately.
    void SetLooping(bool looping);
    void SetPosition(const osg::Vec3f& position);
    void SetDirection(const osg::Vec3f& direction);
    void SetGain(float gain);
    void SetCone(float outerAngle, float outerGain);

    [[nodiscard]] bool IsStarted() const { return started; }
    // True for every state OpenAL reports (its values share the bits of 0x1007);
    // false only when the query failed. Callers rely on this as it is.
    [[nodiscard]] bool StateTest() const;
    // Whether OpenAL is playing the source at this moment.
    [[nodiscard]] bool IsPlayingNow() const;
    [[nodiscard]] osg::Vec3f GetPosition() const;
    [[nodiscard]] float Gain() const;
    [[nodiscard]] bool IsLooping() const;
    // The state a snapshot carries, queried in the record's order.
    [[nodiscard]] SourceState Describe(const SoundBufferRegistry& sounds) const;
    [[nodiscard]] SourceHandle Handle() const { return SourceHandle(alSource); }

private:
    void GetCone(float& outerAngle, float& outerGain) const;
    // The name of the sound attached, or empty ("unmount sound" on an error,
    // deliberately that word).
    std::string MountedSoundName(const SoundBufferRegistry& sounds) const;

    ALuint alSource = 0;
    bool started = false;
};
