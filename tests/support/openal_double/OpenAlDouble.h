#pragma once

// A recording stand-in for the OpenAL library, linked instead of libopenal into
// test programs that must see the exact calls the plug-in makes, inject OpenAL
// errors or offer extensions the real library lacks.
//
// Every OpenAL entry point the plug-in uses is implemented with C linkage and
// appends one text line per call to a log, then acts on a small model of the
// OpenAL state so that reads return what was written.
//
// Text form of a recorded call: the function name, then its arguments in order
// inside parentheses, separated by ", ":
//   - integers, sizes and booleans in decimal: alSourcei(1, 0x1007, 1)
//   - enum parameters (ALenum, ALCenum) as 0x plus upper-case hex: 0x100A, 0x10010
//   - floats in their shortest round-trip form: alSourcef(1, 0x100A, 0.5), 1, -10
//   - strings as their text, without quotes: alcOpenDevice(Double Device)
//   - null pointers of any kind as null: alcOpenDevice(null), alcDestroyContext(null)
//   - devices and contexts as device1, context1, ... numbered from 1 in the order
//     they were made since the last Reset; other non-null pointers as ptr
//   - input arrays as their contents in brackets: alDeleteSources(1, [3]),
//     alListenerfv(0x100F, [0, 0, -1, 0, 1, 0]); sample data as ptr
//   - output pointers are left out: alGetSourcei(1, 0x1010), alGenSources(1),
//     alGetError(), alcGetCurrentContext()
//
// Error model: one pending AL error, set by the first failing call after the last
// alGetError (later errors do not overwrite it, as in OpenAL Soft) and returned and
// cleared by alGetError. A call that fails has no other effect. Names that do not
// exist raise AL_INVALID_NAME, unknown parameters AL_INVALID_ENUM, values outside
// OpenAL's ranges AL_INVALID_VALUE, and changing the buffer of a playing source or
// deleting or refilling a buffer still attached to a source AL_INVALID_OPERATION.
//
// Names: sources and buffers are numbered separately from 1; a freed name is
// handed out again, lowest first, as OpenAL Soft does.
//
// Simplifications: alcOpenDevice opens any name not made to fail; AL calls work
// with or without a current context; alSourcePlay makes a source AL_PLAYING, with
// or without a buffer, until it is stopped (or SetSourceState moves it on).
//
// All functions are thread-safe; the model lives until the next Reset.

#include <AL/al.h>
#include <AL/alc.h>

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "openal_double/AlSoftEvents.h"

namespace aldouble {

// The name the default device has after Reset.
inline constexpr std::string_view kDefaultDeviceName = "Double Device";

// A fresh library: the default device named kDefaultDeviceName, no devices,
// contexts, sources or buffers, no extensions, no pending or injected errors, no
// event callback, OpenAL Soft's values for the format names, an empty call log.
void Reset();

// The call log, oldest first.
std::vector<std::string> Calls();
// Only the calls of one function, e.g. CallsTo("alSourcePlay").
std::vector<std::string> CallsTo(std::string_view function);
// The log without the alGetError() lines.
std::vector<std::string> CallsWithoutErrorChecks();
void ClearCalls();

// Extensions alIsExtensionPresent reports (compared case-insensitively, as OpenAL
// does); offering "AL_SOFT_events" makes alGetProcAddress hand out its functions.
void SetExtensions(std::vector<std::string> extensions);
// alGetProcAddress returns null for this function even if its extension is offered.
void WithholdProcAddress(std::string functionName);
// What alGetEnumValue returns for a name; names never set give 0.
void SetEnumValue(std::string name, ALenum value);

// The name alcGetString(null, ALC_DEFAULT_DEVICE_SPECIFIER) gives and
// alcOpenDevice(null) opens.
void SetDefaultDeviceName(std::string name);
// alcOpenDevice fails (returns null) for this name.
void FailOpenDevice(std::string name);
// alcOpenDevice(null) fails.
void FailOpenNullDevice();
// Every alcCreateContext fails (returns null).
void FailCreateContext();

// The next call of the named function (e.g. "alSourcePlay") raises `error` and does
// nothing else; queued injections for one function are used in order.
void FailNextCall(std::string function, ALenum error);
// Overwrites the pending error.
void SetPendingError(ALenum error);
// The pending error, without clearing it.
ALenum PendingError();

struct SourceModel {
    std::array<ALfloat, 3> position{0, 0, 0};
    std::array<ALfloat, 3> direction{0, 0, 0};
    std::array<ALfloat, 3> velocity{0, 0, 0};
    ALfloat gain = 1;
    ALfloat pitch = 1;
    ALfloat coneInnerAngle = 360;
    ALfloat coneOuterAngle = 360;
    ALfloat coneOuterGain = 0;
    bool looping = false;
    bool relative = false;
    ALuint buffer = 0;
    ALint state = AL_INITIAL;  // AL_INITIAL, AL_PLAYING, AL_PAUSED or AL_STOPPED
};

struct BufferModel {
    ALenum format = 0;  // 0 until data was given
    ALsizei frequency = 0;
    ALint bits = 16;
    ALint channels = 1;
    std::vector<unsigned char> data;  // AL_SIZE is data.size()
};

struct ListenerModel {
    std::array<ALfloat, 3> position{0, 0, 0};
    std::array<ALfloat, 3> velocity{0, 0, 0};
    std::array<ALfloat, 6> orientation{0, 0, -1, 0, 1, 0};  // at, then up
    ALfloat gain = 1;
};

// Live source and buffer names, ascending.
std::vector<ALuint> Sources();
std::vector<ALuint> Buffers();
std::optional<SourceModel> GetSource(ALuint source);
std::optional<BufferModel> GetBuffer(ALuint buffer);
ListenerModel GetListener();
// Moves a source to a state as if playback had moved on (e.g. AL_STOPPED at its end).
void SetSourceState(ALuint source, ALint state);

// Names of the devices open now, in the order they were opened.
std::vector<std::string> OpenDevices();
std::size_t LiveContextCount();
bool HasCurrentContext();

// The event callback and user pointer last installed with alEventCallbackSOFT.
ALEVENTPROCSOFT EventCallback();
void* EventUserParam();
// Event types enabled with alEventControlSOFT, ascending.
std::vector<ALenum> EnabledEventTypes();
// Calls the installed callback as OpenAL's event thread would, with `length`
// (default: the message's size) as the message length; false if none is installed.
bool FireEvent(ALenum eventType, ALuint object, ALuint param, std::string_view message,
               std::optional<ALsizei> length = std::nullopt);

}  // namespace aldouble
