// Error, extension and event entry points of the OpenAL double.

#include <AL/al.h>

#include <algorithm>

#include "openal_double/DoubleState.h"

using aldouble::detail::ApiCall;
using aldouble::detail::Enums;
using aldouble::detail::Int;
using aldouble::detail::Pointer;
using aldouble::detail::State;
using aldouble::detail::Text;

extern "C" {

AL_API void AL_APIENTRY alEventControlSOFT(ALsizei count, const ALenum* types, ALboolean enable);
AL_API void AL_APIENTRY alEventCallbackSOFT(ALEVENTPROCSOFT callback, void* userParam);

AL_API ALenum AL_APIENTRY alGetError(void) {
    ApiCall call("alGetError", {});
    call.Injected();  // an injected error is simply what this call reports
    State& state = call.state();
    const ALenum error = state.pendingError;
    state.pendingError = AL_NO_ERROR;
    return error;
}

AL_API ALboolean AL_APIENTRY alIsExtensionPresent(const ALchar* extname) {
    ApiCall call("alIsExtensionPresent", {Text(extname)});
    if (call.Injected()) {
        return AL_FALSE;
    }
    if (extname == nullptr) {
        call.state().Raise(AL_INVALID_VALUE);
        return AL_FALSE;
    }
    return call.state().ExtensionPresent(extname) ? AL_TRUE : AL_FALSE;
}

AL_API void* AL_APIENTRY alGetProcAddress(const ALchar* fname) {
    ApiCall call("alGetProcAddress", {Text(fname)});
    State& state = call.state();
    if (call.Injected()) {
        return nullptr;
    }
    if (fname == nullptr) {
        state.Raise(AL_INVALID_VALUE);
        return nullptr;
    }
    const std::string_view name(fname);
    if (!state.ExtensionPresent("AL_SOFT_events") || state.withheldProcs.contains(name)) {
        return nullptr;
    }
    if (name == "alEventControlSOFT") {
        return reinterpret_cast<void*>(&alEventControlSOFT);
    }
    if (name == "alEventCallbackSOFT") {
        return reinterpret_cast<void*>(&alEventCallbackSOFT);
    }
    return nullptr;
}

AL_API ALenum AL_APIENTRY alGetEnumValue(const ALchar* ename) {
    ApiCall call("alGetEnumValue", {Text(ename)});
    State& state = call.state();
    if (call.Injected() || ename == nullptr) {
        return 0;
    }
    const auto found = state.enumValues.find(std::string_view(ename));
    return found == state.enumValues.end() ? 0 : found->second;
}

AL_API void AL_APIENTRY alEventControlSOFT(ALsizei count, const ALenum* types, ALboolean enable) {
    ApiCall call("alEventControlSOFT", {Int(count), Enums(types, count), Int(enable)});
    State& state = call.state();
    if (call.Injected()) {
        return;
    }
    if (count < 0 || (count > 0 && types == nullptr)) {
        state.Raise(AL_INVALID_VALUE);
        return;
    }
    const auto known = [](ALenum type) {
        return type == AL_EVENT_TYPE_BUFFER_COMPLETED_SOFT ||
               type == AL_EVENT_TYPE_SOURCE_STATE_CHANGED_SOFT ||
               type == AL_EVENT_TYPE_DISCONNECTED_SOFT;
    };
    if (!std::all_of(types, types + count, known)) {
        state.Raise(AL_INVALID_ENUM);
        return;
    }
    for (ALsizei i = 0; i < count; ++i) {
        if (enable) {
            state.enabledEventTypes.insert(types[i]);
        } else {
            state.enabledEventTypes.erase(types[i]);
        }
    }
}

AL_API void AL_APIENTRY alEventCallbackSOFT(ALEVENTPROCSOFT callback, void* userParam) {
    ApiCall call("alEventCallbackSOFT",
                 {Pointer(reinterpret_cast<const void*>(callback)), Pointer(userParam)});
    State& state = call.state();
    if (call.Injected()) {
        return;
    }
    state.eventCallback = callback;
    state.eventUserParam = userParam;
}

}  // extern "C"
