// The byte layout of every command payload, as other instances read it.

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <typeinfo>
#include <vector>

#include "commands/CommandFactory.h"
#include "commands/SoundCommands.h"
#include "commands/SourceCommands.h"
#include "kep/Messages.h"
#include "support/ByteOrderCases.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using uxs::byte_order;

Bytes Payload(Command& command, byte_order order = byte_order::little) {
    uxs::iobuf buffer(order);
    command.serialize(buffer);
    return Bytes(buffer.data().begin(), buffer.data().end());
}

// A command as a batch carries it: type code, then payload.
Bytes Record(Command& command, byte_order order = byte_order::little) {
    uxs::iobuf buffer(order);
    buffer.write_with_endian(
        std::span(reinterpret_cast<const std::uint8_t*>(&command.type), sizeof command.type), 4);
    command.serialize(buffer);
    return Bytes(buffer.data().begin(), buffer.data().end());
}

TEST(CommandBytes, SetGainForSourceThreeWithHalfGain) {
    CommandSetGain command(3, 0.5f);
    EXPECT_EQ(Record(command), (Bytes{0x0B, 0, 0, 0, 0x03, 0, 0, 0, 0, 0, 0, 0x3F}));
}

TEST(CommandBytes, MountSoundAOnSourceOne) {
    CommandMountSound command(1, "a");
    EXPECT_EQ(Record(command),
              (Bytes{0x0A, 0, 0, 0, 0x01, 0, 0, 0, 0x01, 0, 0, 0, 0, 0, 0, 0, 0x61}));
}

TEST(CommandBytes, BigEndianBuffersPutTheMostSignificantByteFirst) {
    CommandSetGain gain(3, 0.5f);
    EXPECT_EQ(Record(gain, byte_order::big), (Bytes{0, 0, 0, 0x0B, 0, 0, 0, 0x03, 0x3F, 0, 0, 0}));
    CommandMountSound mount(1, "a");
    EXPECT_EQ(Record(mount, byte_order::big),
              (Bytes{0, 0, 0, 0x0A, 0, 0, 0, 0x01, 0, 0, 0, 0, 0, 0, 0, 0x01, 0x61}));
}

TEST(CommandBytes, VectorsAreThreeFloatsInOrder) {
    CommandSetPosition command(2, osg::Vec3f(1.0f, -2.0f, 0.5f));
    EXPECT_EQ(Payload(command), (Bytes{0x02, 0, 0, 0,              // id
                                       0x00, 0x00, 0x80, 0x3F,     // 1
                                       0x00, 0x00, 0x00, 0xC0,     // -2
                                       0x00, 0x00, 0x00, 0x3F}));  // 0.5
}

TEST(CommandBytes, CreateSourceIsIdPositionThenFlag) {
    CommandCreateSource command(4, osg::Vec3f(0, 0, 1.0f), true);
    EXPECT_EQ(Payload(command, byte_order::big),
              (Bytes{0, 0, 0, 0x04, 0, 0, 0, 0, 0, 0, 0, 0, 0x3F, 0x80, 0, 0, 0x01}));
}

TEST(CommandBytes, CreateSoundWritesNameThenPath) {
    CommandCreateSound command(std::string("n"), std::string("/p"));
    EXPECT_EQ(Payload(command), (Bytes{1, 0, 0, 0, 0, 0, 0, 0, 'n',  //
                                       2, 0, 0, 0, 0, 0, 0, 0, '/', 'p'}));
}

TEST(CommandBytes, NoSourceIsAllOnesInEitherOrder) {
    for (byte_order order : {byte_order::little, byte_order::big}) {
        CommandStopSound command;
        const Bytes bytes = Payload(command, order);
        EXPECT_EQ(bytes, (Bytes{0xFF, 0xFF, 0xFF, 0xFF}));
        uxs::ibuf buffer(bytes, order);
        CommandStopSound read(7);
        read.deserialize(buffer);
        EXPECT_EQ(read.sourceId, -1);
    }
}

TEST(CommandBytes, AnEmptyNameIsEightZeroBytesOfLength) {
    CommandDeleteSound command("");
    EXPECT_EQ(Payload(command), Bytes(8, 0));
}

TEST(CommandBytes, TrueIsTheByteOne) {
    CommandSetLooping command(0, true);
    EXPECT_EQ(Payload(command), (Bytes{0, 0, 0, 0, 0x01}));
}

TEST(CommandBytes, DeleteSourcesAndSoundsIsItsTypeCodeAlone) {
    CommandDeleteSourcesAndSounds command;
    EXPECT_EQ(Record(command), (Bytes{0x0C, 0, 0, 0}));
}

// The pairs with one layout share their implementation, and so their bytes.
TEST(CommandBytes, PlaySoundAndSetLoopingWriteTheSameBytes) {
    CommandPlaySound play(12, true);
    CommandSetLooping loop(12, true);
    EXPECT_EQ(Payload(play), Payload(loop));
    EXPECT_EQ(Payload(play, byte_order::big), Payload(loop, byte_order::big));
}

TEST(CommandBytes, StopSoundAndDeleteSourceWriteTheSameBytes) {
    CommandStopSound stop(-5);
    CommandDeleteSource remove(-5);
    EXPECT_EQ(Payload(stop), Payload(remove));
    EXPECT_EQ(Payload(stop, byte_order::big), Payload(remove, byte_order::big));
}

// One sample of every command, with fields that differ from the fresh values.
struct CommandSample {
    const char* name;
    std::function<std::shared_ptr<Command>()> make;
    std::size_t payloadSize;
};

void PrintTo(const CommandSample& sample, std::ostream* out) {
    *out << sample.name;
}

const CommandSample kSamples[] = {
    {"CreateSource",
     [] { return std::make_shared<CommandCreateSource>(7, osg::Vec3f(1.5f, -2, 3), true); }, 17},
    {"SetLooping", [] { return std::make_shared<CommandSetLooping>(7, true); }, 5},
    {"SetPosition",
     [] { return std::make_shared<CommandSetPosition>(7, osg::Vec3f(4, 5, -6.25f)); }, 16},
    {"PlaySound", [] { return std::make_shared<CommandPlaySound>(7, true); }, 5},
    {"StopSound", [] { return std::make_shared<CommandStopSound>(7); }, 4},
    {"SetSpingDirection",
     [] { return std::make_shared<CommandSetSpingDirection>(7, osg::Vec3f(0, 0.5f, -1)); }, 16},
    {"SetSpingCone", [] { return std::make_shared<CommandSetSpingCone>(7, 90.0f, 0.25f); }, 12},
    {"CreateSound",
     [] {
         return std::make_shared<CommandCreateSound>(std::string("boom"),
                                                     std::string("/data/boom.wav"));
     },
     16 + 4 + 14},
    {"DeleteSound", [] { return std::make_shared<CommandDeleteSound>("boom"); }, 8 + 4},
    {"DeleteSource", [] { return std::make_shared<CommandDeleteSource>(7); }, 4},
    {"MountSound", [] { return std::make_shared<CommandMountSound>(7, "boom"); }, 12 + 4},
    {"SetGain", [] { return std::make_shared<CommandSetGain>(7, 0.75f); }, 8},
    {"DeleteSourcesAndSounds", [] { return std::make_shared<CommandDeleteSourcesAndSounds>(); }, 0},
};

class EveryCommand : public ::testing::TestWithParam<std::tuple<CommandSample, ByteOrderCase>> {};

TEST_P(EveryCommand, HasThePayloadSizeOfItsLayout) {
    const auto& [sample, byteOrder] = GetParam();
    EXPECT_EQ(Payload(*sample.make(), byteOrder.order).size(), sample.payloadSize);
}

TEST_P(EveryCommand, ReadsBackIntoAFreshCommandOfItsType) {
    const auto& [sample, byteOrder] = GetParam();
    const byte_order order = byteOrder.order;
    const std::shared_ptr<Command> original = sample.make();
    const Bytes bytes = Payload(*original, order);

    const std::shared_ptr<Command> read = CommandFactory::Create(original->type);
    ASSERT_TRUE(read);
    EXPECT_EQ(typeid(*read), typeid(*original));
    uxs::ibuf buffer(bytes, order);
    read->deserialize(buffer);

    EXPECT_TRUE(buffer.good());
    EXPECT_EQ(buffer.avail(), 0u);
    // Every sample field differs from the fresh value, so a field left unread
    // would show in the bytes written again.
    EXPECT_EQ(Payload(*read, order), bytes);
}

INSTANTIATE_TEST_SUITE_P(BothByteOrders, EveryCommand,
                         ::testing::Combine(::testing::ValuesIn(kSamples),
                                            ::testing::ValuesIn(kByteOrderCases)),
                         [](const auto& info) {
                             return std::string(std::get<0>(info.param).name) +
                                    std::get<1>(info.param).name;
                         });

TEST(CommandFields, ReadBackInBigEndian) {
    CommandCreateSource original(42, osg::Vec3f(1.5f, -2, 3), true);
    const Bytes bytes = Payload(original, byte_order::big);
    uxs::ibuf buffer(bytes, byte_order::big);
    CommandCreateSource read;
    read.deserialize(buffer);
    EXPECT_EQ(read.sourceId, 42);
    EXPECT_EQ(read.position, osg::Vec3f(1.5f, -2, 3));
    EXPECT_TRUE(read.looping);

    CommandCreateSound sound(std::string("name"), std::string("/a/path.ogg"));
    const Bytes soundBytes = Payload(sound, byte_order::big);
    uxs::ibuf soundBuffer(soundBytes, byte_order::big);
    CommandCreateSound readSound;
    readSound.deserialize(soundBuffer);
    EXPECT_EQ(readSound.soundName, "name");
    EXPECT_EQ(readSound.fileName, "/a/path.ogg");
}

// Reading from streams that end too early.
TEST(ShortStream, AnyNonZeroByteReadsAsTrue) {
    const Bytes bytes{5, 0, 0, 0, 0x02};
    uxs::ibuf buffer(bytes);
    CommandSetLooping command;
    command.deserialize(buffer);
    EXPECT_EQ(command.sourceId, 5);
    EXPECT_TRUE(command.looping);
}

TEST(ShortStream, AMissingBoolLeavesAFreshCommandFalse) {
    const Bytes bytes{5, 0, 0, 0};
    uxs::ibuf buffer(bytes);
    CommandPlaySound command;
    command.deserialize(buffer);
    EXPECT_EQ(command.sourceId, 5);
    EXPECT_FALSE(command.looping);
    EXPECT_TRUE(buffer.fail());
}

TEST(ShortStream, AMissingBoolKeepsTheValueTheFieldHad) {
    const Bytes bytes{5, 0, 0, 0};
    uxs::ibuf buffer(bytes);
    CommandSetLooping command(0, true);
    command.deserialize(buffer);
    EXPECT_TRUE(command.looping);
}

TEST(ShortStream, ACutScalarLeavesTheFreshValue) {
    const Bytes bytes{3, 0};
    uxs::ibuf buffer(bytes);
    CommandSetGain command;
    command.deserialize(buffer);
    EXPECT_EQ(command.sourceId, -1);
    EXPECT_EQ(command.gain, 0.0f);
    EXPECT_TRUE(buffer.fail());
}

TEST(ShortStream, ACutPositionKeepsTheComponentsThatArrived) {
    const Bytes bytes{9, 0, 0, 0, 0x00, 0x00, 0x80, 0x3F, 0x00, 0x00};
    uxs::ibuf buffer(bytes);
    CommandCreateSource command;
    command.deserialize(buffer);
    EXPECT_EQ(command.sourceId, 9);
    EXPECT_EQ(command.position, osg::Vec3f(1, 0, 0));
    EXPECT_FALSE(command.looping);
}

TEST(ShortStream, AStringKeepsItsLengthWithAZeroTail) {
    const Bytes bytes{1, 0, 0, 0, 10, 0, 0, 0, 0, 0, 0, 0, 'a', 'b', 'c'};
    uxs::ibuf buffer(bytes);
    CommandMountSound command;
    command.deserialize(buffer);
    EXPECT_EQ(command.sourceId, 1);
    EXPECT_EQ(command.soundName, std::string("abc\0\0\0\0\0\0\0", 10));
    EXPECT_TRUE(buffer.fail());
}

TEST(ShortStream, ACutLengthGivesAnEmptyString) {
    const Bytes bytes{1, 0, 0, 0, 0, 0, 0, 0, 'n', 5, 0, 0};
    uxs::ibuf buffer(bytes);
    CommandCreateSound command;
    command.deserialize(buffer);
    EXPECT_EQ(command.soundName, "n");
    EXPECT_EQ(command.fileName, "");
}

TEST(ShortStream, ALengthNoAllocationCouldHoldFailsAsAnAllocation) {
    const Bytes bytes{0, 0, 0, 0, 0, 0, 0, 0x40, 'x'};
    uxs::ibuf buffer(bytes);
    CommandDeleteSound command;
    EXPECT_THROW(command.deserialize(buffer), std::bad_alloc);
}

TEST(ShortStream, AnEmptyStreamReadsNothing) {
    uxs::ibuf buffer;
    CommandSetSpingCone command;
    command.deserialize(buffer);
    EXPECT_EQ(command.sourceId, -1);
    EXPECT_EQ(command.outerAngle, 0.0f);
    EXPECT_EQ(command.outerGain, 0.0f);
    EXPECT_TRUE(buffer.fail());
}

// What the factory makes for each wire code.
template <class C>
void ExpectMade(std::uint32_t typeCode) {
    const std::shared_ptr<Command> made = CommandFactory::Create(typeCode);
    ASSERT_TRUE(made) << typeCode;
    EXPECT_EQ(made->type, typeCode);
    EXPECT_NE(std::dynamic_pointer_cast<C>(made), nullptr) << typeCode;
}

TEST(FactoryCodes, MakesTheClassOfEachCode) {
    ExpectMade<CommandCreateSource>(0);
    ExpectMade<CommandSetLooping>(1);
    ExpectMade<CommandSetPosition>(2);
    ExpectMade<CommandPlaySound>(3);
    ExpectMade<CommandStopSound>(4);
    ExpectMade<CommandSetSpingDirection>(5);
    ExpectMade<CommandSetSpingCone>(6);
    ExpectMade<CommandCreateSound>(7);
    ExpectMade<CommandDeleteSound>(8);
    ExpectMade<CommandDeleteSource>(9);
    ExpectMade<CommandMountSound>(10);
    ExpectMade<CommandSetGain>(11);
    ExpectMade<CommandDeleteSourcesAndSounds>(12);
}

TEST(FactoryCodes, MadeCommandsHoldTheFreshValues) {
    auto create = std::dynamic_pointer_cast<CommandCreateSource>(CommandFactory::Create(0));
    EXPECT_EQ(create->sourceId, -1);
    EXPECT_EQ(create->position, osg::Vec3f(0, 0, 0));
    EXPECT_FALSE(create->looping);
    auto cone = std::dynamic_pointer_cast<CommandSetSpingCone>(CommandFactory::Create(6));
    EXPECT_EQ(cone->sourceId, -1);
    EXPECT_EQ(cone->outerAngle, 0.0f);
    EXPECT_EQ(cone->outerGain, 0.0f);
    auto sound = std::dynamic_pointer_cast<CommandCreateSound>(CommandFactory::Create(7));
    EXPECT_TRUE(sound->soundName.empty());
    EXPECT_TRUE(sound->fileName.empty());
    auto mount = std::dynamic_pointer_cast<CommandMountSound>(CommandFactory::Create(10));
    EXPECT_EQ(mount->sourceId, -1);
    EXPECT_TRUE(mount->soundName.empty());
}

TEST(FactoryCodes, RefusesCodesNoCommandHas) {
    kep::MessageCapture capture;
    EXPECT_EQ(CommandFactory::Create(13), nullptr);
    EXPECT_EQ(CommandFactory::Create(0xFFFFFFFF), nullptr);
    EXPECT_EQ(capture.lines(kep::MessageLevel::Error),
              (std::vector<std::string>{
                  "SoundPlugin: CommandFactory: Command aren't supported 13 ",
                  "SoundPlugin: CommandFactory: Command aren't supported 4294967295 "}));
}

}  // namespace
