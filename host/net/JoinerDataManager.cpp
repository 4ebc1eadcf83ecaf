#include "host/net/JoinerDataManager.h"

#include <algorithm>

#include <fmt/format.h>

#include "host/net/PayloadCheck.h"
#include "kep/Messages.h"

namespace replication {

namespace {

// Whether `path` is `root` or below it; both resolved.
bool Inside(const std::filesystem::path& path, const std::filesystem::path& root) {
    const auto [rootEnd, pathAt] =
        std::mismatch(root.begin(), root.end(), path.begin(), path.end());
    return rootEnd == root.end();
}

}  // namespace

JoinerDataManager::JoinerDataManager(const std::vector<std::filesystem::path>& roots, Limits limits,
                                     LoadedBytes loadedBytes)
    : limits_(limits), loadedBytes_(std::move(loadedBytes)) {
    for (const auto& root : roots) {
        std::error_code error;
        auto resolved = std::filesystem::canonical(root, error);
        if (error || !std::filesystem::is_directory(resolved, error)) {
            kep::Warning()("kep-host: data folder {}: not found; no sound is looked for there",
                           root.string());
            continue;
        }
        rootList_ += (rootList_.empty() ? "" : ", ") + resolved.string();
        roots_.push_back(std::move(resolved));
    }
}

std::string JoinerDataManager::GetFilePath(std::string_view fileName) const {
    if (fileName.empty()) {
        return {};
    }
    if (fileName.size() > kLongestName) {
        std::lock_guard lock(mutex_);
        if (!reportedLong_) {
            reportedLong_ = true;
            kep::Warning()("kep-host: refused a sound file name of {} bytes (at most {})",
                           fileName.size(), kLongestName);
        }
        return {};
    }
    std::string refusal;
    if (const std::uintmax_t loaded = loadedBytes_ ? loadedBytes_() : 0;
        loaded >= limits_.mostLoaded) {
        Report(fileName, fmt::format("the sounds loaded hold {:.2f} MiB, the most allowed "
                                     "(--max-sounds-mb)",
                                     static_cast<double>(loaded) / (1 << 20)));
        return {};
    }
    for (const auto& tail : kep::DataManager::TrailingPaths(fileName, kMostComponents)) {
        if (std::string path = Find(tail, refusal); !path.empty()) {
            return path;
        }
    }
    Report(fileName, refusal);
    return {};
}

std::string JoinerDataManager::Find(const std::filesystem::path& tail, std::string& refusal) const {
    for (const auto& root : roots_) {
        std::error_code error;
        const auto path = std::filesystem::canonical(root / tail, error);
        if (error) {
            continue;
        }
        if (!Inside(path, root)) {
            refusal = fmt::format("{} leads out of the data folder {}", (root / tail).string(),
                                  root.string());
            continue;
        }
        const auto status = std::filesystem::status(path, error);
        if (error || !std::filesystem::is_regular_file(status)) {
            continue;
        }
        const std::uintmax_t size = std::filesystem::file_size(path, error);
        if (error || size > limits_.largestFile) {
            refusal =
                fmt::format("{} is {:.2f} MiB, more than the {:.2f} MiB allowed (--max-sound-mb)",
                            path.string(), static_cast<double>(size) / (1 << 20),
                            static_cast<double>(limits_.largestFile) / (1 << 20));
            continue;
        }
        return path.string();
    }
    return {};
}

void JoinerDataManager::Report(std::string_view fileName, const std::string& refusal) const {
    std::lock_guard lock(mutex_);
    if (reported_.size() < kMostReported) {
        if (!reported_.emplace(fileName).second) {
            return;
        }
        if (refusal.empty()) {
            kep::Warning()("kep-host: no file {} under the data folders ({})", fileName,
                           rootList_.empty() ? "none" : rootList_);
        } else {
            kep::Warning()("kep-host: refused {}: {}", fileName, refusal);
        }
    } else if (!reportedMore_) {
        reportedMore_ = true;
        kep::Warning()(
            "kep-host: more sound files were not found or refused{}; they are no longer named",
            refusal.empty() ? "" : fmt::format(" ({})", refusal));
    }
}

}  // namespace replication
