// Opening and closing the audio device, its event log and the OpenAL error
// texts, on the recording double.
#include <gtest/gtest.h>

#include <tuple>

#include "plugin/AlErrorReport.h"
#include "plugin/AlEvents.h"
#include "plugin/AudioDevice.h"
#include "support/Harness.h"
#include "support/MessageCapture.h"
#include "support/OpenAlDouble.h"

namespace {

using Strings = std::vector<std::string>;

const Strings kOpening = {"alGetError()", "alcGetString(null, 0x1004)",
                          "alcOpenDevice(Double Device)"};
const Strings kOpened = {"alcCreateContext(device1, null)", "alcGetString(device1, 0x1005)",
                         "alcMakeContextCurrent(context1)", "alGetError()"};
const std::string kOpenedLine = "[info] SoundSystem: Opened Double Device Device";
const std::string kCompletedLine = "[info] SoundSystem: Device init completed";
const std::string kFallbackLine =
    "[warning] SoundSystem: openning Double Device device failed, trying to pass nullptr";

Strings Join(std::initializer_list<Strings> parts) {
    Strings joined;
    for (const Strings& part : parts) {
        joined.insert(joined.end(), part.begin(), part.end());
    }
    return joined;
}

struct OpenCase {
    const char* name;
    void (*arrange)();
    bool opened;
    Strings calls;
    Strings lines;
};

TEST(DeviceOpening, MakesTheseCallsAndLogsTheseLines) {
    const OpenCase cases[] = {
        {"Default",
         [] {},
         true,
         Join({kOpening, kOpened, {"alIsExtensionPresent(AL_SOFT_events)"}}),
         {kOpenedLine, kCompletedLine}},
        {"FallbackToNull",
         [] { aldouble::FailOpenDevice("Double Device"); },
         true,
         Join({kOpening,
               {"alcOpenDevice(null)"},
               kOpened,
               {"alIsExtensionPresent(AL_SOFT_events)"}}),
         {kFallbackLine, kOpenedLine, kCompletedLine}},
        {"NoDevice",
         [] {
             aldouble::FailOpenDevice("Double Device");
             aldouble::FailOpenDevice("");
         },
         false,
         Join({kOpening, {"alcOpenDevice(null)"}}),
         {kFallbackLine, "[error] SoundSystem: can't open nullptr device"}},
        {"NoContext",
         [] { aldouble::FailCreateContext(); },
         false,
         Join({kOpening,
               {"alcCreateContext(device1, null)", "alcCloseDevice(device1)", "alGetError()",
                "alIsExtensionPresent(AL_SOFT_events)"}}),
         {kCompletedLine}},
        // The clean-up after an error closes what step by step was opened.
        {"AlErrorOnceCurrent",
         [] { aldouble::FailNextCall("alcMakeContextCurrent", AL_INVALID_OPERATION); },
         false,
         Join({kOpening,
               kOpened,
               {"alcMakeContextCurrent(null)", "alcDestroyContext(context1)",
                "alcCloseDevice(device1)"}}),
         {kOpenedLine, "[error] SoundSystem::OpenAL::Device init: Illegal call."}},
        {"WithEvents",
         [] { aldouble::SetExtensions({"AL_SOFT_events"}); },
         true,
         Join({kOpening,
               kOpened,
               {"alIsExtensionPresent(AL_SOFT_events)", "alGetProcAddress(alEventControlSOFT)",
                "alGetProcAddress(alEventCallbackSOFT)",
                "alEventControlSOFT(3, [0x19A4, 0x19A5, 0x19A6], 1)",
                "alEventCallbackSOFT(callback, ptr)"}}),
         {kOpenedLine, kCompletedLine, "[debug] SoundSystem: Found AL_SOFT_events"}}};
    for (const OpenCase& row : cases) {
        SCOPED_TRACE(row.name);
        aldouble::Reset();
        row.arrange();
        MessageCapture capture;
        AudioDevice holder;
        EXPECT_EQ(OpenAudioDevice(holder), row.opened);
        EXPECT_EQ(aldouble::Calls(), row.calls);
        EXPECT_EQ(capture.lines(), row.lines);
    }
}

TEST(DeviceShutdown, UnsubscribesThenReleasesContextAndDevice) {
    aldouble::Reset();
    aldouble::SetExtensions({"AL_SOFT_events"});
    AudioDevice holder;
    ASSERT_TRUE(OpenAudioDevice(holder));
    aldouble::ClearCalls();
    ShutdownAudioDevice(holder);
    EXPECT_EQ(
        aldouble::Calls(),
        (Strings{"alIsExtensionPresent(AL_SOFT_events)", "alGetProcAddress(alEventControlSOFT)",
                 "alGetProcAddress(alEventCallbackSOFT)",
                 "alEventControlSOFT(3, [0x19A4, 0x19A5, 0x19A6], 0)",
                 "alEventCallbackSOFT(null, null)", "alcMakeContextCurrent(null)",
                 "alcDestroyContext(context1)", "alcCloseDevice(device1)"}));
    EXPECT_FALSE(aldouble::FireEvent(AL_EVENT_TYPE_DISCONNECTED_SOFT, 0, 0, "", 0));
}

// Each event is four debug lines: a header, its type, its fields (exactly
// `length` characters of the message), a footer.
TEST(DeviceEvents, AreLoggedAtDebugLevel) {
    aldouble::Reset();
    aldouble::SetExtensions({"AL_SOFT_events"});
    AudioDevice holder;
    ASSERT_TRUE(OpenAudioDevice(holder));
    const std::string fields = "Object ID: 3; Parameter: 4; Message: ", abc = fields + "abc";
    const std::tuple<ALenum, ALsizei, Strings> rows[] = {
        {AL_EVENT_TYPE_SOURCE_STATE_CHANGED_SOFT, 3, {"Event: Source state changed", abc}},
        {AL_EVENT_TYPE_BUFFER_COMPLETED_SOFT, 0, {"Event: Buffer completed", fields}},
        {AL_EVENT_TYPE_DISCONNECTED_SOFT, 3, {"Event: Disconnected", abc}},
        {7, 2, {"Event: 0x0000000007", fields + "ab"}}};  // decimal digits behind "0x"
    for (const auto& [type, length, lines] : rows) {
        MessageCapture capture;
        EXPECT_TRUE(aldouble::FireEvent(type, 3, 4, "abc", length));
        EXPECT_EQ(capture.lines(kep::MessageLevel::Debug),
                  Join({{"---- AL Event ----"}, lines, {"----"}}));
    }
    ShutdownAudioDevice(holder);
}

TEST(AlErrorReport, WritesTheLabelAndTheTextOfEachCode) {
    const std::pair<ALenum, const char*> rows[] = {
        {AL_NO_ERROR, "No error"},
        {AL_INVALID_NAME, "Invalid Name parameter passed to AL call."},
        {AL_INVALID_ENUM, "Invalid enum. Invalid parameter passed to AL call"},
        {AL_INVALID_VALUE, "Invalid enum parameter value."},
        {AL_INVALID_OPERATION, "Illegal call."},
        {AL_OUT_OF_MEMORY, "Out of memory."},
        {0xA006, "Unknown error."}};
    for (const auto& [code, text] : rows) {
        MessageCapture capture;
        ReportAlError("X", code);
        EXPECT_EQ(capture.lines(kep::MessageLevel::Error),
                  Strings{std::string("SoundSystem::OpenAL::X: ") + text});
    }
}

TEST(SoundSystemLifecycle, OpensOnceAndClosesOnceOrNeverAfterAFailedStart) {
    aldouble::Reset();
    SoundSystemHarness host;
    SoundSystem& system = host.Add("sound");
    host.manager->Start(system, true);
    EXPECT_EQ(aldouble::CallsTo({"alcOpenDevice"}), Strings{"alcOpenDevice(Double Device)"});
    host.manager->Stop(system);
    aldouble::ClearCalls();
    system.Stop();
    EXPECT_EQ(aldouble::Calls(), Strings{});

    aldouble::FailOpenDevice("Double Device");
    aldouble::FailOpenDevice("");
    SoundSystem& deviceless = host.Add("deviceless");
    aldouble::ClearCalls();
    deviceless.Stop();
    EXPECT_EQ(aldouble::Calls(), Strings{});
}

}  // namespace
