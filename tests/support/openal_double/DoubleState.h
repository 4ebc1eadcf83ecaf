#pragma once

// The model behind the OpenAL double, shared by its entry points and its control
// functions. Private to the double.

#include <AL/al.h>
#include <AL/alc.h>

#include <cstddef>
#include <deque>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "openal_double/OpenAlDouble.h"

// The opaque handle types of alc.h, completed here. Handles stay allocated until
// the next Reset so that a stale pointer never matches a newer object.
struct ALCdevice_struct {
    std::string name;
    int label = 0;
    bool open = true;
};

struct ALCcontext_struct {
    ALCdevice* device = nullptr;
    int label = 0;
    bool live = true;
};

namespace aldouble::detail {

struct State {
    std::mutex mutex;

    std::vector<std::string> calls;

    std::vector<std::string> extensions;
    std::set<std::string, std::less<>> withheldProcs;
    std::map<std::string, ALenum, std::less<>> enumValues;

    std::string defaultDeviceName;
    std::set<std::string, std::less<>> failingDeviceNames;
    bool failNullDevice = false;
    bool failCreateContext = false;
    std::vector<std::unique_ptr<ALCdevice>> devices;
    std::vector<std::unique_ptr<ALCcontext>> contexts;
    ALCcontext* currentContext = nullptr;
    // Texts handed out by alcGetString; kept so that their pointers stay valid.
    std::set<std::string, std::less<>> handedOutStrings;

    std::map<std::string, std::deque<ALenum>, std::less<>> injectedErrors;
    ALenum pendingError = AL_NO_ERROR;

    std::map<ALuint, SourceModel> sources;
    std::map<ALuint, BufferModel> buffers;
    ListenerModel listener;

    ALEVENTPROCSOFT eventCallback = nullptr;
    void* eventUserParam = nullptr;
    std::set<ALenum> enabledEventTypes;

    // Back to a fresh library; the caller holds the mutex.
    void ResetLocked();

    // Sets the pending error unless one is already pending, as OpenAL does.
    void Raise(ALenum error);
    bool ExtensionPresent(std::string_view name) const;
    ALCdevice* FindOpenDevice(ALCdevice* device) const;
    ALCcontext* FindLiveContext(ALCcontext* context) const;
    SourceModel* FindSource(ALuint source);
    BufferModel* FindBuffer(ALuint buffer);
    bool BufferInUse(ALuint buffer) const;
    const char* HandOut(std::string text);
    std::string Label(const ALCdevice* device) const;
    std::string Label(const ALCcontext* context) const;
};

// The one state of the process.
State& TheState();

// One entry-point call: holds the state's lock for its lifetime and records the
// call's line when made.
class ApiCall {
public:
    ApiCall(std::string_view function, std::initializer_list<std::string> arguments);
    ApiCall(const ApiCall&) = delete;
    ApiCall& operator=(const ApiCall&) = delete;

    // True when an error was injected for this call: it is raised, and the entry
    // point must then return without any other effect.
    bool Injected();
    State& state() { return state_; }

private:
    State& state_;
    std::lock_guard<std::mutex> lock_;
    std::string function_;
};

// Argument texts in the log's form. LabelOf takes the state's lock itself, so it
// is used before an ApiCall is made.
std::string LabelOf(const ALCdevice* device);
std::string LabelOf(const ALCcontext* context);
std::string Int(long long value);
std::string Enum(ALenum value);
std::string Float(ALfloat value);
std::string Text(const char* text);
std::string Pointer(const void* pointer);
std::string Floats(const ALfloat* values, std::size_t count);
std::string Names(const ALuint* names, ALsizei count);
std::string Enums(const ALenum* values, ALsizei count);

// Bytes per sample and channel count of a buffer format known to the double.
struct FormatLayout {
    ALint channels = 0;
    ALint bytesPerSample = 0;
};
// The layout of a format value (the core constants, or a format name's value in
// the enum table); channels 0 when unknown. The caller holds the mutex.
FormatLayout LayoutOfFormat(const State& state, ALenum format);
// OpenAL Soft's values of the format names the double knows.
std::map<std::string, ALenum, std::less<>> DefaultEnumValues();

}  // namespace aldouble::detail
