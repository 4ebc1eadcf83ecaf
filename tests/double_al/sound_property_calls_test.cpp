#include <gtest/gtest.h>

#include "kep/Entity.h"
#include "openal_double/OpenAlDouble.h"
#include "property/SoundProperty.h"
#include "support/SoundSystemHarness.h"
#include "support/TestMedia.h"

namespace {

class SoundPropertyCalls : public ::testing::Test {
protected:
    void SetUp() override {
        aldouble::Reset();
        harness.Start(system, false);
        property = dynamic_cast<kep::SoundProperty*>(speaker.AddUserProperty("sound"));
        ASSERT_NE(property, nullptr);
        ASSERT_TRUE(property->SetParameterText("Filename", MediaPath("sine_mono_2s.wav")));
        ASSERT_EQ(aldouble::Sources().size(), 1u);
        alSource = aldouble::Sources().front();
    }

    SoundSystemHarness harness;
    SoundSystem& system = harness.Add();
    kep::Entity speaker{"speaker"};
    kep::SoundProperty* property = nullptr;
    ALuint alSource = 0;
};

TEST_F(SoundPropertyCalls, GainReachesTheSourceThroughTheNotification) {
    property->setGain(0.5f);
    EXPECT_EQ(property->GetParameterText("Gain"), "0.5");
    EXPECT_EQ(aldouble::GetSource(alSource)->gain, 1.0f);  // applied with the next delivery
    speaker.Update();
    EXPECT_EQ(aldouble::GetSource(alSource)->gain, 0.5f);
}

TEST_F(SoundPropertyCalls, LoopingIsTakenByTheNextPlayNotAtOnce) {
    property->setLooping(true);
    speaker.Update();
    EXPECT_FALSE(aldouble::GetSource(alSource)->looping);
    property->play();
    EXPECT_TRUE(aldouble::GetSource(alSource)->looping);
    EXPECT_EQ(aldouble::GetSource(alSource)->state, AL_PLAYING);
}

TEST_F(SoundPropertyCalls, ReloadDeletesTheOldSourceAndSound) {
    const std::vector<ALuint> oldBuffers = aldouble::Buffers();
    ASSERT_EQ(oldBuffers.size(), 1u);
    aldouble::ClearCalls();
    ASSERT_TRUE(property->SetParameterText("Filename", MediaPath("sine_mono_2s.wav")));
    auto calls = aldouble::CallsWithoutErrorChecks();
    const auto deleteSource = std::find(calls.begin(), calls.end(),
                                        "alDeleteSources(1, [" + std::to_string(alSource) + "])");
    const auto deleteBuffer =
        std::find(calls.begin(), calls.end(),
                  "alDeleteBuffers(1, [" + std::to_string(oldBuffers.front()) + "])");
    EXPECT_NE(deleteSource, calls.end());
    EXPECT_LT(deleteSource, deleteBuffer);
    EXPECT_EQ(aldouble::Sources().size(), 1u);
    EXPECT_EQ(aldouble::Buffers().size(), 1u);
}

}  // namespace
