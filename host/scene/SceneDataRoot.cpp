#include "host/scene/SceneDataRoot.h"

#include <algorithm>
#include <system_error>
#include <utility>

SceneFileLookup::SceneFileLookup(std::filesystem::path folder) : folder_(std::move(folder)) {}

std::string SceneFileLookup::GetFilePath(std::string_view fileName) const {
    const std::filesystem::path file =
        std::filesystem::path(fileName).is_absolute() ? fileName : InFolder(fileName);
    std::error_code status;
    // Only regular files: FFmpeg would wait forever for a FIFO's writer.
    return std::filesystem::is_regular_file(file, status) ? file.string() : std::string();
}

bool SceneFileLookup::Climbs(std::string_view fileName) {
    const std::filesystem::path name(fileName);
    return name.is_relative() &&
           std::any_of(name.begin(), name.end(), [](const auto& part) { return part == ".."; });
}

std::filesystem::path SceneFileLookup::InFolder(std::string_view fileName) const {
    std::error_code status;
    const std::filesystem::path folder = std::filesystem::absolute(folder_, status);
    return (folder / fileName).lexically_normal();
}

SceneDataRoot::SceneDataRoot(const std::filesystem::path& folder) {
    previous_ = kep::SetDataManager(std::make_shared<SceneFileLookup>(folder));
}

SceneDataRoot::~SceneDataRoot() {
    kep::SetDataManager(std::move(previous_));
}
