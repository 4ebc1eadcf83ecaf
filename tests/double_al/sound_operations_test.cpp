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
    void SetUp() override { Fresh(); }
    // A new host on a reset double, for each row of a table.
    void Fresh() {
        host.reset();
        aldouble::Reset();
        host = std::make_unique<SoundSystemHarness>();
    }

    SoundSystem& Started(bool replicating = false) { return host->Add("sound", replicating); }

    std::unique_ptr<SoundSystemHarness> host;
    const std::string sine = MediaPath("sine_mono_2s.wav");
};

// Three sources (OpenAL names 1 to 3, ids ascending) and one sound, then each of
// the three ways of clearing them.
TEST_F(SoundOperations, ClearingGoesInAscendingIdOrderThenDeletesTheBuffers) {
    for (const std::string_view way : {"DeleteAll", "Stop", "Destroy"}) {
        SCOPED_TRACE(way);
        Fresh();
        // A system that is never started still owns the sources it made.
        SoundSystem& system = host->Add("sound", false, way != "Destroy");
        if (way != "Destroy") {
            ASSERT_TRUE(system.CreateSound("a", sine));
        }
        for (int i = 0; i < 3; ++i) {
            system.CreateSource(osg::Vec3f(0, 0, 0), false);
        }
        aldouble::ClearCalls();
        if (way == "DeleteAll") {
            system.DeleteSourcesAndSounds();
        } else if (way == "Stop") {
            host->manager->Stop(system);
        } else {
            host.reset();
        }
        Strings expected = {"alSourceStop(1)", "alDeleteSources(1, [1])",
                            "alSourceStop(2)", "alDeleteSources(1, [2])",
                            "alSourceStop(3)", "alDeleteSources(1, [3])"};
        if (way != "Destroy") {
            expected.push_back("alDeleteBuffers(1, [1])");
        }
        EXPECT_EQ(aldouble::CallsTo({"alSourceStop", "alDeleteSources", "alDeleteBuffers"}),
                  expected);
    }
}

struct ErrorCase {
    const char* name;
    const char* failingCall;
    std::function<void(SoundSystem&, std::int32_t source)> operation;
    const char* word;
};

TEST_F(SoundOperations, ReportedErrorsNameTheOperation) {
    const ErrorCase cases[] = {
        {"Play", "alSourcePlay", [](SoundSystem& s, int id) { s.PlaySound(id, false); }, "play"},
        {"Looping", "alSourcei", [](SoundSystem& s, int id) { s.SetLooping(id, true); }, "play"},
        {"Cone", "alSourcef", [](SoundSystem& s, int id) { s.SetSpingCone(id, 90, 0.5f); },
         "set sound cone parameters"},
        {"Mount", "alSourcei", [](SoundSystem& s, int id) { EXPECT_FALSE(s.MountSound(id, "a")); },
         "set sound"},
        // A snapshot reads the state first, whose failure the mount query clears.
        {"MountedName", "alGetSourcei",
         [](SoundSystem& s, int) {
             aldouble::FailNextCall("alGetSourcei", AL_INVALID_NAME);
             WriteFrame(s, true);
         },
         "unmount sound"},
        {"ConeQuery", "alGetSourcef", [](SoundSystem& s, int) { WriteFrame(s, true); },
         "get sound cone parameters"},
        {"DeleteSound", "alDeleteBuffers", [](SoundSystem& s, int) { s.DeleteSound("a"); },
         "Delete buffer"},
        // A refused upload takes the name's earlier entries with it.
        {"Upload", "alBufferData",
         [](SoundSystem& s, int) {
             EXPECT_FALSE(s.CreateSound("a", MediaPath("sine_mono_2s.wav")));
             EXPECT_FALSE(s.HasSound("a"));
         },
         "Put sound into buffer"}};
    for (const ErrorCase& row : cases) {
        SCOPED_TRACE(row.name);
        Fresh();
        SoundSystem& system = Started();
        ASSERT_TRUE(system.CreateSound("a", sine));
        const std::int32_t source = system.CreateSource(osg::Vec3f(0, 0, 0), false);
        aldouble::FailNextCall(row.failingCall, AL_INVALID_NAME);
        MessageCapture capture;
        row.operation(system, source);
        EXPECT_EQ(
            capture.lines(MessageLevel::Error),
            Strings{fmt::format(
                "SoundSystem::OpenAL::{}: Invalid Name parameter passed to AL call.", row.word)});
    }
}

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

TEST_F(SoundOperations, AFailedBufferAllocationIsReportedAsALoadKeptOnPurpose) {
    SoundSystem& system = Started();
    aldouble::FailNextCall("alGenBuffers", AL_OUT_OF_MEMORY);
    MessageCapture capture;
    EXPECT_TRUE(system.CreateSound("a", sine));
    EXPECT_FALSE(system.HasSound("a"));
    EXPECT_EQ(capture.lines(MessageLevel::Error), Strings{});
}

TEST_F(SoundOperations, ASecondLoadUnderOneNameKeepsTheFirstBufferOnPurpose) {
    SoundSystem& system = Started();
    ASSERT_TRUE(system.CreateSound("a", sine));
    ASSERT_TRUE(system.CreateSound("a", sine));
    const std::int32_t source = system.CreateSource(osg::Vec3f(0, 0, 0), false);
    EXPECT_TRUE(system.MountSound(source, "a"));
    EXPECT_EQ(aldouble::CallsTo({"alBufferData", "alSourcei(1, 0x1009"}),
              (Strings{"alBufferData(1, 0x1101, 176448, 44100)",
                       "alBufferData(2, 0x1101, 176448, 44100)", "alSourcei(1, 0x1009, 1)"}));
}

TEST_F(SoundOperations, DeletingAnUnknownNameDeletesBufferZeroAndAnEmptyNameNothingOnPurpose) {
    SoundSystem& system = Started();
    aldouble::ClearCalls();
    MessageCapture capture;
    system.DeleteSound("nothing");
    system.DeleteSound("");
    EXPECT_EQ(aldouble::Calls(),
              (Strings{"alGetError()", "alDeleteBuffers(1, [0])", "alGetError()"}));
    EXPECT_EQ(capture.lines(), Strings{});
}

TEST_F(SoundOperations, PlayOnServerOffSilencesOnlyAReplicatingInstanceWhichStillRecords) {
    for (const bool replicating : {false, true}) {
        Fresh();
        SoundSystem& system = Started(replicating);
        host->Set(system, "PlaySoundOnServer", "false");
        NextSourceId() = 0;
        system.PlaySound(system.CreateSource(osg::Vec3f(0, 0, 0), false), true);
        EXPECT_EQ(aldouble::CallsTo({"alSourcePlay"}).size(), replicating ? 0u : 1u);
        EXPECT_EQ(Hex(WriteFrame(system)),
                  replicating ? "00 02 00 00 00 00 00 00 00 01 00 00 00 00 00 00 00 00 00 00 00 "
                                "00 00 00 00 00 03 00 00 00 01 00 00 00 01"
                              : "00 00 00 00 00");
    }
}

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
