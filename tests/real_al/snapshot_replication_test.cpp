// A replaying sound system that joins late catches up from one state snapshot.

#include "replication_pair.h"
#include "support/TestMedia.h"

namespace {

using SnapshotReplication = ReplicationPair;

TEST_P(SnapshotReplication, ALateInstanceReachesTheSendersState) {
    const std::string beep = MediaPath("pcm_s16_mono.wav");
    const std::string tone = MediaPath("pcm_u8_stereo.wav");
    // Two names for one file: only the first name (in name order) travels.
    ASSERT_TRUE(sender.CreateSound("a-beep", beep));
    ASSERT_TRUE(sender.CreateSound("b-beep", beep));
    ASSERT_TRUE(sender.CreateSound("tone", tone));

    const std::int32_t started = sender.CreateSource(osg::Vec3f(1, 2, 3), false);
    sender.MountSound(started, "tone");
    sender.SetSpingDirection(started, 0, 1, 0);
    sender.SetSpingCone(started, 45, 0.3f);
    sender.PlaySound(started, false);
    const std::int32_t neverPlayed = sender.CreateSource(osg::Vec3f(-1, 0, 4), false);
    sender.MountSound(neverPlayed, "a-beep");
    const std::int32_t silent = sender.CreateSource(osg::Vec3f(0, 0, 9), true);

    const auto expected = SenderSources();
    CarryFrame(true);

    EXPECT_EQ(ReceiverSources(), expected);
    const auto rebuilt = ReceiverSources();
    EXPECT_TRUE(rebuilt.at(started).started);
    EXPECT_FALSE(rebuilt.at(neverPlayed).started);
    EXPECT_EQ(rebuilt.at(neverPlayed).soundName, "a-beep");
    EXPECT_EQ(rebuilt.at(silent).soundName, "");
    EXPECT_EQ(receiver.Sounds().pathsByName,
              (std::map<std::string, std::string, std::less<>>{{"a-beep", beep}, {"tone", tone}}));

    // The commands recorded meanwhile still come in the next batch and bring the
    // second name too, without disturbing what the snapshot built.
    EXPECT_GT(sender.PendingCommandCount(), 0u);
    CarryFrame(false);
    EXPECT_EQ(ReceiverSources(), SenderSources());
    EXPECT_EQ(receiver.Sounds().pathsByName, sender.Sounds().pathsByName);
}

TEST_P(SnapshotReplication, AnEmptySenderBuildsNothing) {
    CarryFrame(true);
    EXPECT_TRUE(ReceiverSources().empty());
    EXPECT_TRUE(receiver.Sounds().pathsByName.empty());
}

INSTANTIATE_TEST_SUITE_P(BothByteOrders, SnapshotReplication, ::testing::ValuesIn(kByteOrderCases),
                         ByteOrderName);

}  // namespace
