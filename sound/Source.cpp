#include "sound/Source.h"

#include "plugin/AlErrorReport.h"
#include "sound/SoundBufferRegistry.h"

namespace {

// Any bit of AL_LOOPING's value: every state OpenAL reports (0x1011 to 0x1014)
// passes, only a failed query leaving 0 does not. Callers rely on this as it is.
constexpr ALint kStateMask = 0x1007;

void ReportIfFailed(const char* operation) {
    if (ALenum error = alGetError(); error != AL_NO_ERROR) {
        ReportAlError(operation, error);
    }
}

}  // namespace

Source::Source() {
    alGenSources(1, &alSource);
}

Source::~Source() {
    alSourceStop(alSource);
    started = false;
    alDeleteSources(1, &alSource);
}

void Source::StartPlayback() {
    started = true;
    alGetError();
    alSourcePlay(alSource);
    ReportIfFailed("play");
}

void Source::SetLooping(bool looping) {
    alGetError();
    alSourcei(alSource, AL_LOOPING, looping ? 1 : 0);
    ReportIfFailed("play");  // deliberately the same word as starting playback
}

bool Source::StateTest() const {
    ALint state = 0;
    alGetSourcei(alSource, AL_SOURCE_STATE, &state);
    return (state & kStateMask) != 0;
}

void Source::SetCone(float outerAngle, float outerGain) {
    alGetError();
    alSourcef(alSource, AL_CONE_OUTER_ANGLE, outerAngle);
    alSourcef(alSource, AL_CONE_OUTER_GAIN, outerGain);
    ReportIfFailed("set sound cone parameters");
}

void Source::GetCone(float& outerAngle, float& outerGain) const {
    alGetError();
    alGetSourcef(alSource, AL_CONE_OUTER_ANGLE, &outerAngle);
    alGetSourcef(alSource, AL_CONE_OUTER_GAIN, &outerGain);
    ReportIfFailed("get sound cone parameters");
}

bool Source::SetSound(const SoundBufferRegistry& sounds, std::string_view soundName) {
    if (!sounds.HasSound(soundName)) {
        return false;
    }
    alGetError();
    alSourcei(alSource, AL_BUFFER, static_cast<ALint>(sounds.FindBuffer(soundName)));
    if (ALenum error = alGetError(); error != AL_NO_ERROR) {
        ReportAlError("set sound", error);
        return false;
    }
    return true;
}

std::string Source::MountedSoundName(const SoundBufferRegistry& sounds) const {
    ALint buffer = 0;
    alGetError();
    alGetSourcei(alSource, AL_BUFFER, &buffer);
    // Deliberately this word, although nothing is unmounted.
    ReportIfFailed("unmount sound");
    return sounds.FindNameOfBuffer(static_cast<ALuint>(buffer));
}
