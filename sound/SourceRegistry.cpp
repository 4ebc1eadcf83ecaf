#include "sound/SourceRegistry.h"

SourceRegistry::~SourceRegistry() {
    Clear();
}

Source* SourceRegistry::Find(std::int32_t id) {
    auto found = sources.find(id);
    return found == sources.end() ? nullptr : found->second.get();
}

void SourceRegistry::CreateSourceWithId(std::int32_t id, const osg::Vec3f& position, bool looping) {
    if (id < 1) {
        return;
    }
    std::lock_guard lock(sourcesMutex);
    if (sources.contains(id)) {
        return;  // the existing source keeps its position and looping
    }
    auto source = std::make_unique<Source>();
    alSource3f(source->alSource, AL_POSITION, position.x(), position.y(), position.z());
    source->SetLooping(looping);
    sources.emplace(id, std::move(source));  // a duplicate would be destroyed here
}

void SourceRegistry::Erase(SourceMap::iterator entry) {
    sources.erase(entry);
}

void SourceRegistry::Clear() {
    sources.clear();
}

std::uint32_t& NextSourceId() {
    // Plain, unlocked: ids are unique while CreateSource runs on one thread at a time.
    static std::uint32_t counter = 0;
    return counter;
}
