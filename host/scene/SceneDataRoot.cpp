#include "host/scene/SceneDataRoot.h"

SceneDataRoot::SceneDataRoot(const std::filesystem::path& folder) {
    auto manager = std::make_shared<kep::DataManager>();
    manager->AddRoot(folder);
    previous_ = kep::SetDataManager(std::move(manager));
}

SceneDataRoot::~SceneDataRoot() {
    kep::SetDataManager(std::move(previous_));
}
