// Executing a received command performs the operation of the same name on the
// replaying sound system.

#include <gtest/gtest.h>

#include <memory>

#include "commands/SoundCommands.h"
#include "commands/SourceCommands.h"
#include "openal_double/OpenAlDouble.h"
#include "support/SoundSystemHarness.h"
#include "support/TestMedia.h"

namespace {

constexpr std::int32_t kSourceId = 5;

class CommandExecution : public ::testing::Test {
protected:
    void SetUp() override {
        aldouble::Reset();
        harness.Start(receiver, false);
        CommandCreateSource(kSourceId, osg::Vec3f(1, 2, 3), true).execute(receiver);
        ASSERT_EQ(aldouble::Sources().size(), 1u);
        alSource = aldouble::Sources().front();
    }

    aldouble::SourceModel Model() const { return aldouble::GetSource(alSource).value(); }

    SoundSystemHarness harness;
    SoundSystem& receiver = harness.Add("receiver");
    ALuint alSource = 0;
};

TEST_F(CommandExecution, CreateSourceUsesTheSendersId) {
    EXPECT_TRUE(receiver.HasSource(kSourceId));
    EXPECT_EQ(Model().position, (std::array<ALfloat, 3>{1, 2, 3}));
    EXPECT_TRUE(Model().looping);
}

TEST_F(CommandExecution, SourceSettingsReachTheSource) {
    CommandSetPosition(kSourceId, osg::Vec3f(-4, 5, 6)).execute(receiver);
    CommandSetSpingDirection(kSourceId, osg::Vec3f(0, 0, -1)).execute(receiver);
    CommandSetSpingCone(kSourceId, 45.0f, 0.25f).execute(receiver);
    CommandSetGain(kSourceId, 0.5f).execute(receiver);
    CommandSetLooping(kSourceId, false).execute(receiver);

    const aldouble::SourceModel model = Model();
    EXPECT_EQ(model.position, (std::array<ALfloat, 3>{-4, 5, 6}));
    EXPECT_EQ(model.direction, (std::array<ALfloat, 3>{0, 0, -1}));
    EXPECT_EQ(model.coneOuterAngle, 45.0f);
    EXPECT_EQ(model.coneOuterGain, 0.25f);
    EXPECT_EQ(model.gain, 0.5f);
    EXPECT_FALSE(model.looping);
}

TEST_F(CommandExecution, PlayAndStopDriveThePlayback) {
    CommandPlaySound(kSourceId, false).execute(receiver);
    EXPECT_EQ(Model().state, AL_PLAYING);
    EXPECT_FALSE(Model().looping);
    CommandStopSound(kSourceId).execute(receiver);
    EXPECT_EQ(Model().state, AL_STOPPED);
}

TEST_F(CommandExecution, SoundsAreLoadedMountedAndDeleted) {
    const std::string path = MediaPath("pcm_s16_mono.wav");
    CommandCreateSound(std::string("beep"), std::string(path)).execute(receiver);
    ASSERT_TRUE(receiver.HasSound("beep"));
    EXPECT_EQ(receiver.Sounds().pathsByName.at("beep"), path);

    CommandMountSound(kSourceId, "beep").execute(receiver);
    EXPECT_EQ(Model().buffer, receiver.Sounds().buffersByName.at("beep"));

    // OpenAL keeps a buffer that a source still holds, so the source goes first.
    CommandDeleteSource(kSourceId).execute(receiver);
    CommandDeleteSound("beep").execute(receiver);
    EXPECT_FALSE(receiver.HasSound("beep"));
    EXPECT_TRUE(aldouble::Buffers().empty());
}

TEST_F(CommandExecution, DeleteSourceRemovesTheSource) {
    CommandDeleteSource(kSourceId).execute(receiver);
    EXPECT_FALSE(receiver.HasSource(kSourceId));
    EXPECT_TRUE(aldouble::Sources().empty());
}

TEST_F(CommandExecution, DeleteSourcesAndSoundsClearsBoth) {
    CommandCreateSound(std::string("beep"), MediaPath("pcm_s16_mono.wav")).execute(receiver);
    CommandMountSound(kSourceId, "beep").execute(receiver);
    CommandDeleteSourcesAndSounds().execute(receiver);
    EXPECT_FALSE(receiver.HasSource(kSourceId));
    EXPECT_FALSE(receiver.HasSound("beep"));
    EXPECT_TRUE(aldouble::Sources().empty());
    EXPECT_TRUE(aldouble::Buffers().empty());
}

TEST_F(CommandExecution, UnknownIdsAndNamesChangeNothing) {
    CommandSetGain(kSourceId + 1, 0.5f).execute(receiver);
    CommandMountSound(kSourceId, "missing").execute(receiver);
    CommandDeleteSource(kSourceId + 1).execute(receiver);
    EXPECT_EQ(Model().gain, 1.0f);
    EXPECT_EQ(Model().buffer, 0u);
    EXPECT_TRUE(receiver.HasSource(kSourceId));
}

TEST_F(CommandExecution, NothingIsRecordedOnTheReplayingSide) {
    CommandSetGain(kSourceId, 0.5f).execute(receiver);
    CommandDeleteSource(kSourceId).execute(receiver);
    EXPECT_EQ(receiver.PendingCommandCount(), 0u);
}

}  // namespace
