#include <gtest/gtest.h>

#include <array>

#include "uxs/io.h"

namespace {

std::span<const std::uint8_t> BytesOf(const auto& value) {
    return {reinterpret_cast<const std::uint8_t*>(&value), sizeof(value)};
}

std::vector<std::uint8_t> Written(uxs::byte_order order) {
    const std::uint32_t word = 0x11223344;
    const std::uint64_t wide = 0x0102030405060708ull;
    const std::array<std::uint8_t, 2> text{'a', 'b'};
    uxs::iobuf buffer(order);
    buffer.write_with_endian(BytesOf(word), 4).write_with_endian(BytesOf(wide), 8);
    buffer.write(text).write_with_endian(text, 1);
    return buffer.take();
}

TEST(ByteBuffer, WritesElementsInItsOrderAndBytesAsTheyAre) {
    EXPECT_EQ(Written(uxs::byte_order::little),
              (std::vector<std::uint8_t>{0x44, 0x33, 0x22, 0x11, 8, 7, 6, 5, 4, 3, 2, 1, 'a', 'b',
                                         'a', 'b'}));
    EXPECT_EQ(Written(uxs::byte_order::big),
              (std::vector<std::uint8_t>{0x11, 0x22, 0x33, 0x44, 1, 2, 3, 4, 5, 6, 7, 8, 'a', 'b',
                                         'a', 'b'}));
}

TEST(ByteBuffer, ReadsBackAndFailsOnAShortRead) {
    const std::vector<std::uint8_t> bytes = Written(uxs::byte_order::big);
    uxs::ibuf buffer(bytes, uxs::byte_order::big);
    std::uint32_t word = 0;
    buffer.read_with_endian({reinterpret_cast<std::uint8_t*>(&word), 4}, 4);
    EXPECT_EQ(word, 0x11223344u);
    std::array<std::uint8_t, 12> rest{};
    // Reading to the exact end is not running out.
    EXPECT_EQ(buffer.read(rest), 12u);
    EXPECT_TRUE(buffer.good());
    // Only whole elements are delivered; a failed buffer delivers nothing more.
    uxs::ibuf shorter(std::span<const std::uint8_t>(bytes).first(6));
    std::array<std::uint8_t, 8> out{};
    EXPECT_EQ(shorter.read_with_endian(out, 4), 4u);
    EXPECT_TRUE(shorter.eof() && shorter.fail());
    EXPECT_EQ(out[4], 0);
    EXPECT_EQ(shorter.read(std::span(out).first(1)), 0u);
}

}  // namespace
