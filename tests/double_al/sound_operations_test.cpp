// The sound and source operations on the recording double: the exact OpenAL calls,
// their order, and the words OpenAL errors are reported with.
#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "support/Harness.h"
#include "support/MessageCapture.h"
#include "support/OpenAlDouble.h"
#include "support/TestMedia.h"

namespace {

using Strings = std::vector<std::string>;
using kep::MessageLevel;

class SoundOperations : public testing::Test {
protected:
    void SetUp() override {
        aldouble::Reset();
        host = std::make_unique<SoundSystemHarness>();
    }

    SoundSystem& Started(bool replicating = false) { return host->Add("sound", replicating); }

    std::unique_ptr<SoundSystemHarness> host;
    const std::string sine = MediaPath("sine_mono_2s.wav");
};

// Three sources (OpenAL names 1 to 3, ids ascending) and one sound, then one of
// the three ways of clearing them.
enum class Clearing { DeleteAll, Stop, Destroy };

class SourceClearing : public SoundOperations, public testing::WithParamInterface<Clearing> {};

TEST_P(SourceClearing, GoesInAscendingIdOrderThenDeletesTheBuffers) {
    // A system that is never started still owns the sources it made.
    SoundSystem& system = host->Add("sound", false, GetParam() != Clearing::Destroy);
    if (GetParam() != Clearing::Destroy) {
        ASSERT_TRUE(system.CreateSound("a", sine));
    }
    for (int i = 0; i < 3; ++i) {
        system.CreateSource(osg::Vec3f(0, 0, 0), false);
    }
    aldouble::ClearCalls();
    switch (GetParam()) {
        case Clearing::DeleteAll:
            system.DeleteSourcesAndSounds();
            break;
        case Clearing::Stop:
            host->manager->Stop(system);
            break;
        case Clearing::Destroy:
            host.reset();
            break;
    }
    Strings expected = {"alSourceStop(1)", "alDeleteSources(1, [1])",
                        "alSourceStop(2)", "alDeleteSources(1, [2])",
                        "alSourceStop(3)", "alDeleteSources(1, [3])"};
    if (GetParam() != Clearing::Destroy) {
        expected.push_back("alDeleteBuffers(1, [1])");
    }
    EXPECT_EQ(aldouble::CallsTo({"alSourceStop", "alDeleteSources", "alDeleteBuffers"}), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Ways, SourceClearing, testing::Values(Clearing::DeleteAll, Clearing::Stop, Clearing::Destroy),
    [](const auto& info) {
        return std::string(info.index == 0 ? "DeleteAll" : info.index == 1 ? "Stop" : "Destroy");
    });

struct ErrorCase {
    const char* name;
    const char* failingCall;
    std::function<void(SoundSystem&, std::int32_t source)> operation;
    const char* word;
};

void PrintTo(const ErrorCase& row, std::ostream* out) {
    *out << row.name;
}

class ReportedErrors : public SoundOperations, public testing::WithParamInterface<ErrorCase> {};

TEST_P(ReportedErrors, NameTheOperation) {
    SoundSystem& system = Started();
    ASSERT_TRUE(system.CreateSound("a", sine));
    const std::int32_t source = system.CreateSource(osg::Vec3f(0, 0, 0), false);
    aldouble::FailNextCall(GetParam().failingCall, AL_INVALID_NAME);
    MessageCapture capture;
    GetParam().operation(system, source);
    EXPECT_EQ(capture.lines(MessageLevel::Error),
              Strings{fmt::format("SoundSystem::OpenAL::{}: Invalid Name parameter passed to AL "
                                  "call.",
                                  GetParam().word)});
}

INSTANTIATE_TEST_SUITE_P(
    Operations, ReportedErrors,
    testing::Values(
        ErrorCase{"Play", "alSourcePlay", [](SoundSystem& s, int id) { s.PlaySound(id, false); },
                  "play"},
        ErrorCase{"Looping", "alSourcei", [](SoundSystem& s, int id) { s.SetLooping(id, true); },
                  "play"},
        ErrorCase{"Cone", "alSourcef", [](SoundSystem& s, int id) { s.SetSpingCone(id, 90, 0.5f); },
                  "set sound cone parameters"},
        ErrorCase{"Mount", "alSourcei",
                  [](SoundSystem& s, int id) { EXPECT_FALSE(s.MountSound(id, "a")); }, "set sound"},
        // A snapshot reads the state first, whose failure the mount query clears.
        ErrorCase{"MountedName", "alGetSourcei",
                  [](SoundSystem& s, int) {
                      aldouble::FailNextCall("alGetSourcei", AL_INVALID_NAME);
                      WriteFrame(s, true);
                  },
                  "unmount sound"},
        ErrorCase{"ConeQuery", "alGetSourcef", [](SoundSystem& s, int) { WriteFrame(s, true); },
                  "get sound cone parameters"},
        ErrorCase{"DeleteSound", "alDeleteBuffers", [](SoundSystem& s, int) { s.DeleteSound("a"); },
                  "Delete buffer"},
        // A refused upload takes the name's earlier entries with it.
        ErrorCase{"Upload", "alBufferData",
                  [](SoundSystem& s, int) {
                      EXPECT_FALSE(s.CreateSound("a", MediaPath("sine_mono_2s.wav")));
                      EXPECT_FALSE(s.HasSound("a"));
                  },
                  "Put sound into buffer"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(SoundOperations, AFailedPlayStillCountsAsStarted) {
    SoundSystem& system = Started();
    const std::int32_t source = system.CreateSource(osg::Vec3f(0, 0, 0), false);
    aldouble::FailNextCall("alSourcePlay", AL_INVALID_OPERATION);
    system.PlaySound(source, false);
    aldouble::ClearCalls();
    system.DeleteSource(source);
    // A started source is stopped before it is deleted, which stops it again.
    EXPECT_EQ(aldouble::CallsTo({"alSource", "alDelete"}),
              (Strings{"alSourceStop(1)", "alSourceStop(1)", "alDeleteSources(1, [1])"}));
}

TEST_F(SoundOperations, AFailedBufferGenerationCountsAsLoadedButRegistersNothing) {
    SoundSystem& system = Started();
    aldouble::FailNextCall("alGenBuffers", AL_OUT_OF_MEMORY);
    MessageCapture capture;
    EXPECT_TRUE(system.CreateSound("a", sine));
    EXPECT_FALSE(system.HasSound("a"));
    EXPECT_EQ(capture.lines(MessageLevel::Error), Strings{});
}

TEST_F(SoundOperations, ASecondLoadUnderOneNameKeepsTheFirstBuffer) {
    SoundSystem& system = Started();
    ASSERT_TRUE(system.CreateSound("a", sine));
    ASSERT_TRUE(system.CreateSound("a", sine));
    const std::int32_t source = system.CreateSource(osg::Vec3f(0, 0, 0), false);
    EXPECT_TRUE(system.MountSound(source, "a"));
    EXPECT_EQ(aldouble::CallsTo({"alBufferData", "alSourcei(1, 0x1009"}),
              (Strings{"alBufferData(1, 0x1101, 176448, 44100)",
                       "alBufferData(2, 0x1101, 176448, 44100)", "alSourcei(1, 0x1009, 1)"}));
}

TEST_F(SoundOperations, DeletingAnUnknownNameDeletesBufferZeroAndAnEmptyNameNothing) {
    SoundSystem& system = Started();
    aldouble::ClearCalls();
    MessageCapture capture;
    system.DeleteSound("nothing");
    system.DeleteSound("");
    EXPECT_EQ(aldouble::Calls(),
              (Strings{"alGetError()", "alDeleteBuffers(1, [0])", "alGetError()"}));
    EXPECT_EQ(capture.lines(), Strings{});
}

class PlayOnServerOff : public SoundOperations, public testing::WithParamInterface<bool> {};

TEST_P(PlayOnServerOff, SilencesOnlyAReplicatingInstanceWhichStillRecords) {
    const bool replicating = GetParam();
    SoundSystem& system = Started(replicating);
    host->Set(system, "PlaySoundOnServer", "false");
    NextSourceId() = 0;
    system.PlaySound(system.CreateSource(osg::Vec3f(0, 0, 0), false), true);
    EXPECT_EQ(aldouble::CallsTo({"alSourcePlay"}).size(), replicating ? 0u : 1u);
    EXPECT_EQ(Hex(WriteFrame(system)),
              replicating ? "00 02 00 00 00 00 00 00 00 01 00 00 00 00 00 00 00 00 00 00 00 00 "
                            "00 00 00 00 03 00 00 00 01 00 00 00 01"
                          : "00 00 00 00 00");
}

INSTANTIATE_TEST_SUITE_P(Replicating, PlayOnServerOff, testing::Bool());

// Before the device is open only what needs no device acts: sources are made,
// sounds deleted, and both recorded; everything else does nothing.
TEST_F(SoundOperations, WithoutADeviceOnlyCreateSourceAndDeleteSoundAct) {
    aldouble::FailOpenDevice("Double Device");
    aldouble::FailOpenDevice("");
    SoundSystem& system = Started(true);
    aldouble::ClearCalls();
    NextSourceId() = 6;
    const std::int32_t source = system.CreateSource(osg::Vec3f(0, 0, 0), true);
    EXPECT_FALSE(system.CreateSound("a", sine));
    EXPECT_TRUE(system.DeleteSource(source));
    EXPECT_FALSE(system.MountSound(source, "a"));
    system.SetLooping(source, true);
    system.SetPosition(source, osg::Vec3f(1, 2, 3));
    system.PlaySound(source, true);
    system.StopSound(source);
    system.SetSpingDirection(source, 1, 0, 0);
    system.SetSpingCone(source, 90, 0.5f);
    system.SetGain(source, 0.5f);
    system.DeleteSourcesAndSounds();
    system.SetListener(osg::Vec3f(), osg::Vec3f(), osg::Vec3f());
    EXPECT_FALSE(system.IsPlaying(source));
    EXPECT_EQ(system.GetPosition(source), osg::Vec3f(0, 0, 0));
    EXPECT_TRUE(system.HasSource(source));
    system.DeleteSound("a");
    EXPECT_EQ(aldouble::CallsTo({"al"}),
              (Strings{"alGenSources(1)", "alSource3f(1, 0x1004, 0, 0, 0)", "alGetError()",
                       "alSourcei(1, 0x1007, 1)", "alGetError()", "alGetError()",
                       "alDeleteBuffers(1, [0])", "alGetError()"}));
    EXPECT_EQ(Hex(WriteFrame(system)),
              "00 02 00 00 00 00 00 00 00 07 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01 "
              "08 00 00 00 01 00 00 00 00 00 00 00 61");
}

}  // namespace
