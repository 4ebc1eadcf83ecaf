// What a relay answers its joiners with, and when it asks for a newer snapshot.
#include <vector>

#include <gtest/gtest.h>

#include "host/net/RelayedState.h"

namespace {

using replication::EncodeFrame;
using replication::FrameHeader;
using replication::FrameKind;
using replication::PayloadOrder;
using replication::RelayedState;
using Bytes = std::vector<std::uint8_t>;

FrameHeader Header(FrameKind kind, std::uint64_t sequence, std::uint64_t epoch = 7) {
    return {kind, PayloadOrder::Little, epoch, sequence, 0};
}

// A snapshot at 4 whose source 3 has gain 0.5 and loops, then the batches 5 to `last`.
void Fill(RelayedState& state, std::uint64_t last, std::size_t batchBytes = 1) {
    const replication::SourceSetting setting{3, 0.5f, true};
    const Bytes settings = replication::EncodeSourceSettings(99, {&setting, 1});
    const Bytes snapshot{0xA, 0xB};
    ASSERT_TRUE(state.Apply({Header(FrameKind::Snapshot, 4), snapshot, settings}));
    for (std::uint64_t sequence = 5; sequence <= last; ++sequence) {
        ASSERT_TRUE(state.Apply({Header(FrameKind::Batch, sequence), Bytes(batchBytes), {}}));
    }
}

std::vector<std::uint64_t> FollowingSequences(const RelayedState& state) {
    std::vector<std::uint64_t> sequences;
    const auto answer = state.Answer();
    for (const Bytes& frame : answer->following) {
        std::string error;
        sequences.push_back(replication::DecodeFrame(frame, error)->header.sequence);
    }
    return sequences;
}

TEST(RelayedState, AnswersWithItsSnapshotAndTheBatchesSince) {
    RelayedState state({});
    EXPECT_FALSE(state.Answer());
    Fill(state, 6);
    const auto answer = state.Answer();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->epoch, 7u);
    EXPECT_EQ(answer->sequence, 4u);
    EXPECT_EQ(answer->state, (Bytes{0xA, 0xB}));
    EXPECT_EQ(answer->settings, (std::vector<replication::SourceSetting>{{3, 0.5f, true}}));
    EXPECT_EQ(answer->following,
              (std::vector<Bytes>{EncodeFrame(Header(FrameKind::Batch, 5), Bytes(1)),
                                  EncodeFrame(Header(FrameKind::Batch, 6), Bytes(1))}));
}

TEST(RelayedState, RebasesOnANewerSnapshotWithinItsBatches) {
    const struct {
        const char* name;
        FrameHeader snapshot;
        std::uint64_t sequence;  // of the answer after it
        std::vector<std::uint64_t> following;
    } rebases[] = {
        {"newer, within", Header(FrameKind::Snapshot, 6), 6, {7, 8}},
        {"at the last batch", Header(FrameKind::Snapshot, 8), 8, {}},
        {"not newer", Header(FrameKind::Snapshot, 4), 4, {5, 6, 7, 8}},
        {"past the batches held", Header(FrameKind::Snapshot, 9), 4, {5, 6, 7, 8}},
        {"of another run", Header(FrameKind::Snapshot, 6, 9), 4, {5, 6, 7, 8}},
    };
    for (const auto& rebase : rebases) {
        SCOPED_TRACE(rebase.name);
        RelayedState state({});
        Fill(state, 8);
        const Bytes newer{0xC};
        EXPECT_EQ(state.Rebase({rebase.snapshot, newer}, {}), rebase.sequence != 4);
        EXPECT_EQ(state.Answer()->sequence, rebase.sequence);
        EXPECT_EQ(FollowingSequences(state), rebase.following);
        EXPECT_EQ(state.bytes(), (rebase.sequence != 4 ? 1 : 2) +
                                     rebase.following.size() * (replication::kFrameHeaderSize + 1));
    }
}

TEST(RelayedState, AsksForANewerSnapshotOnceTheBatchesOutweighIt) {
    RelayedState few({});
    Fill(few, 1028);  // 1024 batches of 29 bytes
    EXPECT_FALSE(few.Stale());
    ASSERT_TRUE(few.Apply({Header(FrameKind::Batch, 1029), Bytes(1), {}}));
    EXPECT_TRUE(few.Stale());

    RelayedState heavy({});
    Fill(heavy, 70, 1000);  // 66 batches of 1028 bytes: past 64 KiB
    EXPECT_TRUE(heavy.Stale());
}

TEST(RelayedState, GivesUpItsStatePastItsLimits) {
    RelayedState state({3, 1 << 20});
    Fill(state, 7);
    EXPECT_FALSE(state.Apply({Header(FrameKind::Batch, 8), Bytes(1), {}}));
    EXPECT_FALSE(state.Answer());
    EXPECT_FALSE(state.Apply({Header(FrameKind::Batch, 9), Bytes(1), {}}));
    Fill(state, 5);
    EXPECT_TRUE(state.Answer());

    RelayedState small({100, 64});
    Fill(small, 5, 30);  // 2 + 58: within
    EXPECT_FALSE(small.Apply({Header(FrameKind::Batch, 6), Bytes(1), {}}));
}

}  // namespace
