#pragma once

#include <filesystem>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "kep/DataManager.h"

// The host's data manager when it has data roots of its own (kep-host join
// --data): the files are looked up as kep::DataManager does, and a name that
// cannot be found is logged once, with the roots searched.
class ReportingDataManager final : public kep::IDataManager {
public:
    explicit ReportingDataManager(const std::vector<std::filesystem::path>& roots);
    std::string GetFilePath(std::string_view fileName) const override;

private:
    kep::DataManager manager_;
    std::string rootList_;
    mutable std::mutex mutex_;
    mutable std::set<std::string, std::less<>> reported_;
};
