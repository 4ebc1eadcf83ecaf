// Opening a sound file: the exception texts of each failure, and which stream and
// decoder are chosen.

#include <AL/al.h>
#include <gtest/gtest.h>

#include <string>

#include "decode/FFStream.h"
#include "kep/Messages.h"
#include "real_al/decode_al_context.h"
#include "support/DecodeTesting.h"
#include "support/TestMedia.h"

namespace {

using kep::MessageLevel;

class OpeningASoundFile : public WithRealAlContext<> {
protected:
    kep::MessageCapture capture;
};

TEST_F(OpeningASoundFile, MissingPathFailsWithoutFFmpegErrorText) {
    const std::string path = MediaDir() + "/no_such_file.wav";
    EXPECT_EQ(ConstructionError(path), "Failed to open " + path);
    EXPECT_TRUE(capture.lines().empty());
}

TEST_F(OpeningASoundFile, FileOfNoKnownContainerFailsWithFFmpegErrorText) {
    const std::string path = MediaPath("not_media.txt");
    EXPECT_EQ(ConstructionError(path),
              "Failed to open " + path + ". Error: Invalid data found when processing input");
    EXPECT_TRUE(capture.lines().empty());
}

TEST_F(OpeningASoundFile, FileCutBeforeItsIndexFailsWithFFmpegErrorText) {
    const std::string path = MediaPath("truncated_aac.m4a");
    EXPECT_EQ(ConstructionError(path),
              "Failed to open " + path + ". Error: Invalid data found when processing input");
}

TEST_F(OpeningASoundFile, FileWithOnlyVideoHasNoSuitableCodec) {
    EXPECT_EQ(ConstructionError(MediaPath("video_only.mp4")), "Codec configuration failed");
    EXPECT_EQ(
        capture.lines(),
        (std::vector<kep::LoggedLine>{ErrorLine("Couldn't find any suitable codec for the file")}));
}

TEST_F(OpeningASoundFile, VideoFileDecodesItsAudioStream) {
    const std::string path = MediaPath("video_with_audio.mkv");
    const ReferenceDecoding reference = DecodeWithFFmpeg(path);
    FFStream stream(path);
    EXPECT_TRUE(
        capture.contains(MessageLevel::Info, "FFStream: Find format pcm_s16le with rate 44100"));
    EXPECT_EQ(stream.GetAlBufferFormat().alFormat, static_cast<std::uint32_t>(AL_FORMAT_STEREO16));
    EXPECT_TRUE(PcmHoldsTone(stream.GetPcm(), AV_SAMPLE_FMT_S16, 2, 2, reference.frameSamples,
                             reference.sampleRate, 2.0 / 32768));
}

// The first audio stream (22050 Hz) has a format tag no decoder knows; the second
// (44100 Hz, mono) is taken.
TEST_F(OpeningASoundFile, AudioStreamWithoutDecoderIsSkipped) {
    const std::string path = MediaPath("first_audio_undecodable.avi");
    const ReferenceDecoding reference = DecodeWithFFmpeg(path);
    FFStream stream(path);
    EXPECT_TRUE(
        capture.contains(MessageLevel::Info, "FFStream: Find format pcm_s16le with rate 44100"));
    EXPECT_EQ(stream.GetAlBufferFormat().sampleRate, 44100u);
    EXPECT_EQ(stream.GetAlBufferFormat().alFormat, static_cast<std::uint32_t>(AL_FORMAT_MONO16));
    EXPECT_TRUE(PcmHoldsTone(stream.GetPcm(), AV_SAMPLE_FMT_S16, 1, 1, reference.frameSamples,
                             reference.sampleRate, 2.0 / 32768));
}

TEST_F(OpeningASoundFile, Planar16BitSourceIsRefused) {
    const std::string path = MediaPath("ima_adpcm_mono.wav");
    EXPECT_EQ(ConstructionError(path), "Format configuration not found");
    EXPECT_EQ(capture.lines(), (std::vector<kep::LoggedLine>{
                                   InfoLine("FFStream: Find format adpcm_ima_wav with rate 44100"),
                                   ErrorLine("FFStream: unknown sample format 6")}));
}

TEST_F(OpeningASoundFile, LoadedFileIsAnnouncedWithItsPath) {
    const std::string path = MediaPath("pcm_s16_stereo.wav");
    FFStream stream(path);
    const std::vector<kep::LoggedLine> info = {
        InfoLine("FFStream: Find format pcm_s16le with rate 44100"),
        InfoLine("FFStream: Select stereo 16 bit"),
        InfoLine("FFStream: file " + path + " successfully loaded")};
    std::vector<kep::LoggedLine> infoLines;
    for (const std::string& line : capture.lines(MessageLevel::Info)) {
        infoLines.push_back(InfoLine(line));
    }
    EXPECT_EQ(infoLines, info);
}

// Only the characters of the view name the file, even when more follow them.
TEST_F(OpeningASoundFile, PathIsTakenFromTheViewAlone) {
    const std::string path = MediaPath("pcm_s16_mono.wav");
    const std::string longer = path + ".backup";
    FFStream stream(std::string_view(longer).substr(0, path.size()));
    EXPECT_EQ(stream.GetAlBufferFormat().alFormat, static_cast<std::uint32_t>(AL_FORMAT_MONO16));
}

}  // namespace
