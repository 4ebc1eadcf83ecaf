#include "host/scene/SceneSession.h"

#include "host/ConsoleOutput.h"
#include "host/scene/SceneLoader.h"

bool SceneSession::Load(const std::string& file) {
    std::string error;
    scene_ = LoadScene(file, error);
    if (!scene_) {
        PrintError("{}\n", error);
    }
    return scene_.has_value();
}

bool SceneSession::Start(HostContext& context, ScenePlayerOptions options) {
    if (!context.LoadPlugins()) {
        return false;
    }
    player_ = std::make_unique<ScenePlayer>(context, *scene_, std::move(options));
    return player_->Start();
}
