#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "kep/ISoundInspector.h"
#include "kep/Messages.h"
#include "support/SoundSystemHarness.h"
#include "support/TestMedia.h"

namespace {

class SoundPlayback : public ::testing::Test {
protected:
    void SetUp() override {
        harness.Start(system, false);
        ASSERT_TRUE(system.IsDeviceOpen());
        ASSERT_TRUE(system.CreateSound("sine", MediaPath("sine_mono_2s.wav")));
    }

    SoundSystemHarness harness;
    SoundSystem& system = harness.Add();
    kep::ISoundInspector& inspector = *kep::query<kep::ISoundInspector>(&system);
};

TEST_F(SoundPlayback, ALoadedSoundKnowsItsDurationAndPath) {
    EXPECT_TRUE(system.HasSound("sine"));
    // The decoder counts each frame's block in whole 32-sample steps, so the
    // 88200 samples of this file take 88224 sample slots: just over 2 s.
    EXPECT_EQ(system.GetSoundDuration("sine"), 3u);
    kep::SoundDescription description;
    ASSERT_TRUE(inspector.DescribeSound("sine", description));
    EXPECT_EQ(description.alFormat, static_cast<std::uint32_t>(AL_FORMAT_MONO16));
    EXPECT_EQ(description.sampleRate, 44100u);
    EXPECT_EQ(description.byteSize, 2u * 88224);
    EXPECT_EQ(description.path, MediaPath("sine_mono_2s.wav"));
}

TEST_F(SoundPlayback, ASourcePlaysStopsAndReadsBack) {
    const std::int32_t id = system.CreateSource({1, 2, 3}, false);
    ASSERT_TRUE(system.MountSound(id, "sine"));
    EXPECT_FALSE(system.MountSound(id, "missing"));
    system.SetSpingDirection(id, 0, 0, -1);
    system.SetSpingCone(id, 90, 0.25f);
    system.SetPosition(id, {-4, 0, 1});
    EXPECT_EQ(system.GetPosition(id), osg::Vec3f(-4, 0, 1));
    EXPECT_TRUE(system.IsPlaying(id));  // true for every state OpenAL reports

    system.PlaySound(id, false);
    EXPECT_TRUE(inspector.IsSourcePlaying(id));
    const SourceState state = system.DescribeSources().at(id);
    EXPECT_TRUE(state.started);
    EXPECT_EQ(state.soundName, "sine");
    EXPECT_EQ(state.direction, osg::Vec3f(0, 0, -1));
    EXPECT_EQ(state.outerAngle, 90);
    EXPECT_EQ(state.outerGain, 0.25f);

    system.StopSound(id);
    EXPECT_FALSE(inspector.IsSourcePlaying(id));
    EXPECT_FALSE(system.DescribeSources().at(id).started);
    EXPECT_TRUE(system.IsPlaying(id));
}

TEST_F(SoundPlayback, AShortSoundEndsOnItsOwnButStaysStarted) {
    const std::int32_t id = system.CreateSource({0, 0, 0}, false);
    ASSERT_TRUE(system.CreateSound("short", MediaPath("pcm_s16_mono.wav")));
    system.MountSound(id, "short");
    system.PlaySound(id, false);
    for (int wait = 0; wait < 200 && inspector.IsSourcePlaying(id); ++wait) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_FALSE(inspector.IsSourcePlaying(id));
    EXPECT_TRUE(system.DescribeSources().at(id).started);
}

TEST_F(SoundPlayback, DeleteAllAndStopEmptyBothRegistries) {
    const std::int32_t id = system.CreateSource({0, 0, 0}, true);
    system.MountSound(id, "sine");
    system.PlaySound(id, true);
    system.DeleteSourcesAndSounds();
    EXPECT_FALSE(system.HasSource(id));
    EXPECT_FALSE(system.HasSound("sine"));

    ASSERT_TRUE(system.CreateSound("again", MediaPath("sine_mono_2s.wav")));
    const std::int32_t other = system.CreateSource({0, 0, 0}, false);
    system.Stop();
    EXPECT_FALSE(system.HasSource(other));
    EXPECT_FALSE(system.HasSound("again"));
}

TEST_F(SoundPlayback, DeletingASoundReleasesItsName) {
    system.DeleteSound("sine");
    EXPECT_FALSE(system.HasSound("sine"));
    EXPECT_EQ(system.GetSoundDuration("sine"), 0u);
}

}  // namespace
