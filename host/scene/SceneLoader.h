#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "host/scene/Scene.h"

// Budgets of every scene, so that no file makes the loader or the player hold
// much memory or count past what it can: docs/scenes.md lists them.
constexpr std::uintmax_t kMostSceneBytes = 16 << 20;
constexpr std::size_t kMostSceneItems = 10'000;  // sounds, objects and sources, each
constexpr std::size_t kMostKeyframes = 100'000;  // per position or camera path
constexpr std::size_t kMostPresses = 10'000;     // play times, and stop times, per item
// Every sound is decoded whole into memory, once for each name it has.
constexpr std::uint64_t kMostDecodedBytes = std::uint64_t{2048} << 20;
// Frames are counted in an int: at 1000 frames/s this still fits.
constexpr double kMostSceneSeconds = 2'000'000;

// What a command allows beyond what every scene must keep to.
struct SceneLimits {
    // The longest scene the command takes, in seconds (render: 24 h); no scene
    // lasts longer than kMostSceneSeconds whatever this says.
    double maxDuration = std::numeric_limits<double>::infinity();
};

// Reads and checks a scene file (docs/scenes.md). A scene that cannot be played
// as written gives no scene and one line naming the file, the line and the path
// of the field at fault and what is wrong, for example
// "scene.json:12: sources[2].position[1]: expected a number".
// Sounds are looked up as SceneFileLookup finds them, and each file is probed:
// one FFmpeg cannot decode is an error here, before anything starts. What the
// scene plays differently from what it says (a gain above 1) is a warning, in
// the same form, and the scene is still given.
[[nodiscard]] std::optional<Scene> LoadScene(const std::filesystem::path& file, std::string& error,
                                             const SceneLimits& limits = {},
                                             std::vector<std::string>* warnings = nullptr);
