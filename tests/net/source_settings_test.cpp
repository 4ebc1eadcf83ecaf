// The source settings a server sends beside a snapshot, and the snapshot request's id.
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/net/SourceSettings.h"

namespace {

using namespace replication;
using Bytes = std::vector<std::uint8_t>;

const Bytes kTwoSources{
    0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01,        // request id
    0x02, 0x00, 0x00, 0x00,                                // 2 sources
    0xfe, 0xff, 0xff, 0xff, 0x00, 0x00, 0x00, 0x3f, 0x01,  // source -2, gain 0.5, looping
    0x07, 0x00, 0x00, 0x00, 0x00, 0x00, 0x80, 0x3f, 0x00,  // source 7, gain 1, not looping
};

TEST(SourceSettings, AreWrittenAndReadAsDocumented) {
    const std::vector<SourceSetting> sources{{-2, 0.5f, true}, {7, 1.0f, false}};
    EXPECT_EQ(EncodeSourceSettings(0x0102030405060708, sources), kTwoSources);
    std::string error;
    const auto decoded = DecodeSourceSettings(kTwoSources, error);
    ASSERT_TRUE(decoded) << error;
    EXPECT_EQ(decoded->requestId, 0x0102030405060708u);
    EXPECT_EQ(decoded->sources, sources);
}

TEST(SourceSettings, RefusesBytesThatAreNotExactlyARecord) {
    const auto withCount = [](std::uint8_t count, std::size_t records, std::size_t extra) {
        Bytes bytes(kTwoSources.begin(), kTwoSources.begin() + 12 + 9 * records);
        bytes[8] = count;
        bytes.resize(bytes.size() + extra, 0);
        return bytes;
    };
    const struct {
        Bytes payload;
        const char* error;
    } refusals[] = {
        {Bytes(kTwoSources.begin(), kTwoSources.begin() + 11),
         "source settings of 11 bytes, shorter than their head"},
        {withCount(2, 1, 0), "source settings of 21 bytes for 2 sources"},
        {withCount(2, 2, 1), "source settings of 31 bytes for 2 sources"},
        {withCount(0, 0, 8), "source settings of 20 bytes for 0 sources"},
        {withCount(0xff, 0, 0), "source settings of 12 bytes for 255 sources"},
    };
    for (const auto& refusal : refusals) {
        SCOPED_TRACE(refusal.error);
        std::string error;
        EXPECT_FALSE(DecodeSourceSettings(refusal.payload, error));
        EXPECT_EQ(error, refusal.error);
    }
    std::string error;
    const auto none = DecodeSourceSettings(withCount(0, 0, 0), error);
    ASSERT_TRUE(none) << error;
    EXPECT_TRUE(none->sources.empty());
}

TEST(SourceSettings, RequestIdIsExactlyEightLittleEndianBytes) {
    const Bytes id(kTwoSources.begin(), kTwoSources.begin() + 8);
    EXPECT_EQ(EncodeRequestId(0x0102030405060708), id);
    EXPECT_EQ(DecodeRequestId(id), 0x0102030405060708u);
    EXPECT_EQ(DecodeRequestId(Bytes(id.begin(), id.end() - 1)), std::nullopt);
    EXPECT_EQ(DecodeRequestId(Bytes(kTwoSources.begin(), kTwoSources.begin() + 9)), std::nullopt);
}

}  // namespace
