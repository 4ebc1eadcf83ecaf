#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "kep/DataManager.h"

namespace replication {

// A joiner's data manager. A server names sound files by its own paths, and a
// server may be hostile: a name is looked for only by its trailing components
// under the joiner's own data folders (the longest tail first, each folder in
// turn), never as it stands and never from the working folder. A file found
// there must, once its links are resolved, still be inside that folder, be a
// regular file, and be no larger than the limit; and no file is given while the
// sounds loaded already hold the most they may. What cannot be found is reported
// once per name (up to a bounded number of names).
class JoinerDataManager final : public kep::IDataManager {
public:
    struct Limits {
        std::uintmax_t largestFile = 64u << 20;
        std::uintmax_t mostLoaded = 1u << 30;  // bytes of PCM in all sounds loaded
    };
    // Bytes of PCM the sound system holds now.
    using LoadedBytes = std::function<std::uintmax_t()>;

    // Tails of at most this many components are tried.
    static constexpr std::size_t kMostComponents = 32;
    // Names reported as missing, one line each; the rest are counted.
    static constexpr std::size_t kMostReported = 256;

    // Folders that do not exist are reported and left out.
    JoinerDataManager(const std::vector<std::filesystem::path>& roots, Limits limits,
                      LoadedBytes loadedBytes);
    std::string GetFilePath(std::string_view fileName) const override;

private:
    // The file's path, or empty; why a file there was refused in `refusal`.
    std::string Find(const std::filesystem::path& tail, std::string& refusal) const;
    void Report(std::string_view fileName, const std::string& refusal) const;

    std::vector<std::filesystem::path> roots_;  // resolved
    Limits limits_;
    LoadedBytes loadedBytes_;
    std::string rootList_;
    mutable std::mutex mutex_;
    mutable std::set<std::string, std::less<>> reported_;
    mutable bool reportedMore_ = false;
    mutable bool reportedLong_ = false;
};

}  // namespace replication
