#pragma once

#include <AL/al.h>
#include <AL/alc.h>

// The output device and its context. Only OpenAudioDevice and ShutdownAudioDevice
// open and close them.
struct AudioDevice {
    ALCcontext* context = nullptr;
    ALCdevice* device = nullptr;
};

// Opens the default device (or, failing that, whatever OpenAL picks), makes a
// context current and subscribes to device events; true when sound can play.
[[nodiscard]] bool OpenAudioDevice(AudioDevice& holder);
// How many sources the open device plays at once: its ALC_MONO_SOURCES and
// ALC_STEREO_SOURCES (OpenAL Soft: 255 and 1), which OpenAL Soft counts together.
[[nodiscard]] ALCint SourceLimit(const AudioDevice& holder);
// Unsubscribes from events and releases the context and the device.
void ShutdownAudioDevice(AudioDevice& holder);
// Logs a device event; runs on an OpenAL thread.
void AL_APIENTRY AudioDeviceEventCallback(ALenum eventType, ALuint object, ALuint param,
                                          ALsizei length, const ALchar* message,
                                          void* userParam) noexcept;
