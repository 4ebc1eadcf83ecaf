// Instances exchanging buffers while operations, parameters, snapshots and starts
// race the update on another thread.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "kep/ISoundInspector.h"
#include "support/Harness.h"
#include "support/TestMedia.h"

namespace {

// A recorder, driven from one thread, is replayed by a receiver; meanwhile a
// second thread operates on the receiver, sets parameters of both, starts the
// receiver again and writes snapshots of both.
TEST(Instances, RaceFreeWhileOperationsParametersAndSnapshotsMeetTheUpdate) {
    SoundSystemHarness host;
    SoundSystem& sender = host.Add("sender", true);
    SoundSystem& receiver = host.Add("receiver", false);
    ASSERT_TRUE(sender.CreateSound("s", MediaPath("pcm_s16_mono.wav")));
    std::atomic<std::int32_t> lastSource{0};
    std::atomic<bool> done{false};

    std::thread frames([&] {
        for (int frame = 0; frame < 300; ++frame) {
            const std::int32_t source = sender.CreateSource(osg::Vec3f(frame, 0, 0), false);
            sender.MountSound(source, "s");
            sender.PlaySound(source, false);
            if (frame % 3 == 0) {
                sender.DeleteSource(source - 1);
            }
            lastSource = source;
            ReadFrame(receiver, WriteFrame(sender));
            receiver.Update();
        }
        done = true;
    });
    for (int turn = 0; !done; ++turn) {
        const std::int32_t source = lastSource;
        receiver.SetGain(source, 0.5f);
        receiver.IsPlaying(source);
        (void)receiver.HasSource(source);
        host.Set(sender, "PlaySoundOnServer", turn % 2 ? "true" : "false");
        host.Set(receiver, "Volume", turn % 2 ? "0.5" : "1");
        host.manager->Start(receiver, false);
        EXPECT_EQ(WriteFrame(sender, true).front(), 1);
        EXPECT_EQ(WriteFrame(receiver, true).front(), 1);
    }
    frames.join();
    ReadFrame(receiver, WriteFrame(sender));
    receiver.Update();
    auto sources = [](SoundSystem& system) {
        return kep::query<kep::ISoundInspector>(&system)->ListSources();
    };
    EXPECT_EQ(sources(receiver), sources(sender));
}

}  // namespace
