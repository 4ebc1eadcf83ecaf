#include "openal_double/DoubleState.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace aldouble::detail {

State& TheState() {
    // Never destroyed: entry points may still be called while the process exits.
    static State* const state = [] {
        auto* fresh = new State;
        fresh->ResetLocked();
        return fresh;
    }();
    return *state;
}

void State::ResetLocked() {
    calls.clear();
    extensions.clear();
    withheldProcs.clear();
    enumValues = DefaultEnumValues();
    defaultDeviceName = std::string(kDefaultDeviceName);
    failingDeviceNames.clear();
    failNullDevice = false;
    failCreateContext = false;
    currentContext = nullptr;
    contexts.clear();
    devices.clear();
    handedOutStrings.clear();
    injectedErrors.clear();
    pendingError = AL_NO_ERROR;
    sources.clear();
    buffers.clear();
    listener = ListenerModel{};
    eventCallback = nullptr;
    eventUserParam = nullptr;
    enabledEventTypes.clear();
}

void State::Raise(ALenum error) {
    if (pendingError == AL_NO_ERROR) {
        pendingError = error;
    }
}

bool State::ExtensionPresent(std::string_view name) const {
    const auto sameIgnoringCase = [name](const std::string& offered) {
        return std::equal(offered.begin(), offered.end(), name.begin(), name.end(),
                          [](char a, char b) {
                              return std::tolower(static_cast<unsigned char>(a)) ==
                                     std::tolower(static_cast<unsigned char>(b));
                          });
    };
    return std::any_of(extensions.begin(), extensions.end(), sameIgnoringCase);
}

ALCdevice* State::FindOpenDevice(ALCdevice* device) const {
    for (const auto& known : devices) {
        if (known.get() == device && known->open) {
            return device;
        }
    }
    return nullptr;
}

ALCcontext* State::FindLiveContext(ALCcontext* context) const {
    for (const auto& known : contexts) {
        if (known.get() == context && known->live) {
            return context;
        }
    }
    return nullptr;
}

SourceModel* State::FindSource(ALuint source) {
    const auto found = sources.find(source);
    return found == sources.end() ? nullptr : &found->second;
}

BufferModel* State::FindBuffer(ALuint buffer) {
    const auto found = buffers.find(buffer);
    return found == buffers.end() ? nullptr : &found->second;
}

bool State::BufferInUse(ALuint buffer) const {
    return std::any_of(sources.begin(), sources.end(),
                       [buffer](const auto& entry) { return entry.second.buffer == buffer; });
}

const char* State::HandOut(std::string text) {
    return handedOutStrings.insert(std::move(text)).first->c_str();
}

std::string State::Label(const ALCdevice* device) const {
    if (device == nullptr) {
        return "null";
    }
    for (const auto& known : devices) {
        if (known.get() == device) {
            return "device" + std::to_string(known->label);
        }
    }
    return "ptr";
}

std::string State::Label(const ALCcontext* context) const {
    if (context == nullptr) {
        return "null";
    }
    for (const auto& known : contexts) {
        if (known.get() == context) {
            return "context" + std::to_string(known->label);
        }
    }
    return "ptr";
}

ApiCall::ApiCall(std::string_view function, std::initializer_list<std::string> arguments)
    : state_(TheState()), lock_(state_.mutex), function_(function) {
    std::string line = function_ + "(";
    bool first = true;
    for (const std::string& argument : arguments) {
        if (!first) {
            line += ", ";
        }
        line += argument;
        first = false;
    }
    line += ")";
    state_.calls.push_back(std::move(line));
}

bool ApiCall::Injected() {
    const auto queued = state_.injectedErrors.find(function_);
    if (queued == state_.injectedErrors.end() || queued->second.empty()) {
        return false;
    }
    state_.Raise(queued->second.front());
    queued->second.pop_front();
    return true;
}

std::string LabelOf(const ALCdevice* device) {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    return state.Label(device);
}

std::string LabelOf(const ALCcontext* context) {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    return state.Label(context);
}

std::string Int(long long value) {
    return std::to_string(value);
}

std::string Enum(ALenum value) {
    char digits[16];
    const auto end =
        std::to_chars(digits, digits + sizeof digits, static_cast<unsigned int>(value), 16).ptr;
    std::string text(digits, end);
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return "0x" + text;
}

std::string Float(ALfloat value) {
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    return std::string(digits, end);
}

std::string Text(const char* text) {
    return text == nullptr ? "null" : std::string(text);
}

std::string Pointer(const void* pointer) {
    return pointer == nullptr ? "null" : "ptr";
}

namespace {

template <class T, class Format>
std::string List(const T* values, std::size_t count, Format format) {
    if (values == nullptr) {
        return "null";
    }
    std::string text = "[";
    for (std::size_t i = 0; i < count; ++i) {
        if (i > 0) {
            text += ", ";
        }
        text += format(values[i]);
    }
    return text + "]";
}

}  // namespace

std::string Floats(const ALfloat* values, std::size_t count) {
    return List(values, count, Float);
}

std::string Names(const ALuint* names, ALsizei count) {
    return List(names, count > 0 ? static_cast<std::size_t>(count) : 0,
                [](ALuint name) { return Int(name); });
}

std::string Enums(const ALenum* values, ALsizei count) {
    return List(values, count > 0 ? static_cast<std::size_t>(count) : 0, Enum);
}

}  // namespace aldouble::detail
