// make_replication_seeds DIR SOUND-FILE: writes what a recording instance sends for
// a small scene, as seeds for replication_fuzz: a batch of every kind of command,
// a snapshot of the scene, and a batch taking it all away.
#include <cstdio>
#include <fstream>
#include <span>
#include <string>

#include "fuzz/QuietSoundSystem.h"

namespace {

void Write(const std::string& path, const uxs::iobuf& buffer) {
    const std::span<const std::uint8_t> bytes = buffer.data();
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: make_replication_seeds DIR SOUND-FILE\n");
        return 2;
    }
    const std::string dir = argv[1];
    SoundSystem& sender = QuietSoundSystem(true);
    sender.CreateSound("tone", argv[2]);
    const std::int32_t looping = sender.CreateSource({1, 2, 3}, true);
    const std::int32_t moving = sender.CreateSource({0, 0, -1}, false);
    sender.MountSound(looping, "tone");
    sender.MountSound(moving, "tone");
    sender.PlaySound(looping, true);
    sender.SetPosition(moving, {4, 5, 6});
    sender.SetGain(moving, 0.5f);
    sender.SetSpingDirection(moving, 0, 0, 1);
    sender.SetSpingCone(moving, 90, 0.25f);
    sender.SetLooping(moving, true);
    sender.PlaySound(moving, false);
    sender.StopSound(moving);
    uxs::iobuf batch(uxs::byte_order::little);
    sender.serialize(batch, false);
    Write(dir + "/batch-scene", batch);

    uxs::iobuf snapshot(uxs::byte_order::little);
    sender.serialize(snapshot, true);
    Write(dir + "/snapshot-scene", snapshot);

    sender.DeleteSource(moving);
    sender.DeleteSound("tone");
    sender.DeleteSourcesAndSounds();
    uxs::iobuf removal(uxs::byte_order::little);
    sender.serialize(removal, false);
    Write(dir + "/batch-removal", removal);
    return 0;
}
