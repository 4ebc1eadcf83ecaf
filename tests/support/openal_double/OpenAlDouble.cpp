#include "openal_double/OpenAlDouble.h"

#include <algorithm>

#include "openal_double/DoubleState.h"

namespace aldouble {

namespace {

using detail::State;
using detail::TheState;

// Runs `action` on the state under its lock and returns what it returns.
template <class Action>
auto Locked(Action action) {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    return action(state);
}

}  // namespace

void Reset() {
    Locked([](State& state) { state.ResetLocked(); });
}

std::vector<std::string> Calls() {
    return Locked([](State& state) { return state.calls; });
}

std::vector<std::string> CallsTo(std::string_view function) {
    const std::string prefix = std::string(function) + "(";
    return Locked([&prefix](State& state) {
        std::vector<std::string> matching;
        std::copy_if(state.calls.begin(), state.calls.end(), std::back_inserter(matching),
                     [&prefix](const std::string& line) { return line.starts_with(prefix); });
        return matching;
    });
}

std::vector<std::string> CallsWithoutErrorChecks() {
    return Locked([](State& state) {
        std::vector<std::string> lines;
        std::copy_if(state.calls.begin(), state.calls.end(), std::back_inserter(lines),
                     [](const std::string& line) { return line != "alGetError()"; });
        return lines;
    });
}

void ClearCalls() {
    Locked([](State& state) { state.calls.clear(); });
}

void SetExtensions(std::vector<std::string> extensions) {
    Locked([&extensions](State& state) { state.extensions = std::move(extensions); });
}

void WithholdProcAddress(std::string functionName) {
    Locked([&functionName](State& state) { state.withheldProcs.insert(std::move(functionName)); });
}

void SetEnumValue(std::string name, ALenum value) {
    Locked([&name, value](State& state) { state.enumValues[std::move(name)] = value; });
}

void SetDefaultDeviceName(std::string name) {
    Locked([&name](State& state) { state.defaultDeviceName = std::move(name); });
}

void FailOpenDevice(std::string name) {
    Locked([&name](State& state) { state.failingDeviceNames.insert(std::move(name)); });
}

void FailOpenNullDevice() {
    Locked([](State& state) { state.failNullDevice = true; });
}

void FailCreateContext() {
    Locked([](State& state) { state.failCreateContext = true; });
}

void FailNextCall(std::string function, ALenum error) {
    Locked([&function, error](State& state) {
        state.injectedErrors[std::move(function)].push_back(error);
    });
}

void SetPendingError(ALenum error) {
    Locked([error](State& state) { state.pendingError = error; });
}

ALenum PendingError() {
    return Locked([](State& state) { return state.pendingError; });
}

std::vector<ALuint> Sources() {
    return Locked([](State& state) {
        std::vector<ALuint> names;
        for (const auto& entry : state.sources) {
            names.push_back(entry.first);
        }
        return names;
    });
}

std::vector<ALuint> Buffers() {
    return Locked([](State& state) {
        std::vector<ALuint> names;
        for (const auto& entry : state.buffers) {
            names.push_back(entry.first);
        }
        return names;
    });
}

std::optional<SourceModel> GetSource(ALuint source) {
    return Locked([source](State& state) -> std::optional<SourceModel> {
        const SourceModel* found = state.FindSource(source);
        return found == nullptr ? std::nullopt : std::optional(*found);
    });
}

std::optional<BufferModel> GetBuffer(ALuint buffer) {
    return Locked([buffer](State& state) -> std::optional<BufferModel> {
        const BufferModel* found = state.FindBuffer(buffer);
        return found == nullptr ? std::nullopt : std::optional(*found);
    });
}

ListenerModel GetListener() {
    return Locked([](State& state) { return state.listener; });
}

void SetSourceState(ALuint source, ALint sourceState) {
    Locked([source, sourceState](State& state) {
        if (SourceModel* found = state.FindSource(source)) {
            found->state = sourceState;
        }
    });
}

std::vector<std::string> OpenDevices() {
    return Locked([](State& state) {
        std::vector<std::string> names;
        for (const auto& device : state.devices) {
            if (device->open) {
                names.push_back(device->name);
            }
        }
        return names;
    });
}

std::size_t LiveContextCount() {
    return Locked([](State& state) {
        return static_cast<std::size_t>(
            std::count_if(state.contexts.begin(), state.contexts.end(),
                          [](const auto& context) { return context->live; }));
    });
}

bool HasCurrentContext() {
    return Locked([](State& state) { return state.currentContext != nullptr; });
}

ALEVENTPROCSOFT EventCallback() {
    return Locked([](State& state) { return state.eventCallback; });
}

void* EventUserParam() {
    return Locked([](State& state) { return state.eventUserParam; });
}

std::vector<ALenum> EnabledEventTypes() {
    return Locked([](State& state) {
        return std::vector<ALenum>(state.enabledEventTypes.begin(), state.enabledEventTypes.end());
    });
}

bool FireEvent(ALenum eventType, ALuint object, ALuint param, std::string_view message,
               std::optional<ALsizei> length) {
    const auto [callback, userParam] =
        Locked([](State& state) { return std::pair(state.eventCallback, state.eventUserParam); });
    if (callback == nullptr) {
        return false;
    }
    // Called without the lock, as OpenAL's event thread would, so the callback
    // may make OpenAL calls of its own.
    const std::string text(message);
    callback(eventType, object, param, length.value_or(static_cast<ALsizei>(text.size())),
             text.c_str(), userParam);
    return true;
}

}  // namespace aldouble
