// Batches and snapshots as written by one sound system and read by another, on
// real OpenAL Soft (null backend).
#include <gtest/gtest.h>

#include "support/Harness.h"
#include "support/MessageCapture.h"
#include "support/TestMedia.h"

namespace {

using kep::MessageLevel;

std::string HexOf(std::string_view text) {
    return Hex({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

class ReplicationStream : public testing::Test {
protected:
    SoundSystemHarness host;
    SoundSystem& sender = host.Add("sender", true);
    SoundSystem& receiver = host.Add("receiver", false);
};

TEST_F(ReplicationStream, ABatchListsTheRecordedCommandsOnce) {
    EXPECT_EQ(Hex(WriteFrame(sender)), "00 00 00 00 00");
    MessageCapture capture;
    NextSourceId() = 6;
    sender.CreateSource(osg::Vec3f(1, 2, 3), true);
    // An unknown id is recorded all the same; a name runs to its first zero byte.
    sender.SetGain(99, 0.5f);
    sender.DeleteSound(std::string_view("ab", 1));
    // A sound that cannot be loaded is not recorded.
    EXPECT_FALSE(sender.CreateSound("x", "no/such.wav"));
    EXPECT_EQ(capture.lines(MessageLevel::Error),
              std::vector<std::string>{"Sound file no/such.wav not found"});
    sender.DeleteSourcesAndSounds();
    // A full write leaves the recorded commands for the next batch.
    WriteFrame(sender, true);
    EXPECT_EQ(Hex(WriteFrame(sender)),
              "00 04 00 00 00 "
              "00 00 00 00 07 00 00 00 00 00 80 3F 00 00 00 40 00 00 40 40 01 "
              "0B 00 00 00 63 00 00 00 00 00 00 3F "
              "08 00 00 00 02 00 00 00 00 00 00 00 61 62 "
              "0C 00 00 00");
    EXPECT_EQ(Hex(WriteFrame(sender)), "00 00 00 00 00");
}

TEST_F(ReplicationStream, ASnapshotListsSoundsThenSourcesWithTheirState) {
    EXPECT_EQ(Hex(WriteFrame(sender, true)), "01 00 00 00 00 00 00 00 00");
    const std::string sine = MediaPath("sine_mono_2s.wav");
    ASSERT_TRUE(sender.CreateSound("s", sine));
    NextSourceId() = 6;
    sender.CreateSource(osg::Vec3f(1, 2, 3), false);
    sender.MountSound(7, "s");
    sender.CreateSource(osg::Vec3f(0, 0, 0), false);
    sender.SetSpingDirection(8, 0, 0, -1);
    sender.SetSpingCone(8, 90, 0.5f);
    sender.PlaySound(8, false);
    // Per sound the file path, then the name; per source its id, position, the
    // state test (1 for any live source), started, direction, cone and sound.
    EXPECT_EQ(Hex(WriteFrame(sender, true)),
              fmt::format("01 01 00 00 00 {:02X} 00 00 00 00 00 00 00 {} 01 00 00 00 00 00 00 00 "
                          "73 02 00 00 00 "
                          "07 00 00 00 00 00 80 3F 00 00 00 40 00 00 40 40 01 00 "
                          "00 00 00 00 00 00 00 00 00 00 00 00 00 00 B4 43 00 00 00 00 "
                          "01 00 00 00 00 00 00 00 73 "
                          "08 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01 01 "
                          "00 00 00 00 00 00 00 00 00 00 80 BF 00 00 B4 42 00 00 00 3F "
                          "00 00 00 00 00 00 00 00",
                          sine.size(), HexOf(sine)));
}

// Instances in step describe the same state.
TEST_F(ReplicationStream, AReceiverAndALateJoinerEndInStep) {
    ASSERT_TRUE(sender.CreateSound("s", MediaPath("sine_mono_2s.wav")));
    const std::int32_t source = sender.CreateSource(osg::Vec3f(1, 2, 3), true);
    sender.MountSound(source, "s");
    sender.SetSpingCone(source, 45, 0.25f);
    sender.PlaySound(source, true);
    sender.CreateSource(osg::Vec3f(-1, 0, 0), false);
    ReadFrame(receiver, WriteFrame(sender));
    receiver.Update();
    EXPECT_EQ(Hex(WriteFrame(receiver, true)), Hex(WriteFrame(sender, true)));

    SoundSystem& late = host.Add("late", false);
    ReadFrame(late, WriteFrame(sender, true));
    late.Update();
    EXPECT_EQ(Hex(WriteFrame(late, true)), Hex(WriteFrame(sender, true)));
}

TEST_F(ReplicationStream, OfTwoSnapshotsReadBeforeAnUpdateOnlyTheSecondApplies) {
    const std::int32_t first = sender.CreateSource(osg::Vec3f(), false);
    const auto before = WriteFrame(sender, true);
    sender.DeleteSource(first);
    const std::int32_t second = sender.CreateSource(osg::Vec3f(), false);
    ReadFrame(receiver, before);
    ReadFrame(receiver, WriteFrame(sender, true));
    receiver.Update();
    EXPECT_FALSE(receiver.HasSource(first));
    EXPECT_TRUE(receiver.HasSource(second));
}

// A reader that records writes back what it read, which shows how it parsed it.
TEST_F(ReplicationStream, AnUnknownCodeIsLoggedAndTheRestIsReadFromWhereTheStreamStands) {
    MessageCapture capture;
    ReadFrame(sender, Bytes("00 02 00 00 00 | 0D 00 00 00 | 04 00 00 00 | 07 00 00 00"));
    EXPECT_EQ(capture.lines(MessageLevel::Error),
              (std::vector<std::string>{"SoundPlugin: CommandFactory: Command aren't supported 13 ",
                                        "SoundSystem: Failed to deserialize commands"}));
    EXPECT_EQ(Hex(WriteFrame(sender)), "00 01 00 00 00 04 00 00 00 07 00 00 00");
}

}  // namespace
