// A replaying sound system fed the batches of a replicating one keeps the same
// sounds and sources, frame after frame.

#include "replication_pair.h"
#include "support/TestMedia.h"

namespace {

using BatchReplication = ReplicationPair;

TEST_P(BatchReplication, EachFrameLeavesBothSidesAlike) {
    const std::string beep = MediaPath("pcm_s16_mono.wav");
    ASSERT_TRUE(sender.CreateSound("beep", beep));
    const std::int32_t first = sender.CreateSource(osg::Vec3f(1, 2, 3), false);
    sender.MountSound(first, "beep");
    sender.SetSpingDirection(first, 0, 0, -1);
    sender.SetSpingCone(first, 60, 0.25f);
    sender.PlaySound(first, true);
    const std::int32_t second = sender.CreateSource(osg::Vec3f(-5, 0, 2), true);
    sender.SetPosition(second, osg::Vec3f(-5, 1, 2));
    CarryFrame(false);

    const auto afterFirstFrame = SenderSources();
    ASSERT_EQ(afterFirstFrame.size(), 2u);
    EXPECT_EQ(ReceiverSources(), afterFirstFrame);
    EXPECT_TRUE(afterFirstFrame.at(first).started);
    EXPECT_EQ(afterFirstFrame.at(first).soundName, "beep");
    EXPECT_EQ(receiver.Sounds().pathsByName, sender.Sounds().pathsByName);

    sender.StopSound(first);
    sender.DeleteSource(second);
    sender.SetSpingCone(first, 120, 0.5f);
    CarryFrame(false);
    const auto afterSecondFrame = SenderSources();
    ASSERT_EQ(afterSecondFrame.size(), 1u);
    EXPECT_FALSE(afterSecondFrame.at(first).started);
    EXPECT_EQ(ReceiverSources(), afterSecondFrame);

    sender.DeleteSourcesAndSounds();
    CarryFrame(false);
    EXPECT_TRUE(ReceiverSources().empty());
    EXPECT_FALSE(receiver.HasSound("beep"));
}

TEST_P(BatchReplication, AFrameWithoutOperationsChangesNothing) {
    const std::int32_t id = sender.CreateSource(osg::Vec3f(0, 1, 0), false);
    CarryFrame(false);
    const auto before = ReceiverSources();
    ASSERT_TRUE(before.contains(id));
    CarryFrame(false);
    EXPECT_EQ(ReceiverSources(), before);
}

INSTANTIATE_TEST_SUITE_P(BothByteOrders, BatchReplication, ::testing::ValuesIn(kByteOrderCases),
                         ByteOrderName);

}  // namespace
