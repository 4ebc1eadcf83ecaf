#include "host/net/PayloadCheck.h"

#include <algorithm>
#include <map>

#include <fmt/format.h>

namespace replication {

namespace {

// Payload bytes of the command codes whose records hold no string.
constexpr std::size_t kFixedSizes[] = {17, 5, 16, 5, 4, 16, 12, 0, 0, 4, 0, 8, 0};
constexpr std::uint32_t kCreateSound = 7, kDeleteSound = 8, kMountSound = 10,
                        kDeleteSourcesAndSounds = 12, kCommandCodes = 13;
// A snapshot's source record before its sound name: id, position, playing,
// started, direction, outer angle, outer gain.
constexpr std::size_t kSourceRecordSize = 4 + 12 + 1 + 1 + 12 + 4 + 4;
// Where a payload's count stands: behind the flag byte.
constexpr std::size_t kCountOffset = 1;

// Reads the payload as the sound system does, in the payload's byte order.
class Reader {
public:
    Reader(std::span<const std::uint8_t> bytes, PayloadOrder order)
        : bytes_(bytes), order_(order) {}

    std::size_t at() const { return at_; }
    std::size_t left() const { return bytes_.size() - at_; }

    template <class T>
    bool Read(T& value) {
        if (left() < sizeof(T)) {
            return false;
        }
        value = 0;
        for (std::size_t i = 0; i < sizeof(T); ++i) {
            const std::size_t shift = order_ == PayloadOrder::Little ? i : sizeof(T) - 1 - i;
            value |= static_cast<T>(bytes_[at_ + i]) << (8 * shift);
        }
        at_ += sizeof(T);
        return true;
    }
    bool Skip(std::size_t count) {
        if (left() < count) {
            return false;
        }
        at_ += count;
        return true;
    }
    // A string: its 8-byte length, then its bytes; false with the reason.
    bool String(std::string& text, std::string& error) {
        std::uint64_t length = 0;
        if (!Read(length)) {
            error = fmt::format("a string's length cut short at byte {}", at_);
            return false;
        }
        if (length > kLongestName || length > left()) {
            error = fmt::format("a string of {} bytes at byte {} (at most {}, and {} left)", length,
                                at_, kLongestName, left());
            return false;
        }
        text.assign(reinterpret_cast<const char*>(bytes_.data() + at_), length);
        at_ += length;
        return true;
    }

private:
    std::span<const std::uint8_t> bytes_;
    PayloadOrder order_;
    std::size_t at_ = 0;
};

bool CheckBatch(Reader& reader, PayloadOutline& outline, std::string& error) {
    std::uint32_t& count = outline.count;
    if (!reader.Read(count)) {
        error = "a batch without its count";
        return false;
    }
    std::string name, file;
    for (std::uint32_t record = 0; record < count; ++record) {
        const std::size_t begin = reader.at();
        std::uint32_t code = 0;
        if (!reader.Read(code)) {
            error = fmt::format("{} of {} records", record, count);
            return false;
        }
        if (code >= kCommandCodes) {
            error = fmt::format("unknown command code {} in record {}", code, record);
            return false;
        }
        bool whole = reader.Skip(kFixedSizes[code]);
        if (whole && code == kCreateSound) {
            whole = reader.String(name, error) && reader.String(file, error);
            outline.events.push_back({PayloadOutline::Event::Load, name, file, begin, reader.at()});
        } else if (whole && code == kDeleteSound) {
            whole = reader.String(name, error);
            outline.events.push_back({PayloadOutline::Event::Delete, name, {}, 0, 0});
        } else if (whole && code == kMountSound) {
            whole = reader.Skip(4) && reader.String(name, error);
        } else if (code == kDeleteSourcesAndSounds) {
            outline.events.push_back({PayloadOutline::Event::DeleteAll, {}, {}, 0, 0});
        }
        if (!whole) {
            error = fmt::format("record {} (command {}) cut short{}{}", record, code,
                                error.empty() ? "" : ": ", error);
            return false;
        }
    }
    return true;
}

bool CheckSnapshot(Reader& reader, PayloadOutline& outline, std::string& error) {
    std::uint32_t& sounds = outline.count;
    std::uint32_t sources = 0;
    if (!reader.Read(sounds)) {
        error = "a snapshot without its count of sounds";
        return false;
    }
    std::string name, file;
    for (std::uint32_t record = 0; record < sounds; ++record) {
        const std::size_t begin = reader.at();
        // The file's name comes first.
        if (!reader.String(file, error) || !reader.String(name, error)) {
            error = fmt::format("sound {} of {}: {}", record, sounds, error);
            return false;
        }
        outline.events.push_back({PayloadOutline::Event::Load, name, file, begin, reader.at()});
    }
    if (!reader.Read(sources)) {
        error = "a snapshot without its count of sources";
        return false;
    }
    for (std::uint32_t record = 0; record < sources; ++record) {
        if (!reader.Skip(kSourceRecordSize) || !reader.String(name, error)) {
            error = fmt::format("source {} of {} cut short{}{}", record, sources,
                                error.empty() ? "" : ": ", error);
            return false;
        }
    }
    return true;
}

}  // namespace

std::optional<PayloadOutline> CheckPayload(FrameKind kind, PayloadOrder order,
                                           std::span<const std::uint8_t> payload,
                                           std::string& error) {
    Reader reader(payload, order);
    std::uint8_t full = 0;
    if (!reader.Read(full) || full > 1) {
        error = payload.empty() ? "an empty payload" : fmt::format("a head byte of {}", full);
        return std::nullopt;
    }
    PayloadOutline outline;
    outline.snapshot = full == 1;
    if (outline.snapshot != (kind == FrameKind::Snapshot)) {
        error = fmt::format("a {} in a {} frame", outline.snapshot ? "snapshot" : "batch",
                            KindName(kind));
        return std::nullopt;
    }
    if (!(outline.snapshot ? CheckSnapshot(reader, outline, error)
                           : CheckBatch(reader, outline, error))) {
        return std::nullopt;
    }
    if (reader.left() != 0) {
        error = fmt::format("{} byte(s) after the last record", reader.left());
        return std::nullopt;
    }
    return outline;
}

std::optional<std::vector<std::uint8_t>> WithoutRepeatedLoads(PayloadOrder order,
                                                              std::span<const std::uint8_t> payload,
                                                              const PayloadOutline& outline,
                                                              std::set<std::string> loaded,
                                                              std::vector<std::string>& refused) {
    using Event = PayloadOutline::Event;
    std::vector<const PayloadOutline::SoundEvent*> dropped;
    if (outline.snapshot) {
        // The sound system keys a snapshot's sounds by file (the first record of a
        // file wins) and loads them in the files' order. A file whose sound is
        // loaded by then goes with all its records: another would take its place.
        std::map<std::string, const PayloadOutline::SoundEvent*> byFile;
        for (const auto& event : outline.events) {
            byFile.try_emplace(event.file, &event);
        }
        std::set<std::string> droppedFiles;
        for (const auto& [file, event] : byFile) {
            if (!loaded.insert(event->name).second) {
                droppedFiles.insert(file);
                refused.push_back(event->name);
            }
        }
        for (const auto& event : outline.events) {
            if (droppedFiles.contains(event.file)) {
                dropped.push_back(&event);
            }
        }
    } else {
        for (const auto& event : outline.events) {
            if (event.event == Event::DeleteAll) {
                loaded.clear();
            } else if (event.event == Event::Delete && !event.name.empty()) {
                // Deleting the empty name leaves it registered (and its buffer
                // undeleted): it stays loaded.
                loaded.erase(event.name);
            } else if (!loaded.insert(event.name).second) {
                dropped.push_back(&event);
                refused.push_back(event.name);
            }
        }
    }
    if (dropped.empty()) {
        return std::nullopt;
    }
    std::sort(dropped.begin(), dropped.end(),
              [](const auto* a, const auto* b) { return a->begin < b->begin; });
    std::vector<std::uint8_t> kept;
    kept.reserve(payload.size());
    std::size_t from = 0;
    for (const auto* event : dropped) {
        kept.insert(kept.end(), payload.begin() + from, payload.begin() + event->begin);
        from = event->end;
    }
    kept.insert(kept.end(), payload.begin() + from, payload.end());
    // The count of records (a batch's, or a snapshot's sounds) follows the head byte.
    const auto count = outline.count - static_cast<std::uint32_t>(dropped.size());
    for (std::size_t i = 0; i < 4; ++i) {
        const std::size_t shift = order == PayloadOrder::Little ? i : 3 - i;
        kept[kCountOffset + i] = static_cast<std::uint8_t>(count >> (8 * shift));
    }
    return kept;
}

}  // namespace replication
