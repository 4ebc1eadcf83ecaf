#pragma once

#include <AL/al.h>

#include <string>
#include <string_view>

struct SoundBufferRegistry;

// One playback voice: owns an OpenAL source from construction to destruction.
// `started` says the source was told to play; it does not follow OpenAL's state.
class Source {
public:
    Source();   // generates the OpenAL source
    ~Source();  // stops and deletes it
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    // Sets `started` first, then plays; errors are reported as "play".
    void StartPlayback();
    // Errors are reported as "play" too.
    void SetLooping(bool looping);
    bool IsStarted() const { return started; }
    // True for every state OpenAL reports; false only when the query failed.
    bool StateTest() const;
    void SetCone(float outerAngle, float outerGain);
    void GetCone(float& outerAngle, float& outerGain) const;
    // Attaches the named sound's buffer; false if the name is unknown or OpenAL failed.
    bool SetSound(const SoundBufferRegistry& sounds, std::string_view soundName);
    // The name of the sound attached, or empty.
    std::string MountedSoundName(const SoundBufferRegistry& sounds) const;

    ALuint alSource = 0;
    bool started = false;
};
