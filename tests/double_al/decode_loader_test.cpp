// The loader's OpenAL calls, and what it does when OpenAL refuses them. The device
// is the OpenAL double.

#include <AL/al.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "decode/SoundLoader.h"
#include "kep/Messages.h"
#include "openal_double/OpenAlDouble.h"
#include "sound/SoundBufferRegistry.h"
#include "support/TestMedia.h"

namespace {

using kep::MessageLevel;

class LoaderOnTheDouble : public testing::Test {
protected:
    void SetUp() override {
        aldouble::Reset();
        aldouble::SetExtensions({"AL_EXT_FLOAT32", "AL_EXT_MCFORMATS", "AL_EXT_DOUBLE"});
    }

    kep::MessageCapture capture;
    SoundBufferRegistry registry;
};

// 11025 stereo 16-bit frames decode as ten frames of 1024 and one of 785, which
// FFmpeg's default alignment pads to 800: 11040 frames of 4 bytes.
TEST_F(LoaderOnTheDouble, GeneratesChecksAndFillsOneBuffer) {
    EXPECT_EQ(PutSoundIntoBuffer(registry, "door", MediaPath("pcm_s16_stereo.wav")), "door");
    EXPECT_EQ(
        aldouble::Calls(),
        (std::vector<std::string>{"alGenBuffers(1)", "alGetError()", "alGetError()",
                                  "alBufferData(1, 0x1103, ptr, 44160, 44100)", "alGetError()"}));
    EXPECT_EQ(registry.FindBuffer("door"), 1u);
    const auto buffer = aldouble::GetBuffer(1);
    ASSERT_TRUE(buffer);
    EXPECT_EQ(buffer->data.size(), 44160u);
}

TEST_F(LoaderOnTheDouble, FailedBufferGenerationStillAnswersTheNameButRegistersNothing) {
    aldouble::FailNextCall("alGenBuffers", AL_OUT_OF_MEMORY);
    EXPECT_EQ(PutSoundIntoBuffer(registry, "door", MediaPath("pcm_s16_stereo.wav")), "door");
    EXPECT_TRUE(registry.buffersByName.empty());
    EXPECT_TRUE(registry.pathsByName.empty());
    EXPECT_TRUE(aldouble::CallsTo("alBufferData").empty());
    EXPECT_TRUE(capture.lines(MessageLevel::Error).empty());
}

TEST_F(LoaderOnTheDouble, RefusedDataIsReportedAndTheBufferDeleted) {
    aldouble::FailNextCall("alBufferData", AL_INVALID_VALUE);
    EXPECT_EQ(PutSoundIntoBuffer(registry, "door", MediaPath("pcm_s16_stereo.wav")), "");
    EXPECT_EQ(capture.lines(MessageLevel::Error),
              std::vector<std::string>{
                  "SoundSystem::OpenAL::Put sound into buffer: Invalid enum parameter value."});
    EXPECT_EQ(aldouble::CallsTo("alDeleteBuffers"),
              std::vector<std::string>{"alDeleteBuffers(1, [1])"});
    EXPECT_TRUE(aldouble::Buffers().empty());
    EXPECT_TRUE(registry.buffersByName.empty());
    EXPECT_TRUE(registry.pathsByName.empty());
}

TEST_F(LoaderOnTheDouble, RefusedDataAlsoErasesTheNamesEarlierEntries) {
    ASSERT_EQ(PutSoundIntoBuffer(registry, "door", MediaPath("pcm_s16_mono.wav")), "door");
    aldouble::FailNextCall("alBufferData", AL_OUT_OF_MEMORY);
    EXPECT_EQ(PutSoundIntoBuffer(registry, "door", MediaPath("pcm_s16_stereo.wav")), "");
    EXPECT_TRUE(registry.buffersByName.empty());
    EXPECT_TRUE(registry.pathsByName.empty());
    // The first buffer is forgotten, not deleted; the second is deleted.
    EXPECT_EQ(aldouble::Buffers(), std::vector<ALuint>{1});
    EXPECT_EQ(aldouble::CallsTo("alDeleteBuffers"),
              std::vector<std::string>{"alDeleteBuffers(1, [2])"});
}

TEST_F(LoaderOnTheDouble, SecondLoadUnderTheSameNameFillsABufferNobodyRecords) {
    const std::string first = MediaPath("pcm_s16_mono.wav");
    ASSERT_EQ(PutSoundIntoBuffer(registry, "door", first), "door");
    EXPECT_EQ(PutSoundIntoBuffer(registry, "door", MediaPath("pcm_u8_stereo.wav")), "door");
    EXPECT_EQ(registry.buffersByName.at("door"), 1u);
    EXPECT_EQ(registry.pathsByName.at("door"), first);
    EXPECT_EQ(aldouble::Buffers(), (std::vector<ALuint>{1, 2}));
    const auto unrecorded = aldouble::GetBuffer(2);
    ASSERT_TRUE(unrecorded);
    EXPECT_EQ(unrecorded->format, AL_FORMAT_STEREO8);
    EXPECT_FALSE(unrecorded->data.empty());
}

TEST_F(LoaderOnTheDouble, DecoderFailureMakesNoOpenAlCall) {
    const std::string path = MediaPath("not_media.txt");
    EXPECT_EQ(PutSoundIntoBuffer(registry, "door", path), "");
    EXPECT_TRUE(aldouble::Calls().empty());
    EXPECT_EQ(
        capture.lines(MessageLevel::Error),
        std::vector<std::string>{"SoundSystem: Failed to load " + path + " error: Failed to open " +
                                 path + ". Error: Invalid data found when processing input"});
}

}  // namespace
