// Reading and decoding whole files: the reader's and the decoder's progress lines,
// lossy codecs, and files that end early or hold nothing.

#include <AL/al.h>
#include <AL/alext.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "decode/FFStream.h"
#include "kep/Messages.h"
#include "real_al/decode_al_context.h"
#include "support/DecodeTesting.h"
#include "support/TestMedia.h"

namespace {

using kep::MessageLevel;

std::vector<std::string> LinesStartingWith(const kep::MessageCapture& capture, MessageLevel level,
                                           std::string_view prefix) {
    std::vector<std::string> matching;
    for (const std::string& line : capture.lines(level)) {
        if (line.starts_with(prefix)) {
            matching.push_back(line);
        }
    }
    return matching;
}

class DecodingAFile : public WithRealAlContext<> {};

// 11025 mono 16-bit samples come in packets of 4096 bytes; each decoded frame is
// sized with FFmpeg's default alignment, so the last frame of 785 samples gives 800.
TEST_F(DecodingAFile, ReaderAndDecoderReportEveryPacketAndFrame) {
    kep::MessageCapture capture;
    FFStream stream(MediaPath("pcm_s16_mono.wav"));

    // The reader's and the decoder's lines interleave; each thread's are in order.
    const std::vector<std::string> packetsRead = {
        "FFStream: Packet read. Size: 4.00 KB",
        "FFStream: Packet read. Size: 4.00 KB",
        "FFStream: Packet read. Size: 4.00 KB",
        "FFStream: Packet read. Size: 4.00 KB",
        "FFStream: Packet read. Size: 4.00 KB",
        "FFStream: Packet read. Size: 1.53 KB",
        "FFStream: Read stream completed. Packet count: 6. Total size: 21.53 KB."};
    EXPECT_EQ(LinesStartingWith(capture, MessageLevel::Debug, "FFStream: Packet read").size() + 1,
              packetsRead.size());
    std::vector<std::string> readerLines =
        LinesStartingWith(capture, MessageLevel::Debug, "FFStream: Packet read");
    for (const std::string& line :
         LinesStartingWith(capture, MessageLevel::Debug, "FFStream: Read stream")) {
        readerLines.push_back(line);
    }
    EXPECT_EQ(readerLines, packetsRead);

    const std::vector<std::string> decoderLines = {
        "FFStream: Samples realloc. Size: 4.00 KB",
        "FFStream: Frame decoded. Size: 4.00 KB",
        "FFStream: Frame decoded. Size: 4.00 KB",
        "FFStream: Frame decoded. Size: 4.00 KB",
        "FFStream: Frame decoded. Size: 4.00 KB",
        "FFStream: Frame decoded. Size: 4.00 KB",
        "FFStream: Frame decoded. Size: 1.56 KB",
        "FFStream: Decode stream completed. Total size: 21.56 KB"};
    std::vector<std::string> decoded;
    for (const std::string& line : capture.lines(MessageLevel::Debug)) {
        if (line.starts_with("FFStream: Samples realloc") ||
            line.starts_with("FFStream: Frame decoded") ||
            line.starts_with("FFStream: Decode stream")) {
            decoded.push_back(line);
        }
    }
    EXPECT_EQ(decoded, decoderLines);
    EXPECT_EQ(stream.GetPcm().size(), 22080u);
    EXPECT_TRUE(capture.lines(MessageLevel::Warning).empty());
    EXPECT_TRUE(capture.lines(MessageLevel::Error).empty());
}

TEST_F(DecodingAFile, ScratchBufferGrowsOnlyForALargerFrame) {
    // 4096-byte packets of 7.1 u8 hold 512 frames each; only the first needs memory.
    kep::MessageCapture capture;
    FFStream stream(MediaPath("pcm_u8_7.1.wav"));
    EXPECT_EQ(LinesStartingWith(capture, MessageLevel::Debug, "FFStream: Samples realloc"),
              std::vector<std::string>{"FFStream: Samples realloc. Size: 4.00 KB"});
}

TEST_F(DecodingAFile, EmptyAudioStreamGivesNoSamples) {
    kep::MessageCapture capture;
    FFStream stream(MediaPath("empty_audio.wav"));
    EXPECT_TRUE(stream.GetPcm().empty());
    EXPECT_EQ(stream.GetAlBufferFormat().alFormat, static_cast<std::uint32_t>(AL_FORMAT_MONO16));
    EXPECT_TRUE(
        capture.contains(MessageLevel::Debug,
                         "FFStream: Read stream completed. Packet count: 0. Total size: 0.00 KB."));
    EXPECT_TRUE(capture.contains(MessageLevel::Debug,
                                 "FFStream: Decode stream completed. Total size: 0.00 KB"));
}

TEST_F(DecodingAFile, FileCutShortGivesTheSamplesItHolds) {
    const std::string path = MediaPath("truncated_s16_stereo.wav");
    const ReferenceDecoding reference = DecodeWithFFmpeg(path);
    ASSERT_GT(reference.Samples(), 0);
    ASSERT_LT(reference.Samples(), 11025);  // the header promises 11025

    FFStream stream(path);
    EXPECT_EQ(stream.GetAlBufferFormat().alFormat, static_cast<std::uint32_t>(AL_FORMAT_STEREO16));
    EXPECT_TRUE(PcmHoldsTone(stream.GetPcm(), AV_SAMPLE_FMT_S16, 2, 2, reference.frameSamples,
                             reference.sampleRate, 2.0 / 32768));
}

struct LossyCase {
    const char* file;
    const char* decoderName;
    int sampleRate;
};

void PrintTo(const LossyCase& lossyCase, std::ostream* out) {
    *out << lossyCase.file;
}

class DecodingLossyFile : public WithRealAlContext<testing::TestWithParam<LossyCase>> {};

// Lossy codecs decode to planar float: stereo float 32 on this device.
TEST_P(DecodingLossyFile, DecodesEveryFrameOfItsPacketsToStereoFloat) {
    const LossyCase& lossyCase = GetParam();
    const std::string path = MediaPath(lossyCase.file);
    const ReferenceDecoding reference = DecodeWithFFmpeg(path);
    // 1.5 s of tone, give or take the codec's frame granularity.
    ASSERT_NEAR(static_cast<double>(reference.Samples()) / reference.sampleRate, 1.5, 0.05);

    kep::MessageCapture capture;
    FFStream stream(path);
    const FFStream::AlBufferFormat format = stream.GetAlBufferFormat();
    EXPECT_EQ(format.alFormat, static_cast<std::uint32_t>(AL_FORMAT_STEREO_FLOAT32));
    EXPECT_EQ(format.frameBytes, 8u);
    EXPECT_EQ(format.sampleRate, static_cast<std::uint32_t>(lossyCase.sampleRate));
    EXPECT_TRUE(capture.contains(MessageLevel::Info,
                                 fmt::format("FFStream: Find format {} with rate {}",
                                             lossyCase.decoderName, lossyCase.sampleRate)));
    // Exactly what FFmpeg decodes from the packets, interleaved.
    EXPECT_EQ(stream.GetPcm().size(), DecodedByteCount(reference.frameSamples, 2, 4));
    EXPECT_TRUE(PcmMatchesReference(stream.GetPcm(), AV_SAMPLE_FMT_FLT, reference, 0.0));
}

INSTANTIATE_TEST_SUITE_P(Codecs, DecodingLossyFile,
                         testing::Values(LossyCase{"vorbis_stereo.ogg", "vorbis", 44100},
                                         LossyCase{"opus_stereo.opus", "opus", 48000},
                                         LossyCase{"mp3_stereo.mp3", "mp3float", 44100},
                                         LossyCase{"aac_stereo.m4a", "aac", 44100}),
                         [](const testing::TestParamInfo<LossyCase>& info) {
                             return std::string(info.param.decoderName);
                         });

}  // namespace
