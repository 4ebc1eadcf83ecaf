#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/HostContext.h"
#include "host/scene/Scene.h"
#include "host/scene/ScenePlayer.h"

// What kep-host run and render share: a scene read from its file and a player
// started on it. Each step reports its failure on standard error.
class SceneSession {
public:
    // Reads the scene; false (its error on standard error) if it is bad. Nothing
    // has been started then.
    [[nodiscard]] bool Load(const std::string& file);
    // Loads the plug-ins and starts the scene's player; false if they fail.
    [[nodiscard]] bool Start(HostContext& context, ScenePlayerOptions options = {});

    const Scene& scene() const { return *scene_; }
    ScenePlayer& player() { return *player_; }

private:
    std::optional<Scene> scene_;
    std::unique_ptr<ScenePlayer> player_;
};
