#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "host/net/FrameHeader.h"

// What a joiner checks of a batch or snapshot before its sound system reads it.
// The sound system trusts the stream: it allocates a string of whatever length a
// record claims and reads on after a record it does not know. The check walks the
// payload as the sound system reads it and refuses what an honest server never
// writes: an unknown command, a string longer than kLongestName or than the bytes
// left, a record cut short, bytes after the last record, a batch in a snapshot's
// frame or the other way round.
namespace replication {

// Sound names and file names longer than this are refused (Linux's PATH_MAX).
inline constexpr std::size_t kLongestName = 4096;

// The sound loads a payload asks for, in the order the sound system makes them.
struct PayloadOutline {
    enum class Event { Load, Delete, DeleteAll };
    struct SoundEvent {
        Event event;
        std::string name;                // the sound's name (Load, Delete)
        std::string file;                // the file it is loaded from (Load)
        std::size_t begin = 0, end = 0;  // the record's bytes (Load)
    };
    bool snapshot = false;
    std::uint32_t count = 0;  // of a batch's records, or of a snapshot's sounds
    std::vector<SoundEvent> events;
};

// The outline, or nothing with the reason in `error`.
std::optional<PayloadOutline> CheckPayload(FrameKind kind, PayloadOrder order,
                                           std::span<const std::uint8_t> payload,
                                           std::string& error);

// A sound system keeps the first buffer of a name loaded twice and leaks the
// second. The payload without the loads of names that are loaded by then (in
// `loaded`, the sound system's names before the payload), or nothing if it asks
// for none; the names refused are added to `refused`.
std::optional<std::vector<std::uint8_t>> WithoutRepeatedLoads(PayloadOrder order,
                                                              std::span<const std::uint8_t> payload,
                                                              const PayloadOutline& outline,
                                                              std::set<std::string> loaded,
                                                              std::vector<std::string>& refused);

}  // namespace replication
