#include "host/render/LoopbackDevice.h"

#include <dlfcn.h>

#include <atomic>
#include <vector>

#include <AL/alc.h>
#include <AL/alext.h>
#include <fmt/format.h>

namespace {

// What an armed loopback device is, once the sound system has opened it. The
// sound system opens its device on the thread that renders, so no lock is needed.
struct Armed {
    LoopbackFormat format;
    ALCdevice* device = nullptr;
    ALCcontext* context = nullptr;
};
std::atomic<Armed*> armed{nullptr};

struct LoopbackFunctions {
    LPALCLOOPBACKOPENDEVICESOFT open = nullptr;
    LPALCISRENDERFORMATSUPPORTEDSOFT supports = nullptr;
    LPALCRENDERSAMPLESSOFT render = nullptr;
};

const LoopbackFunctions& Loopback() {
    static const LoopbackFunctions functions = [] {
        LoopbackFunctions found;
        if (alcIsExtensionPresent(nullptr, "ALC_SOFT_loopback")) {
            found.open = reinterpret_cast<LPALCLOOPBACKOPENDEVICESOFT>(
                alcGetProcAddress(nullptr, "alcLoopbackOpenDeviceSOFT"));
            found.supports = reinterpret_cast<LPALCISRENDERFORMATSUPPORTEDSOFT>(
                alcGetProcAddress(nullptr, "alcIsRenderFormatSupportedSOFT"));
            found.render = reinterpret_cast<LPALCRENDERSAMPLESSOFT>(
                alcGetProcAddress(nullptr, "alcRenderSamplesSOFT"));
        }
        return found;
    }();
    return functions;
}

// OpenAL Soft's own definition of a function this executable also defines: the
// next one in the search order after kep-host.
template <typename Function>
Function OpenAlSoft(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

// The caller's attributes, without those the render sets, then the render's.
std::vector<ALCint> RenderAttributes(const ALCint* given, const LoopbackFormat& format) {
    const std::vector<ALCint> ours = {ALC_FORMAT_CHANNELS_SOFT,
                                      ALC_STEREO_SOFT,
                                      ALC_FORMAT_TYPE_SOFT,
                                      ALC_FLOAT_SOFT,
                                      ALC_FREQUENCY,
                                      format.sampleRate,
                                      ALC_HRTF_SOFT,
                                      format.hrtf ? ALC_TRUE : ALC_FALSE,
                                      ALC_MONO_SOURCES,
                                      format.voices,
                                      ALC_STEREO_SOURCES,
                                      0};
    std::vector<ALCint> attributes;
    for (; given && given[0] != 0; given += 2) {
        bool set = false;
        for (std::size_t i = 0; i < ours.size(); i += 2) {
            set = set || given[0] == ours[i];
        }
        if (!set) {
            attributes.insert(attributes.end(), {given[0], given[1]});
        }
    }
    attributes.insert(attributes.end(), ours.begin(), ours.end());
    attributes.push_back(0);
    return attributes;
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) ALC_API ALCdevice* ALC_APIENTRY
alcOpenDevice(const ALCchar* name) {
    if (Armed* render = armed.load(); render && !render->device) {
        render->device = Loopback().open(nullptr);
        return render->device;
    }
    static const auto open = OpenAlSoft<LPALCOPENDEVICE>("alcOpenDevice");
    return open ? open(name) : nullptr;
}

__attribute__((visibility("default"))) ALC_API ALCcontext* ALC_APIENTRY
alcCreateContext(ALCdevice* device, const ALCint* attributes) {
    static const auto create = OpenAlSoft<LPALCCREATECONTEXT>("alcCreateContext");
    if (!create) {
        return nullptr;
    }
    if (Armed* render = armed.load(); render && device && device == render->device) {
        render->context = create(device, RenderAttributes(attributes, render->format).data());
        return render->context;
    }
    return create(device, attributes);
}

}  // extern "C"

std::unique_ptr<LoopbackDevice> LoopbackDevice::Arm(const LoopbackFormat& format,
                                                    std::string& error) {
    const LoopbackFunctions& loopback = Loopback();
    if (!loopback.open || !loopback.supports || !loopback.render) {
        error = "OpenAL Soft offers no loopback device (ALC_SOFT_loopback)";
        return nullptr;
    }
    auto* state = new Armed{format};
    Armed* none = nullptr;
    if (!armed.compare_exchange_strong(none, state)) {
        delete state;
        error = "a loopback device is armed already";
        return nullptr;
    }
    return std::unique_ptr<LoopbackDevice>(new LoopbackDevice(format));
}

LoopbackDevice::~LoopbackDevice() {
    delete armed.exchange(nullptr);
}

bool LoopbackDevice::Opened(std::string& error) const {
    const Armed* render = armed.load();
    if (!render->device) {
        error = "the sound system opened no loopback device";
        return false;
    }
    if (!Loopback().supports(render->device, format_.sampleRate, ALC_STEREO_SOFT, ALC_FLOAT_SOFT)) {
        error = fmt::format("OpenAL Soft cannot render stereo float at {} Hz", format_.sampleRate);
        return false;
    }
    if (!render->context) {
        error = "the loopback device made no context";
        return false;
    }
    ALCint hrtf = ALC_FALSE;
    alcGetIntegerv(render->device, ALC_HRTF_SOFT, 1, &hrtf);
    if (format_.hrtf && hrtf != ALC_TRUE) {
        ALCint status = 0;
        alcGetIntegerv(render->device, ALC_HRTF_STATUS_SOFT, 1, &status);
        error = fmt::format("OpenAL Soft has no HRTF for {} Hz (status {:#x})", format_.sampleRate,
                            status);
        return false;
    }
    return true;
}

void LoopbackDevice::Render(float* samples, int frames) const {
    Loopback().render(armed.load()->device, samples, frames);
}
