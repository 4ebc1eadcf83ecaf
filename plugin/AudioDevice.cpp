#include "plugin/AudioDevice.h"

#include <string_view>

#include "kep/Messages.h"
#include "plugin/AlErrorReport.h"
#include "plugin/AlEvents.h"

namespace {

constexpr ALenum kEventTypes[] = {AL_EVENT_TYPE_BUFFER_COMPLETED_SOFT,
                                  AL_EVENT_TYPE_SOURCE_STATE_CHANGED_SOFT,
                                  AL_EVENT_TYPE_DISCONNECTED_SOFT};
constexpr ALsizei kEventTypeCount = 3;

struct EventFunctions {
    LPALEVENTCONTROLSOFT control = nullptr;
    LPALEVENTCALLBACKSOFT callback = nullptr;
};

EventFunctions LookUpEventFunctions() {
    return {reinterpret_cast<LPALEVENTCONTROLSOFT>(alGetProcAddress("alEventControlSOFT")),
            reinterpret_cast<LPALEVENTCALLBACKSOFT>(alGetProcAddress("alEventCallbackSOFT"))};
}

const char* OrEmpty(const ALCchar* text) {
    return text ? text : "";
}

}  // namespace

bool OpenAudioDevice(AudioDevice& holder) {
    alGetError();

    const char* defaultName = OrEmpty(alcGetString(nullptr, ALC_DEFAULT_DEVICE_SPECIFIER));
    holder.device = alcOpenDevice(defaultName);
    if (!holder.device) {
        kep::Warning()("SoundSystem: openning {} device failed, trying to pass nullptr",
                       defaultName);
        holder.device = alcOpenDevice(nullptr);
        if (!holder.device) {
            kep::Error()("SoundSystem: can't open nullptr device");
            return false;
        }
    }

    bool opened = false;
    holder.context = alcCreateContext(holder.device, nullptr);
    if (holder.context) {
        kep::Info()("SoundSystem: Opened {} Device",
                    OrEmpty(alcGetString(holder.device, ALC_DEVICE_SPECIFIER)));
        alcMakeContextCurrent(holder.context);
        opened = true;
    } else {
        // The device field keeps its now stale value.
        alcCloseDevice(holder.device);
    }

    if (ALenum error = alGetError(); error != AL_NO_ERROR) {
        ReportAlError("Device init", error);
        // Runs after a failed context creation too: it then destroys a null
        // context and closes the device a second time. Deliberately kept.
        alcMakeContextCurrent(nullptr);
        alcDestroyContext(holder.context);
        alcCloseDevice(holder.device);
        return false;
    }
    kep::Info()("SoundSystem: Device init completed");

    if (alIsExtensionPresent("AL_SOFT_events")) {
        kep::Debug()("SoundSystem: Found AL_SOFT_events");
        EventFunctions events = LookUpEventFunctions();
        // The extension offers both functions or neither, so only one is tested.
        if (events.control) {
            events.control(kEventTypeCount, kEventTypes, AL_TRUE);
            events.callback(&AudioDeviceEventCallback, &holder);
        }
    }
    return opened;
}

ALCint SourceLimit(const AudioDevice& holder) {
    ALCint mono = 0, stereo = 0;
    alcGetIntegerv(holder.device, ALC_MONO_SOURCES, 1, &mono);
    alcGetIntegerv(holder.device, ALC_STEREO_SOURCES, 1, &stereo);
    return mono + stereo;
}

void ShutdownAudioDevice(AudioDevice& holder) {
    if (alIsExtensionPresent("AL_SOFT_events")) {
        EventFunctions events = LookUpEventFunctions();
        if (events.control) {
            events.control(kEventTypeCount, kEventTypes, AL_FALSE);
            events.callback(nullptr, nullptr);
        }
    }
    alcMakeContextCurrent(nullptr);
    alcDestroyContext(holder.context);
    alcCloseDevice(holder.device);
}

void AL_APIENTRY AudioDeviceEventCallback(ALenum eventType, ALuint object, ALuint param,
                                          ALsizei length, const ALchar* message,
                                          void* /*userParam*/) noexcept {
    try {
        kep::Debug()("---- AL Event ----");
        switch (eventType) {
            case AL_EVENT_TYPE_BUFFER_COMPLETED_SOFT:
                kep::Debug()("Event: Buffer completed");
                break;
            case AL_EVENT_TYPE_SOURCE_STATE_CHANGED_SOFT:
                kep::Debug()("Event: Source state changed");
                break;
            case AL_EVENT_TYPE_DISCONNECTED_SOFT:
                kep::Debug()("Event: Disconnected");
                break;
            default:
                // Decimal digits behind a literal "0x": kept as users know it.
                kep::Debug()("Event: 0x{:010}", static_cast<std::int32_t>(eventType));
                break;
        }
        const std::string_view text(message ? message : "",
                                    message && length > 0 ? static_cast<std::size_t>(length) : 0);
        kep::Debug()("Object ID: {}; Parameter: {}; Message: {}", object, param, text);
        kep::Debug()("----");
    } catch (...) {
        // An OpenAL thread must never see an exception.
    }
}
