// The per-frame update and the listener, on the recording double.
#include <gtest/gtest.h>

#include "kep/HumanInput.h"
#include "support/Harness.h"
#include "support/OpenAlDouble.h"

namespace {

using Strings = std::vector<std::string>;

// A batch that creates source 40 at the origin.
const std::vector<std::uint8_t> kCreateSource40 =
    Bytes("00 01 00 00 00 | 00 00 00 00 | 28 00 00 00 | 00 00 00 00 00 00 00 00 00 00 00 00 | 00");

class FrameUpdate : public testing::Test {
protected:
    void SetUp() override {
        aldouble::Reset();
        host.manager->AddPlugin(camera, "camera");
        camera->SetPose({1, 2, 3, 0, 0, 0});
    }

    SoundSystem& Add(bool replicating, const char* tag = "camera") {
        SoundSystem& system = host.Add(std::string("sound for ") + tag, replicating);
        host.Set(system, "HumanInputTag", tag, true);
        aldouble::ClearCalls();
        return system;
    }

    SoundSystemHarness host;
    std::shared_ptr<kep::ScriptedCamera> camera = std::make_shared<kep::ScriptedCamera>();
};

TEST_F(FrameUpdate, AppliesWhatArrivedThenPlacesTheListenerAtTheCamera) {
    SoundSystem& system = Add(false);
    ReadFrame(system, kCreateSource40);
    system.Update();
    EXPECT_TRUE(system.HasSource(40));
    // The camera looks along +Y with +Z up at heading 0.
    EXPECT_EQ(
        aldouble::CallsTo({"alListener"}),
        (Strings{"alListener3f(0x1004, 1, 2, 3)", "alListenerfv(0x100F, [0, 1, 0, 0, 0, 1])"}));
}

TEST_F(FrameUpdate, WithNothingArrivedMakesNoCallEvenIfTheCameraMoved) {
    SoundSystem& system = Add(false);
    camera->SetPose({5, 0, 0, 30, 0, 0});
    system.Update();
    EXPECT_EQ(aldouble::Calls(), Strings{});
}

TEST_F(FrameUpdate, LeavesTheListenerOnAReplicatingInstanceOrWithoutItsCamera) {
    for (const auto& [replicating, tag] : {std::pair{true, "camera"}, std::pair{false, "nobody"}}) {
        SoundSystem& system = Add(replicating, tag);
        ReadFrame(system, kCreateSource40);
        system.Update();
        EXPECT_TRUE(system.HasSource(40));
        EXPECT_EQ(aldouble::CallsTo({"alListener"}), Strings{});
    }
}

TEST_F(FrameUpdate, WithTheDeviceClosedDropsWhatArrived) {
    aldouble::FailOpenDevice("Double Device");
    aldouble::FailOpenDevice("");
    SoundSystem& system = Add(false);
    ReadFrame(system, kCreateSource40);
    system.Update();
    EXPECT_FALSE(system.HasSource(40));
    // Volume then only marks the system changed.
    host.Set(system, "Volume", "0.5");
    EXPECT_EQ(system.TakeChanged(), 1);
    EXPECT_EQ(aldouble::Calls(), Strings{});
}

TEST_F(FrameUpdate, VolumeIsTheListenerGainAndMarksTheSystemChanged) {
    SoundSystem& system = Add(false);
    host.Set(system, "Volume", "0.5");
    EXPECT_EQ(aldouble::Calls(), Strings{"alListenerf(0x100A, 0.5)"});
    EXPECT_EQ(system.TakeChanged(), 1);
    EXPECT_EQ(system.TakeChanged(), 0);
    host.Set(system, "PlaySoundOnServer", "false");
    EXPECT_EQ(system.TakeChanged(), 1);
    host.Set(system, "HumanInputTag", "other", true);
    EXPECT_EQ(system.TakeChanged(), 0);
}

}  // namespace
