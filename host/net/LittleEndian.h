#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

// The host's own frames are little-endian whatever the machine.
namespace replication {

template <class T>
void PutLittle(std::uint8_t* out, T value) {
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        out[i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

// The bytes must be there: the caller has checked the length.
template <class T>
T GetLittle(std::span<const std::uint8_t> bytes, std::size_t offset) {
    T value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        value |= static_cast<T>(bytes[offset + i]) << (8 * i);
    }
    return value;
}

}  // namespace replication
