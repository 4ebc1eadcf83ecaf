#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "host/scene/Scene.h"

// Reads and checks a scene file (docs/scenes.md). A scene that cannot be played
// as written gives no scene and one line naming the file, the line and the path
// of the field at fault and what is wrong, for example
// "scene.json:12: sources[2].position[1]: expected a number".
// Sounds are looked up as the host's data manager looks them up with the scene's
// folder as a data root; their files are not decoded here.
[[nodiscard]] std::optional<Scene> LoadScene(const std::filesystem::path& file, std::string& error);
