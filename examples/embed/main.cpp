// A host program embedding the sound plug-in: load the plug-in folder, start the
// sound system, and play one file. Usage: embed SOUND_FILE. Exit status 0 once
// played, 1 (with a message) on failure.
#include <chrono>
#include <cstdio>
#include <thread>

#include <kep/EmbeddedHost.h>
#include <kep/ISoundInspector.h>
#include <kep/ISoundSystem.h>
#include <kep/Messages.h>

int main(int argc, char** argv) {
    if (argc != 2) {
        kep::Error()("embed: usage: embed SOUND_FILE");
        return 1;
    }
    // Subsystem 0 for as long as `host` lives; its destructor stops the plug-in.
    // KEP_PLUGIN_DIR is the installed plug-in folder (see CMakeLists.txt).
    kep::EmbeddedHost host("embed");
    auto plugin =
        host.LoadPlugins(KEP_PLUGIN_DIR) ? host.StartPlugin("SoundSystem", "embed") : nullptr;
    auto* sound = kep::query<kep::ISoundSystem>(plugin.get());
    auto* inspector = kep::query<kep::ISoundInspector>(plugin.get());
    if (!sound || !inspector || !inspector->IsDeviceOpen()) {
        kep::Error()("embed: no sound system (ALSOFT_DRIVERS=null runs without a device)");
        return 1;
    }
    // A named sound (the decoded file) played from a source in front of the listener.
    const std::int32_t source = sound->CreateSource(osg::Vec3f(0, 0, -1), /*looping=*/false);
    if (!sound->CreateSound("clip", argv[1]) || !sound->MountSound(source, "clip")) {
        kep::Error()("embed: the sound file could not be loaded");
        return 1;
    }
    sound->PlaySound(source, /*looping=*/false);
    // One plug-in frame per rendered frame, for at most 50 frames (about 1 s).
    // ISoundSystem::IsPlaying only says that the source exists; the inspector says
    // whether it is still audible.
    const auto start = std::chrono::steady_clock::now();
    for (int frame = 0; frame < 50 && inspector->IsSourcePlaying(source); ++frame) {
        host.UpdatePlugins();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    sound->StopSound(source);
    const std::chrono::duration<double> played = std::chrono::steady_clock::now() - start;
    std::printf("embed: played %s for %.1f s\n", argv[1], played.count());
}
