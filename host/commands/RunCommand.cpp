// kep-host run: plays a scene in real time on the default audio device.
#include <fmt/format.h>

#include "host/cli/ConsoleOutput.h"
#include "host/cli/ProgressLine.h"
#include "host/commands/Commands.h"
#include "host/commands/SceneSession.h"

namespace {

int RunScene(HostContext& context, const std::string& file) {
    SceneSession session;
    if (!session.Load(file) || !session.Start(context)) {
        return kExitFailed;
    }
    const Scene& scene = session.scene();
    Print("Running {}: {} s, sources: {}, objects: {}\n", file, scene.duration,
          scene.sources.size(), scene.objects.size());
    std::fflush(stdout);
    bool finished = false;
    {
        ProgressLine progress;
        finished = session.player().PlayInRealTime(0, [&](double time) {
            if (progress.visible()) {
                progress.Show(fmt::format("{:6.2f} / {:.2f} s, {} playing", time, scene.duration,
                                          session.player().PlayingSources()));
            }
        });
    }
    session.player().Stop();
    Print("{}\n", finished ? "Done" : "Interrupted");
    return finished ? kExitDone : kExitInterrupted;
}

}  // namespace

CommandRun AddRunCommand(CLI::App& app) {
    auto file = std::make_shared<std::string>();
    CLI::App* command = AddCommand(
        app, "run", "Play a scene in real time on the default audio device.",
        "A scene is a JSON file (docs/scenes.md). One host frame runs per scene frame; on a "
        "terminal one line shows the time, the duration and the sources playing. Ctrl-C stops "
        "it cleanly (exit 130).");
    command->add_option("SCENE", *file, "the scene's JSON file")->required();
    return [file](HostContext& context) { return RunScene(context, *file); };
}
