#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

// What a joiner needs beside the sound system's snapshot, which carries neither
// the sources' gains nor their looping flags: the server sends it, with the id of
// the request it answers, to the one joiner that asked. Little-endian:
//
//   request id   8 bytes
//   count        4 bytes
//   count times: source id 4 bytes (signed), gain 4 bytes (float), looping 1 byte (0 or 1)
namespace replication {

struct SourceSetting {
    std::int32_t sourceId = 0;
    float gain = 1;
    bool looping = false;

    friend bool operator==(const SourceSetting&, const SourceSetting&) = default;
};

struct SourceSettings {
    std::uint64_t requestId = 0;
    std::vector<SourceSetting> sources;
};

std::vector<std::uint8_t> EncodeSourceSettings(std::uint64_t requestId,
                                               std::span<const SourceSetting> sources);
// The settings, or nothing with the reason in `error` if the bytes are not exactly
// such a record.
std::optional<SourceSettings> DecodeSourceSettings(std::span<const std::uint8_t> payload,
                                                   std::string& error);

// A snapshot request's payload is the id of the request, which the answer repeats.
std::vector<std::uint8_t> EncodeRequestId(std::uint64_t requestId);
std::optional<std::uint64_t> DecodeRequestId(std::span<const std::uint8_t> payload);

}  // namespace replication
