#include "kep/DataManager.h"

#include <system_error>

namespace kep {

namespace {

bool IsFile(const std::filesystem::path& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(path, error);
}

std::string Normal(const std::filesystem::path& path) {
    std::error_code error;
    std::filesystem::path absolute = std::filesystem::absolute(path, error);
    return (error ? path : absolute).lexically_normal().string();
}

}  // namespace

std::string DataManager::GetFilePath(std::string_view fileName) const {
    if (fileName.empty()) {
        return {};
    }
    const std::filesystem::path name(fileName);
    if (IsFile(name)) {
        return Normal(name);
    }
    // A path from another machine is found in a copy of its folder here.
    const auto rootList = roots();
    for (const auto& tail : TrailingPaths(fileName)) {
        for (const auto& root : rootList) {
            if (IsFile(root / tail)) {
                return Normal(root / tail);
            }
        }
    }
    return {};
}

std::vector<std::filesystem::path> DataManager::TrailingPaths(std::string_view fileName,
                                                              std::size_t mostComponents) {
    const std::filesystem::path relative = std::filesystem::path(fileName).relative_path();
    std::vector<std::filesystem::path> parts(relative.begin(), relative.end());
    if (parts.size() > mostComponents) {
        parts.erase(parts.begin(), parts.end() - static_cast<std::ptrdiff_t>(mostComponents));
    }
    std::vector<std::filesystem::path> tails;
    for (std::size_t first = 0; first < parts.size(); ++first) {
        std::filesystem::path tail;
        bool climbs = false;
        for (std::size_t i = first; i < parts.size(); ++i) {
            tail /= parts[i];
            climbs = climbs || parts[i] == "..";
        }
        if (!climbs) {
            tails.push_back(std::move(tail));
        }
    }
    return tails;
}

void DataManager::AddRoot(std::filesystem::path root) {
    std::lock_guard lock(mutex_);
    roots_.push_back(std::move(root));
}

std::vector<std::filesystem::path> DataManager::roots() const {
    std::lock_guard lock(mutex_);
    return roots_;
}

namespace {

struct DataManagerSlot {
    std::mutex mutex;
    std::shared_ptr<IDataManager> manager = std::make_shared<DataManager>();
};

DataManagerSlot& Slot() {
    static DataManagerSlot slot;
    return slot;
}

}  // namespace

IDataManager* GetDataManager() {
    auto& slot = Slot();
    std::lock_guard lock(slot.mutex);
    return slot.manager.get();
}

std::shared_ptr<IDataManager> SetDataManager(std::shared_ptr<IDataManager> manager) {
    auto& slot = Slot();
    std::lock_guard lock(slot.mutex);
    std::swap(slot.manager, manager);
    if (!slot.manager) {
        slot.manager = std::make_shared<DataManager>();
    }
    return manager;
}

}  // namespace kep
