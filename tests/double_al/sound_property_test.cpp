// A scene object's sound property driving the sound system, on the recording double.
#include <gtest/gtest.h>

#include "kep/Entity.h"
#include "kep/ISoundProperty.h"
#include "property/SoundProperty.h"
#include "support/Harness.h"
#include "support/OpenAlDouble.h"
#include "support/TestMedia.h"

namespace {

using Strings = std::vector<std::string>;

class SoundPropertyCalls : public testing::Test {
protected:
    void SetUp() override {
        aldouble::Reset();
        host.Add("sound");
        property = dynamic_cast<kep::SoundProperty*>(speaker.AddUserProperty("sound"));
        ASSERT_NE(property, nullptr);
        property->SetParameterText("Filename", MediaPath("sine_mono_2s.wav"));
        aldouble::ClearCalls();
    }

    Strings SourceAndBufferCalls() {
        return aldouble::CallsTo({"alSource", "alDelete", "alGen", "alBufferData"});
    }

    SoundSystemHarness host;
    kep::Entity speaker{"speaker"};
    kep::SoundProperty* property = nullptr;
};

TEST_F(SoundPropertyCalls, ReloadDeletesTheSourceAndTheSoundThenLoadsAFreshOne) {
    const std::string firstName = property->GetSoundName();
    property->SetParameterText("Filename", MediaPath("pcm_s16_mono.wav"));
    EXPECT_EQ(SourceAndBufferCalls(),
              (Strings{"alSourceStop(1)", "alDeleteSources(1, [1])", "alDeleteBuffers(1, [1])",
                       "alGenBuffers(1)", "alBufferData(2, 0x1101, 22080, 44100)",
                       "alGenSources(1)", "alSource3f(2, 0x1004, 0, 0, 0)",
                       "alSourcei(2, 0x1007, 0)", "alSourcei(2, 0x1009, 2)"}));
    EXPECT_NE(property->GetSoundName(), firstName);
}

TEST_F(SoundPropertyCalls, PlayPutsTheSourceAtTheOriginAndStartsItOnce) {
    property->SetParameterText("Looping", "true");
    property->SetParameterText("Play", "false");
    EXPECT_EQ(SourceAndBufferCalls(), Strings{});
    property->SetParameterText("Play", "true");
    EXPECT_EQ(property->GetParameterText("Play"), "false");
    EXPECT_EQ(SourceAndBufferCalls(), (Strings{"alSource3f(1, 0x1004, 0, 0, 0)",
                                               "alSourcei(1, 0x1007, 1)", "alSourcePlay(1)"}));
}

TEST_F(SoundPropertyCalls, GainAndStopReachTheSource) {
    kep::query<kep::ISoundProperty>(static_cast<kep::Property*>(property))->setGain(0.25f);
    speaker.Update();
    EXPECT_EQ(property->GetParameterText("Gain"), "0.25");
    property->SetParameterText("Stop", "true");
    EXPECT_EQ(property->GetParameterText("Stop"), "false");
    EXPECT_EQ(SourceAndBufferCalls(), (Strings{"alSourcef(1, 0x100A, 0.25)", "alSourceStop(1)"}));
}

TEST_F(SoundPropertyCalls, AnEmptyFileNameLeavesNothingBehind) {
    property->SetParameterText("Filename", "");
    EXPECT_EQ(SourceAndBufferCalls(),
              (Strings{"alSourceStop(1)", "alDeleteSources(1, [1])", "alDeleteBuffers(1, [1])"}));
    EXPECT_EQ(property->GetSoundName(), "");
    EXPECT_EQ(property->GetSourceId(), -1);
}

}  // namespace
