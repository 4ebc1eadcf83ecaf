#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

// How a person and OpenAL's headers call a buffer format.
struct OpenAlFormatName {
    std::string_view description;  // "stereo float32"
    std::string_view enumerator;   // "AL_FORMAT_STEREO_FLOAT32"
};

// The name of one of the formats the sound system fills buffers with; none for
// any other value.
std::optional<OpenAlFormatName> NameOfOpenAlFormat(std::uint32_t format);
