#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/runtime/HostContext.h"
#include "host/scene/Scene.h"
#include "host/scene/SceneLoader.h"
#include "host/scene/ScenePlayer.h"

// What kep-host run and render share: a scene read from its file and a player
// started on it. Each step reports its failure on standard error.
class SceneSession {
public:
    // Reads the scene within the command's limits (render: SceneLimits{.maxDuration
    // = 24 * 3600.0}); false (its error on standard error) if it is bad. Nothing
    // has been started then. What the loader warns of goes to standard error too.
    [[nodiscard]] bool Load(const std::string& file, const SceneLimits& limits = {});
    // Loads the plug-ins and starts the scene's player; false if they fail.
    [[nodiscard]] bool Start(HostContext& context, ScenePlayerOptions options = {});

    const Scene& scene() const { return *scene_; }
    ScenePlayer& player() { return *player_; }

private:
    std::optional<Scene> scene_;
    std::unique_ptr<ScenePlayer> player_;
};
