// Source entry points of the OpenAL double.

#include <AL/al.h>

#include <array>
#include <cmath>

#include "openal_double/DoubleState.h"

using aldouble::SourceModel;
using aldouble::detail::ApiCall;
using aldouble::detail::Enum;
using aldouble::detail::Float;
using aldouble::detail::Int;
using aldouble::detail::Names;
using aldouble::detail::State;

namespace {

// The source a call names, or null after raising AL_INVALID_NAME.
SourceModel* SourceOrRaise(State& state, ALuint source) {
    SourceModel* found = state.FindSource(source);
    if (found == nullptr) {
        state.Raise(AL_INVALID_NAME);
    }
    return found;
}

bool InRange(ALfloat value, ALfloat low, ALfloat high) {
    return std::isfinite(value) && value >= low && value <= high;
}

// The three-float field a parameter names, or null for other parameters.
std::array<ALfloat, 3>* VectorField(SourceModel& source, ALenum param) {
    switch (param) {
        case AL_POSITION:
            return &source.position;
        case AL_DIRECTION:
            return &source.direction;
        case AL_VELOCITY:
            return &source.velocity;
        default:
            return nullptr;
    }
}

struct ScalarField {
    ALfloat SourceModel::*member;
    ALfloat low;
    ALfloat high;
};

// The float field a parameter names with its valid range; member null for others.
ScalarField FloatField(ALenum param) {
    constexpr ALfloat kUnbounded = HUGE_VALF;
    switch (param) {
        case AL_GAIN:
            return {&SourceModel::gain, 0, kUnbounded};
        case AL_PITCH:
            return {&SourceModel::pitch, 0, kUnbounded};
        case AL_CONE_INNER_ANGLE:
            return {&SourceModel::coneInnerAngle, 0, 360};
        case AL_CONE_OUTER_ANGLE:
            return {&SourceModel::coneOuterAngle, 0, 360};
        case AL_CONE_OUTER_GAIN:
            return {&SourceModel::coneOuterGain, 0, 1};
        default:
            return {nullptr, 0, 0};
    }
}

}  // namespace

extern "C" {

AL_API void AL_APIENTRY alGenSources(ALsizei n, ALuint* sources) {
    ApiCall call("alGenSources", {Int(n)});
    State& state = call.state();
    if (call.Injected()) {
        return;
    }
    if (n < 0 || (n > 0 && sources == nullptr)) {
        state.Raise(AL_INVALID_VALUE);
        return;
    }
    for (ALsizei i = 0; i < n; ++i) {
        ALuint name = 1;
        while (state.sources.contains(name)) {
            ++name;
        }
        state.sources.emplace(name, SourceModel{});
        sources[i] = name;
    }
}

AL_API void AL_APIENTRY alDeleteSources(ALsizei n, const ALuint* sources) {
    ApiCall call("alDeleteSources", {Int(n), Names(sources, n)});
    State& state = call.state();
    if (call.Injected()) {
        return;
    }
    if (n < 0 || (n > 0 && sources == nullptr)) {
        state.Raise(AL_INVALID_VALUE);
        return;
    }
    for (ALsizei i = 0; i < n; ++i) {
        if (state.FindSource(sources[i]) == nullptr) {
            state.Raise(AL_INVALID_NAME);
            return;
        }
    }
    for (ALsizei i = 0; i < n; ++i) {
        state.sources.erase(sources[i]);
    }
}

AL_API void AL_APIENTRY alSourcePlay(ALuint source) {
    ApiCall call("alSourcePlay", {Int(source)});
    if (call.Injected()) {
        return;
    }
    if (SourceModel* found = SourceOrRaise(call.state(), source)) {
        found->state = AL_PLAYING;
    }
}

AL_API void AL_APIENTRY alSourceStop(ALuint source) {
    ApiCall call("alSourceStop", {Int(source)});
    if (call.Injected()) {
        return;
    }
    // Stopping a source that never played leaves it initial, as in OpenAL Soft.
    if (SourceModel* found = SourceOrRaise(call.state(), source);
        found != nullptr && found->state != AL_INITIAL) {
        found->state = AL_STOPPED;
    }
}

AL_API void AL_APIENTRY alSourcei(ALuint source, ALenum param, ALint value) {
    ApiCall call("alSourcei", {Int(source), Enum(param), Int(value)});
    State& state = call.state();
    if (call.Injected()) {
        return;
    }
    SourceModel* found = SourceOrRaise(state, source);
    if (found == nullptr) {
        return;
    }
    switch (param) {
        case AL_LOOPING:
        case AL_SOURCE_RELATIVE:
            if (value != AL_FALSE && value != AL_TRUE) {
                state.Raise(AL_INVALID_VALUE);
                return;
            }
            (param == AL_LOOPING ? found->looping : found->relative) = value == AL_TRUE;
            return;
        case AL_BUFFER:
            if (value != 0 && state.FindBuffer(static_cast<ALuint>(value)) == nullptr) {
                state.Raise(AL_INVALID_VALUE);
                return;
            }
            if (found->state == AL_PLAYING || found->state == AL_PAUSED) {
                state.Raise(AL_INVALID_OPERATION);
                return;
            }
            found->buffer = static_cast<ALuint>(value);
            return;
        default:
            state.Raise(AL_INVALID_ENUM);
    }
}

AL_API void AL_APIENTRY alSourcef(ALuint source, ALenum param, ALfloat value) {
    ApiCall call("alSourcef", {Int(source), Enum(param), Float(value)});
    State& state = call.state();
    if (call.Injected()) {
        return;
    }
    SourceModel* found = SourceOrRaise(state, source);
    if (found == nullptr) {
        return;
    }
    const ScalarField field = FloatField(param);
    if (field.member == nullptr) {
        state.Raise(AL_INVALID_ENUM);
    } else if (!InRange(value, field.low, field.high)) {
        state.Raise(AL_INVALID_VALUE);
    } else {
        found->*field.member = value;
    }
}

AL_API void AL_APIENTRY alSource3f(ALuint source, ALenum param, ALfloat value1, ALfloat value2,
                                   ALfloat value3) {
    ApiCall call("alSource3f",
                 {Int(source), Enum(param), Float(value1), Float(value2), Float(value3)});
    State& state = call.state();
    if (call.Injected()) {
        return;
    }
    SourceModel* found = SourceOrRaise(state, source);
    if (found == nullptr) {
        return;
    }
    std::array<ALfloat, 3>* field = VectorField(*found, param);
    if (field == nullptr) {
        state.Raise(AL_INVALID_ENUM);
    } else if (!std::isfinite(value1) || !std::isfinite(value2) || !std::isfinite(value3)) {
        state.Raise(AL_INVALID_VALUE);
    } else {
        *field = {value1, value2, value3};
    }
}

AL_API void AL_APIENTRY alGetSourcei(ALuint source, ALenum param, ALint* value) {
    ApiCall call("alGetSourcei", {Int(source), Enum(param)});
    State& state = call.state();
    if (call.Injected()) {
        return;
    }
    SourceModel* found = SourceOrRaise(state, source);
    if (found == nullptr) {
        return;
    }
    if (value == nullptr) {
        state.Raise(AL_INVALID_VALUE);
        return;
    }
    switch (param) {
        case AL_LOOPING:
            *value = found->looping ? AL_TRUE : AL_FALSE;
            return;
        case AL_SOURCE_RELATIVE:
            *value = found->relative ? AL_TRUE : AL_FALSE;
            return;
        case AL_BUFFER:
            *value = static_cast<ALint>(found->buffer);
            return;
        case AL_SOURCE_STATE:
            *value = found->state;
            return;
        default:
            state.Raise(AL_INVALID_ENUM);
    }
}

AL_API void AL_APIENTRY alGetSourcef(ALuint source, ALenum param, ALfloat* value) {
    ApiCall call("alGetSourcef", {Int(source), Enum(param)});
    State& state = call.state();
    if (call.Injected()) {
        return;
    }
    SourceModel* found = SourceOrRaise(state, source);
    if (found == nullptr) {
        return;
    }
    const ScalarField field = FloatField(param);
    if (value == nullptr) {
        state.Raise(AL_INVALID_VALUE);
    } else if (field.member == nullptr) {
        state.Raise(AL_INVALID_ENUM);
    } else {
        *value = found->*field.member;
    }
}

AL_API void AL_APIENTRY alGetSource3f(ALuint source, ALenum param, ALfloat* value1, ALfloat* value2,
                                      ALfloat* value3) {
    ApiCall call("alGetSource3f", {Int(source), Enum(param)});
    State& state = call.state();
    if (call.Injected()) {
        return;
    }
    SourceModel* found = SourceOrRaise(state, source);
    if (found == nullptr) {
        return;
    }
    const std::array<ALfloat, 3>* field = VectorField(*found, param);
    if (value1 == nullptr || value2 == nullptr || value3 == nullptr) {
        state.Raise(AL_INVALID_VALUE);
    } else if (field == nullptr) {
        state.Raise(AL_INVALID_ENUM);
    } else {
        *value1 = (*field)[0];
        *value2 = (*field)[1];
        *value3 = (*field)[2];
    }
}

}  // extern "C"
