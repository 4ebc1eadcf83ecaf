#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

// Builds expected replication bytes field by field, little-endian.
class WireBytes {
public:
    WireBytes& u8(std::uint8_t value) {
        bytes_.push_back(value);
        return *this;
    }
    WireBytes& u32(std::uint32_t value) {
        for (int i = 0; i < 4; ++i) {
            bytes_.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
        }
        return *this;
    }
    WireBytes& i32(std::int32_t value) { return u32(static_cast<std::uint32_t>(value)); }
    WireBytes& f32(float value) {
        std::uint32_t bits = 0;
        std::memcpy(&bits, &value, 4);
        return u32(bits);
    }
    WireBytes& boolean(bool value) { return u8(value ? 1 : 0); }
    WireBytes& text(std::string_view value) {
        const std::uint64_t size = value.size();
        for (int i = 0; i < 8; ++i) {
            bytes_.push_back(static_cast<std::uint8_t>(size >> (8 * i)));
        }
        bytes_.insert(bytes_.end(), value.begin(), value.end());
        return *this;
    }
    const std::vector<std::uint8_t>& bytes() const { return bytes_; }

private:
    std::vector<std::uint8_t> bytes_;
};
