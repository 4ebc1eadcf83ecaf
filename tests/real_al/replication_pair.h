#pragma once

// Two sound systems on OpenAL Soft's null backend, the first replicating, the
// second replaying what the first writes, as two instances of the host would.

#include <gtest/gtest.h>

#include <AL/alc.h>

#include <map>
#include <string>

#include "support/ByteOrderCases.h"
#include "support/SoundSystemHarness.h"

class ReplicationPair : public ::testing::TestWithParam<ByteOrderCase> {
protected:
    void SetUp() override {
        harness.Start(sender, true);
        senderContext = alcGetCurrentContext();
        harness.Start(receiver, false);
        receiverContext = alcGetCurrentContext();
        ASSERT_TRUE(sender.IsDeviceOpen());
        ASSERT_TRUE(receiver.IsDeviceOpen());
        AsSender();
    }

    void TearDown() override {
        AsReceiver();
        harness.Stop(receiver);
        AsSender();
        harness.Stop(sender);
    }

    // A process has one current OpenAL context; switching it before each side
    // acts gives each instance its own sources, as two processes would have.
    void AsSender() { alcMakeContextCurrent(senderContext); }
    void AsReceiver() { alcMakeContextCurrent(receiverContext); }

    // One frame: the sender writes a batch (or its whole state), the receiver
    // reads it and runs its update. Leaves the sender's context current.
    void CarryFrame(bool full) {
        AsSender();
        uxs::iobuf buffer(GetParam().order);
        sender.serialize(buffer, full);
        AsReceiver();
        receiver.deserialize(buffer);
        receiver.Update();
        AsSender();
    }

    std::map<std::int32_t, SourceState> SenderSources() {
        AsSender();
        return sender.DescribeSources();
    }

    std::map<std::int32_t, SourceState> ReceiverSources() {
        AsReceiver();
        auto described = receiver.DescribeSources();
        AsSender();
        return described;
    }

    SoundSystemHarness harness;
    SoundSystem& sender = harness.Add("sender");
    SoundSystem& receiver = harness.Add("receiver");
    ALCcontext* senderContext = nullptr;
    ALCcontext* receiverContext = nullptr;
};

inline std::string ByteOrderName(const ::testing::TestParamInfo<ByteOrderCase>& info) {
    return info.param.name;
}
