#include <gtest/gtest.h>

#include "kep/HumanInput.h"
#include "kep/Messages.h"
#include "openal_double/OpenAlDouble.h"
#include "support/SoundSystemHarness.h"

namespace {

class FrameUpdate : public ::testing::Test {
protected:
    void SetUp() override {
        aldouble::Reset();
        harness.manager().AddPlugin(camera, "camera");
        camera->SetPose({1, 2, 3, 90, 0, 0});
        harness.Start(sender, true);
        harness.Start(receiver, false);
        kep::SetParameter<std::string>(*receiver.GetPluginLocalProperty(), "HumanInputTag",
                                       "camera");
        aldouble::ClearCalls();
        capture.clear();
    }

    bool ListenerMoved() const { return !aldouble::CallsTo("alListener3f").empty(); }

    std::shared_ptr<kep::ScriptedCamera> camera = std::make_shared<kep::ScriptedCamera>();
    SoundSystemHarness harness;
    SoundSystem& sender = harness.Add("sender");
    SoundSystem& receiver = harness.Add("receiver");
    kep::MessageCapture capture;
};

TEST_F(FrameUpdate, WithNothingReadMakesNoOpenAlCall) {
    camera->SetPose({5, 5, 5, 0, 0, 0});
    receiver.Update();
    EXPECT_TRUE(aldouble::Calls().empty());
}

TEST_F(FrameUpdate, AppliesABatchThenPlacesTheListenerAtTheCamera) {
    const std::int32_t id = sender.CreateSource({4, 0, 0}, false);
    sender.SetGain(id, 0.5f);
    ReadFrame(receiver, WriteFrame(sender, false));
    receiver.Update();
    EXPECT_TRUE(receiver.HasSource(id));
    EXPECT_EQ(receiver.GetPosition(id), osg::Vec3f(4, 0, 0));
    EXPECT_EQ(receiver.PendingCommandCount(), 0u);

    const aldouble::ListenerModel listener = aldouble::GetListener();
    EXPECT_EQ(listener.position, (std::array<ALfloat, 3>{1, 2, 3}));
    EXPECT_NEAR(listener.orientation[0], -1, 1e-6);  // heading 90: looking along -X
    EXPECT_NEAR(listener.orientation[1], 0, 1e-6);
    EXPECT_NEAR(listener.orientation[5], 1, 1e-6);  // up is +Z
    EXPECT_TRUE(capture.lines().empty());
}

TEST_F(FrameUpdate, AnEmptyBatchStillRunsTheWholeUpdate) {
    ReadFrame(receiver, WriteFrame(sender, false));
    receiver.Update();
    EXPECT_TRUE(ListenerMoved());
}

TEST_F(FrameUpdate, AReplicatingInstanceAppliesButLeavesTheListener) {
    SoundSystem& relay = harness.Add("relay");
    harness.Start(relay, true);
    kep::SetParameter<std::string>(*relay.GetPluginLocalProperty(), "HumanInputTag", "camera");
    aldouble::ClearCalls();
    ReadFrame(relay, WriteFrame(sender, false));
    relay.Update();
    EXPECT_FALSE(ListenerMoved());
}

TEST_F(FrameUpdate, ABatchReadWhileTheDeviceIsClosedIsDropped) {
    sender.CreateSource({0, 0, 0}, false);
    const auto frame = WriteFrame(sender, false);
    SoundSystem& closed = harness.Add("closed");
    aldouble::ClearCalls();
    ReadFrame(closed, frame);
    EXPECT_EQ(closed.PendingCommandCount(), 1u);
    closed.Update();
    EXPECT_EQ(closed.PendingCommandCount(), 0u);
    EXPECT_TRUE(aldouble::CallsWithoutErrorChecks().empty());
}

TEST_F(FrameUpdate, UnsentCommandsAreLostAtTheNextUpdate) {
    sender.CreateSource({0, 0, 0}, false);
    EXPECT_EQ(sender.PendingCommandCount(), 1u);
    sender.Update();
    EXPECT_EQ(sender.PendingCommandCount(), 0u);
}

TEST_F(FrameUpdate, AnEmptyOrUnknownTagLeavesTheListenerQuietly) {
    for (std::string tag : {"", "nobody"}) {
        kep::SetParameter<std::string>(*receiver.GetPluginLocalProperty(), "HumanInputTag", tag);
        ReadFrame(receiver, WriteFrame(sender, false));
        receiver.Update();
        EXPECT_FALSE(ListenerMoved()) << tag;
    }
    EXPECT_TRUE(capture.lines().empty());
}

TEST_F(FrameUpdate, SetListenerPlacesItDirectlyAndRecordsNothing) {
    sender.SetListener({1, 0, 0}, {0, 0, -1}, {0, 1, 0});
    EXPECT_EQ(aldouble::CallsWithoutErrorChecks(),
              (std::vector<std::string>{"alListener3f(0x1004, 1, 0, 0)",
                                        "alListenerfv(0x100F, [0, 0, -1, 0, 1, 0])"}));
    EXPECT_EQ(sender.PendingCommandCount(), 0u);
}

}  // namespace
