#include "host/net/AllowList.h"

#include <array>

#include <zmq.h>

#include "host/net/CurveKeys.h"
#include "kep/Messages.h"

namespace replication {

namespace {

// A key file rewritten in place leaves the folder's time alone: read it all anyway.
constexpr auto kReadPeriod = std::chrono::seconds(5);
// A folder's time has the file system's coarse resolution: two changes within
// this may leave the same time, so a folder changed as recently is read again.
constexpr auto kTimeResolution = std::chrono::seconds(1);
constexpr std::string_view kSuffix = ".pub";
// More joiners than this are not read: the folder is not what it should be.
constexpr std::size_t kMostJoiners = 100000;

bool operator==(const timespec& a, const timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

}  // namespace

AllowList::AllowList(KeyFolder folder) : folder_(std::move(folder)) {}

std::optional<AllowList> AllowList::Open(const std::filesystem::path& folder, std::string& error) {
    auto keys = KeyFolder::Open(folder, false, error);
    if (!keys) {
        return std::nullopt;
    }
    AllowList list(std::move(*keys));
    list.Read();
    return list;
}

std::vector<std::string> AllowList::Refresh(std::chrono::milliseconds interval) {
    const auto now = std::chrono::steady_clock::now();
    if (now - checked_ < interval) {
        return {};
    }
    checked_ = now;
    // Unchanged since a read made well after the change it saw: nothing to read.
    const auto modified = folder_.Modified();
    const auto readAfterChange =
        modified ? readAt_ - std::chrono::system_clock::from_time_t(modified->tv_sec)
                 : std::chrono::system_clock::duration{};
    if (modified && modified_ && *modified == *modified_ && readAfterChange > kTimeResolution &&
        now - read_ < kReadPeriod) {
        return {};
    }
    const auto before = keysByName_;
    Read();
    std::vector<std::string> gone;
    for (const auto& [name, key] : before) {
        const auto found = keysByName_.find(name);
        if (found == keysByName_.end() || found->second != key) {
            gone.push_back(name);
        }
    }
    return gone;
}

void AllowList::Read() {
    modified_ = folder_.Modified();
    read_ = std::chrono::steady_clock::now();
    readAt_ = std::chrono::system_clock::now();
    namesByKey_.clear();
    keysByName_.clear();
    for (const std::string& file : folder_.List(kSuffix)) {
        const std::string name = file.substr(0, file.size() - kSuffix.size());
        if (!IsJoinerName(name) || keysByName_.size() >= kMostJoiners) {
            continue;
        }
        std::string error;
        const auto key = folder_.ReadKey(file, false, error);
        if (!key) {
            // Once per file: the folder is read again every few seconds.
            if (faultsReported_.size() < kMostJoiners && faultsReported_.insert(file).second) {
                kep::Warning()("kep-host: joiner {} is not admitted: {}", name, error);
            }
            continue;
        }
        std::string binary(32, '\0');
        zmq_z85_decode(reinterpret_cast<std::uint8_t*>(binary.data()), key->c_str());
        const auto [other, added] = namesByKey_.emplace(binary, name);
        if (!added) {
            if (faultsReported_.size() < kMostJoiners && faultsReported_.insert(file).second) {
                kep::Warning()(
                    "kep-host: joiner {} has the key of joiner {}: it gets in as {}, and "
                    "removing {} does not revoke that key",
                    name, other->second, other->second, file);
            }
            continue;
        }
        faultsReported_.erase(file);
        keysByName_.emplace(name, std::move(binary));
    }
}

const std::string* AllowList::Find(std::string_view publicKey) const {
    const auto found = namesByKey_.find(publicKey);
    return found == namesByKey_.end() ? nullptr : &found->second;
}

}  // namespace replication
