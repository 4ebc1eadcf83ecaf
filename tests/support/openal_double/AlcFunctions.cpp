// Device and context entry points of the OpenAL double.

#include <AL/alc.h>

#include <algorithm>

#include "openal_double/DoubleState.h"

using aldouble::detail::ApiCall;
using aldouble::detail::Enum;
using aldouble::detail::LabelOf;
using aldouble::detail::Pointer;
using aldouble::detail::State;
using aldouble::detail::Text;

extern "C" {

ALC_API const ALCchar* ALC_APIENTRY alcGetString(ALCdevice* device, ALCenum param) {
    ApiCall call("alcGetString", {LabelOf(device), Enum(param)});
    State& state = call.state();
    if (call.Injected()) {
        return nullptr;
    }
    switch (param) {
        case ALC_DEFAULT_DEVICE_SPECIFIER:
            return state.HandOut(state.defaultDeviceName);
        case ALC_DEVICE_SPECIFIER:
            if (device == nullptr) {
                // The list of devices: names separated by and ending in a null.
                return state.HandOut(state.defaultDeviceName + '\0');
            }
            if (ALCdevice* open = state.FindOpenDevice(device)) {
                return state.HandOut(open->name);
            }
            return nullptr;
        default:
            return state.HandOut("");
    }
}

ALC_API ALCdevice* ALC_APIENTRY alcOpenDevice(const ALCchar* devicename) {
    ApiCall call("alcOpenDevice", {Text(devicename)});
    State& state = call.state();
    if (call.Injected()) {
        return nullptr;
    }
    if (devicename == nullptr ? state.failNullDevice
                              : state.failingDeviceNames.contains(std::string_view(devicename))) {
        return nullptr;
    }
    auto device = std::make_unique<ALCdevice>();
    device->name = devicename == nullptr ? state.defaultDeviceName : std::string(devicename);
    device->label = static_cast<int>(state.devices.size()) + 1;
    state.devices.push_back(std::move(device));
    return state.devices.back().get();
}

ALC_API ALCboolean ALC_APIENTRY alcCloseDevice(ALCdevice* device) {
    ApiCall call("alcCloseDevice", {LabelOf(device)});
    State& state = call.state();
    if (call.Injected()) {
        return ALC_FALSE;
    }
    ALCdevice* open = state.FindOpenDevice(device);
    if (open == nullptr) {
        return ALC_FALSE;
    }
    // Like OpenAL Soft, closing a device releases the contexts still on it.
    for (const auto& context : state.contexts) {
        if (context->device == open && context->live) {
            context->live = false;
            if (state.currentContext == context.get()) {
                state.currentContext = nullptr;
            }
        }
    }
    open->open = false;
    return ALC_TRUE;
}

ALC_API ALCcontext* ALC_APIENTRY alcCreateContext(ALCdevice* device, const ALCint* attrlist) {
    ApiCall call("alcCreateContext", {LabelOf(device), Pointer(attrlist)});
    State& state = call.state();
    if (call.Injected() || state.failCreateContext || state.FindOpenDevice(device) == nullptr) {
        return nullptr;
    }
    auto context = std::make_unique<ALCcontext>();
    context->device = device;
    context->label = static_cast<int>(state.contexts.size()) + 1;
    state.contexts.push_back(std::move(context));
    return state.contexts.back().get();
}

ALC_API void ALC_APIENTRY alcDestroyContext(ALCcontext* context) {
    ApiCall call("alcDestroyContext", {LabelOf(context)});
    State& state = call.state();
    if (call.Injected()) {
        return;
    }
    if (ALCcontext* live = state.FindLiveContext(context)) {
        live->live = false;
        if (state.currentContext == live) {
            state.currentContext = nullptr;
        }
    }
}

ALC_API ALCboolean ALC_APIENTRY alcMakeContextCurrent(ALCcontext* context) {
    ApiCall call("alcMakeContextCurrent", {LabelOf(context)});
    State& state = call.state();
    if (call.Injected()) {
        return ALC_FALSE;
    }
    if (context != nullptr && state.FindLiveContext(context) == nullptr) {
        return ALC_FALSE;
    }
    state.currentContext = context;
    return ALC_TRUE;
}

ALC_API ALCcontext* ALC_APIENTRY alcGetCurrentContext(void) {
    ApiCall call("alcGetCurrentContext", {});
    State& state = call.state();
    if (call.Injected()) {
        return nullptr;
    }
    return state.currentContext;
}

}  // extern "C"
