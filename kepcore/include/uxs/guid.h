#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <string>

#include <fmt/format.h>

#include "kep/Export.h"

namespace uxs {

// A 16-byte globally unique identifier. Its text form groups the bytes as four
// little-endian words: a1f853f9-0faa-455c-a125-0278772c0aaf.
class KEPCORE_API guid {
public:
    constexpr guid() = default;
    constexpr explicit guid(const std::array<std::uint8_t, 16>& bytes) : bytes_(bytes) {}
    // Builds a guid from four 32-bit words stored little-endian.
    static guid from_words(std::uint32_t w0, std::uint32_t w1, std::uint32_t w2, std::uint32_t w3);
    // A random (version 4) guid.
    static guid generate();

    constexpr const std::array<std::uint8_t, 16>& bytes() const { return bytes_; }
    bool is_null() const;
    std::string to_string() const;

    friend constexpr bool operator==(const guid&, const guid&) = default;
    friend constexpr auto operator<=>(const guid&, const guid&) = default;

private:
    std::array<std::uint8_t, 16> bytes_{};
};

}  // namespace uxs

template <>
struct fmt::formatter<uxs::guid> : fmt::formatter<std::string> {
    template <class FormatContext>
    auto format(const uxs::guid& g, FormatContext& ctx) const {
        return fmt::formatter<std::string>::format(g.to_string(), ctx);
    }
};
