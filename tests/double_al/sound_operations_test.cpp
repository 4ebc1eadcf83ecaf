#include <gtest/gtest.h>

#include "kep/DataManager.h"
#include "kep/Messages.h"
#include "openal_double/OpenAlDouble.h"
#include "support/SoundSystemHarness.h"
#include "support/WireBytes.h"

namespace {

using kep::MessageLevel;

class SoundOperations : public ::testing::Test {
protected:
    void SetUp() override { aldouble::Reset(); }
    void StartReplicating() {
        harness.Start(system, true);
        aldouble::ClearCalls();
        capture.clear();
    }

    SoundSystemHarness harness;
    SoundSystem& system = harness.Add();
    kep::MessageCapture capture;
};

TEST_F(SoundOperations, FreshProcessHandsOutOneThenTwo) {
    if (NextSourceId() != 0) {
        GTEST_SKIP() << "needs a process of its own (run it through CTest)";
    }
    harness.Start(system, false);
    EXPECT_EQ(system.CreateSource({0, 0, 0}, false), 1);
    EXPECT_EQ(system.CreateSource({0, 0, 0}, false), 2);
}

TEST_F(SoundOperations, BeforeStartOnlySourcesAreMade) {
    class CountingDataManager final : public kep::IDataManager {
    public:
        std::string GetFilePath(std::string_view) const override {
            ++lookups;
            return "/somewhere.wav";
        }
        mutable int lookups = 0;
    };
    auto dataManager = std::make_shared<CountingDataManager>();
    auto previous = kep::SetDataManager(dataManager);
    aldouble::FailOpenDevice(std::string(aldouble::kDefaultDeviceName));
    aldouble::FailOpenNullDevice();
    SoundSystem& idle = system;
    idle.Start(true);
    ASSERT_FALSE(idle.IsDeviceOpen());
    aldouble::ClearCalls();

    EXPECT_FALSE(idle.CreateSound("a", "a.wav"));
    EXPECT_EQ(dataManager->lookups, 0);
    EXPECT_TRUE(idle.DeleteSource(1));
    EXPECT_FALSE(idle.MountSound(1, "a"));
    idle.PlaySound(1, true);
    idle.SetGain(1, 0.5f);
    idle.DeleteSourcesAndSounds();
    EXPECT_EQ(idle.GetPosition(1), osg::Vec3f(0, 0, 0));
    EXPECT_FALSE(idle.IsPlaying(1));
    EXPECT_TRUE(aldouble::Calls().empty());
    EXPECT_EQ(idle.PendingCommandCount(), 0u);

    // Sources are made even before the device is open, and recorded.
    const std::int32_t id = idle.CreateSource({1, 2, 3}, false);
    EXPECT_TRUE(idle.HasSource(id));
    EXPECT_EQ(idle.PendingCommandCount(), 1u);
    kep::SetDataManager(previous);
}

TEST_F(SoundOperations, UnknownIdsAreSkippedButStillRecorded) {
    StartReplicating();
    system.SetPosition(99, {1, 2, 3});
    system.PlaySound(99, true);
    system.StopSound(99);
    system.SetGain(99, 0.5f);
    system.SetLooping(99, true);
    system.SetSpingDirection(99, 0, 0, 1);
    system.SetSpingCone(99, 90, 0.5f);
    EXPECT_TRUE(system.DeleteSource(99));
    EXPECT_FALSE(system.MountSound(99, "nothing"));
    EXPECT_FALSE(system.IsPlaying(99));
    EXPECT_EQ(system.GetPosition(99), osg::Vec3f(0, 0, 0));
    EXPECT_EQ(system.PendingCommandCount(), 9u);
    EXPECT_EQ(system.TakeChanged(), 1);
    EXPECT_TRUE(aldouble::CallsWithoutErrorChecks().empty());
    EXPECT_TRUE(capture.lines().empty());
}

TEST_F(SoundOperations, ScriptedSeriesRecordsItsCommandsInOrder) {
    StartReplicating();
    const std::int32_t id = system.CreateSource({1, 2, 3}, true);
    system.MountSound(id, "a");
    system.SetGain(id, 0.5f);
    system.SetSpingDirection(id, 0, 0, -1);
    system.SetSpingCone(id, 90, 0.25f);
    system.PlaySound(id, false);
    system.StopSound(id);
    system.DeleteSound("a");
    system.DeleteSource(id);
    system.DeleteSourcesAndSounds();

    WireBytes expected;
    expected.u8(0).u32(10);
    expected.u32(0).i32(id).f32(1).f32(2).f32(3).boolean(true);
    expected.u32(10).i32(id).text("a");
    expected.u32(11).i32(id).f32(0.5f);
    expected.u32(5).i32(id).f32(0).f32(0).f32(-1);
    expected.u32(6).i32(id).f32(90).f32(0.25f);
    expected.u32(3).i32(id).boolean(false);
    expected.u32(4).i32(id);
    expected.u32(8).text("a");
    expected.u32(9).i32(id);
    expected.u32(12);
    EXPECT_EQ(WriteFrame(system, false), expected.bytes());
}

TEST_F(SoundOperations, ServerStaysSilentWhenAskedButStillRecordsThePlay) {
    StartReplicating();
    kep::SetParameter(*system.GetPluginProperty(), "PlaySoundOnServer", false);
    const std::int32_t id = system.CreateSource({0, 0, 0}, false);
    aldouble::ClearCalls();
    system.PlaySound(id, true);
    EXPECT_TRUE(aldouble::CallsTo("alSourcePlay").empty());
    EXPECT_EQ(aldouble::CallsTo("alSourcei").size(), 1u);
    EXPECT_EQ(system.PendingCommandCount(), 2u);

    system.Start(false);  // no longer replicating: always plays
    system.PlaySound(id, true);
    EXPECT_EQ(aldouble::CallsTo("alSourcePlay").size(), 1u);
}

TEST_F(SoundOperations, AFileTheDataManagerDoesNotKnowIsReported) {
    StartReplicating();
    EXPECT_FALSE(system.CreateSound("a", "no/such/file.wav"));
    EXPECT_EQ(capture.lines(),
              (std::vector<kep::LoggedLine>{
                  {MessageLevel::Error, "Sound file no/such/file.wav not found"}}));
    EXPECT_EQ(system.PendingCommandCount(), 0u);
}

TEST_F(SoundOperations, DeletingAnUnknownSoundDeletesBufferZeroQuietly) {
    StartReplicating();
    system.DeleteSound("ghost");
    EXPECT_EQ(aldouble::CallsTo("alDeleteBuffers"),
              (std::vector<std::string>{"alDeleteBuffers(1, [0])"}));
    EXPECT_TRUE(capture.lines().empty());
}

TEST_F(SoundOperations, TheEmptyNameLeavesTheMapButKeepsItsBuffer) {
    StartReplicating();
    ALuint buffer = 0;
    alGenBuffers(1, &buffer);
    auto& sounds = const_cast<SoundBufferRegistry&>(system.Sounds());
    sounds.buffersByName[""] = buffer;
    aldouble::ClearCalls();
    system.DeleteSound("");
    EXPECT_FALSE(system.HasSound(""));
    EXPECT_TRUE(aldouble::CallsWithoutErrorChecks().empty());
    EXPECT_EQ(aldouble::Buffers(), std::vector<ALuint>{buffer});
    alDeleteBuffers(1, &buffer);
}

TEST_F(SoundOperations, DeletingAStartedSourceStopsItFirst) {
    StartReplicating();
    const std::int32_t id = system.CreateSource({0, 0, 0}, false);
    system.PlaySound(id, false);
    const ALuint name = aldouble::Sources().front();
    aldouble::ClearCalls();
    EXPECT_TRUE(system.DeleteSource(id));
    const std::string stop = "alSourceStop(" + std::to_string(name) + ")";
    EXPECT_EQ(aldouble::CallsWithoutErrorChecks(),
              (std::vector<std::string>{stop, stop,
                                        "alDeleteSources(1, [" + std::to_string(name) + "])"}));
    EXPECT_FALSE(system.HasSource(id));
}

TEST_F(SoundOperations, AnExistingIdKeepsItsSource) {
    StartReplicating();
    system.CreateSourceWithId(7, {1, 1, 1}, true);
    system.CreateSourceWithId(7, {2, 2, 2}, false);
    system.CreateSourceWithId(0, {3, 3, 3}, false);
    system.CreateSourceWithId(-4, {3, 3, 3}, false);
    EXPECT_EQ(aldouble::Sources().size(), 1u);
    EXPECT_EQ(system.GetPosition(7), osg::Vec3f(1, 1, 1));
    EXPECT_TRUE(aldouble::GetSource(aldouble::Sources().front())->looping);
}

class SourcePrimitives : public ::testing::Test {
protected:
    void SetUp() override {
        aldouble::Reset();
        ASSERT_TRUE(OpenAudioDevice(device));
    }
    void TearDown() override { ShutdownAudioDevice(device); }

    AudioDevice device;
    kep::MessageCapture capture;
};

TEST_F(SourcePrimitives, PlaybackErrorsAreReportedAsPlayAndStartedIsSetAnyway) {
    Source source;
    alDeleteSources(1, &source.alSource);  // the name is now invalid
    capture.clear();
    source.StartPlayback();
    source.SetLooping(true);
    EXPECT_TRUE(source.started);
    EXPECT_EQ(capture.lines(MessageLevel::Error),
              (std::vector<std::string>{
                  "SoundSystem::OpenAL::play: Invalid Name parameter passed to AL call.",
                  "SoundSystem::OpenAL::play: Invalid Name parameter passed to AL call."}));
    EXPECT_FALSE(source.StateTest());
}

TEST_F(SourcePrimitives, EveryReportedStatePassesTheStateTest) {
    Source source;
    EXPECT_TRUE(source.StateTest());  // never played: AL_INITIAL
    for (ALint state : {AL_PLAYING, AL_PAUSED, AL_STOPPED}) {
        aldouble::SetSourceState(source.alSource, state);
        EXPECT_TRUE(source.StateTest());
    }
}

TEST_F(SourcePrimitives, ConeAndMountedSoundReadBack) {
    SoundBufferRegistry sounds;
    ALuint buffer = 0;
    alGenBuffers(1, &buffer);
    sounds.buffersByName["bell"] = buffer;
    Source source;
    EXPECT_EQ(source.MountedSoundName(sounds), "");
    EXPECT_FALSE(source.SetSound(sounds, "missing"));
    EXPECT_TRUE(source.SetSound(sounds, "bell"));
    EXPECT_EQ(source.MountedSoundName(sounds), "bell");
    source.SetCone(120, 0.25f);
    float angle = 0, gain = 0;
    source.GetCone(angle, gain);
    EXPECT_EQ(angle, 120);
    EXPECT_EQ(gain, 0.25f);
    EXPECT_TRUE(capture.lines(MessageLevel::Error).empty());
    alSourcei(source.alSource, AL_BUFFER, 0);
}

TEST_F(SourcePrimitives, ConeErrorsNameTheirOperation) {
    Source source;
    source.SetCone(-5, 0.5f);  // an angle below 0 is out of range
    EXPECT_TRUE(capture.contains(
        MessageLevel::Error,
        "SoundSystem::OpenAL::set sound cone parameters: Invalid enum parameter value."));
}

struct DurationCase {
    ALenum format;
    std::size_t bytes;
    ALsizei frequency;
    std::uint32_t seconds;
};

class SoundDuration : public SourcePrimitives,
                      public ::testing::WithParamInterface<DurationCase> {};

TEST_P(SoundDuration, IsWholeSecondsRoundedUp) {
    SoundBufferRegistry sounds;
    ALuint buffer = 0;
    alGenBuffers(1, &buffer);
    std::vector<unsigned char> data(GetParam().bytes);
    alBufferData(buffer, GetParam().format, data.data(), static_cast<ALsizei>(data.size()),
                 GetParam().frequency);
    sounds.buffersByName["s"] = buffer;
    EXPECT_EQ(sounds.DurationSeconds("s"), GetParam().seconds);
    EXPECT_EQ(sounds.DurationSeconds("unknown"), 0u);
}

INSTANTIATE_TEST_SUITE_P(Buffers, SoundDuration,
                         ::testing::Values(DurationCase{AL_FORMAT_STEREO8, 22050, 11025, 1},
                                           DurationCase{AL_FORMAT_MONO16, 88200, 44100, 1},
                                           DurationCase{AL_FORMAT_MONO16, 88202, 44100, 2},
                                           DurationCase{AL_FORMAT_STEREO16, 0, 44100, 0}));

}  // namespace
