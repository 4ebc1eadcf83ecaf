#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "kep/Export.h"

namespace kep {

// Turns the name of a data file into the path of the file to open.
class KEPCORE_API IDataManager {
public:
    virtual ~IDataManager() = default;
    // The path of an existing file, or an empty string when there is none.
    virtual std::string GetFilePath(std::string_view fileName) const = 0;
};

// Looks a name up as it stands (absolute, or relative to the working folder),
// then under each data root in the order they were added: first the name's whole
// path below its root, then ever shorter tails of it, down to the file name
// alone. A path written on another machine is thus found in a copy of its data
// folder under any root here.
class KEPCORE_API DataManager final : public IDataManager {
public:
    std::string GetFilePath(std::string_view fileName) const override;
    void AddRoot(std::filesystem::path root);
    std::vector<std::filesystem::path> roots() const;

    // The name's trailing paths, longest first, of at most `mostComponents`
    // components, leaving out those that would reach above the folder they are
    // put under (".."): where a name is looked for under each root.
    static std::vector<std::filesystem::path> TrailingPaths(
        std::string_view fileName, std::size_t mostComponents = static_cast<std::size_t>(-1));

private:
    mutable std::mutex mutex_;
    std::vector<std::filesystem::path> roots_;
};

// The process-wide data manager (a DataManager without roots until one is set).
KEPCORE_API IDataManager* GetDataManager();
KEPCORE_API std::shared_ptr<IDataManager> SetDataManager(std::shared_ptr<IDataManager> manager);

}  // namespace kep
