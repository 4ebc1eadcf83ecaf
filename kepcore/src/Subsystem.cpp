#include "kep/Subsystem.h"

#include <map>
#include <mutex>

namespace kep {

namespace {

struct SubsystemTable {
    std::mutex mutex;
    std::map<SubsystemId, std::shared_ptr<ISubsystem>> entries;
};

SubsystemTable& Table() {
    static SubsystemTable table;
    return table;
}

}  // namespace

std::shared_ptr<ISubsystem> GetSubsystem(SubsystemId id) {
    auto& table = Table();
    std::lock_guard lock(table.mutex);
    auto found = table.entries.find(id);
    return found == table.entries.end() ? nullptr : found->second;
}

std::shared_ptr<ISubsystem> SetSubsystem(SubsystemId id, std::shared_ptr<ISubsystem> subsystem) {
    auto& table = Table();
    std::lock_guard lock(table.mutex);
    std::shared_ptr<ISubsystem> previous = table.entries[id];
    if (subsystem) {
        table.entries[id] = std::move(subsystem);
    } else {
        table.entries.erase(id);
    }
    return previous;
}

}  // namespace kep
