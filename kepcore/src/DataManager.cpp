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
    // The name's components after its root; then the shorter tails of them, so
    // that a path from another machine is found in a copy of its folder here.
    const std::filesystem::path relative = name.relative_path();
    const std::vector<std::filesystem::path> parts(relative.begin(), relative.end());
    const auto rootList = roots();
    for (std::size_t first = 0; first < parts.size(); ++first) {
        std::filesystem::path tail;
        bool climbs = false;  // a tail never reaches above its root
        for (std::size_t i = first; i < parts.size(); ++i) {
            tail /= parts[i];
            climbs = climbs || parts[i] == "..";
        }
        if (climbs) {
            continue;
        }
        for (const auto& root : rootList) {
            if (IsFile(root / tail)) {
                return Normal(root / tail);
            }
        }
    }
    return {};
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
