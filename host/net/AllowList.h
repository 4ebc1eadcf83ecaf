#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/net/KeyFolder.h"

namespace replication {

// The joiners a server admits: one public key per joiner, in NAME.pub files of
// the allow-list's folder. The folder is read again while the server runs, so that
// adding a file admits a joiner and removing it revokes one.
class AllowList {
public:
    static std::optional<AllowList> Open(const std::filesystem::path& folder, std::string& error);

    // Reads the folder again, at most once per `interval`, when its entries have
    // changed, and now and then in any case; the names of the joiners whose keys
    // were removed or replaced.
    std::vector<std::string> Refresh(std::chrono::milliseconds interval);
    // The name of the joiner with this public key (32 bytes, binary), or null.
    const std::string* Find(std::string_view publicKey) const;
    std::size_t size() const { return namesByKey_.size(); }
    const std::filesystem::path& path() const { return folder_.path(); }

private:
    explicit AllowList(KeyFolder folder);
    void Read();

    KeyFolder folder_;
    std::map<std::string, std::string, std::less<>> namesByKey_;
    std::map<std::string, std::string> keysByName_;
    std::optional<timespec> modified_;
    std::chrono::steady_clock::time_point checked_;
    std::chrono::steady_clock::time_point read_;
    std::chrono::system_clock::time_point readAt_;
    std::set<std::string> faultsReported_;
};

}  // namespace replication
