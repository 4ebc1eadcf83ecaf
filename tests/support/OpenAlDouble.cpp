#include "OpenAlDouble.h"

#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "plugin/AlEvents.h"

struct ALCdevice_struct {
    std::string name;
    int label;
};
struct ALCcontext_struct {
    int label;
};

namespace aldouble {
namespace {

struct SourceModel {
    ALint state = AL_INITIAL;
    ALint buffer = 0;
};

struct State {
    std::vector<std::string> calls;
    std::set<std::string, std::less<>> extensions;
    std::set<std::string, std::less<>> failingDevices;
    bool failCreateContext = false;
    std::map<std::string, std::deque<ALenum>, std::less<>> injected;
    ALenum pendingError = AL_NO_ERROR;
    // Kept until Reset, so that a stale pointer never matches a newer object.
    std::vector<std::unique_ptr<ALCdevice>> devices;
    std::vector<std::unique_ptr<ALCcontext>> contexts;
    std::map<ALuint, SourceModel> sources;
    std::map<ALuint, ALsizei> bufferSizes;
    ALuint nextSource = 1, nextBuffer = 1;
    ALEVENTPROCSOFT eventCallback = nullptr;
    void* eventUserParam = nullptr;
};

std::recursive_mutex theMutex;
std::unique_ptr<State> theState = std::make_unique<State>();

State& The() {
    return *theState;
}

std::string Enum(ALenum value) {
    return fmt::format("{:#X}", value).replace(0, 2, "0x");
}
std::string Text(const char* text) {
    return text ? text : "null";
}
std::string Label(const ALCdevice* device) {
    return device ? fmt::format("device{}", device->label) : "null";
}
std::string Label(const ALCcontext* context) {
    return context ? fmt::format("context{}", context->label) : "null";
}
template <class T>
std::string Array(const T* values, ALsizei count) {
    return fmt::format("[{}]", fmt::join(values, values + count, ", "));
}

void Raise(ALenum error) {
    if (The().pendingError == AL_NO_ERROR) {
        The().pendingError = error;
    }
}

// Records the call; true when an error was injected for it, which the entry
// point then returns on without any other effect.
template <class... Args>
bool Call(std::string_view function, const Args&... args) {
    State& state = The();
    std::vector<std::string> texts{fmt::format("{}", args)...};
    state.calls.push_back(fmt::format("{}({})", function, fmt::join(texts, ", ")));
    auto injected = state.injected.find(function);
    if (injected == state.injected.end() || injected->second.empty()) {
        return false;
    }
    Raise(injected->second.front());
    injected->second.pop_front();
    return true;
}

// Names are handed out from 1 and never again.
template <class Model>
void Generate(std::map<ALuint, Model>& models, ALuint& next, ALsizei n, ALuint* names) {
    for (ALsizei i = 0; i < n; ++i) {
        names[i] = next++;
        models[names[i]] = {};
    }
}

// Name 0 is accepted and ignored, as OpenAL does.
template <class Model>
void Delete(std::map<ALuint, Model>& models, ALsizei n, const ALuint* names) {
    for (ALsizei i = 0; i < n; ++i) {
        if (names[i] != 0 && models.erase(names[i]) == 0) {
            Raise(AL_INVALID_NAME);
        }
    }
}

SourceModel* FindSource(ALuint source) {
    auto found = The().sources.find(source);
    if (found == The().sources.end()) {
        Raise(AL_INVALID_NAME);
        return nullptr;
    }
    return &found->second;
}

void AL_APIENTRY EventControl(ALsizei count, const ALenum* types, ALboolean enable) {
    std::lock_guard lock(theMutex);
    std::vector<std::string> names;
    for (ALsizei i = 0; i < count; ++i) {
        names.push_back(Enum(types[i]));
    }
    Call("alEventControlSOFT", count, fmt::format("[{}]", fmt::join(names, ", ")), int(enable));
}

void AL_APIENTRY EventCallback(ALEVENTPROCSOFT callback, void* userParam) {
    std::lock_guard lock(theMutex);
    Call("alEventCallbackSOFT", callback ? "callback" : "null", userParam ? "ptr" : "null");
    The().eventCallback = callback;
    The().eventUserParam = userParam;
}

}  // namespace

void Reset() {
    std::lock_guard lock(theMutex);
    theState = std::make_unique<State>();
}

std::vector<std::string> Calls() {
    std::lock_guard lock(theMutex);
    return The().calls;
}

std::vector<std::string> CallsTo(std::initializer_list<std::string_view> prefixes) {
    std::vector<std::string> matching;
    for (const std::string& call : Calls()) {
        for (std::string_view prefix : prefixes) {
            if (call.starts_with(prefix)) {
                matching.push_back(call);
                break;
            }
        }
    }
    return matching;
}

void ClearCalls() {
    std::lock_guard lock(theMutex);
    The().calls.clear();
}

void SetExtensions(std::vector<std::string> extensions) {
    std::lock_guard lock(theMutex);
    The().extensions = {extensions.begin(), extensions.end()};
}

void FailOpenDevice(std::string name) {
    std::lock_guard lock(theMutex);
    The().failingDevices.insert(std::move(name));
}

void FailCreateContext() {
    std::lock_guard lock(theMutex);
    The().failCreateContext = true;
}

void FailNextCall(std::string function, ALenum error) {
    std::lock_guard lock(theMutex);
    The().injected[std::move(function)].push_back(error);
}

bool FireEvent(ALenum eventType, ALuint object, ALuint param, std::string_view message,
               ALsizei length) {
    ALEVENTPROCSOFT callback = nullptr;
    void* userParam = nullptr;
    {
        std::lock_guard lock(theMutex);
        callback = The().eventCallback;
        userParam = The().eventUserParam;
    }
    if (!callback) {
        return false;
    }
    const std::string text(message);
    callback(eventType, object, param, length, text.c_str(), userParam);
    return true;
}

}  // namespace aldouble

using namespace aldouble;

extern "C" {

AL_API ALenum AL_APIENTRY alGetError() {
    std::lock_guard lock(theMutex);
    Call("alGetError");
    return std::exchange(The().pendingError, AL_NO_ERROR);
}

AL_API ALboolean AL_APIENTRY alIsExtensionPresent(const ALchar* name) {
    std::lock_guard lock(theMutex);
    Call("alIsExtensionPresent", Text(name));
    return name && The().extensions.contains(name) ? AL_TRUE : AL_FALSE;
}

AL_API ALenum AL_APIENTRY alGetEnumValue(const ALchar* name) {
    std::lock_guard lock(theMutex);
    Call("alGetEnumValue", Text(name));
    return 0;
}

AL_API void* AL_APIENTRY alGetProcAddress(const ALchar* name) {
    std::lock_guard lock(theMutex);
    Call("alGetProcAddress", Text(name));
    if (!name || !The().extensions.contains("AL_SOFT_events")) {
        return nullptr;
    }
    const std::string_view function(name);
    if (function == "alEventControlSOFT") {
        return reinterpret_cast<void*>(&EventControl);
    }
    return function == "alEventCallbackSOFT" ? reinterpret_cast<void*>(&EventCallback) : nullptr;
}

AL_API void AL_APIENTRY alGenSources(ALsizei n, ALuint* sources) {
    std::lock_guard lock(theMutex);
    if (!Call("alGenSources", n)) {
        Generate(The().sources, The().nextSource, n, sources);
    }
}

AL_API void AL_APIENTRY alDeleteSources(ALsizei n, const ALuint* sources) {
    std::lock_guard lock(theMutex);
    if (!Call("alDeleteSources", n, Array(sources, n))) {
        Delete(The().sources, n, sources);
    }
}

AL_API void AL_APIENTRY alSourcePlay(ALuint source) {
    std::lock_guard lock(theMutex);
    if (!Call("alSourcePlay", source)) {
        if (SourceModel* model = FindSource(source)) {
            model->state = AL_PLAYING;
        }
    }
}

AL_API void AL_APIENTRY alSourceStop(ALuint source) {
    std::lock_guard lock(theMutex);
    if (!Call("alSourceStop", source)) {
        if (SourceModel* model = FindSource(source)) {
            model->state = AL_STOPPED;
        }
    }
}

AL_API void AL_APIENTRY alSourcei(ALuint source, ALenum param, ALint value) {
    std::lock_guard lock(theMutex);
    if (Call("alSourcei", source, Enum(param), value)) {
        return;
    }
    SourceModel* model = FindSource(source);
    if (model && param == AL_BUFFER) {
        model->buffer = value;
    }
}

AL_API void AL_APIENTRY alSourcef(ALuint source, ALenum param, ALfloat value) {
    std::lock_guard lock(theMutex);
    if (!Call("alSourcef", source, Enum(param), value)) {
        FindSource(source);
    }
}

AL_API void AL_APIENTRY alSource3f(ALuint source, ALenum param, ALfloat x, ALfloat y, ALfloat z) {
    std::lock_guard lock(theMutex);
    if (!Call("alSource3f", source, Enum(param), x, y, z)) {
        FindSource(source);
    }
}

AL_API void AL_APIENTRY alGetSourcei(ALuint source, ALenum param, ALint* value) {
    std::lock_guard lock(theMutex);
    if (Call("alGetSourcei", source, Enum(param))) {
        return;
    }
    if (SourceModel* model = FindSource(source)) {
        *value = param == AL_SOURCE_STATE ? model->state : param == AL_BUFFER ? model->buffer : 0;
    }
}

AL_API void AL_APIENTRY alGetSourcef(ALuint source, ALenum param, ALfloat* value) {
    std::lock_guard lock(theMutex);
    if (!Call("alGetSourcef", source, Enum(param)) && FindSource(source)) {
        *value = 0;
    }
}

AL_API void AL_APIENTRY alGetSource3f(ALuint source, ALenum param, ALfloat* x, ALfloat* y,
                                      ALfloat* z) {
    std::lock_guard lock(theMutex);
    if (!Call("alGetSource3f", source, Enum(param)) && FindSource(source)) {
        *x = *y = *z = 0;
    }
}

AL_API void AL_APIENTRY alGenBuffers(ALsizei n, ALuint* buffers) {
    std::lock_guard lock(theMutex);
    if (!Call("alGenBuffers", n)) {
        Generate(The().bufferSizes, The().nextBuffer, n, buffers);
    }
}

AL_API void AL_APIENTRY alDeleteBuffers(ALsizei n, const ALuint* buffers) {
    std::lock_guard lock(theMutex);
    if (!Call("alDeleteBuffers", n, Array(buffers, n))) {
        Delete(The().bufferSizes, n, buffers);
    }
}

AL_API void AL_APIENTRY alBufferData(ALuint buffer, ALenum format, const ALvoid*, ALsizei size,
                                     ALsizei frequency) {
    std::lock_guard lock(theMutex);
    if (Call("alBufferData", buffer, Enum(format), size, frequency)) {
        return;
    }
    auto found = The().bufferSizes.find(buffer);
    if (found == The().bufferSizes.end()) {
        return Raise(AL_INVALID_NAME);
    }
    found->second = size;
}

AL_API void AL_APIENTRY alGetBufferi(ALuint buffer, ALenum param, ALint* value) {
    std::lock_guard lock(theMutex);
    if (Call("alGetBufferi", buffer, Enum(param))) {
        return;
    }
    // Only the size is kept: what the plug-in reads back is checked on real OpenAL.
    auto found = The().bufferSizes.find(buffer);
    if (found == The().bufferSizes.end()) {
        return Raise(AL_INVALID_NAME);
    }
    *value = param == AL_SIZE ? found->second : 0;
}

AL_API void AL_APIENTRY alListenerf(ALenum param, ALfloat value) {
    std::lock_guard lock(theMutex);
    Call("alListenerf", Enum(param), value);
}

AL_API void AL_APIENTRY alListener3f(ALenum param, ALfloat x, ALfloat y, ALfloat z) {
    std::lock_guard lock(theMutex);
    Call("alListener3f", Enum(param), x, y, z);
}

AL_API void AL_APIENTRY alListenerfv(ALenum param, const ALfloat* values) {
    std::lock_guard lock(theMutex);
    Call("alListenerfv", Enum(param), Array(values, param == AL_ORIENTATION ? 6 : 3));
}

ALC_API const ALCchar* ALC_APIENTRY alcGetString(ALCdevice* device, ALCenum param) {
    std::lock_guard lock(theMutex);
    Call("alcGetString", Label(device), Enum(param));
    return device ? device->name.c_str() : kDefaultDeviceName.data();
}

// Only the source limit is asked.
ALC_API void ALC_APIENTRY alcGetIntegerv(ALCdevice*, ALCenum, ALCsizei, ALCint* values) {
    *values = 0;
}

ALC_API ALCdevice* ALC_APIENTRY alcOpenDevice(const ALCchar* name) {
    std::lock_guard lock(theMutex);
    Call("alcOpenDevice", Text(name));
    if (The().failingDevices.contains(name ? name : "")) {
        return nullptr;
    }
    const int label = static_cast<int>(The().devices.size()) + 1;
    auto device = std::make_unique<ALCdevice>(std::string(name ? name : kDefaultDeviceName), label);
    return The().devices.emplace_back(std::move(device)).get();
}

ALC_API ALCboolean ALC_APIENTRY alcCloseDevice(ALCdevice* device) {
    std::lock_guard lock(theMutex);
    Call("alcCloseDevice", Label(device));
    return ALC_TRUE;
}

ALC_API ALCcontext* ALC_APIENTRY alcCreateContext(ALCdevice* device, const ALCint* attributes) {
    std::lock_guard lock(theMutex);
    Call("alcCreateContext", Label(device), attributes ? "ptr" : "null");
    if (The().failCreateContext) {
        return nullptr;
    }
    const int label = static_cast<int>(The().contexts.size()) + 1;
    return The().contexts.emplace_back(std::make_unique<ALCcontext>(label)).get();
}

ALC_API void ALC_APIENTRY alcDestroyContext(ALCcontext* context) {
    std::lock_guard lock(theMutex);
    Call("alcDestroyContext", Label(context));
}

ALC_API ALCboolean ALC_APIENTRY alcMakeContextCurrent(ALCcontext* context) {
    std::lock_guard lock(theMutex);
    return Call("alcMakeContextCurrent", Label(context)) ? ALC_FALSE : ALC_TRUE;
}

}  // extern "C"
