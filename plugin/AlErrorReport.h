#pragma once

#include <AL/al.h>
#include <QString>

// The text of an OpenAL error code.
QString AlErrorMessage(ALenum code);

// Writes "SoundSystem::OpenAL::<label>: <message>" to the error stream. The caller
// has already taken the code from alGetError.
void ReportAlError(const char* label, ALenum code);
