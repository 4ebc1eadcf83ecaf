#include <array>
#include <cstring>

#include <gtest/gtest.h>

#include "uxs/io.h"

namespace {

std::span<const std::uint8_t> BytesOf(const auto& value) {
    return {reinterpret_cast<const std::uint8_t*>(&value), sizeof(value)};
}

TEST(ByteBuffer, WritesElementsInTheChosenOrder) {
    const std::uint32_t word = 0x11223344;
    uxs::iobuf little(uxs::byte_order::little);
    little.write_with_endian(BytesOf(word), 4);
    EXPECT_EQ(std::vector<std::uint8_t>(little.data().begin(), little.data().end()),
              (std::vector<std::uint8_t>{0x44, 0x33, 0x22, 0x11}));

    uxs::iobuf big(uxs::byte_order::big);
    big.write_with_endian(BytesOf(word), 4);
    EXPECT_EQ(std::vector<std::uint8_t>(big.data().begin(), big.data().end()),
              (std::vector<std::uint8_t>{0x11, 0x22, 0x33, 0x44}));
}

TEST(ByteBuffer, RawWritesAndWidthOneIgnoreTheOrder) {
    const std::array<std::uint8_t, 3> text{'a', 'b', 'c'};
    uxs::iobuf big(uxs::byte_order::big);
    big.write(text).write_with_endian(text, 1);
    EXPECT_EQ(std::string(big.data().begin(), big.data().end()), "abcabc");
}

TEST(ByteBuffer, ReadsBackEightByteElementsInBothOrders) {
    for (auto order : {uxs::byte_order::little, uxs::byte_order::big}) {
        const std::uint64_t value = 0x0102030405060708ull;
        uxs::iobuf buffer(order);
        buffer.write_with_endian(BytesOf(value), 8);
        std::uint64_t read = 0;
        EXPECT_EQ(buffer.read_with_endian({reinterpret_cast<std::uint8_t*>(&read), 8}, 8), 8u);
        EXPECT_EQ(read, value);
        EXPECT_TRUE(buffer.good());
    }
}

TEST(ByteBuffer, ExactEndIsNotEndOfData) {
    const std::uint8_t byte = 7;
    uxs::iobuf buffer;
    buffer.write({&byte, 1});
    std::uint8_t read = 0;
    EXPECT_EQ(buffer.read({&read, 1}), 1u);
    EXPECT_FALSE(buffer.eof());
    EXPECT_FALSE(buffer.fail());
}

TEST(ByteBuffer, ShortReadSetsEndAndFailAndDeliversWholeElementsOnly) {
    const std::array<std::uint8_t, 6> bytes{1, 2, 3, 4, 5, 6};
    uxs::ibuf buffer(bytes);
    std::array<std::uint8_t, 8> out{};
    EXPECT_EQ(buffer.read_with_endian(out, 4), 4u);
    EXPECT_TRUE(buffer.eof());
    EXPECT_TRUE(buffer.fail());
    EXPECT_EQ(out[3], 4);
    EXPECT_EQ(out[4], 0);
    // A failed buffer delivers nothing more, not even the bytes that are left.
    std::uint8_t next = 0;
    EXPECT_EQ(buffer.read({&next, 1}), 0u);
    EXPECT_EQ(next, 0);
}

TEST(ByteBuffer, ClearStartsOver) {
    uxs::iobuf buffer;
    const std::uint8_t byte = 1;
    buffer.write({&byte, 1});
    std::array<std::uint8_t, 2> out{};
    buffer.read(out);
    ASSERT_TRUE(buffer.fail());
    buffer.clear();
    EXPECT_TRUE(buffer.good());
    EXPECT_EQ(buffer.size(), 0u);
}

}  // namespace
