// Damaged and random streams fed to a replaying sound system, which reads and
// applies them: it must neither crash nor hang, whatever the bytes.

#include <gtest/gtest.h>

#include <cstdint>
#include <exception>
#include <random>
#include <vector>

#include "kep/Messages.h"
#include "openal_double/OpenAlDouble.h"
#include "support/SoundSystemHarness.h"
#include "support/TestMedia.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using uxs::byte_order;

class DamagedStreams : public ::testing::Test {
protected:
    void SetUp() override {
        aldouble::Reset();
        harness.Start(sender, true);
        harness.Start(receiver, false);
    }

    // Reads and applies one buffer as the host would, which drops a buffer whose
    // reading throws (a damaged string length fails as an allocation).
    void Feed(const Bytes& bytes, byte_order order = byte_order::little) {
        uxs::ibuf buffer(bytes, order);
        try {
            receiver.deserialize(buffer);
        } catch (const std::exception&) {
        }
        receiver.Update();
        ++fed;
        if (fed % 256 == 0) {
            // Keeps the logs and the rebuilt state from growing without bound.
            receiver.DeleteSourcesAndSounds();
            aldouble::ClearCalls();
            capture.clear();
        }
    }

    // A batch and a snapshot carrying every kind of record, as the sender writes them.
    std::vector<Bytes> ValidStreams(byte_order order) {
        const std::string path = MediaPath("pcm_u8_mono.wav");
        sender.CreateSound("beep", path);
        const std::int32_t id = sender.CreateSource(osg::Vec3f(1, 2, 3), true);
        sender.SetLooping(id, false);
        sender.SetPosition(id, osg::Vec3f(4, 5, 6));
        sender.MountSound(id, "beep");
        sender.PlaySound(id, true);
        sender.SetSpingDirection(id, 0, 0, -1);
        sender.SetSpingCone(id, 90, 0.5f);
        sender.SetGain(id, 0.25f);
        sender.StopSound(id);
        sender.DeleteSource(id + 100);
        sender.DeleteSound("gone");
        sender.CreateSource(osg::Vec3f(0, 0, 0), false);
        sender.DeleteSourcesAndSounds();

        uxs::iobuf snapshot(order);
        sender.CreateSound("beep", path);
        sender.CreateSource(osg::Vec3f(7, 8, 9), false);
        sender.serialize(snapshot, true);
        uxs::iobuf batch(order);
        sender.serialize(batch, false);
        return {Bytes(batch.data().begin(), batch.data().end()),
                Bytes(snapshot.data().begin(), snapshot.data().end())};
    }

    SoundSystemHarness harness;
    SoundSystem& sender = harness.Add("sender");
    SoundSystem& receiver = harness.Add("receiver");
    kep::MessageCapture capture;
    std::mt19937 random{20240611};
    int fed = 0;
};

TEST_F(DamagedStreams, EveryCutOfAValidStreamIsSurvived) {
    for (byte_order order : {byte_order::little, byte_order::big}) {
        for (const Bytes& stream : ValidStreams(order)) {
            for (std::size_t length = 0; length <= stream.size(); ++length) {
                Feed(Bytes(stream.begin(), stream.begin() + length), order);
            }
        }
    }
    EXPECT_GT(fed, 200);
}

TEST_F(DamagedStreams, ValidStreamsWithBytesChangedAreSurvived) {
    const std::vector<Bytes> streams = ValidStreams(byte_order::little);
    std::uniform_int_distribution<int> byteValue(0, 255);
    std::uniform_int_distribution<int> changes(1, 4);
    for (int round = 0; round < 2000; ++round) {
        Bytes stream = streams[round % streams.size()];
        std::uniform_int_distribution<std::size_t> position(0, stream.size() - 1);
        for (int change = changes(random); change > 0; --change) {
            stream[position(random)] = static_cast<std::uint8_t>(byteValue(random));
        }
        Feed(stream);
    }
}

TEST_F(DamagedStreams, RandomBytesAreSurvived) {
    std::uniform_int_distribution<int> byteValue(0, 255);
    std::uniform_int_distribution<std::size_t> length(0, 160);
    for (int round = 0; round < 4000; ++round) {
        Bytes stream(length(random));
        for (std::uint8_t& byte : stream) {
            byte = static_cast<std::uint8_t>(byteValue(random));
        }
        if (!stream.empty()) {
            stream[0] = round % 2;  // half batches, half snapshots
        }
        Feed(stream, round % 3 == 0 ? byte_order::big : byte_order::little);
    }
}

TEST_F(DamagedStreams, RandomRecordsBehindAValidHeadAreSurvived) {
    // A batch head with a small count, then records of valid type codes with
    // random payloads: this reaches every command's reading and execution. Half
    // the payload bytes are zero, so that string lengths are often small.
    std::uniform_int_distribution<int> byteValue(0, 255);
    std::bernoulli_distribution zero(0.5);
    std::uniform_int_distribution<std::uint32_t> typeCode(0, 13);
    std::uniform_int_distribution<int> payloadLength(0, 24);
    for (int round = 0; round < 3000; ++round) {
        Bytes stream{0, 4, 0, 0, 0};
        for (int record = 0; record < 4; ++record) {
            const std::uint32_t code = typeCode(random);
            stream.insert(stream.end(), {static_cast<std::uint8_t>(code), 0, 0, 0});
            for (int i = payloadLength(random); i > 0; --i) {
                stream.push_back(zero(random) ? 0 : static_cast<std::uint8_t>(byteValue(random)));
            }
        }
        Feed(stream);
    }
}

}  // namespace
