#include "host/net/FrameHeader.h"

#include <algorithm>
#include <cstring>

#include <fmt/format.h>

#include "host/net/LittleEndian.h"

namespace replication {

namespace {

constexpr std::array<std::uint8_t, 4> kMagic{'K', 'E', 'P', 'R'};

bool KnownKind(std::uint8_t kind) {
    return kind >= static_cast<std::uint8_t>(FrameKind::Batch) &&
           kind <= static_cast<std::uint8_t>(FrameKind::SourceSettings);
}

}  // namespace

std::vector<std::uint8_t> EncodeFrame(FrameHeader header, std::span<const std::uint8_t> payload) {
    std::vector<std::uint8_t> out(kFrameHeaderSize + payload.size());
    std::copy(kMagic.begin(), kMagic.end(), out.begin());
    out[4] = kFrameVersion;
    out[5] = static_cast<std::uint8_t>(header.kind);
    out[6] = static_cast<std::uint8_t>(header.byteOrder);
    out[7] = 0;
    PutLittle(&out[8], header.epoch);
    PutLittle(&out[16], header.sequence);
    PutLittle(&out[24], static_cast<std::uint32_t>(payload.size()));
    std::copy(payload.begin(), payload.end(), out.begin() + kFrameHeaderSize);
    return out;
}

std::optional<DecodedFrame> DecodeFrame(std::span<const std::uint8_t> message, std::string& error) {
    if (message.size() < kFrameHeaderSize) {
        error = fmt::format("{} bytes, shorter than a header", message.size());
        return std::nullopt;
    }
    if (std::memcmp(message.data(), kMagic.data(), kMagic.size()) != 0) {
        error = "not a replication frame (bad magic)";
        return std::nullopt;
    }
    if (message[4] != kFrameVersion) {
        error = fmt::format("version {}, expected {}", message[4], kFrameVersion);
        return std::nullopt;
    }
    if (!KnownKind(message[5]) || message[6] > 1 || message[7] != 0) {
        error = fmt::format("unknown kind {}, byte order {} or reserved byte {}", message[5],
                            message[6], message[7]);
        return std::nullopt;
    }
    DecodedFrame frame;
    frame.header.kind = static_cast<FrameKind>(message[5]);
    frame.header.byteOrder = static_cast<PayloadOrder>(message[6]);
    frame.header.epoch = GetLittle<std::uint64_t>(message, 8);
    frame.header.sequence = GetLittle<std::uint64_t>(message, 16);
    frame.header.payloadLength = GetLittle<std::uint32_t>(message, 24);
    if (frame.header.payloadLength != message.size() - kFrameHeaderSize) {
        error = fmt::format("payload of {} bytes, the header says {}",
                            message.size() - kFrameHeaderSize, frame.header.payloadLength);
        return std::nullopt;
    }
    frame.payload = message.subspan(kFrameHeaderSize);
    return frame;
}

const char* KindName(FrameKind kind) {
    switch (kind) {
        case FrameKind::Batch:
            return "batch";
        case FrameKind::Snapshot:
            return "snapshot";
        case FrameKind::Heartbeat:
            return "heartbeat";
        case FrameKind::End:
            return "end";
        case FrameKind::SnapshotRequest:
            return "snapshot request";
        case FrameKind::SourceSettings:
            return "source settings";
    }
    return "unknown";
}

}  // namespace replication
