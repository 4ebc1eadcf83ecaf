// A host program embedding the sound plug-in: load the plug-in folder, start the
// sound system, and play one file. Usage: embed SOUND_FILE. Exit status 0 once
// played, 1 (with a message) on failure.
#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>

#include <kep/ISoundInspector.h>
#include <kep/ISoundSystem.h>
#include <kep/PluginManager.h>

namespace {

int Fail(const char* what) {
    std::fprintf(stderr, "embed: %s\n", what);
    return 1;
}

int PlayFile(kep::PluginManager& manager, const char* file) {
    // KEP_PLUGIN_DIR comes from kepCore_PLUGIN_DIR (see CMakeLists.txt).
    if (manager.LoadLibrariesIn(KEP_PLUGIN_DIR) == 0) {
        return Fail("no plug-in library in " KEP_PLUGIN_DIR);
    }
    const kep::PluginLibraryItem* item = manager.FindItem("SoundSystem");
    std::shared_ptr<kep::IBasePlugin> plugin =
        item ? manager.CreatePlugin(*item, "embed") : nullptr;
    if (!plugin) {
        return Fail("no SoundSystem plug-in");
    }
    manager.Start(*plugin, /*replicating=*/false);
    auto* sound = kep::query<kep::ISoundSystem>(plugin.get());
    auto* inspector = kep::query<kep::ISoundInspector>(plugin.get());
    if (!sound || !inspector || !inspector->IsDeviceOpen()) {
        return Fail("no audio device (ALSOFT_DRIVERS=null runs without one)");
    }
    // A named sound (the decoded file) played from a source in front of the listener.
    const std::int32_t source = sound->CreateSource(osg::Vec3f(0, 0, -1), /*looping=*/false);
    if (!sound->CreateSound("clip", file) || !sound->MountSound(source, "clip")) {
        return Fail("the sound file could not be loaded");
    }
    sound->PlaySound(source, /*looping=*/false);
    // A host runs one plug-in frame per rendered frame. ISoundSystem::IsPlaying only
    // says that the source exists; the inspector says whether it is still audible.
    const auto start = std::chrono::steady_clock::now();
    std::chrono::duration<double> played{};
    while (inspector->IsSourcePlaying(source) && played < std::chrono::seconds(1)) {
        manager.UpdateAll();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        played = std::chrono::steady_clock::now() - start;
    }
    sound->StopSound(source);
    std::printf("embed: played %s for %.1f s\n", file, played.count());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        return Fail("usage: embed SOUND_FILE");
    }
    // Plug-ins find the host's services through subsystem 0: install it first.
    auto manager = std::make_shared<kep::PluginManager>();
    kep::SetSubsystem(kep::SubsystemId::PluginManager, manager);
    const int status = PlayFile(*manager, argv[1]);
    manager->Clear();  // stops the plug-in, which closes the audio device
    kep::SetSubsystem(kep::SubsystemId::PluginManager, nullptr);
    return status;
}
