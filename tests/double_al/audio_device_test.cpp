#include <gtest/gtest.h>

#include "kep/Messages.h"
#include "openal_double/OpenAlDouble.h"
#include "plugin/AudioDevice.h"
#include "support/SoundSystemHarness.h"

namespace {

using kep::MessageLevel;
using Lines = std::vector<kep::LoggedLine>;

class AudioDeviceOpen : public ::testing::Test {
protected:
    void SetUp() override { aldouble::Reset(); }
    void TearDown() override {
        if (aldouble::HasCurrentContext()) {
            ShutdownAudioDevice(holder);
        }
    }

    kep::MessageCapture capture;
    AudioDevice holder;
};

TEST_F(AudioDeviceOpen, OpensTheDefaultDeviceAndMakesItsContextCurrent) {
    EXPECT_TRUE(OpenAudioDevice(holder));
    EXPECT_EQ(aldouble::Calls(), (std::vector<std::string>{
                                     "alGetError()",
                                     "alcGetString(null, 0x1004)",
                                     "alcOpenDevice(Double Device)",
                                     "alcCreateContext(device1, null)",
                                     "alcGetString(device1, 0x1005)",
                                     "alcMakeContextCurrent(context1)",
                                     "alGetError()",
                                     "alIsExtensionPresent(AL_SOFT_events)",
                                 }));
    EXPECT_EQ(capture.lines(),
              (Lines{{MessageLevel::Info, "SoundSystem: Opened Double Device Device"},
                     {MessageLevel::Info, "SoundSystem: Device init completed"}}));
}

TEST_F(AudioDeviceOpen, FallsBackToWhateverOpenAlPicks) {
    aldouble::FailOpenDevice("Double Device");
    EXPECT_TRUE(OpenAudioDevice(holder));
    EXPECT_EQ(aldouble::CallsTo("alcOpenDevice"),
              (std::vector<std::string>{"alcOpenDevice(Double Device)", "alcOpenDevice(null)"}));
    EXPECT_EQ(capture.lines(),
              (Lines{{MessageLevel::Warning,
                      "SoundSystem: openning Double Device device failed, trying to pass nullptr"},
                     {MessageLevel::Info, "SoundSystem: Opened Double Device Device"},
                     {MessageLevel::Info, "SoundSystem: Device init completed"}}));
}

TEST_F(AudioDeviceOpen, GivesUpWhenNoDeviceOpens) {
    aldouble::FailOpenDevice("Double Device");
    aldouble::FailOpenNullDevice();
    EXPECT_FALSE(OpenAudioDevice(holder));
    EXPECT_TRUE(aldouble::CallsTo("alcCreateContext").empty());
    EXPECT_EQ(capture.lines(),
              (Lines{{MessageLevel::Warning,
                      "SoundSystem: openning Double Device device failed, trying to pass nullptr"},
                     {MessageLevel::Error, "SoundSystem: can't open nullptr device"}}));
}

TEST_F(AudioDeviceOpen, AFailedContextClosesTheDeviceAndFails) {
    aldouble::FailCreateContext();
    EXPECT_FALSE(OpenAudioDevice(holder));
    EXPECT_TRUE(aldouble::OpenDevices().empty());
    EXPECT_EQ(aldouble::CallsTo("alcCloseDevice"),
              (std::vector<std::string>{"alcCloseDevice(device1)"}));
    // No AL error is pending, so the completion line is still written.
    EXPECT_EQ(capture.lines(), (Lines{{MessageLevel::Info, "SoundSystem: Device init completed"}}));
}

TEST_F(AudioDeviceOpen, AnAlErrorAfterTheContextReleasesEverything) {
    aldouble::FailNextCall("alcMakeContextCurrent", AL_INVALID_OPERATION);
    EXPECT_FALSE(OpenAudioDevice(holder));
    EXPECT_EQ(aldouble::CallsWithoutErrorChecks().back(), "alcCloseDevice(device1)");
    EXPECT_EQ(aldouble::LiveContextCount(), 0u);
    EXPECT_TRUE(aldouble::OpenDevices().empty());
    EXPECT_TRUE(
        capture.contains(MessageLevel::Error, "SoundSystem::OpenAL::Device init: Illegal call."));
    EXPECT_FALSE(capture.contains(MessageLevel::Info, "SoundSystem: Device init completed"));
}

TEST_F(AudioDeviceOpen, SubscribesToDeviceEventsWhenOffered) {
    aldouble::SetExtensions({"AL_SOFT_events"});
    EXPECT_TRUE(OpenAudioDevice(holder));
    EXPECT_TRUE(capture.contains(MessageLevel::Debug, "SoundSystem: Found AL_SOFT_events"));
    EXPECT_EQ(aldouble::EnabledEventTypes(), (std::vector<ALenum>{0x19A4, 0x19A5, 0x19A6}));
    EXPECT_EQ(aldouble::EventCallback(), &AudioDeviceEventCallback);
    EXPECT_EQ(aldouble::EventUserParam(), &holder);

    ShutdownAudioDevice(holder);
    EXPECT_TRUE(aldouble::EnabledEventTypes().empty());
    EXPECT_EQ(aldouble::EventCallback(), nullptr);
    EXPECT_EQ(aldouble::LiveContextCount(), 0u);
}

TEST_F(AudioDeviceOpen, WithoutTheControlFunctionNoCallbackIsInstalled) {
    aldouble::SetExtensions({"AL_SOFT_events"});
    aldouble::WithholdProcAddress("alEventControlSOFT");
    EXPECT_TRUE(OpenAudioDevice(holder));
    EXPECT_EQ(aldouble::EventCallback(), nullptr);
}

TEST_F(AudioDeviceOpen, EventsAreLoggedWithTheirTypeAndExactMessageLength) {
    aldouble::SetExtensions({"AL_SOFT_events"});
    ASSERT_TRUE(OpenAudioDevice(holder));
    capture.clear();
    aldouble::FireEvent(0x19A5, 3, 0x1012, "abc", 2);
    aldouble::FireEvent(7, 1, 2, "");
    aldouble::FireEvent(0x19A6, 0, 0, "gone");
    EXPECT_EQ(capture.lines(MessageLevel::Debug),
              (std::vector<std::string>{"---- AL Event ----", "Event: Source state changed",
                                        "Object ID: 3; Parameter: 4114; Message: ab", "----",
                                        "---- AL Event ----", "Event: 0x0000000007",
                                        "Object ID: 1; Parameter: 2; Message: ", "----",
                                        "---- AL Event ----", "Event: Disconnected",
                                        "Object ID: 0; Parameter: 0; Message: gone", "----"}));
}

class SoundSystemLifecycle : public ::testing::Test {
protected:
    void SetUp() override { aldouble::Reset(); }
    SoundSystemHarness harness;
    SoundSystem& system = harness.Add();
};

TEST_F(SoundSystemLifecycle, StopBeforeStartOrTwiceMakesNoOpenAlCall) {
    system.Stop();
    EXPECT_TRUE(aldouble::Calls().empty());
    harness.Start(system, false);
    system.Stop();
    aldouble::ClearCalls();
    system.Stop();
    EXPECT_TRUE(aldouble::Calls().empty());
}

TEST_F(SoundSystemLifecycle, AFailedStartIsRetriedByTheNextStart) {
    aldouble::FailOpenDevice("Double Device");
    aldouble::FailOpenNullDevice();
    system.Start(false);
    EXPECT_FALSE(system.IsDeviceOpen());
    aldouble::ClearCalls();
    system.Stop();
    EXPECT_TRUE(aldouble::Calls().empty());
    aldouble::Reset();
    system.Start(false);
    EXPECT_TRUE(system.IsDeviceOpen());
    system.Stop();
}

TEST_F(SoundSystemLifecycle, VolumeIsTheListenerGainWhileTheDeviceIsOpen) {
    kep::SetParameter(*system.GetPluginProperty(), "Volume", 0.25);
    EXPECT_EQ(system.TakeChanged(), 1);
    EXPECT_TRUE(aldouble::CallsTo("alListenerf").empty());
    system.Start(false);
    EXPECT_EQ(aldouble::GetListener().gain, 1.0f);  // opening does not apply it
    kep::SetParameter(*system.GetPluginProperty(), "Volume", 0.5);
    EXPECT_EQ(aldouble::GetListener().gain, 0.5f);
    EXPECT_EQ(system.TakeChanged(), 1);
    system.Stop();
}

}  // namespace
