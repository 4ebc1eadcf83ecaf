// Listener entry points of the OpenAL double.

#include <AL/al.h>

#include <algorithm>
#include <cmath>
#include <span>

#include "openal_double/DoubleState.h"

using aldouble::ListenerModel;
using aldouble::detail::ApiCall;
using aldouble::detail::Enum;
using aldouble::detail::Float;
using aldouble::detail::Floats;
using aldouble::detail::Pointer;
using aldouble::detail::State;

namespace {

// The listener's values a parameter names: gain 1, position and velocity 3,
// orientation 6; empty for other parameters.
std::span<ALfloat> ListenerField(ListenerModel& listener, ALenum param) {
    switch (param) {
        case AL_GAIN:
            return {&listener.gain, 1};
        case AL_POSITION:
            return listener.position;
        case AL_VELOCITY:
            return listener.velocity;
        case AL_ORIENTATION:
            return listener.orientation;
        default:
            return {};
    }
}

bool AllFinite(std::span<const ALfloat> values) {
    return std::all_of(values.begin(), values.end(), [](ALfloat v) { return std::isfinite(v); });
}

// Writes values into the field a parameter names, checking them as OpenAL does.
void SetListenerValues(State& state, ALenum param, std::span<const ALfloat> values) {
    const std::span<ALfloat> field = ListenerField(state.listener, param);
    if (field.size() != values.size()) {
        state.Raise(AL_INVALID_ENUM);
    } else if (!AllFinite(values) || (param == AL_GAIN && values[0] < 0)) {
        state.Raise(AL_INVALID_VALUE);
    } else {
        std::copy(values.begin(), values.end(), field.begin());
    }
}

// Reads the field a parameter names into `count` floats.
void GetListenerValues(State& state, ALenum param, ALfloat* const* outputs, std::size_t count) {
    const std::span<ALfloat> field = ListenerField(state.listener, param);
    if (std::any_of(outputs, outputs + count, [](ALfloat* out) { return out == nullptr; })) {
        state.Raise(AL_INVALID_VALUE);
    } else if (field.size() != count) {
        state.Raise(AL_INVALID_ENUM);
    } else {
        for (std::size_t i = 0; i < count; ++i) {
            *outputs[i] = field[i];
        }
    }
}

}  // namespace

extern "C" {

AL_API void AL_APIENTRY alListenerf(ALenum param, ALfloat value) {
    ApiCall call("alListenerf", {Enum(param), Float(value)});
    if (call.Injected()) {
        return;
    }
    SetListenerValues(call.state(), param, std::span<const ALfloat>(&value, 1));
}

AL_API void AL_APIENTRY alListener3f(ALenum param, ALfloat value1, ALfloat value2, ALfloat value3) {
    ApiCall call("alListener3f", {Enum(param), Float(value1), Float(value2), Float(value3)});
    if (call.Injected()) {
        return;
    }
    const ALfloat values[] = {value1, value2, value3};
    SetListenerValues(call.state(), param, values);
}

AL_API void AL_APIENTRY alListenerfv(ALenum param, const ALfloat* values) {
    ListenerModel scratch;
    const std::size_t count = ListenerField(scratch, param).size();
    ApiCall call("alListenerfv",
                 {Enum(param), count == 0 ? Pointer(values) : Floats(values, count)});
    State& state = call.state();
    if (call.Injected()) {
        return;
    }
    if (values == nullptr) {
        state.Raise(AL_INVALID_VALUE);
    } else if (count == 0) {
        state.Raise(AL_INVALID_ENUM);
    } else {
        SetListenerValues(state, param, std::span<const ALfloat>(values, count));
    }
}

AL_API void AL_APIENTRY alGetListenerf(ALenum param, ALfloat* value) {
    ApiCall call("alGetListenerf", {Enum(param)});
    if (call.Injected()) {
        return;
    }
    GetListenerValues(call.state(), param, &value, 1);
}

AL_API void AL_APIENTRY alGetListener3f(ALenum param, ALfloat* value1, ALfloat* value2,
                                        ALfloat* value3) {
    ApiCall call("alGetListener3f", {Enum(param)});
    if (call.Injected()) {
        return;
    }
    ALfloat* const outputs[] = {value1, value2, value3};
    GetListenerValues(call.state(), param, outputs, 3);
}

AL_API void AL_APIENTRY alGetListenerfv(ALenum param, ALfloat* values) {
    ApiCall call("alGetListenerfv", {Enum(param)});
    State& state = call.state();
    if (call.Injected()) {
        return;
    }
    const std::span<ALfloat> field = ListenerField(state.listener, param);
    if (values == nullptr) {
        state.Raise(AL_INVALID_VALUE);
    } else if (field.empty()) {
        state.Raise(AL_INVALID_ENUM);
    } else {
        std::copy(field.begin(), field.end(), values);
    }
}

}  // extern "C"
