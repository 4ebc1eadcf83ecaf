#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

// The host's own header around each replication message it sends between
// processes. The header is always little-endian; `byteOrder` says how the
// plug-in's buffer after it is written.
//
//   offset  size  field
//   0       4     magic "KEPR"
//   4       1     version (2)
//   5       1     kind
//   6       1     byte order of the payload (0 little, 1 big)
//   7       1     reserved, 0
//   8       8     epoch: the serving instance's run, chosen at random when it starts
//   16      8     sequence: the last batch the message covers
//   24      4     payload length in bytes
//   28            payload
namespace replication {

enum class FrameKind : std::uint8_t {
    Batch = 1,            // one frame's recorded operations
    Snapshot = 2,         // the whole state, after the batch `sequence`
    Heartbeat = 3,        // nothing new; `sequence` is the last batch sent
    End = 4,              // the run has ended; `sequence` is its last batch
    SnapshotRequest = 5,  // a joiner asks for a snapshot (payload: the request's id)
    SourceSettings = 6,   // sent beside a snapshot: what it lacks (see SourceSettings.h)
};

enum class PayloadOrder : std::uint8_t { Little = 0, Big = 1 };

struct FrameHeader {
    FrameKind kind = FrameKind::Batch;
    PayloadOrder byteOrder = PayloadOrder::Little;
    std::uint64_t epoch = 0;
    std::uint64_t sequence = 0;
    std::uint32_t payloadLength = 0;

    friend bool operator==(const FrameHeader&, const FrameHeader&) = default;
};

inline constexpr std::size_t kFrameHeaderSize = 28;
inline constexpr std::uint8_t kFrameVersion = 2;

// The header followed by the payload, its length filled in.
std::vector<std::uint8_t> EncodeFrame(FrameHeader header, std::span<const std::uint8_t> payload);

// A message whose header checks: known magic, version, kind and byte order, a zero
// reserved byte and a payload of exactly the stated length.
struct DecodedFrame {
    FrameHeader header;
    std::span<const std::uint8_t> payload;  // into the message
};
// The frame, or nothing with the reason in `error`.
std::optional<DecodedFrame> DecodeFrame(std::span<const std::uint8_t> message, std::string& error);

const char* KindName(FrameKind kind);

}  // namespace replication
