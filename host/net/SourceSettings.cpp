#include "host/net/SourceSettings.h"

#include <bit>

#include <fmt/format.h>

#include "host/net/LittleEndian.h"

namespace replication {

namespace {

constexpr std::size_t kIdSize = 8;
constexpr std::size_t kHeadSize = kIdSize + 4;
constexpr std::size_t kRecordSize = 9;

}  // namespace

std::vector<std::uint8_t> EncodeSourceSettings(std::uint64_t requestId,
                                               std::span<const SourceSetting> sources) {
    std::vector<std::uint8_t> out(kHeadSize + kRecordSize * sources.size());
    PutLittle(&out[0], requestId);
    PutLittle(&out[kIdSize], static_cast<std::uint32_t>(sources.size()));
    std::uint8_t* record = out.data() + kHeadSize;
    for (const SourceSetting& source : sources) {
        PutLittle(record, static_cast<std::uint32_t>(source.sourceId));
        PutLittle(record + 4, std::bit_cast<std::uint32_t>(source.gain));
        record[8] = source.looping ? 1 : 0;
        record += kRecordSize;
    }
    return out;
}

std::optional<SourceSettings> DecodeSourceSettings(std::span<const std::uint8_t> payload,
                                                   std::string& error) {
    if (payload.size() < kHeadSize) {
        error = fmt::format("source settings of {} bytes, shorter than their head", payload.size());
        return std::nullopt;
    }
    const auto count = GetLittle<std::uint32_t>(payload, kIdSize);
    if ((payload.size() - kHeadSize) / kRecordSize != count ||
        (payload.size() - kHeadSize) % kRecordSize != 0) {
        error = fmt::format("source settings of {} bytes for {} sources", payload.size(), count);
        return std::nullopt;
    }
    SourceSettings settings;
    settings.requestId = GetLittle<std::uint64_t>(payload, 0);
    settings.sources.reserve(count);
    for (std::size_t at = kHeadSize; at < payload.size(); at += kRecordSize) {
        if (payload[at + 8] > 1) {
            error = fmt::format("a looping flag of {}", payload[at + 8]);
            return std::nullopt;
        }
        settings.sources.push_back(
            {static_cast<std::int32_t>(GetLittle<std::uint32_t>(payload, at)),
             std::bit_cast<float>(GetLittle<std::uint32_t>(payload, at + 4)),
             payload[at + 8] != 0});
    }
    return settings;
}

std::vector<std::uint8_t> EncodeRequestId(std::uint64_t requestId) {
    std::vector<std::uint8_t> out(kIdSize);
    PutLittle(out.data(), requestId);
    return out;
}

std::optional<std::uint64_t> DecodeRequestId(std::span<const std::uint8_t> payload) {
    if (payload.size() != kIdSize) {
        return std::nullopt;
    }
    return GetLittle<std::uint64_t>(payload, 0);
}

}  // namespace replication
