#pragma once

// A recording stand-in for the OpenAL library, linked instead of libopenal into
// the tests that must see the exact calls the plug-in makes, inject an OpenAL
// error, or offer extensions the real library lacks.
//
// Each call appends one line to a log: the function, then its arguments in
// parentheses separated by ", ": integers in decimal, enums as upper-case hex
// (0x1007), floats in their shortest form, arrays in brackets ([1, 2]), text as
// is, null pointers as null, devices and contexts as device1, context1, ...
// Output pointers are left out: alGenSources(1), alGetSourcei(1, 0x1010).
//
// The model is small: sources and buffers are numbered from 1 and never reused;
// a source is AL_INITIAL until played, AL_PLAYING until stopped, and remembers
// its buffer; a buffer remembers the size it was given. One
// error is pending at a time, returned and cleared by alGetError.

#include <AL/al.h>
#include <AL/alc.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace aldouble {

inline constexpr std::string_view kDefaultDeviceName = "Double Device";

// A fresh library: default device kDefaultDeviceName, no extensions, nothing
// made, nothing failing, an empty log.
void Reset();

std::vector<std::string> Calls();
// The lines of the calls to functions whose name starts with one of these.
std::vector<std::string> CallsTo(std::initializer_list<std::string_view> prefixes);
void ClearCalls();

// What alIsExtensionPresent answers yes to; "AL_SOFT_events" also makes
// alGetProcAddress hand out the event functions.
void SetExtensions(std::vector<std::string> extensions);
void FailOpenDevice(std::string name);  // "" fails alcOpenDevice(null)
void FailCreateContext();
// The next call of this function raises the error and does nothing else.
void FailNextCall(std::string function, ALenum error);

// Calls the event callback installed through alEventCallbackSOFT, as OpenAL's
// event thread would; false if none is installed.
bool FireEvent(ALenum eventType, ALuint object, ALuint param, std::string_view message,
               ALsizei length);

}  // namespace aldouble
