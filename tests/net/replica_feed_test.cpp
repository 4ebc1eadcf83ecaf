// The host's replication frames and the joiner's rules for applying them.
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/net/FrameHeader.h"
#include "host/net/ReplicaFeed.h"

namespace {

using replication::DecodeFrame;
using replication::EncodeFrame;
using replication::FrameHeader;
using replication::FrameKind;
using replication::PayloadOrder;

TEST(FrameHeader, IsWrittenAsDocumented) {
    const std::vector<std::uint8_t> payload{0xAA, 0xBB};
    const auto frame = EncodeFrame(
        {FrameKind::Snapshot, PayloadOrder::Big, 0x0102030405060708, 0x1122, 0}, payload);
    const std::vector<std::uint8_t> expected{
        'K',  'E',  'P',  'R',  2,    2,    1,    0,     // magic, version, kind, order, reserved
        0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01,  // epoch
        0x22, 0x11, 0,    0,    0,    0,    0,    0,     // sequence
        2,    0,    0,    0,    0xAA, 0xBB};             // payload length, payload
    EXPECT_EQ(frame, expected);
    std::string error;
    const auto decoded = DecodeFrame(frame, error);
    ASSERT_TRUE(decoded) << error;
    EXPECT_EQ(decoded->header,
              (FrameHeader{FrameKind::Snapshot, PayloadOrder::Big, 0x0102030405060708, 0x1122, 2}));
    EXPECT_EQ(std::vector(decoded->payload.begin(), decoded->payload.end()), payload);
}

TEST(FrameHeader, RefusesWhatDoesNotCheck) {
    const auto good = EncodeFrame({FrameKind::Batch, PayloadOrder::Little, 1, 1, 0}, {});
    const struct {
        std::size_t offset;
        std::uint8_t value;
        const char* error;
    } damages[] = {
        {0, 'X', "not a replication frame (bad magic)"},
        {4, 1, "version 1, expected 2"},
        {5, 0, "unknown kind 0, byte order 0 or reserved byte 0"},
        {5, 7, "unknown kind 7, byte order 0 or reserved byte 0"},
        {6, 2, "unknown kind 1, byte order 2 or reserved byte 0"},
        {7, 1, "unknown kind 1, byte order 0 or reserved byte 1"},
        {24, 1, "payload of 0 bytes, the header says 1"},
    };
    for (const auto& damage : damages) {
        auto frame = good;
        frame[damage.offset] = damage.value;
        std::string error;
        EXPECT_FALSE(DecodeFrame(frame, error));
        EXPECT_EQ(error, damage.error);
    }
    std::string error;
    EXPECT_FALSE(DecodeFrame(std::span(good).first(27), error));
    EXPECT_EQ(error, "27 bytes, shorter than a header");
    auto longer = good;
    longer.push_back(0);
    EXPECT_FALSE(DecodeFrame(longer, error));
}

// A feed whose plug-in notes what it applied ("s5" a snapshot at 5, "b6" a batch)
// and refuses payloads that are {0xFF}; it holds at most 4 batches or 8 bytes.
struct RecordingFeed {
    std::vector<std::string> applied;
    replication::ReplicaFeed feed{
        [this](const replication::ReplicaFeed::Frame& frame) {
            applied.push_back((frame.header.kind == FrameKind::Snapshot ? "s" : "b") +
                              std::to_string(frame.header.sequence));
            return frame.payload.empty() || frame.payload[0] != 0xFF;
        },
        {4, 8}};
    std::uint64_t asked = 0;

    void Send(FrameKind kind, std::uint64_t sequence, std::uint64_t epoch = 7,
              std::vector<std::uint8_t> payload = {}) {
        feed.Receive({kind, PayloadOrder::Little, epoch, sequence, 0}, payload);
    }
    // Asks for a snapshot and receives the answer.
    void Snapshot(std::uint64_t sequence, std::uint64_t epoch = 7,
                  std::vector<std::uint8_t> payload = {}) {
        asked = feed.NewRequest();
        Answer(asked, sequence, epoch, payload);
    }
    void Answer(std::uint64_t request, std::uint64_t sequence, std::uint64_t epoch = 7,
                std::vector<std::uint8_t> payload = {},
                std::span<const replication::DecodedFrame> following = {}) {
        feed.ReceiveSnapshot({FrameKind::Snapshot, PayloadOrder::Little, epoch, sequence, 0},
                             payload, request, {}, following);
    }
};

TEST(ReplicaFeed, AppliesASnapshotThenTheBatchesAfterIt) {
    RecordingFeed joiner;
    EXPECT_TRUE(joiner.feed.waiting());
    joiner.Send(FrameKind::Batch, 4);  // arrives before the snapshot: held
    joiner.Send(FrameKind::Batch, 5);
    joiner.Send(FrameKind::Batch, 6);
    joiner.Snapshot(4);
    joiner.Send(FrameKind::Batch, 6);  // already applied
    joiner.Send(FrameKind::Batch, 7);
    joiner.Send(FrameKind::Heartbeat, 7);
    EXPECT_EQ(joiner.applied, (std::vector<std::string>{"s4", "b5", "b6", "b7"}));
    EXPECT_FALSE(joiner.feed.waiting());
    EXPECT_EQ(joiner.feed.sequence(), 7u);
    EXPECT_EQ(joiner.feed.resyncs(), 0u);
    EXPECT_FALSE(joiner.feed.ended());
    joiner.Send(FrameKind::End, 7);
    EXPECT_TRUE(joiner.feed.ended());
}

TEST(ReplicaFeed, LosesStepAndCatchesUpBySnapshot) {
    const struct {
        const char* name;
        FrameKind kind;
        std::uint64_t sequence;
        std::uint64_t epoch;
        std::vector<std::uint8_t> payload;
    } losses[] = {
        {"a batch skipped", FrameKind::Batch, 4, 7, {}},
        {"a server restarted", FrameKind::Batch, 1, 9, {}},
        {"an unreadable batch", FrameKind::Batch, 3, 7, {0xFF}},
        {"a heartbeat past the last batch", FrameKind::Heartbeat, 3, 7, {}},
        {"a heartbeat of another run", FrameKind::Heartbeat, 2, 9, {}},
        {"an end past the last batch", FrameKind::End, 3, 7, {}},
        {"the end of another run", FrameKind::End, 2, 9, {}},
    };
    for (const auto& loss : losses) {
        SCOPED_TRACE(loss.name);
        RecordingFeed joiner;
        joiner.Snapshot(2);
        joiner.Send(loss.kind, loss.sequence, loss.epoch, loss.payload);
        EXPECT_TRUE(joiner.feed.waiting());
        EXPECT_FALSE(joiner.feed.ended());
        EXPECT_EQ(joiner.feed.resyncs(), 1u);
        joiner.Send(FrameKind::Batch, 4, 7);  // lost step: only held
        joiner.Snapshot(3, 7);
        EXPECT_FALSE(joiner.feed.waiting());
        EXPECT_EQ(joiner.applied.back(), "b4");
    }
}

TEST(ReplicaFeed, EndsOnlyInStepWithTheLastBatch) {
    // The last two batches swapped on the way: the end finds the feed out of step,
    // and it ends once a snapshot has brought it to the last batch.
    RecordingFeed swapped;
    swapped.Snapshot(2);
    swapped.Send(FrameKind::Batch, 4);
    swapped.Send(FrameKind::Batch, 3);
    swapped.Send(FrameKind::End, 4);
    EXPECT_FALSE(swapped.feed.ended());
    EXPECT_EQ(swapped.feed.endSequence(), 4u);
    swapped.Snapshot(4);
    EXPECT_TRUE(swapped.feed.ended());
    EXPECT_EQ(swapped.applied, (std::vector<std::string>{"s2", "s4"}));

    // A lost end: the next one, repeated by the server, ends it.
    RecordingFeed lost;
    lost.Snapshot(2);
    lost.Send(FrameKind::Batch, 3);
    lost.Send(FrameKind::End, 3);
    EXPECT_TRUE(lost.feed.ended());

    // Never in step when the run ends: it still gets there by a snapshot.
    RecordingFeed late;
    late.Send(FrameKind::End, 9);
    EXPECT_FALSE(late.feed.ended());
    late.Snapshot(9);
    EXPECT_TRUE(late.feed.ended());
}

TEST(ReplicaFeed, AppliesOnlyTheAnswerToItsLatestRequest) {
    RecordingFeed joiner;
    joiner.Answer(0, 3);  // never asked for
    const std::uint64_t first = joiner.feed.NewRequest();
    const std::uint64_t second = joiner.feed.NewRequest();
    joiner.Answer(first, 4);  // superseded
    EXPECT_TRUE(joiner.feed.waiting());
    joiner.Answer(second, 5);
    joiner.Answer(second, 6);  // the feed is in step: a second answer changes nothing
    EXPECT_EQ(joiner.applied, (std::vector<std::string>{"s5"}));
    EXPECT_EQ(joiner.feed.sequence(), 5u);
}

TEST(ReplicaFeed, WaitsForASnapshotThatJoinsUpWithTheHeldBatches) {
    RecordingFeed joiner;
    joiner.Send(FrameKind::Batch, 9);
    joiner.Snapshot(7);             // batch 8 is missing between them
    joiner.Snapshot(8, 7, {0xFF});  // unreadable
    EXPECT_TRUE(joiner.feed.waiting());
    EXPECT_EQ(joiner.applied, (std::vector<std::string>{"s8"}));
    // More batches than are held: the oldest go, and the snapshot covers them.
    for (std::uint64_t sequence = 10; sequence <= 14; ++sequence) {
        joiner.Send(FrameKind::Batch, sequence);
    }
    joiner.Snapshot(13);
    EXPECT_EQ(joiner.applied, (std::vector<std::string>{"s8", "s13", "b14"}));
    EXPECT_FALSE(joiner.feed.waiting());
}

TEST(ReplicaFeed, AppliesARelaysAnswerWithTheBatchesAfterItsSnapshot) {
    using Batch = std::pair<std::uint64_t, std::uint64_t>;  // sequence, epoch
    const struct {
        const char* name;
        std::vector<Batch> following;
        std::vector<std::uint64_t> held;
        std::vector<std::string> applied;  // nothing: refused, and the feed still waits
    } answers[] = {
        {"batches up to the held ones", {{5, 7}, {6, 7}}, {7}, {"s4", "b5", "b6", "b7"}},
        {"batches past the held ones", {{5, 7}, {6, 7}, {7, 7}}, {6}, {"s4", "b5", "b6", "b7"}},
        {"none, the held ones after it", {}, {5}, {"s4", "b5"}},
        {"a batch missing", {{5, 7}, {7, 7}}, {}, {}},
        {"a batch of another run", {{5, 7}, {6, 9}}, {}, {}},
        {"a gap before the held ones", {{5, 7}}, {7}, {}},
    };
    for (const auto& answer : answers) {
        SCOPED_TRACE(answer.name);
        RecordingFeed joiner;
        for (const std::uint64_t sequence : answer.held) {
            joiner.Send(FrameKind::Batch, sequence);
        }
        std::vector<replication::DecodedFrame> following;
        for (const auto& [sequence, epoch] : answer.following) {
            following.push_back({{FrameKind::Batch, PayloadOrder::Little, epoch, sequence, 0}, {}});
        }
        joiner.Answer(joiner.feed.NewRequest(), 4, 7, {}, following);
        EXPECT_EQ(joiner.applied, answer.applied);
        EXPECT_EQ(joiner.feed.waiting(), answer.applied.empty());
        EXPECT_EQ(joiner.feed.sequence(),
                  answer.applied.empty() ? 0 : std::stoull(answer.applied.back().substr(1)));
    }
}

TEST(ReplicaFeed, HoldsBatchesWithinItsBytes) {
    RecordingFeed joiner;
    joiner.Send(FrameKind::Batch, 3, 7, std::vector<std::uint8_t>(5));
    joiner.Send(FrameKind::Batch, 4, 7, std::vector<std::uint8_t>(5));  // 10 bytes: 3 goes
    joiner.Snapshot(2);
    EXPECT_TRUE(joiner.feed.waiting());  // batch 3 is missing: ask again
    joiner.Snapshot(3);
    EXPECT_EQ(joiner.applied, (std::vector<std::string>{"s3", "b4"}));

    RecordingFeed large;
    large.Send(FrameKind::Batch, 3, 7, std::vector<std::uint8_t>(9));  // more than all: dropped
    large.Snapshot(2);
    EXPECT_EQ(large.applied, (std::vector<std::string>{"s2"}));
}

TEST(ReplicaFeed, SurvivesRandomFrames) {
    RecordingFeed joiner;
    std::mt19937_64 random(1);
    for (int i = 0; i < 100000; ++i) {
        const auto kind = static_cast<FrameKind>(1 + random() % 6);
        const std::uint64_t sequence = random() % 8, epoch = 7 + random() % 2;
        const std::vector<std::uint8_t> payload{static_cast<std::uint8_t>(random() % 2 ? 0 : 0xFF)};
        if (kind == FrameKind::Snapshot) {
            joiner.Answer(random() % 2 ? joiner.feed.NewRequest() : random() % 4, sequence, epoch,
                          payload);
        } else {
            joiner.Send(kind, sequence, epoch, payload);
        }
    }
    // Whatever came before, a snapshot and the batches after it bring it in step.
    joiner.Send(FrameKind::Batch, 101, 3);
    joiner.Snapshot(100, 3);
    EXPECT_FALSE(joiner.feed.waiting());
    EXPECT_EQ(joiner.feed.sequence(), 101u);
}

}  // namespace
