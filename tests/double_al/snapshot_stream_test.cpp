// The full state of a sound system on the replication stream: the bytes written,
// the queries behind them, and how a replaying side rebuilds from them.

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "commands/SourceCommands.h"
#include "kep/Messages.h"
#include "openal_double/OpenAlDouble.h"
#include "support/SoundSystemHarness.h"
#include "support/TestMedia.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// Composes expected little-endian bytes field by field.
class LittleEndian {
public:
    LittleEndian& U8(std::uint8_t value) {
        bytes_.push_back(value);
        return *this;
    }
    LittleEndian& U32(std::uint32_t value) { return Unsigned(value, 4); }
    LittleEndian& I32(std::int32_t value) { return U32(static_cast<std::uint32_t>(value)); }
    LittleEndian& F32(float value) { return U32(std::bit_cast<std::uint32_t>(value)); }
    LittleEndian& Vector(float x, float y, float z) { return F32(x).F32(y).F32(z); }
    LittleEndian& Text(std::string_view text) {
        Unsigned(text.size(), 8);
        bytes_.insert(bytes_.end(), text.begin(), text.end());
        return *this;
    }
    const Bytes& bytes() const { return bytes_; }

private:
    LittleEndian& Unsigned(std::uint64_t value, int width) {
        for (int i = 0; i < width; ++i) {
            bytes_.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
        }
        return *this;
    }
    Bytes bytes_;
};

Bytes Snapshot(SoundSystem& system) {
    uxs::iobuf buffer;
    system.serialize(buffer, true);
    return Bytes(buffer.data().begin(), buffer.data().end());
}

void Read(SoundSystem& system, const Bytes& bytes) {
    uxs::ibuf buffer(bytes);
    system.deserialize(buffer);
}

// Only the calls made on sources, in order.
std::vector<std::string> SourceCalls() {
    std::vector<std::string> calls;
    for (const std::string& call : aldouble::CallsWithoutErrorChecks()) {
        if (call.starts_with("alSource") || call.starts_with("alGenSources")) {
            calls.push_back(call);
        }
    }
    return calls;
}

class SnapshotStream : public ::testing::Test {
protected:
    void SetUp() override {
        aldouble::Reset();
        harness.Start(sender, true);
        harness.Start(receiver, false);
        beepPath = MediaPath("pcm_s16_mono.wav");
    }

    // The AL source the double made last.
    static ALuint NewestAlSource() { return aldouble::Sources().back(); }

    SoundSystemHarness harness;
    SoundSystem& sender = harness.Add("sender");
    SoundSystem& receiver = harness.Add("receiver");
    std::string beepPath;
};

TEST_F(SnapshotStream, WritesSoundsThenSourcesWithEveryField) {
    ASSERT_TRUE(sender.CreateSound("beep", beepPath));
    const std::int32_t id = sender.CreateSource(osg::Vec3f(1, 2, 3), false);
    sender.MountSound(id, "beep");
    sender.SetSpingDirection(id, 0, 0, -1);
    sender.SetSpingCone(id, 90, 0.5f);
    sender.PlaySound(id, false);

    const Bytes expected = LittleEndian()
                               .U8(1)
                               .U32(1)
                               .Text(beepPath)  // the file path comes first
                               .Text("beep")
                               .U32(1)
                               .I32(id)
                               .Vector(1, 2, 3)
                               .U8(1)  // playing
                               .U8(1)  // started
                               .Vector(0, 0, -1)
                               .F32(90)
                               .F32(0.5f)
                               .Text("beep")
                               .bytes();
    EXPECT_EQ(Snapshot(sender), expected);
}

TEST_F(SnapshotStream, QueriesEachSourceInTheOrderOfItsRecord) {
    const std::int32_t id = sender.CreateSource(osg::Vec3f(0, 0, 0), false);
    const std::string name = std::to_string(NewestAlSource());
    aldouble::ClearCalls();
    Snapshot(sender);
    EXPECT_EQ(aldouble::CallsWithoutErrorChecks(), (std::vector<std::string>{
                                                       "alGetSource3f(" + name + ", 0x1004)",
                                                       "alGetSourcei(" + name + ", 0x1010)",
                                                       "alGetSourcei(" + name + ", 0x1009)",
                                                       "alGetSource3f(" + name + ", 0x1005)",
                                                       "alGetSourcef(" + name + ", 0x1002)",
                                                       "alGetSourcef(" + name + ", 0x1022)",
                                                   }));
    EXPECT_TRUE(sender.HasSource(id));
}

// Offsets in the snapshot of a system with no sounds and one source.
constexpr std::size_t kPlayingOffset = 1 + 4 + 4 + 4 + 12;
constexpr std::size_t kStartedOffset = kPlayingOffset + 1;

TEST_F(SnapshotStream, PlayingHoldsForEveryStateOpenAlReports) {
    const std::int32_t id = sender.CreateSource(osg::Vec3f(0, 0, 0), false);
    sender.PlaySound(id, false);
    aldouble::SetSourceState(NewestAlSource(), AL_STOPPED);
    const Bytes bytes = Snapshot(sender);
    EXPECT_EQ(bytes.at(kPlayingOffset), 1);
    EXPECT_EQ(bytes.at(kStartedOffset), 1);
}

TEST_F(SnapshotStream, PlayingFailsOnlyWhenTheStateCannotBeRead) {
    sender.CreateSource(osg::Vec3f(0, 0, 0), false);
    aldouble::FailNextCall("alGetSourcei", AL_INVALID_OPERATION);
    const Bytes bytes = Snapshot(sender);
    EXPECT_EQ(bytes.at(kPlayingOffset), 0);
    EXPECT_EQ(bytes.at(kStartedOffset), 0);
}

TEST_F(SnapshotStream, RebuildsSoundsThenSourcesInOrder) {
    const Bytes snapshot = LittleEndian()
                               .U8(1)
                               .U32(1)
                               .Text(beepPath)
                               .Text("beep")
                               .U32(1)
                               .I32(7)
                               .Vector(1, 2, 3)
                               .U8(1)
                               .U8(1)
                               .Vector(0, 0, -1)
                               .F32(90)
                               .F32(0.5f)
                               .Text("beep")
                               .bytes();
    Read(receiver, snapshot);
    aldouble::ClearCalls();
    receiver.Update();

    ASSERT_TRUE(receiver.HasSound("beep"));
    const std::string buffer = std::to_string(receiver.Sounds().buffersByName.at("beep"));
    const std::string source = std::to_string(NewestAlSource());
    EXPECT_EQ(SourceCalls(), (std::vector<std::string>{
                                 // CreateSourceWithId, `playing` as the looping flag
                                 "alGenSources(1)",
                                 "alSource3f(" + source + ", 0x1004, 1, 2, 3)",
                                 "alSourcei(" + source + ", 0x1007, 1)",
                                 // MountSound
                                 "alSourcei(" + source + ", 0x1009, " + buffer + ")",
                                 // PlaySound, since the source was started
                                 "alSourcei(" + source + ", 0x1007, 1)",
                                 "alSourcePlay(" + source + ")",
                                 // SetSpingDirection, SetSpingCone
                                 "alSource3f(" + source + ", 0x1005, 0, 0, -1)",
                                 "alSourcef(" + source + ", 0x1002, 90)",
                                 "alSourcef(" + source + ", 0x1022, 0.5)",
                             }));
    EXPECT_TRUE(receiver.HasSource(7));
}

TEST_F(SnapshotStream, ANeverPlayedSourceArrivesLoopingAndNotStarted) {
    const std::int32_t id = sender.CreateSource(osg::Vec3f(4, 5, 6), false);
    const Bytes bytes = Snapshot(sender);
    EXPECT_EQ(bytes.at(kPlayingOffset), 1);
    EXPECT_EQ(bytes.at(kStartedOffset), 0);

    Read(receiver, bytes);
    receiver.Update();
    const SourceState rebuilt = receiver.DescribeSources().at(id);
    EXPECT_FALSE(rebuilt.started);
    EXPECT_EQ(rebuilt.position, osg::Vec3f(4, 5, 6));
    const aldouble::SourceModel model = aldouble::GetSource(NewestAlSource()).value();
    EXPECT_TRUE(model.looping);
    EXPECT_EQ(model.state, AL_INITIAL);
}

TEST_F(SnapshotStream, ASourceWithoutASoundCarriesAnEmptyName) {
    const std::int32_t id = sender.CreateSource(osg::Vec3f(0, 0, 0), false);
    const Bytes bytes = Snapshot(sender);
    EXPECT_EQ(Bytes(bytes.end() - 8, bytes.end()), Bytes(8, 0));

    Read(receiver, bytes);
    receiver.Update();
    ASSERT_TRUE(receiver.HasSource(id));
    EXPECT_EQ(receiver.DescribeSources().at(id).soundName, "");
    EXPECT_EQ(aldouble::GetSource(NewestAlSource())->buffer, 0u);
}

TEST_F(SnapshotStream, OfTwoSnapshotsReadBeforeAnUpdateOnlyTheSecondApplies) {
    const auto snapshotWithSource = [](std::int32_t id) {
        return LittleEndian()
            .U8(1)
            .U32(0)
            .U32(1)
            .I32(id)
            .Vector(0, 0, 0)
            .U8(1)
            .U8(0)
            .Vector(0, 0, 0)
            .F32(360)
            .F32(0)
            .Text("")
            .bytes();
    };
    Read(receiver, snapshotWithSource(7));
    Read(receiver, snapshotWithSource(8));
    receiver.Update();
    EXPECT_FALSE(receiver.HasSource(7));
    EXPECT_TRUE(receiver.HasSource(8));
}

TEST_F(SnapshotStream, TwoNamesForOneFileArriveAsTheFirstName) {
    const Bytes snapshot = LittleEndian()
                               .U8(1)
                               .U32(2)
                               .Text(beepPath)
                               .Text("a")
                               .Text(beepPath)
                               .Text("b")
                               .U32(0)
                               .bytes();
    Read(receiver, snapshot);
    receiver.Update();
    EXPECT_TRUE(receiver.HasSound("a"));
    EXPECT_FALSE(receiver.HasSound("b"));
}

TEST_F(SnapshotStream, CommandsReadBeforeASnapshotWaitForALaterFrame) {
    uxs::iobuf batch;
    {
        SoundSystem& other = harness.Add("other");
        harness.Start(other, true);
        other.SetGain(3, 0.5f);
        other.serialize(batch, false);
    }
    Read(receiver, Bytes(batch.data().begin(), batch.data().end()));
    Read(receiver, LittleEndian().U8(1).U32(0).U32(0).bytes());
    receiver.Update();
    EXPECT_EQ(receiver.PendingCommandCount(), 1u);
}

TEST_F(SnapshotStream, ACutSnapshotAppliesWhatArrivedWithoutAWord) {
    const std::int32_t id = sender.CreateSource(osg::Vec3f(1, 2, 3), false);
    sender.SetSpingCone(id, 90, 0.5f);
    Bytes bytes = Snapshot(sender);
    bytes.resize(kStartedOffset + 1 + 12 + 2);  // ends inside the outer angle

    kep::MessageCapture capture;
    Read(receiver, bytes);
    receiver.Update();
    const SourceState rebuilt = receiver.DescribeSources().at(id);
    EXPECT_EQ(rebuilt.position, osg::Vec3f(1, 2, 3));
    EXPECT_EQ(rebuilt.outerAngle, 0.0f);
    EXPECT_EQ(rebuilt.outerGain, 0.0f);
    EXPECT_TRUE(capture.lines(kep::MessageLevel::Error).empty());
}

}  // namespace
