// Opening and closing the audio device, its event log and the OpenAL error
// texts, on the recording double.
#include <gtest/gtest.h>

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

void PrintTo(const OpenCase& row, std::ostream* out) {
    *out << row.name;
}

class DeviceOpening : public testing::TestWithParam<OpenCase> {};

TEST_P(DeviceOpening, MakesTheseCallsAndLogsTheseLines) {
    aldouble::Reset();
    GetParam().arrange();
    MessageCapture capture;
    AudioDevice holder;
    EXPECT_EQ(OpenAudioDevice(holder), GetParam().opened);
    EXPECT_EQ(aldouble::Calls(), GetParam().calls);
    EXPECT_EQ(capture.lines(), GetParam().lines);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, DeviceOpening,
    testing::Values(
        OpenCase{"Default",
                 [] {},
                 true,
                 Join({kOpening, kOpened, {"alIsExtensionPresent(AL_SOFT_events)"}}),
                 {kOpenedLine, kCompletedLine}},
        OpenCase{"FallbackToNull",
                 [] { aldouble::FailOpenDevice("Double Device"); },
                 true,
                 Join({kOpening,
                       {"alcOpenDevice(null)"},
                       kOpened,
                       {"alIsExtensionPresent(AL_SOFT_events)"}}),
                 {kFallbackLine, kOpenedLine, kCompletedLine}},
        OpenCase{"NoDevice",
                 [] {
                     aldouble::FailOpenDevice("Double Device");
                     aldouble::FailOpenDevice("");
                 },
                 false,
                 Join({kOpening, {"alcOpenDevice(null)"}}),
                 {kFallbackLine, "[error] SoundSystem: can't open nullptr device"}},
        OpenCase{"NoContext",
                 [] { aldouble::FailCreateContext(); },
                 false,
                 Join({kOpening,
                       {"alcCreateContext(device1, null)", "alcCloseDevice(device1)",
                        "alGetError()", "alIsExtensionPresent(AL_SOFT_events)"}}),
                 {kCompletedLine}},
        // The clean-up after an error closes what step by step was opened.
        OpenCase{"AlErrorOnceCurrent",
                 [] { aldouble::FailNextCall("alcMakeContextCurrent", AL_INVALID_OPERATION); },
                 false,
                 Join({kOpening,
                       kOpened,
                       {"alcMakeContextCurrent(null)", "alcDestroyContext(context1)",
                        "alcCloseDevice(device1)"}}),
                 {kOpenedLine, "[error] SoundSystem::OpenAL::Device init: Illegal call."}},
        OpenCase{
            "WithEvents",
            [] { aldouble::SetExtensions({"AL_SOFT_events"}); },
            true,
            Join({kOpening,
                  kOpened,
                  {"alIsExtensionPresent(AL_SOFT_events)", "alGetProcAddress(alEventControlSOFT)",
                   "alGetProcAddress(alEventCallbackSOFT)",
                   "alEventControlSOFT(3, [0x19A4, 0x19A5, 0x19A6], 1)",
                   "alEventCallbackSOFT(callback, ptr)"}}),
            {kOpenedLine, kCompletedLine, "[debug] SoundSystem: Found AL_SOFT_events"}}),
    [](const auto& info) { return std::string(info.param.name); });

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

TEST(DeviceEvents, AreLoggedAtDebugLevel) {
    aldouble::Reset();
    aldouble::SetExtensions({"AL_SOFT_events"});
    AudioDevice holder;
    ASSERT_TRUE(OpenAudioDevice(holder));
    MessageCapture capture;
    ASSERT_TRUE(aldouble::FireEvent(AL_EVENT_TYPE_SOURCE_STATE_CHANGED_SOFT, 3, 4, "abc", 3));
    aldouble::FireEvent(AL_EVENT_TYPE_BUFFER_COMPLETED_SOFT, 0, 0, "", 0);
    aldouble::FireEvent(AL_EVENT_TYPE_DISCONNECTED_SOFT, 0, 0, "", 0);
    // Decimal digits behind "0x", and exactly `length` characters of the message.
    aldouble::FireEvent(7, 1, 2, "abc", 2);
    EXPECT_EQ(capture.lines(kep::MessageLevel::Debug),
              (Strings{"---- AL Event ----", "Event: Source state changed",
                       "Object ID: 3; Parameter: 4; Message: abc", "----", "---- AL Event ----",
                       "Event: Buffer completed", "Object ID: 0; Parameter: 0; Message: ", "----",
                       "---- AL Event ----", "Event: Disconnected",
                       "Object ID: 0; Parameter: 0; Message: ", "----", "---- AL Event ----",
                       "Event: 0x0000000007", "Object ID: 1; Parameter: 2; Message: ab", "----"}));
    ShutdownAudioDevice(holder);
}

TEST(AlErrorReport, WritesTheLabelAndTheTextOfEachCode) {
    MessageCapture capture;
    for (ALenum code : {AL_NO_ERROR, AL_INVALID_NAME, AL_INVALID_ENUM, AL_INVALID_VALUE,
                        AL_INVALID_OPERATION, AL_OUT_OF_MEMORY, 0xA006}) {
        ReportAlError("X", code);
    }
    EXPECT_EQ(
        capture.lines(kep::MessageLevel::Error),
        (Strings{"SoundSystem::OpenAL::X: No error",
                 "SoundSystem::OpenAL::X: Invalid Name parameter passed to AL call.",
                 "SoundSystem::OpenAL::X: Invalid enum. Invalid parameter passed to AL call",
                 "SoundSystem::OpenAL::X: Invalid enum parameter value.",
                 "SoundSystem::OpenAL::X: Illegal call.", "SoundSystem::OpenAL::X: Out of memory.",
                 "SoundSystem::OpenAL::X: Unknown error."}));
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
