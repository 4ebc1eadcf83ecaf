// The library as the host finds it, and a sound system playing on real OpenAL
// Soft (null backend).
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>
#include <tuple>

#include "kep/HumanInput.h"
#include "kep/ISoundInspector.h"
#include "plugin/PluginIdentity.h"
#include "support/Harness.h"
#include "support/MessageCapture.h"
#include "support/TestMedia.h"

extern "C" kep::PluginLibraryDescriptor* GetLibraryContents();

namespace {

TEST(Library, DescribesItselfAndItsOnePlugin) {
    kep::PluginLibraryDescriptor* library = GetLibraryContents();
    ASSERT_EQ(library, GetLibraryContents());
    EXPECT_EQ(library->name, "kepSoundPlugins");
    const kep::PluginLibraryItem* item = library->items;
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->name, "SoundSystem");
    EXPECT_EQ(Hex(item->guid.bytes()), "F9 53 F8 A1 AA 0F 5C 45 A1 25 02 78 77 2C 0A AF");
    EXPECT_EQ(item->kind, 2);
    EXPECT_EQ(item->flags, kep::ItemFlags::Default);
    EXPECT_EQ(item->next, nullptr);
}

TEST(Library, SoundSystemAnswersForItsInterfacesOnly) {
    SoundSystemHarness host;
    SoundSystem& system = host.Add("sound", false, false);
    EXPECT_EQ(system.GetTypeName(), "SoundSystem");
    EXPECT_EQ(system.GetDisplayName(), "Sound System");
    EXPECT_EQ(system.GetTypeGuid(), SoundSystemTypeGuid());
    auto* sound = kep::query<kep::ISoundSystem>(&system);
    EXPECT_EQ(sound, static_cast<kep::ISoundSystem*>(&system));
    EXPECT_EQ(kep::query<kep::IInteractivePlugin>(sound),
              static_cast<kep::IInteractivePlugin*>(&system));
    EXPECT_EQ(kep::query<kep::IBasePlugin>(sound), static_cast<kep::IBasePlugin*>(&system));
    EXPECT_EQ(kep::query<kep::IHumanInput>(sound), nullptr);
    EXPECT_EQ(system.GetFlags() & 0x220u, 0x220u);
}

TEST(Library, SoundSystemDeclaresItsParameters) {
    SoundSystemHarness host;
    SoundSystem& system = host.Add("sound", false, false);
    const kep::Property& global = *system.GetPluginProperty();
    const kep::Property& local = *system.GetPluginLocalProperty();
    EXPECT_EQ(global.GetParameterText("Volume"), "1");
    EXPECT_EQ(global.FindParameter("Volume")->description(), "Overall Volume 1.0f ? 0Db");
    EXPECT_EQ(global.GetParameterText("PlaySoundOnServer"), "true");
    EXPECT_EQ(global.FindParameter("PlaySoundOnServer")->description(), "Play sound on server");
    EXPECT_EQ(local.GetParameterText("HumanInputTag"), "");
    EXPECT_EQ(local.FindParameter("HumanInputTag")->description(), "Human Input Tag");
    EXPECT_EQ(system.TakeChanged(), 0);
    // Local data of another kind gets no parameter.
    kep::Property other;
    kep::IComponent::LocalData foreign;
    system.DeclareLocalParameters(other, &foreign);
    EXPECT_TRUE(other.parameters().empty());
}

TEST(Playback, ASoundPlaysFromASourceWithTheDurationOfItsPaddedBuffer) {
    SoundSystemHarness host;
    SoundSystem& system = host.Add("sound");
    ASSERT_TRUE(system.IsDeviceOpen());
    ASSERT_TRUE(system.CreateSound("sine", MediaPath("sine_mono_2s.wav")));
    // 88224 samples (frames padded to 32 samples) at 44100 Hz: 2.0005 s, rounded up.
    EXPECT_EQ(system.GetSoundDuration("sine"), 3u);
    const std::int32_t source = system.CreateSource(osg::Vec3f(1, 2, 3), false);
    // The state test passes for a source that never played (AL_INITIAL).
    EXPECT_TRUE(system.IsPlaying(source));
    EXPECT_EQ(system.GetPosition(source), osg::Vec3f(1, 2, 3));
    EXPECT_TRUE(system.MountSound(source, "sine"));
    EXPECT_FALSE(system.MountSound(source, "other"));
    system.PlaySound(source, false);
    auto* inspector = kep::query<kep::ISoundInspector>(&system);
    EXPECT_TRUE(inspector->IsSourcePlaying(source));
    system.StopSound(source);
    EXPECT_FALSE(inspector->IsSourcePlaying(source));
    EXPECT_EQ(system.GetPosition(source + 1), osg::Vec3f(0, 0, 0));
    EXPECT_EQ(system.GetSoundDuration("other"), 0u);
}

TEST(Playback, SourceIdsStartAtOneAndIdsBelowOneNameNoSource) {
    SoundSystemHarness host;
    SoundSystem& system = host.Add("sound");
    system.CreateSourceWithId(0, osg::Vec3f(), false);
    system.CreateSourceWithId(-5, osg::Vec3f(), false);
    EXPECT_FALSE(system.HasSource(0));
    EXPECT_FALSE(system.HasSource(-5));
    // An id that exists keeps its source as it was.
    system.CreateSourceWithId(9, osg::Vec3f(1, 0, 0), false);
    system.CreateSourceWithId(9, osg::Vec3f(2, 0, 0), false);
    EXPECT_EQ(system.GetPosition(9), osg::Vec3f(1, 0, 0));
    // A fresh process (this test program run again for this test alone) hands out 1 first.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::exit(system.CreateSource(osg::Vec3f(), false)), testing::ExitedWithCode(1),
                "");
}

TEST(Playback, OfThreeHundredSourcesTheFirst256Play) {
    SoundSystemHarness host;
    SoundSystem& system = host.Add("sound");
    auto* inspector = kep::query<kep::ISoundInspector>(&system);
    EXPECT_EQ(inspector->SourceLimit(), 256);
    ASSERT_TRUE(system.CreateSound("sine", MediaPath("sine_mono_2s.wav")));
    MessageCapture quiet;  // every call on a source OpenAL refused says "Invalid Name"
    std::vector<bool> playing;
    for (int count = 0; count < 300; ++count) {
        const std::int32_t source = system.CreateSource(osg::Vec3f(), true);
        system.MountSound(source, "sine");
        system.PlaySound(source, true);
        playing.push_back(inspector->IsSourcePlaying(source));
    }
    EXPECT_EQ(std::find(playing.begin(), playing.end(), false) - playing.begin(), 256);
    EXPECT_EQ(std::count(playing.begin(), playing.end(), true), 256);
}

long ResidentKib() {
    long pages = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

// Leaks are the sanitizer build's to find; resident memory is checked without it,
// since AddressSanitizer holds freed memory back on purpose.
TEST(Soak, LoadingPlayingAndDeletingASoundAThousandTimesKeepsMemoryFlat) {
    SoundSystemHarness host;
    SoundSystem& system = host.Add("sound");
    long afterHundred = 0;
    for (int round = 1; round <= 1000; ++round) {
        ASSERT_TRUE(system.CreateSound("tone", MediaPath("part_stereo.mp3")));  // 1 s
        const std::int32_t source = system.CreateSource(osg::Vec3f(), false);
        ASSERT_TRUE(system.MountSound(source, "tone"));
        system.PlaySound(source, false);
        system.DeleteSource(source);
        system.DeleteSound("tone");
        afterHundred = round == 100 ? ResidentKib() : afterHundred;
    }
#ifndef __SANITIZE_ADDRESS__
    // A round holds 350 KiB of PCM (the decoder's and OpenAL's): keeping a tenth of
    // the rounds' would add over 30 MiB.
    EXPECT_LT(ResidentKib() - afterHundred, 16 * 1024);
#endif
}

// Applying received commands on an instance that records them is a misuse the
// host must avoid; it raises instead of hanging.
TEST(RecordingInstance, ApplyingReceivedCommandsRaisesAndLeavesItWorking) {
    SoundSystemHarness host;
    SoundSystem& sender = host.Add("sender", true);
    SoundSystem& other = host.Add("other", true);
    const std::int32_t source = sender.CreateSource(osg::Vec3f(), false);
    sender.SetGain(source, 0.5f);
    ReadFrame(other, WriteFrame(sender));
    try {
        other.Update();
        ADD_FAILURE() << "Update returned";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::resource_deadlock_would_occur);
    }
    // Both locks were released on the way out, and what was received is dropped.
    other.SetGain(source, 0.25f);
    EXPECT_EQ(Hex(WriteFrame(other)),
              fmt::format("00 01 00 00 00 0B 00 00 00 {:02X} 00 00 00 00 00 80 3E", source));
    other.Update();
    EXPECT_TRUE(other.HasSource(source));
}

// Frames the replication fuzzer found (kept in fuzz/regressions) or that take its
// paths, read and applied: refused with std::bad_alloc or not, and the receiver's
// state after (as a snapshot: sounds, then sources).
TEST(DamagedFrames, ReadAndApplyAsFarAsTheyGo) {
    std::ifstream found(KEP_REPLICATION_FINDINGS "/snapshot-string-longer-than-any-allocation");
    const std::tuple<std::vector<std::uint8_t>, bool, std::string> frames[] = {
        // A sound name 0x4200A30080000000 bytes long.
        {{std::istreambuf_iterator<char>(found), {}}, true, "01 | 00 00 00 00 | 00 00 00 00"},
        // A count beyond the records: reading stops at the first short read, and the
        // record it cut is applied as far as it came (source 5 at x = 1).
        {Bytes("00 | FF FF FF FF | 00 00 00 00 | 05 00 00 00 | 00 00 80 3F"), false,
         "01 | 00 00 00 00 | 01 00 00 00 | 05 00 00 00 | 00 00 80 3F 00 00 00 00 00 00 00 00 | "
         "01 | 00 | 00 00 00 00 00 00 00 00 00 00 00 00 | 00 00 B4 43 | 00 00 00 00 | "
         "00 00 00 00 00 00 00 00"}};
    for (const auto& [bytes, refused, state] : frames) {
        SCOPED_TRACE(state);
        SoundSystemHarness host;
        SoundSystem& receiver = host.Add("receiver");
        if (refused) {
            EXPECT_THROW(ReadFrame(receiver, bytes), std::bad_alloc);
        } else {
            EXPECT_NO_THROW(ReadFrame(receiver, bytes));
        }
        receiver.Update();
        EXPECT_EQ(Hex(WriteFrame(receiver, true)), Hex(Bytes(state)));
    }
}

}  // namespace
