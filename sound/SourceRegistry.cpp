#include "sound/SourceRegistry.h"

namespace {

// std::map::clear destroys from the back; sources go in ascending id order.
void ClearAscending(std::map<std::int32_t, std::unique_ptr<Source>>& sources) {
    while (!sources.empty()) {
        sources.erase(sources.begin());
    }
}

}  // namespace

Source* SourceRegistry::Lock::Find(std::int32_t id) {
    auto found = sources.find(id);
    return found == sources.end() ? nullptr : found->second.get();
}

void SourceRegistry::Lock::Erase(std::int32_t id) {
    sources.erase(id);
}

void SourceRegistry::Lock::Clear() {
    ClearAscending(sources);
}

std::vector<std::int32_t> SourceRegistry::Lock::Ids() const {
    std::vector<std::int32_t> ids;
    for (const auto& entry : sources) {
        ids.push_back(entry.first);
    }
    return ids;
}

SourceRegistry::~SourceRegistry() {
    ClearAscending(sources);
}

void SourceRegistry::CreateSourceWithId(std::int32_t id, const osg::Vec3f& position, bool looping) {
    if (id < 1) {
        return;
    }
    Lock locked(*this);
    if (locked.Find(id)) {
        return;
    }
    auto source = std::make_unique<Source>();
    source->SetPosition(position);
    source->SetLooping(looping);
    sources.emplace(id, std::move(source));
}

std::uint32_t& NextSourceId() {
    // Plain, unlocked, deliberately: ids are unique while CreateSource runs on one
    // thread at a time.
    static std::uint32_t counter = 0;
    return counter;
}
