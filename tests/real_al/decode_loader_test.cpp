// Putting a decoded file into an OpenAL buffer registered under a name, on
// OpenAL Soft.

#include <AL/al.h>
#include <AL/alext.h>
#include <gtest/gtest.h>

#include <string>

#include "decode/SoundLoader.h"
#include "kep/Messages.h"
#include "real_al/decode_al_context.h"
#include "sound/SoundBufferRegistry.h"
#include "support/DecodeTesting.h"
#include "support/TestMedia.h"

namespace {

using kep::MessageLevel;

ALint BufferValue(ALuint buffer, ALenum parameter) {
    ALint value = -1;
    alGetBufferi(buffer, parameter, &value);
    return value;
}

class PuttingASoundIntoABuffer : public WithRealAlContext<> {
protected:
    void TearDown() override {
        registry.Clear();  // while the context is still current
        WithRealAlContext<>::TearDown();
    }

    kep::MessageCapture capture;
    SoundBufferRegistry registry;
};

TEST_F(PuttingASoundIntoABuffer, RegistersTheDecodedSoundUnderItsName) {
    const std::string path = MediaPath("pcm_s16_stereo.wav");
    const ReferenceDecoding reference = DecodeWithFFmpeg(path);

    EXPECT_EQ(PutSoundIntoBuffer(registry, "door", path), "door");

    const ALuint buffer = registry.FindBuffer("door");
    ASSERT_NE(buffer, 0u);
    EXPECT_EQ(registry.pathsByName.at("door"), path);
    EXPECT_EQ(BufferValue(buffer, AL_FREQUENCY), 44100);
    EXPECT_EQ(BufferValue(buffer, AL_CHANNELS), 2);
    EXPECT_EQ(BufferValue(buffer, AL_BITS), 16);
    EXPECT_EQ(static_cast<std::size_t>(BufferValue(buffer, AL_SIZE)),
              DecodedByteCount(reference.frameSamples, 2, 2));
    EXPECT_EQ(alGetError(), AL_NO_ERROR);
    EXPECT_TRUE(capture.lines(MessageLevel::Error).empty());
}

TEST_F(PuttingASoundIntoABuffer, MultichannelFloatSoundFillsItsBuffer) {
    const std::string path = MediaPath("pcm_f32_7.1.wav");
    ASSERT_EQ(PutSoundIntoBuffer(registry, "ambience", path), "ambience");
    const ALuint buffer = registry.FindBuffer("ambience");
    EXPECT_EQ(BufferValue(buffer, AL_CHANNELS), 8);
    EXPECT_EQ(BufferValue(buffer, AL_FREQUENCY), 44100);
}

TEST_F(PuttingASoundIntoABuffer, MissingFileIsLoggedAndNothingRegistered) {
    const std::string path = MediaDir() + "/no_such_file.wav";
    EXPECT_EQ(PutSoundIntoBuffer(registry, "door", path), "");
    EXPECT_EQ(capture.lines(MessageLevel::Error),
              std::vector<std::string>{"SoundSystem: Failed to load " + path +
                                       " error: Failed to open " + path});
    EXPECT_TRUE(registry.buffersByName.empty());
    EXPECT_TRUE(registry.pathsByName.empty());
}

TEST_F(PuttingASoundIntoABuffer, RefusedFormatIsLoggedWithTheDecodersReason) {
    const std::string path = MediaPath("pcm_f64_stereo.wav");
    EXPECT_EQ(PutSoundIntoBuffer(registry, "door", path), "");
    EXPECT_EQ(
        capture.lines(MessageLevel::Error),
        (std::vector<std::string>{
            "FFStream: Ambisonic sound not supported by the sound plug-in or unknown format",
            "SoundSystem: Failed to load " + path + " error: Format configuration not found"}));
    EXPECT_TRUE(registry.buffersByName.empty());
}

TEST_F(PuttingASoundIntoABuffer, SecondLoadUnderTheSameNameKeepsTheFirstPathAndBuffer) {
    const std::string first = MediaPath("pcm_s16_mono.wav");
    const std::string second = MediaPath("pcm_u8_stereo.wav");
    ASSERT_EQ(PutSoundIntoBuffer(registry, "door", first), "door");
    const ALuint firstBuffer = registry.FindBuffer("door");

    EXPECT_EQ(PutSoundIntoBuffer(registry, "door", second), "door");
    EXPECT_EQ(registry.FindBuffer("door"), firstBuffer);
    EXPECT_EQ(registry.pathsByName.at("door"), first);
    EXPECT_EQ(BufferValue(firstBuffer, AL_BITS), 16);
    EXPECT_EQ(registry.buffersByName.size(), 1u);
}

TEST_F(PuttingASoundIntoABuffer, EmptyAudioStreamGivesAnEmptyBuffer) {
    EXPECT_EQ(PutSoundIntoBuffer(registry, "silence", MediaPath("empty_audio.wav")), "silence");
    const ALuint buffer = registry.FindBuffer("silence");
    ASSERT_NE(buffer, 0u);
    EXPECT_EQ(BufferValue(buffer, AL_SIZE), 0);
}

TEST_F(PuttingASoundIntoABuffer, NamesAreKeptByteForByte) {
    const std::string name("Door \0 Creak", 12);
    EXPECT_EQ(PutSoundIntoBuffer(registry, name, MediaPath("pcm_u8_mono.wav")), name);
    EXPECT_NE(registry.FindBuffer(name), 0u);
    EXPECT_EQ(registry.FindBuffer("Door "), 0u);
}

}  // namespace
