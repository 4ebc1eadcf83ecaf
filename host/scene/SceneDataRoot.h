#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "kep/DataManager.h"

// How a scene's sound files are found: an absolute name as it stands, a relative
// one in the scene's folder exactly as written ("../sounds/x.wav" beside
// scenes/a.json is sounds/x.wav beside scenes/), and never in the working folder,
// so a scene plays the same sounds wherever it is run from. Only regular files.
class SceneFileLookup final : public kep::IDataManager {
public:
    explicit SceneFileLookup(std::filesystem::path folder);

    std::string GetFilePath(std::string_view fileName) const override;

    // Whether a relative name climbs out of the scene's folder with "..", and the
    // file a relative name stands for.
    static bool Climbs(std::string_view fileName);
    std::filesystem::path InFolder(std::string_view fileName) const;

private:
    std::filesystem::path folder_;
};

// While it lives, the process's data manager is a scene's file lookup; then the
// previous one is back.
class SceneDataRoot {
public:
    explicit SceneDataRoot(const std::filesystem::path& folder);
    ~SceneDataRoot();
    SceneDataRoot(const SceneDataRoot&) = delete;
    SceneDataRoot& operator=(const SceneDataRoot&) = delete;

private:
    std::shared_ptr<kep::IDataManager> previous_;
};
