#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "kep/DataManager.h"

// How a scene's sound files are found: a relative name that climbs with ".." is
// taken from the scene's folder exactly as written ("../sounds/x.wav" beside
// scenes/a.json is sounds/x.wav beside scenes/); any other name as a host's data
// manager finds it with the scene's folder as its data root (as it stands first,
// then under the folder). A data manager would drop the ".." and find another
// file, or none.
class SceneFileLookup final : public kep::IDataManager {
public:
    explicit SceneFileLookup(std::filesystem::path folder);

    std::string GetFilePath(std::string_view fileName) const override;

    // Whether a name is one this lookup takes from the scene's folder only, and
    // the file it names there.
    static bool Climbs(std::string_view fileName);
    std::filesystem::path InFolder(std::string_view fileName) const;

private:
    std::filesystem::path folder_;
    kep::DataManager manager_;
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
