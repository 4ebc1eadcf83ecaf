#include "uxs/guid.h"

#include <random>

namespace uxs {

guid guid::from_words(std::uint32_t w0, std::uint32_t w1, std::uint32_t w2, std::uint32_t w3) {
    std::array<std::uint8_t, 16> bytes{};
    const std::uint32_t words[] = {w0, w1, w2, w3};
    for (int w = 0; w < 4; ++w) {
        for (int b = 0; b < 4; ++b) {
            bytes[w * 4 + b] = static_cast<std::uint8_t>(words[w] >> (8 * b));
        }
    }
    return guid(bytes);
}

guid guid::generate() {
    thread_local std::mt19937_64 engine{std::random_device{}()};
    std::array<std::uint8_t, 16> bytes{};
    for (int half = 0; half < 2; ++half) {
        std::uint64_t value = engine();
        for (int b = 0; b < 8; ++b) {
            bytes[half * 8 + b] = static_cast<std::uint8_t>(value >> (8 * b));
        }
    }
    bytes[7] = static_cast<std::uint8_t>((bytes[7] & 0x0F) | 0x40);  // version 4
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // variant 1
    return guid(bytes);
}

bool guid::is_null() const {
    for (auto b : bytes_) {
        if (b != 0) {
            return false;
        }
    }
    return true;
}

std::string guid::to_string() const {
    const auto& b = bytes_;
    return fmt::format(
        "{:02x}{:02x}{:02x}{:02x}-{:02x}{:02x}-{:02x}{:02x}-{:02x}{:02x}-"
        "{:02x}{:02x}{:02x}{:02x}{:02x}{:02x}",
        b[3], b[2], b[1], b[0], b[5], b[4], b[7], b[6], b[8], b[9], b[10], b[11], b[12], b[13],
        b[14], b[15]);
}

}  // namespace uxs
