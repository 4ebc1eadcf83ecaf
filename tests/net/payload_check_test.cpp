// What a joiner checks of the sound system's batches and snapshots before the
// sound system reads them, on hand-written bytes in both byte orders.
#include <cctype>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/net/PayloadCheck.h"

namespace {

using namespace replication;
using Bytes = std::vector<std::uint8_t>;

// Bytes from hex digits; blanks are ignored.
Bytes Hex(std::string_view digits) {
    Bytes bytes;
    std::string pair;
    for (const char c : digits) {
        if (std::isxdigit(static_cast<unsigned char>(c))) {
            pair += c;
        }
        if (pair.size() == 2) {
            bytes.push_back(static_cast<std::uint8_t>(std::stoul(pair, nullptr, 16)));
            pair.clear();
        }
    }
    EXPECT_TRUE(pair.empty()) << "odd number of hex digits";
    return bytes;
}

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// One record of every command code, each holding source 1 and sound "a" (file "a.wav").
const Bytes kEveryCommandLittle =
    Hex("00 0d000000"
        "00000000 01000000 0000803f 00000040 00004040 01"           // CreateSource
        "01000000 01000000 01"                                      // SetLooping
        "02000000 01000000 0000803f 00000040 00004040"              // SetPosition
        "03000000 01000000 00"                                      // PlaySound
        "04000000 01000000"                                         // StopSound
        "05000000 01000000 00000000 00000000 000080bf"              // SetSpingDirection
        "06000000 01000000 0000b443 0000003f"                       // SetSpingCone
        "07000000 0100000000000000 61 0500000000000000 612e776176"  // CreateSound
        "08000000 0100000000000000 61"                              // DeleteSound
        "09000000 01000000"                                         // DeleteSource
        "0a000000 01000000 0100000000000000 61"                     // MountSound
        "0b000000 01000000 0000003f"                                // SetGain
        "0c000000");                                                // DeleteSourcesAndSounds
const Bytes kEveryCommandBig =
    Hex("00 0000000d"
        "00000000 00000001 3f800000 40000000 40400000 01"
        "00000001 00000001 01"
        "00000002 00000001 3f800000 40000000 40400000"
        "00000003 00000001 00"
        "00000004 00000001"
        "00000005 00000001 00000000 00000000 bf800000"
        "00000006 00000001 43b40000 3f000000"
        "00000007 0000000000000001 61 0000000000000005 612e776176"
        "00000008 0000000000000001 61"
        "00000009 00000001"
        "0000000a 00000001 0000000000000001 61"
        "0000000b 00000001 3f000000"
        "0000000c");

TEST(PayloadCheck, AcceptsABatchOfEveryCommandInEitherOrder) {
    const struct {
        PayloadOrder order;
        const Bytes& bytes;
    } batches[] = {{PayloadOrder::Little, kEveryCommandLittle},
                   {PayloadOrder::Big, kEveryCommandBig}};
    using Event = PayloadOutline::Event;
    for (const auto& batch : batches) {
        SCOPED_TRACE(batch.order == PayloadOrder::Big ? "big" : "little");
        std::string error;
        const auto outline = CheckPayload(FrameKind::Batch, batch.order, batch.bytes, error);
        ASSERT_TRUE(outline) << error;
        EXPECT_FALSE(outline->snapshot);
        ASSERT_EQ(outline->events.size(), 3u);
        EXPECT_EQ(outline->events[0].event, Event::Load);
        EXPECT_EQ(outline->events[0].name, "a");
        EXPECT_EQ(outline->events[0].file, "a.wav");
        EXPECT_EQ(outline->events[1].event, Event::Delete);
        EXPECT_EQ(outline->events[1].name, "a");
        EXPECT_EQ(outline->events[2].event, Event::DeleteAll);
    }
}

TEST(PayloadCheck, AcceptsASnapshotWithTheFileBeforeTheName) {
    const Bytes snapshot =
        Hex("01 01000000"
            "0500000000000000 612e776176 0100000000000000 61"  // file a.wav, sound a
            "01000000"
            "07000000 0000803f 00000040 00004040 01 01 00000000 00000000 000080bf 0000b443 0000003f"
            "0100000000000000 61");
    std::string error;
    const auto outline = CheckPayload(FrameKind::Snapshot, PayloadOrder::Little, snapshot, error);
    ASSERT_TRUE(outline) << error;
    EXPECT_TRUE(outline->snapshot);
    ASSERT_EQ(outline->events.size(), 1u);
    EXPECT_EQ(outline->events[0].name, "a");
    EXPECT_EQ(outline->events[0].file, "a.wav");
}

TEST(PayloadCheck, RefusesWhatAnHonestServerNeverWrites) {
    const Bytes deleteSound = Hex("00 01000000 08000000");
    const Bytes longest = deleteSound + Hex("0010000000000000") + Bytes(4096, 'x');
    std::string error;
    EXPECT_TRUE(CheckPayload(FrameKind::Batch, PayloadOrder::Little, longest, error)) << error;

    const struct {
        const char* what;
        FrameKind kind;
        PayloadOrder order;
        Bytes payload;
        const char* error;
    } refusals[] = {
        {"empty", FrameKind::Batch, PayloadOrder::Little, {}, "an empty payload"},
        {"head byte 2", FrameKind::Batch, PayloadOrder::Little, Hex("02 00000000"),
         "a head byte of 2"},
        {"batch as snapshot", FrameKind::Snapshot, PayloadOrder::Little, Hex("00 00000000"),
         "a batch in a snapshot frame"},
        {"snapshot as batch", FrameKind::Batch, PayloadOrder::Little, Hex("01 00000000 00000000"),
         "a snapshot in a batch frame"},
        {"no count", FrameKind::Batch, PayloadOrder::Little, Hex("00 0100"),
         "a batch without its count"},
        {"code 13", FrameKind::Batch, PayloadOrder::Little, Hex("00 01000000 0d000000"),
         "unknown command code 13 in record 0"},
        {"code 13, big", FrameKind::Batch, PayloadOrder::Big, Hex("00 00000001 0000000d"),
         "unknown command code 13 in record 0"},
        {"string of 4097", FrameKind::Batch, PayloadOrder::Little,
         deleteSound + Hex("0110000000000000") + Bytes(4097, 'x'),
         "record 0 (command 8) cut short: a string of 4097 bytes at byte 17 (at most 4096, and "
         "4097 left)"},
        {"string past the end", FrameKind::Batch, PayloadOrder::Little,
         deleteSound + Hex("0500000000000000 616263"),
         "record 0 (command 8) cut short: a string of 5 bytes at byte 17 (at most 4096, and 3 "
         "left)"},
        {"string of 2^63", FrameKind::Batch, PayloadOrder::Big,
         Hex("00 00000001 00000008 8000000000000000 61"),
         "record 0 (command 8) cut short: a string of 9223372036854775808 bytes at byte 17 (at "
         "most 4096, and 1 left)"},
        {"length cut short", FrameKind::Batch, PayloadOrder::Little, deleteSound + Hex("01000000"),
         "record 0 (command 8) cut short: a string's length cut short at byte 9"},
        {"record cut short", FrameKind::Batch, PayloadOrder::Little,
         Hex("00 01000000 04000000 0100"), "record 0 (command 4) cut short"},
        {"trailing bytes", FrameKind::Batch, PayloadOrder::Little, Hex("00 01000000 0c000000 ff"),
         "1 byte(s) after the last record"},
        {"count past the records", FrameKind::Batch, PayloadOrder::Little,
         Hex("00 02000000 0c000000"), "1 of 2 records"},
        {"sound cut short", FrameKind::Snapshot, PayloadOrder::Little,
         Hex("01 01000000 0100000000000000 61 0200000000000000 62"),
         "sound 0 of 1: a string of 2 bytes at byte 22 (at most 4096, and 1 left)"},
        {"no source count", FrameKind::Snapshot, PayloadOrder::Little, Hex("01 00000000 000000"),
         "a snapshot without its count of sources"},
        {"source cut short", FrameKind::Snapshot, PayloadOrder::Little,
         Hex("01 00000000 01000000") + Bytes(37, 0), "source 0 of 1 cut short"},
        {"snapshot trailing bytes", FrameKind::Snapshot, PayloadOrder::Little,
         Hex("01 00000000 00000000 00"), "1 byte(s) after the last record"},
    };
    for (const auto& refusal : refusals) {
        SCOPED_TRACE(refusal.what);
        error.clear();
        EXPECT_FALSE(CheckPayload(refusal.kind, refusal.order, refusal.payload, error));
        EXPECT_EQ(error, refusal.error);
    }
}

TEST(PayloadCheck, DropsLoadsOfNamesLoadedByThen) {
    const std::string createA = "07000000 0100000000000000 61 0500000000000000 612e776176";
    const std::string createB = "07000000 0100000000000000 62 0500000000000000 622e776176";
    const std::string deleteA = "08000000 0100000000000000 61";
    const std::string play = "03000000 01000000 01";
    const std::string fileA = "0500000000000000 612e776176";  // a.wav
    const std::string fileB = "0500000000000000 622e776176";  // b.wav
    const std::string fileC = "0500000000000000 632e776176";  // c.wav
    const std::string nameX = "0100000000000000 78";
    const std::string nameZ = "0100000000000000 7a";
    const struct {
        const char* what;
        PayloadOrder order;
        std::set<std::string> loaded;
        Bytes payload;
        std::optional<Bytes> kept;
        std::vector<std::string> refused;
    } cases[] = {
        {"loaded before",
         PayloadOrder::Little,
         {"a"},
         Hex("00 02000000" + createA + play),
         Hex("00 01000000" + play),
         {"a"}},
        {"deleted between",
         PayloadOrder::Little,
         {},
         Hex("00 03000000" + createA + deleteA + createA),
         std::nullopt,
         {}},
        {"all deleted",
         PayloadOrder::Little,
         {"a"},
         Hex("00 02000000 0c000000" + createA),
         std::nullopt,
         {}},
        {"twice in one batch",
         PayloadOrder::Little,
         {"a"},
         Hex("00 03000000" + createB + play + createB),
         Hex("00 02000000" + createB + play),
         {"b"}},
        {"twice, big",
         PayloadOrder::Big,
         {},
         Hex("00 00000002 00000007 0000000000000001 62 0000000000000005 622e776176"
             "00000007 0000000000000001 62 0000000000000005 622e776176"),
         Hex("00 00000001 00000007 0000000000000001 62 0000000000000005 622e776176"),
         {"b"}},
        // Loaded in the files' order: a.wav's x first, though b.wav's record leads.
        {"one name, two files",
         PayloadOrder::Little,
         {},
         Hex("01 02000000" + fileB + nameX + fileA + nameX + "00000000"),
         Hex("01 01000000" + fileA + nameX + "00000000"),
         {"x"}},
        {"one name, two files, big",
         PayloadOrder::Big,
         {},
         Hex("01 00000002 0000000000000005 622e776176 0000000000000001 78"
             "0000000000000005 612e776176 0000000000000001 78 00000000"),
         Hex("01 00000001 0000000000000005 612e776176 0000000000000001 78 00000000"),
         {"x"}},
        // b.wav's first record goes, and its second with it: it would take its place.
        {"a file's records all go",
         PayloadOrder::Little,
         {},
         Hex("01 04000000" + fileB + nameX + fileA + nameX + fileB + nameZ + fileC + nameZ +
             "00000000"),
         Hex("01 02000000" + fileA + nameX + fileC + nameZ + "00000000"),
         {"x"}},
        {"different names",
         PayloadOrder::Little,
         {},
         Hex("01 02000000" + fileA + nameX + fileB + "0100000000000000 79 00000000"),
         std::nullopt,
         {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::string error;
        const FrameKind kind = c.payload[0] == 1 ? FrameKind::Snapshot : FrameKind::Batch;
        const auto outline = CheckPayload(kind, c.order, c.payload, error);
        ASSERT_TRUE(outline) << error;
        std::vector<std::string> refused;
        const auto kept = WithoutRepeatedLoads(c.order, c.payload, *outline, c.loaded, refused);
        EXPECT_EQ(kept, c.kept);
        EXPECT_EQ(refused, c.refused);
    }
}

}  // namespace
