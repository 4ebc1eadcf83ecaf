#include "host/ReportingDataManager.h"

#include "kep/Messages.h"

ReportingDataManager::ReportingDataManager(const std::vector<std::filesystem::path>& roots) {
    for (const auto& root : roots) {
        manager_.AddRoot(root);
        rootList_ += (rootList_.empty() ? "" : ", ") + root.string();
    }
}

std::string ReportingDataManager::GetFilePath(std::string_view fileName) const {
    std::string path = manager_.GetFilePath(fileName);
    if (path.empty()) {
        std::lock_guard lock(mutex_);
        if (reported_.emplace(fileName).second) {
            kep::Warning()("kep-host: no file {} here, nor under the data roots ({})", fileName,
                           rootList_.empty() ? "none given; see --data" : rootList_);
        }
    }
    return path;
}
