// The batch frame between a replicating sound system and a replaying one: what
// is written, what is read, and what a damaged stream does.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "commands/SoundCommands.h"
#include "commands/SourceCommands.h"
#include "kep/Messages.h"
#include "openal_double/OpenAlDouble.h"
#include "support/ByteOrderCases.h"
#include "support/SoundSystemHarness.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using uxs::byte_order;

// A batch of the given commands, framed by hand.
Bytes BatchOf(const std::vector<std::shared_ptr<Command>>& commands,
              byte_order order = byte_order::little) {
    uxs::iobuf buffer(order);
    const std::uint8_t batchFlag = 0;
    buffer.write(std::span(&batchFlag, 1));
    const auto count = static_cast<std::uint32_t>(commands.size());
    buffer.write_with_endian(std::span(reinterpret_cast<const std::uint8_t*>(&count), 4), 4);
    for (const auto& command : commands) {
        buffer.write_with_endian(
            std::span(reinterpret_cast<const std::uint8_t*>(&command->type), 4), 4);
        command->serialize(buffer);
    }
    return Bytes(buffer.data().begin(), buffer.data().end());
}

class BatchFrame : public ::testing::TestWithParam<ByteOrderCase> {
protected:
    void SetUp() override { aldouble::Reset(); }

    byte_order order() const { return GetParam().order; }

    SoundSystemHarness harness;
    SoundSystem& sender = harness.Add("sender");
};

TEST_P(BatchFrame, AnEmptyBatchIsAZeroFlagAndAZeroCount) {
    EXPECT_EQ(WriteFrame(sender, false, order()), (Bytes{0, 0, 0, 0, 0}));
}

TEST_P(BatchFrame, ASnapshotOfAnEmptySystemIsAOneFlagAndTwoZeroCounts) {
    EXPECT_EQ(WriteFrame(sender, true, order()), (Bytes{1, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_P(BatchFrame, CarriesTheRecordedCommandsInOrder) {
    harness.Start(sender, true);
    // Unknown ids still travel, so that receivers see the same (empty) effect.
    sender.SetGain(3, 0.5f);
    sender.MountSound(1, "a");
    sender.DeleteSourcesAndSounds();

    if (order() == byte_order::little) {
        EXPECT_EQ(WriteFrame(sender, false, order()),
                  (Bytes{0x00, 0x03, 0, 0, 0,                                              //
                         0x0B, 0,    0, 0, 0x03, 0, 0, 0, 0, 0, 0, 0x3F,                   //
                         0x0A, 0,    0, 0, 0x01, 0, 0, 0, 1, 0, 0, 0,    0, 0, 0, 0, 'a',  //
                         0x0C, 0,    0, 0}));
    } else {
        EXPECT_EQ(WriteFrame(sender, false, order()),
                  (Bytes{0x00, 0, 0, 0,    0x03,                                              //
                         0,    0, 0, 0x0B, 0,    0, 0, 0x03, 0x3F, 0, 0, 0,                   //
                         0,    0, 0, 0x0A, 0,    0, 0, 0x01, 0,    0, 0, 0, 0, 0, 0, 1, 'a',  //
                         0,    0, 0, 0x0C}));
    }
}

TEST_P(BatchFrame, ASecondWriteHasNothingLeftToCarry) {
    harness.Start(sender, true);
    sender.StopSound(2);
    EXPECT_EQ(WriteFrame(sender, false, order()).size(), 1u + 4u + 4u + 4u);
    EXPECT_EQ(WriteFrame(sender, false, order()), (Bytes{0, 0, 0, 0, 0}));
}

TEST_P(BatchFrame, ASnapshotLeavesTheRecordedCommandsForTheNextBatch) {
    harness.Start(sender, true);
    sender.StopSound(2);
    EXPECT_EQ(WriteFrame(sender, true, order()).front(), 1);
    EXPECT_EQ(sender.PendingCommandCount(), 1u);
    EXPECT_EQ(WriteFrame(sender, false, order()),
              BatchOf({std::make_shared<CommandStopSound>(2)}, order()));
}

TEST_P(BatchFrame, ReadsWhatWasWrittenInTheSameOrder) {
    harness.Start(sender, true);
    sender.SetGain(3, 0.5f);
    sender.SetSpingCone(3, 30.0f, 0.25f);
    const Bytes batch = WriteFrame(sender, false, order());

    SoundSystem& receiver = harness.Add("receiver");
    ReadFrame(receiver, batch, order());
    EXPECT_EQ(receiver.PendingCommandCount(), 2u);
    // Writing the received commands again gives the same bytes.
    {
        uxs::iobuf again(order());
        receiver.serialize(again, false);
        EXPECT_EQ(Bytes(again.data().begin(), again.data().end()), batch);
    }
}

INSTANTIATE_TEST_SUITE_P(BothByteOrders, BatchFrame, ::testing::ValuesIn(kByteOrderCases),
                         [](const auto& info) { return std::string(info.param.name); });

// The replaying side, started on the double, with the lines it logs.
class BatchReading : public ::testing::Test {
protected:
    void SetUp() override {
        aldouble::Reset();
        harness.Start(receiver, false);
        aldouble::ClearCalls();
        capture.clear();
    }

    SoundSystemHarness harness;
    SoundSystem& receiver = harness.Add("receiver");
    kep::MessageCapture capture;
};

TEST_F(BatchReading, ReadsAppendBehindCommandsNotYetApplied) {
    receiver.CreateSourceWithId(5, osg::Vec3f(0, 0, 0), false);
    const ALuint alSource = aldouble::Sources().back();
    aldouble::ClearCalls();

    ReadFrame(receiver, BatchOf({std::make_shared<CommandSetGain>(5, 0.25f),
                                 std::make_shared<CommandSetLooping>(5, true)}));
    ReadFrame(receiver, BatchOf({std::make_shared<CommandSetGain>(5, 0.75f)}));
    EXPECT_EQ(receiver.PendingCommandCount(), 3u);

    receiver.Update();
    EXPECT_EQ(receiver.PendingCommandCount(), 0u);
    const std::string name = std::to_string(alSource);
    EXPECT_EQ(aldouble::CallsTo("alSourcef"),
              (std::vector<std::string>{"alSourcef(" + name + ", 0x100A, 0.25)",
                                        "alSourcef(" + name + ", 0x100A, 0.75)"}));
    EXPECT_EQ(aldouble::GetSource(alSource)->gain, 0.75f);
    EXPECT_TRUE(aldouble::GetSource(alSource)->looping);
}

TEST_F(BatchReading, AnEmptyBatchLogsNothing) {
    ReadFrame(receiver, Bytes{0, 0, 0, 0, 0});
    EXPECT_EQ(receiver.PendingCommandCount(), 0u);
    EXPECT_TRUE(capture.lines().empty());
}

TEST_F(BatchReading, AnUnknownTypeCodeIsReportedTwiceAndNotSkipped) {
    // The unknown record's payload AA BB CC DD is read as the next type code.
    const Bytes batch{0x00, 0x02, 0, 0, 0,                       //
                      0x0D, 0,    0, 0, 0xAA, 0xBB, 0xCC, 0xDD,  //
                      0x0B, 0,    0, 0, 0x03, 0,    0,    0,    0, 0, 0, 0x3F};
    ReadFrame(receiver, batch);
    EXPECT_EQ(receiver.PendingCommandCount(), 0u);
    EXPECT_EQ(capture.lines(kep::MessageLevel::Error),
              (std::vector<std::string>{
                  "SoundPlugin: CommandFactory: Command aren't supported 13 ",
                  "SoundSystem: Failed to deserialize commands",
                  "SoundPlugin: CommandFactory: Command aren't supported 3721182122 ",
                  "SoundSystem: Failed to deserialize commands"}));
}

TEST_F(BatchReading, AnUnknownRecordDoesNotStopTheRecordsAfterIt) {
    // A record with no payload, so the next one happens to be aligned.
    const Bytes batch{0x00, 0x02, 0, 0, 0,  //
                      0x0D, 0,    0, 0,     //
                      0x0B, 0,    0, 0, 0x03, 0, 0, 0, 0, 0, 0, 0x3F};
    ReadFrame(receiver, batch);
    ASSERT_EQ(receiver.PendingCommandCount(), 1u);
    uxs::iobuf again;
    receiver.serialize(again, false);
    EXPECT_EQ(Bytes(again.data().begin(), again.data().end()),
              BatchOf({std::make_shared<CommandSetGain>(3, 0.5f)}));
}

TEST_F(BatchReading, ACutRecordIsKeptWithWhatArrived) {
    Bytes batch = BatchOf(
        {std::make_shared<CommandSetGain>(4, 0.5f), std::make_shared<CommandMountSound>(4, "abc")});
    batch.resize(batch.size() - 2);  // "abc" loses its last two letters
    ReadFrame(receiver, batch);
    ASSERT_EQ(receiver.PendingCommandCount(), 2u);
    uxs::iobuf again;
    receiver.serialize(again, false);
    EXPECT_EQ(Bytes(again.data().begin(), again.data().end()),
              BatchOf({std::make_shared<CommandSetGain>(4, 0.5f),
                       std::make_shared<CommandMountSound>(4, std::string("a\0\0", 3))}));
    EXPECT_TRUE(capture.lines().empty());
}

TEST_F(BatchReading, ARecordWhoseCodeIsMissingIsTakenAsAFreshCreateSource) {
    const Bytes batch{0x00, 0x01, 0, 0, 0, 0x0B, 0};
    ReadFrame(receiver, batch);
    ASSERT_EQ(receiver.PendingCommandCount(), 1u);
    uxs::iobuf again;
    receiver.serialize(again, false);
    EXPECT_EQ(Bytes(again.data().begin(), again.data().end()),
              BatchOf({std::make_shared<CommandCreateSource>()}));
}

TEST_F(BatchReading, AHugeCountEndsWhereTheDataEnds) {
    // Records past the end could only be fresh CreateSource commands with no id,
    // which do nothing; the reader stops at the end of the data instead.
    const Bytes batch{0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0x04, 0, 0, 0, 0x09, 0, 0, 0};
    ReadFrame(receiver, batch);
    EXPECT_EQ(receiver.PendingCommandCount(), 2u);
    receiver.Update();
    EXPECT_TRUE(aldouble::Sources().empty());
    EXPECT_TRUE(capture.lines().empty());
}

TEST_F(BatchReading, AnEmptyBufferStillCountsAsARead) {
    ReadFrame(receiver, Bytes{});
    EXPECT_EQ(receiver.PendingCommandCount(), 0u);
    EXPECT_TRUE(capture.lines().empty());
}

TEST_F(BatchReading, ReplayedCommandsAreNotRecordedAgain) {
    ReadFrame(receiver,
              BatchOf({std::make_shared<CommandCreateSource>(9, osg::Vec3f(1, 2, 3), false),
                       std::make_shared<CommandPlaySound>(9, false)}));
    receiver.Update();
    EXPECT_TRUE(receiver.HasSource(9));
    EXPECT_EQ(receiver.PendingCommandCount(), 0u);
    EXPECT_EQ(receiver.TakeChanged(), 0);
}

}  // namespace
