// Instances exchanging buffers across threads, and what must not bring one down:
// operations racing the update, damaged frames.
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>

#include "support/Harness.h"
#include "support/MessageCapture.h"

namespace {

// A recorder, driven from one thread, is replayed by a receiver whose own
// operations, parameters and start run on a second thread meanwhile.
TEST(Instances, RaceFreeWhileOperationsAndParametersMeetTheUpdate) {
    SoundSystemHarness host;
    SoundSystem& sender = host.Add("sender", true);
    SoundSystem& receiver = host.Add("receiver", false);
    std::atomic<std::int32_t> lastSource{0};
    std::atomic<bool> done{false};

    std::thread frames([&] {
        for (int frame = 0; frame < 300; ++frame) {
            const std::int32_t source = sender.CreateSource(osg::Vec3f(frame, 0, 0), false);
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
        receiver.SetPosition(source, osg::Vec3f(0, 1, 0));
        receiver.IsPlaying(source);
        (void)receiver.HasSource(source);
        host.Set(sender, "PlaySoundOnServer", turn % 2 ? "true" : "false");
        host.Set(receiver, "Volume", turn % 2 ? "0.5" : "1");
        host.manager->Start(receiver, false);
    }
    frames.join();
    ReadFrame(receiver, WriteFrame(sender, true));
    receiver.Update();
    EXPECT_TRUE(receiver.HasSource(lastSource));
}

// Whatever the bytes, reading and applying them neither crashes nor hangs; a
// length no allocation can meet is refused with std::bad_alloc.
TEST(DamagedFrames, AreSurvived) {
    SoundSystemHarness host;
    SoundSystem& sender = host.Add("sender", true);
    SoundSystem& receiver = host.Add("receiver", false);
    const std::int32_t source = sender.CreateSource(osg::Vec3f(1, 2, 3), true);
    sender.MountSound(source, "none");
    sender.SetSpingCone(source, 90, 0.5f);
    const std::vector<std::vector<std::uint8_t>> valid = {WriteFrame(sender, true),
                                                          WriteFrame(sender)};
    std::mt19937 random(7);
    MessageCapture quiet;
    for (int round = 0; round < 3000; ++round) {
        std::vector<std::uint8_t> frame = valid[round % 2];
        frame.resize(random() % (frame.size() + 1));
        for (int flips = random() % 4; flips > 0 && !frame.empty(); --flips) {
            frame[random() % frame.size()] = static_cast<std::uint8_t>(random());
        }
        try {
            ReadFrame(receiver, frame, round % 3 ? uxs::byte_order::little : uxs::byte_order::big);
        } catch (const std::bad_alloc&) {
        }
        receiver.Update();
    }
    SUCCEED();
}

}  // namespace
