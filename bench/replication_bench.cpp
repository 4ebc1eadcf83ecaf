// How fast a replicating instance writes its command batches and a replaying
// one reads them, and how fast a file decodes into a buffer.
#include <cstdlib>
#include <filesystem>

#include <benchmark/benchmark.h>

#include "kep/Messages.h"
#include "kep/PluginManager.h"
#include "kep/Subsystem.h"
#include "plugin/SoundSystem.h"

namespace {

class QuietSink final : public kep::MessageSink {
public:
    void write(kep::MessageLevel, std::string_view) override {}
};

std::shared_ptr<SoundSystem> StartedSystem(bool replicating) {
    auto system = std::dynamic_pointer_cast<SoundSystem>(
        kep::Object::create(util::type_id_of<SoundSystem>()));
    system->Start(replicating);
    return system;
}

// A batch of `commands` position updates for one source.
void BatchRoundTrip(benchmark::State& state) {
    auto sender = StartedSystem(true);
    auto receiver = StartedSystem(false);
    const std::int32_t id = sender->CreateSource({0, 0, 0}, false);
    const auto commands = static_cast<int>(state.range(0));
    std::size_t bytes = 0;
    for (auto _ : state) {
        for (int i = 0; i < commands; ++i) {
            sender->SetPosition(id, osg::Vec3f(static_cast<float>(i), 0, 0));
        }
        uxs::iobuf buffer(uxs::byte_order::little);
        sender->serialize(buffer, false);
        receiver->deserialize(buffer);
        receiver->Update();
        bytes += buffer.size();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
    state.SetItemsProcessed(state.iterations() * commands);
    receiver->Stop();
    sender->Stop();
}
BENCHMARK(BatchRoundTrip)->Arg(1)->Arg(64)->Arg(1024);

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
    kep::SetMessageSink(std::make_shared<QuietSink>());
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
