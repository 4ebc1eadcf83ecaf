#include "sound/Source.h"

#include "plugin/AlErrorReport.h"
#include "sound/SoundBufferRegistry.h"

namespace {

// Any bit of AL_LOOPING's value: every state OpenAL reports (0x1011 to 0x1014)
// passes, only a failed query leaving 0 does not.
constexpr ALint kStateMask = 0x1007;

void ReportIfFailed(const char* operation) {
    if (ALenum error = alGetError(); error != AL_NO_ERROR) {
        ReportAlError(operation, error);
    }
}

osg::Vec3f GetVector(ALuint source, ALenum param) {
    osg::Vec3f value(0, 0, 0);
    alGetSource3f(source, param, &value.x(), &value.y(), &value.z());
    return value;
}

}  // namespace

Source::Source() {
    alGenSources(1, &alSource);
}

Source::~Source() {
    Stop();
    alDeleteSources(1, &alSource);
}

void Source::StartPlayback() {
    started = true;
    alGetError();
    alSourcePlay(alSource);
    ReportIfFailed("play");
}

void Source::Stop() {
    alSourceStop(alSource);
    started = false;
}

void Source::SetLooping(bool looping) {
    alGetError();
    alSourcei(alSource, AL_LOOPING, looping ? 1 : 0);
    ReportIfFailed("play");
}

void Source::SetPosition(const osg::Vec3f& position) {
    alSource3f(alSource, AL_POSITION, position.x(), position.y(), position.z());
}

void Source::SetDirection(const osg::Vec3f& direction) {
    alSource3f(alSource, AL_DIRECTION, direction.x(), direction.y(), direction.z());
}

void Source::SetGain(float gain) {
    alSourcef(alSource, AL_GAIN, gain);
}

void Source::SetCone(float outerAngle, float outerGain) {
    alGetError();
    alSourcef(alSource, AL_CONE_OUTER_ANGLE, outerAngle);
    alSourcef(alSource, AL_CONE_OUTER_GAIN, outerGain);
    ReportIfFailed("set sound cone parameters");
}

bool Source::StateTest() const {
    ALint state = 0;
    alGetSourcei(alSource, AL_SOURCE_STATE, &state);
    return (state & kStateMask) != 0;
}

bool Source::IsPlayingNow() const {
    ALint state = 0;
    alGetSourcei(alSource, AL_SOURCE_STATE, &state);
    return state == AL_PLAYING;
}

osg::Vec3f Source::GetPosition() const {
    return GetVector(alSource, AL_POSITION);
}

float Source::Gain() const {
    float gain = 1;
    alGetSourcef(alSource, AL_GAIN, &gain);
    return gain;
}

bool Source::IsLooping() const {
    ALint looping = AL_FALSE;
    alGetSourcei(alSource, AL_LOOPING, &looping);
    return looping == AL_TRUE;
}

SourceState Source::Describe(const SoundBufferRegistry& sounds) const {
    SourceState state;
    state.position = GetVector(alSource, AL_POSITION);
    state.playing = StateTest();
    state.started = started;
    state.soundName = MountedSoundName(sounds);
    state.direction = GetVector(alSource, AL_DIRECTION);
    GetCone(state.outerAngle, state.outerGain);
    return state;
}

void Source::GetCone(float& outerAngle, float& outerGain) const {
    alGetError();
    alGetSourcef(alSource, AL_CONE_OUTER_ANGLE, &outerAngle);
    alGetSourcef(alSource, AL_CONE_OUTER_GAIN, &outerGain);
    ReportIfFailed("get sound cone parameters");
}

std::string Source::MountedSoundName(const SoundBufferRegistry& sounds) const {
    ALint buffer = 0;
    alGetError();
    alGetSourcei(alSource, AL_BUFFER, &buffer);
    ReportIfFailed("unmount sound");
    return sounds.FindNameOfBuffer(static_cast<ALuint>(buffer));
}
