// Every command's record on the wire (type code, then payload), in both byte
// orders, and how a reader copes with damaged payloads.
#include <gtest/gtest.h>

#include <functional>

#include "commands/CommandFactory.h"
#include "commands/SoundCommands.h"
#include "commands/SourceCommands.h"
#include "commands/WireFormat.h"
#include "support/Harness.h"

namespace {

using Make = std::function<std::shared_ptr<Command>()>;

struct RecordCase {
    const char* name;
    Make make;
    // Little-endian; '|' separates fields, and 4- or 8-byte fields are reversed
    // for big-endian (the texts here are shorter).
    const char* littleEndian;
};

void PrintTo(const RecordCase& row, std::ostream* out) {
    *out << row.name;
}

std::string BigEndianOf(std::string_view littleEndian) {
    std::vector<std::string> fields;
    for (std::size_t start = 0; start <= littleEndian.size();) {
        std::size_t end = std::min(littleEndian.find('|', start), littleEndian.size());
        std::vector<std::uint8_t> field = Bytes(littleEndian.substr(start, end - start));
        if (field.size() == 4 || field.size() == 8) {
            std::reverse(field.begin(), field.end());
        }
        fields.push_back(Hex(field));
        start = end + 1;
    }
    return fmt::format("{}", fmt::join(fields, " "));
}

std::string Record(const Command& command, uxs::byte_order order) {
    uxs::iobuf buffer(order);
    wire::WriteScalar(buffer, command.type);
    const_cast<Command&>(command).serialize(buffer);
    return Hex(buffer.data());
}

// The command a reader makes of a record.
std::shared_ptr<Command> Read(std::string_view hex, uxs::byte_order order) {
    const std::vector<std::uint8_t> bytes = Bytes(hex);
    uxs::ibuf buffer(bytes, order);
    std::uint32_t type = 0;
    wire::ReadScalar(buffer, type);
    std::shared_ptr<Command> command = CommandFactory::Create(type);
    command->deserialize(buffer);
    return command;
}

class CommandRecords : public testing::TestWithParam<RecordCase> {};

TEST_P(CommandRecords, AreTheseBytesInEitherOrderAndReadBackAlike) {
    const std::shared_ptr<Command> command = GetParam().make();
    const std::string little = Hex(Bytes(GetParam().littleEndian));
    const std::string big = BigEndianOf(GetParam().littleEndian);
    EXPECT_EQ(Record(*command, uxs::byte_order::little), little);
    EXPECT_EQ(Record(*command, uxs::byte_order::big), big);
    EXPECT_EQ(Record(*Read(little, uxs::byte_order::little), uxs::byte_order::little), little);
    EXPECT_EQ(Record(*Read(big, uxs::byte_order::big), uxs::byte_order::little), little);
}

const osg::Vec3f kXyz(1, 2, 3);

INSTANTIATE_TEST_SUITE_P(
    All, CommandRecords,
    testing::Values(
        RecordCase{"CreateSource",
                   [] { return std::make_shared<CommandCreateSource>(7, kXyz, true); },
                   "00 00 00 00 | 07 00 00 00 | 00 00 80 3F | 00 00 00 40 | 00 00 40 40 | 01"},
        RecordCase{"SetLooping", [] { return std::make_shared<CommandSetLooping>(7, true); },
                   "01 00 00 00 | 07 00 00 00 | 01"},
        RecordCase{"SetPosition", [] { return std::make_shared<CommandSetPosition>(7, kXyz); },
                   "02 00 00 00 | 07 00 00 00 | 00 00 80 3F | 00 00 00 40 | 00 00 40 40"},
        RecordCase{"PlaySound", [] { return std::make_shared<CommandPlaySound>(7, true); },
                   "03 00 00 00 | 07 00 00 00 | 01"},
        RecordCase{"StopSound", [] { return std::make_shared<CommandStopSound>(-1); },
                   "04 00 00 00 | FF FF FF FF"},
        RecordCase{"SetSpingDirection",
                   [] { return std::make_shared<CommandSetSpingDirection>(7, kXyz); },
                   "05 00 00 00 | 07 00 00 00 | 00 00 80 3F | 00 00 00 40 | 00 00 40 40"},
        RecordCase{"SetSpingCone",
                   [] { return std::make_shared<CommandSetSpingCone>(7, 90.0f, 0.5f); },
                   "06 00 00 00 | 07 00 00 00 | 00 00 B4 42 | 00 00 00 3F"},
        RecordCase{"CreateSound", [] { return std::make_shared<CommandCreateSound>("ab", "c"); },
                   "07 00 00 00 | 02 00 00 00 00 00 00 00 | 61 62 | 01 00 00 00 00 00 00 00 | 63"},
        RecordCase{"DeleteSound", [] { return std::make_shared<CommandDeleteSound>(""); },
                   "08 00 00 00 | 00 00 00 00 00 00 00 00"},
        RecordCase{"DeleteSource", [] { return std::make_shared<CommandDeleteSource>(7); },
                   "09 00 00 00 | 07 00 00 00"},
        RecordCase{"MountSound", [] { return std::make_shared<CommandMountSound>(1, "a"); },
                   "0A 00 00 00 | 01 00 00 00 | 01 00 00 00 00 00 00 00 | 61"},
        RecordCase{"SetGain", [] { return std::make_shared<CommandSetGain>(3, 0.5f); },
                   "0B 00 00 00 | 03 00 00 00 | 00 00 00 3F"},
        RecordCase{"DeleteSourcesAndSounds",
                   [] { return std::make_shared<CommandDeleteSourcesAndSounds>(); },
                   "0C 00 00 00"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(DamagedRecords, ReadAsTheRulesSay) {
    // Any non-zero byte is a true flag, written back as 01.
    EXPECT_EQ(Record(*Read("01 00 00 00 07 00 00 00 02", uxs::byte_order::little),
                     uxs::byte_order::little),
              "01 00 00 00 07 00 00 00 01");
    // A flag cut off stays false; a missing id stays -1.
    EXPECT_EQ(
        Record(*Read("03 00 00 00 07 00 00 00", uxs::byte_order::little), uxs::byte_order::little),
        "03 00 00 00 07 00 00 00 00");
    EXPECT_EQ(Record(*Read("09 00 00 00 07 00", uxs::byte_order::little), uxs::byte_order::little),
              "09 00 00 00 FF FF FF FF");
    // A text shorter than its length keeps the length, its tail zero.
    EXPECT_EQ(
        Record(*Read("0A 00 00 00 01 00 00 00 03 00 00 00 00 00 00 00 61", uxs::byte_order::little),
               uxs::byte_order::little),
        "0A 00 00 00 01 00 00 00 03 00 00 00 00 00 00 00 61 00 00");
}

}  // namespace
