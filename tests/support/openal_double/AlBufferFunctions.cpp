// Buffer entry points of the OpenAL double.

#include <AL/al.h>

#include <cstring>

#include "openal_double/DoubleState.h"

using aldouble::BufferModel;
using aldouble::detail::ApiCall;
using aldouble::detail::Enum;
using aldouble::detail::FormatLayout;
using aldouble::detail::Int;
using aldouble::detail::LayoutOfFormat;
using aldouble::detail::Names;
using aldouble::detail::Pointer;
using aldouble::detail::State;

extern "C" {

AL_API void AL_APIENTRY alGenBuffers(ALsizei n, ALuint* buffers) {
    ApiCall call("alGenBuffers", {Int(n)});
    State& state = call.state();
    if (call.Injected()) {
        return;
    }
    if (n < 0 || (n > 0 && buffers == nullptr)) {
        state.Raise(AL_INVALID_VALUE);
        return;
    }
    for (ALsizei i = 0; i < n; ++i) {
        ALuint name = 1;
        while (state.buffers.contains(name)) {
            ++name;
        }
        state.buffers.emplace(name, BufferModel{});
        buffers[i] = name;
    }
}

AL_API void AL_APIENTRY alDeleteBuffers(ALsizei n, const ALuint* buffers) {
    ApiCall call("alDeleteBuffers", {Int(n), Names(buffers, n)});
    State& state = call.state();
    if (call.Injected()) {
        return;
    }
    if (n < 0 || (n > 0 && buffers == nullptr)) {
        state.Raise(AL_INVALID_VALUE);
        return;
    }
    // All or nothing; the name 0 is allowed and ignored.
    for (ALsizei i = 0; i < n; ++i) {
        if (buffers[i] == 0) {
            continue;
        }
        if (state.FindBuffer(buffers[i]) == nullptr) {
            state.Raise(AL_INVALID_NAME);
            return;
        }
        if (state.BufferInUse(buffers[i])) {
            state.Raise(AL_INVALID_OPERATION);
            return;
        }
    }
    for (ALsizei i = 0; i < n; ++i) {
        state.buffers.erase(buffers[i]);
    }
}

AL_API void AL_APIENTRY alBufferData(ALuint buffer, ALenum format, const ALvoid* data, ALsizei size,
                                     ALsizei freq) {
    ApiCall call("alBufferData", {Int(buffer), Enum(format), Pointer(data), Int(size), Int(freq)});
    State& state = call.state();
    if (call.Injected()) {
        return;
    }
    BufferModel* found = state.FindBuffer(buffer);
    if (found == nullptr) {
        state.Raise(AL_INVALID_NAME);
        return;
    }
    if (size < 0 || freq < 1) {
        state.Raise(AL_INVALID_VALUE);
        return;
    }
    const FormatLayout layout = LayoutOfFormat(state, format);
    if (layout.channels == 0) {
        state.Raise(AL_INVALID_ENUM);
        return;
    }
    if (state.BufferInUse(buffer)) {
        state.Raise(AL_INVALID_OPERATION);
        return;
    }
    if (size % (layout.channels * layout.bytesPerSample) != 0) {
        state.Raise(AL_INVALID_VALUE);
        return;
    }
    found->format = format;
    found->frequency = freq;
    found->bits = layout.bytesPerSample * 8;
    found->channels = layout.channels;
    found->data.assign(static_cast<std::size_t>(size), 0);
    if (data != nullptr && size > 0) {
        std::memcpy(found->data.data(), data, found->data.size());
    }
}

AL_API void AL_APIENTRY alGetBufferi(ALuint buffer, ALenum param, ALint* value) {
    ApiCall call("alGetBufferi", {Int(buffer), Enum(param)});
    State& state = call.state();
    if (call.Injected()) {
        return;
    }
    const BufferModel* found = state.FindBuffer(buffer);
    if (found == nullptr) {
        state.Raise(AL_INVALID_NAME);
        return;
    }
    if (value == nullptr) {
        state.Raise(AL_INVALID_VALUE);
        return;
    }
    switch (param) {
        case AL_FREQUENCY:
            *value = found->frequency;
            return;
        case AL_BITS:
            *value = found->bits;
            return;
        case AL_CHANNELS:
            *value = found->channels;
            return;
        case AL_SIZE:
            *value = static_cast<ALint>(found->data.size());
            return;
        default:
            state.Raise(AL_INVALID_ENUM);
    }
}

}  // extern "C"
