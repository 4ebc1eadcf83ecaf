#include "sound/SourceHandle.h"

#include "plugin/AlErrorReport.h"
#include "sound/SoundBufferRegistry.h"

bool SourceHandle::SetSound(const SoundBufferRegistry& sounds, std::string_view soundName) const {
    const ALuint buffer = sounds.FindBuffer(soundName);
    if (buffer == 0) {
        return false;
    }
    alGetError();
    alSourcei(alSource, AL_BUFFER, static_cast<ALint>(buffer));
    if (ALenum error = alGetError(); error != AL_NO_ERROR) {
        ReportAlError("set sound", error);
        return false;
    }
    return true;
}
