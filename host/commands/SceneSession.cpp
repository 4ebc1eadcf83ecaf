#include "host/commands/SceneSession.h"

#include "host/cli/ConsoleOutput.h"
#include "host/scene/SceneLoader.h"

bool SceneSession::Load(const std::string& file, const SceneLimits& limits) {
    std::string error;
    std::vector<std::string> warnings;
    scene_ = LoadScene(file, error, limits, &warnings);
    if (!scene_) {
        PrintError("{}\n", error);
    }
    for (const std::string& warning : warnings) {
        PrintError("{}\n", warning);
    }
    return scene_.has_value();
}

bool SceneSession::Start(HostContext& context, ScenePlayerOptions options) {
    if (!context.LoadPlugins()) {
        return false;
    }
    player_ = std::make_unique<ScenePlayer>(context, *scene_, std::move(options));
    const bool started = player_->Start();
    for (const std::string& warning : player_->warnings()) {
        PrintError("{}\n", warning);
    }
    if (!started) {
        PrintError("{}\n", player_->error());
    }
    return started;
}
