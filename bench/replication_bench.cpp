// How fast a replicating instance writes its command batches and snapshots and a
// replaying one reads them, what an idle Update costs, and how fast a file decodes
// into a buffer (the per-format table is bench/load_table.sh).
#include <cstdlib>
#include <filesystem>

#include <benchmark/benchmark.h>

#include "bench/support/BenchSystems.h"
#include "kep/Messages.h"
#include "kep/PluginManager.h"
#include "kep/Subsystem.h"
#include "plugin/SoundSystem.h"

namespace {

// Items per second, and the bytes written per item.
void CountItems(benchmark::State& state, int itemsPerIteration, const char* bytesPerItem,
                std::size_t bytes) {
    const std::int64_t items = state.iterations() * itemsPerIteration;
    state.SetItemsProcessed(items);
    state.counters[bytesPerItem] = static_cast<double>(bytes) / static_cast<double>(items);
}

// A frame's worth of what a scene sends: mostly moves, some gain and cone changes,
// now and then a sound started, stopped or made to loop, over 16 sources.
void RecordMixedCommand(SoundSystem& sender, std::int32_t firstId, int index) {
    constexpr int kSources = 16;
    const std::int32_t id = firstId + index % kSources;
    const auto value = static_cast<float>(index);
    switch (index % 10) {
        case 6:
            sender.SetGain(id, 0.5f);
            break;
        case 7:
            sender.SetSpingCone(id, 90.0f, 0.25f);
            break;
        case 8:
            sender.PlaySound(id, index % 20 == 8);
            break;
        case 9:
            sender.StopSound(id);
            break;
        default:
            sender.SetPosition(id, osg::Vec3f(value, value * 0.5f, 1.0f));
    }
}

// Writing a batch of `commands` on a recording instance and reading and applying
// it on a replaying one: commands per second and bytes per command stay flat.
void BatchWriteRead(benchmark::State& state) {
    auto sender = StartedSystem(true);
    auto receiver = StartedSystem(false);
    std::int32_t firstId = 0;
    for (int source = 0; source < 16; ++source) {
        const std::int32_t id = sender->CreateSource({0, 0, 0}, false);
        firstId = source == 0 ? id : firstId;
    }
    uxs::iobuf setup(uxs::byte_order::little);
    sender->serialize(setup, false);
    receiver->deserialize(setup);
    receiver->Update();
    const auto commands = static_cast<int>(state.range(0));
    std::size_t bytes = 0;
    for (auto _ : state) {
        for (int i = 0; i < commands; ++i) {
            RecordMixedCommand(*sender, firstId, i);
        }
        uxs::iobuf buffer(uxs::byte_order::little);
        sender->serialize(buffer, false);
        receiver->deserialize(buffer);
        receiver->Update();
        bytes += buffer.size();
    }
    CountItems(state, commands, "bytes/command", bytes);
    receiver->Stop();
    sender->Stop();
}
BENCHMARK(BatchWriteRead)->RangeMultiplier(10)->Range(10, 100000);

// A full snapshot of `sources` sources written and read back. Not applied: past
// OpenAL Soft's 256 sources an applying instance only logs that it has none.
void SnapshotWriteRead(benchmark::State& state) {
    auto sender = StartedSystem(true);
    auto receiver = StartedSystem(false);
    const auto sources = static_cast<int>(state.range(0));
    for (int source = 0; source < sources; ++source) {
        sender->CreateSource({static_cast<float>(source), 0, 0}, source % 2 == 0);
    }
    std::size_t bytes = 0;
    for (auto _ : state) {
        uxs::iobuf buffer(uxs::byte_order::little);
        sender->serialize(buffer, true);
        receiver->deserialize(buffer);
        bytes += buffer.size();
    }
    CountItems(state, sources, "bytes/source", bytes);
    receiver->Stop();
    sender->Stop();
}
BENCHMARK(SnapshotWriteRead)->RangeMultiplier(10)->Range(10, 1000);

// One frame's Update of a replaying instance with `sources` live sources and
// nothing received: the same cost whatever the count.
void IdleUpdate(benchmark::State& state) {
    auto system = StartedSystem(false);
    for (int source = 0; source < state.range(0); ++source) {
        system->CreateSource({static_cast<float>(source), 0, 0}, false);
    }
    for (auto _ : state) {
        system->Update();
    }
    system->Stop();
}
BENCHMARK(IdleUpdate)->Arg(1)->Arg(64)->Arg(256);

// Decoding a file into an OpenAL buffer (KEP_BENCH_MEDIA names the file).
void LoadSound(benchmark::State& state) {
    const char* file = std::getenv("KEP_BENCH_MEDIA");
    if (!file || !std::filesystem::exists(file)) {
        state.SkipWithError("set KEP_BENCH_MEDIA to a sound file");
        return;
    }
    auto system = StartedSystem(false);
    for (auto _ : state) {
        benchmark::DoNotOptimize(system->CreateSound("bench", file));
        system->DeleteSound("bench");
    }
    state.SetBytesProcessed(state.iterations() *
                            static_cast<std::int64_t>(std::filesystem::file_size(file)));
    system->Stop();
}
BENCHMARK(LoadSound)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    setenv("ALSOFT_DRIVERS", "null", 0);
    DropLogLines();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
