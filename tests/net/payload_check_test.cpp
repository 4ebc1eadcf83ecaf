// What a joiner checks of the sound system's batches and snapshots before the
// sound system reads them, on hand-written bytes in both byte orders.
#include <algorithm>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "host/net/PayloadCheck.h"

namespace {

using namespace replication;
using Bytes = std::vector<std::uint8_t>;

// Bytes from groups of hex digits separated by blanks, each group a field written
// little-endian; in the big byte order each group's bytes are reversed, so strings
// are written a byte per group.
Bytes Hex(std::string_view text, PayloadOrder order = PayloadOrder::Little) {
    Bytes bytes;
    std::istringstream groups{std::string(text)};
    for (std::string group; groups >> group;) {
        EXPECT_EQ(group.size() % 2, 0u) << "odd number of hex digits in " << group;
        const std::size_t first = bytes.size();
        for (std::size_t i = 0; i + 1 < group.size(); i += 2) {
            bytes.push_back(static_cast<std::uint8_t>(std::stoul(group.substr(i, 2), nullptr, 16)));
        }
        if (order == PayloadOrder::Big) {
            std::reverse(bytes.begin() + static_cast<std::ptrdiff_t>(first), bytes.end());
        }
    }
    return bytes;
}

// One record of every command code, each holding source 1 and sound "a" (file "a.wav").
constexpr std::string_view kEveryCommand =
    "00 0d000000"
    " 00000000 01000000 0000803f 00000040 00004040 01"               // CreateSource
    " 01000000 01000000 01"                                          // SetLooping
    " 02000000 01000000 0000803f 00000040 00004040"                  // SetPosition
    " 03000000 01000000 00"                                          // PlaySound
    " 04000000 01000000"                                             // StopSound
    " 05000000 01000000 00000000 00000000 000080bf"                  // SetSpingDirection
    " 06000000 01000000 0000b443 0000003f"                           // SetSpingCone
    " 07000000 0100000000000000 61 0500000000000000 61 2e 77 61 76"  // CreateSound
    " 08000000 0100000000000000 61"                                  // DeleteSound
    " 09000000 01000000"                                             // DeleteSource
    " 0a000000 01000000 0100000000000000 61"                         // MountSound
    " 0b000000 01000000 0000003f"                                    // SetGain
    " 0c000000";                                                     // DeleteSourcesAndSounds

TEST(PayloadCheck, AcceptsABatchOfEveryCommandInEitherOrder) {
    using Event = PayloadOutline::Event;
    for (const PayloadOrder order : {PayloadOrder::Little, PayloadOrder::Big}) {
        SCOPED_TRACE(order == PayloadOrder::Big ? "big" : "little");
        std::string error;
        const auto outline =
            CheckPayload(FrameKind::Batch, order, Hex(kEveryCommand, order), error);
        ASSERT_TRUE(outline) << error;
        EXPECT_FALSE(outline->snapshot);
        std::vector<std::tuple<Event, std::string, std::string>> events;
        for (const auto& e : outline->events) {
            events.emplace_back(e.event, e.name, e.file);
        }
        EXPECT_EQ(events, (decltype(events){{Event::Load, "a", "a.wav"},
                                            {Event::Delete, "a", ""},
                                            {Event::DeleteAll, "", ""}}));
    }
}

// Each case in both byte orders.
TEST(PayloadCheck, RefusesWhatAnHonestServerNeverWrites) {
    const std::string deleteSound = "00 01000000 08000000 ";
    const struct {
        const char* what;
        FrameKind kind;
        std::string payload;
        const char* error;  // null: accepted
    } cases[] = {
        {"longest string", FrameKind::Batch,
         deleteSound + "0010000000000000 " + std::string(2 * 4096, '7'), nullptr},
        {"empty", FrameKind::Batch, "", "an empty payload"},
        {"head byte 2", FrameKind::Batch, "02 00000000", "a head byte of 2"},
        {"batch as snapshot", FrameKind::Snapshot, "00 00000000", "a batch in a snapshot frame"},
        {"snapshot as batch", FrameKind::Batch, "01 00000000 00000000",
         "a snapshot in a batch frame"},
        {"no count", FrameKind::Batch, "00 0100", "a batch without its count"},
        {"code 13", FrameKind::Batch, "00 01000000 0d000000",
         "unknown command code 13 in record 0"},
        {"string of 4097", FrameKind::Batch,
         deleteSound + "0110000000000000 " + std::string(2 * 4097, '7'),
         "record 0 (command 8) cut short: a string of 4097 bytes at byte 17 (at most 4096, and "
         "4097 left)"},
        {"string past the end", FrameKind::Batch, deleteSound + "0500000000000000 61 62 63",
         "record 0 (command 8) cut short: a string of 5 bytes at byte 17 (at most 4096, and 3 "
         "left)"},
        {"string of 2^63", FrameKind::Batch, deleteSound + "0000000000000080 61",
         "record 0 (command 8) cut short: a string of 9223372036854775808 bytes at byte 17 (at "
         "most 4096, and 1 left)"},
        {"length cut short", FrameKind::Batch, deleteSound + "01000000",
         "record 0 (command 8) cut short: a string's length cut short at byte 9"},
        {"record cut short", FrameKind::Batch, "00 01000000 04000000 0100",
         "record 0 (command 4) cut short"},
        {"trailing bytes", FrameKind::Batch, "00 01000000 0c000000 ff",
         "1 byte(s) after the last record"},
        {"count past the records", FrameKind::Batch, "00 02000000 0c000000", "1 of 2 records"},
        {"sound cut short", FrameKind::Snapshot,
         "01 01000000 0100000000000000 61 0200000000000000 62",
         "sound 0 of 1: a string of 2 bytes at byte 22 (at most 4096, and 1 left)"},
        {"no source count", FrameKind::Snapshot, "01 00000000 000000",
         "a snapshot without its count of sources"},
        {"source cut short", FrameKind::Snapshot,
         "01 00000000 01000000 " + std::string(2 * 37, '0'), "source 0 of 1 cut short"},
    };
    for (const auto& c : cases) {
        for (const PayloadOrder order : {PayloadOrder::Little, PayloadOrder::Big}) {
            SCOPED_TRACE(
                fmt::format("{}, {}", c.what, order == PayloadOrder::Big ? "big" : "little"));
            std::string error;
            EXPECT_EQ(CheckPayload(c.kind, order, Hex(c.payload, order), error).has_value(),
                      !c.error);
            EXPECT_EQ(error, c.error ? c.error : "");
        }
    }
}

// Each case in both byte orders; a snapshot names a sound's file before its name.
TEST(PayloadCheck, DropsLoadsOfNamesLoadedByThen) {
    const std::string createA = " 07000000 0100000000000000 61 0500000000000000 61 2e 77 61 76";
    const std::string createB = " 07000000 0100000000000000 62 0500000000000000 62 2e 77 61 76";
    const std::string deleteA = " 08000000 0100000000000000 61";
    const std::string play = " 03000000 01000000 01";
    const std::string fileA = " 0500000000000000 61 2e 77 61 76";  // a.wav
    const std::string fileB = " 0500000000000000 62 2e 77 61 76";  // b.wav
    const std::string fileC = " 0500000000000000 63 2e 77 61 76";  // c.wav
    const std::string nameX = " 0100000000000000 78";
    const std::string nameZ = " 0100000000000000 7a";
    const std::string noSources = " 00000000";
    const std::string oneSource =  // source 7, playing sound a
        " 01000000 07000000 0000803f 00000040 00004040 01 01 00000000 00000000 000080bf 0000b443"
        " 0000003f 0100000000000000 61";
    const struct {
        const char* what;
        const char* loaded;  // a name loaded before, or ""
        std::string payload;
        std::string kept;     // "": nothing dropped
        const char* refused;  // the name refused, or ""
    } cases[] = {
        {"loaded before", "a", "00 02000000" + createA + play, "00 01000000" + play, "a"},
        {"deleted between", "", "00 03000000" + createA + deleteA + createA, "", ""},
        {"all deleted", "a", "00 02000000 0c000000" + createA, "", ""},
        {"twice in one batch", "a", "00 03000000" + createB + play + createB,
         "00 02000000" + createB + play, "b"},
        // Loaded in the files' order: a.wav's x first, though b.wav's record leads.
        {"one name, two files", "", "01 02000000" + fileB + nameX + fileA + nameX + noSources,
         "01 01000000" + fileA + nameX + noSources, "x"},
        // b.wav's first record goes, and its second with it: it would take its place.
        {"a file's records all go", "",
         "01 04000000" + fileB + nameX + fileA + nameX + fileB + nameZ + fileC + nameZ + noSources,
         "01 02000000" + fileA + nameX + fileC + nameZ + noSources, "x"},
        {"different names", "",
         "01 02000000" + fileA + nameX + fileB + " 0100000000000000 79" + oneSource, "", ""},
    };
    for (const auto& c : cases) {
        for (const PayloadOrder order : {PayloadOrder::Little, PayloadOrder::Big}) {
            SCOPED_TRACE(
                fmt::format("{}, {}", c.what, order == PayloadOrder::Big ? "big" : "little"));
            const Bytes payload = Hex(c.payload, order);
            std::string error;
            const FrameKind kind = payload[0] == 1 ? FrameKind::Snapshot : FrameKind::Batch;
            const auto outline = CheckPayload(kind, order, payload, error);
            ASSERT_TRUE(outline) << error;
            std::vector<std::string> refused;
            const auto kept = WithoutRepeatedLoads(
                order, payload, *outline,
                *c.loaded ? std::set<std::string>{c.loaded} : std::set<std::string>{}, refused);
            EXPECT_EQ(kept, c.kept.empty() ? std::nullopt : std::optional(Hex(c.kept, order)));
            EXPECT_EQ(refused, *c.refused ? std::vector<std::string>{c.refused}
                                          : std::vector<std::string>{});
        }
    }
}

}  // namespace
