#pragma once

#include <filesystem>
#include <memory>

#include "kep/DataManager.h"

// While it lives, the process's data manager looks names up as a host's does,
// with a scene's folder as its data root; then the previous one is back.
class SceneDataRoot {
public:
    explicit SceneDataRoot(const std::filesystem::path& folder);
    ~SceneDataRoot();
    SceneDataRoot(const SceneDataRoot&) = delete;
    SceneDataRoot& operator=(const SceneDataRoot&) = delete;

private:
    std::shared_ptr<kep::IDataManager> previous_;
};
